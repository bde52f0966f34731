#include <openssl/err.h>
#include <openssl/pkcs12.h>

#include "capi/certificates.h"

BOOL WINAPI PFXIsPFXBlob(CRYPT_DATA_BLOB* pPFX) {
    if (pPFX == nullptr || pPFX->pbData == nullptr) {
        return FALSE;
    }
    const unsigned char* at = pPFX->pbData;
    PKCS12* const document = d2i_PKCS12(nullptr, &at, static_cast<long>(pPFX->cbData));
    // What libcrypto noted is told by the answer.
    ERR_clear_error();
    const bool isWhole = document != nullptr && at == pPFX->pbData + pPFX->cbData;
    PKCS12_free(document);
    return isWhole;
}
