// Entry points that Windows loads no provider without, and that this one has no use for.
#include "csp.h"

extern "C" {

BOOL WINAPI CPDeriveKey(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTHASH hBaseData, DWORD dwFlags,
                        HCRYPTKEY* phKey);
BOOL WINAPI CPDuplicateKey(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD* pdwReserved, DWORD dwFlags,
                           HCRYPTKEY* phKey);
BOOL WINAPI CPHashSessionKey(HCRYPTPROV hProv, HCRYPTHASH hHash, HCRYPTKEY hKey, DWORD dwFlags);
}

namespace {

BOOL Refuse() {
    SetLastError(static_cast<DWORD>(E_NOTIMPL));
    return FALSE;
}

}  // namespace

BOOL WINAPI CPDeriveKey(HCRYPTPROV /*hProv*/, ALG_ID /*Algid*/, HCRYPTHASH /*hBaseData*/,
                        DWORD /*dwFlags*/, HCRYPTKEY* /*phKey*/) {
    return Refuse();
}

BOOL WINAPI CPDuplicateKey(HCRYPTPROV /*hProv*/, HCRYPTKEY /*hKey*/, DWORD* /*pdwReserved*/,
                           DWORD /*dwFlags*/, HCRYPTKEY* /*phKey*/) {
    return Refuse();
}

BOOL WINAPI CPHashSessionKey(HCRYPTPROV /*hProv*/, HCRYPTHASH /*hHash*/, HCRYPTKEY /*hKey*/,
                             DWORD /*dwFlags*/) {
    return Refuse();
}
