// The identifier octets of an element.
#pragma once

#include <cstdint>
#include <string>

#include "foundation/blob_cursor.h"

namespace pkisdk::asn {

inline constexpr std::uint8_t kAsnClassMask = 0xC0;
inline constexpr std::uint8_t kAsnUniversalClass = 0x00;
inline constexpr std::uint8_t kAsnContextClass = 0x80;
inline constexpr std::uint8_t kAsnConstructedBit = 0x20;
inline constexpr std::uint8_t kAsnTagMask = 0x1F;
// The first tag number that does not fit the first octet.
inline constexpr std::uint32_t kAsnHighTag = 31;

struct AsnIdentifier {
    // One that no element bears: it stands for an object that has not been read.
    constexpr AsnIdentifier() = default;
    constexpr AsnIdentifier(std::uint8_t octet, std::uint32_t tag)
        : firstOctet(octet), tagNumber(tag) {}
    // Reads the octets at the cursor and moves it behind them. Throws BadAsnData where they end.
    explicit AsnIdentifier(BlobCursor& cursor);

    // Writes the octets at the cursor and moves it behind them; the first one goes out as held.
    // Throws NotEnoughMemoryForAsnBlob where the blob is too short.
    void Serialize(BlobCursor& cursor) const;

    constexpr bool IsUniversal() const {
        return (firstOctet & kAsnClassMask) == kAsnUniversalClass;
    }
    constexpr bool IsContextSpecific() const {
        return (firstOctet & kAsnClassMask) == kAsnContextClass;
    }
    constexpr bool IsConstructed() const { return (firstOctet & kAsnConstructedBit) != 0; }

    friend constexpr bool operator==(const AsnIdentifier&, const AsnIdentifier&) = default;

    // As it stands in the document: class, constructed bit and the low tag number or 31.
    std::uint8_t firstOctet = 1;
    std::uint32_t tagNumber = 0;
};

// An identifier as an argument of a template.
template <std::uint8_t Class, std::uint32_t Tag, bool Constructed>
struct ConstAsnIdentifier {
    static_assert(Tag < kAsnHighTag);
    static constexpr AsnIdentifier kValue{
        static_cast<std::uint8_t>(Class | (Constructed ? kAsnConstructedBit : 0U) | Tag), Tag};
};

inline constexpr AsnIdentifier kIntegerIdentifier = ConstAsnIdentifier<0, 2, false>::kValue;
inline constexpr AsnIdentifier kBitStringIdentifier = ConstAsnIdentifier<0, 3, false>::kValue;
inline constexpr AsnIdentifier kOctetStringIdentifier = ConstAsnIdentifier<0, 4, false>::kValue;
inline constexpr AsnIdentifier kNullIdentifier = ConstAsnIdentifier<0, 5, false>::kValue;
inline constexpr AsnIdentifier kObjectIdIdentifier = ConstAsnIdentifier<0, 6, false>::kValue;
inline constexpr AsnIdentifier kEnumeratedIdentifier = ConstAsnIdentifier<0, 10, false>::kValue;
inline constexpr AsnIdentifier kUtf8StringIdentifier = ConstAsnIdentifier<0, 12, false>::kValue;
inline constexpr AsnIdentifier kSequenceIdentifier = ConstAsnIdentifier<0, 16, true>::kValue;
inline constexpr AsnIdentifier kSetIdentifier = ConstAsnIdentifier<0, 17, true>::kValue;
inline constexpr AsnIdentifier kNumericStringIdentifier = ConstAsnIdentifier<0, 18, false>::kValue;
inline constexpr AsnIdentifier kPrintableStringIdentifier =
    ConstAsnIdentifier<0, 19, false>::kValue;
inline constexpr AsnIdentifier kIa5StringIdentifier = ConstAsnIdentifier<0, 22, false>::kValue;
inline constexpr AsnIdentifier kBmpStringIdentifier = ConstAsnIdentifier<0, 30, false>::kValue;

// As an expected identifier: any object will do.
inline constexpr AsnIdentifier AnyAsnIdentifier{0x1F, 0xFFFFFFFF};

// Context-specific identifiers. The first octet has 31 for every tag that does not fit it.
AsnIdentifier PrimitiveContextIdentifier(std::uint32_t tag);
AsnIdentifier ConstructedContextIdentifier(std::uint32_t tag);

// Whether an object that bears `actual` may stand where `expected` is wanted. One that has not been
// read may stand anywhere.
bool AcceptsIdentifier(const AsnIdentifier& expected, const AsnIdentifier& actual);

// Reads identifier octets at the cursor, moves it behind them, and answers the tag number, of which
// a long form leaves the low 32 bits. Throws BadAsnData where they end.
std::uint32_t ReadAsnObjectTag(BlobCursor& cursor);

// The octets that Serialize writes.
std::uint32_t EncodedIdentifierSize(const AsnIdentifier& identifier);

// What messages call the identifier: the universal type, the tag of an explicit one, or else the
// first octet in decimal.
std::string GetAsnIdentifierName(const AsnIdentifier& identifier);

// The name of a universal type, looked up by first octet; empty where it has none.
const char* GetUniversalTagName(std::uint8_t firstOctet);

}  // namespace pkisdk::asn
