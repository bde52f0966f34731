// The locale of the process, put on for as long as the object lives.
#pragma once

#include <locale>
#include <string>

namespace support {

class ProcessLocale {
  public:
    // Sets both the C and the C++ library's. Throws std::runtime_error if `name` is not installed.
    explicit ProcessLocale(const std::string& name)
        : before_(std::locale::global(std::locale(name))) {}
    ~ProcessLocale() { std::locale::global(before_); }
    ProcessLocale(const ProcessLocale&) = delete;
    ProcessLocale& operator=(const ProcessLocale&) = delete;

  private:
    std::locale before_;
};

}  // namespace support
