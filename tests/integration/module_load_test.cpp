// The built module as a process loads and unloads it: what it says of that, where, and that nothing
// of it ever hinders the process.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "mvlpfx/mvlpfx.h"
#include "support/scoped_environment.h"
#include "support/small_disk.h"
#include "support/system_log.h"

namespace {

using test_support::ScopedFolder;
using test_support::ScopedSettings;
using test_support::ScopedVariable;
using test_support::SystemLog;
using test_support::SystemLogEntry;

struct CloseLibrary {
    void operator()(void* library) const { dlclose(library); }
};
using Library = std::unique_ptr<void, CloseLibrary>;

Library Load() {
    Library library(dlopen(MVLPFX_MODULE, RTLD_NOW | RTLD_LOCAL));
    EXPECT_NE(library, nullptr) << dlerror();
    return library;
}

std::string ContentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string ThreadField() {
    char text[32];
    std::snprintf(text, sizeof(text), "0x%x ", GetCurrentThreadId());
    return text;
}

class ModuleLoad : public testing::Test {
  protected:
    void SetUp() override { SystemLog().clear(); }
    void Set(const std::string& lines) const {
        settings_.Write("['Software\\Wow6432Node\\Velmorix\\Logs\\mvlpfx64']\n" + lines);
    }
    static void LoadAndUnload() {
        SetLastError(0);
        const Library library = Load();
    }
    // The same in two steps, of which neither changes the last error and errno.
    static Library LoadUnnoticed() {
        SetLastError(12345);
        errno = EDOM;
        Library library = Load();
        EXPECT_EQ(errno, EDOM);
        EXPECT_EQ(GetLastError(), 12345u);
        return library;
    }
    static void UnloadUnnoticed(Library library) {
        SetLastError(12345);
        errno = EDOM;
        library.reset();
        EXPECT_EQ(errno, EDOM);
        EXPECT_EQ(GetLastError(), 12345u);
    }
    // That the module has its functions, and gives their errors.
    static void ExpectWorking(const Library& library) {
        const auto verify =
            reinterpret_cast<decltype(&UzVerifyPswPFX)>(dlsym(library.get(), "UzVerifyPswPFX"));
        ASSERT_NE(verify, nullptr);
        const PfxBlob empty{0, nullptr};
        EXPECT_EQ(verify(&empty, L"password"), FALSE);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_BAD_DATA));
    }
    std::string File() const { return folder_ / "mvlpfx64.log"; }

    ScopedFolder folder_;
    ScopedSettings settings_;
    ScopedVariable temporary_{"TMPDIR", folder_ / ""};
};

TEST_F(ModuleLoad, WritesNothingByDefault) {
    LoadAndUnload();
    EXPECT_FALSE(std::filesystem::exists(File()));
    EXPECT_TRUE(SystemLog().empty());
}

TEST_F(ModuleLoad, IsTold) {
    Set("file_level = 8\ndbg_level = 8\n");
    LoadAndUnload();
    EXPECT_EQ(ContentOf(File()), ThreadField() + "loading\n" + ThreadField() + "unloading\n");
    const std::vector<SystemLogEntry> expected = {
        {LOG_DEBUG, "mvlpfx64 " + ThreadField() + "loading"},
        {LOG_DEBUG, "mvlpfx64 " + ThreadField() + "unloading"}};
    EXPECT_EQ(SystemLog(), expected);
}

TEST_F(ModuleLoad, IsToldWithSourceLines) {
    // A message that has no file has no line.
    Set("file_level = 8\nfields = 0x1D\nfile_field = 0x1D\n");
    LoadAndUnload();
    EXPECT_EQ(ContentOf(File()), "mvlpfx64 loading\nmvlpfx64 unloading\n");
}

TEST_F(ModuleLoad, WithTheLogsLevelBit3ClearWritesNothing) {
    Set("level = 0xFFFFFFF7\nfile_level = 0xFFFFFFFF\ndbg_level = 0xFFFFFFFF\n");
    LoadAndUnload();
    EXPECT_FALSE(std::filesystem::exists(File()));
    EXPECT_TRUE(SystemLog().empty());
}

TEST_F(ModuleLoad, TakesAChangeOfTheSettingsAtTheNextCall) {
    Set("file_level = 0\n");
    const std::string other = folder_ / "other.log";
    {
        const Library library = Load();
        Set("file_level = 8\nfile_field = 0x10\nfile_filename = '" + other + "'\n");
    }
    EXPECT_EQ(ContentOf(other), "unloading\n");
    {
        const Library library = Load();
        Set("file_level = 0\nfile_filename = '" + other + "'\n");
    }
    EXPECT_EQ(ContentOf(other), "unloading\nloading\n");
}

TEST_F(ModuleLoad, LeavesTheLastErrorAndErrno) {
    for (const char* lines : {"", "file_level = 8\ndbg_level = 8\n",
                              "file_level = 8\nfile_filename = '/nowhere/file'\n"}) {
        Set(lines);
        SetLastError(12345);
        errno = EDOM;
        Library library = Load();
        EXPECT_EQ(errno, EDOM) << lines;
        EXPECT_EQ(GetLastError(), 12345u);
        Set("file_level = 8\nfile_filename = '/nowhere/other'\n");
        SetLastError(12345);
        errno = EDOM;
        library.reset();
        EXPECT_EQ(errno, EDOM);
        EXPECT_EQ(GetLastError(), 12345u);
    }
    EXPECT_NE(ContentOf(File()).find("loading L:0x3039(12345)\n"), std::string::npos);
}

TEST_F(ModuleLoad, WorksWithMalformedSettings) {
    settings_.Write("this is = = no settings");
    Library library = LoadUnnoticed();
    ExpectWorking(library);
    UnloadUnnoticed(std::move(library));
    EXPECT_FALSE(std::filesystem::exists(File()));
    // The administrator is told, once.
    ASSERT_EQ(SystemLog().size(), 1u);
    EXPECT_EQ(SystemLog()[0].priority, LOG_WARNING);
    EXPECT_EQ(SystemLog()[0].text.find(settings_.Path().string()), 0u);
}

TEST_F(ModuleLoad, WorksWithUnreadableSettings) {
    std::filesystem::create_directory(settings_.Path());
    Library library = LoadUnnoticed();
    ExpectWorking(library);
    UnloadUnnoticed(std::move(library));
    EXPECT_FALSE(std::filesystem::exists(File()));
}

TEST_F(ModuleLoad, GoesOnWithTheSettingsThatBecomeMalformed) {
    Set("file_level = 8\nfile_field = 0x10\n");
    Library library = LoadUnnoticed();
    settings_.Write("this is = = no settings");
    ExpectWorking(library);
    UnloadUnnoticed(std::move(library));
    // Which are none, and so the defaults.
    EXPECT_EQ(ContentOf(File()), "loading\n");
}

TEST_F(ModuleLoad, WorksWithoutATemporaryDirectory) {
    Set("file_level = 8\n");
    const ScopedVariable missing("TMPDIR", folder_ / "missing");
    Library library = LoadUnnoticed();
    ExpectWorking(library);
    UnloadUnnoticed(std::move(library));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "missing"));
}

TEST_F(ModuleLoad, WorksOnAFullDiskAndLeavesNoPartOfALine) {
    const std::string disk = folder_ / "disk";
    std::filesystem::create_directory(disk);
    test_support::OnASmallDisk(disk, [&] {
        const std::string file = disk + "/file.log";
        Set("file_level = 8\nfile_field = 0x10\nfile_filename = '" + file + "'\n");
        // 3 bytes are left of its page, too few for any line.
        const std::string before = std::string(4092, 'x') + "\n";
        std::ofstream(file) << before;
        std::ofstream(disk + "/filler") << std::string(1 << 20, 'f');
        Library library = LoadUnnoticed();
        ExpectWorking(library);
        EXPECT_EQ(ContentOf(file), before);
        UnloadUnnoticed(std::move(library));
        EXPECT_EQ(ContentOf(file), before);

        library = LoadUnnoticed();
        std::filesystem::remove(disk + "/filler");
        UnloadUnnoticed(std::move(library));
        EXPECT_EQ(ContentOf(file), before + "unloading\n");
    });
}

TEST_F(ModuleLoad, KeepsNothingOpenHoweverOftenItComesAndGoes) {
    Set("file_level = 0\n");
    const auto open = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    LoadAndUnload();
    const auto before = open();
    for (int i = 0; i < 200; ++i) {
        LoadAndUnload();
    }
    EXPECT_EQ(open(), before);
}

TEST_F(ModuleLoad, IsFoundByTheNameOfItsFile) {
    EXPECT_EQ(GetModuleHandleA("mvlpfx64.dll"), nullptr);
    const Library library = Load();
    EXPECT_NE(GetModuleHandleA("mvlpfx64.dll"), nullptr);
}

}  // namespace
