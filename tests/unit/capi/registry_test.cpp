#include "capi/registry.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "capi/last_error.h"
#include "support/scoped_environment.h"
#include "support/system_log.h"

namespace {

using test_support::ScopedSettings;
using test_support::ScopedVariable;

constexpr char kProviderKey[] =
    "SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\"
    "Velmorix Cryptographic Service Provider";

class Key {
  public:
    explicit Key(const char* path, HKEY parent = HKEY_LOCAL_MACHINE, REGSAM rights = KEY_READ) {
        status_ = RegOpenKeyExA(parent, path, 0, rights, &key_);
    }
    ~Key() {
        if (status_ == ERROR_SUCCESS) {
            RegCloseKey(key_);
        }
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    LSTATUS Status() const { return status_; }
    HKEY Get() const { return key_; }

  private:
    HKEY key_ = nullptr;
    LSTATUS status_;
};

struct Value {
    LSTATUS status = ERROR_SUCCESS;
    DWORD type = 0;
    std::string data;
};

Value Read(HKEY key, const char* name) {
    Value value;
    std::array<char, 256> data{};
    DWORD size = data.size();
    value.status = RegQueryValueExA(key, name, nullptr, &value.type,
                                    reinterpret_cast<BYTE*>(data.data()), &size);
    if (value.status == ERROR_SUCCESS) {
        value.data.assign(data.data(), size);
    }
    return value;
}

DWORD ReadNumber(HKEY key, const char* name) {
    const Value value = Read(key, name);
    DWORD number = 0;
    if (value.data.size() == sizeof(number)) {
        std::memcpy(&number, value.data.data(), sizeof(number));
    }
    return number;
}

std::map<std::string, std::string> Enumerate(HKEY key) {
    std::map<std::string, std::string> values;
    for (DWORD index = 0;; ++index) {
        std::array<char, 64> name{};
        std::array<BYTE, 256> data{};
        DWORD nameSize = name.size();
        DWORD dataSize = data.size();
        const LSTATUS status = RegEnumValueA(key, index, name.data(), &nameSize, nullptr, nullptr,
                                             data.data(), &dataSize);
        if (status != ERROR_SUCCESS) {
            EXPECT_EQ(status, ERROR_NO_MORE_ITEMS);
            return values;
        }
        values[std::string(name.data(), nameSize)] = {data.begin(), data.begin() + dataSize};
    }
}

constexpr char kSample[] = R"(
['SOFTWARE\Sample']
Text = 'plain'
Number = 7
Negative = -1
Big = 4294967296
Yes = true
Several = ['one', 'two']
Mixed = ['one', 2]
Date = 1979-05-27
Float = 1.5

['SOFTWARE\Sample\First']
['SOFTWARE\Sample\Second\Deep']

['HKEY_CURRENT_USER\Software\Mine']
Answer = 42
)";

TEST(Registry, HoldsTheProviderWithoutAnySettings) {
    const ScopedSettings settings;
    const Key key(kProviderKey);
    ASSERT_EQ(key.Status(), ERROR_SUCCESS);
    EXPECT_EQ(ReadNumber(key.Get(), "Type"), 2U);
    const Value path = Read(key.Get(), "Image Path");
    EXPECT_EQ(path.type, DWORD{REG_SZ});
    const std::string file = path.data.c_str();
    EXPECT_EQ(path.data.size(), file.size() + 1);
    EXPECT_TRUE(file.starts_with('/'));
    EXPECT_TRUE(file.ends_with("/velmorixcsp.so"));
    EXPECT_EQ(access(file.c_str(), R_OK), 0) << file;
}

TEST(Registry, FindsTypeByWalkingTheValues) {
    const ScopedSettings settings;
    const Key key(kProviderKey);
    std::array<char, 260> classText{};
    DWORD classSize = classText.size();
    DWORD count = 0;
    DWORD longest = 0;
    ASSERT_EQ(RegQueryInfoKeyA(key.Get(), classText.data(), &classSize, nullptr, nullptr, nullptr,
                               nullptr, &count, nullptr, &longest, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(classSize, 0U);
    EXPECT_EQ(count, 2U);
    const auto values = Enumerate(key.Get());
    ASSERT_EQ(values.size(), 2U);
    EXPECT_EQ(values.at("Type"), std::string("\2\0\0\0", 4));
    EXPECT_EQ(longest, values.at("Image Path").size());
}

TEST(Registry, GivesEachKindOfValueItsType) {
    const ScopedSettings settings(kSample);
    const Key key("SOFTWARE\\Sample");
    ASSERT_EQ(key.Status(), ERROR_SUCCESS);
    const struct {
        const char* name;
        DWORD type;
        std::string data;
    } cases[] = {
        {"Text", REG_SZ, std::string("plain\0", 6)},
        {"Number", REG_DWORD, std::string("\7\0\0\0", 4)},
        {"Negative", REG_DWORD, "\xFF\xFF\xFF\xFF"},
        {"Big", REG_QWORD, std::string("\0\0\0\0\1\0\0\0", 8)},
        {"Yes", REG_DWORD, std::string("\1\0\0\0", 4)},
        {"Several", REG_MULTI_SZ, std::string("one\0two\0\0", 9)},
    };
    for (const auto& expected : cases) {
        const Value value = Read(key.Get(), expected.name);
        EXPECT_EQ(value.status, ERROR_SUCCESS) << expected.name;
        EXPECT_EQ(value.type, expected.type) << expected.name;
        EXPECT_EQ(value.data, expected.data) << expected.name;
    }
    for (const char* const name : {"Mixed", "Date", "Float"}) {
        EXPECT_EQ(Read(key.Get(), name).status, ERROR_FILE_NOT_FOUND) << name;
    }
    EXPECT_EQ(Enumerate(key.Get()).size(), std::size(cases));
}

TEST(Registry, TakesNamesWithoutRegardToCase) {
    const ScopedSettings settings(kSample);
    const Key key("software\\SAMPLE");
    ASSERT_EQ(key.Status(), ERROR_SUCCESS);
    EXPECT_EQ(ReadNumber(key.Get(), "nUMBER"), 7U);
}

TEST(Registry, LetsTheFileOverrideABuiltInValueAndKeepTheOthers) {
    const ScopedSettings settings(std::string("['") + kProviderKey + "']\ntype = 75\nMore = 'x'\n");
    const Key key(kProviderKey);
    EXPECT_EQ(ReadNumber(key.Get(), "Type"), 75U);
    EXPECT_EQ(Read(key.Get(), "Image Path").status, ERROR_SUCCESS);
    EXPECT_EQ(Enumerate(key.Get()).size(), 3U);
}

TEST(Registry, MergesTablesWhoseNamesDifferInCase) {
    const ScopedSettings settings("['A\\B']\nx = 1\n['a\\b']\nX = 2\ny = 3\n");
    const Key key("A\\B");
    const auto values = Enumerate(key.Get());
    EXPECT_EQ(values.size(), 2U);
}

TEST(Registry, TakesATableInATableForAKeyUnderAKey) {
    const ScopedSettings settings("['A\\B'.C]\nx = 1\n[D.E]\ny = 2\n");
    EXPECT_EQ(ReadNumber(Key("A\\B\\C").Get(), "x"), 1U);
    EXPECT_EQ(ReadNumber(Key("D\\E").Get(), "y"), 2U);
}

TEST(Registry, HasEveryKeyThatAPathPassesThrough) {
    const ScopedSettings settings(kSample);
    const Key sample("SOFTWARE\\Sample");
    DWORD count = 0;
    DWORD longest = 0;
    ASSERT_EQ(RegQueryInfoKeyA(sample.Get(), nullptr, nullptr, nullptr, &count, &longest, nullptr,
                               nullptr, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(longest, 6U);
    EXPECT_EQ(Key("SOFTWARE\\Sample\\Second").Status(), ERROR_SUCCESS);
    EXPECT_EQ(Key("Second\\Deep", sample.Get()).Status(), ERROR_SUCCESS);
    EXPECT_EQ(Key("SOFTWARE\\Sam").Status(), ERROR_FILE_NOT_FOUND);
}

TEST(Registry, KeepsTheUsersRootApart) {
    const ScopedSettings settings(kSample);
    EXPECT_EQ(ReadNumber(Key("Software\\Mine", HKEY_CURRENT_USER).Get(), "Answer"), 42U);
    EXPECT_EQ(Key("Software\\Mine").Status(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Key("HKEY_CURRENT_USER\\Software\\Mine").Status(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Key("SOFTWARE\\Sample", HKEY_CURRENT_USER).Status(), ERROR_FILE_NOT_FOUND);
}

TEST(Registry, ReadsARootToo) {
    const ScopedSettings settings(kSample);
    DWORD subKeys = 0;
    DWORD values = 99;
    ASSERT_EQ(RegQueryInfoKeyA(HKEY_CURRENT_USER, nullptr, nullptr, nullptr, &subKeys, nullptr,
                               nullptr, &values, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(subKeys, 1U);
    EXPECT_EQ(values, 0U);
    EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
    EXPECT_EQ(Key(nullptr).Status(), ERROR_SUCCESS);
    EXPECT_EQ(Key("").Status(), ERROR_SUCCESS);
    EXPECT_EQ(Key("SOFTWARE\\").Status(), ERROR_SUCCESS);
}

TEST(Registry, SeesAChangedFileInANewOpeningAndKeepsAnOldOneAsItWas) {
    const ScopedSettings settings("[A]\nx = 1\n");
    const Key before("A");
    settings.Write("[A]\nx = 2\n");
    const Key after("A");
    EXPECT_EQ(ReadNumber(before.Get(), "x"), 1U);
    EXPECT_EQ(ReadNumber(after.Get(), "x"), 2U);
}

// Writes into the file itself, which keeps its inode, its size and, as with two changes within a
// tick of the clock, its time.
void OverwriteWithoutATrace(const std::filesystem::path& path, const char* text) {
    struct stat before {};
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    std::ofstream(path, std::ios::binary) << text;
    const std::array<timespec, 2> times{before.st_atim, before.st_mtim};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
}

TEST(Registry, SeesASecondChangeWithinATickOfTheClock) {
    using std::chrono::steady_clock;
    const ScopedSettings settings;
    steady_clock::time_point begin;
    // Until the look comes before the file has rested, which a busy machine may keep it from.
    do {
        begin = steady_clock::now();
        settings.Write("[A]\nx = 1\n");
        EXPECT_EQ(ReadNumber(Key("A").Get(), "x"), 1u);
    } while (steady_clock::now() - begin > std::chrono::seconds(1));
    OverwriteWithoutATrace(settings.Path(), "[A]\nx = 2\n");
    EXPECT_EQ(ReadNumber(Key("A").Get(), "x"), 2u);
}

TEST(Registry, ReadsNoFileAnewThatHasRestedForSeconds) {
    const ScopedSettings settings("[A]\nx = 1\n");
    std::filesystem::last_write_time(
        settings.Path(), std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    EXPECT_EQ(ReadNumber(Key("A").Get(), "x"), 1u);
    OverwriteWithoutATrace(settings.Path(), "[A]\nx = 2\n");
    EXPECT_EQ(ReadNumber(Key("A").Get(), "x"), 1u);
}

TEST(Registry, HoldsItsDefaultsWhereTheFileIsMalformed) {
    for (const std::string& text :
         {std::string("Type = \n"), std::string("['A'\n"), std::string("\xFF\xFE\0\0", 4),
          std::string("[A]\nx = 1\n[A]\nx = 2\n"), std::string(2 << 20, '#')}) {
        const ScopedSettings settings("[A]\nx = 1\n" + text);
        EXPECT_EQ(ReadNumber(Key(kProviderKey).Get(), "Type"), 2U);
        EXPECT_EQ(Key("A").Status(), ERROR_FILE_NOT_FOUND) << text.substr(0, 20);
    }
}

TEST(Registry, TellsOnceThatAFileIsMalformed) {
    const ScopedSettings settings("x =");
    test_support::SystemLog().clear();
    EXPECT_EQ(Key("").Status(), ERROR_SUCCESS);
    EXPECT_EQ(Key("").Status(), ERROR_SUCCESS);
    ASSERT_EQ(test_support::SystemLog().size(), 1u);
    const std::string& text = test_support::SystemLog().front().text;
    EXPECT_EQ(text.find(settings.Path().string() + ": line 1: "), 0u) << text;
    EXPECT_NE(text.find("; built-in settings are used"), std::string::npos) << text;
}

TEST(Registry, HoldsItsDefaultsWhereTheFileIsNoneThatCanBeRead) {
    const test_support::ScopedFolder folder;
    const std::string pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path :
         {pipe, (folder / "").string(), std::string("/dev/zero"), std::string("/proc/self/mem")}) {
        const ScopedVariable variable("VELMORIX_SETTINGS", path);
        EXPECT_EQ(ReadNumber(Key(kProviderKey).Get(), "Type"), 2U) << path;
    }
}

TEST(RegOpenKeyExA, GivesItsErrorWords) {
    const ScopedSettings settings(kSample);
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "No Such Key", 0, KEY_READ, &key),
              ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE", 0, KEY_READ | KEY_SET_VALUE, &key),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "\\SOFTWARE", 0, KEY_READ, &key),
              ERROR_BAD_PATHNAME);
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE", 1, KEY_READ, &key),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE", 0, KEY_READ, nullptr),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegOpenKeyExA(nullptr, "SOFTWARE", 0, KEY_READ, &key), ERROR_INVALID_HANDLE);
    EXPECT_EQ(key, nullptr);
}

TEST(RegCloseKey, RefusesWhatIsNoOpenKey) {
    const ScopedSettings settings(kSample);
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "SOFTWARE", 0, KEY_READ, &key), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegCloseKey(nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(Read(key, "x").status, ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegOpenKeyExA(key, "", 0, KEY_READ, &key), ERROR_INVALID_HANDLE);
}

TEST(RegQueryValueExA, KeepsTheRuleOfSizes) {
    const ScopedSettings settings(kSample);
    const Key key("SOFTWARE\\Sample");
    DWORD type = 0;
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExA(key.Get(), "Text", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(size, 6U);
    EXPECT_EQ(type, DWORD{REG_SZ});
    EXPECT_EQ(RegQueryValueExA(key.Get(), "Text", nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    std::array<BYTE, 6> data{};
    size = 5;
    EXPECT_EQ(RegQueryValueExA(key.Get(), "Text", nullptr, nullptr, data.data(), &size),
              ERROR_MORE_DATA);
    EXPECT_EQ(size, 6U);
    EXPECT_EQ(data, (std::array<BYTE, 6>{}));
    EXPECT_EQ(RegQueryValueExA(key.Get(), "Text", nullptr, nullptr, data.data(), &size),
              ERROR_SUCCESS);
}

TEST(RegQueryValueExA, GivesItsErrorWords) {
    const ScopedSettings settings(kSample);
    const Key key("SOFTWARE\\Sample");
    BYTE data = 0;
    DWORD reserved = 0;
    EXPECT_EQ(Read(key.Get(), "None").status, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Read(key.Get(), nullptr).status, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegQueryValueExA(key.Get(), "Text", nullptr, nullptr, &data, nullptr),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegQueryValueExA(key.Get(), "Text", &reserved, nullptr, nullptr, nullptr),
              ERROR_INVALID_PARAMETER);
    const Key blind("SOFTWARE\\Sample", HKEY_LOCAL_MACHINE, KEY_ENUMERATE_SUB_KEYS);
    EXPECT_EQ(Read(blind.Get(), "Text").status, ERROR_ACCESS_DENIED);
}

TEST(RegEnumValueA, GivesItsErrorWords) {
    const ScopedSettings settings("[A]\nName = 'data'\n");
    const Key key("A");
    std::array<char, 8> name{};
    std::array<BYTE, 8> data{};
    DWORD nameSize = 4;
    DWORD dataSize = 4;
    EXPECT_EQ(
        RegEnumValueA(key.Get(), 0, name.data(), &nameSize, nullptr, nullptr, nullptr, nullptr),
        ERROR_MORE_DATA);
    nameSize = 5;
    EXPECT_EQ(
        RegEnumValueA(key.Get(), 0, name.data(), &nameSize, nullptr, nullptr, nullptr, nullptr),
        ERROR_SUCCESS);
    EXPECT_EQ(nameSize, 4U);
    nameSize = 8;
    EXPECT_EQ(RegEnumValueA(key.Get(), 0, name.data(), &nameSize, nullptr, nullptr, data.data(),
                            &dataSize),
              ERROR_MORE_DATA);
    EXPECT_EQ(dataSize, 5U);
    nameSize = 8;
    EXPECT_EQ(
        RegEnumValueA(key.Get(), 1, name.data(), &nameSize, nullptr, nullptr, nullptr, nullptr),
        ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(RegEnumValueA(key.Get(), 0, nullptr, &nameSize, nullptr, nullptr, nullptr, nullptr),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegEnumValueA(key.Get(), 0, name.data(), nullptr, nullptr, nullptr, nullptr, nullptr),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(
        RegEnumValueA(key.Get(), 0, name.data(), &nameSize, nullptr, nullptr, data.data(), nullptr),
        ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegEnumValueA(nullptr, 0, name.data(), &nameSize, nullptr, nullptr, nullptr, nullptr),
              ERROR_INVALID_HANDLE);
}

TEST(RegQueryInfoKeyA, GivesItsErrorWords) {
    const ScopedSettings settings(kSample);
    const Key key("SOFTWARE\\Sample");
    char classText = 'x';
    DWORD size = 0;
    EXPECT_EQ(RegQueryInfoKeyA(key.Get(), &classText, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr, nullptr, nullptr),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegQueryInfoKeyA(key.Get(), &classText, &size, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr, nullptr, nullptr),
              ERROR_MORE_DATA);
    EXPECT_EQ(RegQueryInfoKeyA(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr, nullptr, nullptr),
              ERROR_INVALID_HANDLE);
}

TEST(RegQueryInfoKeyA, TellsWhenTheFileWasWritten) {
    const ScopedSettings settings(kSample);
    // 2001-09-09 01:46:40 UTC, in seconds since 1970 and in units of 100 ns since 1601.
    const timespec times[2] = {{1'000'000'000, 0}, {1'000'000'000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, settings.Path().c_str(), times, 0), 0);
    FILETIME time{};
    ASSERT_EQ(RegQueryInfoKeyA(Key("SOFTWARE\\Sample").Get(), nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &time),
              ERROR_SUCCESS);
    EXPECT_EQ(static_cast<ULONGLONG>(time.dwHighDateTime) << 32 | time.dwLowDateTime,
              126444736000000000ULL);
}

TEST(Registry, SpeaksTheAnsiCodePage) {
    const ScopedSettings settings("['Ключ']\n'Имя' = 'Жук'\n");
    const ScopedVariable locale("LC_ALL", "ru_RU.CP1251");
    const Key key("\xCA\xEB\xFE\xF7");
    ASSERT_EQ(key.Status(), ERROR_SUCCESS);
    EXPECT_EQ(Read(key.Get(), "\xC8\xEC\xFF").data, std::string("\xC6\xF3\xEA\0", 4));
}

TEST(Registry, LeavesTheLastErrorAlone) {
    const ScopedSettings settings(kSample);
    SetLastError(4711);
    EXPECT_EQ(Key("No Such Key").Status(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(Read(HKEY_LOCAL_MACHINE, "None").status, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(GetLastError(), 4711U);
}

}  // namespace
