// Stands between the import and its platform as PlatformCalls does, for the calls that it makes
// besides: on keys, certificates, their stores, and the look at a document.
#include <algorithm>

#include "support/platform_stand_in.h"

using test_support::Calls;
using test_support::PlatformCalls;
using test_support::Refused;

namespace {

PCCERT_CONTEXT Counted(PCCERT_CONTEXT context) {
    Calls().Opened(&PlatformCalls::certificates_, context != nullptr);
    return context;
}

// The walks free what they start from, also where they find nothing more.
void CountAsFreed(PCCERT_CONTEXT context) {
    Calls().Closed(&PlatformCalls::certificates_, context != nullptr);
}

}  // namespace

extern "C" {

BOOL CryptGetProvParam(HCRYPTPROV provider, DWORD parameter, BYTE* data, DWORD* size, DWORD flags) {
    if (Refused("CryptGetProvParam", {parameter, data != nullptr})) {
        return FALSE;
    }
    if (parameter != PP_UNIQUE_CONTAINER || !Calls().uniqueName_) {
        return REAL(CryptGetProvParam)(provider, parameter, data, size, flags);
    }
    *size = static_cast<DWORD>(Calls().uniqueName_->size());
    if (data != nullptr) {
        std::copy_n(Calls().uniqueName_->data(), *size, data);
    }
    return TRUE;
}

BOOL CryptSetProvParam(HCRYPTPROV provider, DWORD parameter, const BYTE* data, DWORD flags) {
    if (Refused("CryptSetProvParam")) {
        return FALSE;
    }
    Calls().providerParams_.push_back({parameter, reinterpret_cast<const char*>(data)});
    return REAL(CryptSetProvParam)(provider, parameter, data, flags);
}

BOOL CryptImportKey(HCRYPTPROV provider, const BYTE* data, DWORD size, HCRYPTKEY wrapping,
                    DWORD flags, HCRYPTKEY* key) {
    if (Refused("CryptImportKey")) {
        return FALSE;
    }
    Calls().keyImports_.push_back({{data, data + size}, flags});
    const BOOL done = REAL(CryptImportKey)(provider, data, size, wrapping, flags, key);
    if (done) {
        Calls().keyOwners_[*key] = provider;
    }
    return done;
}

BOOL CryptDecrypt(HCRYPTKEY key, HCRYPTHASH hash, BOOL isFinal, DWORD flags, BYTE* data,
                  DWORD* size) {
    if (Refused("CryptDecrypt") || !REAL(CryptDecrypt)(key, hash, isFinal, flags, data, size)) {
        return FALSE;
    }
    *size = Calls().decryptedSize_.value_or(*size);
    return TRUE;
}

BOOL PFXIsPFXBlob(CRYPT_DATA_BLOB* document) {
    return Refused("PFXIsPFXBlob") ? FALSE : REAL(PFXIsPFXBlob)(document);
}

HCERTSTORE CertOpenStore(LPCSTR provider, DWORD encoding, HCRYPTPROV_LEGACY context, DWORD flags,
                         const void* parameter) {
    if (Refused("CertOpenStore")) {
        return nullptr;
    }
    HCERTSTORE const store = REAL(CertOpenStore)(provider, encoding, context, flags, parameter);
    Calls().Opened(&PlatformCalls::stores_, store != nullptr);
    return store;
}

BOOL CertCloseStore(HCERTSTORE store, DWORD flags) {
    const BOOL done = REAL(CertCloseStore)(store, flags);
    Calls().Closed(&PlatformCalls::stores_, done && store != nullptr);
    Calls().Released(done != FALSE);
    return done;
}

PCCERT_CONTEXT CertCreateCertificateContext(DWORD encoding, const BYTE* data, DWORD size) {
    return Refused("CertCreateCertificateContext")
               ? nullptr
               : Counted(REAL(CertCreateCertificateContext)(encoding, data, size));
}

PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT context) {
    return Refused("CertDuplicateCertificateContext")
               ? nullptr
               : Counted(REAL(CertDuplicateCertificateContext)(context));
}

BOOL CertFreeCertificateContext(PCCERT_CONTEXT context) {
    CountAsFreed(context);
    const BOOL done = REAL(CertFreeCertificateContext)(context);
    Calls().Released(done != FALSE);
    return done;
}

BOOL CertAddCertificateContextToStore(HCERTSTORE store, PCCERT_CONTEXT context, DWORD disposition,
                                      PCCERT_CONTEXT* added) {
    return Refused("CertAddCertificateContextToStore", {disposition, true})
               ? FALSE
               : REAL(CertAddCertificateContextToStore)(store, context, disposition, added);
}

PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous) {
    if (Refused("CertEnumCertificatesInStore")) {
        CertFreeCertificateContext(previous);
        return nullptr;
    }
    CountAsFreed(previous);
    return Counted(REAL(CertEnumCertificatesInStore)(store, previous));
}

BOOL CertCompareCertificate(DWORD encoding, PCERT_INFO one, PCERT_INFO other) {
    return Refused("CertCompareCertificate") ? FALSE
                                             : REAL(CertCompareCertificate)(encoding, one, other);
}

BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT context, DWORD property, void* data,
                                       DWORD* size) {
    const bool isRefused =
        Refused("CertGetCertificateContextProperty", {property, data != nullptr});
    if (!Calls().property_) {
        return isRefused ? FALSE
                         : REAL(CertGetCertificateContextProperty)(context, property, data, size);
    }
    *size = static_cast<DWORD>(Calls().property_->size());
    if (data != nullptr) {
        std::copy_n(Calls().property_->data(), *size, static_cast<BYTE*>(data));
    }
    return isRefused ? FALSE : TRUE;
}

BOOL CertSetCertificateContextProperty(PCCERT_CONTEXT context, DWORD property, DWORD flags,
                                       const void* data) {
    return Refused("CertSetCertificateContextProperty")
               ? FALSE
               : REAL(CertSetCertificateContextProperty)(context, property, flags, data);
}

PCCERT_CONTEXT CertGetIssuerCertificateFromStore(HCERTSTORE store, PCCERT_CONTEXT subject,
                                                 PCCERT_CONTEXT previous, DWORD* flags) {
    if (Refused("CertGetIssuerCertificateFromStore", {*flags, true})) {
        CertFreeCertificateContext(previous);
        return nullptr;
    }
    CountAsFreed(previous);
    return Counted(REAL(CertGetIssuerCertificateFromStore)(store, subject, previous, flags));
}

BOOL CryptHashCertificate(HCRYPTPROV_LEGACY provider, ALG_ID algorithm, DWORD flags,
                          const BYTE* data, DWORD size, BYTE* hash, DWORD* hashSize) {
    return Refused("CryptHashCertificate")
               ? FALSE
               : REAL(CryptHashCertificate)(provider, algorithm, flags, data, size, hash, hashSize);
}

}  // extern "C"
