// The certificates of a document under the identifiers by which keys find them.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "derlist/der_list.h"
#include "foundation/blob.h"
#include "pfxcrypto/handle_guards.h"

namespace pkisdk {

// Copies the content of the last node, the value of an attribute; an empty list gives an empty
// blob.
void GetLastNodeContent(const DerList& list, Blob* content);

// Made in one pass over the decrypted content, so that many keys do not each walk it again.
class CertificateBags {
  public:
    explicit CertificateBags(const DerList& content);

    // The certificate that belongs to the key of number `ordinal`, counted from 1, with the
    // identifier `localKeyId`: that of the first bag with the same identifier, or with the key's
    // number in four octets, least significant first, that the platform can decode. One found by
    // the number has to have `localKeyId` for its SHA-1. Empty where there is none.
    CertContext FindForKey(const Blob& localKeyId, std::uint32_t ordinal) const;

  private:
    struct Bag {
        std::string localKeyId;
        // Empty where the bag holds no certificate.
        Blob certificate;
    };

    const std::vector<std::size_t>* BagsWith(const std::string& localKeyId) const;

    std::vector<Bag> bags_;
    // Places in `bags_`, rising.
    std::map<std::string, std::vector<std::size_t>> byLocalKeyId_;
};

}  // namespace pkisdk
