// Contexts with containers, through the provider's entry points.
#include "provider/container_contexts.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <set>
#include <string>

#include "csp.h"
#include "platform/csp_parameters.h"
#include "support/container_home.h"
#include "support/last_error.h"

namespace {

using test_support::ContainerHome;

BOOL Acquire(HCRYPTPROV* context, const char* container, DWORD flags) {
    VTableProvStruc caller{};
    return CPAcquireContext(context, container, flags, &caller);
}

// A context that must open.
class Context {
  public:
    Context(const char* name, DWORD flags) {
        EXPECT_TRUE(Acquire(&handle_, name, flags)) << std::hex << GetLastError();
    }
    ~Context() { CPReleaseContext(handle_, 0); }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    HCRYPTPROV Get() const { return handle_; }
    std::string Text(DWORD parameter) const {
        DWORD size = 0;
        EXPECT_TRUE(CPGetProvParam(handle_, parameter, nullptr, &size, 0)) << GetLastError();
        std::string text(size, 'x');
        EXPECT_TRUE(
            CPGetProvParam(handle_, parameter, reinterpret_cast<BYTE*>(text.data()), &size, 0));
        EXPECT_EQ(size, text.size());
        EXPECT_EQ(text.back(), '\0');
        text.pop_back();
        return text;
    }
    // What an enumeration gives from its start to its end.
    std::vector<std::string> List(DWORD parameter, DWORD flags = 0) const {
        std::vector<std::string> texts;
        std::string text(4096, 'x');
        DWORD size = 4096;
        DWORD direction = CRYPT_FIRST;
        SetLastError(0);
        while (CPGetProvParam(handle_, parameter, reinterpret_cast<BYTE*>(text.data()), &size,
                              direction | flags)) {
            texts.emplace_back(text.c_str());
            EXPECT_EQ(size, texts.back().size() + 1);
            direction = CRYPT_NEXT;
            size = 4096;
        }
        EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
        return texts;
    }
    BOOL SetPin(const char* pin, DWORD parameter = PP_SIGNATURE_PIN) const {
        return CPSetProvParam(handle_, parameter, reinterpret_cast<const BYTE*>(pin), 0);
    }

  private:
    HCRYPTPROV handle_ = 0;
};

class ContainerContext : public testing::Test {
  protected:
    static void Create(const char* name, DWORD flags = 0) {
        const Context made(name, CRYPT_NEWKEYSET | flags);
    }
    static void ExpectNone(const char* name, DWORD flags = 0) {
        HCRYPTPROV context = 0;
        EXPECT_FAILS_WITH(NTE_BAD_KEYSET, Acquire(&context, name, flags));
        EXPECT_EQ(context, 0U);
    }

    ContainerHome home_;
};

TEST_F(ContainerContext, CreatesAContainerThatOpensUnderItsName) {
    ExpectNone("mine");
    {
        const Context made("mine", CRYPT_NEWKEYSET);
        EXPECT_EQ(made.Text(PP_CONTAINER), "mine");
        EXPECT_EQ(made.Text(PP_CONTAINER_NAME), "mine");
        EXPECT_EQ(made.Text(220), "mine");
        EXPECT_NE(provider::ContainerOf(made.Get()), nullptr);
    }
    const Context opened("mine", 0);
    EXPECT_EQ(opened.Text(PP_CONTAINER), "mine");
    const Context silent("mine", CRYPT_SILENT);
    EXPECT_EQ(silent.Text(PP_CONTAINER), "mine");
}

TEST_F(ContainerContext, NeverReplacesAContainer) {
    Create("mine");
    HCRYPTPROV context = 0;
    const auto before = test_support::ReadFile(home_.UserKeys() / home_.FilesOfUser().at(0));
    EXPECT_FAILS_WITH(NTE_EXISTS, Acquire(&context, "mine", CRYPT_NEWKEYSET));
    EXPECT_EQ(context, 0U);
    EXPECT_EQ(test_support::ReadFile(home_.UserKeys() / home_.FilesOfUser().at(0)), before);
}

TEST_F(ContainerContext, OpensUnderTheUniqueName) {
    const Context made("mine", CRYPT_NEWKEYSET);
    const std::string unique = made.Text(PP_UNIQUE_CONTAINER);
    EXPECT_NE(unique, "mine");
    const Context opened(unique.c_str(), 0);
    EXPECT_EQ(opened.Text(PP_CONTAINER), "mine");
    EXPECT_EQ(opened.Text(PP_UNIQUE_CONTAINER), unique);
    // Nobody can take another's unique name as a plain one.
    HCRYPTPROV context = 0;
    EXPECT_FAILS_WITH(NTE_BAD_KEYSET_PARAM, Acquire(&context, unique.c_str(), CRYPT_NEWKEYSET));
    ASSERT_TRUE(Acquire(&context, unique.c_str(), CRYPT_DELETEKEYSET));
    ExpectNone("mine");
}

TEST_F(ContainerContext, TellsANewContainerOfTheSameNameFromTheOld) {
    HCRYPTPROV none = 0;
    const Context old("mine", CRYPT_NEWKEYSET);
    const std::string unique = old.Text(PP_UNIQUE_CONTAINER);
    ASSERT_TRUE(Acquire(&none, "mine", CRYPT_DELETEKEYSET));
    Create("mine");
    ExpectNone(unique.c_str());
    EXPECT_FAILS_WITH(NTE_BAD_KEYSET, Acquire(&none, unique.c_str(), CRYPT_DELETEKEYSET));
    provider::KeyRecord record;
    EXPECT_EQ(provider::ContainerOf(old.Get())->ReadKey(AT_KEYEXCHANGE, &record), NTE_BAD_KEYSET);
    EXPECT_FAILS_WITH(NTE_BAD_KEYSET, old.SetPin("1234"));
}

TEST_F(ContainerContext, TakesAnyNameOfEightBitCharacters) {
    const std::string longest(provider::kLongestContainerName, 'n');
    std::string allOctets;
    for (int octet = 1; octet != 256; ++octet) {
        allOctets += static_cast<char>(octet);
    }
    const std::vector<std::string> names = {
        "/",    "..",       ".",        "../../etc/passwd", "a/b",   ".lock", ".unfinished",
        " ",    "Mine",     "mine",     "velmorix:",        longest, "*",     "%s%n",
        "a\nb", "\xD0\x9A", "\xFF\xFE", allOctets};
    for (const std::string& name : names) {
        Create(name.c_str());
    }
    for (const std::string& name : names) {
        const Context opened(name.c_str(), 0);
        EXPECT_EQ(opened.Text(PP_CONTAINER), name);
        const Context unique(opened.Text(PP_UNIQUE_CONTAINER).c_str(), 0);
        EXPECT_EQ(unique.Text(PP_CONTAINER), name);
    }
    const Context verify(nullptr, CRYPT_VERIFYCONTEXT);
    std::vector<std::string> sorted = names;
    std::ranges::sort(sorted);
    EXPECT_EQ(verify.List(PP_ENUMCONTAINERS), sorted);
    EXPECT_EQ(home_.FilesOfUser().size(), names.size());
    ExpectNone("MINE");
}

TEST_F(ContainerContext, RefusesANameThatIsTooLong) {
    const std::string name(provider::kLongestContainerName + 1, 'n');
    HCRYPTPROV context = 0;
    for (const DWORD flags : {DWORD{0}, DWORD{CRYPT_NEWKEYSET}, DWORD{CRYPT_DELETEKEYSET}}) {
        EXPECT_FAILS_WITH(NTE_BAD_KEYSET_PARAM, Acquire(&context, name.c_str(), flags));
    }
}

TEST_F(ContainerContext, NamesTheDefaultContainerAfterTheUser) {
    ExpectNone(nullptr);
    ExpectNone("");
    Create(nullptr);
    const Context opened("", 0);
    // The tests' user has a name.
    const std::string name = opened.Text(PP_CONTAINER);
    EXPECT_EQ(name, provider::ContainerOf(opened.Get())->Name());
    const Context byName(name.c_str(), 0);
    EXPECT_EQ(byName.Text(PP_UNIQUE_CONTAINER), opened.Text(PP_UNIQUE_CONTAINER));
    if (geteuid() == 0) {
        EXPECT_EQ(name, "root");
    }
    HCRYPTPROV none = 0;
    EXPECT_TRUE(Acquire(&none, nullptr, CRYPT_DELETEKEYSET));
    ExpectNone(nullptr);
}

TEST_F(ContainerContext, KeepsTheMachinesContainersApart) {
    Create("mine", CRYPT_MACHINE_KEYSET);
    ExpectNone("mine");
    Create("mine");
    const Context machine("mine", CRYPT_MACHINE_KEYSET);
    const Context user("mine", 0);
    DWORD type = 1;
    DWORD size = sizeof(type);
    EXPECT_TRUE(
        CPGetProvParam(machine.Get(), PP_KEYSET_TYPE, reinterpret_cast<BYTE*>(&type), &size, 0));
    EXPECT_EQ(type, DWORD{CRYPT_MACHINE_KEYSET});
    EXPECT_TRUE(
        CPGetProvParam(user.Get(), PP_KEYSET_TYPE, reinterpret_cast<BYTE*>(&type), &size, 0));
    EXPECT_EQ(type, 0U);
    HCRYPTPROV none = 0;
    EXPECT_TRUE(Acquire(&none, "mine", CRYPT_DELETEKEYSET | CRYPT_MACHINE_KEYSET));
    ExpectNone("mine", CRYPT_MACHINE_KEYSET);
    EXPECT_EQ(user.List(PP_ENUMCONTAINERS), std::vector<std::string>{"mine"});
}

TEST_F(ContainerContext, DeletesAContainerOnceAndForEveryContextThatHasItOpen) {
    const Context open("mine", CRYPT_NEWKEYSET);
    HCRYPTPROV none = 0;
    EXPECT_TRUE(Acquire(&none, "mine", CRYPT_DELETEKEYSET));
    EXPECT_EQ(none, 0U);
    ExpectNone("mine");
    EXPECT_TRUE(home_.FilesOfUser().empty());
    EXPECT_FAILS_WITH(NTE_BAD_KEYSET, Acquire(&none, "mine", CRYPT_DELETEKEYSET));
    provider::KeyRecord record;
    const auto container = provider::ContainerOf(open.Get());
    EXPECT_EQ(container->ReadKey(AT_SIGNATURE, &record), NTE_BAD_KEYSET);
    EXPECT_EQ(container->WriteCertificate(AT_SIGNATURE, {}), NTE_BAD_KEYSET);
    EXPECT_EQ(open.Text(PP_CONTAINER), "mine");
}

TEST_F(ContainerContext, MakesNothingOnTheDiskForWhatIsNotThere) {
    HCRYPTPROV none = 0;
    ExpectNone("mine");
    EXPECT_FAILS_WITH(NTE_BAD_KEYSET, Acquire(&none, "mine", CRYPT_DELETEKEYSET));
    const Context verify(nullptr, CRYPT_VERIFYCONTEXT);
    EXPECT_TRUE(verify.List(PP_ENUMCONTAINERS).empty());
    EXPECT_TRUE(verify.List(PP_ENUM_DAMAGED_CONTAINERS).empty());
    EXPECT_FALSE(std::filesystem::exists(home_.User()));
}

TEST_F(ContainerContext, RefusesFlagsThatDoNotGoTogether) {
    HCRYPTPROV context = 0;
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS,
                      Acquire(&context, "mine", CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, Acquire(&context, "mine", CRYPT_NEWKEYSET | 1));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, Acquire(&context, "mine", CRYPT_NEWKEYSET | 0x10000000));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS,
                      Acquire(&context, nullptr, CRYPT_NEWKEYSET | CRYPT_VERIFYCONTEXT));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, Acquire(nullptr, "mine", CRYPT_NEWKEYSET));
    EXPECT_FALSE(std::filesystem::exists(home_.User()));
}

TEST_F(ContainerContext, EnumeratesEachNameOnceAndSorted) {
    for (const char* const name : {"c", "a", "bb"}) {
        Create(name);
    }
    Create("of the machine", CRYPT_MACHINE_KEYSET);
    const Context context("a", 0);
    EXPECT_EQ(context.List(PP_ENUMCONTAINERS), (std::vector<std::string>{"a", "bb", "c"}));
    EXPECT_EQ(context.List(PP_ENUMCONTAINERS, CRYPT_MACHINE_KEYSET),
              (std::vector<std::string>{"of the machine"}));
    const Context machine(nullptr, CRYPT_VERIFYCONTEXT | CRYPT_MACHINE_KEYSET);
    EXPECT_EQ(machine.List(PP_ENUMCONTAINERS), (std::vector<std::string>{"of the machine"}));
}

TEST_F(ContainerContext, EnumeratesByTheRuleOfSizes) {
    for (const char* const name : {"a", "longest", "mid"}) {
        Create(name);
    }
    const Context context(nullptr, CRYPT_VERIFYCONTEXT);
    const auto get = [&context](void* out, DWORD* size, DWORD flags) {
        return CPGetProvParam(context.Get(), PP_ENUMCONTAINERS, static_cast<BYTE*>(out), size,
                              flags);
    };
    DWORD size = 0;
    EXPECT_TRUE(get(nullptr, &size, CRYPT_FIRST));
    EXPECT_EQ(size, sizeof("longest"));
    char text[8] = {};
    size = 1;
    EXPECT_FAILS_WITH(ERROR_MORE_DATA, get(text, &size, CRYPT_FIRST));
    EXPECT_EQ(size, sizeof("longest"));
    // What did not fit is not passed over, and asking without a direction goes on.
    for (const char* const expected : {"a", "longest", "mid"}) {
        size = sizeof(text);
        EXPECT_TRUE(get(text, &size, 0));
        EXPECT_STREQ(text, expected);
    }
    size = sizeof(text);
    EXPECT_FAILS_WITH(ERROR_NO_MORE_ITEMS, get(text, &size, CRYPT_NEXT));
    EXPECT_FAILS_WITH(ERROR_NO_MORE_ITEMS, get(text, &size, CRYPT_NEXT));
    EXPECT_TRUE(get(text, &size, CRYPT_FIRST));
    EXPECT_STREQ(text, "a");
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, get(text, &size, CRYPT_FIRST | CRYPT_NEXT));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, get(text, &size, 8));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, get(text, nullptr, CRYPT_FIRST));
}

TEST_F(ContainerContext, TellsWhereTheFileOfAContainerLies) {
    const Context context("mine", CRYPT_NEWKEYSET);
    const std::string path = context.Text(PP_CONTAINER_FILE);
    EXPECT_EQ(path, (home_.UserKeys() / home_.FilesOfUser().at(0)).string());
    const Context verify(nullptr, CRYPT_VERIFYCONTEXT);
    EXPECT_EQ(verify.Text(PP_CONTAINER_FILE), home_.UserKeys().string());
    const Context machine(nullptr, CRYPT_VERIFYCONTEXT | CRYPT_MACHINE_KEYSET);
    EXPECT_EQ(machine.Text(PP_CONTAINER_FILE), home_.MachineKeys().string());
}

TEST_F(ContainerContext, EnumeratesPastADamagedContainerAndNamesItsFile) {
    Create("good");
    const std::set<std::string> before = [this] {
        const auto files = home_.FilesOfUser();
        return std::set<std::string>(files.begin(), files.end());
    }();
    Create("bad");
    std::filesystem::path damaged;
    for (const std::string& name : home_.FilesOfUser()) {
        if (!before.contains(name)) {
            damaged = home_.UserKeys() / name;
        }
    }
    std::filesystem::resize_file(damaged, std::filesystem::file_size(damaged) / 2);
    const Context verify(nullptr, CRYPT_VERIFYCONTEXT);
    EXPECT_EQ(verify.List(PP_ENUMCONTAINERS), std::vector<std::string>{"good"});
    EXPECT_EQ(verify.List(PP_ENUM_DAMAGED_CONTAINERS), std::vector<std::string>{damaged.string()});
    HCRYPTPROV context = 0;
    EXPECT_FAILS_WITH(NTE_KEYSET_ENTRY_BAD, Acquire(&context, "bad", 0));
    EXPECT_FAILS_WITH(NTE_EXISTS, Acquire(&context, "bad", CRYPT_NEWKEYSET));
    EXPECT_TRUE(Acquire(&context, "bad", CRYPT_DELETEKEYSET));
    EXPECT_TRUE(verify.List(PP_ENUM_DAMAGED_CONTAINERS).empty());
}

TEST_F(ContainerContext, SetsAPinThenChecksIt) {
    {
        const Context made("mine", CRYPT_NEWKEYSET);
        EXPECT_TRUE(made.SetPin("1234"));
        EXPECT_TRUE(made.SetPin("1234", PP_KEYEXCHANGE_PIN));
        EXPECT_FAILS_WITH(SCARD_W_WRONG_CHV, made.SetPin("12345"));
    }
    const Context opened("mine", 0);
    EXPECT_FAILS_WITH(SCARD_W_WRONG_CHV, opened.SetPin("123"));
    EXPECT_FAILS_WITH(SCARD_W_WRONG_CHV, opened.SetPin("123", PP_KEYEXCHANGE_PIN));
    EXPECT_TRUE(opened.SetPin("1234", PP_KEYEXCHANGE_PIN));
}

TEST_F(ContainerContext, GivesTheErrorWordsOfAPin) {
    const Context made("mine", CRYPT_NEWKEYSET);
    EXPECT_FAILS_WITH(NTE_BAD_LEN, made.SetPin(""));
    EXPECT_FAILS_WITH(NTE_BAD_LEN, made.SetPin(std::string(256, '1').c_str()));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, made.SetPin(nullptr));
    EXPECT_FAILS_WITH(NTE_BAD_TYPE, made.SetPin("1234", PP_CONTAINER));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPSetProvParam(made.Get(), PP_SIGNATURE_PIN,
                                                    reinterpret_cast<const BYTE*>("1"), 1));
    const Context verify(nullptr, CRYPT_VERIFYCONTEXT);
    EXPECT_FAILS_WITH(NTE_BAD_TYPE, verify.SetPin("1234"));
    EXPECT_TRUE(made.SetPin(std::string(255, '1').c_str()));
}

TEST_F(ContainerContext, HasNoContainerOnceItIsReleased) {
    HCRYPTPROV context = 0;
    ASSERT_TRUE(Acquire(&context, "mine", CRYPT_NEWKEYSET));
    const auto container = provider::ContainerOf(context);
    ASSERT_TRUE(CPReleaseContext(context, 0));
    EXPECT_EQ(provider::ContainerOf(context), nullptr);
    EXPECT_EQ(container.use_count(), 1);
    const Context verify(nullptr, CRYPT_VERIFYCONTEXT);
    EXPECT_EQ(provider::ContainerOf(verify.Get()), nullptr);
    EXPECT_EQ(provider::ContainerOf(0), nullptr);
}

}  // namespace
