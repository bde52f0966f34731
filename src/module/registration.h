// The module's functions in CryptoAPI's table of OID functions.
#pragma once

#include "platform/cryptoapi.h"

namespace pkisdk {

// Enters the three operations on documents under the names of their sets or, with `isRegistering`
// 0, removes what stands under the names of the exported functions: entries that registering never
// makes, so that those it makes stay. Answers 0, or the first failure: a last error that is no
// HRESULT yet as one of 0x8007xxxx, and 0 where there was none.
//
// The path entered is that of the loaded mvlpfx64.dll, or without one the program's.
HRESULT RegisterOidFunctions(BYTE isRegistering);

}  // namespace pkisdk
