#include "provider/der.h"

#include <algorithm>

namespace provider {

namespace {

constexpr BYTE kLongLength = 0x80;
constexpr std::size_t kShortHeader = 2;

// How many octets a length has behind its first one.
std::size_t CountOfLengthOctets(BYTE first) {
    return first < kLongLength ? 0U : static_cast<std::size_t>(first - kLongLength);
}

// Whether it is a definite length, as short as can be. `more` are the octets behind the first one,
// which are read if they are a few.
bool DecodeLength(BYTE first, const BYTE* more, std::size_t* length) {
    if (first < kLongLength) {
        *length = first;
        return true;
    }
    const std::size_t count = CountOfLengthOctets(first);
    if (count == 0 || count > sizeof(DWORD) || more[0] == 0) {
        return false;
    }
    *length = 0;
    for (std::size_t i = 0; i < count; ++i) {
        *length = *length << 8 | more[i];
    }
    return *length >= kLongLength;
}

}  // namespace

bool DerReader::Read(BYTE tag, std::span<const BYTE>* content) {
    if (!NextIs(tag) || rest_.size() < kShortHeader) {
        return false;
    }
    const std::size_t header = kShortHeader + CountOfLengthOctets(rest_[1]);
    std::size_t length = 0;
    if (header > rest_.size() || !DecodeLength(rest_[1], rest_.data() + kShortHeader, &length) ||
        length > rest_.size() - header) {
        return false;
    }
    *content = rest_.subspan(header, length);
    rest_ = rest_.subspan(header + length);
    return true;
}

bool DerReader::ReadLast(BYTE tag, std::span<const BYTE>* content) {
    DerReader ahead = *this;
    if (!ahead.Read(tag, content) || !ahead.IsAtEnd()) {
        return false;
    }
    *this = ahead;
    return true;
}

std::size_t SizeOfDerElement(const BYTE* octets) {
    constexpr std::size_t kLimit = std::size_t{1} << 20;
    std::size_t length = 0;
    if (!DecodeLength(octets[1], octets + kShortHeader, &length) || length >= kLimit) {
        return 0;
    }
    return kShortHeader + CountOfLengthOctets(octets[1]) + length;
}

SecretBytes DerElement(BYTE tag, std::initializer_list<std::span<const BYTE>> contents) {
    std::size_t length = 0;
    for (const std::span<const BYTE> content : contents) {
        length += content.size();
    }
    std::size_t lengthOctets = 0;
    if (length >= kLongLength) {
        for (std::size_t rest = length; rest != 0; rest >>= 8) {
            ++lengthOctets;
        }
    }
    SecretBytes element(2 + lengthOctets + length);
    BYTE* out = element.data();
    *out++ = tag;
    *out++ = static_cast<BYTE>(lengthOctets == 0 ? length : kLongLength + lengthOctets);
    for (std::size_t i = lengthOctets; i-- != 0;) {
        *out++ = static_cast<BYTE>(length >> (8 * i));
    }
    for (const std::span<const BYTE> content : contents) {
        out = std::copy(content.begin(), content.end(), out);
    }
    return element;
}

}  // namespace provider
