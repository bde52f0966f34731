// The certificates of a document under the identifiers by which keys find them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>

#include "derlist/der_list.h"
#include "derlist/der_spans.h"
#include "foundation/blob.h"
#include "pfxcrypto/handle_guards.h"

namespace pkisdk {

// Copies the content of the last node, the value of an attribute; an empty list gives an empty
// blob.
void GetLastNodeContent(const DerSpans& list, Blob* content);

// Made in one pass over the decrypted content, so that many keys do not each walk it again.
class CertificateBags {
  public:
    // Throws what BagWalk throws.
    explicit CertificateBags(const DerList& content);

    // The certificate that belongs to the key of number `ordinal`, counted from 1, with the
    // identifier `localKeyId`: that of the first bag with the same identifier, or with the key's
    // number in four octets, least significant first, that the platform can decode. One found by
    // the number has to have `localKeyId` for its SHA-1. Empty where there is none. Bags that turn
    // out to hold nothing are dropped, so that no later key tries them again.
    CertContext FindForKey(const Blob& localKeyId, std::uint32_t ordinal);

  private:
    struct Bag {
        std::size_t place;
        // Empty where the bag holds no certificate.
        Blob certificate;
    };
    // In the order of the document.
    using Bags = std::deque<Bag>;

    Bags* BagsWith(const std::string& localKeyId);

    std::map<std::string, Bags> byLocalKeyId_;
};

}  // namespace pkisdk
