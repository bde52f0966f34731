#include "mvlpfx/der_walk.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

#include "mvlpfx/der_tags.h"

namespace mvlpfx {

namespace {

constexpr std::uint8_t kClassMask = 0xC0;
constexpr std::uint8_t kConstructed = 0x20;
constexpr std::uint8_t kNumberMask = 0x1F;
constexpr std::uint8_t kMore = 0x80;  // of a tag number or a length, in their octets
constexpr std::uint8_t kIndefinite = 0x80;
constexpr std::uint8_t kEndOfContents = 0;

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

// Of one of definite length.
std::uint32_t EndOf(const DerElement& element) {
    return element.content + element.length;
}

// Reads headers of elements that lie one after another.
class Reader {
  public:
    explicit Reader(std::span<const std::uint8_t> der) : der_(der) {}

    // The element at `at`, which has to end by `end`; one of indefinite length has none yet. False
    // where there is none.
    bool ReadElement(std::uint32_t at, std::uint32_t end, DerElement* element) const {
        *element = {};
        element->offset = at;
        element->identifier = der_[at++];
        if (element->identifier == kEndOfContents) {
            return false;
        }
        if (HasHighNumber(element->identifier) && !ReadNumber(&at, end, &element->number)) {
            return false;
        }
        if (at < end && der_[at] == kIndefinite && IsConstructed(element->identifier)) {
            element->isIndefinite = true;
            element->content = at + 1;
            return true;
        }
        std::uint64_t length = 0;
        if (!ReadLength(&at, end, &length) || length > end - at) {
            return false;
        }
        element->content = at;
        element->length = static_cast<std::uint32_t>(length);
        return true;
    }

    // Two zeros at `at`.
    bool ReadEndOfContents(std::uint32_t at, std::uint32_t end, DerElement* element) const {
        *element = {};
        element->offset = at;
        element->content = at + 2;
        return end - at >= 2 && der_[at] == kEndOfContents && der_[at + 1] == 0;
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

// Reads the bytes as a run of elements, those inside of one before the next. `take` is given each
// and answers where those inside begin, the value's end where there are none; nothing to stop.
// Where all is read `stop` is the end; else where what follows is no element, or the element of
// indefinite length that nothing ends.
template <typename Take>
bool ReadRun(const Reader& reader, std::uint32_t at, std::uint32_t end, Take take,
             std::uint32_t* stop) {
    struct Level {
        std::uint32_t end;
        std::optional<std::uint32_t> indefinite;  // offset of the element around it
    };
    std::vector<Level> levels{{end, std::nullopt}};
    DerElement element;
    while (!levels.empty()) {
        const Level level = levels.back();
        *stop = at == level.end && level.indefinite ? *level.indefinite : at;
        if (at == level.end) {
            if (level.indefinite) {
                return false;
            }
            levels.pop_back();
            continue;
        }
        const bool isEnd = level.indefinite && reader.ReadEndOfContents(at, level.end, &element);
        if (!isEnd && !reader.ReadElement(at, level.end, &element)) {
            return false;
        }
        element.depth = static_cast<std::int32_t>(levels.size()) - 1;
        const std::optional<std::uint32_t> inside = take(element);
        if (!inside) {
            return false;
        }
        at = *inside;
        if (isEnd) {
            levels.pop_back();
        } else if (element.isIndefinite) {
            levels.push_back({level.end, element.offset});
        } else if (at != EndOf(element)) {
            levels.push_back({EndOf(element), std::nullopt});
        }
    }
    return true;
}

// Whether the bytes are a run of elements, those inside of constructed ones included, and none of
// a type that there is not.
bool IsRun(const Reader& reader, std::uint32_t at, std::uint32_t end) {
    const auto take = [](const DerElement& element) -> std::optional<std::uint32_t> {
        const bool isUniversal = (element.identifier & kClassMask) == 0;
        if (isUniversal && element.identifier != kEndOfContents &&
            UniversalType(element.identifier) == nullptr) {
            return std::nullopt;
        }
        return IsConstructed(element.identifier) ? element.content : EndOf(element);
    };
    std::uint32_t stop = 0;
    return ReadRun(reader, at, end, take, &stop);
}

// Where the elements inside begin; the value's end where there are none to show.
std::uint32_t FirstInside(const Reader& reader, std::span<const std::uint8_t> der,
                          const DerElement& element) {
    const std::uint32_t end = EndOf(element);
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

// Elements of indefinite length get theirs where what ends them is known.
void SetIndefiniteLengths(std::vector<DerElement>* elements) {
    std::vector<DerElement*> open;
    for (DerElement& element : *elements) {
        if (element.isIndefinite) {
            open.push_back(&element);
        } else if (element.identifier == kEndOfContents) {
            open.back()->length = element.offset - open.back()->content;
            open.pop_back();
        }
    }
}

std::string NameOf(const DerElement& element) {
    if (const char* const known = UniversalType(element.identifier)) {
        return known;
    }
    constexpr std::array kClasses = {"UNIVERSAL ", "APPLICATION ", "", "PRIVATE "};
    return std::string("[") + kClasses[element.identifier >> 6] + NumberText(element) + "]";
}

}  // namespace

DerWalk WalkDer(std::span<const std::uint8_t> der) {
    const Reader reader(der);
    DerWalk walk;
    const auto take = [&](DerElement& element) -> std::optional<std::uint32_t> {
        const std::uint32_t inside = FirstInside(reader, der, element);
        element.isOpen = element.isIndefinite || inside != EndOf(element);
        walk.elements.push_back(element);
        return inside;
    };
    const bool isRead =
        ReadRun(reader, 0, static_cast<std::uint32_t>(der.size()), take, &walk.stop);
    walk.isWhole = isRead && !walk.elements.empty();
    SetIndefiniteLengths(&walk.elements);
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
    return element.identifier == kEndOfContents ? "end-of-contents" : NameOf(element);
}

std::string TypeName(std::uint8_t identifier) {
    if (HasHighNumber(identifier)) {
        std::array<char, 9> text{};
        std::snprintf(text.data(), text.size(), "tag 0x%02X", identifier);
        return text.data();
    }
    DerElement element;
    element.identifier = identifier;
    return NameOf(element);
}

}  // namespace mvlpfx
