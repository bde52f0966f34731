// Certificates that a key signs for itself.
#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

#include "capi/ansi_text.h"
#include "capi/calls.h"
#include "capi/certificate_creation.h"
#include "capi/certificate_object.h"
#include "capi/der_writer.h"
#include "capi/public_keys.h"
#include "capi/utf8.h"

namespace capi {

namespace {

// What a key of each family signs with.
struct SignatureAlgorithm {
    const char* publicKeyOid;
    const char* signatureOid;
    ALG_ID hash;
};

constexpr SignatureAlgorithm kSignatureAlgorithms[] = {
    {"1.2.643.2.2.19", "1.2.643.2.2.3", 0x801E},
    {"1.2.643.7.1.1.1.1", "1.2.643.7.1.1.3.2", 0x8021},
    {"1.2.643.7.1.1.1.2", "1.2.643.7.1.1.3.3", 0x8022},
};

class OwnHash {
  public:
    OwnHash(HCRYPTPROV provider, ALG_ID algorithm, std::span<const BYTE> data) {
        RequireCall(CryptCreateHash(provider, algorithm, 0, 0, &handle_));
        if (CryptHashData(handle_, data.data(), static_cast<DWORD>(data.size()), 0) == FALSE) {
            const DWORD word = GetLastError();
            CryptDestroyHash(handle_);
            throw ErrorWord(static_cast<HRESULT>(word));
        }
    }
    ~OwnHash() { CryptDestroyHash(handle_); }
    OwnHash(const OwnHash&) = delete;
    OwnHash& operator=(const OwnHash&) = delete;

    // As a certificate carries it: the provider gives the octets the other way round.
    Bytes Sign(DWORD keySpec) const {
        Bytes signature = AskTwice([this, keySpec](BYTE* out, DWORD* size) {
            return CryptSignHashW(handle_, keySpec, nullptr, 0, out, size);
        });
        std::ranges::reverse(signature);
        return signature;
    }

  private:
    HCRYPTHASH handle_ = 0;
};

// The algorithm whose identifier begins a SubjectPublicKeyInfo:
// SEQUENCE { SEQUENCE { algorithm OBJECT IDENTIFIER, ... }, ... }
const SignatureAlgorithm& AlgorithmOf(const Bytes& publicKeyInfo) {
    for (const SignatureAlgorithm& algorithm : kSignatureAlgorithms) {
        const Bytes oid = DerObjectIdentifier(algorithm.publicKeyOid);
        // Behind two headers of two or three octets each.
        constexpr std::size_t kFurthest = 8;
        const auto end = publicKeyInfo.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                     publicKeyInfo.size(), kFurthest + oid.size()));
        if (std::search(publicKeyInfo.begin(), end, oid.begin(), oid.end()) != end) {
            return algorithm;
        }
    }
    ThrowWord(NTE_BAD_ALGID);
}

// Positive, of 16 octets, in the shortest form.
Bytes RandomSerialNumber(HCRYPTPROV provider) {
    std::array<BYTE, 16> number{};
    RequireCall(CryptGenRandom(provider, number.size(), number.data()));
    number[0] = static_cast<BYTE>((number[0] & 0x7F) | 0x40);
    return DerElement(0x02, {number});
}

// Up to 2049 UTCTime with a year of two digits, from then on GeneralizedTime.
Bytes DerTime(const SYSTEMTIME& time) {
    constexpr int kFirstYearOfTwoDigits = 1950;
    constexpr int kLastYearOfTwoDigits = 2049;
    constexpr int kLastYear = 9999;
    FILETIME checked{};
    Require(SystemTimeToFileTime(&time, &checked) != FALSE && time.wYear >= kFirstYearOfTwoDigits &&
                time.wYear <= kLastYear,
            E_INVALIDARG);
    const bool isShort = time.wYear <= kLastYearOfTwoDigits;
    std::array<char, 32> text{};
    const int size =
        std::snprintf(text.data(), text.size(), "%04d%02d%02d%02d%02d%02dZ", time.wYear,
                      time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond);
    const int skipped = isShort ? 2 : 0;
    return DerElement(isShort ? 0x17 : 0x18, {{reinterpret_cast<const BYTE*>(text.data()) + skipped,
                                               static_cast<std::size_t>(size - skipped)}});
}

// 365 days later, so that no 29th of February is asked for.
SYSTEMTIME YearAfter(const SYSTEMTIME& start) {
    constexpr ULONGLONG kUnitsPerYear = 365 * ULONGLONG{864'000'000'000};
    FILETIME time{};
    Require(SystemTimeToFileTime(&start, &time) != FALSE, E_INVALIDARG);
    const ULONGLONG units =
        (ULONGLONG{time.dwHighDateTime} << 32 | time.dwLowDateTime) + kUnitsPerYear;
    time = {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
    SYSTEMTIME end{};
    Require(FileTimeToSystemTime(&time, &end) != FALSE, E_INVALIDARG);
    return end;
}

Bytes DerValidity(const SYSTEMTIME* start, const SYSTEMTIME* end) {
    SYSTEMTIME now{};
    GetSystemTime(&now);
    const SYSTEMTIME from = start == nullptr ? now : *start;
    const SYSTEMTIME until = end == nullptr ? YearAfter(from) : *end;
    return DerSequence({DerTime(from), DerTime(until)});
}

bool IsWhole(const CRYPT_DATA_BLOB& blob) {
    return blob.pbData != nullptr || blob.cbData == 0;
}

// Extensions ::= [3] SEQUENCE OF SEQUENCE { extnID, critical DEFAULT FALSE, extnValue OCTET STRING
// }
Bytes DerExtensions(const CERT_EXTENSIONS* extensions) {
    constexpr BYTE kCritical[] = {0x01, 0x01, 0xFF};
    if (extensions == nullptr || extensions->cExtension == 0) {
        return {};
    }
    Require(extensions->rgExtension != nullptr, E_INVALIDARG);
    Bytes list;
    for (const CERT_EXTENSION& extension :
         std::span(extensions->rgExtension, extensions->cExtension)) {
        Require(extension.pszObjId != nullptr && IsWhole(extension.Value), E_INVALIDARG);
        const Bytes element = DerSequence(
            {DerObjectIdentifier(extension.pszObjId),
             extension.fCritical != FALSE ? std::span<const BYTE>(kCritical) : std::span<BYTE>(),
             DerElement(0x04, {View(extension.Value)})});
        list.insert(list.end(), element.begin(), element.end());
    }
    return DerElement(0xA3, {DerSequence({list})});
}

struct Wanted {
    HCRYPTPROV provider;
    DWORD keySpec;
    bool isSigned;
    std::span<const BYTE> name;
    const CRYPT_ALGORITHM_IDENTIFIER* algorithm;
    const SYSTEMTIME* start;
    const SYSTEMTIME* end;
    const CERT_EXTENSIONS* extensions;
};

// Certificate ::= SEQUENCE { tbsCertificate, signatureAlgorithm, signature BIT STRING }
Bytes MakeCertificate(const Wanted& wanted) {
    constexpr BYTE kVersion3[] = {0xA0, 0x03, 0x02, 0x01, 0x02};
    const Bytes publicKeyInfo = PublicKeyInfoOf(wanted.provider, wanted.keySpec);
    const SignatureAlgorithm& algorithm = AlgorithmOf(publicKeyInfo);
    if (wanted.algorithm != nullptr) {
        Require(wanted.algorithm->pszObjId != nullptr, E_INVALIDARG);
        Require(std::string_view(wanted.algorithm->pszObjId) == algorithm.signatureOid,
                NTE_BAD_ALGID);
    }
    const Bytes algorithmIdentifier = DerSequence({DerObjectIdentifier(algorithm.signatureOid)});
    const Bytes body =
        DerSequence({kVersion3, RandomSerialNumber(wanted.provider), algorithmIdentifier,
                     wanted.name, DerValidity(wanted.start, wanted.end), wanted.name, publicKeyInfo,
                     DerExtensions(wanted.extensions)});
    const Bytes signature =
        wanted.isSigned ? OwnHash(wanted.provider, algorithm.hash, body).Sign(wanted.keySpec)
                        : Bytes();
    return DerSequence({body, algorithmIdentifier, DerBitString(signature)});
}

std::wstring ProviderText(HCRYPTPROV provider, DWORD parameter) {
    Bytes text = AskTwice([=](BYTE* out, DWORD* size) {
        return CryptGetProvParam(provider, parameter, out, size, 0);
    });
    text.push_back(0);
    return WideFromUtf8(Utf8FromAnsi(reinterpret_cast<const char*>(text.data())));
}

DWORD ProviderNumber(HCRYPTPROV provider, DWORD parameter) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    RequireCall(CryptGetProvParam(provider, parameter, reinterpret_cast<BYTE*>(&value), &size, 0));
    return value;
}

// Ties the certificate to the key in the provider's container.
void TieToContainer(PCCERT_CONTEXT certificate, HCRYPTPROV provider, DWORD keySpec) {
    std::wstring container = ProviderText(provider, PP_UNIQUE_CONTAINER);
    std::wstring name = ProviderText(provider, PP_NAME);
    CRYPT_KEY_PROV_INFO info{};
    info.pwszContainerName = container.data();
    info.pwszProvName = name.data();
    info.dwProvType = ProviderNumber(provider, PP_PROVTYPE);
    info.dwFlags = ProviderNumber(provider, PP_KEYSET_TYPE) & CRYPT_MACHINE_KEYSET;
    info.dwKeySpec = keySpec;
    RequireCall(
        CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
}

void Tie(PCCERT_CONTEXT certificate, const CRYPT_KEY_PROV_INFO* info, const Wanted& wanted) {
    if (info != nullptr && info->pwszContainerName != nullptr) {
        RequireCall(
            CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, info));
    } else {
        TieToContainer(certificate, wanted.provider, wanted.keySpec);
    }
}

}  // namespace

}  // namespace capi

using capi::Answer;
using capi::Require;

PCCERT_CONTEXT WINAPI CertCreateSelfSignCertificate(
    HCRYPTPROV_OR_NCRYPT_KEY_HANDLE hCryptProv, PCERT_NAME_BLOB pSubjectIssuerBlob, DWORD dwFlags,
    PCRYPT_KEY_PROV_INFO pKeyProvInfo, PCRYPT_ALGORITHM_IDENTIFIER pSignatureAlgorithm,
    PSYSTEMTIME pStartTime, PSYSTEMTIME pEndTime, PCERT_EXTENSIONS pExtensions) {
    return Answer<PCCERT_CONTEXT>(nullptr, [&] {
        constexpr DWORD kFlags = CERT_CREATE_SELFSIGN_NO_SIGN | CERT_CREATE_SELFSIGN_NO_KEY_INFO;
        Require(hCryptProv != 0 && pSubjectIssuerBlob != nullptr &&
                    capi::IsWhole(*pSubjectIssuerBlob) && (dwFlags & ~kFlags) == 0,
                E_INVALIDARG);
        const capi::Wanted wanted{
            hCryptProv,
            pKeyProvInfo == nullptr ? DWORD{AT_SIGNATURE} : pKeyProvInfo->dwKeySpec,
            (dwFlags & CERT_CREATE_SELFSIGN_NO_SIGN) == 0,
            capi::View(*pSubjectIssuerBlob),
            pSignatureAlgorithm,
            pStartTime,
            pEndTime,
            pExtensions};
        const capi::Bytes encoded = capi::MakeCertificate(wanted);
        const PCCERT_CONTEXT certificate = CertCreateCertificateContext(
            X509_ASN_ENCODING, encoded.data(), static_cast<DWORD>(encoded.size()));
        capi::RequireCall(certificate != nullptr);
        if ((dwFlags & CERT_CREATE_SELFSIGN_NO_KEY_INFO) == 0) {
            try {
                capi::Tie(certificate, pKeyProvInfo, wanted);
            } catch (...) {
                CertFreeCertificateContext(certificate);
                throw;
            }
        }
        return certificate;
    });
}
