// UzRestorePFX over a provider whose containers are in memory. The first octet tells what the rest
// is and the flags of the restore: a whole document; the bags of one, encrypted here, so that
// mutations reach them; or a private key, encrypted here too. Whatever it is, what is left of the
// restore is whole: containers open, with a key that signs or none, and handles are closed.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "mvlpfx/mvlpfx.h"
#include "support/containers_in_csp.h"
#include "support/der_mutator.h"
#include "support/platform_calls.h"
#include "support/provider_in_memory.h"
#include "support/safe_bags.h"

namespace {

using test_support::Bytes;
using test_support::PlatformCalls;

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

enum Kind : unsigned { kDocument, kBags, kPrivateKey, kKinds };
constexpr unsigned kExportable = 0x40;
constexpr unsigned kMachine = 0x80;

// Two octets of length, so many of the certificates' bags, and the bags of keys.
Bytes DocumentOfBags(const Bytes& rest) {
    if (rest.size() < 2) {
        return {};
    }
    const std::size_t size = std::min<std::size_t>(rest[0] * 256U + rest[1], rest.size() - 2);
    const auto middle = rest.begin() + 2 + static_cast<std::ptrdiff_t>(size);
    return test_support::DocumentOf(
        {test_support::EncryptedContentInfo({Bytes(rest.begin() + 2, middle)}),
         test_support::PlainContentInfo({Bytes(middle, rest.end())})});
}

Bytes DocumentOfPrivateKey(const Bytes& privateKey) {
    const std::vector<Bytes> id = {test_support::LocalKeyId({1, 0, 0, 0})};
    test_support::KeyBag key;
    key.privateKey = privateKey;
    key.attributes = id;
    const test_support::CertificateBag certificate{test_support::MakeCertificate("leaf", "ca"), id};
    return test_support::DocumentOf({test_support::EncryptedContentInfo({certificate.Build()}),
                                     test_support::PlainContentInfo({key.Build()})});
}

unsigned KindOf(std::uint8_t first) {
    return (first & 0x3FU) % kKinds;
}

Bytes MakeDocument(unsigned kind, const Bytes& rest) {
    switch (kind) {
        case kBags:
            return DocumentOfBags(rest);
        case kPrivateKey:
            return DocumentOfPrivateKey(rest);
        default:
            return rest;
    }
}

// A bag that makes the restore throw may leave its context and its key open.
void RequireClosed(DWORD error) {
    PlatformCalls& calls = PlatformCalls::Get();
    const int allowed = error == static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT) ? 1 : 0;
    Require(calls.OpenContexts() <= allowed && calls.OpenKeys() <= allowed);
    Require(calls.OpenHashes() == 0 && calls.OpenCertificates() == 0 && calls.OpenStores() == 0);
    Require(calls.OpenRegistryKeys() == 0 && calls.OpenHeapBlocks() == 0);
    calls.ReleaseContexts();
}

}  // namespace

std::size_t OctetsBeforeDocument(std::span<const std::uint8_t> input) {
    return KindOf(input[0]) == kBags ? 3 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::LoadProviderInMemory();
    if (size == 0) {
        return 0;
    }
    const Bytes rest(data + 1, data + size);
    Bytes document = MakeDocument(KindOf(data[0]), rest);
    const DWORD flags = ((data[0] & kExportable) != 0 ? CRYPT_EXPORTABLE : 0U) |
                        ((data[0] & kMachine) != 0 ? CRYPT_MACHINE_KEYSET : 0U);
    const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    PlatformCalls::Get().Reset();
    HCERTSTORE const store = UzRestorePFX(&pfx, L"Password1", flags);
    const DWORD error = GetLastError();
    Require((store != nullptr) == (error == 0));
    Require(store == nullptr || CertCloseStore(store, CERT_CLOSE_STORE_CHECK_FLAG));
    RequireClosed(error);
    const test_support::ContainerCount containers = test_support::CountContainers();
    Require(containers.broken == 0);
    // Only the bag that ended the restore leaves its container without the key.
    Require(containers.empty <= (store != nullptr ? 0U : 1U));
    Require(test_support::DeleteContainers());
    return 0;
}
