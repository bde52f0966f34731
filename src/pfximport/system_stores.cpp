#include "pfximport/system_stores.h"

#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "pfxcrypto/handle_guards.h"

namespace pkisdk {

namespace {

bool HasKey(PCCERT_CONTEXT certificate) {
    DWORD size = 0;
    if (!CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr,
                                           &size) ||
        size < sizeof(CRYPT_KEY_PROV_INFO)) {
        return false;
    }
    std::vector<CRYPT_KEY_PROV_INFO> record(size / sizeof(CRYPT_KEY_PROV_INFO) + 1);
    return CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, record.data(),
                                             &size) != FALSE &&
           record.front().pwszContainerName != nullptr;
}

CertStore OpenSystemStore(const wchar_t* name, std::uint32_t flags) {
    const DWORD location = (flags & CRYPT_MACHINE_KEYSET) != 0 ? CERT_SYSTEM_STORE_LOCAL_MACHINE
                                                               : CERT_SYSTEM_STORE_CURRENT_USER;
    return CertStore(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, location, name));
}

void Add(const CertStore& store, PCCERT_CONTEXT certificate, DWORD disposition) {
    const CertContext added(CertDuplicateCertificateContext(certificate));
    CertAddCertificateContextToStore(store.Get(), added.Get(), disposition, nullptr);
}

CertContext FindIssuer(HCERTSTORE source, PCCERT_CONTEXT subject) {
    DWORD noChecks = 0;
    return CertContext(CertGetIssuerCertificateFromStore(source, subject, nullptr, &noChecks));
}

std::string_view EncodedOf(const CertContext& certificate) {
    return {reinterpret_cast<const char*>(certificate.Get()->pbCertEncoded),
            certificate.Get()->cbCertEncoded};
}

void AddIssuers(HCERTSTORE source, PCCERT_CONTEXT certificate, const CertStore& ca,
                const CertStore& root) {
    CertContext issuer = FindIssuer(source, certificate);
    if (!issuer) {
        return;
    }
    // Certificates that are one another's issuers would lead round for ever.
    std::vector<CertContext> held;
    std::set<std::string_view> passed;
    CertContext next = FindIssuer(source, issuer.Get());
    while (next) {
        if (!passed.insert(EncodedOf(issuer)).second) {
            return;
        }
        Add(ca, issuer.Get(), CERT_STORE_ADD_USE_EXISTING);
        held.push_back(std::exchange(issuer, std::move(next)));
        next = FindIssuer(source, issuer.Get());
    }
    Add(root, issuer.Get(), CERT_STORE_ADD_USE_EXISTING);
}

// Answers the error word.
DWORD PlaceChain(PCCERT_CONTEXT certificate, HCERTSTORE source, std::uint32_t flags) {
    if (certificate == nullptr || source == nullptr) {
        return static_cast<DWORD>(NTE_BAD_DATA);
    }
    const CertStore my = OpenSystemStore(L"MY", flags);
    if (!my) {
        return static_cast<DWORD>(NTE_FAIL);
    }
    Add(my, certificate, CERT_STORE_ADD_REPLACE_EXISTING);
    const CertStore ca = OpenSystemStore(L"CA", flags);
    const CertStore root = OpenSystemStore(L"ROOT", flags);
    if (!ca || !root) {
        return static_cast<DWORD>(NTE_FAIL);
    }
    AddIssuers(source, certificate, ca, root);
    return 0;
}

}  // namespace

int PlaceCertsInSystemStores(HCERTSTORE source, std::uint32_t flags) {
    // The walk itself leaves words that say nothing of the placement.
    DWORD word = GetLastError();
    PCCERT_CONTEXT certificate = nullptr;
    while ((certificate = CertEnumCertificatesInStore(source, certificate)) != nullptr) {
        if (HasKey(certificate)) {
            PlaceCertChainInSystemStores(certificate, source, flags);
            word = GetLastError();
        }
    }
    SetLastError(word);
    return 1;
}

int PlaceCertChainInSystemStores(PCCERT_CONTEXT certificate, HCERTSTORE source,
                                 std::uint32_t flags) {
    const DWORD error = PlaceChain(certificate, source, flags);
    SetLastError(error);
    return error == 0 ? 1 : 0;
}

}  // namespace pkisdk
