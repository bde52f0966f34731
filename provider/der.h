// The little of DER that keys need.
#pragma once

#include <initializer_list>
#include <span>

#include "platform/cryptoapi.h"
#include "provider/secret_bytes.h"

namespace provider {

namespace der {

inline constexpr BYTE kInteger = 0x02;
inline constexpr BYTE kBitString = 0x03;
inline constexpr BYTE kOctetString = 0x04;
inline constexpr BYTE kObjectIdentifier = 0x06;
inline constexpr BYTE kSequence = 0x30;

}  // namespace der

// Walks over elements that stand one behind the other. Strict: one-octet tags, lengths definite and
// as short as can be. Reads nothing outside its octets, whatever they are.
class DerReader {
  public:
    explicit DerReader(std::span<const BYTE> octets) : rest_(octets) {}

    bool IsAtEnd() const { return rest_.empty(); }
    // Whether the next element has the tag.
    bool NextIs(BYTE tag) const { return !rest_.empty() && rest_.front() == tag; }
    // Takes the next element if it has the tag and is whole; else false, and nothing is taken.
    bool Read(BYTE tag, std::span<const BYTE>* content);
    // Takes the only element left.
    bool ReadLast(BYTE tag, std::span<const BYTE>* content);

  private:
    std::span<const BYTE> rest_;
};

// The size of the element at `octets`, header and content, by its header, of which no octet is read
// that those before it do not call for. 0 for a header that is no DER, or a size of a megabyte.
std::size_t SizeOfDerElement(const BYTE* octets);

// The element with the contents one behind the other. May throw std::bad_alloc. All of it lies in
// secure memory, since some of it is secret.
SecretBytes DerElement(BYTE tag, std::initializer_list<std::span<const BYTE>> contents);

}  // namespace provider
