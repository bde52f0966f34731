#include "provider/der.h"

#include <algorithm>

namespace provider {

namespace {

constexpr BYTE kLongLength = 0x80;

}  // namespace

bool DerReader::Read(BYTE tag, std::span<const BYTE>* content) {
    if (!NextIs(tag) || rest_.size() < 2) {
        return false;
    }
    std::size_t length = rest_[1];
    std::span<const BYTE> behind = rest_.subspan(2);
    if (length >= kLongLength) {
        const std::size_t count = length - kLongLength;
        if (count == 0 || count > sizeof(DWORD) || count > behind.size() || behind[0] == 0) {
            return false;
        }
        length = 0;
        for (const BYTE octet : behind.first(count)) {
            length = length << 8 | octet;
        }
        if (length < kLongLength) {
            return false;
        }
        behind = behind.subspan(count);
    }
    if (length > behind.size()) {
        return false;
    }
    *content = behind.first(length);
    rest_ = behind.subspan(length);
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
