// Documents from random octets that the input chooses: salts, and with them initial vectors, cipher
// texts and MACs. Whatever they are, the document verifies, its key's bag reads, and, which costs
// most and is tried with one input in eight, it comes back as the certificates and keys that it was
// made of.
#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "asn/asn_object_readable.h"
#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "mvlpfx/mvlpfx.h"
#include "pfxcrypto/document_oids.h"
#include "schema/pfx_key_bag.h"
#include "support/containers_in_csp.h"
#include "support/one_key_store.h"
#include "support/platform_calls.h"
#include "support/safe_bags.h"
#include "support/store_content.h"

namespace {

using fuzz::kPassword;
using test_support::Bytes;
using test_support::PlatformCalls;
using test_support::StoreContent;

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// Both generators from here on give what follows from the input.
void ReplaceRandom(const Bytes& input) {
    std::seed_seq seed(input.begin(), input.end());
    std::mt19937 octets(seed);
    std::srand(static_cast<unsigned>(octets()));
    PlatformCalls::Get().ReplaceRandom([octets](std::span<BYTE> draw) mutable {
        for (BYTE& octet : draw) {
            octet = static_cast<BYTE>(octets());
        }
    });
}

// Throws where the bag can't be read.
void RequireKeyBag(const Bytes& document) {
    pkisdk::DerList list;
    Require(pkisdk::ParseDerList(document.data(), static_cast<std::int32_t>(document.size()),
                                 &list) != 0);
    pkisdk::DerList structure;
    Require(pkisdk::FindByOid(&list, pkisdk::kShroudedKeyBagOid, &structure) != 0);
    pkisdk::Blob bytes;
    pkisdk::FlattenSubtree(structure, 0, &bytes);
    PfxKeyBag bag;
    bag.DeserializeFromAsnObject(pkisdk::asn::AsnObjectReadable::FromBlob(bytes), "key bag");
    Require(bag.pfxKeyInfo.encrKey.GetSize() > 60);
}

void RequireRestore(const PfxBlob& pfx, const StoreContent& content) {
    HCERTSTORE const store = UzRestorePFX(&pfx, kPassword, CRYPT_EXPORTABLE | CRYPT_MACHINE_KEYSET);
    Require(store != nullptr);
    Require(test_support::ReadStore(store) == content);
    Require(CertCloseStore(store, 0));
    Require(test_support::DeleteContainers(CRYPT_MACHINE_KEYSET));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes input(data, data + size);
    const unsigned choice = input.empty() ? 0 : input[0];
    const fuzz::OneKeyStore& source = fuzz::ChooseStore(choice & 0x1FU);
    PlatformCalls::Get().Reset();
    ReplaceRandom(input);
    Bytes document = fuzz::Create(source.Get(), 0);
    PlatformCalls::Get().Reset();
    const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    Require(UzVerifyPswPFX(&pfx, kPassword));
    RequireKeyBag(document);
    if (choice < 0x20) {
        RequireRestore(pfx, source.Content());
    }
    return 0;
}
