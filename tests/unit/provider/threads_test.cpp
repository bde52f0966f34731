// Keys of one context, used by eight threads at once.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/key_context.h"
#include "support/last_error.h"

namespace {

using test_support::ContainerHome;
using test_support::KeyContext;
using Bytes = std::vector<BYTE>;

constexpr int kThreads = 8;
constexpr int kRounds = 6;

template <typename Work>
void RunInThreads(Work work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&work, i] { work(i); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

class KeyThreads : public testing::Test {
  protected:
    ContainerHome home_;
    KeyContext context_{"mine", CRYPT_NEWKEYSET};
};

TEST_F(KeyThreads, SignAndVerifyWhileAnotherSlotsKeyIsReplaced) {
    const HCRYPTKEY shared = context_.Generate(AT_SIGNATURE, CRYPT_EXPORTABLE);
    const Bytes publicBlob = context_.ExportPublic(shared);
    RunInThreads([&](int number) {
        for (int round = 0; round < kRounds; ++round) {
            if (number % 4 == 0) {
                EXPECT_EQ(context_.Number(context_.Generate(AT_KEYEXCHANGE), KP_KEYLEN), 256U);
                continue;
            }
            const std::string message = std::to_string(number * kRounds + round);
            const HCRYPTHASH hash = context_.HashOf(0x8021, message);
            const Bytes signature = context_.Sign(hash, AT_SIGNATURE);
            EXPECT_TRUE(context_.Verify(hash, signature, shared));
            const HCRYPTKEY own = context_.UserKey(AT_SIGNATURE);
            EXPECT_EQ(context_.ExportPublic(own), publicBlob);
            EXPECT_TRUE(context_.Verify(context_.HashOf(0x8021, message), signature, own));
            EXPECT_TRUE(CPDestroyKey(context_.Get(), own));
        }
    });
    const HCRYPTHASH hash = context_.HashOf(0x8021, "last");
    EXPECT_TRUE(context_.Verify(hash, context_.Sign(hash, AT_KEYEXCHANGE),
                                context_.UserKey(AT_KEYEXCHANGE)));
}

TEST_F(KeyThreads, ExportAndImportUnderOneSessionKey) {
    const HCRYPTKEY key = context_.Generate(AT_SIGNATURE, CRYPT_EXPORTABLE);
    const HCRYPTKEY session = context_.SessionKey();
    const Bytes expected = context_.ExportPrivate(key, session);
    RunInThreads([&](int number) {
        const std::string name = "of" + std::to_string(number);
        const KeyContext mine(name.c_str(), CRYPT_NEWKEYSET);
        for (int round = 0; round < kRounds; ++round) {
            const Bytes blob = context_.ExportPrivate(key, session);
            EXPECT_EQ(blob, expected);
            const HCRYPTKEY own = mine.SessionKey();
            const HCRYPTKEY arrived = mine.Import(blob, own);
            EXPECT_EQ(mine.ExportPublic(arrived), context_.ExportPublic(key));
        }
    });
}

// Whoever comes too late is told so, and no other thread's key is taken for the old one.
TEST_F(KeyThreads, MeetAKeyThatIsReleasedMeanwhile) {
    context_.Generate(AT_SIGNATURE);
    std::atomic<HCRYPTKEY> shared{context_.UserKey(AT_SIGNATURE)};
    std::atomic<int> answers{0};
    RunInThreads([&](int number) {
        for (int round = 0; round < 50; ++round) {
            const HCRYPTKEY key = shared.load();
            DWORD algorithm = 0;
            DWORD size = sizeof(algorithm);
            SetLastError(0);
            if (CPGetKeyParam(context_.Get(), key, KP_ALGID, reinterpret_cast<BYTE*>(&algorithm),
                              &size, 0)) {
                EXPECT_EQ(algorithm, 0x2E49U);
                ++answers;
            } else {
                EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_KEY));
            }
            if (number == 0) {
                shared = context_.UserKey(AT_SIGNATURE);
                EXPECT_TRUE(CPDestroyKey(context_.Get(), key));
            }
        }
    });
    EXPECT_GT(answers, 0);
}

}  // namespace
