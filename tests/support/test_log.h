// A log as the module has it, in a test's own settings and temporary directory.
#pragma once

#include <array>
#include <fstream>
#include <iterator>
#include <string>

#include "log/debug_sink.h"
#include "log/file_sink.h"
#include "log/log_config.h"
#include "log/log_message.h"
#include "log/log_record.h"
#include "support/log_settings.h"
#include "support/scoped_environment.h"

namespace test_support {

inline constexpr std::uint32_t kLogLevel = 61;
inline constexpr std::uint32_t kLogFields = 179;
inline constexpr std::uint32_t kDebugIndex = 1;
inline constexpr std::uint32_t kFileIndex = 2;

inline std::string ContentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline std::string ThreadField() {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "0x%lx ",
                  static_cast<unsigned long>(GetCurrentThreadId()));
    return text.data();
}

class TestLog {
  public:
    // The steps of the start, which a test may also take one by one.
    explicit TestLog(const char* name = "mvlpfx64") : name_(name) {}
    ~TestLog() {
        if (context.registry != nullptr) {
            pkisdk::CloseLogKey(&context, true);
        }
        pkisdk::ReleaseFileNames(&file);
    }
    TestLog(const TestLog&) = delete;
    TestLog& operator=(const TestLog&) = delete;

    int Init() {
        return pkisdk::InitLogContext(&context, name_, kLogLevel, kLogFields, 2, writes, nullptr,
                                      records.data(), reloads.data(), handlerCount, handlers.data(),
                                      nullptr, &registry, 256);
    }
    TestLog& Start() {
        Init();
        pkisdk::InitFileSink(&context, 0, 0x7FFFFFFE, kFileIndex);
        pkisdk::InitDebugSink(&context, 0, 0x7FFFFFFF, kDebugIndex);
        pkisdk::ReloadLogConfig(&context);
        return *this;
    }
    int Say(const char* message) {
        return pkisdk::LogMessage(&context, 8, pkisdk::kNoLogCode, nullptr, 1, nullptr, "%s",
                                  message);
    }

    pkisdk::LogContext context;
    pkisdk::SinkRecord debug;
    pkisdk::FileSinkRecord file;
    pkisdk::LogRegistry registry{&pkisdk::OpenLogKey, &pkisdk::CloseLogKey, &pkisdk::ReadLogDword,
                                 &pkisdk::ReadLogText};
    std::array<pkisdk::SinkRecord*, 2> records = {&debug, &file};
    pkisdk::SinkWrite writes[2] = {&pkisdk::WriteDebugRecord, &pkisdk::WriteFileRecord};
    std::array<pkisdk::SinkReload, 2> reloads = {&pkisdk::ReloadDebugSink, &pkisdk::ReloadFileSink};
    std::array<pkisdk::FieldHandler, 6> handlers = {&pkisdk::WriteModuleName,
                                                    &pkisdk::WriteThreadId};
    std::uint32_t handlerCount = 2;

  private:
    const char* name_;
};

// Settings and a temporary directory of the test's own.
class LogSurroundings {
  public:
    // Without settings.
    LogSurroundings() : variable_(kTemporaryFolderVariable, (folder_ / "").string()) {}
    explicit LogSurroundings(const LogSettings& settings) : LogSurroundings() { Set(settings); }

    void Set(const LogSettings& settings, const std::string& log = "mvlpfx64") {
        settings_.Set(log, settings);
    }
    std::string Path(const std::string& name = "mvlpfx64.log") const {
        return (folder_ / name).string();
    }
    std::string Content() const { return ContentOf(Path()); }

  private:
    ScopedFolder folder_;
    LogSettingsStore settings_;
    ScopedVariable variable_;
};

}  // namespace test_support
