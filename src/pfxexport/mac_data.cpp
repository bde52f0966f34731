#include "pfxexport/mac_data.h"

#include <array>
#include <utility>

#include "derlist/der_queries.h"
#include "derlist/element_runs.h"
#include "pfxcrypto/handle_guards.h"
#include "pfxcrypto/pfx_constants.h"
#include "pfxcrypto/pfx_mac.h"
#include "pfxcrypto/runtime_random.h"
#include "pfxexport/failure.h"
#include "pfxexport/list_building.h"

namespace pkisdk {

namespace {

constexpr std::uint32_t kAuthenticatedSafeIndex = 6;
constexpr std::uint32_t kIterationsWhenAbsent = 1;
// More than chance ever asks for.
constexpr int kAttempts = 8;

// Whether the provider has the hash, whose size is not used.
Failure TryHash(HCRYPTPROV provider, ALG_ID hashAlgorithm) {
    ProviderHash hash;
    DWORD hashSize = 0;
    DWORD size = sizeof hashSize;
    const bool isThere =
        CryptCreateHash(provider, hashAlgorithm, 0, 0, hash.Put()) &&
        CryptGetHashParam(hash.Get(), HP_HASHSIZE, reinterpret_cast<BYTE*>(&hashSize), &size, 0);
    return isThere ? kSuccess : FailWithLastError();
}

// Two octets whatever the count: no leading zero keeps a high one from reading as negative.
Blob IterationOctets(std::uint32_t iterations) {
    const std::array<std::uint8_t, 2> octets{static_cast<std::uint8_t>(iterations >> 8),
                                             static_cast<std::uint8_t>(iterations)};
    return Blob(octets.data(), octets.size());
}

// The list's parser opens what reads as elements, and a reader then finds neither value nor salt at
// the document's end. About one in a thousand does.
Failure MakeMac(const DerList& list, const char* password, HCRYPTPROV provider,
                ALG_ID hashAlgorithm, ALG_ID keyAlgorithm, std::uint32_t iterations, Blob* salt,
                Blob* value) {
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        MakeMacSalt(kSaltSize, salt);
        if (LooksLikeDer(salt->Bytes())) {
            continue;
        }
        // Without a node to cover the list stays empty, and the MAC's own step refuses it.
        DerList covered;
        ParseSubtree(list, kAuthenticatedSafeIndex, &covered);
        *value = *salt;
        if (ComputePfxMac(std::move(covered), password, provider, hashAlgorithm, keyAlgorithm,
                          iterations, value) == 0) {
            return FailWithLastError();
        }
        if (!LooksLikeDer(value->Bytes())) {
            return kSuccess;
        }
    }
    return FailWith(NTE_BAD_DATA);
}

Failure AppendMacData(const char* password, HCRYPTPROV provider, ALG_ID hashAlgorithm,
                      ALG_ID keyAlgorithm, std::uint32_t iterations, DerList* list) {
    if (list == nullptr || provider == 0) {
        return FailWith(NTE_BAD_DATA);
    }
    if (AddMacDataHeader(hashAlgorithm, list) == 0) {
        return FailWithLastError();
    }
    SeedRuntimeRandom();
    if (const Failure noHash = TryHash(provider, hashAlgorithm)) {
        return noHash;
    }
    const std::uint32_t count = iterations == 0 ? kDefaultIterations : iterations;
    Blob salt;
    Blob value;
    if (const Failure failure =
            MakeMac(*list, password, provider, hashAlgorithm, keyAlgorithm, count, &salt, &value)) {
        return failure;
    }
    AppendNode(list, 3, kOctetStringTag, std::move(value));
    AppendNode(list, 2, kOctetStringTag, std::move(salt));
    if (count != kIterationsWhenAbsent) {
        AppendNode(list, 2, kIntegerTag, IterationOctets(count));
    }
    return kSuccess;
}

}  // namespace

int AddMacDataHeader(ALG_ID hashAlgorithm, DerList* list) {
    AppendNode(list, 1, kSequenceTag);  // MacData
    AppendNode(list, 2, kSequenceTag);  // DigestInfo
    AppendNode(list, 3, kSequenceTag);
    const PCCRYPT_OID_INFO info =
        CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &hashAlgorithm, CRYPT_HASH_ALG_OID_GROUP_ID);
    Blob oid;
    const bool isKnown =
        info != nullptr && info->pszOID != nullptr && OidTextToBlob(info->pszOID, &oid) != 0;
    if (isKnown) {
        AppendNode(list, 4, kObjectIdTag, std::move(oid));
    }
    return Answer(isKnown ? kSuccess : FailWith(NTE_BAD_ALGID));
}

int AddPfxMacData(const char* password, HCRYPTPROV provider, ALG_ID hashAlgorithm,
                  ALG_ID keyAlgorithm, std::uint32_t iterations, DerList* list) {
    return Answer(AppendMacData(password, provider, hashAlgorithm, keyAlgorithm, iterations, list));
}

}  // namespace pkisdk
