#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/cryptoapi.h"
#include "support/last_error.h"
#include "support/scoped_environment.h"

namespace {

std::string PathOf(HMODULE module) {
    char path[4096] = {};
    const DWORD length = GetModuleFileNameA(module, path, sizeof(path));
    EXPECT_EQ(length, std::string(path).size());
    return path;
}

// A library under names of the test's own.
class Modules : public testing::Test {
  protected:
    std::string CopyTo(const std::string& name) const {
        const std::filesystem::path path = folder_ / name;
        std::filesystem::copy_file(MVLPFX_FAKE_CSP, path);
        return path;
    }
    static BOOL IsFound(LPCSTR name) { return GetModuleHandleA(name) != nullptr; }

    test_support::ScopedFolder folder_;
};

TEST_F(Modules, OfTheSystemAreThisLibrary) {
    const HMODULE own = GetModuleHandleA("advapi32.dll");
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(GetModuleHandleA("ADVAPI32"), own);
    EXPECT_EQ(GetModuleHandleA("crypt32.dll"), own);
    EXPECT_EQ(GetModuleHandleA("kernel32.dll"), own);
    EXPECT_TRUE(PathOf(own).find("/libvlxcapi.so") != std::string::npos) << PathOf(own);
    EXPECT_EQ(reinterpret_cast<void*>(GetProcAddress(own, "RegOpenKeyExA")),
              reinterpret_cast<void*>(&RegOpenKeyExA));
}

TEST_F(Modules, AreFoundByNameWhileTheyAreLoaded) {
    const std::string path = CopyTo("libsome64.so.1");
    EXPECT_FAILS_WITH(ERROR_MOD_NOT_FOUND, IsFound("some64.dll"));
    void* const library = dlopen(path.c_str(), RTLD_NOW);
    ASSERT_NE(library, nullptr);
    const HMODULE module = GetModuleHandleA("some64.dll");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(GetModuleHandleA("Some64"), module);
    EXPECT_EQ(GetModuleHandleA(path.c_str()), module);
    EXPECT_EQ(PathOf(module), path);
    EXPECT_EQ(reinterpret_cast<void*>(GetProcAddress(module, "CPGenRandom")),
              dlsym(library, "CPGenRandom"));
    for (const char* other : {"some.dll", "some6.dll", "some64x.dll", "libsome64.dll", "some64.so",
                              "", ".dll", "/nowhere/libsome64.so.1"}) {
        EXPECT_FAILS_WITH(ERROR_MOD_NOT_FOUND, IsFound(other)) << other;
    }
    dlclose(library);
    EXPECT_FAILS_WITH(ERROR_MOD_NOT_FOUND, IsFound("some64.dll"));
    EXPECT_FAILS_WITH(ERROR_MOD_NOT_FOUND, GetModuleFileNameA(module, nullptr, 0));
    EXPECT_FAILS_WITH(ERROR_MOD_NOT_FOUND, GetProcAddress(module, "CPGenRandom") != nullptr);
}

TEST_F(Modules, MayHaveTheNameAsItStands) {
    void* const library = dlopen(CopyTo("other64.dll").c_str(), RTLD_NOW);
    ASSERT_NE(library, nullptr);
    EXPECT_NE(GetModuleHandleA("other64.dll"), nullptr);
    EXPECT_NE(GetModuleHandleA("OTHER64"), nullptr);
    dlclose(library);
}

TEST_F(Modules, HaveAnAbsolutePathHoweverTheyWereLoaded) {
    const std::string path = CopyTo("librelative.so");
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder_ / "");
    void* const library = dlopen("./librelative.so", RTLD_NOW);
    std::filesystem::current_path(before);
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(PathOf(GetModuleHandleA("relative.dll")), path);
    dlclose(library);
}

TEST_F(Modules, ExportWhatIsTheirOwn) {
    void* const library = dlopen(CopyTo("libmine.so").c_str(), RTLD_NOW);
    const HMODULE module = GetModuleHandleA("mine.dll");
    ASSERT_NE(module, nullptr);
    // Which the library uses, and another exports.
    ASSERT_NE(dlsym(library, "SetLastError"), nullptr);
    EXPECT_FAILS_WITH(ERROR_PROC_NOT_FOUND, GetProcAddress(module, "SetLastError") != nullptr);
    EXPECT_FAILS_WITH(ERROR_PROC_NOT_FOUND, GetProcAddress(module, "NoSuch") != nullptr);
    EXPECT_FAILS_WITH(ERROR_PROC_NOT_FOUND, GetProcAddress(module, nullptr) != nullptr);
    EXPECT_FAILS_WITH(ERROR_PROC_NOT_FOUND,
                      GetProcAddress(module, reinterpret_cast<LPCSTR>(1)) != nullptr);
    dlclose(library);
}

TEST_F(Modules, AreTheProgramForNull) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(PathOf(nullptr), program);
    EXPECT_EQ(PathOf(GetModuleHandleA(nullptr)), program);
    EXPECT_FAILS_WITH(ERROR_MOD_NOT_FOUND,
                      GetModuleFileNameA(reinterpret_cast<HMODULE>(this), nullptr, 0));
}

TEST_F(Modules, PathsAreCutToTheRoom) {
    const std::string program = PathOf(nullptr);
    char path[5] = "____";
    SetLastError(0);
    EXPECT_EQ(GetModuleFileNameA(nullptr, path, 4), 4u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(path, program.substr(0, 3));
    EXPECT_FAILS_WITH(ERROR_INSUFFICIENT_BUFFER, GetModuleFileNameA(nullptr, path, 0));
    EXPECT_FAILS_WITH(ERROR_INSUFFICIENT_BUFFER, GetModuleFileNameA(nullptr, nullptr, 4));
    std::string whole(program.size() + 1, '_');
    EXPECT_EQ(GetModuleFileNameA(nullptr, whole.data(), static_cast<DWORD>(whole.size())),
              program.size());
    EXPECT_EQ(whole.c_str(), program);
}

}  // namespace
