#include "pfxexport/cert_safe_contents.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "derlist/der_header.h"
#include "derlist/der_queries.h"
#include "pfxcrypto/handle_guards.h"
#include "pfxexport/failure.h"
#include "pfxexport/list_building.h"
#include "pfxexport/local_key_id.h"
#include "pfxexport/read_back.h"

namespace pkisdk {

namespace {

constexpr std::uint8_t kConstructedBit = 0x20;

bool NamesKey(PCCERT_CONTEXT certificate) {
    DWORD size = 0;
    return CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr,
                                             &size) != FALSE;
}

// Whether the bytes are one element, and the content of every constructed one in it is elements.
bool IsDer(std::span<const std::uint8_t> bytes) {
    std::vector<std::size_t> ends;
    std::size_t at = 0;
    do {
        const std::size_t end = ends.empty() ? bytes.size() : ends.back();
        std::uint32_t length = 0;
        std::uint32_t total = 0;
        if (end - at < 2 || bytes[at] == 0 ||
            DecodeDerLength(bytes.subspan(at + 1, end - at - 1),
                            static_cast<std::uint32_t>(end - at - 1), &length, &total) == 0) {
            return false;
        }
        const bool isConstructed = (bytes[at] & kConstructedBit) != 0;
        at += std::size_t{1} + total;
        // A short length may claim one octet more than there is.
        if (at > end || (ends.empty() && at != end)) {
            return false;
        }
        ends.push_back(at);
        if (isConstructed) {
            at -= length;
        }
        while (!ends.empty() && at == ends.back()) {
            ends.pop_back();
        }
    } while (!ends.empty());
    return true;
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
        // Its nodes would write another certificate, or there are none.
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
