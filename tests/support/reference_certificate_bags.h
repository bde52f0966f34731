// How the certificate of a key is found, bag by bag from the first for every key.
#pragma once

#include <cstdint>

#include "derlist/der_list.h"
#include "foundation/blob.h"
#include "platform/cryptoapi.h"

namespace test_support {

// The context, which the caller frees, or null.
PCCERT_CONTEXT ReferenceFindForKey(pkisdk::DerList* certificates, const pkisdk::Blob& localKeyId,
                                   std::uint32_t ordinal);

}  // namespace test_support
