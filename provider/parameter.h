// How parameters leave the provider.
#pragma once

#include <cstring>
#include <new>
#include <span>
#include <utility>

#include "platform/cryptoapi.h"

namespace provider {

// Writes a parameter by the rule of sizes: with no buffer `*outSize` takes the size; a buffer that
// is too small gives ERROR_MORE_DATA and the size.
inline HRESULT WriteParameter(std::span<const BYTE> value, BYTE* out, DWORD* outSize) {
    if (outSize == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const DWORD room = std::exchange(*outSize, static_cast<DWORD>(value.size()));
    if (out == nullptr) {
        return S_OK;
    }
    if (room < value.size()) {
        return ERROR_MORE_DATA;
    }
    std::memcpy(out, value.data(), value.size());
    return S_OK;
}

inline HRESULT WriteParameter(DWORD value, BYTE* out, DWORD* outSize) {
    const auto* const bytes = reinterpret_cast<const BYTE*>(&value);
    return WriteParameter(std::span(bytes, sizeof(value)), out, outSize);
}

// With its terminator.
inline HRESULT WriteParameter(const char* text, BYTE* out, DWORD* outSize) {
    const auto* const bytes = reinterpret_cast<const BYTE*>(text);
    return WriteParameter(std::span(bytes, std::strlen(text) + 1), out, outSize);
}

// What an entry point answers.
inline BOOL Answer(HRESULT status) {
    if (status == S_OK) {
        return TRUE;
    }
    SetLastError(static_cast<DWORD>(status));
    return FALSE;
}

// The same for `work` that may run out of memory.
template <typename Work>
BOOL AnswerTo(Work work) {
    try {
        return Answer(work());
    } catch (const std::bad_alloc&) {
        return Answer(NTE_NO_MEMORY);
    }
}

}  // namespace provider
