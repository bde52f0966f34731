// Containers as a program sees them: through CryptoAPI, with the provider loaded from its file.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/csp_parameters.h"
#include "support/container_home.h"
#include "support/csp_guards.h"
#include "support/last_error.h"

namespace {

using test_support::ContainerHome;
using test_support::kProviderName;
using test_support::kProviderType;

BOOL Acquire(HCRYPTPROV* context, const char* container, DWORD flags) {
    return CryptAcquireContextA(context, container, kProviderName, kProviderType, flags);
}

std::string Text(HCRYPTPROV context, DWORD parameter) {
    DWORD size = 0;
    EXPECT_TRUE(CryptGetProvParam(context, parameter, nullptr, &size, 0));
    std::vector<BYTE> text(size);
    EXPECT_TRUE(CryptGetProvParam(context, parameter, text.data(), &size, 0));
    return reinterpret_cast<const char*>(text.data());
}

BOOL SetPin(HCRYPTPROV context, const char* pin) {
    return CryptSetProvParam(context, PP_SIGNATURE_PIN, reinterpret_cast<const BYTE*>(pin), 0);
}

class Containers : public testing::Test {
  protected:
    ContainerHome home_;
};

TEST_F(Containers, AreProbedCreatedNamedAndGivenAPinAsAnImportDoes) {
    HCRYPTPROV context = 0;
    EXPECT_FAILS_WITH(NTE_BAD_KEYSET, Acquire(&context, "friendly", CRYPT_SILENT));
    ASSERT_TRUE(Acquire(&context, "friendly", CRYPT_NEWKEYSET | CRYPT_SILENT));
    const std::string unique = Text(context, PP_UNIQUE_CONTAINER);
    EXPECT_EQ(Text(context, PP_CONTAINER_NAME), "friendly");
    EXPECT_TRUE(SetPin(context, "password"));
    EXPECT_TRUE(CryptReleaseContext(context, 0));
    // The next import of the same finds the name taken.
    ASSERT_TRUE(Acquire(&context, "friendly", CRYPT_SILENT));
    EXPECT_TRUE(CryptReleaseContext(context, 0));
    ASSERT_TRUE(Acquire(&context, unique.c_str(), CRYPT_SILENT));
    EXPECT_EQ(Text(context, PP_CONTAINER), "friendly");
    EXPECT_FAILS_WITH(SCARD_W_WRONG_CHV, SetPin(context, "passwort"));
    EXPECT_TRUE(SetPin(context, "password"));
    EXPECT_TRUE(CryptReleaseContext(context, 0));
}

TEST_F(Containers, AreListedAndDeleted) {
    HCRYPTPROV context = 0;
    for (const char* const name : {"two", "one"}) {
        ASSERT_TRUE(Acquire(&context, name, CRYPT_NEWKEYSET));
        EXPECT_TRUE(CryptReleaseContext(context, 0));
    }
    const test_support::VerifyContext verify;
    BYTE name[16];
    for (const char* const expected : {"one", "two"}) {
        DWORD size = sizeof(name);
        EXPECT_TRUE(CryptGetProvParam(verify.Get(), PP_ENUMCONTAINERS, name, &size, CRYPT_NEXT));
        EXPECT_STREQ(reinterpret_cast<const char*>(name), expected);
    }
    DWORD size = sizeof(name);
    EXPECT_FAILS_WITH(ERROR_NO_MORE_ITEMS,
                      CryptGetProvParam(verify.Get(), PP_ENUMCONTAINERS, name, &size, CRYPT_NEXT));
    EXPECT_TRUE(Acquire(&context, "one", CRYPT_DELETEKEYSET));
    EXPECT_EQ(context, 0U);
    EXPECT_FAILS_WITH(NTE_BAD_KEYSET, Acquire(&context, "one", 0));
    EXPECT_TRUE(CryptGetProvParam(verify.Get(), PP_ENUMCONTAINERS, name, &size, CRYPT_FIRST));
    EXPECT_STREQ(reinterpret_cast<const char*>(name), "two");
}

// A child process has the parent's open containers, and either may go on with them.
TEST_F(Containers, StayUsableOnBothSidesOfAFork) {
    HCRYPTPROV context = 0;
    ASSERT_TRUE(Acquire(&context, "mine", CRYPT_NEWKEYSET));
    const pid_t child = fork();
    if (child == 0) {
        HCRYPTPROV other = 0;
        const bool isGood = SetPin(context, "1234") &&
                            Acquire(&other, "of the child", CRYPT_NEWKEYSET) &&
                            CryptReleaseContext(other, 0) && CryptReleaseContext(context, 0);
        _exit(isGood ? 0 : 1);
    }
    int status = 1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_FAILS_WITH(SCARD_W_WRONG_CHV, SetPin(context, "4321"));
    EXPECT_TRUE(SetPin(context, "1234"));
    EXPECT_TRUE(CryptReleaseContext(context, 0));
    EXPECT_TRUE(Acquire(&context, "of the child", CRYPT_DELETEKEYSET));
}

}  // namespace
