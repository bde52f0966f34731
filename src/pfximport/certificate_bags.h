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
#include "pfximport/bag_walk.h"

namespace pkisdk {

// Copies the content of the last node, the value of an attribute; an empty list gives an empty
// blob.
void GetLastNodeContent(const DerSpans& list, Blob* content);

// Goes over the decrypted content once, however many keys there are, and only as far as their
// certificates lie.
class CertificateBags {
  public:
    // `content` must outlive the object and not change.
    explicit CertificateBags(const DerList& content);
    explicit CertificateBags(DerList&&) = delete;

    // The certificate that belongs to the key of number `ordinal`, counted from 1, with the
    // identifier `localKeyId`: that of the first bag with the same identifier, or with the key's
    // number in four octets, least significant first, that the platform can decode. One found by
    // the number has to have `localKeyId` for its SHA-1. Empty where there is none. Bags that turn
    // out to hold nothing are dropped, so that no later key tries them again. Throws what BagWalk
    // throws.
    CertContext FindForKey(const Blob& localKeyId, std::uint32_t ordinal);

  private:
    struct Bag {
        std::size_t place;
        // Empty where the bag holds no certificate.
        Blob certificate;
    };
    // In the order of the document.
    using Bags = std::deque<Bag>;

    bool IndexNext();
    Bags* BagsWith(const std::string& localKeyId);

    BagWalk walk_;
    bool isAtEnd_ = false;
    // What the walk has passed.
    std::size_t passed_ = 0;
    std::map<std::string, Bags> byLocalKeyId_;
};

}  // namespace pkisdk
