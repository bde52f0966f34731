#include "support/system_log.h"

#include <syslog.h>

#include <array>
#include <cstdarg>
#include <cstdio>

namespace test_support {

std::vector<SystemLogEntry>& SystemLog() {
    static std::vector<SystemLogEntry>& log = *new std::vector<SystemLogEntry>();
    return log;
}

}  // namespace test_support

namespace {

void Note(int priority, const char* format, std::va_list arguments) {
    std::array<char, 8192> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    test_support::SystemLog().push_back({priority, text.data()});
}

}  // namespace

// Under both names by which a compiler may call it.
extern "C" {

[[gnu::visibility("default")]] void syslog(int priority, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    Note(priority, format, arguments);
    va_end(arguments);
}

[[gnu::visibility("default")]] void __syslog_chk(int priority, int flag, const char* format, ...);
void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    Note(priority, format, arguments);
    va_end(arguments);
}

}  // extern "C"
