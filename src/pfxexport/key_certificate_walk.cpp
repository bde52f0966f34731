#include "pfxexport/key_certificate_walk.h"

#include <cstdlib>

#include "pfxexport/failure.h"

namespace pkisdk {

namespace {

Failure ReadRecord(PCCERT_CONTEXT certificate, DWORD size, KeyRecord* record) {
    record->reset(static_cast<CRYPT_KEY_PROV_INFO*>(std::malloc(size)));
    // That there was no memory is told in the same way as the end of the store.
    if (*record == nullptr) {
        return FailWith(ERROR_NO_MORE_ITEMS);
    }
    return CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, record->get(),
                                             &size)
               ? kSuccess
               : FailWithLastError();
}

Blob Thumbprint(const CERT_CONTEXT& certificate) {
    constexpr DWORD kSha1Size = 20;
    Blob hash(kSha1Size);
    DWORD size = kSha1Size;
    // It stays zero where it can't be had: nothing depends on it.
    CryptHashCertificate(0, CALG_SHA1, 0, certificate.pbCertEncoded, certificate.cbCertEncoded,
                         hash.GetData(), &size);
    return hash;
}

}  // namespace

bool KeyCertificateWalk::MoveNext() {
    if (store_ == nullptr) {
        return false;
    }
    do {
        current_ = CertContext(CertEnumCertificatesInStore(store_, current_.release()));
    } while (current_ && !CertGetCertificateContextProperty(
                             current_.Get(), CERT_KEY_PROV_INFO_PROP_ID, nullptr, &recordSize_));
    return static_cast<bool>(current_);
}

int KeyCertificateWalk::Select(PCRYPT_KEY_PROV_INFO* info, Blob* thumbprint,
                               PCCERT_CONTEXT* certificate) {
    KeyRecord record;
    const Failure failure = ReadRecord(current_.Get(), recordSize_, &record);
    if (!failure) {
        *thumbprint = Thumbprint(*current_.Get());
        // The walk's own reference to a selected certificate stays for good, and is not the
        // caller's: the walk goes on from another.
        *certificate = CertDuplicateCertificateContext(current_.Get());
        current_ = CertContext(CertDuplicateCertificateContext(current_.release()));
        *info = record.release();
    }
    return Answer(failure);
}

int SelectKeyCertificate(HCERTSTORE store, std::int32_t index, PCRYPT_KEY_PROV_INFO* info,
                         Blob* thumbprint, PCCERT_CONTEXT* certificate) {
    KeyCertificateWalk walk(store);
    bool isFound = index > 0;
    for (std::int32_t count = 0; isFound && count < index; ++count) {
        isFound = walk.MoveNext();
    }
    return isFound ? walk.Select(info, thumbprint, certificate)
                   : Answer(FailWith(ERROR_NO_MORE_ITEMS));
}

}  // namespace pkisdk
