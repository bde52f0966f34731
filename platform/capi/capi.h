/* CryptoAPI for a system that has none: everything that libvlxcapi offers. C and C++. */
#pragma once

#include "capi/base64_text.h"
#include "capi/cert_store.h"
#include "capi/certificate_creation.h"
#include "capi/certificates.h"
#include "capi/clock.h"
#include "capi/events.h"
#include "capi/heap.h"
#include "capi/last_error.h"
#include "capi/oid_functions.h"
#include "capi/oid_info.h"
#include "capi/provider.h"
#include "capi/registry.h"
#include "capi/text.h"
#include "capi/types.h"
