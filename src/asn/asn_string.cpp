#include "asn/asn_string.h"

#include <stdexcept>

#include "asn/asn_decoders.h"
#include "asn/asn_encoders.h"
#include "foundation/asn_exceptions.h"
#include "foundation/string_utils.h"
#include "foundation/utf16.h"

namespace pkisdk::asn {

namespace {

enum class Form { kUtf8, kByteString, kBmp, kNone };

Form FormOf(const AsnIdentifier& identifier) {
    if (identifier.tagNumber >= kAsnHighTag) {
        return Form::kNone;
    }
    switch (identifier.firstOctet) {
        case kUtf8StringIdentifier.firstOctet:
            return Form::kUtf8;
        case kNumericStringIdentifier.firstOctet:
        case kPrintableStringIdentifier.firstOctet:
        case kIa5StringIdentifier.firstOctet:
            return Form::kByteString;
        case kBmpStringIdentifier.firstOctet:
            return Form::kBmp;
        default:
            return Form::kNone;
    }
}

AsnBinaryNodeHandle EncodeUtf8(const std::wstring& value, const AsnIdentifier& identifier) {
    const std::string utf8 = StringUtils::ToString(value);
    auto node = MakeAsn<AsnBinaryNode>(identifier);
    node->content.Assign(utf8.data(), utf8.size());
    return node;
}

AsnBinaryNodeHandle EncodeBmp(const std::wstring& value, const AsnIdentifier& identifier) {
    const std::u16string units = ToUtf16(value);
    auto node = MakeAsn<AsnBinaryNode>(identifier);
    node->content.SetSize(units.size() * sizeof(char16_t));
    std::uint8_t* octet = node->content.GetData();
    for (const char16_t unit : units) {
        *octet++ = static_cast<std::uint8_t>(unit);
        *octet++ = static_cast<std::uint8_t>(unit >> 8);
    }
    return node;
}

AsnBinaryNodeHandle Encode(const std::wstring& value, const AsnIdentifier& identifier) {
    switch (FormOf(identifier)) {
        case Form::kUtf8:
            return EncodeUtf8(value, identifier);
        case Form::kByteString:
            return ByteStringEncoder::Encode(value, identifier);
        case Form::kBmp:
            return EncodeBmp(value, identifier);
        case Form::kNone:
            break;
    }
    throw std::runtime_error("[AsnString::SerializeToAsnNode] Unsupported Asn Identifier.");
}

}  // namespace

namespace readable {

bool AsnString::DeserializeFromAsnObject(const AsnObjectHandle&, const std::string&) {
    ThrowNotImplemented("[asn::readable::AsnString::DeserializeFromAsnObject]");
}

AsnNodeHandle AsnString::SerializeToAsnNode(const AsnNodeContainerHandle& parent) const {
    return AttachTo(parent, Encode(*value_, identifier_));
}

}  // namespace readable

bool AsnString::DeserializeFromAsnObject(const AsnObjectHandle& object,
                                         const std::string& context) {
    switch (FormOf(object->GetIdentifier())) {
        case Form::kUtf8:
            ReadAsnUtf8String(object, target_);
            return true;
        case Form::kByteString:
            ReadAsnByteString(object, target_);
            return true;
        case Form::kBmp:
            ReadAsnBmpString(object, target_);
            return true;
        case Form::kNone:
            break;
    }
    throw UnexpactedAsnIdentifier(object.get(), "", "", context + memberName_);
}

}  // namespace pkisdk::asn
