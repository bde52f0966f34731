#include "module/registration.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "mvlpfx/mvlpfx.h"
#include "support/platform_stand_in.h"
#include "support/scoped_environment.h"

namespace {

using pkisdk::RegisterOidFunctions;
using test_support::PlatformCalls;

// A call on the table, as text: "+" or "-", encoding, set, identifier, path and function.
std::vector<std::string> tableCalls;
// Found in the place of a loaded module.
HMODULE moduleAnswer;
std::string askedModule;
HMODULE askedPathOf;
// Unless 0, with what each removal fails.
DWORD undoError;

std::string Narrow(const wchar_t* text) {
    const std::wstring wide(text);
    return {wide.begin(), wide.end()};
}

}  // namespace

using test_support::Refused;

extern "C" {

HMODULE GetModuleHandleA(LPCSTR name) {
    askedModule = name;
    return moduleAnswer;
}

DWORD GetModuleFileNameA(HMODULE module, LPSTR path, DWORD size) {
    askedPathOf = module;
    EXPECT_EQ(size, 260u);
    return Refused("GetModuleFileNameA") ? 0 : REAL(GetModuleFileNameA)(module, path, size);
}

BOOL CryptRegisterOIDFunction(DWORD encoding, LPCSTR set, LPCSTR oid, LPCWSTR path, LPCSTR name) {
    tableCalls.push_back("+ " + std::to_string(encoding) + " " + set + " " + oid + " " +
                         Narrow(path) + " " + name);
    return Refused("CryptRegisterOIDFunction")
               ? FALSE
               : REAL(CryptRegisterOIDFunction)(encoding, set, oid, path, name);
}

BOOL CryptUnregisterOIDFunction(DWORD encoding, LPCSTR set, LPCSTR oid) {
    tableCalls.push_back("- " + std::to_string(encoding) + " " + set + " " + oid);
    if (undoError != 0) {
        SetLastError(undoError);
        return FALSE;
    }
    return Refused("CryptUnregisterOIDFunction")
               ? FALSE
               : REAL(CryptUnregisterOIDFunction)(encoding, set, oid);
}

}  // extern "C"

namespace {

constexpr char kOid[] = "1.2.643.2.4.12.2.1";

class Registration : public testing::Test {
  protected:
    void SetUp() override {
        PlatformCalls::Get().Reset();
        tableCalls.clear();
        moduleAnswer = nullptr;
        undoError = 0;
    }
    static HRESULT Word(DWORD word) { return static_cast<HRESULT>(word); }
    // That failure of the first call of that name.
    static void Fail(const std::string& name, DWORD error, int n = 1) {
        tableCalls.clear();
        PlatformCalls::Get().Reset();
        PlatformCalls::Get().FailNamed(name, n, error);
    }
    // Whether the table has an entry for the set.
    static bool HasEntry(const char* set) {
        void* address = nullptr;
        HCRYPTOIDFUNCADDR handle = nullptr;
        SetLastError(0);
        const BOOL isFound = CryptGetOIDFunctionAddress(CryptInitOIDFunctionSet(set, 0), 1, kOid, 0,
                                                        &address, &handle);
        CryptFreeOIDFunctionAddress(handle, 0);
        // The test's program is no library to load.
        return isFound || GetLastError() != ERROR_FILE_NOT_FOUND;
    }

    test_support::ScopedFolder folder_;
    test_support::ScopedVariable variable_{"VELMORIX_MACHINE_HOME", folder_ / "machine"};
    const std::string program_ = std::filesystem::read_symlink("/proc/self/exe");
    const std::vector<std::string> registrations_ = {
        "+ 1 CryptVLXExportPFX 1.2.643.2.4.12.2.1 " + program_ + " UzCreatePFX",
        "+ 1 CryptVLXRestorePFX 1.2.643.2.4.12.2.1 " + program_ + " UzRestorePFX",
        "+ 1 CryptVLXVerifyPswPFX 1.2.643.2.4.12.2.1 " + program_ + " UzVerifyPswPFX"};
    const std::vector<std::string> removals_ = {"- 1 UzCreatePFX 1.2.643.2.4.12.2.1",
                                                "- 1 UzRestorePFX 1.2.643.2.4.12.2.1",
                                                "- 1 UzVerifyPswPFX 1.2.643.2.4.12.2.1"};
};

TEST_F(Registration, EntersTheThreeFunctionsInOrder) {
    EXPECT_EQ(DllRegisterServer(), 0);
    EXPECT_EQ(tableCalls, registrations_);
    for (const char* set : {"CryptVLXExportPFX", "CryptVLXRestorePFX", "CryptVLXVerifyPswPFX"}) {
        EXPECT_TRUE(HasEntry(set));
    }
}

TEST_F(Registration, WithoutALoadedModuleOfThatNameEntersTheProgramsPath) {
    EXPECT_EQ(RegisterOidFunctions(1), 0);
    EXPECT_EQ(askedModule, "mvlpfx64.dll");
    EXPECT_EQ(askedPathOf, nullptr);
    EXPECT_EQ(tableCalls[0], registrations_[0]);
}

TEST_F(Registration, EntersThePathOfTheModuleOfThatName) {
    moduleAnswer = REAL(GetModuleHandleA)("advapi32.dll");
    char path[MAX_PATH] = {};
    GetModuleFileNameA(moduleAnswer, path, MAX_PATH);
    EXPECT_EQ(RegisterOidFunctions(1), 0);
    EXPECT_EQ(tableCalls[0],
              std::string("+ 1 CryptVLXExportPFX ") + kOid + " " + path + " UzCreatePFX");
}

TEST_F(Registration, UnregisteringNamesTheFunctionsInThePlaceOfTheSets) {
    for (const char* name : {"UzCreatePFX", "UzRestorePFX", "UzVerifyPswPFX"}) {
        REAL(CryptRegisterOIDFunction)(1, name, kOid, L"/library", nullptr);
    }
    EXPECT_EQ(RegisterOidFunctions(0), 0);
    EXPECT_EQ(tableCalls, removals_);
    EXPECT_FALSE(HasEntry("UzCreatePFX"));
}

TEST_F(Registration, UnregisteringAfterRegisteringLeavesTheThreeEntriesInPlace) {
    ASSERT_EQ(DllRegisterServer(), 0);
    EXPECT_EQ(DllUnregisterServer(), 0);
    for (const char* set : {"CryptVLXExportPFX", "CryptVLXRestorePFX", "CryptVLXVerifyPswPFX"}) {
        EXPECT_TRUE(HasEntry(set));
    }
}

TEST_F(Registration, ALastErrorOf5Gives0x80070005) {
    for (int n = 1; n <= 3; ++n) {
        Fail("CryptRegisterOIDFunction", 5, n);
        EXPECT_EQ(RegisterOidFunctions(1), Word(0x80070005)) << n;
        EXPECT_EQ(tableCalls.size(), static_cast<std::size_t>(n));
    }
    Fail("CryptRegisterOIDFunction", 5);
    EXPECT_EQ(DllRegisterServer(), Word(0x80070005));
}

TEST_F(Registration, OfALastErrorThe16LowBitsCount) {
    Fail("CryptRegisterOIDFunction", 0x7FFF1234);
    EXPECT_EQ(RegisterOidFunctions(1), Word(0x80071234));
}

TEST_F(Registration, ALastErrorOf0GivesResult0AndSoSuccess) {
    Fail("CryptRegisterOIDFunction", 0);
    EXPECT_EQ(RegisterOidFunctions(1), 0);
    EXPECT_EQ(tableCalls.size(), 1u);
    Fail("CryptRegisterOIDFunction", 0);
    EXPECT_EQ(DllRegisterServer(), 0);
    // And nothing is undone.
    EXPECT_EQ(tableCalls.size(), 1u);
}

TEST_F(Registration, ALastErrorWithItsHighBitSetIsReturnedAsItStands) {
    Fail("CryptRegisterOIDFunction", 0x80092003);
    EXPECT_EQ(RegisterOidFunctions(1), Word(0x80092003));
    Fail("CryptRegisterOIDFunction", 0x80092003);
    EXPECT_EQ(DllRegisterServer(), Word(0x80092003));
}

TEST_F(Registration, PathAndItsConversionAreNeededInBothDirections) {
    for (const BYTE isRegistering : {BYTE{0}, BYTE{1}}) {
        for (const char* call : {"GetModuleFileNameA", "MultiByteToWideChar"}) {
            Fail(call, 122);
            EXPECT_EQ(RegisterOidFunctions(isRegistering), Word(0x8007007A)) << call;
            EXPECT_TRUE(tableCalls.empty());
        }
    }
}

TEST_F(Registration, UnregisteringStopsAtTheFirstFailure) {
    EXPECT_EQ(RegisterOidFunctions(0), Word(0x80070002));
    EXPECT_EQ(tableCalls, std::vector<std::string>{removals_[0]});
    for (const char* name : {"UzCreatePFX", "UzRestorePFX", "UzVerifyPswPFX"}) {
        REAL(CryptRegisterOIDFunction)(1, name, kOid, L"/library", nullptr);
    }
    Fail("CryptUnregisterOIDFunction", 0x80090020, 2);
    EXPECT_EQ(RegisterOidFunctions(0), Word(0x80090020));
    EXPECT_EQ(tableCalls.size(), 2u);
}

TEST_F(Registration, ASecondThatFailsLeavesTheFirstInPlace) {
    Fail("CryptRegisterOIDFunction", 5, 2);
    EXPECT_EQ(DllRegisterServer(), Word(0x80070005));
    EXPECT_EQ(tableCalls,
              (std::vector<std::string>{registrations_[0], registrations_[1], removals_[0]}));
    EXPECT_TRUE(HasEntry("CryptVLXExportPFX"));
    EXPECT_FALSE(HasEntry("CryptVLXRestorePFX"));
}

TEST_F(Registration, TheFailureOfUndoingIsHidden) {
    Fail("CryptRegisterOIDFunction", 19, 2);
    undoError = 5;
    EXPECT_EQ(DllRegisterServer(), Word(0x80070013));
    ASSERT_FALSE(tableCalls.empty());
    EXPECT_EQ(tableCalls.back(), removals_[0]);
}

TEST_F(Registration, DllUnregisterServerAnswers0WhenEveryCallFails) {
    for (const DWORD word : {DWORD{5}, DWORD{0}, DWORD{0x80090020}}) {
        PlatformCalls::Get().Reset();
        PlatformCalls::Get().FailFrom(1, true, word);
        EXPECT_EQ(DllUnregisterServer(), 0);
    }
    // Nor does an empty table have what it asks for.
    PlatformCalls::Get().Reset();
    tableCalls.clear();
    EXPECT_EQ(DllUnregisterServer(), 0);
    EXPECT_EQ(tableCalls, std::vector<std::string>{removals_[0]});
}

}  // namespace
