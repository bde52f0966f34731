// The measured sizes of the indefinite elements of one document.
#pragma once

#include <cstdint>
#include <unordered_map>

#include "asn/asn_element.h"

namespace pkisdk::asn {

// What is measured on the way to a size is kept too, so that every element of a document is
// measured once, however deep they lie in one another and in whatever order their sizes are asked
// for.
class IndefiniteSizes {
  public:
    // The size of the content of `element`, which needs measuring, without its end-of-contents
    // octets. `limit` is that of the elements inside. A primitive element has no elements inside
    // and measures minus 2. Throws BadAsnData where the document ends before the element does, or
    // an element in it is bad.
    std::uint32_t Measure(IBlob& blob, const AsnElement& element, const AsnLimit& limit);

    // Keeps a size that a walk over the element's children has found.
    void Keep(const AsnElement& element, std::uint32_t size);

  private:
    std::unordered_map<std::int32_t, std::uint32_t> sizesByOffset_;
};

}  // namespace pkisdk::asn
