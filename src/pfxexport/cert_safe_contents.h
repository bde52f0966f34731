// The certificates of a document before they are encrypted.
#pragma once

#include "foundation/blob.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

// Writes a SafeContents with one bag for each certificate of the store into `safeContents`. A
// certificate that has CERT_KEY_PROV_INFO_PROP_ID bears a localKeyId: the first such one 1, the
// next 2. Costs linear time. Answers nonzero with last error 0; or 0 with `safeContents` as it was
// and the last error NTE_BAD_DATA for a null store, a certificate that is not DER, or a certificate
// or a number that a reader would find changed.
int BuildCertSafeContents(HCERTSTORE store, IBlob* safeContents);

}  // namespace pkisdk
