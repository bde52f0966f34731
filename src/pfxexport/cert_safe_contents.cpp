#include "pfxexport/cert_safe_contents.h"

#include <cstdint>

#include "derlist/der_queries.h"
#include "derlist/round_trip.h"
#include "pfxcrypto/handle_guards.h"
#include "pfxexport/failure.h"
#include "pfxexport/list_building.h"
#include "pfxexport/local_key_id.h"

namespace pkisdk {

namespace {

bool NamesKey(PCCERT_CONTEXT certificate) {
    DWORD size = 0;
    return CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr,
                                             &size) != FALSE;
}

// False when the certificate is not DER, or when a reader would find another one in its place: the
// list's parser opens its octet strings where they read as elements, and may close them otherwise.
bool AppendCertBag(const CERT_CONTEXT& certificate, DerList* list) {
    AppendNode(list, 1, kSequenceTag);
    AppendOid(list, 2, kCertBagOid);
    AppendNode(list, 2, kContext0Tag);
    AppendNode(list, 3, kSequenceTag);
    AppendOid(list, 4, kX509CertificateOid);
    AppendNode(list, 4, kContext0Tag);
    AppendNode(list, 5, kOctetStringTag);
    DerList nodes;
    return ParseUnchanged({certificate.pbCertEncoded, certificate.cbCertEncoded}, &nodes) &&
           AppendDerList(list, &nodes, DER_APPEND_AS_CHILD) != 0;
}

// False for a number at whose octets a reader gives up: the first is 517, a NULL with content.
bool AppendLocalKeyId(std::uint32_t keyIndex, DerList* list) {
    DerList id;
    AppendNode(&id, 0, kOctetStringTag, LocalKeyId(keyIndex));
    Blob bytes;
    FlattenSubtree(id, 0, &bytes);
    AppendNode(list, 3, kSequenceTag);
    AppendOid(list, 4, kLocalKeyIdOid);
    AppendNode(list, 4, kSetTag);
    AppendDerList(list, &id, 5);
    return ComesOutUnchanged(bytes.Bytes());
}

Failure AppendCertBags(HCERTSTORE store, DerList* list) {
    AppendNode(list, 0, kSequenceTag);
    std::uint32_t keyIndex = 1;
    CertContext certificate(CertEnumCertificatesInStore(store, nullptr));
    while (certificate) {
        if (!AppendCertBag(*certificate.Get(), list)) {
            return FailWith(NTE_BAD_DATA);
        }
        // The attributes' set stands there also with nothing in it.
        AppendNode(list, 2, kSetTag);
        if (NamesKey(certificate.Get()) && !AppendLocalKeyId(keyIndex++, list)) {
            return FailWith(NTE_BAD_DATA);
        }
        certificate = CertContext(CertEnumCertificatesInStore(store, certificate.release()));
    }
    return kSuccess;
}

}  // namespace

int BuildCertSafeContents(HCERTSTORE store, IBlob* safeContents) {
    DerList list;
    const Failure failure =
        store == nullptr ? FailWith(NTE_BAD_DATA) : AppendCertBags(store, &list);
    if (!failure) {
        Blob bytes;
        FlattenSubtree(list, 0, &bytes);
        safeContents->Assign(bytes.GetData(), bytes.GetSize());
    }
    return Answer(failure);
}

}  // namespace pkisdk
