// The cryptographic library's errors in the provider's words.
#pragma once

#include <gcrypt.h>

#include <new>

#include "platform/cryptoapi.h"

namespace provider {

// Of failures that no caller's data can bring about.
inline HRESULT StatusOf(gcry_error_t error) {
    switch (gcry_err_code(error)) {
        case GPG_ERR_NO_ERROR:
            return S_OK;
        case GPG_ERR_ENOMEM:
            return NTE_NO_MEMORY;
        default:
            return NTE_FAIL;
    }
}

// Whether a call went through; std::bad_alloc where it is memory that it lacked, which says nothing
// about what it was given.
inline bool IsDone(gcry_error_t error) {
    if (gcry_err_code(error) == GPG_ERR_ENOMEM) {
        throw std::bad_alloc();
    }
    return error == 0;
}

}  // namespace provider
