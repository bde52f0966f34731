/* The C runtime's errno, by function as that of Windows has it. */
#pragma once

#include "capi/types.h"

VLXCAPI_BEGIN

/* Both answer 0; without a place for the value, EINVAL, which is then in errno too. */
VLXCAPI int _get_errno(int* value);
VLXCAPI int _set_errno(int value);

VLXCAPI_END
