#include "pfximport/certificate_import.h"

#include <exception>

#include "asn/asn_object_readable.h"
#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "pfxcrypto/pfx_constants.h"
#include "pfximport/bag_encryption.h"
#include "pfximport/bag_identifiers.h"
#include "pfximport/bag_walk.h"
#include "schema/encr_content.h"

namespace pkisdk {

namespace {

// The content's key, released before its provider, whatever happened.
struct OpenHandles {
    ProviderContext provider;
    ProviderKey key;
};

// Answers the error word.
DWORD ReadEncryptedContent(const DerList& document, EncrContent* content) {
    constexpr std::int32_t kEncryptedDataIndex = 3;
    DerList contentInfo;
    if (FindByOid(&document, kEncryptedDataOid, &contentInfo) == 0) {
        return static_cast<DWORD>(NTE_BAD_DATA);
    }
    Blob bytes;
    if (FlattenSubtree(contentInfo, kEncryptedDataIndex, &bytes) == 0) {
        return static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
    }
    content->DeserializeFromAsnObject(asn::AsnObjectReadable::FromBlob(bytes), "certBag");
    return 0;
}

bool Decrypt(HCRYPTKEY key, Blob* data) {
    auto size = static_cast<DWORD>(data->GetSize());
    return CryptDecrypt(key, 0, TRUE, 0, data->GetData(), &size) != FALSE;
}

void AddCertificate(HCERTSTORE store, const DerSpans& bag) {
    Blob encoded;
    if (!ExtractBagCertificate(bag, &encoded)) {
        return;
    }
    const CertContext certificate(CertCreateCertificateContext(
        kCertificateEncoding, encoded.GetData(), static_cast<DWORD>(encoded.GetSize())));
    if (!certificate) {
        return;
    }
    const CertContext added(CertDuplicateCertificateContext(certificate.Get()));
    CertAddCertificateContextToStore(store, added.Get(), CERT_STORE_ADD_USE_EXISTING, nullptr);
}

void AddCertificates(HCERTSTORE store, const DerList& content) {
    BagWalk bags(content, kCertBagOid);
    DerSpans bag;
    while (bags.Next(&bag)) {
        AddCertificate(store, bag);
    }
}

// Answers the error word.
DWORD Import(const char* password, const DerList& document, HCERTSTORE store, DerList* certificates,
             OpenHandles* open) {
    if (store == nullptr) {
        return static_cast<DWORD>(NTE_BAD_DATA);
    }
    EncrContent content;
    BagEncryption encryption;
    DWORD error = ReadEncryptedContent(document, &content);
    if (error == 0) {
        error = ReadBagEncryption(content.encrContentInfo.PBES2Sheme, &encryption);
    }
    if (error != 0) {
        return error;
    }
    Blob data = content.encrContentInfo.EncryptedData;
    if (!CryptAcquireContextA(open->provider.Put(), nullptr, kProviderName, kProviderType,
                              CRYPT_VERIFYCONTEXT) ||
        !MakeBagKey(password, open->provider.Get(), encryption, &open->key) ||
        !Decrypt(open->key.Get(), &data)) {
        return GetLastError();
    }
    // The cipher leaves the size as it was. What does not parse holds no bags.
    DerList unwanted;
    DerList* const decrypted = certificates != nullptr ? certificates : &unwanted;
    ParseDerList(data.GetData(), static_cast<std::int32_t>(data.GetSize()), decrypted);
    AddCertificates(store, *decrypted);
    return 0;
}

}  // namespace

int AddPfxCertsToStore(const char* password, DerList document, HCERTSTORE store,
                       DerList* certificates) {
    OpenHandles open;
    DWORD error = 0;
    try {
        error = Import(password, document, store, certificates, &open);
    } catch (const std::exception&) {
        error = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
    }
    open.key.Reset();
    open.provider.Reset();
    SetLastError(error);
    return error == 0 ? 1 : 0;
}

}  // namespace pkisdk
