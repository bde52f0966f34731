#include "pfxexport/cert_safe_contents.h"

#include <cstdint>
#include <span>

#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "pfxcrypto/handle_guards.h"
#include "pfxexport/failure.h"
#include "pfxexport/list_building.h"
#include "pfxexport/local_key_id.h"
#include "pfxexport/read_back.h"

namespace pkisdk {

namespace {

bool NamesKey(PCCERT_CONTEXT certificate) {
    DWORD size = 0;
    return CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr,
                                             &size) != FALSE;
}

bool IsDer(std::span<const std::uint8_t> bytes) {
    DerList list;
    return ParseDerList(bytes.data(), static_cast<std::int32_t>(bytes.size()), &list) != 0;
}

// False when the certificate is not DER.
bool AppendCertBag(const CERT_CONTEXT& certificate, DerList* list) {
    AppendNode(list, 1, kSequenceTag);
    AppendOid(list, 2, kCertBagOid);
    AppendNode(list, 2, kContext0Tag);
    AppendNode(list, 3, kSequenceTag);
    AppendOid(list, 4, kX509CertificateOid);
    AppendNode(list, 4, kContext0Tag);
    const std::span encoded(certificate.pbCertEncoded, certificate.cbCertEncoded);
    if (!ComesOutUnchanged(encoded)) {
        // Its nodes would write another certificate.
        AppendNode(list, 5, kOctetStringTag, Blob(encoded.data(), encoded.size()));
        return IsDer(encoded);
    }
    AppendNode(list, 5, kOctetStringTag);
    return AppendDerBytes(list, encoded.data(), certificate.cbCertEncoded, DER_APPEND_AS_CHILD) !=
           0;
}

void AppendLocalKeyId(std::uint32_t keyIndex, DerList* list) {
    AppendNode(list, 3, kSequenceTag);
    AppendOid(list, 4, kLocalKeyIdOid);
    AppendNode(list, 4, kSetTag);
    AppendNode(list, 5, kOctetStringTag, LocalKeyId(keyIndex));
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
        if (NamesKey(certificate.Get())) {
            AppendLocalKeyId(keyIndex++, list);
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
