#include "mvlpfx/system_log.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string_view>

namespace mvlpfx {

namespace {

// Without a constructor or a destructor that does something: libraries log before the program's
// objects are there and after they have gone.
class Texts {
  public:
    void Keep(std::string_view text) {
        const std::scoped_lock lock(mutex_);
        if (text.size() < room_.size() - used_ && !Has(text)) {
            std::ranges::copy(text, room_.begin() + used_);
            used_ += static_cast<std::ptrdiff_t>(text.size()) + 1;
        }
    }
    std::vector<std::string> All() {
        const std::scoped_lock lock(mutex_);
        return Split();
    }

  private:
    bool Has(std::string_view text) const { return std::ranges::count(Split(), text) != 0; }
    // Each ends with a zero.
    std::vector<std::string> Split() const {
        std::vector<std::string> texts;
        for (std::ptrdiff_t at = 0; at < used_; at += std::ssize(texts.back()) + 1) {
            texts.emplace_back(room_.data() + at);
        }
        return texts;
    }

    std::mutex mutex_;
    std::array<char, 16384> room_{};
    std::ptrdiff_t used_ = 0;
};

constinit Texts texts;

void Log(int priority, const char* format, std::va_list arguments) {
    if (LOG_PRI(priority) <= LOG_INFO) {
        std::va_list again;
        va_copy(again, arguments);
        std::array<char, 4096> text{};
        std::vsnprintf(text.data(), text.size(), format, again);
        va_end(again);
        texts.Keep(text.data());
    }
    vsyslog(priority, format, arguments);
}

}  // namespace

std::vector<std::string> LoggedTexts() {
    return texts.All();
}

}  // namespace mvlpfx

// These stand before the C library's, under both names by which a compiler may call it.
extern "C" {

[[gnu::visibility("default")]] void syslog(int priority, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    mvlpfx::Log(priority, format, arguments);
    va_end(arguments);
}

[[gnu::visibility("default")]] void __syslog_chk(int priority, int flag, const char* format, ...);
void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    mvlpfx::Log(priority, format, arguments);
    va_end(arguments);
}

}  // extern "C"
