#include "provider/container_names.h"

#include <gcrypt.h>

#include <span>

#include "provider/library.h"

namespace provider {

namespace {

constexpr std::string_view kDigits = "0123456789abcdef";
constexpr std::string_view kSuffix = ".key";
constexpr std::string_view kUniquePrefix = "velmorix:";
constexpr std::size_t kHashSize = 32;

std::string ToHex(std::span<const BYTE> octets) {
    std::string text;
    for (const BYTE octet : octets) {
        text += kDigits[octet >> 4];
        text += kDigits[octet & 15];
    }
    return text;
}

bool IsHex(std::string_view text) {
    return text.find_first_not_of(kDigits) == std::string_view::npos;
}

std::string HashOf(std::string_view name) {
    std::array<BYTE, kHashSize> hash{};
    HashAtOnce(GCRY_MD_SHA256, {reinterpret_cast<const BYTE*>(name.data()), name.size()}, hash);
    return ToHex(hash);
}

}  // namespace

std::string ContainerFileName(std::string_view name) {
    return HashOf(name).append(kSuffix);
}

bool IsContainerFileName(std::string_view fileName) {
    return fileName.size() == 2 * kHashSize + kSuffix.size() && fileName.ends_with(kSuffix) &&
           IsHex(fileName.substr(0, 2 * kHashSize));
}

std::string UniqueContainerName(std::string_view name, const ContainerIdentity& identity) {
    return std::string(kUniquePrefix) + HashOf(name) + ':' + ToHex(identity);
}

std::optional<UniqueContainer> ParseUniqueContainerName(std::string_view text) {
    constexpr std::size_t kHashStart = kUniquePrefix.size();
    constexpr std::size_t kHashEnd = kHashStart + 2 * kHashSize;
    UniqueContainer unique{};
    if (text.size() != kHashEnd + 1 + 2 * unique.identity.size() ||
        !text.starts_with(kUniquePrefix) || text[kHashEnd] != ':') {
        return std::nullopt;
    }
    const std::string_view hash = text.substr(kHashStart, 2 * kHashSize);
    const std::string_view identity = text.substr(kHashEnd + 1);
    if (!IsHex(hash) || !IsHex(identity)) {
        return std::nullopt;
    }
    unique.fileName = std::string(hash).append(kSuffix);
    for (std::size_t i = 0; i != unique.identity.size(); ++i) {
        unique.identity[i] = static_cast<BYTE>(kDigits.find(identity[2 * i]) << 4 |
                                               kDigits.find(identity[2 * i + 1]));
    }
    return unique;
}

}  // namespace provider
