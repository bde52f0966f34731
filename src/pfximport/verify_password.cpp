#include "pfximport/verify_password.h"

#include <algorithm>
#include <string>
#include <utility>

#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "pfxcrypto/handle_guards.h"
#include "pfxcrypto/pfx_constants.h"
#include "pfxcrypto/pfx_mac.h"
#include "pfxcrypto/provider_lookup.h"
#include "pfximport/mac_data_walk.h"
#include "pfximport/mac_match.h"

namespace pkisdk {

namespace {

constexpr std::uint8_t kInteger = 0x02;
constexpr std::uint8_t kOctetString = 0x04;
constexpr std::uint32_t kIterationsWhenAbsent = 1;

// The fields of a MacData, as they are taken from the document's tail.
struct MacFields {
    std::uint32_t iterations = kIterationsWhenAbsent;
    Blob salt;
    Blob mac;
};

// The count may be absent, so a last node that can't be one is left for the salt's step. A count of
// five bytes is none either, and that step refuses it.
void TakeIterations(DerList* list, const DerNodeView& last, std::uint32_t* iterations) {
    const std::uint64_t size = last.content.GetSize();
    if (last.tag != kInteger || last.depth != 2 || size < 1 || size > 4) {
        return;
    }
    *iterations = 0;
    for (const std::uint8_t octet : last.content.Bytes()) {
        *iterations = *iterations << 8 | octet;
    }
    DropLastDerNode(list);
}

bool TakeOctetString(DerList* list, std::int32_t depth, Blob* content) {
    DerNodeView last;
    if (PeekLastDerNode(*list, &last) == 0 || last.tag != kOctetString || last.depth != depth ||
        last.content.IsEmpty()) {
        return false;
    }
    *content = std::move(last.content);
    DropLastDerNode(list);
    return true;
}

// Steps back over the count, the salt and the value. False when the tail is no MacData.
bool TakeMacFields(DerList* list, MacFields* fields) {
    DerNodeView last;
    if (PeekLastDerNode(*list, &last) == 0) {
        return false;
    }
    TakeIterations(list, last, &fields->iterations);
    return TakeOctetString(list, 2, &fields->salt) && TakeOctetString(list, 3, &fields->mac);
}

// What remains of MacData is the digest algorithm. Which ones there are, only the platform's table
// says: a miss ends the verification with the word that the lookup left, also when that is 0.
bool FindDigest(const DerList& list, ALG_ID* algorithm, DWORD* error) {
    DerList macData;
    std::string oid;
    if (ExtractMacDataAsList(list, &macData) == 0 || GetFirstOidText(&macData, &oid) == 0) {
        *error = static_cast<DWORD>(NTE_BAD_DATA);
        return false;
    }
    const PCCRYPT_OID_INFO info = CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, oid.data(), 0);
    if (info == nullptr) {
        *error = GetLastError();
        return false;
    }
    *algorithm = info->Algid;
    return true;
}

DWORD CompareMac(const DerList& list, const char* password, ALG_ID hashAlgorithm,
                 const MacFields& fields) {
    ProviderContext provider;
    if (!CryptAcquireContextA(provider.Put(), nullptr, kProviderName,
                              FindProviderType(kProviderName), CRYPT_VERIFYCONTEXT)) {
        return GetLastError();
    }
    // Without a node to cover the list stays empty, and the MAC's own step refuses it.
    DerList covered;
    ExtractAuthSafeAsList(list, &covered);
    Blob value = fields.salt;
    if (ComputePfxMac(std::move(covered), password, provider.Get(), hashAlgorithm, kGost28147,
                      fields.iterations, &value) == 0) {
        return GetLastError();
    }
    return IsDocumentMac(value, fields.mac) ? 0 : static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD);
}

// Answers the error word, 0 when the password fits.
DWORD Verify(const char* password, const IBlob* document) {
    if (document == nullptr) {
        return static_cast<DWORD>(NTE_BAD_DATA);
    }
    // A parse that failed leaves a list that the steps from here on refuse.
    DerList list;
    ParseDerList(document->GetData(), static_cast<std::int32_t>(document->GetSize()), &list);
    MacFields fields;
    if (!TakeMacFields(&list, &fields)) {
        return static_cast<DWORD>(NTE_BAD_DATA);
    }
    ALG_ID hashAlgorithm = 0;
    DWORD error = 0;
    if (!FindDigest(list, &hashAlgorithm, &error)) {
        return error;
    }
    return CompareMac(list, password, hashAlgorithm, fields);
}

}  // namespace

int VerifyPfxPassword(const char* password, const IBlob* document,
                      [[maybe_unused]] const char* providerName) {
    const DWORD error = Verify(password, document);
    SetLastError(error);
    return error == 0 ? 1 : 0;
}

}  // namespace pkisdk
