#include "foundation/code_page_text.h"

#include <climits>
#include <cstddef>

#include "foundation/exception.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

namespace {

[[noreturn]] void ThrowLastError(const char* message) {
    throw Exception(static_cast<std::uint32_t>(GetLastError()), message);
}

// The platform counts in int, and takes some negative lengths for a request to look for a NUL.
int LengthOf(std::size_t size, const ConversionFailures& failures) {
    if (size > INT_MAX) {
        SetLastError(ERROR_INVALID_PARAMETER);
        ThrowLastError(failures.sizing);
    }
    return static_cast<int>(size);
}

}  // namespace

std::string ToCodePage(std::uint32_t codePage, std::wstring_view text,
                       const ConversionFailures& failures) {
    if (text.empty()) {
        return {};
    }
    const int length = LengthOf(text.size(), failures);
    const int size =
        WideCharToMultiByte(codePage, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    if (size == 0) {
        ThrowLastError(failures.sizing);
    }
    std::string bytes(static_cast<std::size_t>(size), '\0');
    if (WideCharToMultiByte(codePage, 0, text.data(), length, bytes.data(), size, nullptr,
                            nullptr) == 0) {
        ThrowLastError(failures.converting);
    }
    return bytes;
}

std::wstring FromCodePage(std::uint32_t codePage, std::string_view text,
                          const ConversionFailures& failures) {
    if (text.empty()) {
        return {};
    }
    const int length = LengthOf(text.size(), failures);
    const int size = MultiByteToWideChar(codePage, 0, text.data(), length, nullptr, 0);
    if (size == 0) {
        ThrowLastError(failures.sizing);
    }
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    if (MultiByteToWideChar(codePage, 0, text.data(), length, wide.data(), size) == 0) {
        ThrowLastError(failures.converting);
    }
    return wide;
}

}  // namespace pkisdk
