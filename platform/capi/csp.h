/* What a cryptographic service provider exports and capi calls. The handles are the provider's own,
 * and it checks them itself. Every entry point but CPAcquireContext takes the context's handle
 * first. */
#pragma once

#include "capi/provider.h"
#include "capi/types.h"

typedef BOOL(WINAPI* CRYPT_VERIFY_IMAGE_A)(LPCSTR szImage, const BYTE* pbSigData);
typedef void(WINAPI* CRYPT_RETURN_HWND)(HWND* phWnd);

/* What CPAcquireContext learns of its caller. It is gone after the call. */
typedef struct _VTableProvStruc {
    DWORD Version;
    CRYPT_VERIFY_IMAGE_A FuncVerifyImage;
    CRYPT_RETURN_HWND FuncReturnhWnd;
    DWORD dwProvType;
    BYTE* pbContextInfo;
    DWORD cbContextInfo;
    LPSTR pszProvName;
} VTableProvStruc, *PVTableProvStruc;
