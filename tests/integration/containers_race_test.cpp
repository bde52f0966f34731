// Containers under several processes and threads at once.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "csp.h"
#include "provider/container_store.h"
#include "support/container_home.h"
#include "support/in_threads.h"

namespace {

using provider::Container;
using provider::ContainerScope;
using provider::KeyRecord;
using provider::SecretBytes;
using test_support::ContainerHome;
using test_support::InThreads;

constexpr int kThreads = 8;

// Starts several copies of this process at one moment; answers what each of them answered.
template <typename Work>
std::vector<int> InProcesses(int count, Work work) {
    std::array<int, 2> gate{};
    EXPECT_EQ(pipe(gate.data()), 0);
    std::vector<pid_t> children;
    for (int i = 0; i != count; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            close(gate[1]);
            char octet = 0;
            // Ends when the other side is closed for all.
            static_cast<void>(!read(gate[0], &octet, 1));
            _exit(work(i));
        }
        children.push_back(child);
    }
    close(gate[0]);
    close(gate[1]);
    std::vector<int> answers;
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        answers.push_back(WIFEXITED(status) ? WEXITSTATUS(status) : 1000);
    }
    return answers;
}

HRESULT Create(const std::string& name, std::shared_ptr<Container>* made) {
    return provider::CreateContainer(ContainerScope::kUser, name.c_str(), true, made);
}

std::shared_ptr<Container> Open(const std::string& name) {
    std::shared_ptr<Container> opened;
    EXPECT_EQ(provider::OpenContainer(ContainerScope::kUser, name.c_str(), true, &opened), S_OK);
    return opened;
}

HRESULT WriteKey(Container& container, DWORD keySpec, BYTE octet) {
    const std::vector<BYTE> key(100, octet);
    return container.WriteKey(keySpec, {0x2E49, octet, key, {}}, key);
}

// All octets of both keys are those of one writing.
void ExpectWholeKey(const Container& container, DWORD keySpec) {
    SecretBytes secret;
    ASSERT_EQ(container.ReadPrivateKey(keySpec, &secret), S_OK);
    EXPECT_EQ(secret.size(), 100U);
    EXPECT_TRUE(std::ranges::all_of(secret.View(), [&](BYTE b) { return b == *secret.data(); }));
}

TEST(ContainersOfProcesses, HaveOneWinnerForAName) {
    const ContainerHome home;
    for (int round = 0; round != 200; ++round) {
        const std::string name = "name " + std::to_string(round);
        std::vector<int> answers = InProcesses(2, [&](int) {
            std::shared_ptr<Container> made;
            const HRESULT status = Create(name, &made);
            return status == S_OK ? 1 : status == NTE_EXISTS ? 2 : 3;
        });
        std::ranges::sort(answers);
        ASSERT_EQ(answers, (std::vector<int>{1, 2})) << round;
        EXPECT_NE(Open(name), nullptr);
    }
    EXPECT_EQ(home.FilesOfUser().size(), 200U);
}

TEST(ContainersOfProcesses, LoseNothingThatEitherWrites) {
    const ContainerHome home;
    for (int round = 0; round != 50; ++round) {
        const std::string name = "name " + std::to_string(round);
        std::shared_ptr<Container> container;
        ASSERT_EQ(Create(name, &container), S_OK);
        const std::vector<int> answers = InProcesses(2, [&](int i) {
            const DWORD keySpec = i == 0 ? AT_KEYEXCHANGE : AT_SIGNATURE;
            return WriteKey(*container, keySpec, static_cast<BYTE>(1 + i)) == S_OK ? 0 : 1;
        });
        ASSERT_EQ(answers, (std::vector<int>{0, 0}));
        ExpectWholeKey(*container, AT_KEYEXCHANGE);
        ExpectWholeKey(*container, AT_SIGNATURE);
    }
}

TEST(ContainersOfProcesses, TakeOneOfTwoPinsAndRefuseTheOther) {
    const ContainerHome home;
    for (int round = 0; round != 4; ++round) {
        const std::string name = "name " + std::to_string(round);
        std::shared_ptr<Container> container;
        ASSERT_EQ(Create(name, &container), S_OK);
        std::vector<int> answers = InProcesses(2, [&](int i) {
            const BYTE pin[] = {'1', static_cast<BYTE>('0' + i)};
            const HRESULT status = container->PresentPin(pin);
            return status == S_OK ? 1 : status == SCARD_W_WRONG_CHV ? 2 : 3;
        });
        std::ranges::sort(answers);
        ASSERT_EQ(answers, (std::vector<int>{1, 2})) << round;
    }
}

// Through the provider's entry points: each thread makes, opens, lists and deletes.
TEST(ContainersOfThreads, AreMadeOpenedListedAndDeleted) {
    const ContainerHome home;
    const auto acquire = [](const std::string& name, DWORD flags) -> HCRYPTPROV {
        VTableProvStruc caller{};
        HCRYPTPROV context = 0;
        return CPAcquireContext(&context, name.c_str(), flags, &caller) ? context : 0;
    };
    std::atomic<int> sharedMade = 0;
    InThreads(kThreads, [&](int thread) {
        for (int round = 0; round != 10; ++round) {
            const std::string name = std::to_string(thread) + " " + std::to_string(round);
            const HCRYPTPROV made = acquire(name, CRYPT_NEWKEYSET);
            ASSERT_NE(made, 0U);
            if (const HCRYPTPROV shared = acquire("shared", CRYPT_NEWKEYSET); shared != 0) {
                ++sharedMade;
                CPReleaseContext(shared, 0);
            }
            const HCRYPTPROV opened = acquire(name, 0);
            ASSERT_NE(opened, 0U);
            char text[300];
            DWORD size = sizeof(text);
            bool isListed = false;
            for (DWORD flags = CRYPT_FIRST; CPGetProvParam(
                     opened, PP_ENUMCONTAINERS, reinterpret_cast<BYTE*>(text), &size, flags);
                 flags = CRYPT_NEXT, size = sizeof(text)) {
                isListed = isListed || name == text;
            }
            EXPECT_TRUE(isListed);
            EXPECT_TRUE(CPReleaseContext(opened, 0));
            EXPECT_TRUE(CPReleaseContext(made, 0));
            if (round % 2 == 0) {
                HCRYPTPROV none = 0;
                EXPECT_TRUE(CPAcquireContext(&none, name.c_str(), CRYPT_DELETEKEYSET, nullptr));
            }
        }
    });
    EXPECT_EQ(sharedMade, 1);
    EXPECT_EQ(home.FilesOfUser().size(), std::size_t{1 + kThreads * 5});
}

TEST(ContainersOfThreads, ShareAContext) {
    const ContainerHome home;
    std::shared_ptr<Container> container;
    ASSERT_EQ(Create("shared", &container), S_OK);
    ASSERT_EQ(WriteKey(*container, AT_SIGNATURE, 1), S_OK);
    InThreads(kThreads, [&](int thread) {
        for (int round = 0; round != 20; ++round) {
            if (thread % 4 == 0) {
                EXPECT_EQ(WriteKey(*container, AT_SIGNATURE, static_cast<BYTE>(round)), S_OK);
            }
            ExpectWholeKey(*container, AT_SIGNATURE);
        }
    });
}

// The PIN comes while others work: they meet the words of a PIN, or a whole key.
TEST(ContainersOfThreads, PresentAPinWhileOthersRead) {
    const ContainerHome home;
    std::shared_ptr<Container> container;
    ASSERT_EQ(Create("shared", &container), S_OK);
    ASSERT_EQ(WriteKey(*container, AT_SIGNATURE, 1), S_OK);
    const BYTE pin[] = {'1', '2'};
    InThreads(kThreads, [&](int thread) {
        if (thread < 2) {
            EXPECT_EQ(container->PresentPin(pin), S_OK);
        }
        for (int round = 0; round != 50; ++round) {
            SecretBytes secret;
            const HRESULT status = container->ReadPrivateKey(AT_SIGNATURE, &secret);
            EXPECT_TRUE(status == S_OK || status == NTE_SILENT_CONTEXT) << std::hex << status;
        }
    });
    ExpectWholeKey(*container, AT_SIGNATURE);
}

}  // namespace
