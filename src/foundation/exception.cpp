#include "foundation/exception.h"

#include <utility>

namespace pkisdk {

Exception::Exception(std::uint32_t codeValue, std::string text)
    : code(codeValue), message(std::move(text)) {}

const char* Exception::what() const noexcept {
    return message.c_str();
}

}  // namespace pkisdk
