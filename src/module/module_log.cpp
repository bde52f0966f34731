#include "module/module_log.h"

#include <iterator>

#include "log/debug_sink.h"
#include "log/file_sink.h"
#include "log/log_config.h"
#include "log/log_message.h"
#include "log/log_record.h"

namespace pkisdk {

namespace {

constexpr char kModuleName[] = "mvlpfx64";
constexpr std::uint32_t kLevel = 61;
constexpr std::uint32_t kFields = 179;
constexpr std::uint32_t kDefaultMaximum = 256;
constexpr std::uint32_t kDebugSink = 1;
constexpr std::uint32_t kFileSink = 2;
constexpr std::uint32_t kDebugFields = 0x7FFFFFFF;
// Without the module's name, which the file's name tells.
constexpr std::uint32_t kFileFields = 0x7FFFFFFE;
// Of the two messages.
constexpr std::uint32_t kModuleLevel = 8;
constexpr std::int32_t kLoadingLine = 65;
constexpr std::int32_t kUnloadingLine = 68;

// None of these has a destructor: "unloading" comes when those of the module have run.
constinit LogContext context;
constinit SinkRecord debugSink;
constinit FileSinkRecord fileSink;
constinit LogRegistry registry{&OpenLogKey, &CloseLogKey, &ReadLogDword, &ReadLogText};
constexpr SinkRecord* kSinks[] = {&debugSink, &fileSink};
constexpr SinkWrite kWrites[] = {&WriteDebugRecord, &WriteFileRecord};
constexpr SinkReload kReloads[] = {&ReloadDebugSink, &ReloadFileSink};
constexpr FieldHandler kHandlers[] = {&WriteModuleName, &WriteThreadId};

void SetUp() {
    InitLogContext(&context, kModuleName, kLevel, kFields, std::size(kSinks), kWrites, nullptr,
                   kSinks, kReloads, std::size(kHandlers), kHandlers, nullptr, &registry,
                   kDefaultMaximum);
    InitFileSink(&context, 0, kFileFields, kFileSink);
    InitDebugSink(&context, 0, kDebugFields, kDebugSink);
    ReloadLogConfig(&context);
}

void Tell(std::int32_t line, const char* message) {
    if ((context.level & kModuleLevel) != 0) {
        LogMessage(&context, kModuleLevel, kNoLogCode, nullptr, line, nullptr, "%s", message);
    }
}

// What would stay open in a process that goes on without the module.
void Release() {
    CloseLogKey(&context, true);
    ReleaseFileNames(&fileSink);
}

}  // namespace

LogContext* ModuleLog() {
    return &context;
}

int OnModuleEvent(DWORD reason, const void* reserved) {
    const DWORD lastError = GetLastError();
    int savedErrno = 0;
    _get_errno(&savedErrno);
    if (reason == DLL_PROCESS_ATTACH) {
        SetUp();
        Tell(kLoadingLine, "loading");
    } else if (reason == DLL_PROCESS_DETACH) {
        Tell(kUnloadingLine, "unloading");
        if (reserved == nullptr) {
            Release();
        }
    }
    _set_errno(savedErrno);
    SetLastError(lastError);
    return 1;
}

}  // namespace pkisdk
