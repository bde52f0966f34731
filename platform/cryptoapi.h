// The CryptoAPI that the module is written against: the system's own on Windows, capi elsewhere.
// The declarations reached from here are the whole of what the module asks of its platform.
#pragma once

#ifdef _WIN32
#include <windows.h>
// wincrypt.h needs windows.h before it.
#include <wincrypt.h>
// _get_errno and _set_errno.
#include <stdlib.h>
#else
#include "capi/capi.h"
#endif
