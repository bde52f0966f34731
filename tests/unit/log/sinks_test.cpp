// The two sinks, and what they have in common: buffers, dumps, and what a failure leaves.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "support/failing_allocator.h"
#include "support/log_calls.h"
#include "support/test_log.h"

namespace {

using test_support::LogCalls;
using test_support::LogSurroundings;
using test_support::PlatformCalls;
using test_support::TestLog;

using Texts = std::vector<std::string>;

unsigned ProcessNumber() {
    return static_cast<unsigned>(GetCurrentProcessId());
}

class Sinks : public testing::Test {
  protected:
    void SetUp() override {
        LogCalls::Get().Reset();
        surroundings_.Set({});
        log_.Start();
        log_.debug.fields = 0x10;
        log_.file.fields = 0x10;
        LogCalls::Get().Reset();
    }
    void OpenDebugger() { log_.debug.level = 8; }
    void OpenFile() { log_.file.level = 8; }
    static const Texts& DebugOutput() { return LogCalls::Get().debugOutput; }

    // A record under this mask of the context's, of the given arguments.
    int Write(pkisdk::SinkWrite write, std::uint32_t index, std::uint32_t fields,
              const char* format, ...) {
        va_list arguments;
        va_start(arguments, format);
        const int answer = write(&log_.context, 8, pkisdk::kNoLogCode, fields, index, nullptr, 0,
                                 nullptr, format, arguments);
        va_end(arguments);
        return answer;
    }
    // The lines of a dump on the debugger's sink.
    Texts Dump(const void* data, std::uint32_t size) {
        OpenDebugger();
        LogCalls::Get().debugOutput.clear();
        EXPECT_EQ(Write(&pkisdk::WriteDebugRecord, 1, 0x80, "", data, size), 1);
        return DebugOutput();
    }

    LogSurroundings surroundings_;
    TestLog log_;
};

TEST_F(Sinks, DebuggerGetsTheLineWithALineFeed) {
    OpenDebugger();
    EXPECT_EQ(log_.Say("message"), 1);
    EXPECT_EQ(DebugOutput(), Texts{"message\n"});
}

TEST_F(Sinks, TakeTheLevelsAndFieldsOfBothMasks) {
    OpenDebugger();
    log_.debug.fields = 0x7FFFFFFF;
    log_.context.fields = 0x11;
    log_.Say("one");
    log_.debug.fields = 0x1;
    log_.Say("two");
    log_.debug.fields = 0x20;
    SetLastError(0);
    log_.Say("three");
    log_.debug.fields = 0x10;
    log_.debug.level = 0xFFFFFFF7;
    log_.Say("four");
    EXPECT_EQ(DebugOutput(), (Texts{"mvlpfx64 one\n", "mvlpfx64\n"}));
}

TEST_F(Sinks, AreNotCalledPastTheirCount) {
    OpenDebugger();
    for (const std::uint32_t index : {0u, 3u}) {
        EXPECT_EQ(Write(&pkisdk::WriteDebugRecord, index, 0x10, "message"), 1);
        EXPECT_EQ(Write(&pkisdk::WriteFileRecord, index, 0x10, "message"), 1);
    }
    EXPECT_TRUE(DebugOutput().empty());
}

TEST_F(Sinks, TextIsCutAtTheMaximumAndSuppressesWhatFollows) {
    OpenDebugger();
    log_.debug.maximum = 80;
    log_.debug.fields = 0x130;
    log_.context.fields = 0x130;
    SetLastError(5);
    pkisdk::LogMessage(&log_.context, 8, 7, nullptr, 1, nullptr, "%s",
                       std::string(100, 'x').c_str());
    // The longest line: 79 characters and the line feed.
    EXPECT_EQ(DebugOutput(), Texts{std::string(79, 'x') + "\n"});
}

TEST_F(Sinks, ShowTheLastErrorAndErrnoOfTheCallAndLeaveThem) {
    OpenDebugger();
    OpenFile();
    log_.debug.fields = 0x70;
    log_.file.fields = 0x70;
    log_.context.fields = 0x70;
    SetLastError(5);
    errno = 2;
    log_.Say("message");
    EXPECT_EQ(errno, 2);
    EXPECT_EQ(GetLastError(), 5u);
    EXPECT_EQ(DebugOutput(), Texts{"message L:0x5(5) E:0x2(2)\n"});
    EXPECT_EQ(surroundings_.Content(), "message L:0x5(5) E:0x2(2)\n");
}

// The sizes that the log's own memory was asked for, and what it gave back.
std::vector<std::size_t> allocated;
int released;

void* Allocate(std::size_t size) {
    allocated.push_back(size);
    return std::malloc(size);
}

void Release(void* memory) {
    ++released;
    std::free(memory);
}

TEST_F(Sinks, BuffersLeaveTheStackAt1KBAndThenAreTheContextsOwn) {
    allocated.clear();
    released = 0;
    log_.context.allocate = &Allocate;
    log_.context.release = &Release;
    OpenDebugger();
    // 1 for the line feed and 16 for the head make 1024, and 1025.
    log_.debug.maximum = 1007;
    log_.Say("message");
    EXPECT_TRUE(allocated.empty());
    log_.debug.maximum = 1008;
    log_.Say("message");
    EXPECT_EQ(allocated, std::vector<std::size_t>{1025});
    log_.debug.maximum = 4096;
    log_.Say(std::string(5000, 'x').c_str());
    EXPECT_EQ(allocated, (std::vector<std::size_t>{1025, 4113}));
    EXPECT_EQ(released, 2);
    EXPECT_EQ(DebugOutput(), (Texts{"message\n", "message\n", std::string(4095, 'x') + "\n"}));
}

TEST_F(Sinks, LoseTheLineWithoutMemory) {
    log_.context.allocate = [](std::size_t) -> void* { return nullptr; };
    log_.context.release = &Release;
    OpenDebugger();
    log_.debug.maximum = 4096;
    SetLastError(5);
    EXPECT_EQ(log_.Say("message"), 1);
    EXPECT_EQ(GetLastError(), 5u);
    EXPECT_TRUE(DebugOutput().empty());
}

TEST_F(Sinks, OfLongLinesUseTheRuntimesMemoryWithoutOneOfTheirOwn) {
    OpenDebugger();
    log_.debug.maximum = 4096;
    log_.Say(std::string(3000, 'x').c_str());
    EXPECT_EQ(DebugOutput(), Texts{std::string(3000, 'x') + "\n"});
}

TEST_F(Sinks, OfLongLinesUseTheRuntimesMemoryWhereTheirOwnCannotBeReleased) {
    allocated.clear();
    log_.context.allocate = &Allocate;
    OpenDebugger();
    log_.debug.maximum = 4096;
    log_.Say("message");
    EXPECT_EQ(DebugOutput(), Texts{"message\n"});
    EXPECT_TRUE(allocated.empty());
}

TEST_F(Sinks, OfLongLinesUseTheRuntimesMemoryWhereTheirOwnCannotBeHad) {
    released = 0;
    log_.context.release = &Release;
    OpenDebugger();
    log_.debug.maximum = 4096;
    log_.Say("message");
    EXPECT_EQ(DebugOutput(), Texts{"message\n"});
    EXPECT_EQ(released, 0);
}

TEST_F(Sinks, WithoutRoomForALineSendNone) {
    OpenDebugger();
    log_.Say("one");
    log_.debug.maximum = 0;
    log_.Say("two");
    EXPECT_EQ(DebugOutput(), Texts{"one\n"});
}

TEST_F(Sinks, DumpSixteenBytesALine) {
    log_.debug.fields = 0x80;
    std::vector<std::uint8_t> bytes(34);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(0xF0 + i);
    }
    EXPECT_EQ(Dump(bytes.data(), 34),
              (Texts{"000:F0 F1 F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF\n",
                     "010:00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F\n", "020:10 11\n"}));
    EXPECT_EQ(Dump(bytes.data(), 16),
              Texts{"000:F0 F1 F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF\n"});
    EXPECT_EQ(Dump(bytes.data(), 1), Texts{"000:F0\n"});
}

TEST_F(Sinks, DumpLinesCutAtTheMaximum) {
    log_.debug.fields = 0x80;
    log_.debug.maximum = 10;
    // Nine characters and the line feed.
    EXPECT_EQ(Dump("ABCD", 4), Texts{"000:41 42\n"});
}

TEST_F(Sinks, DumpTheOffsetAloneForNoBytes) {
    log_.debug.fields = 0x80;
    EXPECT_EQ(Dump("", 0), Texts{"000:\n"});
}

TEST_F(Sinks, DumpNullForNoData) {
    for (const std::uint32_t fields : {0x80u, 0u}) {
        log_.debug.fields = fields;
        EXPECT_EQ(Dump(nullptr, 5), Texts{" NULL\n"});
    }
}

TEST_F(Sinks, DumpNothingMoreWhereTheSinksOwnMaskHasNotTheBit) {
    log_.debug.fields = 0x7FFFFF7F;
    EXPECT_EQ(Dump("abc", 3), Texts{});
    EXPECT_EQ(Dump("", 0), Texts{});
}

TEST_F(Sinks, DumpOffsetsOfMoreThanThreeDigits) {
    log_.debug.fields = 0x80;
    const std::string bytes(0x1001, 'A');
    const Texts lines = Dump(bytes.data(), 0x1001);
    ASSERT_EQ(lines.size(), 0x101u);
    EXPECT_EQ(lines[0x10].substr(0, 7), "100:41 ");
    EXPECT_EQ(lines[0x100], "1000:41\n");
}

TEST_F(Sinks, DumpToTheFileLineByLine) {
    OpenFile();
    log_.file.fields = 0x80;
    EXPECT_EQ(Write(&pkisdk::WriteFileRecord, 2, 0x80, "", "0123456789abcdefg", 17u), 0);
    EXPECT_EQ(surroundings_.Content(),
              "000:30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66\n010:67\n");
    EXPECT_EQ(LogCalls::Get().openings.size(), 2u);
}

TEST_F(Sinks, FileIsOpenedLockedWrittenAndClosedForEachLine) {
    OpenFile();
    EXPECT_EQ(log_.Say("one"), 0);
    EXPECT_EQ(log_.Say("two"), 0);
    EXPECT_EQ(surroundings_.Content(), "one\ntwo\n");
    const LogCalls::Opening opening = {surroundings_.Path(), 0x40000000, 3, 4, 0x80000080};
    EXPECT_EQ(LogCalls::Get().openings, (std::vector<LogCalls::Opening>{opening, opening}));
    const LogCalls::Locking locking = {2, 0xFFFFFFFF, 0xFFFFFFFF, 0};
    EXPECT_EQ(LogCalls::Get().lockings, (std::vector<LogCalls::Locking>{locking, locking}));
    const Texts calls = {"CreateFileA", "LockFileEx", "SetFilePointer", "WriteFile", "CloseHandle"};
    Texts twice = calls;
    twice.insert(twice.end(), calls.begin(), calls.end());
    Texts made = PlatformCalls::Get().Log();
    std::erase(made, "WaitForSingleObject");
    EXPECT_EQ(made, twice);
}

TEST_F(Sinks, AFileThatCannotBeCreatedLosesThatLineAndTheNextTriesAgain) {
    OpenFile();
    std::filesystem::create_directory(surroundings_.Path());
    EXPECT_EQ(log_.Say("one"), 1);
    std::filesystem::remove(surroundings_.Path());
    EXPECT_EQ(log_.Say("two"), 0);
    EXPECT_EQ(surroundings_.Content(), "two\n");
}

TEST_F(Sinks, FileWriteAnswersInverted) {
    OpenFile();
    for (const char* call : {"CreateFileA", "SetFilePointer", "WriteFile"}) {
        PlatformCalls::Get().Reset();
        PlatformCalls::Get().FailNamed(call, 1, 5);
        SetLastError(7);
        errno = 9;
        EXPECT_EQ(log_.Say("lost"), 1) << call;
        EXPECT_EQ(GetLastError(), 7u);
        EXPECT_EQ(errno, 9);
        // Whatever was opened is closed.
        EXPECT_EQ(PlatformCalls::Get().Count("CloseHandle"),
                  PlatformCalls::Get().Count("LockFileEx"));
    }
    EXPECT_EQ(surroundings_.Content(), "");
    PlatformCalls::Get().Reset();
    PlatformCalls::Get().FailNamed("LockFileEx", 1, 5);
    EXPECT_EQ(log_.Say("unlocked"), 0);
    PlatformCalls::Get().Reset();
    PlatformCalls::Get().FailNamed("CloseHandle", 1, 6);
    EXPECT_EQ(log_.Say("not closed"), 0);
    PlatformCalls::Get().Reset();
    PlatformCalls::Get().FailFrom(1 + 4, true, 6);
    EXPECT_EQ(log_.Say("neither written nor closed"), 0);
    EXPECT_EQ(surroundings_.Content(), "unlocked\nnot closed\n");
}

TEST_F(Sinks, FileOfAProcessHasItsNumberInItsName) {
    OpenFile();
    log_.file.flags = pkisdk::kLogFileIsOfProcess;
    log_.Say("message");
    char name[64];
    std::snprintf(name, sizeof(name), "mvlpfx64_%08x.log", ProcessNumber());
    EXPECT_EQ(test_support::ContentOf(surroundings_.Path(name)), "message\n");
    EXPECT_FALSE(std::filesystem::exists(surroundings_.Path()));
}

TEST_F(Sinks, FileOfAFixedNameIsNotOneOfAProcess) {
    log_.file.flags = pkisdk::kLogFileNameIsFixed;
    OpenFile();
    log_.Say("message");
    ASSERT_EQ(LogCalls::Get().openings.size(), 1u);
    EXPECT_EQ(LogCalls::Get().openings[0].name, surroundings_.Path());
}

TEST_F(Sinks, FileWithoutANameIsNotOpened) {
    pkisdk::ReleaseFileNames(&log_.file);
    EXPECT_EQ(log_.file.fileName.load(), nullptr);
    OpenFile();
    log_.Say("message");
    EXPECT_TRUE(LogCalls::Get().openings.empty());
}

TEST_F(Sinks, FileIsNotSetUpWithoutMemoryForItsName) {
    int failed = 0;
    for (std::size_t n = 1; n < 100; ++n) {
        TestLog log;
        log.Init();
        const allocation::FailOne one(n);
        const int answer = pkisdk::InitFileSink(&log.context, 0, 0, test_support::kFileIndex);
        if (!one.Happened()) {
            EXPECT_NE(answer, 0);
            break;
        }
        ++failed;
        EXPECT_EQ(answer, 0) << n;
    }
    EXPECT_GT(failed, 0);
}

TEST_F(Sinks, FileOfAProcessIsNotOpenedUnderANameOfMoreThan65535Characters) {
    OpenFile();
    log_.file.flags = pkisdk::kLogFileIsOfProcess;
    pkisdk::LogFileName name{"/" + std::string(65534, 'n'), nullptr};
    log_.file.fileName = &name;
    log_.Say("message");
    ASSERT_EQ(LogCalls::Get().openings.size(), 1u);
    EXPECT_EQ(LogCalls::Get().openings[0].name.size(), 65535u - 4 + 9 + 4);
    name.text += 'n';
    EXPECT_EQ(log_.Say("message"), 1);
    EXPECT_EQ(LogCalls::Get().openings.size(), 1u);
    name.text = "abc";
    log_.Say("message");
    char expected[64];
    std::snprintf(expected, sizeof(expected), "_%08x.log", ProcessNumber());
    EXPECT_EQ(LogCalls::Get().openings[1].name, expected);
    std::filesystem::remove(expected);
}

TEST_F(Sinks, FileOfAProcessIsNotOpenedWithoutMemoryForItsName) {
    log_.file.flags = pkisdk::kLogFileIsOfProcess;
    char line[16] = "message";
    SetLastError(0);
    {
        const allocation::FailOne failure(1);
        EXPECT_EQ(log_.file.write(&log_.context, log_.file, line, 7), 1);
        EXPECT_TRUE(failure.Happened());
    }
    EXPECT_EQ(GetLastError(), 8u);
    EXPECT_TRUE(LogCalls::Get().openings.empty());
    EXPECT_EQ(log_.file.write(&log_.context, log_.file, line, 7), 0);
}

TEST_F(Sinks, WideLinesAreWrittenInUnitsOfTwoBytes) {
    char16_t line[8] = u"ab";
    EXPECT_EQ(log_.file.writeWide(&log_.context, log_.file, line, 2), 0);
    EXPECT_EQ(surroundings_.Content(), std::string("a\0b\0\n\0", 6));
}

TEST_F(Sinks, FileThatWasNotSetUpTakesNothing) {
    TestLog log;
    log.Init();
    log.file.level = 8;
    log.file.fields = 0x10;
    log.file.maximum = 256;
    EXPECT_EQ(log.Say("message"), 1);
    EXPECT_TRUE(LogCalls::Get().openings.empty());
}

}  // namespace
