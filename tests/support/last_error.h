// Expectations on calls that answer truth and leave their reason in the last error.
#pragma once

#include <gmock/gmock.h>

#include "platform/cryptoapi.h"

namespace test_support {

// Matches FALSE, or 0, with that word as the last error. Clear the last error before the call where
// it could have been set earlier.
MATCHER_P(FailsWith, word, "") {
    const DWORD left = GetLastError();
    *result_listener << "answer " << arg << ", last error 0x" << std::hex << left;
    return !arg && left == static_cast<DWORD>(word);
}

}  // namespace test_support

// The last error can only be the call's own.
#define EXPECT_FAILS_WITH(word, call) \
    EXPECT_THAT((SetLastError(0), (call)), test_support::FailsWith(word))
