// Object identifiers known when the program is compiled.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string_view>

#include "platform/cryptoapi.h"

namespace provider {

class ObjectIdentifier {
  public:
    // `text` is dotted and lives as long as the object.
    consteval explicit ObjectIdentifier(const char* text) : text_(text) {
        const std::string_view all(text);
        std::size_t at = 0;
        const auto next = [&all, &at] {
            unsigned arc = 0;
            for (; at < all.size() && all[at] != '.'; ++at) {
                arc = arc * 10 + static_cast<unsigned>(all[at] - '0');
            }
            ++at;
            return arc;
        };
        const unsigned first = next();
        Append(first * 40 + next());
        while (at < all.size()) {
            Append(next());
        }
    }

    const char* Text() const { return text_; }
    // As DER has them, without tag and length.
    std::span<const BYTE> Octets() const { return std::span(octets_).first(size_); }
    bool Is(std::span<const BYTE> octets) const {
        const std::span<const BYTE> own = Octets();
        return std::equal(own.begin(), own.end(), octets.begin(), octets.end());
    }

  private:
    constexpr void Append(unsigned arc) {
        unsigned shift = 0;
        while (arc >> shift >= 0x80) {
            shift += 7;
        }
        for (; shift != 0; shift -= 7) {
            octets_[size_++] = static_cast<BYTE>(0x80 | (arc >> shift & 0x7F));
        }
        octets_[size_++] = static_cast<BYTE>(arc & 0x7F);
    }

    const char* text_;
    std::array<BYTE, 12> octets_{};
    std::size_t size_ = 0;
};

}  // namespace provider
