#include "asn/asn_decoders.h"

#include <algorithm>
#include <array>
#include <utility>

#include "foundation/string_utils.h"
#include "foundation/user_locale_text.h"
#include "foundation/utf16.h"

namespace pkisdk::asn {

namespace {

std::string_view TextOf(const AsnObjectReadable& object) {
    const std::span<const std::uint8_t> content = object.GetContent();
    return {reinterpret_cast<const char*>(content.data()), content.size()};
}

char16_t SwapOctets(wchar_t unit) {
    const auto value = static_cast<char16_t>(unit);
    return static_cast<char16_t>(value << 8 | value >> 8);
}

}  // namespace

void ReadAsnInteger(const AsnObjectHandle& object, std::uint32_t* value) {
    constexpr const char* kRoutine = "[ASN Integer reading]";
    const AsnIdentifier& identifier = object->GetIdentifier();
    if (identifier != kIntegerIdentifier && identifier != kEnumeratedIdentifier) {
        throw BadConversion(object.get(), "ASN Integer", kRoutine, "");
    }
    const std::uint32_t size = object->GetContentSize();
    if (size == 0) {
        throw BadAsnData(object.get(), kRoutine, "The content is empty.", "");
    }
    if (size > sizeof(*value)) {
        throw BadAsnData(object.get(), kRoutine, "The content length is too long.", "");
    }
    const std::span<const std::uint8_t> octets = object->GetContent();
    std::uint32_t number = (octets[0] & 0x80U) != 0 ? 0xFFFFFFFF : 0;
    for (const std::uint8_t octet : octets) {
        number = number << 8 | octet;
    }
    *value = number;
}

void ReadAsnObjectId(const AsnObjectHandle& object, ObjectId* value) {
    constexpr const char* kRoutine = "[ASN ObjectId reading]";
    if (object->GetIdentifier() != kObjectIdIdentifier) {
        throw BadConversion(object.get(), "ASN ObjectId", kRoutine, "");
    }
    Blob octets;
    object->ReadContent(&octets);
    try {
        value->SetOctets(std::move(octets));
    } catch (const Exception& e) {
        throw BadAsnData(object.get(), kRoutine, e.message, "");
    }
}

void ReadAsnUtf8String(const AsnObjectHandle& object, std::wstring* value) {
    static constexpr std::array kTypes = {kUtf8StringIdentifier, kIa5StringIdentifier,
                                          kNumericStringIdentifier, kPrintableStringIdentifier};
    if (std::find(kTypes.begin(), kTypes.end(), object->GetIdentifier()) == kTypes.end()) {
        throw BadConversion(object.get(), "ASN Utf8 String", "[ASN Utf8 String reading]", "");
    }
    *value = StringUtils::ToWString(TextOf(*object));
}

void ReadAsnByteString(const AsnObjectHandle& object, std::wstring* value) {
    *value = FromUserLocale(TextOf(*object));
}

void ReadAsnBmpString(const AsnObjectHandle& object, std::wstring* value) {
    std::wstring units;
    object->CopyContentTo(&units);
    std::u16string swapped(units.size(), u'\0');
    std::transform(units.begin(), units.end(), swapped.begin(), SwapOctets);
    *value = FromUtf16(swapped);
}

}  // namespace pkisdk::asn
