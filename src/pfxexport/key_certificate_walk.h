// The certificates of a store that have a private key behind them.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "foundation/blob.h"
#include "pfxcrypto/handle_guards.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

struct FreeKeyRecord {
    void operator()(CRYPT_KEY_PROV_INFO* record) const { std::free(record); }
};
// A record from SelectKeyCertificate.
using KeyRecord = std::unique_ptr<CRYPT_KEY_PROV_INFO, FreeKeyRecord>;

// Goes through the certificates that SelectKeyCertificate numbers, in one pass over the store,
// which must stay open and should not change. It starts before the first one.
class KeyCertificateWalk {
  public:
    explicit KeyCertificateWalk(HCERTSTORE store) : store_(store) {}

    // To the next certificate that names a key; false at the end and for a null store.
    bool MoveNext();
    // What SelectKeyCertificate answers for the current certificate, which must exist.
    int Select(PCRYPT_KEY_PROV_INFO* info, Blob* thumbprint, PCCERT_CONTEXT* certificate);

  private:
    HCERTSTORE store_;
    CertContext current_;
    DWORD recordSize_ = 0;
};

// Finds number `index`, counted from 1 in store order, of the certificates that have
// CERT_KEY_PROV_INFO_PROP_ID. Hands out the record (freed with std::free), the certificate's SHA-1
// and a context (freed with CertFreeCertificateContext). Answers nonzero with last error 0; or 0
// with nothing handed out and the last error ERROR_NO_MORE_ITEMS, also for a null store and where
// there is no memory for the record, else what the store left when the record could not be read.
int SelectKeyCertificate(HCERTSTORE store, std::int32_t index, PCRYPT_KEY_PROV_INFO* info,
                         Blob* thumbprint, PCCERT_CONTEXT* certificate);

}  // namespace pkisdk
