#include "capi/base64_text.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "capi/calls.h"

namespace capi {

namespace {

using Bytes = std::vector<BYTE>;

struct FreeDecoder {
    void operator()(EVP_ENCODE_CTX* decoder) const { EVP_ENCODE_CTX_free(decoder); }
};

struct Armour {
    std::string_view body;
    std::size_t skipped = 0;
};

// What stands between the first header and the footer that follows.
std::optional<Armour> FindArmour(std::string_view text) {
    constexpr std::string_view kBegin = "-----BEGIN ";
    constexpr std::string_view kEnd = "-----END ";
    const std::size_t header = text.find(kBegin);
    if (header == text.npos) {
        return std::nullopt;
    }
    const std::size_t body = text.find('\n', header);
    const std::size_t footer = body == text.npos ? text.npos : text.find(kEnd, body);
    if (footer == text.npos) {
        return std::nullopt;
    }
    return Armour{text.substr(body, footer - body), header};
}

// Nothing for text that holds anything but base64 and white space, or no data.
std::optional<Bytes> DecodeBase64(std::string_view text) {
    const std::unique_ptr<EVP_ENCODE_CTX, FreeDecoder> decoder(EVP_ENCODE_CTX_new());
    Require(decoder != nullptr, ERROR_NOT_ENOUGH_MEMORY);
    EVP_DecodeInit(decoder.get());
    // Lines of any length, since the decoder wants those of 80 characters at the most.
    Bytes characters;
    for (const char c : text) {
        if (std::strchr(" \t\r\n", c) == nullptr) {
            characters.push_back(static_cast<BYTE>(c));
        }
    }
    Bytes data(characters.size() / 4 * 3 + 3);
    std::size_t size = 0;
    constexpr std::size_t kPiece = 64;
    for (std::size_t at = 0; at < characters.size(); at += kPiece) {
        const auto count = static_cast<int>(std::min(kPiece, characters.size() - at));
        int written = 0;
        if (EVP_DecodeUpdate(decoder.get(), data.data() + size, &written, &characters[at], count) <
            0) {
            return std::nullopt;
        }
        size += static_cast<std::size_t>(written);
    }
    int rest = 0;
    if (characters.size() % 4 != 0 ||
        EVP_DecodeFinal(decoder.get(), data.data() + size, &rest) < 0 || size == 0) {
        return std::nullopt;
    }
    data.resize(size + static_cast<std::size_t>(rest));
    return data;
}

struct Decoded {
    Bytes data;
    std::size_t skipped;
    DWORD form;
};

std::optional<Decoded> Decode(std::string_view text, DWORD form) {
    const bool takesHeader = form != CRYPT_STRING_BASE64 && form != CRYPT_STRING_BINARY;
    if (takesHeader) {
        if (const auto armour = FindArmour(text)) {
            if (auto data = DecodeBase64(armour->body)) {
                return Decoded{*std::move(data), armour->skipped, CRYPT_STRING_BASE64HEADER};
            }
        }
    }
    if (form != CRYPT_STRING_BASE64HEADER && form != CRYPT_STRING_BINARY) {
        if (auto data = DecodeBase64(text)) {
            return Decoded{*std::move(data), 0, CRYPT_STRING_BASE64};
        }
    }
    if (form == CRYPT_STRING_BINARY || form == CRYPT_STRING_ANY) {
        return Decoded{Bytes(text.begin(), text.end()), 0, CRYPT_STRING_BINARY};
    }
    return std::nullopt;
}

std::string Encode(std::span<const BYTE> data, std::string_view lineEnd) {
    constexpr std::size_t kOctetsOfLine = 48;
    std::string text;
    for (std::size_t at = 0; at < data.size(); at += kOctetsOfLine) {
        const auto piece = data.subspan(at, std::min(kOctetsOfLine, data.size() - at));
        unsigned char line[kOctetsOfLine / 3 * 4 + 1];
        const int length = EVP_EncodeBlock(line, piece.data(), static_cast<int>(piece.size()));
        text.append(reinterpret_cast<const char*>(line), static_cast<std::size_t>(length));
        text += lineEnd;
    }
    return text;
}

bool IsKnownForm(DWORD form) {
    return form <= CRYPT_STRING_BINARY || form == CRYPT_STRING_BASE64_ANY ||
           form == CRYPT_STRING_ANY;
}

}  // namespace

}  // namespace capi

BOOL WINAPI CryptStringToBinaryA(LPCSTR pszString, DWORD cchString, DWORD dwFlags, BYTE* pbBinary,
                                 DWORD* pcbBinary, DWORD* pdwSkip, DWORD* pdwFlags) {
    return capi::Answer<BOOL>(FALSE, [&] {
        capi::Require(pszString != nullptr && pcbBinary != nullptr && capi::IsKnownForm(dwFlags),
                      ERROR_INVALID_PARAMETER);
        const std::size_t length = cchString == 0 ? std::strlen(pszString) : cchString;
        const auto decoded = capi::Decode({pszString, length}, dwFlags);
        capi::Require(decoded.has_value(), ERROR_INVALID_DATA);
        if (pdwSkip != nullptr) {
            *pdwSkip = static_cast<DWORD>(decoded->skipped);
        }
        if (pdwFlags != nullptr) {
            *pdwFlags = decoded->form;
        }
        capi::WriteSized(decoded->data, pbBinary, pcbBinary);
        return TRUE;
    });
}

BOOL WINAPI CryptBinaryToStringA(const BYTE* pbBinary, DWORD cbBinary, DWORD dwFlags,
                                 LPSTR pszString, DWORD* pcchString) {
    return capi::Answer<BOOL>(FALSE, [&] {
        constexpr DWORD kLineEnds = CRYPT_STRING_NOCR | CRYPT_STRING_NOCRLF;
        capi::Require((pbBinary != nullptr || cbBinary == 0) && pcchString != nullptr &&
                          (dwFlags & ~kLineEnds) == CRYPT_STRING_BASE64,
                      ERROR_INVALID_PARAMETER);
        const std::string text =
            capi::Encode({pbBinary, cbBinary}, (dwFlags & CRYPT_STRING_NOCRLF) != 0 ? ""
                                               : (dwFlags & CRYPT_STRING_NOCR) != 0 ? "\n"
                                                                                    : "\r\n");
        const auto length = static_cast<DWORD>(text.size());
        const DWORD room = std::exchange(*pcchString, length + 1);
        if (pszString == nullptr) {
            return TRUE;
        }
        capi::Require(room > length, ERROR_MORE_DATA);
        std::memcpy(pszString, text.c_str(), text.size() + 1);
        *pcchString = length;
        return TRUE;
    });
}
