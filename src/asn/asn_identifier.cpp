#include "asn/asn_identifier.h"

#include <algorithm>
#include <bit>

#include "asn/asn_cursor.h"
#include "foundation/asn_exceptions.h"

namespace pkisdk::asn {

namespace {

constexpr std::uint32_t kGroupBits = 7;
constexpr std::uint8_t kGroupMask = 0x7F;
constexpr std::uint8_t kMoreGroups = 0x80;

std::uint32_t GroupCount(std::uint32_t tag) {
    const auto bits = static_cast<std::uint32_t>(std::bit_width(tag));
    return std::max(1U, (bits + kGroupBits - 1) / kGroupBits);
}

std::uint8_t ContextOctet(std::uint32_t tag, std::uint8_t classBits) {
    return static_cast<std::uint8_t>(std::min(tag, kAsnHighTag) | classBits);
}

// The octet that messages are to point at is checked ahead of reading it.
std::uint8_t FirstOctetAt(const BlobCursor& cursor) {
    if (!IsValid(cursor)) {
        throw BadAsnData(cursor, "[AsnIdentifier::AsnIdentifier]");
    }
    return *cursor.Current();
}

}  // namespace

AsnIdentifier::AsnIdentifier(BlobCursor& cursor)
    : firstOctet(FirstOctetAt(cursor)), tagNumber(ReadAsnObjectTag(cursor)) {}

void AsnIdentifier::Serialize(BlobCursor& cursor) const {
    constexpr const char* kRoutine = "[AsnIdentifier::Serialize]";
    if (!IsValid(cursor)) {
        throw NotEnoughMemoryForAsnBlob(kRoutine);
    }
    *cursor.Current() = firstOctet;
    cursor.Advance(1);
    if (tagNumber < kAsnHighTag) {
        return;
    }
    const std::uint32_t groups = GroupCount(tagNumber);
    if (cursor.RemainingSize() < static_cast<std::int32_t>(groups)) {
        throw NotEnoughMemoryForAsnBlob(kRoutine);
    }
    for (std::uint32_t left = groups; left > 0; --left) {
        const std::uint32_t group = tagNumber >> (kGroupBits * (left - 1)) & kGroupMask;
        *cursor.Current() = static_cast<std::uint8_t>(group | (left > 1 ? kMoreGroups : 0U));
        cursor.Advance(1);
    }
}

AsnIdentifier PrimitiveContextIdentifier(std::uint32_t tag) {
    return {ContextOctet(tag, kAsnContextClass), tag};
}

AsnIdentifier ConstructedContextIdentifier(std::uint32_t tag) {
    return {ContextOctet(tag, kAsnContextClass | kAsnConstructedBit), tag};
}

bool AcceptsIdentifier(const AsnIdentifier& expected, const AsnIdentifier& actual) {
    return actual == AsnIdentifier() || actual == expected || expected == AnyAsnIdentifier;
}

std::uint32_t ReadAsnObjectTag(BlobCursor& cursor) {
    if (!IsValid(cursor)) {
        throw BadAsnData(cursor, "");
    }
    const std::uint32_t low = *cursor.Current() & kAsnTagMask;
    cursor.Advance(1);
    if (low < kAsnHighTag) {
        return low;
    }
    std::uint32_t tag = 0;
    std::uint8_t octet = kMoreGroups;
    while ((octet & kMoreGroups) != 0) {
        if (!IsValid(cursor)) {
            throw BadAsnData(cursor, "[ReadAsnObjectTag]");
        }
        octet = *cursor.Current();
        tag = tag << kGroupBits | (octet & kGroupMask);
        cursor.Advance(1);
    }
    return tag;
}

std::uint32_t EncodedIdentifierSize(const AsnIdentifier& identifier) {
    return identifier.tagNumber < kAsnHighTag ? 1 : 1 + GroupCount(identifier.tagNumber);
}

}  // namespace pkisdk::asn
