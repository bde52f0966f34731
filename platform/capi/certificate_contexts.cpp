// Certificate contexts and their properties.
#include <algorithm>
#include <cstring>
#include <optional>

#include "capi/calls.h"
#include "capi/certificate_object.h"
#include "capi/store.h"

namespace capi {

namespace {

constexpr char kSubjectKeyIdentifierOid[] = "2.5.29.14";
constexpr ALG_ID kMd5 = 0x8003;
constexpr ALG_ID kSha256 = 0x800C;

bool IsComputed(DWORD number) {
    switch (number) {
        case CERT_SHA1_HASH_PROP_ID:
        case CERT_MD5_HASH_PROP_ID:
        case CERT_SHA256_HASH_PROP_ID:
        case CERT_KEY_IDENTIFIER_PROP_ID:
        case CERT_ACCESS_STATE_PROP_ID:
        case CERT_KEY_SPEC_PROP_ID:
        case CERT_CERT_PROP_ID:
            return true;
        default:
            return false;
    }
}

template <typename Record>
Bytes ToBytes(const Record& record) {
    Bytes bytes(sizeof(record));
    std::memcpy(bytes.data(), &record, sizeof(record));
    return bytes;
}

// The extension's OCTET STRING, or the hash of the public key where the certificate has none.
Bytes KeyIdentifier(const CertificateObject& certificate) {
    const std::span<const BYTE> value = FindExtension(certificate.Info(), kSubjectKeyIdentifierOid);
    constexpr BYTE kOctetString = 4;
    if (value.size() >= 2 && value[0] == kOctetString && value[1] == value.size() - 2) {
        return Bytes(value.begin() + 2, value.end());
    }
    return DigestOf(CALG_SHA1, certificate.PublicKeyInfo());
}

DWORD AccessState(const CertificateObject& certificate) {
    const std::shared_ptr<Store> store = certificate.WhereIs().store.lock();
    if (store == nullptr || !store->IsSystemStore()) {
        return 0;
    }
    return CERT_ACCESS_STATE_SYSTEM_STORE_FLAG |
           (store->IsReadOnly() ? 0 : CERT_ACCESS_STATE_WRITE_PERSIST_FLAG);
}

Bytes KeySpec(const CertificateObject& certificate) {
    const CERT_KEY_CONTEXT key = certificate.KeyContext();
    if (key.hCryptProv != 0) {
        return ToBytes(key.dwKeySpec);
    }
    const Properties properties = certificate.CopyProperties();
    Require(properties.keyProvInfo.has_value(), CRYPT_E_NOT_FOUND);
    return ToBytes(properties.keyProvInfo->keySpec);
}

Bytes KeyContextBytes(const CertificateObject& certificate, DWORD number) {
    const CERT_KEY_CONTEXT key = certificate.KeyContext();
    Require(key.hCryptProv != 0, CRYPT_E_NOT_FOUND);
    return number == CERT_KEY_CONTEXT_PROP_ID ? ToBytes(key) : ToBytes(key.hCryptProv);
}

// Any property but CERT_KEY_PROV_INFO_PROP_ID.
Bytes GetBytes(const CertificateObject& certificate, DWORD number) {
    switch (number) {
        case CERT_SHA1_HASH_PROP_ID:
            return Bytes(certificate.Thumbprint().begin(), certificate.Thumbprint().end());
        case CERT_MD5_HASH_PROP_ID:
            return DigestOf(kMd5, certificate.Encoded());
        case CERT_SHA256_HASH_PROP_ID:
            return DigestOf(kSha256, certificate.Encoded());
        case CERT_KEY_IDENTIFIER_PROP_ID:
            return KeyIdentifier(certificate);
        case CERT_ACCESS_STATE_PROP_ID:
            return ToBytes(AccessState(certificate));
        case CERT_KEY_SPEC_PROP_ID:
            return KeySpec(certificate);
        case CERT_CERT_PROP_ID:
            return certificate.Encoded();
        case CERT_KEY_CONTEXT_PROP_ID:
        case CERT_KEY_PROV_HANDLE_PROP_ID:
            return KeyContextBytes(certificate, number);
        default:
            break;
    }
    const Properties properties = certificate.CopyProperties();
    const auto found = properties.blobs.find(number);
    Require(found != properties.blobs.end(), CRYPT_E_NOT_FOUND);
    return found->second;
}

// Needs no memory: its lack would look like that of the property.
void GetKeyProvInfo(const CertificateObject& certificate, void* out, DWORD* size) {
    certificate.ReadProperties([=](const Properties& properties) {
        Require(properties.keyProvInfo.has_value(), CRYPT_E_NOT_FOUND);
        const auto needed = static_cast<DWORD>(properties.keyProvInfo->BlockSize());
        const DWORD room = *size;
        *size = needed;
        if (out != nullptr) {
            Require(room >= needed, ERROR_MORE_DATA);
            properties.keyProvInfo->WriteBlock(static_cast<BYTE*>(out));
        }
    });
}

void SetKeyContext(CertificateObject* certificate, DWORD number, DWORD flags, const void* data) {
    CERT_KEY_CONTEXT key{sizeof(CERT_KEY_CONTEXT), 0, 0};
    if (data != nullptr && number == CERT_KEY_PROV_HANDLE_PROP_ID) {
        // The property of that number is the handle itself.
        key.hCryptProv = reinterpret_cast<HCRYPTPROV>(data);
        const Properties properties = certificate->CopyProperties();
        key.dwKeySpec = properties.keyProvInfo.has_value() ? properties.keyProvInfo->keySpec : 0;
    } else if (data != nullptr) {
        std::memcpy(&key, data, sizeof(key));
        Require(key.cbSize == sizeof(key), E_INVALIDARG);
    }
    certificate->SetKeyContext(key, (flags & CERT_STORE_NO_CRYPT_RELEASE_FLAG) == 0);
}

std::function<void(Properties*)> ChangeOf(DWORD number, const void* data) {
    if (data == nullptr) {
        return [number](Properties* properties) { properties->Remove(number); };
    }
    if (number == CERT_KEY_PROV_INFO_PROP_ID) {
        KeyProvInfo info(*static_cast<const CRYPT_KEY_PROV_INFO*>(data));
        return [info](Properties* properties) { properties->keyProvInfo.emplace(info); };
    }
    const auto& blob = *static_cast<const CRYPT_DATA_BLOB*>(data);
    Require(blob.cbData == 0 || blob.pbData != nullptr, E_INVALIDARG);
    Bytes bytes(blob.pbData, blob.pbData + blob.cbData);
    return [number, bytes](Properties* properties) { properties->blobs[number] = bytes; };
}

void SetProperty(CertificateObject* certificate, DWORD number, DWORD flags, const void* data) {
    const std::function<void(Properties*)> change = ChangeOf(number, data);
    const std::shared_ptr<Store> store = certificate->WhereIs().store.lock();
    if (store == nullptr) {
        certificate->ChangeProperties(change);
        return;
    }
    const bool isForMemory = (flags & CERT_SET_PROPERTY_INHIBIT_PERSIST_FLAG) != 0;
    try {
        store->ChangeProperties(certificate, isForMemory, change);
    } catch (const ErrorWord&) {
        if ((flags & CERT_SET_PROPERTY_IGNORE_PERSIST_ERROR_FLAG) == 0) {
            throw;
        }
        store->ChangeProperties(certificate, true, change);
    }
}

bool AreSame(const CRYPT_INTEGER_BLOB& a, const CRYPT_INTEGER_BLOB& b) {
    return std::ranges::equal(View(a), View(b));
}

// Without the bytes that say no more than the sign does.
std::span<const BYTE> Significant(const CRYPT_INTEGER_BLOB& number) {
    std::span<const BYTE> bytes = View(number);
    constexpr BYTE kSign = 0x80;
    while (bytes.size() > 1) {
        const bool isNegative = (bytes[bytes.size() - 2] & kSign) != 0;
        if (bytes.back() != (isNegative ? 0xFF : 0)) {
            break;
        }
        bytes = bytes.first(bytes.size() - 1);
    }
    return bytes;
}

}  // namespace

}  // namespace capi

using capi::Answer;
using capi::Contexts;
using capi::Require;
using capi::RequireContext;

PCCERT_CONTEXT WINAPI CertCreateCertificateContext(DWORD dwCertEncodingType,
                                                   const BYTE* pbCertEncoded, DWORD cbCertEncoded) {
    return Answer<PCCERT_CONTEXT>(nullptr, [&] {
        Require(pbCertEncoded != nullptr &&
                    GET_CERT_ENCODING_TYPE(dwCertEncodingType) == X509_ASN_ENCODING,
                E_INVALIDARG);
        return Contexts::Get().Hold(std::make_shared<capi::CertificateObject>(
            capi::Bytes(pbCertEncoded, pbCertEncoded + cbCertEncoded), X509_ASN_ENCODING,
            capi::Properties(), capi::CertificateObject::Place()));
    });
}

PCCERT_CONTEXT WINAPI CertDuplicateCertificateContext(PCCERT_CONTEXT pCertContext) {
    if (pCertContext == nullptr) {
        return nullptr;
    }
    return Answer<PCCERT_CONTEXT>(
        nullptr, [&] { return Contexts::Get().Hold(RequireContext(pCertContext)); });
}

BOOL WINAPI CertFreeCertificateContext(PCCERT_CONTEXT pCertContext) {
    Contexts::Get().Release(pCertContext);
    return TRUE;
}

BOOL WINAPI CertCompareCertificate(DWORD /*dwCertEncodingType*/, PCERT_INFO pCertId1,
                                   PCERT_INFO pCertId2) {
    return pCertId1 != nullptr && pCertId2 != nullptr &&
           capi::AreSame(pCertId1->Issuer, pCertId2->Issuer) &&
           std::ranges::equal(capi::Significant(pCertId1->SerialNumber),
                              capi::Significant(pCertId2->SerialNumber));
}

BOOL WINAPI CertCompareCertificateName(DWORD /*dwCertEncodingType*/, PCERT_NAME_BLOB pCertName1,
                                       PCERT_NAME_BLOB pCertName2) {
    return pCertName1 != nullptr && pCertName2 != nullptr &&
           capi::AreSame(*pCertName1, *pCertName2);
}

BOOL WINAPI CertGetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId,
                                              void* pvData, DWORD* pcbData) {
    return Answer<BOOL>(FALSE, [&] {
        const auto certificate = RequireContext(pCertContext);
        Require(pcbData != nullptr && dwPropId != 0 && dwPropId <= CERT_LAST_USER_PROP_ID,
                E_INVALIDARG);
        if (dwPropId == CERT_KEY_PROV_INFO_PROP_ID) {
            capi::GetKeyProvInfo(*certificate, pvData, pcbData);
        } else {
            capi::WriteSized(capi::GetBytes(*certificate, dwPropId), pvData, pcbData);
        }
        return TRUE;
    });
}

BOOL WINAPI CertSetCertificateContextProperty(PCCERT_CONTEXT pCertContext, DWORD dwPropId,
                                              DWORD dwFlags, const void* pvData) {
    return Answer<BOOL>(FALSE, [&] {
        constexpr DWORD kFlags = CERT_SET_PROPERTY_IGNORE_PERSIST_ERROR_FLAG |
                                 CERT_SET_PROPERTY_INHIBIT_PERSIST_FLAG |
                                 CERT_STORE_NO_CRYPT_RELEASE_FLAG;
        const auto certificate = RequireContext(pCertContext);
        Require(dwPropId != 0 && dwPropId <= CERT_LAST_USER_PROP_ID &&
                    !capi::IsComputed(dwPropId) && (dwFlags & ~kFlags) == 0,
                E_INVALIDARG);
        if (dwPropId == CERT_KEY_CONTEXT_PROP_ID || dwPropId == CERT_KEY_PROV_HANDLE_PROP_ID) {
            capi::SetKeyContext(certificate.get(), dwPropId, dwFlags, pvData);
        } else {
            capi::SetProperty(certificate.get(), dwPropId, dwFlags, pvData);
        }
        return TRUE;
    });
}

DWORD WINAPI CertEnumCertificateContextProperties(PCCERT_CONTEXT pCertContext, DWORD dwPropId) {
    return Answer<DWORD>(0, [&] {
        const auto certificate = RequireContext(pCertContext);
        const DWORD next = certificate->CopyProperties().Next(dwPropId);
        const bool isKeyNext = dwPropId < CERT_KEY_CONTEXT_PROP_ID &&
                               (next == 0 || next > CERT_KEY_CONTEXT_PROP_ID) &&
                               certificate->KeyContext().hCryptProv != 0;
        return isKeyNext ? DWORD{CERT_KEY_CONTEXT_PROP_ID} : next;
    });
}
