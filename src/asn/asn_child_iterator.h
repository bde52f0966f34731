// A walk over the children of one object.
#pragma once

#include <string>

#include "asn/asn_object_readable.h"

namespace pkisdk::asn {

// Moves forward only. A child that has been passed goes, unless someone else holds it.
class AsnChildIterator {
  public:
    // `object` is the parent to be walked. Begin() comes first.
    explicit AsnChildIterator(AsnObjectHandle object);

    // Goes to the first child, and answers true whether there is one or not. Throws BadAsnData for
    // a bad child.
    bool Begin();
    // Goes to the next child and answers whether there is one. In an indefinite object the
    // end-of-contents octets end the walk, and its size is known from then on. In a definite one
    // the last child ends where the object does. Throws BadAsnData for a bad child, and where the
    // children pass the end of the blob.
    bool Next();

    // The current child. Throws BadAsnContent, with `context`, when there is none.
    const AsnObjectHandle& Current(const std::string& context) const;
    // The current child; empty at the end.
    const AsnObjectHandle& CurrentOrEmpty() const { return current_; }
    // The octet that the walk has reached; null at a negative position.
    const std::uint8_t* GetPosition() const { return position_.Current(); }

  private:
    bool IsEnd(const BlobCursor& cursor) const;

    AsnObjectHandle object_;
    AsnObjectHandle current_;
    BlobCursor position_;
};

}  // namespace pkisdk::asn
