// What a document holds, told as a report tells it.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <vector>

#include "derlist/der_list.h"
#include "mvlpfx/handles.h"
#include "mvlpfx/secret.h"

namespace mvlpfx {

// Decrypts the document's certificates into `content` and adds them to a store in memory. The
// password is known to fit. Throws ToolError.
OwnedStore DecryptCertificates(const std::vector<std::uint8_t>& document,
                               const pkisdk::DerList& list, const Secret<wchar_t>& password,
                               pkisdk::DerList* content);

// The keys, as far as they can be seen without a password:
//   "keys": [{"number", "friendlyName", "localKeyId", "machine", "attributes"}]
// Numbers count the bags of a type as a restore does, from 1; identifiers and what stands under
// "attributes": [{"oid", "values"}], the attributes that a restore passes over, are in hexadecimal,
// values with their headers. Fields that have nothing to tell are left out. Where a bag is
// malformed the list ends before it, and "keysError" says why, a failure as AddFailure tells it,
// without an exit code. Certificates that are not encrypted, which a restore passes over, are
//   "plainCertificates": [{"number", "subject", ... as below but for "keys", "passedOver"}]
// where there are any, with "plainCertificatesError" where they can't be told apart.
nlohmann::ordered_json DescribeKeys(const std::vector<std::uint8_t>& document);

// The same with the password that fits; keys have the "certificate" that a restore would tie to
// them, by its thumbprint, and there are
//   "certificates": [{"number", "subject", "issuer", "serial", "notBefore", "notAfter",
//                     "thumbprint", "keys", "friendlyName", "localKeyId", "attributes"}]
// of the encrypted content; of a bag without a certificate that the platform can decode, which a
// restore passes over, {"number", "readable": false}. What else that content holds is told under
// "otherBags" as JsonOfPart tells it. Where the content can't be read there is "certificatesError"
// instead.
nlohmann::ordered_json DescribeContents(const std::vector<std::uint8_t>& document,
                                        const Secret<wchar_t>& password);

}  // namespace mvlpfx
