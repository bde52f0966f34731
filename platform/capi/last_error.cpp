#include "capi/last_error.h"

namespace {

thread_local DWORD lastError = NO_ERROR;

}  // namespace

DWORD WINAPI GetLastError() {
    return lastError;
}

void WINAPI SetLastError(DWORD dwErrCode) {
    lastError = dwErrCode;
}
