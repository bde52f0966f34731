// Object identifiers of contents, bags and attributes that both roads of a document meet.
#pragma once

namespace pkisdk {

inline constexpr char kDataOid[] = "1.2.840.113549.1.7.1";
inline constexpr char kEncryptedDataOid[] = "1.2.840.113549.1.7.6";
inline constexpr char kShroudedKeyBagOid[] = "1.2.840.113549.1.12.10.1.2";
inline constexpr char kCertBagOid[] = "1.2.840.113549.1.12.10.1.3";
inline constexpr char kX509CertificateOid[] = "1.2.840.113549.1.9.22.1";
inline constexpr char kFriendlyNameOid[] = "1.2.840.113549.1.9.20";
inline constexpr char kLocalKeyIdOid[] = "1.2.840.113549.1.9.21";

}  // namespace pkisdk
