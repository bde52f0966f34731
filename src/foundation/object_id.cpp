#include "foundation/object_id.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include "foundation/exception.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

namespace {

constexpr std::size_t kTextLimit = 256;  // with terminator
constexpr std::int32_t kArcsPerFirst = 40;
constexpr const char* kBadOctets =
    "Error during converting object oid from binary format to string.";

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Takes the arc at the start of `rest`, and the point behind it. False when it passes 32 bits.
bool TakeArc(std::string_view* rest, std::int32_t* arc) {
    const std::size_t length = std::min(rest->find('.'), rest->size());
    *arc = 0;
    if (length != 0) {
        const auto read = std::from_chars(rest->data(), rest->data() + length, *arc);
        if (read.ec != std::errc()) {
            return false;
        }
    }
    rest->remove_prefix(std::min(length + 1, rest->size()));
    return true;
}

struct Octets {
    std::array<std::uint8_t, kTextLimit> bytes;
    std::uint32_t count = 0;

    void AppendArc(std::uint32_t arc) {
        int shift = 28;
        while (shift > 0 && arc >> shift == 0) {
            shift -= 7;
        }
        for (; shift > 0; shift -= 7) {
            bytes[count++] = static_cast<std::uint8_t>(0x80U | ((arc >> shift) & 0x7FU));
        }
        bytes[count++] = static_cast<std::uint8_t>(arc & 0x7FU);
    }
};

bool IsOidText(std::string_view text) {
    return text.size() >= 2 && text.size() < kTextLimit && text[0] >= '0' && text[0] <= '2' &&
           text[1] == '.' &&
           std::all_of(text.begin(), text.end(), [](char c) { return IsDigit(c) || c == '.'; });
}

bool ConvertText(std::string_view text, Octets* octets) {
    if (!IsOidText(text)) {
        return false;
    }
    const std::int32_t first = text[0] - '0';
    text.remove_prefix(2);
    if (text.empty()) {
        return true;
    }
    std::int32_t arc = 0;
    if (!TakeArc(&text, &arc) || arc >= kArcsPerFirst) {
        return false;
    }
    octets->bytes[octets->count++] = static_cast<std::uint8_t>(first * kArcsPerFirst + arc);
    while (!text.empty()) {
        if (!TakeArc(&text, &arc)) {
            return false;
        }
        octets->AppendArc(static_cast<std::uint32_t>(arc));
    }
    return true;
}

class Text {
  public:
    // False when the text with its terminator would not fit.
    bool AppendNumber(std::int32_t number) {
        const auto written =
            std::to_chars(chars_.data() + count_, chars_.data() + kTextLimit - 1, number);
        if (written.ec != std::errc()) {
            return false;
        }
        count_ = static_cast<std::size_t>(written.ptr - chars_.data());
        return true;
    }
    bool AppendArc(std::uint32_t arc) {
        if (count_ >= kTextLimit - 1) {
            return false;
        }
        chars_[count_++] = '.';
        return AppendNumber(static_cast<std::int32_t>(arc));
    }
    std::string_view View() const { return {chars_.data(), count_}; }

  private:
    std::array<char, kTextLimit> chars_;
    std::size_t count_ = 0;
};

bool ConvertOctets(const std::uint8_t* data, std::int32_t size, Text* text) {
    if (size <= 0) {
        return true;
    }
    if (data == nullptr || data[0] >= 3 * kArcsPerFirst) {
        return false;
    }
    if (!text->AppendNumber(data[0] / kArcsPerFirst) || !text->AppendArc(data[0] % kArcsPerFirst)) {
        return false;
    }
    std::uint32_t arc = 0;
    for (std::int32_t i = 1; i < size; ++i) {
        arc += data[i] & 0x7FU;
        if ((data[i] & 0x80U) != 0) {
            arc <<= 7;
            continue;
        }
        if (!text->AppendArc(arc)) {
            return false;
        }
        arc = 0;
    }
    return true;
}

}  // namespace

bool OidTextToOctets(const char* text, std::uint8_t* out, std::uint32_t* outSize) {
    Octets octets;
    if (text == nullptr || !ConvertText(text, &octets)) {
        return false;
    }
    *outSize = octets.count;
    if (out != nullptr) {
        std::memcpy(out, octets.bytes.data(), octets.count);
    }
    return true;
}

bool OidOctetsToText(const std::uint8_t* data, std::int32_t size, char* out,
                     std::uint32_t* outSize) {
    Text text;
    if (!ConvertOctets(data, size, &text)) {
        return false;
    }
    const auto needed = static_cast<std::uint32_t>(text.View().size() + 1);
    if (out == nullptr) {
        *outSize = needed;
        return true;
    }
    if (*outSize < needed) {
        *outSize = needed;
        SetLastError(ERROR_MORE_DATA);
        return false;
    }
    std::memcpy(out, text.View().data(), text.View().size());
    out[text.View().size()] = '\0';
    return true;
}

int OidTextToBlob(std::string text, Blob* out) {
    Octets octets;
    if (!ConvertText(text, &octets)) {
        return 0;
    }
    *out = Blob(octets.bytes.data(), octets.count);
    return 1;
}

int OidBlobToText(Blob octets, std::string* out) {
    if (octets.GetSize() > std::numeric_limits<std::int32_t>::max()) {
        return 0;
    }
    const auto size = static_cast<std::int32_t>(octets.GetSize());
    std::uint32_t needed = 0;
    if (!OidOctetsToText(octets.GetData(), size, nullptr, &needed)) {
        return 0;
    }
    std::string text(needed, '\0');
    if (!OidOctetsToText(octets.GetData(), size, text.data(), &needed)) {
        return 0;
    }
    text.resize(needed - 1);
    *out = std::move(text);
    return 1;
}

void ObjectId::SetText(const std::string& text, Blob* target) {
    target->Clear();
    if (!text.empty() && OidTextToBlob(text, target) == 0) {
        throw Exception(0, "Incorrect string with OID: \"" + text + "\".");
    }
}

void ObjectId::SetOctets(Blob octets) {
    octets_ = std::move(octets);
    std::string text;
    if (OidBlobToText(octets_, &text) == 0) {
        throw Exception(0, kBadOctets);
    }
}

void ObjectId::GetText(std::string* text) const {
    if (OidBlobToText(octets_, text) == 0) {
        throw Exception(0, kBadOctets);
    }
}

}  // namespace pkisdk
