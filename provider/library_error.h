// The cryptographic library's errors in the provider's words.
#pragma once

#include <gcrypt.h>

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

}  // namespace provider
