#include "mvlpfx/handles.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cwctype>

#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

void ThrowLastError(const std::string& what) {
    const DWORD value = GetLastError();
    const ErrorWord word = DescribePlaceWord(value);
    throw ToolError(word.exitCode, what + ": " + word.meaning, value, word.advice);
}

void ThrowDocumentError(const std::string& what) {
    const DWORD value = GetLastError();
    const ErrorWord word = DescribeErrorWord(value);
    throw ToolError(word.exitCode, what + ": " + word.meaning, value, word.advice);
}

bool AcquireContext(const char* container, DWORD flags, bool machine, OwnedContext* context) {
    const DWORD scope = machine ? CRYPT_MACHINE_KEYSET : 0;
    return CryptAcquireContextA(context->Fill(), container, kProviderName, kProviderType,
                                flags | CRYPT_SILENT | scope) != FALSE;
}

std::string TextParameter(HCRYPTPROV context, DWORD parameter) {
    DWORD size = 0;
    if (CryptGetProvParam(context, parameter, nullptr, &size, 0) == FALSE) {
        return {};
    }
    std::string text(size, '\0');
    if (CryptGetProvParam(context, parameter, reinterpret_cast<BYTE*>(text.data()), &size, 0) ==
        FALSE) {
        return {};
    }
    return text.c_str();
}

OwnedStore TryOpenSystemStore(const std::string& name, bool machine) {
    const DWORD location =
        machine ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER;
    return OwnedStore(CertOpenStore(CERT_STORE_PROV_SYSTEM_A, 0, 0, location, name.c_str()));
}

OwnedStore OpenSystemStore(const std::string& name, bool machine) {
    OwnedStore store = TryOpenSystemStore(name, machine);
    RequireCall(store ? TRUE : FALSE, "can't open the store " + name);
    return store;
}

std::string Thumbprint(PCCERT_CONTEXT certificate) {
    std::array<BYTE, 20> hash{};
    DWORD size = hash.size();
    RequireCall(
        CertGetCertificateContextProperty(certificate, CERT_SHA1_HASH_PROP_ID, hash.data(), &size),
        "can't hash a certificate");
    std::string text;
    for (const BYTE octet : hash) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", octet);
        text += digits.data();
    }
    return text;
}

std::string ParseThumbprint(const std::string& text) {
    std::string digits;
    for (const char c : text) {
        if (c != ':' && c != ' ') {
            digits += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        }
    }
    constexpr std::size_t kDigits = 40;
    if (digits.size() != kDigits || digits.find_first_not_of("0123456789abcdef") != digits.npos) {
        throw ToolError(ExitCode::kUsage, "a thumbprint has 40 hexadecimal digits");
    }
    return digits;
}

namespace {

std::string NameText(CERT_NAME_BLOB* name) {
    const DWORD size = CertNameToStrA(X509_ASN_ENCODING, name, CERT_X500_NAME_STR, nullptr, 0);
    std::string text(size, '\0');
    CertNameToStrA(X509_ASN_ENCODING, name, CERT_X500_NAME_STR, text.data(), size);
    return text.c_str();
}

}  // namespace

std::string SubjectText(PCCERT_CONTEXT certificate) {
    return NameText(&certificate->pCertInfo->Subject);
}

std::string IssuerText(PCCERT_CONTEXT certificate) {
    return NameText(&certificate->pCertInfo->Issuer);
}

std::string SerialNumber(PCCERT_CONTEXT certificate) {
    const CRYPT_INTEGER_BLOB& number = certificate->pCertInfo->SerialNumber;
    std::string text;
    for (DWORD i = number.cbData; i-- > 0;) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", number.pbData[i]);
        text += digits.data();
    }
    return text;
}

bool SubjectContains(PCCERT_CONTEXT certificate, const std::string& text) {
    const auto folded = [](std::wstring wide) {
        std::ranges::transform(wide, wide.begin(), [](wchar_t c) {
            return static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
        });
        return wide;
    };
    return folded(ToWide(SubjectText(certificate))).find(folded(ToWide(text))) !=
           std::wstring::npos;
}

std::string DayOf(const FILETIME& time) {
    SYSTEMTIME day{};
    RequireCall(FileTimeToSystemTime(&time, &day), "can't read when a certificate is valid");
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d", day.wYear, day.wMonth, day.wDay);
    return text.data();
}

std::vector<BYTE> KeyProvInfo(PCCERT_CONTEXT certificate) {
    DWORD size = 0;
    if (CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr,
                                          &size) == FALSE) {
        return {};
    }
    std::vector<BYTE> record(size);
    RequireCall(CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID,
                                                  record.data(), &size),
                "can't read where a certificate's key is");
    return record;
}

OwnedCertificate CertificateBeside(HCRYPTKEY key) {
    DWORD size = 0;
    if (CryptGetKeyParam(key, KP_CERTIFICATE, nullptr, &size, 0) == FALSE || size == 0) {
        return {};
    }
    std::vector<BYTE> encoded(size);
    if (CryptGetKeyParam(key, KP_CERTIFICATE, encoded.data(), &size, 0) == FALSE) {
        return {};
    }
    return OwnedCertificate(CertCreateCertificateContext(X509_ASN_ENCODING, encoded.data(), size));
}

std::string ToNarrow(const wchar_t* text) {
    const int size = WideCharToMultiByte(CP_ACP, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_ACP, 0, text, -1, narrow.data(), size, nullptr, nullptr);
    return narrow.c_str();
}

std::wstring ToWide(const std::string& text) {
    const int size = MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, wide.data(), size);
    return wide.c_str();
}

}  // namespace mvlpfx
