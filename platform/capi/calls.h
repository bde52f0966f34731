// How a function with a C face fails inside: by an exception that its outermost frame turns into
// the last error.
#pragma once

#include <exception>
#include <new>

#include "capi/last_error.h"

namespace capi {

class ErrorWord : public std::exception {
  public:
    explicit ErrorWord(HRESULT word) : word_(static_cast<DWORD>(word)) {}
    DWORD Word() const { return word_; }
    const char* what() const noexcept override { return "a call failed with an error word"; }

  private:
    DWORD word_;
};

[[noreturn]] inline void ThrowWord(HRESULT word) {
    throw ErrorWord(word);
}

inline void Require(bool condition, HRESULT word) {
    if (!condition) {
        ThrowWord(word);
    }
}

// Passes the last error of a failed call on.
inline void RequireCall(BOOL answer) {
    if (answer == FALSE) {
        throw ErrorWord(static_cast<HRESULT>(GetLastError()));
    }
}

// The body's answer, or `failure` with the reason in the last error.
template <typename Result, typename Body>
Result Answer(Result failure, Body body) {
    try {
        return body();
    } catch (const ErrorWord& error) {
        SetLastError(error.Word());
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return failure;
}

// Data in the manner of most of these functions: `*size` is the room and becomes the size, which
// alone is wanted where `out` is null.
template <typename Bytes>
void WriteSized(const Bytes& bytes, void* out, DWORD* size) {
    const auto needed = static_cast<DWORD>(bytes.size());
    const DWORD room = *size;
    *size = needed;
    if (out == nullptr) {
        return;
    }
    Require(room >= needed, ERROR_MORE_DATA);
    auto* const to = static_cast<BYTE*>(out);
    for (DWORD i = 0; i < needed; ++i) {
        to[i] = bytes[i];
    }
}

}  // namespace capi
