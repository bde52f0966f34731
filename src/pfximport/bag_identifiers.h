// The object identifiers by which a restore finds its way through a document, and what it takes
// from a certificate's bag.
#pragma once

#include "derlist/der_spans.h"
#include "foundation/blob.h"
#include "pfxcrypto/document_oids.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

inline constexpr char kMachineKeySetOid[] = "1.3.6.1.4.1.311.17.2";

inline constexpr DWORD kCertificateEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// The encoded certificate of a bag. False where the bag holds none.
bool ExtractBagCertificate(const DerSpans& bag, Blob* encoded);

}  // namespace pkisdk
