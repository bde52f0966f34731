#include "provider/library.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <new>
#include <string>
#include <vector>

#include "provider/secret_bytes.h"
#include "support/container_home.h"
#include "support/key_context.h"

namespace {

using provider::SecretBytes;
using test_support::KeyContext;

// What is written to the standard error stream meanwhile.
class CapturedErrors {
  public:
    CapturedErrors() : before_(dup(STDERR_FILENO)) {
        const int file = open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        dup2(file, STDERR_FILENO);
        close(file);
    }
    ~CapturedErrors() {
        dup2(before_, STDERR_FILENO);
        close(before_);
    }
    CapturedErrors(const CapturedErrors&) = delete;
    CapturedErrors& operator=(const CapturedErrors&) = delete;

    std::string Text() const {
        const std::vector<BYTE> text = test_support::ReadFile(path_);
        return std::string(text.begin(), text.end());
    }

  private:
    test_support::ScopedFolder folder_;
    std::filesystem::path path_ = folder_ / "errors";
    int before_;
};

// Until nothing larger than `rest` is left.
std::vector<SecretBytes> TakeSecureMemory(std::size_t rest) {
    std::vector<SecretBytes> taken;
    taken.reserve(4096);
    try {
        while (taken.size() != taken.capacity()) {
            taken.emplace_back(rest);
        }
    } catch (const std::bad_alloc&) {
        return taken;
    }
    ADD_FAILURE() << "there is no end of secure memory";
    return taken;
}

// The numbers of the operation would lie in ordinary memory, and a warning on the terminal.
TEST(Library, RefusesOperationsOnKeysWithoutSecureMemoryAndWritesNothing) {
    const test_support::ContainerHome home;
    const KeyContext context("mine", CRYPT_NEWKEYSET);
    const HCRYPTKEY key = context.Generate(AT_SIGNATURE);
    HCRYPTHASH hash = 0;
    ASSERT_TRUE(CPCreateHash(context.Get(), 0x8021, 0, 0, &hash));
    BYTE signature[64];
    DWORD size = sizeof(signature);
    const CapturedErrors errors;
    {
        const std::vector<SecretBytes> taken = TakeSecureMemory(8 * 1024);
        EXPECT_THROW(provider::RequireSecureMemory(), std::bad_alloc);
        SetLastError(0);
        EXPECT_FALSE(CPSignHash(context.Get(), hash, AT_SIGNATURE, nullptr, 0, signature, &size));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_NO_MEMORY));
        HCRYPTKEY other = 0;
        SetLastError(0);
        EXPECT_FALSE(CPGenKey(context.Get(), AT_KEYEXCHANGE, 0, &other));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_NO_MEMORY));
    }
    EXPECT_NO_THROW(provider::RequireSecureMemory());
    EXPECT_TRUE(CPSignHash(context.Get(), hash, AT_SIGNATURE, nullptr, 0, signature, &size));
    EXPECT_EQ(errors.Text(), "");
    EXPECT_TRUE(CPDestroyHash(context.Get(), hash));
    EXPECT_TRUE(CPDestroyKey(context.Get(), key));
}

}  // namespace
