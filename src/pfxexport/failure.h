// Why a step of an export stopped.
#pragma once

#include <optional>

#include "platform/cryptoapi.h"

namespace pkisdk {

// The error word, or nothing after success. A word of 0 is a failure too: a provider may refuse and
// leave no reason.
using Failure = std::optional<DWORD>;

inline constexpr Failure kSuccess = std::nullopt;

inline Failure FailWith(HRESULT word) {
    return static_cast<DWORD>(word);
}

// Taken before the guards that are in scope release what they hold.
inline Failure FailWithLastError() {
    return GetLastError();
}

// Sets the last error, to 0 after success, and answers nonzero after success.
inline int Answer(const Failure& failure) {
    SetLastError(failure.value_or(0));
    return failure ? 0 : 1;
}

}  // namespace pkisdk
