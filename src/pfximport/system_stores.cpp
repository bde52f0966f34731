#include "pfximport/system_stores.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <span>
#include <utility>

#include "pfxcrypto/handle_guards.h"

namespace pkisdk {

namespace {

struct FreeMemory {
    void operator()(CRYPT_KEY_PROV_INFO* record) const { std::free(record); }
};

bool HasKey(PCCERT_CONTEXT certificate) {
    DWORD size = 0;
    if (!CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr,
                                           &size) ||
        size < sizeof(CRYPT_KEY_PROV_INFO)) {
        return false;
    }
    // Where there is no memory the certificate is passed over, and the walk goes on.
    const std::unique_ptr<CRYPT_KEY_PROV_INFO, FreeMemory> record(
        static_cast<CRYPT_KEY_PROV_INFO*>(std::calloc(1, size)));
    return record != nullptr &&
           CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, record.get(),
                                             &size) != FALSE &&
           record->pwszContainerName != nullptr;
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

// Whether the search for an issuer ended without one, and did not fail. The last of a chain is
// trusted from here on, so that it is not enough that the next one was not seen.
bool HasEnded() {
    const DWORD word = GetLastError();
    return word == static_cast<DWORD>(CRYPT_E_NOT_FOUND) ||
           word == static_cast<DWORD>(CRYPT_E_SELF_SIGNED);
}

bool AreSame(const CertContext& one, const CertContext& other) {
    return std::ranges::equal(std::span(one.Get()->pbCertEncoded, one.Get()->cbCertEncoded),
                              std::span(other.Get()->pbCertEncoded, other.Get()->cbCertEncoded));
}

void AddIssuers(HCERTSTORE source, PCCERT_CONTEXT certificate, const CertStore& ca,
                const CertStore& root) {
    CertContext issuer = FindIssuer(source, certificate);
    // Certificates that are one another's issuers would lead round for ever. One that was passed is
    // kept to be known again, another after twice as many steps each time, so that no circle is too
    // long for it.
    CertContext passed;
    std::size_t steps = 1;
    for (std::size_t left = steps; issuer; --left) {
        if (passed && AreSame(passed, issuer)) {
            return;
        }
        CertContext next = FindIssuer(source, issuer.Get());
        if (!next) {
            if (HasEnded()) {
                Add(root, issuer.Get(), CERT_STORE_ADD_USE_EXISTING);
            }
            return;
        }
        Add(ca, issuer.Get(), CERT_STORE_ADD_USE_EXISTING);
        if (left == 1) {
            passed = std::move(issuer);
            steps *= 2;
            left = steps + 1;
        }
        issuer = std::move(next);
    }
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
