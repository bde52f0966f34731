#include "windows/keys_and_documents.h"

#include <gtest/gtest.h>

#include <utility>

#include "mvlpfx/self_signed.h"

namespace windows_tests {

namespace {

using mvlpfx::OwnedContext;
using mvlpfx::OwnedKey;

std::vector<BYTE> EncodeName(const std::string& text) {
    DWORD size = 0;
    EXPECT_TRUE(CertStrToNameA(X509_ASN_ENCODING, text.c_str(), CERT_X500_NAME_STR, nullptr,
                               nullptr, &size, nullptr));
    std::vector<BYTE> name(size);
    EXPECT_TRUE(CertStrToNameA(X509_ASN_ENCODING, text.c_str(), CERT_X500_NAME_STR, nullptr,
                               name.data(), &size, nullptr));
    return name;
}

SYSTEMTIME EndOf2045() {
    SYSTEMTIME end{};
    end.wYear = 2045;
    end.wMonth = 12;
    end.wDay = 31;
    return end;
}

}  // namespace

KeyContainer::KeyContainer(std::string name, ALG_ID algorithm, DWORD keyFlags)
    : name_(std::move(name)) {
    OwnedContext context;
    EXPECT_TRUE(mvlpfx::AcquireContext(name_.c_str(), CRYPT_NEWKEYSET, false, &context))
        << std::hex << GetLastError();
    OwnedKey key;
    EXPECT_TRUE(CryptGenKey(context.Get(), algorithm, keyFlags, key.Fill()))
        << std::hex << GetLastError();
    certificate_ =
        mvlpfx::SignOwnCertificate(context.Get(), {EncodeName("CN=" + name_), EndOf2045(), {}});
}

KeyContainer::~KeyContainer() {
    OwnedContext none;
    mvlpfx::AcquireContext(name_.c_str(), CRYPT_DELETEKEYSET, false, &none);
}

mvlpfx::OwnedStore MemoryStore(const std::vector<PCCERT_CONTEXT>& certificates) {
    mvlpfx::OwnedStore store(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    for (PCCERT_CONTEXT const certificate : certificates) {
        EXPECT_TRUE(CertAddCertificateContextToStore(store.Get(), certificate,
                                                     CERT_STORE_ADD_ALWAYS, nullptr));
    }
    return store;
}

Bytes Create(HCERTSTORE store, const wchar_t* password, DWORD flags) {
    PfxBlob pfx{0, nullptr};
    if (!UzCreatePFX(store, &pfx, password, flags)) {
        return {};
    }
    Bytes document(pfx.cbData);
    pfx.pbData = document.data();
    return UzCreatePFX(store, &pfx, password, flags) ? document : Bytes();
}

PfxBlob View(const Bytes& document) {
    return {static_cast<DWORD>(document.size()), const_cast<BYTE*>(document.data())};
}

std::vector<mvlpfx::OwnedCertificate> All(HCERTSTORE store) {
    std::vector<mvlpfx::OwnedCertificate> all;
    PCCERT_CONTEXT at = nullptr;
    while ((at = CertEnumCertificatesInStore(store, at)) != nullptr) {
        all.emplace_back(CertDuplicateCertificateContext(at));
    }
    return all;
}

Bytes Encoded(PCCERT_CONTEXT certificate) {
    return {certificate->pbCertEncoded, certificate->pbCertEncoded + certificate->cbCertEncoded};
}

Bytes PublicKeyBehind(PCCERT_CONTEXT certificate) {
    HCRYPTPROV provider = 0;
    DWORD keySpec = 0;
    BOOL isMine = FALSE;
    if (!CryptAcquireCertificatePrivateKey(certificate, CRYPT_ACQUIRE_SILENT_FLAG, nullptr,
                                           &provider, &keySpec, &isMine)) {
        return {};
    }
    const OwnedContext context(provider);
    OwnedKey key;
    DWORD size = 0;
    if (!CryptGetUserKey(provider, keySpec, key.Fill()) ||
        !CryptExportKey(key.Get(), 0, PUBLICKEYBLOB, 0, nullptr, &size)) {
        return {};
    }
    Bytes blob(size);
    return CryptExportKey(key.Get(), 0, PUBLICKEYBLOB, 0, blob.data(), &size) ? blob : Bytes();
}

void DeleteKeyOf(PCCERT_CONTEXT certificate) {
    const std::vector<BYTE> record = mvlpfx::KeyProvInfo(certificate);
    ASSERT_FALSE(record.empty());
    const auto* const info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(record.data());
    HCRYPTPROV none = 0;
    EXPECT_TRUE(CryptAcquireContextW(&none, info->pwszContainerName, info->pwszProvName,
                                     info->dwProvType, info->dwFlags | CRYPT_DELETEKEYSET))
        << std::hex << GetLastError();
}

}  // namespace windows_tests
