#include "mvlpfx/der_walk.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "mvlpfx/der_tags.h"

namespace mvlpfx {

namespace {

constexpr std::uint8_t kClassMask = 0xC0;
constexpr std::uint8_t kConstructed = 0x20;
constexpr std::uint8_t kNumberMask = 0x1F;
constexpr std::uint8_t kMore = 0x80;  // of a tag number or a length, in their octets

// By tag number; none for those that are reserved.
constexpr std::array<const char*, 31> kUniversalTypes = {nullptr,
                                                         "BOOLEAN",
                                                         "INTEGER",
                                                         "BIT STRING",
                                                         "OCTET STRING",
                                                         "NULL",
                                                         "OBJECT IDENTIFIER",
                                                         "ObjectDescriptor",
                                                         "EXTERNAL",
                                                         "REAL",
                                                         "ENUMERATED",
                                                         "EMBEDDED PDV",
                                                         "UTF8String",
                                                         "RELATIVE-OID",
                                                         "TIME",
                                                         nullptr,
                                                         "SEQUENCE",
                                                         "SET",
                                                         "NumericString",
                                                         "PrintableString",
                                                         "TeletexString",
                                                         "VideotexString",
                                                         "IA5String",
                                                         "UTCTime",
                                                         "GeneralizedTime",
                                                         "GraphicString",
                                                         "VisibleString",
                                                         "GeneralString",
                                                         "UniversalString",
                                                         "CHARACTER STRING",
                                                         "BMPString"};

bool HasHighNumber(std::uint8_t identifier) {
    return (identifier & kNumberMask) == kNumberMask;
}

// Null for an identifier of another class, and for a number without a type.
const char* UniversalType(std::uint8_t identifier) {
    const bool isLowUniversal = (identifier & kClassMask) == 0 && !HasHighNumber(identifier);
    return isLowUniversal ? kUniversalTypes[identifier & kNumberMask] : nullptr;
}

bool IsConstructed(std::uint8_t identifier) {
    return (identifier & kConstructed) != 0;
}

// Reads headers of elements that lie one after another.
class Reader {
  public:
    explicit Reader(std::span<const std::uint8_t> der) : der_(der) {}

    // The element at `at`, which has to end by `end`. False where there is none.
    bool ReadElement(std::uint32_t at, std::uint32_t end, DerElement* element) const {
        *element = {};
        element->offset = at;
        element->identifier = der_[at++];
        // End-of-contents, which DER has not.
        if (element->identifier == 0) {
            return false;
        }
        if (HasHighNumber(element->identifier) && !ReadNumber(&at, end, &element->number)) {
            return false;
        }
        std::uint64_t length = 0;
        if (!ReadLength(&at, end, &length) || length > end - at) {
            return false;
        }
        element->content = at;
        element->length = static_cast<std::uint32_t>(length);
        return true;
    }

  private:
    bool ReadNumber(std::uint32_t* at, std::uint32_t end,
                    std::span<const std::uint8_t>* number) const {
        const std::uint32_t begin = *at;
        while (*at < end && (der_[*at] & kMore) != 0) {
            ++*at;
        }
        if (*at >= end) {
            return false;
        }
        ++*at;
        *number = der_.subspan(begin, *at - begin);
        return true;
    }

    bool ReadLength(std::uint32_t* at, std::uint32_t end, std::uint64_t* length) const {
        if (*at >= end) {
            return false;
        }
        const std::uint8_t first = der_[(*at)++];
        if (first < kMore) {
            *length = first;
            return true;
        }
        const std::uint32_t octets = first & ~kMore;
        if (octets == 0 || octets > sizeof *length || octets > end - *at) {
            return false;
        }
        for (const std::uint32_t last = *at + octets; *at < last; ++*at) {
            *length = *length << 8 | der_[*at];
        }
        return true;
    }

    std::span<const std::uint8_t> der_;
};

// Whether the bytes are a run of elements, those inside of constructed ones included, and none of
// a type that there is not.
bool IsRun(const Reader& reader, std::uint32_t at, std::uint32_t end) {
    std::vector<std::uint32_t> ends{end};
    DerElement element;
    while (!ends.empty()) {
        if (at == ends.back()) {
            ends.pop_back();
            continue;
        }
        if (!reader.ReadElement(at, ends.back(), &element)) {
            return false;
        }
        const bool isUniversal = (element.identifier & kClassMask) == 0;
        if (isUniversal && UniversalType(element.identifier) == nullptr) {
            return false;
        }
        at = element.content;
        if (IsConstructed(element.identifier)) {
            ends.push_back(at + element.length);
        } else {
            at += element.length;
        }
    }
    return true;
}

// Where the elements inside begin; the value's end where there are none to show.
std::uint32_t FirstInside(const Reader& reader, std::span<const std::uint8_t> der,
                          const DerElement& element) {
    const std::uint32_t end = element.content + element.length;
    if (IsConstructed(element.identifier)) {
        return element.content;
    }
    const bool isBits = element.identifier == kBitString;
    if (element.length < 2 || (!isBits && element.identifier != kOctetString)) {
        return end;
    }
    // A BIT STRING begins with the number of its unused bits.
    const std::uint32_t begin = element.content + (isBits ? 1 : 0);
    const bool isOctets = !isBits || der[element.content] == 0;
    return isOctets && begin < end && IsRun(reader, begin, end) ? begin : end;
}

// In decimal, or in octets where it is beyond 63 bits.
std::string NumberText(const DerElement& element) {
    if (!HasHighNumber(element.identifier)) {
        return std::to_string(element.identifier & kNumberMask);
    }
    constexpr std::size_t kLongest = 9;
    if (element.number.size() > kLongest) {
        return "0x" + ShownHex(element.number);
    }
    std::uint64_t number = 0;
    for (const std::uint8_t octet : element.number) {
        number = number << 7 | (octet & ~kMore);
    }
    return std::to_string(number);
}

}  // namespace

DerWalk WalkDer(std::span<const std::uint8_t> der) {
    const Reader reader(der);
    DerWalk walk;
    std::vector<std::uint32_t> ends{static_cast<std::uint32_t>(der.size())};
    std::uint32_t at = 0;
    while (!ends.empty()) {
        if (at == ends.back()) {
            ends.pop_back();
            continue;
        }
        DerElement element;
        if (!reader.ReadElement(at, ends.back(), &element)) {
            walk.stop = at;
            return walk;
        }
        element.depth = static_cast<std::int32_t>(ends.size()) - 1;
        const std::uint32_t end = element.content + element.length;
        at = FirstInside(reader, der, element);
        element.isOpen = at != end;
        if (element.isOpen) {
            ends.push_back(end);
        }
        walk.elements.push_back(element);
    }
    walk.isWhole = !walk.elements.empty();
    walk.stop = at;
    return walk;
}

std::string ShownHex(std::span<const std::uint8_t> bytes) {
    constexpr std::size_t kShown = 32;
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), kShown))) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return bytes.size() > kShown ? text + "..." : text;
}

std::string TypeName(const DerElement& element) {
    if (const char* const known = UniversalType(element.identifier)) {
        return known;
    }
    constexpr std::array kClasses = {"UNIVERSAL ", "APPLICATION ", "", "PRIVATE "};
    return std::string("[") + kClasses[element.identifier >> 6] + NumberText(element) + "]";
}

std::string TypeName(std::uint8_t identifier) {
    if (HasHighNumber(identifier)) {
        std::array<char, 9> text{};
        std::snprintf(text.data(), text.size(), "tag 0x%02X", identifier);
        return text.data();
    }
    DerElement element;
    element.identifier = identifier;
    return TypeName(element);
}

}  // namespace mvlpfx
