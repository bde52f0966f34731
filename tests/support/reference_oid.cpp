#include "support/reference_oid.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace reference {

namespace {

constexpr int kBuffer = 256;
constexpr long long kLargestArc = 2147483647;

// Writes `arc` to `output` at `count`, seven bits a byte, and answers the new count.
int WriteArc(long long arc, unsigned char* output, int count) {
    if (arc == 0) {
        output[count] = 0;
        return count + 1;
    }
    int groups = 0;
    for (long long rest = arc; rest != 0; rest /= 128) {
        ++groups;
    }
    for (int group = groups - 1; group >= 0; --group) {
        long long bits = arc;
        for (int i = 0; i < group; ++i) {
            bits /= 128;
        }
        bits %= 128;
        output[count] = static_cast<unsigned char>(group > 0 ? bits + 0x80 : bits);
        ++count;
    }
    return count;
}

}  // namespace

bool OidTextToOctets(const char* text, std::vector<std::uint8_t>* out) {
    const std::size_t length = std::strlen(text);
    if (length == 0) {
        return false;
    }
    for (std::size_t i = 0; i < length; ++i) {
        if (std::strchr("0123456789.", text[i]) == nullptr) {
            return false;
        }
    }
    if ((text[0] != '0' && text[0] != '1' && text[0] != '2') || text[1] != '.') {
        return false;
    }
    if (std::strtoll(text + 2, nullptr, 10) > 39) {
        return false;
    }
    if (length >= kBuffer) {
        return false;
    }
    char working[kBuffer];
    std::strcpy(working, text);
    unsigned char output[kBuffer];
    std::memset(output, 0, sizeof(output));
    int count = 0;
    int index = 0;
    const char* scan = working;
    while (*scan != '\0') {
        // What passes 64 bits comes back as the largest number there is.
        const long long arc = std::strtoll(scan, nullptr, 10);
        if (arc > kLargestArc) {
            return false;
        }
        if (index == 0) {
            output[0] = static_cast<unsigned char>(arc * 40);
        } else if (index == 1) {
            output[0] = static_cast<unsigned char>(output[0] + (arc & 0xFF));
            count = 1;
        } else {
            count = WriteArc(arc, output, count);
        }
        ++index;
        scan = std::strchr(scan, '.');
        if (scan == nullptr) {
            break;
        }
        ++scan;
    }
    out->assign(output, output + count);
    return true;
}

bool OidOctetsToText(const std::vector<std::uint8_t>& octets, std::string* out) {
    char text[kBuffer];
    std::memset(text, 0, sizeof(text));
    if (octets.empty()) {
        out->clear();
        return true;
    }
    const int first = octets[0] / 40;
    if (first > 2) {
        return false;
    }
    int length = std::snprintf(text, kBuffer, "%d.%d", first, octets[0] - 40 * first);
    std::uint32_t value = 0;
    for (std::size_t i = 1; i < octets.size(); ++i) {
        value += octets[i] & 0x7FU;
        if (octets[i] >= 0x80) {
            value <<= 7;
            continue;
        }
        const int room = kBuffer - length;
        const int written = std::snprintf(text + length, static_cast<std::size_t>(room), ".%d",
                                          static_cast<std::int32_t>(value));
        if (written >= room) {
            return false;
        }
        length += written;
        value = 0;
    }
    *out = text;
    return true;
}

}  // namespace reference
