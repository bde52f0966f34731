#include <gtest/gtest.h>

#include <mutex>
#include <vector>

#include "platform/cryptoapi.h"
#include "support/csp_guards.h"
#include "support/hex.h"
#include "support/in_threads.h"
#include "support/scoped_environment.h"

namespace {

using test_support::Hash;
using test_support::InThreads;
using test_support::Key;
using test_support::kGost94;
using test_support::kStreebog512;
using test_support::Octets;
using test_support::VerifyContext;

constexpr int kThreads = 8;
constexpr int kRounds = 300;

class Threads : public testing::Test {
  protected:
    test_support::ScopedSettings settings_;
};

TEST_F(Threads, ShareAContextAndAKeyWhoseValueStaysTheSame) {
    const VerifyContext context;
    const Key key(context, Octets("secret"));
    const auto expected94 = Hash(context, key, kGost94).Add(Octets("data")).Value();
    const auto expected512 = Hash(context, key, kStreebog512).Add(Octets("data")).Value();
    InThreads(kThreads, [&](int thread) {
        for (int i = 0; i < kRounds; ++i) {
            const bool is94 = (thread + i) % 2 == 0;
            Hash hash(context, key, is94 ? kGost94 : kStreebog512);
            ASSERT_EQ(hash.Add(Octets("data")).Value(), is94 ? expected94 : expected512);
        }
    });
}

TEST_F(Threads, WorkInContextsOfTheirOwn) {
    InThreads(kThreads, [](int thread) {
        for (int i = 0; i < kRounds; ++i) {
            const VerifyContext context;
            const Key key(context, Octets(std::string(static_cast<std::size_t>(thread + 1), 'k')));
            const auto once = Hash(context, key, kGost94).Add(Octets("data")).Value();
            ASSERT_EQ(Hash(context, key, kGost94).Add(Octets("data")).Value(), once);
        }
    });
}

TEST_F(Threads, DestroyWhatOthersMade) {
    const VerifyContext context;
    std::mutex mutex;
    std::vector<HCRYPTHASH> made;
    InThreads(kThreads, [&](int) {
        for (int i = 0; i < kRounds; ++i) {
            HCRYPTHASH hash = 0;
            ASSERT_TRUE(CryptCreateHash(context.Get(), kGost94, 0, 0, &hash));
            const std::lock_guard lock(mutex);
            made.push_back(hash);
            if (made.size() > 10) {
                ASSERT_TRUE(CryptDestroyHash(made.front()));
                made.erase(made.begin());
            }
        }
    });
    for (const HCRYPTHASH hash : made) {
        EXPECT_TRUE(CryptDestroyHash(hash));
    }
}

// Against the rules, and so without any promise but that each call answers.
TEST_F(Threads, SurviveAHashThatSeveralUseAtOnce) {
    const VerifyContext context;
    const Key key(context, Octets("secret"));
    for (int round = 0; round < kRounds / 10; ++round) {
        HCRYPTHASH hash = 0;
        ASSERT_TRUE(CryptCreateHash(context.Get(), CALG_HMAC, key.Get(), 0, &hash));
        InThreads(kThreads, [&](int thread) {
            HMAC_INFO info{};
            info.HashAlgid = thread % 2 == 0 ? kGost94 : kStreebog512;
            CryptSetHashParam(hash, HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info), 0);
            const std::vector<BYTE> data(static_cast<std::size_t>(thread) * 37 + 1);
            for (int i = 0; i < 20; ++i) {
                CryptHashData(hash, data.data(), static_cast<DWORD>(data.size()), 0);
            }
            BYTE value[64];
            DWORD size = sizeof(value);
            CryptGetHashParam(hash, HP_HASHVAL, value, &size, 0);
            if (thread == 0) {
                CryptDestroyHash(hash);
            }
        });
        CryptDestroyHash(hash);
    }
}

TEST_F(Threads, SurviveAContextThatIsReleasedUnderTheirHands) {
    for (int round = 0; round < kRounds / 10; ++round) {
        HCRYPTPROV context = 0;
        ASSERT_TRUE(CryptAcquireContextA(&context, nullptr, test_support::kProviderName,
                                         test_support::kProviderType, CRYPT_VERIFYCONTEXT));
        InThreads(kThreads, [context](int thread) {
            for (int i = 0; i < 50; ++i) {
                HCRYPTHASH hash = 0;
                BYTE data[100] = {};
                if (CryptCreateHash(context, kGost94, 0, 0, &hash)) {
                    CryptHashData(hash, data, sizeof(data), 0);
                    CryptDestroyHash(hash);
                }
                if (thread == 0 && i == 25) {
                    EXPECT_TRUE(CryptReleaseContext(context, 0));
                }
            }
        });
    }
}

}  // namespace
