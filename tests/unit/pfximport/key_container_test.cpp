#include "pfximport/key_container.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "pfxcrypto/pfx_constants.h"
#include "support/import_fixture.h"

namespace {

using pkisdk::ChooseContainerName;
using pkisdk::ContainerOptions;
using pkisdk::CreateContainer;
using pkisdk::ProviderContext;
using test_support::kInjected;
using ::testing::MatchesRegex;

constexpr char kRandomName[] = "rnd-.{36}";

class KeyContainerTest : public test_support::ImportTest {
  protected:
    static void Make(const std::string& name, bool isMachineKey = false) {
        std::string unique = name;
        ProviderContext provider;
        EXPECT_TRUE(CreateContainer("", {isMachineKey, false}, &unique, &provider));
    }
    static DWORD FlagsOf(std::size_t acquisition) {
        return Calls().Acquisitions().at(acquisition).flags;
    }
};

TEST_F(KeyContainerTest, ANameThatIsFreeIsKept) {
    std::string name = "free";
    SetLastError(kInjected);
    ChooseContainerName(false, &name);
    EXPECT_EQ(name, "free");
    EXPECT_EQ(GetLastError(), 0u);
    ASSERT_EQ(Calls().Acquisitions().size(), 2u);
    EXPECT_EQ(FlagsOf(0), CRYPT_SILENT);
    EXPECT_EQ(FlagsOf(1), CRYPT_SILENT);
    EXPECT_EQ(UserContainers(), 0u);
}

TEST_F(KeyContainerTest, ATakenNameGivesWayToARandomOne) {
    Make("taken");
    std::string name = "taken";
    ChooseContainerName(false, &name);
    EXPECT_THAT(name, MatchesRegex(kRandomName));
    // The second probe is of the new name.
    EXPECT_EQ(Calls().Acquisitions().back().container, name);
}

// Drawn once more, and no further: the container's creation is to tell then.
TEST_F(KeyContainerTest, ARandomNameThatIsTakenIsReplacedOnce) {
    int draws = 0;
    const auto digitsOf = [&draws](std::initializer_list<int> names) {
        draws = 0;
        // A seeding and 29 digits for each name.
        Calls().ReplaceRuntimeRandom([&draws, names = std::vector(names)] {
            return names.at(static_cast<std::size_t>(draws++) / 30);
        });
    };
    const auto named = [](char digit) {
        std::string name = "rnd-";
        for (int group = 0; group < 8; ++group) {
            name += group == 0 ? std::string(1, digit) : "-" + std::string(4, digit);
        }
        return name;
    };
    Make("taken");
    Make(named('1'));
    std::string name = "taken";
    digitsOf({1, 2});
    ChooseContainerName(false, &name);
    EXPECT_EQ(name, named('2'));
    EXPECT_EQ(draws, 60);
    Make(named('2'));
    name = "taken";
    digitsOf({1, 2});
    ChooseContainerName(false, &name);
    EXPECT_EQ(name, named('2'));
    EXPECT_EQ(draws, 60);
}

TEST_F(KeyContainerTest, WithoutANameItIsRandomWhetherOrNotThereIsADefaultContainer) {
    std::string name;
    ChooseContainerName(false, &name);
    EXPECT_THAT(name, MatchesRegex(kRandomName));
    EXPECT_EQ(Calls().Acquisitions().back().container, "");
    Make("");
    name.clear();
    ChooseContainerName(false, &name);
    EXPECT_THAT(name, MatchesRegex(kRandomName));
    EXPECT_EQ(Calls().Acquisitions().back().container, name);
}

TEST_F(KeyContainerTest, TheMachinesContainersAreProbedForAMachineKey) {
    Make("taken");
    std::string name = "taken";
    ChooseContainerName(true, &name);
    EXPECT_EQ(name, "taken");
    EXPECT_EQ(Calls().Acquisitions().back().flags, DWORD{CRYPT_SILENT | CRYPT_MACHINE_KEYSET});
}

TEST_F(KeyContainerTest, TheNameBecomesTheUniqueOneThatOpensTheContainer) {
    std::string name = "given";
    ProviderContext provider;
    ASSERT_TRUE(CreateContainer("Password1", {}, &name, &provider));
    EXPECT_EQ(FlagsOf(0), DWORD{CRYPT_NEWKEYSET});
    EXPECT_NE(name, "given");
    provider.Reset();
    EXPECT_TRUE(CryptAcquireContextA(provider.Put(), name.c_str(), pkisdk::kProviderName,
                                     pkisdk::kProviderType, CRYPT_SILENT));
    EXPECT_TRUE(Calls().ProviderParams().empty());
    EXPECT_EQ(UserContainers(), 1u);
}

TEST_F(KeyContainerTest, ASilentOneTakesThePasswordForItsPin) {
    std::string name = "silent";
    ProviderContext provider;
    ASSERT_TRUE(CreateContainer("Password1", {false, true}, &name, &provider));
    EXPECT_EQ(FlagsOf(0), DWORD{CRYPT_NEWKEYSET | CRYPT_SILENT});
    ASSERT_EQ(Calls().ProviderParams().size(), 1u);
    EXPECT_EQ(Calls().ProviderParams()[0].parameter, DWORD{PP_SIGNATURE_PIN});
    EXPECT_EQ(Calls().ProviderParams()[0].text, "Password1");
}

TEST_F(KeyContainerTest, AMachineKeysContainerIsTheMachines) {
    std::string name = "machine";
    ProviderContext provider;
    ASSERT_TRUE(CreateContainer("", {true, false}, &name, &provider));
    EXPECT_EQ(FlagsOf(0), DWORD{CRYPT_NEWKEYSET | CRYPT_MACHINE_KEYSET});
    EXPECT_EQ(UserContainers(), 0u);
    EXPECT_EQ(MachineContainers(), 1u);
}

TEST_F(KeyContainerTest, ANameThatIsTakenIsRefused) {
    Make("taken");
    std::string name = "taken";
    ProviderContext provider;
    EXPECT_FALSE(CreateContainer("", {}, &name, &provider));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_EXISTS));
    EXPECT_EQ(name, "taken");
    EXPECT_EQ(UserContainers(), 1u);
}

TEST_F(KeyContainerTest, ANameThatEndsWithoutANulIsTakenAsItIs) {
    // As long as a block of the heap, behind which other octets lie.
    const std::string unique(24, 'u');
    Calls().ReplaceUniqueName(unique);
    std::string name = "given";
    ProviderContext provider;
    ASSERT_TRUE(CreateContainer("", {}, &name, &provider));
    EXPECT_EQ(name, unique);
}

TEST_F(KeyContainerTest, TheNameIsLearntBeforeThePinIsSet) {
    std::string name = "silent";
    ProviderContext provider;
    ASSERT_TRUE(CreateContainer("p", {false, true}, &name, &provider));
    EXPECT_EQ(Calls().Log(), (std::vector<std::string>{"CryptAcquireContextA", "CryptGetProvParam",
                                                       "CryptGetProvParam", "CryptSetProvParam"}));
    EXPECT_EQ(Calls().Parameters("CryptGetProvParam"), std::vector<DWORD>(2, PP_UNIQUE_CONTAINER));
}

TEST_F(KeyContainerTest, FailuresLeaveTheReasonAndTheContainer) {
    const struct {
        const char* call;
        int n;
        std::size_t containers;
    } kSteps[] = {
        {"CryptAcquireContextA", 1, 0},
        {"CryptGetProvParam", 1, 1},
        {"CryptGetProvParam", 2, 2},
        {"CryptSetProvParam", 1, 3},
    };
    for (const auto& step : kSteps) {
        std::string name = std::string("container") + std::to_string(step.containers);
        ProviderContext provider;
        Calls().FailNamed(step.call, step.n, kInjected);
        EXPECT_FALSE(CreateContainer("p", {false, true}, &name, &provider)) << step.call;
        EXPECT_EQ(GetLastError(), kInjected) << step.call;
        EXPECT_EQ(UserContainers(), step.containers) << step.call;
    }
}

}  // namespace
