// The sink that is a file, which several processes may share: it is opened for each line, and
// written at its end under the system's exclusive lock.
#pragma once

#include <string>

#include "log/log_context.h"

namespace pkisdk {

// A file's name; none is changed or freed while its log is in use.
struct LogFileName {
    std::string text;
    const LogFileName* next;
};

// Bits of the record's flags.
inline constexpr std::uint32_t kLogFileNameIsFixed = 1U << 1;
inline constexpr std::uint32_t kLogFileIsOfProcess = 1U << 2;

// A write in another thread may be reading the name that a reload replaces. So names stay in
// `names`, where one that comes back is found again: there are as many as settings there ever were.
struct FileSinkRecord : SinkRecord {
    // Null until the sink is set up.
    std::atomic<const LogFileName*> fileName{nullptr};
    const LogFileName* defaultFileName = nullptr;
    std::atomic<const LogFileName*> names{nullptr};
    std::uint32_t flags = 0;
    // Append a line feed and write the line, for which `line` has room. Both answer inverted: 1
    // where the line was not written, else 0.
    int (*write)(LogContext* context, const FileSinkRecord& sink, char* line,
                 std::size_t length) = nullptr;
    int (*writeWide)(LogContext* context, const FileSinkRecord& sink, char16_t* line,
                     std::size_t length) = nullptr;
};

// Gives the sink of that index, whose record is a FileSinkRecord, its defaults and as its file the
// log's name and ".log" in the temporary directory, or in "/" where that directory's path is of
// 256 bytes or more. Answers 0 where there is no such sink or no temporary directory, else nonzero.
int InitFileSink(LogContext* context, std::uint32_t level, std::uint32_t fields,
                 std::uint32_t index);

// A SinkReload: "file_level", "file_field", "file_max" and, unless the name is fixed,
// "file_filename".
void ReloadFileSink(LogContext* context, std::uint32_t index);

// A SinkWrite to the file. Answers 0 for a line that was written, as the record's write does.
int WriteFileRecord(LogContext* context, std::uint32_t level, std::uint32_t code,
                    std::uint32_t fields, std::uint32_t index, const char* file, std::int32_t line,
                    const char* function, const char* format, std::va_list arguments);

// Frees the names of a sink that is used no more.
void ReleaseFileNames(FileSinkRecord* sink);

}  // namespace pkisdk
