#include "log/log_context.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "support/failing_allocator.h"
#include "support/log_calls.h"
#include "support/test_log.h"

namespace {

using pkisdk::InitDebugSink;
using pkisdk::InitFileSink;
using pkisdk::InitLogContext;
using pkisdk::LogContext;
using test_support::LogSurroundings;
using test_support::TestLog;

class InitLog : public testing::Test {
  protected:
    void SetUp() override { test_support::LogCalls::Get().Reset(); }

    LogSurroundings surroundings_;
    TestLog log_;
};

TEST_F(InitLog, FillsTheContextAndOpensTheSettings) {
    static int opened;
    opened = 0;
    log_.registry.open = [](LogContext*) { ++opened; };
    int spare = 0;
    ASSERT_NE(InitLogContext(&log_.context, "mvlpfx64", 61, 179, 2, log_.writes, &spare,
                             log_.records.data(), log_.reloads.data(), 6, log_.handlers.data(),
                             &opened, &log_.registry, 256),
              0);
    EXPECT_EQ(log_.context.level, 61u);
    EXPECT_EQ(log_.context.fields, 179u);
    EXPECT_EQ(log_.context.defaultLevel, 61u);
    EXPECT_EQ(log_.context.defaultFields, 179u);
    EXPECT_EQ(log_.context.defaultMaximum, 256u);
    EXPECT_EQ(log_.context.sinkCount, 2u);
    EXPECT_EQ(log_.context.handlerCount, 6u);
    EXPECT_EQ(log_.context.spareOfSinks, &spare);
    EXPECT_EQ(log_.context.spareOfHandlers, &opened);
    EXPECT_STREQ(log_.context.name.data(), "mvlpfx64");
    EXPECT_STREQ(log_.context.wideName.data(), L"mvlpfx64");
    EXPECT_EQ(opened, 1);
}

TEST_F(InitLog, FailsWhereSomethingIsMissing) {
    const auto init = [this](LogContext* context, const char* name, bool hasWrites, bool hasReloads,
                             bool hasHandlers, bool hasRegistry) {
        return InitLogContext(context, name, 1, 1, 2, hasWrites ? log_.writes : nullptr, nullptr,
                              log_.records.data(), hasReloads ? log_.reloads.data() : nullptr, 2,
                              hasHandlers ? log_.handlers.data() : nullptr, nullptr,
                              hasRegistry ? &log_.registry : nullptr, 256);
    };
    EXPECT_EQ(init(nullptr, "n", true, true, true, true), 0);
    EXPECT_EQ(init(&log_.context, nullptr, true, true, true, true), 0);
    EXPECT_EQ(init(&log_.context, "n", false, false, true, true), 0);
    EXPECT_EQ(init(&log_.context, "n", true, true, false, true), 0);
    EXPECT_EQ(init(&log_.context, "n", true, true, true, false), 0);
    EXPECT_EQ(log_.context.level, 0u);
    // One table of the sinks will do, and so will settings that nobody opens.
    log_.registry.open = nullptr;
    EXPECT_NE(init(&log_.context, "n", false, true, true, true), 0);
    LogContext other;
    EXPECT_NE(init(&other, "n", true, false, true, true), 0);
}

TEST_F(InitLog, LeavesOneThatIsSetUpAsItIs) {
    ASSERT_NE(log_.Init(), 0);
    EXPECT_NE(
        InitLogContext(&log_.context, "other", 1, 1, 1, log_.writes, nullptr, log_.records.data(),
                       log_.reloads.data(), 1, log_.handlers.data(), nullptr, &log_.registry, 80),
        0);
    EXPECT_STREQ(log_.context.name.data(), "mvlpfx64");
    EXPECT_EQ(log_.context.level, 61u);
    EXPECT_EQ(log_.context.defaultMaximum, 256u);
}

TEST_F(InitLog, ShowsQuestionMarksForControlCharactersInTheName) {
    TestLog log("a\tb\x1F\n\x7F");
    log.Init();
    EXPECT_STREQ(log.context.name.data(), "a?b??\x7F");
    EXPECT_STREQ(log.context.wideName.data(), L"a?b??\x7F");
    // Characters with the high bit are no control characters.
    TestLog upper("\xD0\xAF");
    upper.Init();
    EXPECT_STREQ(upper.context.name.data(), "\xD0\xAF");
    EXPECT_EQ(upper.context.wideName[0], wchar_t{0xD0});
    EXPECT_EQ(upper.context.wideName[1], wchar_t{0xAF});
    TestLog blank("a b");
    blank.Init();
    EXPECT_STREQ(blank.context.name.data(), "a b");
    EXPECT_STREQ(blank.context.wideName.data(), L"a b");
}

TEST_F(InitLog, CutsTheNameTo31) {
    TestLog log("1234567890123456789012345678901234567890");
    log.Init();
    EXPECT_STREQ(log.context.name.data(), "1234567890123456789012345678901");
    EXPECT_STREQ(log.context.wideName.data(), L"1234567890123456789012345678901");
}

TEST_F(InitLog, SinksTakeTheirDefaults) {
    ASSERT_NE(log_.Init(), 0);
    ASSERT_NE(InitDebugSink(&log_.context, 3, 5, 1), 0);
    EXPECT_EQ(log_.debug.level, 3u);
    EXPECT_EQ(log_.debug.defaultLevel, 3u);
    EXPECT_EQ(log_.debug.fields, 5u);
    EXPECT_EQ(log_.debug.defaultFields, 5u);
    EXPECT_EQ(log_.debug.maximum, 256u);
    EXPECT_EQ(log_.debug.defaultMaximum, 256u);
    log_.file.flags = 6;
    ASSERT_NE(InitFileSink(&log_.context, 7, 9, 2), 0);
    EXPECT_EQ(log_.file.level, 7u);
    EXPECT_EQ(log_.file.fields, 9u);
    EXPECT_EQ(log_.file.maximum, 256u);
    EXPECT_EQ(log_.file.flags, 0u);
    EXPECT_EQ(log_.file.fileName.load()->text, surroundings_.Path());
    EXPECT_EQ(log_.file.defaultFileName, log_.file.fileName.load());
}

TEST_F(InitLog, SinksAreRefusedWithoutATableOrAPlaceInIt) {
    EXPECT_EQ(InitDebugSink(&log_.context, 1, 1, 1), 0);
    EXPECT_EQ(InitFileSink(&log_.context, 1, 1, 2), 0);
    ASSERT_NE(log_.Init(), 0);
    for (const std::uint32_t index : {0u, 3u, 0xFFFFFFFFu}) {
        EXPECT_EQ(InitDebugSink(&log_.context, 1, 1, index), 0);
        EXPECT_EQ(InitFileSink(&log_.context, 1, 1, index), 0);
    }
    log_.context.sinkRecords = nullptr;
    EXPECT_EQ(InitDebugSink(&log_.context, 1, 1, 1), 0);
    EXPECT_EQ(InitFileSink(&log_.context, 1, 1, 2), 0);
}

TEST_F(InitLog, TheFileSinkIsRefusedWithoutMemoryForItsName) {
    ASSERT_NE(log_.Init(), 0);
    bool happened = true;
    for (std::size_t number = 1; happened; ++number) {
        const allocation::FailOne failure(number);
        const int answer = InitFileSink(&log_.context, 0, 0x7FFFFFFE, 2);
        happened = failure.Happened();
        EXPECT_EQ(answer, happened ? 0 : 1) << number;
    }
}

TEST_F(InitLog, FileNameTakesOneSeparator) {
    test_support::LogCalls& calls = test_support::LogCalls::Get();
    const std::pair<std::string, std::string> names[] = {{"C:\\t\\", "C:\\t\\mvlpfx64.log"},
                                                         {"/t/", "/t/mvlpfx64.log"},
                                                         {"/t", "/t/mvlpfx64.log"},
                                                         {"C:\\t", "C:\\t/mvlpfx64.log"}};
    for (const auto& [folder, name] : names) {
        calls.temporaryFolder = folder;
        TestLog log;
        log.Start();
        EXPECT_EQ(log.file.fileName.load()->text, name);
    }
}

TEST_F(InitLog, RoomForTheTemporaryDirectoryGrowsWithTheName) {
    log_.Start();
    TestLog("abc").Start();
    EXPECT_EQ(test_support::LogCalls::Get().temporaryRooms, (std::vector<DWORD>{8 + 261, 3 + 261}));
}

TEST_F(InitLog, ALongTemporaryDirectoryIsNotAskedForTwice) {
    using test_support::kTemporaryFolderVariable;
    const std::string root = std::filesystem::temp_directory_path().root_path().string();
    // With the separator at its end 255 bytes, and 256.
    const std::string fits = root + std::string(254 - root.size(), 'd');
    const test_support::ScopedVariable variable(kTemporaryFolderVariable, fits);
    TestLog log;
    log.Start();
    EXPECT_EQ(log.file.fileName.load()->text,
              (std::filesystem::path(fits) / "mvlpfx64.log").string());
    const test_support::ScopedVariable longer(kTemporaryFolderVariable, fits + "d");
    TestLog other;
    test_support::PlatformCalls::Get().Reset();
    other.Start();
    EXPECT_EQ(other.file.fileName.load()->text, "/mvlpfx64.log");
    EXPECT_EQ(test_support::PlatformCalls::Get().Count("GetTempPathA"), 1);
}

TEST_F(InitLog, WithoutATemporaryDirectoryTheFileSinkFailsAndTheLogWorks) {
    test_support::PlatformCalls::Get().FailNamed("GetTempPathA", 1, 5);
    surroundings_.Set(
        {{"dbg_level", 8}, {"file_level", 8}, {"file_filename", surroundings_.Path("named.log")}});
    ASSERT_NE(log_.Init(), 0);
    EXPECT_EQ(InitFileSink(&log_.context, 0, 0x7FFFFFFE, 2), 0);
    ASSERT_NE(InitDebugSink(&log_.context, 0, 0x10, 1), 0);
    pkisdk::ReloadLogConfig(&log_.context);
    EXPECT_NE(log_.Say("message"), 0);
    EXPECT_EQ(test_support::LogCalls::Get().debugOutput, std::vector<std::string>{"message\n"});
    EXPECT_TRUE(test_support::LogCalls::Get().openings.empty());
}

}  // namespace
