#include "asn/asn_encoders.h"

#include <array>
#include <cstring>

#include "asn/asn_child_iterator.h"
#include "asn/asn_decoders.h"
#include "foundation/user_locale_text.h"

namespace pkisdk::asn {

void IntegerEncoder::Decode(const AsnObjectHandle& object, std::uint32_t* value) {
    ReadAsnInteger(object, value);
}

AsnBinaryNodeHandle IntegerEncoder::Encode(std::uint32_t value, const AsnIdentifier& identifier) {
    const std::array<std::uint8_t, 4> octets = {
        static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
        static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
    std::size_t first = 0;
    while (first + 1 < octets.size() && octets[first] == 0 && (octets[first + 1] & 0x80U) == 0) {
        ++first;
    }
    auto node = MakeAsn<AsnBinaryNode>(identifier);
    node->content.Assign(&octets[first], octets.size() - first);
    return node;
}

void ObjectIdEncoder::Decode(const AsnObjectHandle& object, ObjectId* value) {
    ReadAsnObjectId(object, value);
}

AsnBinaryNodeHandle ObjectIdEncoder::Encode(const ObjectId& value,
                                            const AsnIdentifier& identifier) {
    auto node = MakeAsn<AsnBinaryNode>(identifier);
    node->content = value.GetOctets();
    return node;
}

void BinaryContentEncoder::Decode(const AsnObjectHandle& object, Blob* value) {
    const std::span<const std::uint8_t> content = object->GetContent();
    value->Assign(content.data(), content.size());
}

AsnBinaryNodeHandle BinaryContentEncoder::Encode(const Blob& value,
                                                 const AsnIdentifier& identifier) {
    return MakeAsn<AsnBinaryNode>(identifier, &value);
}

void ByteStringEncoder::Decode(const AsnObjectHandle& object, std::wstring* value) {
    ReadAsnByteString(object, value);
}

AsnBinaryNodeHandle ByteStringEncoder::Encode(const std::wstring& value,
                                              const AsnIdentifier& identifier) {
    const std::string bytes = ToUserLocale(value);
    auto node = MakeAsn<AsnBinaryNode>(identifier);
    node->content.Assign(bytes.data(), bytes.size());
    return node;
}

void AsnBlobCollectionEncoder::Decode(const AsnObjectHandle& object, std::list<Blob>* value) {
    value->clear();
    AsnChildIterator child(object);
    child.Begin();
    for (; child.CurrentOrEmpty() != nullptr; child.Next()) {
        if (child.CurrentOrEmpty()->GetIdentifier().firstOctet != 0) {
            child.CurrentOrEmpty()->CopyObjectTo(&value->emplace_back());
        }
    }
}

AsnBinaryNodeHandle AsnBlobCollectionEncoder::Encode(const std::list<Blob>& value,
                                                     const AsnIdentifier& identifier) {
    std::uint64_t total = 0;
    for (const Blob& element : value) {
        AsnObjectReadable::FromBlob(element);
        total += element.GetSize();
    }
    auto node = MakeAsn<AsnBinaryNode>(identifier);
    node->content.SetSize(total);
    std::uint8_t* place = node->content.GetData();
    for (const Blob& element : value) {
        std::memcpy(place, element.GetData(), element.Bytes().size());
        place += element.Bytes().size();
    }
    return node;
}

}  // namespace pkisdk::asn
