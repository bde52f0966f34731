#include "derlist/text_armour.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/cryptoapi.h"

namespace pkisdk {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t kNoDigit = 0xFF;
constexpr std::string_view kPemDashes = "-----";

constexpr std::array<std::uint8_t, 256> MakeDigits() {
    constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<std::uint8_t, 256> digits{};
    digits.fill(kNoDigit);
    for (std::size_t i = 0; i < alphabet.size(); ++i) {
        digits[static_cast<std::uint8_t>(alphabet[i])] = static_cast<std::uint8_t>(i);
    }
    return digits;
}

constexpr std::array<std::uint8_t, 256> kDigits = MakeDigits();

bool IsDigit(std::uint8_t byte) {
    return kDigits[byte] != kNoDigit;
}

bool IsText(std::uint8_t byte) {
    return IsDigit(byte) || byte == '-' || byte == ' ' || byte == '=' || byte == '\r' ||
           byte == '\n';
}

// What stands behind the line of the PEM header, if there is one.
Bytes SkipPemHeader(Bytes text) {
    if (text.size() <= kPemDashes.size() ||
        !std::equal(kPemDashes.begin(), kPemDashes.end(), text.begin())) {
        return text;
    }
    const auto lineEnd = std::find(text.begin(), text.end(), '\n');
    return lineEnd == text.end() ? Bytes() : Bytes(lineEnd + 1, text.end());
}

bool Decode(Bytes text, Blob* out) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(text.size() / 4 * 3 + 3);
    std::uint32_t bits = 0;
    int bitCount = 0;
    bool any = false;
    for (const std::uint8_t byte : text) {
        if (!IsDigit(byte)) {
            continue;
        }
        any = true;
        bits = (bits << 6) | kDigits[byte];
        bitCount += 6;
        if (bitCount >= 8) {
            bitCount -= 8;
            bytes.push_back(static_cast<std::uint8_t>(bits >> bitCount));
        }
    }
    if (any) {
        out->Assign(bytes.data(), bytes.size());
    }
    return any;
}

ArmourKind Refuse(HRESULT reason) {
    SetLastError(static_cast<DWORD>(reason));
    return ArmourKind::kRefused;
}

}  // namespace

ArmourKind DecodeArmour(std::span<const std::uint8_t> input, Blob* out) {
    if (input.empty()) {
        return Refuse(NTE_BAD_DATA);
    }
    if (!std::all_of(input.begin(), input.end(), IsText)) {
        SetLastError(0);
        return ArmourKind::kBinary;
    }
    const Bytes body = SkipPemHeader(input);
    if (body.empty()) {
        return Refuse(NTE_BAD_DATA);
    }
    if (!Decode(Bytes(body.begin(), std::find(body.begin(), body.end(), '-')), out)) {
        return Refuse(NTE_FAIL);
    }
    SetLastError(0);
    return ArmourKind::kText;
}

int DecodeTextArmour(Blob input, Blob* out) {
    switch (DecodeArmour(input.Bytes(), out)) {
        case ArmourKind::kBinary:
            *out = std::move(input);
            return 1;
        case ArmourKind::kText:
            return 1;
        case ArmourKind::kRefused:
            return 0;
    }
    return 0;
}

int DecodeBase64(Blob input, Blob* out) {
    return Decode(input.Bytes(), out) ? 1 : 0;
}

}  // namespace pkisdk
