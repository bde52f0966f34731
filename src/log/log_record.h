// One call turned into one line of text.
//
// The parts of a line, in the order in which they stand in it. Each is written where the mask has
// its bit and there is something to say.
//
//   0x1       "%-8s "                     the module's name: the first field handler
//   0x200     the third field handler's own
//   0x400     the fourth's
//   0x2       "0x%lx "                    the thread's number: the second field handler
//   0x10000   the fifth's, and so on up the bits
//   0x4       "%-12s:%-4d "               source file, without its folders, and line, or where the
//             ":%-4d "                    name ends in a separator the line alone
//   0x8       "%s "                       function
//   0x800     "x64 "
//   0x10      the message and one blank
//   0x20      "L:0x%x(%d) "               last error, unless 0
//   0x40      "E:0x%x(%d) "               errno, unless 0
//   0x100     "Code:0x%x(%u) "            the caller's code, unless -1 or -2
//
// 0x80 is no part: in a sink's write it turns the record into a hexadecimal dump.
#pragma once

#include "log/log_context.h"

namespace pkisdk {

inline constexpr std::uint32_t kLogFieldModuleName = 0x1;
inline constexpr std::uint32_t kLogFieldThreadId = 0x2;
inline constexpr std::uint32_t kLogFieldSource = 0x4;
inline constexpr std::uint32_t kLogFieldFunction = 0x8;
inline constexpr std::uint32_t kLogFieldMessage = 0x10;
inline constexpr std::uint32_t kLogFieldLastError = 0x20;
inline constexpr std::uint32_t kLogFieldErrno = 0x40;
inline constexpr std::uint32_t kLogFormDump = 0x80;
inline constexpr std::uint32_t kLogFieldCode = 0x100;
inline constexpr std::uint32_t kLogFieldThirdHandler = 0x200;
inline constexpr std::uint32_t kLogFieldFourthHandler = 0x400;
inline constexpr std::uint32_t kLogFieldWordSize = 0x800;
inline constexpr std::uint32_t kLogFieldFifthHandler = 0x10000;

// A code that no line shows.
inline constexpr std::uint32_t kNoLogCode = 0xFFFFFFFF;

// Writes the line into `size` bytes at `buffer`, its terminator among them. A part that does not
// fit is cut, and nothing comes after it, nor after one that turns out empty. The blank at the end
// goes. Answers 0 where buffer or format are missing, else nonzero.
int FormatLogPrefix(const LogContext* context, char* buffer, std::uint32_t fields, const char* file,
                    std::int32_t line, const char* function, std::uint32_t code, std::size_t size,
                    const char* format, DWORD lastError, int savedErrno, std::va_list arguments);

// The two field handlers that every log begins with, in their order.
void WriteModuleName(const LogContext& context, char** position, std::size_t* left);
void WriteThreadId(const LogContext& context, char** position, std::size_t* left);

}  // namespace pkisdk
