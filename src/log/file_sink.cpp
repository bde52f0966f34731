#include "log/file_sink.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "log/log_config.h"
#include "log/sink_write.h"

namespace pkisdk {

namespace {

// The one name of that text.
const LogFileName* NameOf(FileSinkRecord* sink, const std::string& text) {
    const LogFileName* first = sink->names;
    for (const LogFileName* name = first; name != nullptr; name = name->next) {
        if (name->text == text) {
            return name;
        }
    }
    auto added = std::make_unique<LogFileName>(LogFileName{text, first});
    while (!sink->names.compare_exchange_weak(first, added.get())) {
        added->next = first;
    }
    return added.release();
}

// Nothing where there is no temporary directory.
bool MakeDefaultName(const LogContext& context, std::string* name) {
    constexpr std::size_t kRoomForFolder = 261;
    constexpr DWORD kLongestFolder = 256;
    const std::size_t nameLength = std::strlen(context.name.data());
    std::vector<char> folder(nameLength + kRoomForFolder);
    const DWORD length = GetTempPathA(static_cast<DWORD>(folder.size()), folder.data());
    if (length == 0) {
        return false;
    }
    if (length >= kLongestFolder) {
        // The path is not asked for a second time.
        folder.assign(length + nameLength + kRoomForFolder, '\0');
    }
    *name = folder.data();
    if (!name->ends_with('/') && !name->ends_with('\\')) {
        *name += '/';
    }
    *name += context.name.data();
    *name += ".log";
    return true;
}

std::string NameOfProcess(const std::string& name) {
    constexpr std::size_t kExtension = 4;
    std::array<char, 16> process{};
    std::snprintf(process.data(), process.size(), "_%08x",
                  static_cast<unsigned>(GetCurrentProcessId()));
    const std::size_t kept = name.size() < kExtension ? 0 : name.size() - kExtension;
    return name.substr(0, kept) + process.data() + ".log";
}

HANDLE OpenNamed(const char* name) {
    return CreateFileA(name, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                       OPEN_ALWAYS, FILE_FLAG_WRITE_THROUGH | FILE_ATTRIBUTE_NORMAL, nullptr);
}

HANDLE Open(LogContext* context, const FileSinkRecord& sink) {
    constexpr std::size_t kLongestName = 65535;
    const LogFileName* const name = sink.fileName;
    if (name == nullptr) {
        return INVALID_HANDLE_VALUE;
    }
    if ((sink.flags & kLogFileIsOfProcess) == 0) {
        return OpenNamed(name->text.c_str());
    }
    if (name->text.size() > kLongestName) {
        return INVALID_HANDLE_VALUE;
    }
    try {
        return OpenNamed(NameOfProcess(name->text).c_str());
    } catch (const std::bad_alloc&) {
        context->setLastError(ERROR_NOT_ENOUGH_MEMORY);
        return INVALID_HANDLE_VALUE;
    }
}

// Every byte that the file can ever have.
void LockWhole(HANDLE file) {
    constexpr DWORD kAll = 0xFFFFFFFF;
    OVERLAPPED start{};
    LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK, 0, kAll, kAll, &start);
}

template <typename Character>
int WriteLine(LogContext* context, const FileSinkRecord& sink, Character* line,
              std::size_t length) {
    const HANDLE file = Open(context, sink);
    if (file == INVALID_HANDLE_VALUE) {
        return 1;
    }
    LockWhole(file);
    BOOL isLost = TRUE;
    if (SetFilePointer(file, 0, nullptr, FILE_END) != INVALID_SET_FILE_POINTER) {
        line[length] = Character{'\n'};
        const auto size = static_cast<DWORD>((length + 1) * sizeof(Character));
        DWORD written = 0;
        isLost = !WriteFile(file, line, size, &written, nullptr);
    }
    // Which gives the lock up.
    const BOOL isClosed = CloseHandle(file);
    return isLost && isClosed ? 1 : 0;
}

int SendToFile(LogContext* context, SinkRecord* sink, char* line, std::size_t length) {
    const auto& fileSink = static_cast<const FileSinkRecord&>(*sink);
    return fileSink.write == nullptr ? 1 : fileSink.write(context, fileSink, line, length);
}

}  // namespace

int InitFileSink(LogContext* context, std::uint32_t level, std::uint32_t fields,
                 std::uint32_t index) {
    auto* const sink = static_cast<FileSinkRecord*>(InitSinkRecord(context, level, fields, index));
    if (sink == nullptr) {
        return 0;
    }
    sink->flags = 0;
    try {
        std::string name;
        if (!MakeDefaultName(*context, &name)) {
            return 0;
        }
        sink->defaultFileName = NameOf(sink, name);
    } catch (const std::bad_alloc&) {
        return 0;
    }
    sink->fileName = sink->defaultFileName;
    sink->write = &WriteLine<char>;
    sink->writeWide = &WriteLine<char16_t>;
    return 1;
}

void ReloadFileSink(LogContext* context, std::uint32_t index) {
    auto* const sink = static_cast<FileSinkRecord*>(FindSinkRecord(context, index));
    if (sink == nullptr) {
        return;
    }
    ReloadSinkSettings(context, sink, L"file_level", L"file_field", L"file_max");
    if ((sink->flags & kLogFileNameIsFixed) != 0 || sink->defaultFileName == nullptr) {
        return;
    }
    try {
        std::string name;
        context->registry->readText(context, L"file_filename", &name, sink->defaultFileName->text);
        sink->fileName = NameOf(sink, name);
    } catch (const std::bad_alloc&) {
        sink->fileName = sink->defaultFileName;
    }
}

int WriteFileRecord(LogContext* context, std::uint32_t level, std::uint32_t code,
                    std::uint32_t fields, std::uint32_t index, const char* file, std::int32_t line,
                    const char* function, const char* format, std::va_list arguments) {
    return IsWanted(context, level, index) ? WriteRecord(context, code, fields, index, file, line,
                                                         function, format, arguments, &SendToFile)
                                           : 1;
}

void ReleaseFileNames(FileSinkRecord* sink) {
    sink->fileName = nullptr;
    sink->defaultFileName = nullptr;
    const LogFileName* name = sink->names.exchange(nullptr);
    while (name != nullptr) {
        const std::unique_ptr<const LogFileName> released(name);
        name = released->next;
    }
}

}  // namespace pkisdk
