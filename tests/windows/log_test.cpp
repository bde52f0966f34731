#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "support/scoped_environment.h"
#include "windows/registered_provider.h"

namespace windows_tests {
namespace {

constexpr char kLogKey[] = "Software\\Wow6432Node\\Velmorix\\Logs\\mvlpfx64";

// The module's settings in the registry, removed at the end.
class LogSettings {
  public:
    LogSettings() {
        EXPECT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, kLogKey, 0, nullptr, 0, KEY_ALL_ACCESS,
                                  nullptr, &key_, nullptr),
                  ERROR_SUCCESS);
    }
    ~LogSettings() {
        RegCloseKey(key_);
        RegDeleteTreeA(HKEY_LOCAL_MACHINE, "Software\\Wow6432Node\\Velmorix");
    }
    LogSettings(const LogSettings&) = delete;
    LogSettings& operator=(const LogSettings&) = delete;

    void Set(const char* name, DWORD value) const {
        EXPECT_EQ(RegSetValueExA(key_, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                                 sizeof(value)),
                  ERROR_SUCCESS);
    }
    void Set(const char* name, const std::string& text) const {
        EXPECT_EQ(RegSetValueExA(key_, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                                 static_cast<DWORD>(text.size() + 1)),
                  ERROR_SUCCESS);
    }

  private:
    HKEY key_ = nullptr;
};

std::string ContentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string ThreadField() {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "0x%lx ", GetCurrentThreadId());
    return text.data();
}

constexpr DWORD kModuleLevel = 8;
constexpr DWORD kThreadAndMessage = 0x12;

TEST(WindowsLog, FileOfTheSettingsTellsLoadingAndUnloading) {
    const LogSettings settings;
    const test_support::ScopedFolder folder;
    settings.Set("file_level", kModuleLevel);
    settings.Set("file_field", kThreadAndMessage);
    settings.Set("file_filename", (folder / "module.log").string());
    const HMODULE module = LoadLibraryA("mvlpfx64.dll");
    ASSERT_NE(module, nullptr) << GetLastError();
    EXPECT_EQ(ContentOf(folder / "module.log"), ThreadField() + "loading\n");
    FreeLibrary(module);
    EXPECT_EQ(GetModuleHandleA("mvlpfx64.dll"), nullptr);
    EXPECT_EQ(ContentOf(folder / "module.log"),
              ThreadField() + "loading\n" + ThreadField() + "unloading\n");
}

TEST(WindowsLog, ChangeOfTheRegistryTakesEffectAtTheNextLine) {
    const LogSettings settings;
    const test_support::ScopedFolder folder;
    settings.Set("file_filename", (folder / "first.log").string());
    const HMODULE module = LoadLibraryA("mvlpfx64.dll");
    ASSERT_NE(module, nullptr) << GetLastError();
    settings.Set("file_field", kThreadAndMessage);
    settings.Set("file_filename", (folder / "second.log").string());
    settings.Set("file_level", kModuleLevel);
    FreeLibrary(module);
    EXPECT_EQ(ContentOf(folder / "first.log"), "");
    EXPECT_EQ(ContentOf(folder / "second.log"), ThreadField() + "unloading\n");
}

TEST(WindowsLog, WithoutSettingsNothingIsWritten) {
    const test_support::ScopedFolder folder;
    const test_support::ScopedVariable temporary("TMP", (folder / "").string());
    const HMODULE module = LoadLibraryA("mvlpfx64.dll");
    ASSERT_NE(module, nullptr) << GetLastError();
    FreeLibrary(module);
    EXPECT_TRUE(std::filesystem::is_empty(folder / ""));
}

TEST(WindowsLog, DefaultFileLiesInTheTemporaryDirectory) {
    const LogSettings settings;
    const test_support::ScopedFolder folder;
    const test_support::ScopedVariable temporary("TMP", (folder / "").string());
    settings.Set("file_level", kModuleLevel);
    const HMODULE module = LoadLibraryA("mvlpfx64.dll");
    ASSERT_NE(module, nullptr) << GetLastError();
    FreeLibrary(module);
    EXPECT_NE(ContentOf(folder / "mvlpfx64.log").find("loading"), std::string::npos);
}

}  // namespace
}  // namespace windows_tests
