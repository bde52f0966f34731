// Root of the exceptions that the module raises.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

namespace pkisdk {

// `code` is carried for whoever catches; nothing in the module decides by it.
class Exception : public std::exception {
  public:
    Exception(std::uint32_t code, std::string message);

    const char* what() const noexcept override;

    std::uint32_t code;
    std::string message;
};

}  // namespace pkisdk
