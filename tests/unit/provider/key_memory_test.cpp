// Where private values are in memory, and when. They come into this process encrypted alone:
// another process makes the blob, so that what is found was left by the provider.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "platform/csp_parameters.h"
#include "provider/gost_key.h"
#include "provider/secret_bytes.h"
#include "support/hex.h"
#include "support/key_context.h"
#include "support/memory_search.h"
#include "support/program_output.h"

namespace {

using provider::SecretBytes;
using test_support::ContainerHome;
using test_support::KeyContext;
using test_support::Sought;
using Bytes = std::vector<BYTE>;

struct Secret {
    // The private key, every bit turned.
    Bytes inverted;
    // Its blob under the session key that a KeyContext makes.
    Bytes blob;
};

// From the output of print_wrapped_key.
Secret ReceiveSecret(std::size_t index) {
    std::istringstream output(
        test_support::OutputOf("\"" MVLPFX_PRINT_WRAPPED_KEY "\" " + std::to_string(index)));
    std::string inverted;
    std::string blob;
    output >> inverted >> blob;
    return {test_support::FromHex(inverted), test_support::FromHex(blob)};
}

// By the places of the keys in the vectors: 2001, 2012 with 256 bits, 2012 with 512 bits.
class PrivateValue : public testing::TestWithParam<std::size_t> {
  protected:
    ContainerHome home_;
    const Secret secret_ = ReceiveSecret(GetParam());
    const Sought sought_{secret_.inverted};
};

// Shows that the search would find one.
TEST_P(PrivateValue, IsFoundWhileItIsHeldAndNotAfter) {
    ASSERT_FALSE(sought_.IsInMemory());
    auto held = std::make_unique<SecretBytes>(secret_.inverted.size());
    for (std::size_t i = 0; i < held->size(); ++i) {
        held->data()[i] = static_cast<BYTE>(~secret_.inverted[i]);
    }
    EXPECT_TRUE(sought_.IsInMemory());
    std::reverse(held->View().begin(), held->View().end());
    EXPECT_TRUE(sought_.IsInMemory());
    std::fill_n(held->data(), held->size() / 2, BYTE{0});
    EXPECT_TRUE(sought_.IsInMemory());
    held.reset();
    EXPECT_FALSE(sought_.IsInMemory());
}

TEST_P(PrivateValue, IsInMemoryForNoLongerThanACallOnItsKey) {
    const KeyContext context("mine", CRYPT_NEWKEYSET);
    const HCRYPTKEY session = context.SessionKey();
    const HCRYPTKEY key = context.Import(secret_.blob, session, CRYPT_EXPORTABLE);
    EXPECT_FALSE(sought_.IsInMemory()) << "after the import";
    context.Set(PP_SIGNATURE_PIN, "a PIN");
    EXPECT_FALSE(sought_.IsInMemory()) << "after the setting of a PIN";
    const Bytes again = context.ExportPrivate(key, session);
    EXPECT_FALSE(sought_.IsInMemory()) << "after the export";
    const DWORD algorithm = context.Number(key, KP_ALGID);
    const ALG_ID digest = algorithm == 0x2E23 ? 0x801E : algorithm == 0x2E49 ? 0x8021 : 0x8022;
    const HCRYPTHASH hash = context.HashOf(digest, "message");
    const Bytes signature = context.Sign(hash, AT_KEYEXCHANGE);
    EXPECT_FALSE(sought_.IsInMemory()) << "after the signature";
    EXPECT_TRUE(context.Verify(hash, signature, key));
    ASSERT_TRUE(CPDestroyKey(context.Get(), key));
    EXPECT_FALSE(sought_.IsInMemory()) << "after the key's release";
    HCRYPTKEY none = 0;
    EXPECT_FALSE(CPImportKey(context.Get(), again.data(), static_cast<DWORD>(again.size()) - 1,
                             session, 0, &none));
    EXPECT_FALSE(sought_.IsInMemory()) << "after an import that failed";
}

INSTANTIATE_TEST_SUITE_P(EveryFamily, PrivateValue, testing::Values(1, 7, 16));

// A PIN in printable characters, every bit turned.
Bytes RandomPin() {
    std::random_device random;
    Bytes inverted(32);
    for (BYTE& octet : inverted) {
        octet = static_cast<BYTE>(~('!' + random() % 94));
    }
    return inverted;
}

BOOL Present(const KeyContext& context, const Bytes& inverted) {
    SecretBytes pin(inverted.size() + 1);
    std::transform(inverted.begin(), inverted.end(), pin.data(),
                   [](BYTE octet) { return static_cast<BYTE>(~octet); });
    return CPSetProvParam(context.Get(), PP_SIGNATURE_PIN, pin.data(), 0);
}

TEST(Pin, IsInMemoryForNoLongerThanItsCaller) {
    const ContainerHome home;
    const Bytes inverted = RandomPin();
    const Sought sought(inverted);
    {
        const KeyContext context("mine", CRYPT_NEWKEYSET);
        context.Generate(AT_KEYEXCHANGE);
        ASSERT_TRUE(Present(context, inverted));
        EXPECT_FALSE(sought.IsInMemory()) << "after it was set";
    }
    const KeyContext context("mine");
    const HCRYPTHASH hash = context.HashOf(test_support::kStreebog256, "message");
    EXPECT_FALSE(Present(context, RandomPin()));
    ASSERT_TRUE(Present(context, inverted));
    EXPECT_FALSE(sought.IsInMemory()) << "after it was presented";
    context.Sign(hash, AT_KEYEXCHANGE);
    EXPECT_FALSE(sought.IsInMemory()) << "after a signature";
}

}  // namespace
