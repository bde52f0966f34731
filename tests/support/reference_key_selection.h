// SelectKeyCertificate word by word: each call walks the store anew.
#pragma once

#include <cstdlib>
#include <vector>

#include "platform/cryptoapi.h"

namespace test_support {

struct SelectedKey {
    int answer = 0;
    DWORD error = 0;
    std::vector<BYTE> record;
    std::vector<BYTE> thumbprint;
    PCCERT_CONTEXT certificate = nullptr;
};

inline DWORD ReferenceSelect(HCERTSTORE store, int index, SelectedKey* out) {
    BYTE thumbprint[20] = {};
    PCCERT_CONTEXT at = store != nullptr ? CertEnumCertificatesInStore(store, nullptr) : nullptr;
    DWORD size = 0;
    for (int count = 1; at != nullptr; at = CertEnumCertificatesInStore(store, at)) {
        if (!CertGetCertificateContextProperty(at, CERT_KEY_PROV_INFO_PROP_ID, nullptr, &size)) {
            continue;
        }
        if (count == index) {
            break;
        }
        ++count;
    }
    if (at == nullptr) {
        return ERROR_NO_MORE_ITEMS;
    }
    void* const record = std::malloc(size);
    if (record == nullptr) {
        CertFreeCertificateContext(at);
        return ERROR_NO_MORE_ITEMS;
    }
    if (!CertGetCertificateContextProperty(at, CERT_KEY_PROV_INFO_PROP_ID, record, &size)) {
        const DWORD error = GetLastError();
        std::free(record);
        CertFreeCertificateContext(at);
        return error;
    }
    DWORD hashSize = sizeof thumbprint;
    CryptHashCertificate(0, CALG_SHA1, 0, at->pbCertEncoded, at->cbCertEncoded, thumbprint,
                         &hashSize);
    out->certificate = CertDuplicateCertificateContext(at);
    const auto* const info = static_cast<const CRYPT_KEY_PROV_INFO*>(record);
    for (const wchar_t* c = info->pwszContainerName; *c != 0; ++c) {
        out->record.push_back(static_cast<BYTE>(*c));
    }
    out->thumbprint.assign(thumbprint, thumbprint + sizeof thumbprint);
    std::free(record);
    return 0;
}

// The record is told by its container's name.
inline SelectedKey ReferenceSelectKeyCertificate(HCERTSTORE store, int index) {
    SelectedKey selected;
    selected.error = ReferenceSelect(store, index, &selected);
    selected.answer = selected.error == 0 ? 1 : 0;
    SetLastError(selected.error);
    return selected;
}

}  // namespace test_support
