// Names of certificates from text.
#include <openssl/err.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <string_view>

#include "capi/ansi_text.h"
#include "capi/calls.h"
#include "capi/certificate_creation.h"
#include "capi/certificate_names.h"
#include "capi/utf8.h"
#include "capi/x509.h"

namespace capi {

namespace {

struct FreeName {
    void operator()(X509_NAME* name) const { X509_NAME_free(name); }
};

struct FreeObject {
    void operator()(ASN1_OBJECT* object) const { ASN1_OBJECT_free(object); }
};

// Where a text stops being a name.
struct NoName {
    std::size_t place;
};

// One after the other the attributes of a text in UTF-8.
class NameReader {
  public:
    NameReader(std::string_view text, DWORD flags)
        : text_(text),
          takesQuotes_((flags & CERT_NAME_STR_NO_QUOTING_FLAG) == 0),
          takesPlus_((flags & CERT_NAME_STR_NO_PLUS_FLAG) == 0),
          separators_(SeparatorsOf(flags)),
          ends_(separators_ + (takesPlus_ ? "+" : "")) {}

    // To the start of the next attribute; false at the end of the text.
    bool Advance() {
        place_ = SkipOf(text_, " \t\r\n" + separators_, place_);
        return place_ < text_.size();
    }

    std::size_t Place() const { return place_; }
    bool IsJoined() const { return isJoined_; }

    std::string_view ReadKey() {
        const std::size_t equals = text_.find('=', place_);
        const std::size_t end = text_.find_first_of(ends_ + '"', place_);
        if (equals == text_.npos || end < equals) {
            throw NoName{place_};
        }
        const std::string_view key = text_.substr(place_, equals - place_);
        place_ = SkipOf(text_, " \t", equals + 1);
        return key.substr(0, key.find_last_not_of(" \t") + 1);
    }

    // Leaves the place behind what ends the value, and notes whether that is a plus sign.
    std::string ReadValue() {
        const bool isQuoted = takesQuotes_ && place_ < text_.size() && text_[place_] == '"';
        std::string value = isQuoted ? ReadQuoted() : ReadPlain();
        place_ = SkipOf(text_, " \t", place_);
        if (place_ < text_.size() && ends_.find(text_[place_]) == ends_.npos) {
            throw NoName{place_};
        }
        isJoined_ = takesPlus_ && place_ < text_.size() && text_[place_] == '+';
        place_ += isJoined_ ? 1 : 0;
        return value;
    }

  private:
    static std::string SeparatorsOf(DWORD flags) {
        if ((flags & CERT_NAME_STR_SEMICOLON_FLAG) != 0) {
            return ";";
        }
        if ((flags & CERT_NAME_STR_CRLF_FLAG) != 0) {
            return "\r\n";
        }
        return (flags & CERT_NAME_STR_COMMA_FLAG) != 0 ? "," : ",;";
    }

    static std::size_t SkipOf(std::string_view text, std::string_view characters,
                              std::size_t place) {
        return std::min(text.find_first_not_of(characters, place), text.size());
    }

    std::string ReadQuoted() {
        std::string value;
        for (std::size_t at = place_ + 1; at < text_.size(); ++at) {
            if (text_[at] != '"') {
                value += text_[at];
            } else if (at + 1 < text_.size() && text_[at + 1] == '"') {
                value += text_[at++];
            } else {
                place_ = at + 1;
                return value;
            }
        }
        throw NoName{place_};
    }

    std::string ReadPlain() {
        const std::size_t end = std::min(text_.find_first_of(ends_, place_), text_.size());
        const std::string_view value = text_.substr(place_, end - place_);
        place_ = end;
        return std::string(value.substr(0, value.find_last_not_of(" \t\r\n") + 1));
    }

    std::string_view text_;
    bool takesQuotes_;
    bool takesPlus_;
    std::string separators_;
    std::string ends_;
    std::size_t place_ = 0;
    bool isJoined_ = false;
};

// The value becomes the kind of string that its attribute has by definition, else UTF8String.
void AddAttribute(X509_NAME* name, const std::string& oid, const std::string& value, int set,
                  int location, std::size_t place) {
    constexpr int kNumbersAlone = 1;
    const std::unique_ptr<ASN1_OBJECT, FreeObject> object(OBJ_txt2obj(oid.c_str(), kNumbersAlone));
    if (object == nullptr ||
        X509_NAME_add_entry_by_OBJ(name, object.get(), MBSTRING_UTF8,
                                   reinterpret_cast<const unsigned char*>(value.data()),
                                   static_cast<int>(value.size()), location, set) != 1) {
        ERR_clear_error();
        throw NoName{place};
    }
}

Bytes Encode(const X509_NAME* name) {
    const int size = i2d_X509_NAME(name, nullptr);
    Require(size > 0, ERROR_NOT_ENOUGH_MEMORY);
    Bytes encoded(static_cast<std::size_t>(size));
    unsigned char* at = encoded.data();
    i2d_X509_NAME(name, &at);
    return encoded;
}

// Throws NoName.
Bytes EncodeName(std::string_view text, DWORD flags) {
    const std::unique_ptr<X509_NAME, FreeName> name(X509_NAME_new());
    Require(name != nullptr, ERROR_NOT_ENOUGH_MEMORY);
    const bool isReversed = (flags & CERT_NAME_STR_REVERSE_FLAG) != 0;
    NameReader reader(text, flags);
    while (reader.Advance()) {
        constexpr int kAtEnd = -1;
        constexpr int kSetOfItsOwn = 0;
        const int sameSet = isReversed ? 1 : -1;
        const int set = reader.IsJoined() ? sameSet : kSetOfItsOwn;
        const std::size_t place = reader.Place();
        const std::string oid = OidOfKeyword(reader.ReadKey());
        AddAttribute(name.get(), oid, reader.ReadValue(), set, isReversed ? 0 : kAtEnd, place);
    }
    if (reader.IsJoined()) {
        throw NoName{text.size()};
    }
    return Encode(name.get());
}

bool IsKnownFlags(DWORD type) {
    constexpr DWORD kFlags = CERT_NAME_STR_REVERSE_FLAG | CERT_NAME_STR_SEMICOLON_FLAG |
                             CERT_NAME_STR_CRLF_FLAG | CERT_NAME_STR_COMMA_FLAG |
                             CERT_NAME_STR_NO_PLUS_FLAG | CERT_NAME_STR_NO_QUOTING_FLAG;
    const DWORD format = type & ~kFlags;
    return format == 0 || format == CERT_OID_NAME_STR || format == CERT_X500_NAME_STR;
}

// `placeOf` tells where in the caller's text an octet of the UTF-8 text stands.
template <typename Character, typename PlaceOf>
BOOL StrToName(const std::string& utf8, DWORD type, BYTE* encoded, DWORD* size,
               const Character** error, PlaceOf placeOf) {
    if (error != nullptr) {
        *error = nullptr;
    }
    try {
        WriteSized(EncodeName(utf8, type), encoded, size);
        return TRUE;
    } catch (const NoName& stop) {
        if (error != nullptr) {
            *error = placeOf(std::string_view(utf8).substr(0, stop.place));
        }
        ThrowWord(CRYPT_E_INVALID_X500_STRING);
    }
}

}  // namespace

}  // namespace capi

using capi::Answer;
using capi::Require;

BOOL WINAPI CertStrToNameA(DWORD /*dwCertEncodingType*/, LPCSTR pszX500, DWORD dwStrType,
                           void* /*pvReserved*/, BYTE* pbEncoded, DWORD* pcbEncoded,
                           LPCSTR* ppszError) {
    return Answer<BOOL>(FALSE, [&] {
        Require(pszX500 != nullptr && pcbEncoded != nullptr && capi::IsKnownFlags(dwStrType),
                E_INVALIDARG);
        return capi::StrToName(capi::Utf8FromAnsi(pszX500), dwStrType, pbEncoded, pcbEncoded,
                               ppszError, [pszX500](std::string_view before) {
                                   return pszX500 + capi::AnsiFromUtf8(before).size();
                               });
    });
}

BOOL WINAPI CertStrToNameW(DWORD /*dwCertEncodingType*/, LPCWSTR pszX500, DWORD dwStrType,
                           void* /*pvReserved*/, BYTE* pbEncoded, DWORD* pcbEncoded,
                           LPCWSTR* ppszError) {
    return Answer<BOOL>(FALSE, [&] {
        Require(pszX500 != nullptr && pcbEncoded != nullptr && capi::IsKnownFlags(dwStrType),
                E_INVALIDARG);
        return capi::StrToName(capi::Utf8FromWide(pszX500), dwStrType, pbEncoded, pcbEncoded,
                               ppszError, [pszX500](std::string_view before) {
                                   return pszX500 + capi::WideFromUtf8(before).size();
                               });
    });
}
