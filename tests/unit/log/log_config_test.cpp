#include "log/log_config.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/failing_allocator.h"
#include "support/log_calls.h"
#include "support/test_log.h"

namespace {

using pkisdk::LogContext;
using pkisdk::PollLogConfig;
using pkisdk::ReloadLogConfig;
using test_support::LogCalls;
using test_support::LogSurroundings;
using test_support::PlatformCalls;
using test_support::TestLog;

class LogConfig : public testing::Test {
  protected:
    void SetUp() override { LogCalls::Get().Reset(); }
    // The maximum of the debugger's sink under that setting.
    std::uint32_t MaximumUnder(std::uint32_t setting) {
        surroundings_.Set({{"dbg_max", setting}});
        TestLog log;
        log.Start();
        return log.debug.maximum;
    }
    bool HasEvent() const { return log_.registry.event.load() != nullptr; }

    LogSurroundings surroundings_;
    TestLog log_;
};

TEST_F(LogConfig, WithoutAnySettingNothingIsWritten) {
    log_.Start();
    EXPECT_EQ(log_.context.level, 61u);
    EXPECT_EQ(log_.context.fields, 179u);
    EXPECT_EQ(log_.debug.level, 0u);
    EXPECT_EQ(log_.debug.fields, 0x7FFFFFFFu);
    EXPECT_EQ(log_.debug.maximum, 256u);
    EXPECT_EQ(log_.file.level, 0u);
    EXPECT_EQ(log_.file.fields, 0x7FFFFFFEu);
    EXPECT_EQ(log_.file.maximum, 256u);
    EXPECT_EQ(log_.file.fileName.load()->text, surroundings_.Path());
    EXPECT_NE(log_.Say("message"), 0);
    EXPECT_TRUE(LogCalls::Get().debugOutput.empty());
    EXPECT_TRUE(LogCalls::Get().openings.empty());
}

TEST_F(LogConfig, EverySettingIsRead) {
    surroundings_.Set({{"level", 1},
                       {"fields", 2},
                       {"dbg_level", 3},
                       {"dbg_field", 4},
                       {"dbg_max", 96},
                       {"file_level", 6},
                       {"file_field", 7},
                       {"file_max", 112},
                       {"file_filename", "/some/file"}});
    log_.Start();
    EXPECT_EQ(log_.context.level, 1u);
    EXPECT_EQ(log_.context.fields, 2u);
    EXPECT_EQ(log_.debug.level, 3u);
    EXPECT_EQ(log_.debug.fields, 4u);
    EXPECT_EQ(log_.debug.maximum, 96u);
    EXPECT_EQ(log_.file.level, 6u);
    EXPECT_EQ(log_.file.fields, 7u);
    EXPECT_EQ(log_.file.maximum, 112u);
    EXPECT_EQ(log_.file.fileName.load()->text, "/some/file");
    EXPECT_EQ(log_.context.defaultLevel, 61u);
}

TEST_F(LogConfig, ValuesAreThoseOfTheKeyOfTheModulesName) {
    surroundings_.Set({{"level", 1}});
    surroundings_.Set({{"level", 2}}, "other64");
    TestLog other("other64");
    log_.Start();
    other.Start();
    EXPECT_EQ(log_.context.level, 1u);
    EXPECT_EQ(other.context.level, 2u);
}

TEST_F(LogConfig, DbgMaxOf64Gives256And65Gives80And4096StaysAnd4097Gives256) {
    EXPECT_EQ(MaximumUnder(64), 256u);
    EXPECT_EQ(MaximumUnder(65), 80u);
    EXPECT_EQ(MaximumUnder(4096), 4096u);
    EXPECT_EQ(MaximumUnder(4097), 256u);
    EXPECT_EQ(MaximumUnder(0), 256u);
    EXPECT_EQ(MaximumUnder(80), 80u);
    EXPECT_EQ(MaximumUnder(81), 96u);
    EXPECT_EQ(MaximumUnder(4081), 4096u);
    EXPECT_EQ(MaximumUnder(0xFFFFFFFF), 256u);
}

TEST_F(LogConfig, FileMaxHasTheSameLimit) {
    surroundings_.Set({{"file_max", 65}});
    EXPECT_EQ(log_.Start().file.maximum, 80u);
}

TEST_F(LogConfig, ARegSzWhereARegDwordIsExpectedIsIgnored) {
    // A terminator alone takes as many bytes as a number on Linux.
    surroundings_.Set({{"level", "1"},
                       {"dbg_field", ""},
                       {"dbg_level", 0x100000000},
                       {"file_level", std::vector<std::string>{"a"}}});
    log_.Start();
    EXPECT_EQ(log_.context.level, 61u);
    EXPECT_EQ(log_.debug.level, 0u);
    EXPECT_EQ(log_.debug.fields, 0x7FFFFFFFu);
    EXPECT_EQ(log_.file.level, 0u);
    EXPECT_TRUE(HasEvent());
}

TEST_F(LogConfig, ATextAsLongAsANumberIsNone) {
    static_assert(sizeof(L"") == sizeof(DWORD) || sizeof(L"x") == sizeof(DWORD));
    surroundings_.Set({{"level", ""}, {"fields", "x"}});
    log_.Start();
    EXPECT_EQ(log_.context.level, 61u);
    EXPECT_EQ(log_.context.fields, 179u);
    surroundings_.Set({{"level", "x"}, {"fields", ""}});
    ReloadLogConfig(&log_.context);
    EXPECT_EQ(log_.context.level, 61u);
    EXPECT_EQ(log_.context.fields, 179u);
}

TEST_F(LogConfig, ANumberWhereTheFileNameIsExpectedIsIgnored) {
    const test_support::LogSetting others[] = {7, std::vector<std::string>{"/some/file"}};
    for (const test_support::LogSetting& other : others) {
        surroundings_.Set({{"file_filename", other}});
        TestLog log;
        EXPECT_EQ(log.Start().file.fileName.load()->text, surroundings_.Path()) << other.index();
    }
}

TEST_F(LogConfig, FileNamesMayHaveCharactersOfSeveralBytes) {
    const test_support::ScopedVariable locale("LC_ALL", "C.UTF-8");
    if (GetACP() != CP_UTF8) {
        GTEST_SKIP() << "the code page is the process's for good here, and not UTF-8";
    }
    surroundings_.Set({{"file_filename", "/журнал"}});
    EXPECT_EQ(log_.Start().file.fileName.load()->text, "/журнал");
}

TEST_F(LogConfig, AMissingSubkeyLeavesTheLoggerWithNoEventForGood) {
    surroundings_.Set({{"level", 1}}, "other64");
    log_.Start();
    EXPECT_FALSE(HasEvent());
    surroundings_.Set({{"level", 1}, {"dbg_level", 8}});
    EXPECT_EQ(PollLogConfig(&log_.context, 0xFFFFFFFF), 61u);
    EXPECT_NE(log_.Say("message"), 0);
    EXPECT_TRUE(LogCalls::Get().debugOutput.empty());
    // Were there a reload, it would find them.
    ReloadLogConfig(&log_.context);
    EXPECT_EQ(log_.context.level, 1u);
}

TEST_F(LogConfig, AChangeOfLevelIsSeenAtTheNextLogCallAndNotBefore) {
    surroundings_.Set({{"level", 16}, {"dbg_level", 8}, {"dbg_field", 0x10}});
    log_.Start();
    log_.Say("not wanted");
    surroundings_.Set({{"level", 8}, {"dbg_level", 8}, {"dbg_field", 0x10}});
    EXPECT_EQ(log_.context.level, 16u);
    log_.Say("wanted");
    EXPECT_EQ(log_.context.level, 8u);
    EXPECT_EQ(LogCalls::Get().debugOutput, std::vector<std::string>{"wanted\n"});
    // And again: the watch is renewed.
    surroundings_.Set({{"level", 16}});
    log_.Say("not wanted");
    surroundings_.Set({{"level", 8}, {"dbg_level", 8}, {"dbg_field", 0x10}});
    log_.Say("wanted too");
    EXPECT_EQ(LogCalls::Get().debugOutput, (std::vector<std::string>{"wanted\n", "wanted too\n"}));
}

TEST_F(LogConfig, AValueThatGoesHasItsDefaultAgain) {
    surroundings_.Set({{"level", 1}, {"fields", 16}, {"file_filename", "/some/file"}});
    log_.Start();
    EXPECT_EQ(log_.context.fields, 16u);
    surroundings_.Set({{"dbg_level", 2}});
    PollLogConfig(&log_.context, 1);
    EXPECT_EQ(log_.context.level, 61u);
    EXPECT_EQ(log_.context.fields, 179u);
    EXPECT_EQ(log_.debug.level, 2u);
    EXPECT_EQ(log_.file.fileName.load()->text, surroundings_.Path());
}

TEST_F(LogConfig, ASettingOfASinkThatGoesHasItsDefaultAgain) {
    surroundings_.Set({{"dbg_level", 5}, {"dbg_field", 6}, {"dbg_max", 96}});
    log_.Start();
    surroundings_.Set({{"level", 2}});
    PollLogConfig(&log_.context, 1);
    EXPECT_EQ(log_.debug.level, 0u);
    EXPECT_EQ(log_.debug.fields, 0x7FFFFFFFu);
    EXPECT_EQ(log_.debug.maximum, 256u);
}

TEST_F(LogConfig, OpeningForgetsWhatWasHeld) {
    char old = 0;
    log_.registry.key = reinterpret_cast<HKEY>(&old);
    log_.registry.event = &old;
    log_.Init();
    EXPECT_EQ(log_.registry.key.load(), nullptr);
    EXPECT_EQ(log_.registry.event.load(), nullptr);
}

TEST_F(LogConfig, ASinkThatThereIsNotIsNotReloaded) {
    surroundings_.Set({{"dbg_level", 5}, {"file_level", 6}});
    log_.Init();
    for (const std::uint32_t index : {0U, 3U}) {
        pkisdk::ReloadDebugSink(&log_.context, index);
        pkisdk::ReloadFileSink(&log_.context, index);
    }
    EXPECT_EQ(log_.debug.level, 0u);
    EXPECT_EQ(log_.file.level, 0u);
}

TEST_F(LogConfig, AFileNameThatIsFixedIsNotAskedFor) {
    surroundings_.Set({{"file_filename", "/some/file"}, {"file_level", 1}});
    log_.Init();
    pkisdk::InitFileSink(&log_.context, 0, 0, 2);
    log_.file.flags = pkisdk::kLogFileNameIsFixed;
    ReloadLogConfig(&log_.context);
    EXPECT_EQ(log_.file.level, 1u);
    EXPECT_EQ(log_.file.fileName.load()->text, surroundings_.Path());
}

TEST_F(LogConfig, NamesThatComeBackAreKeptOnce) {
    surroundings_.Set({{"file_filename", "/one"}});
    log_.Start();
    const pkisdk::LogFileName* const one = log_.file.fileName;
    surroundings_.Set({{"file_filename", "/two"}});
    PollLogConfig(&log_.context, 1);
    EXPECT_EQ(log_.file.fileName.load()->text, "/two");
    // What a write in another thread may still be reading.
    EXPECT_EQ(one->text, "/one");
    surroundings_.Set({{"file_filename", "/one"}});
    PollLogConfig(&log_.context, 1);
    EXPECT_EQ(log_.file.fileName.load(), one);
}

TEST_F(LogConfig, SinksAreReloadedInOrderWhereTheyCanBe) {
    static std::vector<std::uint32_t> reloaded;
    reloaded.clear();
    const auto note = [](LogContext*, std::uint32_t index) { reloaded.push_back(index); };
    log_.reloads = {note, note};
    log_.Start();
    EXPECT_EQ(reloaded, (std::vector<std::uint32_t>{1, 2}));
    log_.reloads = {nullptr, note};
    ReloadLogConfig(&log_.context);
    EXPECT_EQ(reloaded, (std::vector<std::uint32_t>{1, 2, 2}));
    log_.context.sinkReloads = nullptr;
    ReloadLogConfig(&log_.context);
    EXPECT_EQ(reloaded.size(), 3u);
}

TEST_F(LogConfig, PollAnswersTheLevelsInCommon) {
    EXPECT_EQ(PollLogConfig(&log_.context, 8), 0u);
    surroundings_.Set({{"level", 12}});
    log_.Start();
    EXPECT_EQ(PollLogConfig(&log_.context, 8), 8u);
    EXPECT_EQ(PollLogConfig(&log_.context, 0xFFFFFFF3), 0u);
    EXPECT_EQ(PollLogConfig(&log_.context, 7), 4u);
}

TEST_F(LogConfig, LastErrorAndErrnoStayThroughPollAndReload) {
    surroundings_.Set({{"level", 1}});
    log_.Start();
    for (const bool isChanged : {false, true}) {
        if (isChanged) {
            surroundings_.Set({{"level", "2"}, {"file_filename", 5}});
        }
        SetLastError(12345);
        errno = EDOM;
        PollLogConfig(&log_.context, 8);
        EXPECT_EQ(errno, EDOM);
        EXPECT_EQ(GetLastError(), 12345u);
    }
    EXPECT_EQ(log_.context.level, 61u);
}

TEST_F(LogConfig, WithoutTheRegistrysLibraryThereAreDefaults) {
    surroundings_.Set({{"level", 1}});
    PlatformCalls::Get().FailFrom(1, true, 126);
    log_.Init();
    ReloadLogConfig(&log_.context);
    EXPECT_GT(PlatformCalls::Get().Count("GetModuleHandleA"), 0);
    EXPECT_EQ(PlatformCalls::Get().Count("GetProcAddress"), 0);
    EXPECT_EQ(log_.context.level, 61u);
    EXPECT_FALSE(HasEvent());
}

TEST_F(LogConfig, EachFunctionOfTheRegistryIsNeeded) {
    surroundings_.Set({{"level", 1}});
    for (int n = 1; n <= 4; ++n) {
        PlatformCalls::Get().Reset();
        PlatformCalls::Get().FailNamed("GetProcAddress", n, 127);
        TestLog log;
        log.Init();
        EXPECT_EQ(log.registry.key.load(), nullptr) << n;
        EXPECT_EQ(log.registry.event.load(), nullptr);
        // Only what is not known yet is asked for again.
        ReloadLogConfig(&log.context);
        EXPECT_EQ(log.context.level, 1u);
        EXPECT_EQ(PlatformCalls::Get().Count("GetProcAddress"), 5);
        // The library may have gone meanwhile.
        EXPECT_EQ(PlatformCalls::Get().Count("GetModuleHandleA"), 2);
    }
}

TEST_F(LogConfig, WithoutAnEventTheValuesAreReadOnce) {
    surroundings_.Set({{"level", 1}});
    PlatformCalls::Get().FailNamed("CreateEventA", 1, 4);
    log_.Start();
    EXPECT_EQ(log_.context.level, 1u);
    EXPECT_FALSE(HasEvent());
    surroundings_.Set({{"level", 2}});
    EXPECT_EQ(PollLogConfig(&log_.context, 0xFF), 1u);
}

TEST_F(LogConfig, APollThatFailsReloadsNothing) {
    surroundings_.Set({{"level", 1}});
    log_.Start();
    surroundings_.Set({{"level", 2}});
    PlatformCalls::Get().FailNamed("WaitForSingleObject", 1, 6);
    SetLastError(77);
    EXPECT_EQ(PollLogConfig(&log_.context, 0xFF), 1u);
    EXPECT_EQ(GetLastError(), 77u);
    EXPECT_EQ(PollLogConfig(&log_.context, 0xFF), 2u);
}

TEST_F(LogConfig, RegistryCallsThatFailLeaveDefaults) {
    surroundings_.Set({{"level", 1}, {"file_filename", "/some/file"}});
    log_.Start();
    EXPECT_EQ(log_.context.level, 1u);
    log_.context.queryValue = [](HKEY, LPCWSTR, LPDWORD, LPDWORD, LPBYTE, LPDWORD) -> LSTATUS {
        return ERROR_ACCESS_DENIED;
    };
    ReloadLogConfig(&log_.context);
    EXPECT_EQ(log_.context.level, 61u);
    EXPECT_EQ(log_.file.fileName.load()->text, surroundings_.Path());
}

TEST_F(LogConfig, ATextThatCannotBeReadOrNarrowedIsTheDefault) {
    surroundings_.Set({{"file_filename", "/some/file"}});
    log_.Start();
    for (int n : {1, 2}) {
        PlatformCalls::Get().Reset();
        PlatformCalls::Get().FailNamed("WideCharToMultiByte", n, 122);
        std::string text;
        pkisdk::ReadLogText(&log_.context, L"file_filename", &text, "default");
        EXPECT_EQ(text, "default");
    }
    // Neither call answers: FailFrom counts all calls from here on.
    int failures = 0;
    for (int n = 1; n <= 3; ++n) {
        PlatformCalls::Get().Reset();
        PlatformCalls::Get().FailFrom(n, true, 122);
        std::string text;
        pkisdk::ReadLogText(&log_.context, L"file_filename", &text, "default");
        failures += PlatformCalls::Get().Failed() ? 1 : 0;
        EXPECT_EQ(text, PlatformCalls::Get().Failed() ? "default" : "/some/file");
    }
    EXPECT_GE(failures, 2);
    PlatformCalls::Get().Reset();
    // The size is told, and then the value can't be had.
    log_.context.queryValue = [](HKEY, LPCWSTR, LPDWORD, LPDWORD type, LPBYTE data,
                                 LPDWORD size) -> LSTATUS {
        *type = REG_SZ;
        *size = 8;
        return data == nullptr ? ERROR_SUCCESS : ERROR_MORE_DATA;
    };
    std::string text;
    pkisdk::ReadLogText(&log_.context, L"file_filename", &text, "default");
    EXPECT_EQ(text, "default");
}

TEST_F(LogConfig, AValueThatIsNoTextAnyMoreWhenItIsReadIsTheDefault) {
    surroundings_.Set({});
    log_.Start();
    log_.context.queryValue = [](HKEY, LPCWSTR, LPDWORD, LPDWORD type, LPBYTE data,
                                 LPDWORD size) -> LSTATUS {
        *type = data == nullptr ? REG_SZ : REG_DWORD;
        *size = 4;
        return ERROR_SUCCESS;
    };
    std::string text;
    pkisdk::ReadLogText(&log_.context, L"file_filename", &text, "default");
    EXPECT_EQ(text, "default");
}

TEST_F(LogConfig, WithoutMemoryForTheFilesNameItHasItsDefault) {
    // Longer than what a string holds in itself.
    surroundings_.Set({{"file_filename", std::string(100, 'n')}});
    log_.Start();
    std::set<std::string> names;
    bool happened = true;
    for (std::size_t number = 1; happened; ++number) {
        {
            const allocation::FailOne failure(number);
            pkisdk::ReloadFileSink(&log_.context, test_support::kFileIndex);
            happened = failure.Happened();
        }
        names.insert(log_.file.fileName.load()->text);
    }
    EXPECT_EQ(log_.file.fileName.load()->text, std::string(100, 'n'));
    EXPECT_EQ(names, (std::set{surroundings_.Path(), std::string(100, 'n')}));
}

TEST_F(LogConfig, AFileNameThatMemoryIsShortForGivesWayToTheDefault) {
    surroundings_.Set({{"file_filename", "/some/file"}});
    log_.Start();
    ASSERT_EQ(log_.file.fileName.load()->text, "/some/file");
    log_.registry.readText = [](LogContext*, const wchar_t*, std::string*, const std::string&) {
        throw std::bad_alloc();
    };
    pkisdk::ReloadFileSink(&log_.context, test_support::kFileIndex);
    EXPECT_EQ(log_.file.fileName.load()->text, surroundings_.Path());
}

TEST_F(LogConfig, AReloadOfASinkThatIsNotThereChangesNone) {
    surroundings_.Set({{"dbg_level", 8}, {"file_level", 8}});
    log_.Start();
    log_.debug.level = log_.file.level = 4;
    for (const std::uint32_t index : {0u, 3u, 0xFFFFFFFFu}) {
        pkisdk::ReloadDebugSink(&log_.context, index);
        pkisdk::ReloadFileSink(&log_.context, index);
    }
    EXPECT_EQ(log_.debug.level, 4u);
    EXPECT_EQ(log_.file.level, 4u);
    ReloadLogConfig(&log_.context);
    EXPECT_EQ(log_.debug.level, 8u);
    EXPECT_EQ(log_.file.level, 8u);
}

TEST_F(LogConfig, ATextWithoutItsTerminatorIsTakenToItsEnd) {
    surroundings_.Set({});
    log_.Start();
    log_.context.queryValue = [](HKEY, LPCWSTR, LPDWORD, LPDWORD type, LPBYTE data,
                                 LPDWORD size) -> LSTATUS {
        const std::wstring text = L"/f";
        *type = REG_SZ;
        *size = 2 * sizeof(wchar_t);
        if (data != nullptr) {
            std::copy(text.begin(), text.end(), reinterpret_cast<wchar_t*>(data));
        }
        return ERROR_SUCCESS;
    };
    std::string text;
    pkisdk::ReadLogText(&log_.context, L"file_filename", &text, "default");
    EXPECT_EQ(text, "/f");
}

TEST_F(LogConfig, ADwordOfAnotherSizeIsIgnored) {
    surroundings_.Set({});
    log_.Start();
    static DWORD answeredSize;
    for (answeredSize = 0; answeredSize <= 4; ++answeredSize) {
        log_.context.queryValue = [](HKEY, LPCWSTR, LPDWORD, LPDWORD type, LPBYTE data,
                                     LPDWORD size) -> LSTATUS {
            *type = REG_DWORD;
            data[0] = 9;
            *size = answeredSize;
            return ERROR_SUCCESS;
        };
        std::uint32_t value = 0;
        pkisdk::ReadLogDword(&log_.context, L"level", &value, 5);
        EXPECT_EQ(value, answeredSize == 4 ? 9u : 5u);
    }
}

TEST_F(LogConfig, KeyAndEventAreClosedAtTheFinishAlone) {
    surroundings_.Set({{"level", 1}});
    log_.Start();
    const HKEY key = log_.registry.key;
    pkisdk::CloseLogKey(&log_.context, false);
    EXPECT_EQ(log_.registry.key.load(), nullptr);
    EXPECT_TRUE(HasEvent());
    EXPECT_NE(log_.context.registryModule.load(), nullptr);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    pkisdk::CloseLogKey(&log_.context, true);

    TestLog log;
    log.Start();
    const HKEY open = log.registry.key;
    const HANDLE event = log.registry.event;
    ASSERT_NE(open, nullptr);
    pkisdk::CloseLogKey(&log.context, true);
    EXPECT_EQ(RegCloseKey(open), ERROR_INVALID_HANDLE);
    EXPECT_FALSE(CloseHandle(event));
    EXPECT_EQ(log.registry.event.load(), nullptr);
    EXPECT_EQ(log.context.registryModule.load(), nullptr);
}

TEST_F(LogConfig, TheKeyIsOpenedForReadingAndWatchedForItsValues) {
    static std::vector<std::pair<std::string, REGSAM>> opened;
    static std::vector<DWORD> filters;
    opened.clear();
    filters.clear();
    surroundings_.Set({{"level", 1}});
    log_.context.openKey = [](HKEY root, LPCSTR path, DWORD options, REGSAM rights,
                              PHKEY key) -> LSTATUS {
        opened.emplace_back(path, rights);
        return RegOpenKeyExA(root, path, options, rights, key);
    };
    log_.context.notifyChange = [](HKEY key, BOOL subtree, DWORD filter, HANDLE event,
                                   BOOL isAsynchronous) -> LSTATUS {
        filters.push_back(filter);
        EXPECT_FALSE(subtree);
        EXPECT_TRUE(isAsynchronous);
        return RegNotifyChangeKeyValue(key, subtree, filter, event, isAsynchronous);
    };
    log_.Start();
    const std::vector<std::pair<std::string, REGSAM>> expected = {
        {"Software\\Wow6432Node\\Velmorix\\Logs", 1}, {"mvlpfx64", 0x11}};
    EXPECT_EQ(opened, expected);
    EXPECT_EQ(filters, std::vector<DWORD>{4});
    surroundings_.Set({{"level", 2}});
    PollLogConfig(&log_.context, 1);
    EXPECT_EQ(filters, (std::vector<DWORD>{4, 4}));
    const LogCalls::Event unnamedManual = {false, TRUE, FALSE, false};
    EXPECT_EQ(LogCalls::Get().events, std::vector<LogCalls::Event>{unnamedManual});
}

// With the reset after it, a change during the reload would be lost.
TEST_F(LogConfig, AChangeIsAcknowledgedThenReadThenWatchedForAnew) {
    static std::vector<std::pair<std::string, int>> steps;
    static const auto noteStep = [](const char* step) {
        steps.emplace_back(step, PlatformCalls::Get().Count("ResetEvent"));
    };
    surroundings_.Set({{"level", 1}});
    log_.Start();
    EXPECT_EQ(PlatformCalls::Get().Count("ResetEvent"), 0);
    steps.clear();
    log_.registry.readDword = [](LogContext* context, const wchar_t* name, std::uint32_t* value,
                                 std::uint32_t fallback) {
        if (std::wstring(name) == L"level") {
            noteStep("level");
        }
        pkisdk::ReadLogDword(context, name, value, fallback);
    };
    log_.reloads = {[](LogContext*, std::uint32_t) { noteStep("sink"); }, nullptr};
    log_.context.notifyChange = [](HKEY, BOOL, DWORD, HANDLE, BOOL) -> LSTATUS {
        noteStep("watch");
        return ERROR_SUCCESS;
    };
    surroundings_.Set({{"level", 2}});
    EXPECT_EQ(PollLogConfig(&log_.context, 0xFF), 2u);
    const std::vector<std::pair<std::string, int>> expected = {
        {"level", 1}, {"sink", 1}, {"watch", 1}};
    EXPECT_EQ(steps, expected);
    EXPECT_EQ(PlatformCalls::Get().Count("ResetEvent"), 1);
}

TEST_F(LogConfig, TheKeyAboveIsClosedOnceTheModulesWasAskedFor) {
    static std::vector<std::string> calls;
    static HKEY above;
    static bool isFailing;
    surroundings_.Set({{"level", 1}});
    for (const bool fails : {false, true}) {
        calls.clear();
        above = nullptr;
        isFailing = fails;
        TestLog log;
        log.context.openKey = [](HKEY root, LPCSTR path, DWORD options, REGSAM rights,
                                 PHKEY key) -> LSTATUS {
            const bool isAbove = root == HKEY_LOCAL_MACHINE;
            calls.emplace_back(isAbove ? "open above" : "open");
            if (!isAbove) {
                EXPECT_EQ(root, above);
                if (isFailing) {
                    return ERROR_ACCESS_DENIED;
                }
            }
            const LSTATUS status = RegOpenKeyExA(root, path, options, rights, key);
            if (isAbove) {
                above = *key;
            }
            return status;
        };
        log.context.closeKey = [](HKEY key) -> LSTATUS {
            calls.emplace_back(key == above ? "close above" : "close");
            return RegCloseKey(key);
        };
        log.Init();
        EXPECT_EQ(calls, (std::vector<std::string>{"open above", "open", "close above"})) << fails;
        EXPECT_EQ(log.registry.key.load() == nullptr, fails);
        pkisdk::CloseLogKey(&log.context, true);
        EXPECT_EQ(calls.size(), fails ? 3u : 4u);
        EXPECT_EQ(calls.back(), fails ? "close above" : "close");
    }
}

TEST_F(LogConfig, WithoutAWatchTheEventStaysAndTheValuesAreReadOnce) {
    surroundings_.Set({{"level", 1}});
    log_.context.notifyChange = [](HKEY, BOOL, DWORD, HANDLE, BOOL) -> LSTATUS {
        SetLastError(6);
        errno = EIO;
        return ERROR_INVALID_HANDLE;
    };
    log_.Start();
    EXPECT_EQ(log_.context.level, 1u);
    const HANDLE event = log_.registry.event;
    ASSERT_NE(event, nullptr);
    surroundings_.Set({{"level", 2}});
    SetLastError(12345);
    errno = EDOM;
    EXPECT_EQ(PollLogConfig(&log_.context, 0xFF), 1u);
    EXPECT_EQ(GetLastError(), 12345u);
    EXPECT_EQ(errno, EDOM);
    // The same where it is the watch after a change that fails.
    ASSERT_TRUE(SetEvent(event));
    PollLogConfig(&log_.context, 0xFF);
    EXPECT_EQ(GetLastError(), 12345u);
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(log_.registry.event.load(), event);
    EXPECT_EQ(WaitForSingleObject(event, 0), DWORD{WAIT_TIMEOUT});
}

}  // namespace
