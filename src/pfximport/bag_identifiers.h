// The object identifiers by which a restore finds its way through a document, and what it takes
// from a certificate's bag.
#pragma once

#include "derlist/der_list.h"
#include "foundation/blob.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

inline constexpr char kDataOid[] = "1.2.840.113549.1.7.1";
inline constexpr char kEncryptedDataOid[] = "1.2.840.113549.1.7.6";
inline constexpr char kShroudedKeyBagOid[] = "1.2.840.113549.1.12.10.1.2";
inline constexpr char kCertBagOid[] = "1.2.840.113549.1.12.10.1.3";
inline constexpr char kX509CertificateOid[] = "1.2.840.113549.1.9.22.1";
inline constexpr char kFriendlyNameOid[] = "1.2.840.113549.1.9.20";
inline constexpr char kLocalKeyIdOid[] = "1.2.840.113549.1.9.21";
inline constexpr char kMachineKeySetOid[] = "1.3.6.1.4.1.311.17.2";

inline constexpr DWORD kCertificateEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// The encoded certificate of a bag. False where the bag holds none.
bool ExtractBagCertificate(const DerList& bag, Blob* encoded);

}  // namespace pkisdk
