#include "pfxcrypto/provider_lookup.h"

#include <gtest/gtest.h>

#include "pfxcrypto/pfx_constants.h"
#include "support/platform_calls.h"
#include "support/scoped_environment.h"

namespace {

using pkisdk::Blob;
using pkisdk::FindProviderType;
using pkisdk::kProviderTypeNotFound;
using test_support::PlatformCalls;

// In place before the first look into the registry.
const test_support::ScopedSettings kSettings(R"(
['SOFTWARE\Microsoft\Cryptography\Defaults\Provider\Empty Provider']

['SOFTWARE\Microsoft\Cryptography\Defaults\Provider\Prefixed Provider']
Types = 5
Typ = 6

['SOFTWARE\Microsoft\Cryptography\Defaults\Provider\Other Provider']
Types = 5
Comment = "before"
Type = 75
)");

class FindProviderTypeTest : public ::testing::Test {
  protected:
    void SetUp() override { PlatformCalls::Get().Reset(); }
    void TearDown() override {
        EXPECT_EQ(PlatformCalls::Get().OpenRegistryKeys(), 0);
        PlatformCalls::Get().Reset();
    }
};

TEST_F(FindProviderTypeTest, FindsTheBuiltInProvider) {
    EXPECT_EQ(FindProviderType(pkisdk::kProviderName), 2u);
}

TEST_F(FindProviderTypeTest, FindsTypeAmongOtherValues) {
    EXPECT_EQ(FindProviderType("Other Provider"), 75u);
}

TEST_F(FindProviderTypeTest, AnUnregisteredProviderIsNotFound) {
    EXPECT_EQ(FindProviderType("No Such Provider"), kProviderTypeNotFound);
}

TEST_F(FindProviderTypeTest, AKeyWithoutValuesIsNotEnumerated) {
    EXPECT_EQ(FindProviderType("Empty Provider"), kProviderTypeNotFound);
    EXPECT_EQ(PlatformCalls::Get().Count("RegQueryInfoKeyA"), 1);
    EXPECT_EQ(PlatformCalls::Get().Count("RegEnumValueA"), 0);
}

TEST_F(FindProviderTypeTest, ANameThatOnlyBeginsWithTypeDoesNotMatch) {
    EXPECT_EQ(FindProviderType("Prefixed Provider"), kProviderTypeNotFound);
    EXPECT_EQ(PlatformCalls::Get().Count("RegEnumValueA"), 2);
}

TEST_F(FindProviderTypeTest, AKeyThatCannotBeQueriedIsNotEnumerated) {
    PlatformCalls::Get().FailNamed("RegQueryInfoKeyA", 1, ERROR_ACCESS_DENIED);
    EXPECT_EQ(FindProviderType(pkisdk::kProviderName), kProviderTypeNotFound);
    EXPECT_EQ(PlatformCalls::Get().Count("RegEnumValueA"), 0);
}

TEST_F(FindProviderTypeTest, AValueThatCannotBeReadIsNotFound) {
    for (int n = 1; n <= 2; ++n) {
        PlatformCalls::Get().Reset();
        PlatformCalls::Get().FailNamed("RegEnumValueA", n, ERROR_ACCESS_DENIED);
        EXPECT_EQ(FindProviderType(pkisdk::kProviderName), kProviderTypeNotFound) << n;
    }
}

TEST_F(FindProviderTypeTest, AShortTypeGivesTheBytesItHas) {
    PlatformCalls::Get().ReplaceTypeData({0x07, 0x01});
    EXPECT_EQ(FindProviderType("Other Provider"), 0x0107u);
}

TEST_F(FindProviderTypeTest, AnEmptyTypeIsNotFound) {
    PlatformCalls::Get().ReplaceTypeData({});
    EXPECT_EQ(FindProviderType("Other Provider"), kProviderTypeNotFound);
}

TEST_F(FindProviderTypeTest, ALongTypeGivesItsFirstFourBytes) {
    PlatformCalls::Get().ReplaceTypeData({1, 0, 0, 0, 9});
    EXPECT_EQ(FindProviderType("Other Provider"), 1u);
}

TEST_F(FindProviderTypeTest, AFailedCallIsPassedOver) {
    for (const char* name : {"RegOpenKeyExA", "RegQueryInfoKeyA"}) {
        PlatformCalls::Get().Reset();
        PlatformCalls::Get().FailNamed(name, 1, 5);
        EXPECT_EQ(FindProviderType("Other Provider"), kProviderTypeNotFound) << name;
        EXPECT_EQ(PlatformCalls::Get().OpenRegistryKeys(), 0) << name;
    }
    // Each value up to the one that matches costs one call, and that one two; only failing one of
    // its two passes it over.
    int calls = 0;
    int found = 0;
    for (int n = 1;; ++n) {
        PlatformCalls::Get().Reset();
        PlatformCalls::Get().FailNamed("RegEnumValueA", n, 5);
        const std::uint32_t type = FindProviderType("Other Provider");
        EXPECT_EQ(PlatformCalls::Get().OpenRegistryKeys(), 0) << n;
        if (!PlatformCalls::Get().Failed()) {
            EXPECT_EQ(type, 75u);
            break;
        }
        ++calls;
        found += type == 75u ? 1 : 0;
    }
    EXPECT_GE(calls, 2);
    EXPECT_EQ(found, calls - 2);
}

TEST_F(FindProviderTypeTest, TheNameAskedForIsAlwaysType) {
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE,
                            "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\Other Provider",
                            0, KEY_READ, &key),
              ERROR_SUCCESS);
    Blob data;
    EXPECT_EQ(pkisdk::ReadRegistryValueByName(key, "Comment", &data), 1);
    EXPECT_EQ(data.GetSize(), 4u);
    RegCloseKey(key);
}

}  // namespace
