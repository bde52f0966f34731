#include "capi/certificate_names.h"

#include <openssl/err.h>
#include <openssl/x509.h>

#include <algorithm>
#include <array>
#include <cwctype>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "capi/ansi_text.h"
#include "capi/calls.h"
#include "capi/certificate_object.h"
#include "capi/utf8.h"

namespace capi {

namespace {

struct Attribute {
    std::string oid;
    std::string value;
    // Attributes of one set are joined by a plus sign.
    int set = 0;
};

struct FreeName {
    void operator()(X509_NAME* name) const { X509_NAME_free(name); }
};

std::string OidText(const ASN1_OBJECT* object) {
    const int length = OBJ_obj2txt(nullptr, 0, object, 1);
    std::string text(static_cast<std::size_t>(std::max(length, 0)) + 1, '\0');
    OBJ_obj2txt(text.data(), static_cast<int>(text.size()), object, 1);
    text.pop_back();
    return text;
}

std::string ValueText(const ASN1_STRING* value) {
    unsigned char* octets = nullptr;
    const int length = ASN1_STRING_to_UTF8(&octets, value);
    std::string text;
    if (length > 0) {
        text.assign(reinterpret_cast<const char*>(octets), static_cast<std::size_t>(length));
    }
    OPENSSL_free(octets);
    // A terminator inside would let one name pass for another.
    std::ranges::replace(text, '\0', ' ');
    return text;
}

std::vector<Attribute> AttributesOf(std::span<const BYTE> encodedName) {
    const unsigned char* at = encodedName.data();
    const std::unique_ptr<X509_NAME, FreeName> name(
        d2i_X509_NAME(nullptr, &at, static_cast<long>(encodedName.size())));
    std::vector<Attribute> attributes;
    for (int i = 0; name != nullptr && i < X509_NAME_entry_count(name.get()); ++i) {
        const X509_NAME_ENTRY* const entry = X509_NAME_get_entry(name.get(), i);
        attributes.push_back({OidText(X509_NAME_ENTRY_get_object(entry)),
                              ValueText(X509_NAME_ENTRY_get_data(entry)),
                              X509_NAME_ENTRY_set(entry)});
    }
    ERR_clear_error();
    return attributes;
}

// Of two keywords for one attribute the first is written, both are read.
constexpr std::pair<std::string_view, std::string_view> kKeywords[] = {
    {"2.5.4.3", "CN"},
    {"2.5.4.4", "SN"},
    {"2.5.4.5", "SERIALNUMBER"},
    {"2.5.4.6", "C"},
    {"2.5.4.7", "L"},
    {"2.5.4.8", "S"},
    {"2.5.4.8", "ST"},
    {"2.5.4.9", "STREET"},
    {"2.5.4.10", "O"},
    {"2.5.4.11", "OU"},
    {"2.5.4.12", "T"},
    {"2.5.4.42", "G"},
    {"2.5.4.43", "I"},
    {"1.2.840.113549.1.9.1", "E"},
    {"1.2.840.113549.1.9.1", "EMAIL"},
    {"0.9.2342.19200300.100.1.25", "DC"},
};

std::string Keyword(const std::string& oid) {
    const auto found = std::ranges::find(kKeywords, std::string_view(oid),
                                         &std::pair<std::string_view, std::string_view>::first);
    return found == std::end(kKeywords) ? "OID." + oid : std::string(found->second);
}

std::string Quoted(const std::string& value) {
    const bool isPlain = !value.empty() && value.front() != ' ' && value.back() != ' ' &&
                         value.find_first_of(",+=\"\n<>#;") == value.npos;
    if (isPlain) {
        return value;
    }
    std::string quoted = "\"";
    for (const char c : value) {
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    }
    return quoted + '"';
}

std::string AttributeText(const Attribute& attribute, DWORD type) {
    switch (type) {
        case CERT_SIMPLE_NAME_STR:
            return Quoted(attribute.value);
        case CERT_OID_NAME_STR:
            return attribute.oid + '=' + Quoted(attribute.value);
        default:
            return Keyword(attribute.oid) + '=' + Quoted(attribute.value);
    }
}

std::wstring Folded(std::wstring text) {
    std::ranges::transform(text, text.begin(), [](wchar_t c) {
        return static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
    });
    return text;
}

// The first value of the first of these attributes that is there.
std::string FirstValue(const std::vector<Attribute>& attributes,
                       std::initializer_list<std::string_view> oids) {
    for (const std::string_view oid : oids) {
        const auto found = std::ranges::find(attributes, oid, &Attribute::oid);
        if (found != attributes.end()) {
            return found->value;
        }
    }
    return {};
}

std::string SimpleDisplay(const std::vector<Attribute>& attributes) {
    const std::string value =
        FirstValue(attributes, {"2.5.4.3", "2.5.4.11", "2.5.4.10", "1.2.840.113549.1.9.1"});
    return value.empty() && !attributes.empty() ? attributes.front().value : value;
}

std::string RdnText(std::span<const BYTE> name, const void* parameter) {
    const DWORD type =
        parameter == nullptr ? DWORD{CERT_X500_NAME_STR} : *static_cast<const DWORD*>(parameter);
    return NameText(name, type);
}

std::wstring FriendlyName(const CertificateObject& certificate) {
    const Properties properties = certificate.CopyProperties();
    const auto found = properties.blobs.find(CERT_FRIENDLY_NAME_PROP_ID);
    std::wstring name;
    if (found != properties.blobs.end()) {
        name.resize(found->second.size() / sizeof(wchar_t));
        std::copy_n(found->second.begin(), name.size() * sizeof(wchar_t),
                    reinterpret_cast<BYTE*>(name.data()));
    }
    return name.substr(0, name.find(L'\0'));
}

std::wstring NameOf(const CertificateObject& certificate, DWORD type, DWORD flags,
                    const void* parameter) {
    const bool isIssuer = (flags & CERT_NAME_ISSUER_FLAG) != 0;
    const CERT_INFO& info = certificate.Info();
    const std::span<const BYTE> name = View(isIssuer ? info.Issuer : info.Subject);
    if (type == CERT_NAME_FRIENDLY_DISPLAY_TYPE && !isIssuer) {
        if (std::wstring friendly = FriendlyName(certificate); !friendly.empty()) {
            return friendly;
        }
    }
    const std::vector<Attribute> attributes = AttributesOf(name);
    switch (type) {
        case CERT_NAME_EMAIL_TYPE:
            return WideFromUtf8(FirstValue(attributes, {"1.2.840.113549.1.9.1"}));
        case CERT_NAME_RDN_TYPE:
            return WideFromUtf8(RdnText(name, parameter));
        case CERT_NAME_ATTR_TYPE:
            return WideFromUtf8(parameter == nullptr
                                    ? FirstValue(attributes, {"2.5.4.3"})
                                    : FirstValue(attributes, {static_cast<LPCSTR>(parameter)}));
        case CERT_NAME_SIMPLE_DISPLAY_TYPE:
        case CERT_NAME_FRIENDLY_DISPLAY_TYPE:
            return WideFromUtf8(SimpleDisplay(attributes));
        default:
            return {};
    }
}

// Cuts to the room; answers the length with the terminator.
template <typename Text, typename Character>
DWORD GiveText(const Text& text, Character* out, DWORD room) {
    if (out == nullptr || room == 0) {
        return static_cast<DWORD>(text.size() + 1);
    }
    const std::size_t length = std::min<std::size_t>(text.size(), room - 1);
    std::copy_n(text.begin(), length, out);
    out[length] = 0;
    return static_cast<DWORD>(length + 1);
}

template <typename Character>
DWORD GiveEmpty(Character* out, DWORD room) {
    return GiveText(std::basic_string<Character>(), out, room);
}

}  // namespace

std::string OidOfKeyword(std::string_view text) {
    const auto isSame = [text](std::string_view keyword) {
        return std::ranges::equal(text, keyword, [](char a, char b) {
            return (a >= 'a' && a <= 'z' ? a - 'a' + 'A' : a) == b;
        });
    };
    for (const auto& [oid, keyword] : kKeywords) {
        if (isSame(keyword)) {
            return std::string(oid);
        }
    }
    constexpr std::string_view kPrefix = "OID.";
    const bool isPrefixed =
        text.size() > kPrefix.size() && (text.starts_with(kPrefix) || text.starts_with("oid."));
    return std::string(isPrefixed ? text.substr(kPrefix.size()) : text);
}

std::string NameText(std::span<const BYTE> encodedName, DWORD type) {
    std::vector<Attribute> attributes = AttributesOf(encodedName);
    if ((type & CERT_NAME_STR_REVERSE_FLAG) != 0) {
        std::ranges::reverse(attributes);
    }
    std::string text;
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        if (i != 0) {
            text += attributes[i].set == attributes[i - 1].set ? " + " : ", ";
        }
        text += AttributeText(attributes[i], type & 0xFF);
    }
    return text;
}

bool NameContains(std::span<const BYTE> encodedName, const std::wstring& text) {
    const std::wstring name = WideFromUtf8(NameText(encodedName, CERT_SIMPLE_NAME_STR));
    return Folded(name).find(Folded(text)) != std::wstring::npos;
}

}  // namespace capi

using capi::Answer;

DWORD WINAPI CertGetNameStringA(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags,
                                void* pvTypePara, LPSTR pszNameString, DWORD cchNameString) {
    return Answer<DWORD>(capi::GiveEmpty(pszNameString, cchNameString), [&] {
        const auto certificate = capi::RequireContext(pCertContext);
        const std::wstring name = capi::NameOf(*certificate, dwType, dwFlags, pvTypePara);
        return capi::GiveText(capi::AnsiFromUtf8(capi::Utf8FromWide(name)), pszNameString,
                              cchNameString);
    });
}

DWORD WINAPI CertGetNameStringW(PCCERT_CONTEXT pCertContext, DWORD dwType, DWORD dwFlags,
                                void* pvTypePara, LPWSTR pszNameString, DWORD cchNameString) {
    return Answer<DWORD>(capi::GiveEmpty(pszNameString, cchNameString), [&] {
        const auto certificate = capi::RequireContext(pCertContext);
        return capi::GiveText(capi::NameOf(*certificate, dwType, dwFlags, pvTypePara),
                              pszNameString, cchNameString);
    });
}

DWORD WINAPI CertNameToStrA(DWORD /*dwCertEncodingType*/, PCERT_NAME_BLOB pName, DWORD dwStrType,
                            LPSTR psz, DWORD csz) {
    return Answer<DWORD>(capi::GiveEmpty(psz, csz), [&] {
        capi::Require(pName != nullptr, E_INVALIDARG);
        const std::string text = capi::NameText(capi::View(*pName), dwStrType);
        return capi::GiveText(capi::AnsiFromUtf8(text), psz, csz);
    });
}

DWORD WINAPI CertNameToStrW(DWORD /*dwCertEncodingType*/, PCERT_NAME_BLOB pName, DWORD dwStrType,
                            LPWSTR psz, DWORD csz) {
    return Answer<DWORD>(capi::GiveEmpty(psz, csz), [&] {
        capi::Require(pName != nullptr, E_INVALIDARG);
        const std::string text = capi::NameText(capi::View(*pName), dwStrType);
        return capi::GiveText(capi::WideFromUtf8(text), psz, csz);
    });
}
