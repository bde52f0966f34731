// Going through the certificates of a store.
#pragma once

#include "mvlpfx/error_words.h"
#include "mvlpfx/handles.h"

namespace mvlpfx {

// Gives `take` every certificate of the store. Throws ToolError after the last where one could not
// be read.
template <typename Take>
void ForEachCertificate(HCERTSTORE store, const std::string& name, Take take) {
    PCCERT_CONTEXT certificate = nullptr;
    while ((certificate = CertEnumCertificatesInStore(store, certificate)) != nullptr) {
        try {
            take(certificate);
        } catch (...) {
            CertFreeCertificateContext(certificate);
            throw;
        }
    }
    if (GetLastError() != static_cast<DWORD>(CRYPT_E_NOT_FOUND)) {
        ThrowLastError("can't read all of the store " + name);
    }
}

}  // namespace mvlpfx
