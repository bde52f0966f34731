// Where private values are in memory, and when. They come into this process encrypted alone: a
// child process makes the blob, so that what is found was left by the provider.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "platform/csp_parameters.h"
#include "provider/gost_key.h"
#include "provider/secret_bytes.h"
#include "support/key_context.h"
#include "support/key_vectors.h"
#include "support/memory_search.h"

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

void WriteAll(int file, const Bytes& octets) {
    if (write(file, octets.data(), octets.size()) != static_cast<ssize_t>(octets.size())) {
        _exit(1);
    }
}

[[noreturn]] void SendSecret(int file, std::size_t index) {
    const test_support::KeyVector vector = test_support::ReadKeyVectors().at(index);
    Bytes inverted = vector.privateKey;
    inverted.resize(inverted.size() <= 32 ? 32 : 64);
    for (BYTE& octet : inverted) {
        octet = static_cast<BYTE>(~octet);
    }
    const KeyContext context(nullptr, CRYPT_VERIFYCONTEXT);
    const Bytes blob = context.WrapKey(vector.privateKeyInfo, context.SessionKey());
    WriteAll(file, {static_cast<BYTE>(inverted.size())});
    WriteAll(file, inverted);
    WriteAll(file, blob);
    _exit(0);
}

Secret ReceiveSecret(std::size_t index) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        SendSecret(ends[1], index);
    }
    close(ends[1]);
    Bytes sent(4096);
    std::size_t size = 0;
    for (ssize_t got = 1; got > 0; size += static_cast<std::size_t>(got)) {
        got = read(ends[0], sent.data() + size, sent.size() - size);
    }
    close(ends[0]);
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    const auto middle = sent.begin() + 1 + sent[0];
    return {Bytes(sent.begin() + 1, middle),
            Bytes(middle, sent.begin() + static_cast<std::ptrdiff_t>(size))};
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

}  // namespace
