#include "log/log_record.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_log.h"

namespace {

using pkisdk::FormatLogPrefix;
using pkisdk::LogContext;
using test_support::TestLog;

// What a call says of itself.
struct Call {
    const char* file = nullptr;
    std::int32_t line = 0;
    const char* function = nullptr;
    std::uint32_t code = pkisdk::kNoLogCode;
    DWORD lastError = 0;
    int savedErrno = 0;
    std::size_t size = 256;
};

class LogRecord : public testing::Test {
  protected:
    // A line of these fields.
    std::string Format(std::uint32_t fields, const Call& call, const char* format, ...) {
        std::string text(call.size + 1, '#');
        va_list arguments;
        va_start(arguments, format);
        EXPECT_EQ(FormatLogPrefix(&log_.context, text.data(), fields, call.file, call.line,
                                  call.function, call.code, call.size, format, call.lastError,
                                  call.savedErrno, arguments),
                  1);
        va_end(arguments);
        EXPECT_EQ(text[call.size], '#');
        return text.c_str();
    }
    std::string Format(std::uint32_t fields, const Call& call) {
        return Format(fields, call, "%s", "m");
    }
    void AddHandlers(std::uint32_t count) {
        log_.handlers[2] = [](auto&, char** position, std::size_t* left) {
            Put("three ", position, left);
        };
        log_.handlers[3] = [](auto&, char** position, std::size_t* left) {
            Put("four ", position, left);
        };
        log_.handlers[4] = [](auto&, char** position, std::size_t* left) {
            Put("five ", position, left);
        };
        log_.handlers[5] = [](auto&, char** position, std::size_t* left) {
            Put("six ", position, left);
        };
        log_.context.handlerCount = count;
    }
    static void Put(const std::string& text, char** position, std::size_t* left) {
        if (text.size() >= *left) {
            *left = 0;
            return;
        }
        *position += text.copy(*position, text.size());
        **position = '\0';
        *left -= text.size();
    }
    void SetUp() override { log_.Init(); }

    test_support::LogSurroundings surroundings_;
    TestLog log_;
};

TEST_F(LogRecord, HasTheModuleNamePaddedToEight) {
    EXPECT_EQ(Format(0x11, {}), "mvlpfx64 m");
    TestLog other("abc");
    other.Init();
    log_.context.name = other.context.name;
    EXPECT_EQ(Format(0x11, {}), "abc      m");
    EXPECT_EQ(Format(0x1, {}), "abc     ");
    log_.context.name = {};
    EXPECT_EQ(Format(0x11, {}), "m");
}

TEST_F(LogRecord, HasTheThreadsNumberInHexadecimal) {
    EXPECT_EQ(Format(0x12, {}), test_support::ThreadField() + "m");
    log_.context.handlerCount = 1;
    EXPECT_EQ(Format(0x12, {}), "m");
}

TEST_F(LogRecord, HasTheFurtherHandlersThatAreThere) {
    constexpr std::uint32_t kAll = 0x10000 | 0x20000 | 0x40000 | 0x400 | 0x200;
    AddHandlers(6);
    EXPECT_EQ(Format(kAll, {}), "three four five six");
    EXPECT_EQ(Format(0x200, {}), "three");
    EXPECT_EQ(Format(0x400, {}), "four");
    EXPECT_EQ(Format(0x10000, {}), "five");
    EXPECT_EQ(Format(0x20000, {}), "six");
    AddHandlers(5);
    EXPECT_EQ(Format(kAll, {}), "three four five");
    AddHandlers(3);
    EXPECT_EQ(Format(kAll, {}), "three");
    AddHandlers(2);
    EXPECT_EQ(Format(kAll, {}), "");
}

TEST_F(LogRecord, HasNoHandlerBeyondTheLastBit) {
    std::vector<pkisdk::FieldHandler> many(
        25, [](auto&, char** position, std::size_t* left) { Put("x", position, left); });
    log_.context.handlers = many.data();
    log_.context.handlerCount = static_cast<std::uint32_t>(many.size());
    EXPECT_EQ(Format(0xFFFF0000, {}), std::string(16, 'x'));
    EXPECT_EQ(Format(0x80000000, {}), "x");
    // The lowest bit is that of the first and of no other.
    EXPECT_EQ(Format(0xFFFF0001, {}), std::string(17, 'x'));
}

TEST_F(LogRecord, AHandlerThatFillsTheBufferIsTheLast) {
    AddHandlers(6);
    EXPECT_EQ(Format(0x30610, {}), "three four five six m");
    log_.handlers[3] = [](auto&, char** position, std::size_t* left) {
        Put("full", position, left);
        *left = 0;
    };
    static int called;
    called = 0;
    log_.handlers[4] = [](auto&, char**, std::size_t*) { ++called; };
    EXPECT_EQ(Format(0x30610, {}), "three full");
    EXPECT_EQ(called, 0);
}

TEST_F(LogRecord, HasSourceFileAndLine) {
    EXPECT_EQ(Format(0x14, {"a.cpp", 7}), "a.cpp       :7    m");
    EXPECT_EQ(Format(0x14, {"a_long_file.cpp", 12345}), "a_long_file.cpp:12345 m");
    EXPECT_EQ(Format(0x14, {}), "m");
}

TEST_F(LogRecord, OfAPathWithBothSeparatorsPrintsWhatFollowsTheLaterPaddedTo12) {
    EXPECT_EQ(Format(0x14, {"c:\\src/log\\a.cpp", 7}), "a.cpp       :7    m");
    EXPECT_EQ(Format(0x14, {"c:\\src/a.cpp", 7}), "a.cpp       :7    m");
}

TEST_F(LogRecord, OfASourceFileEndingInASeparatorPrintsColonAndLine) {
    EXPECT_EQ(Format(0x14, {"src/", 7}), ":7    m");
    EXPECT_EQ(Format(0x14, {"src\\", 12}), ":12   m");
    EXPECT_EQ(Format(0x14, {"", 12}), ":12   m");
}

TEST_F(LogRecord, HasTheFunction) {
    EXPECT_EQ(Format(0x18, {nullptr, 0, "main"}), "main m");
    EXPECT_EQ(Format(0x18, {}), "m");
}

TEST_F(LogRecord, HasTheWordSize) {
    EXPECT_EQ(Format(0x810, {}), "x64 m");
}

TEST_F(LogRecord, HasTheCallersFormatAndArguments) {
    EXPECT_EQ(Format(0x10, {}, "%d of %s", 3, "four"), "3 of four");
    EXPECT_EQ(Format(0x1, {}, "%d of %s", 3, "four"), "mvlpfx64");
}

TEST_F(LogRecord, HasLastErrorAndErrnoUnlessTheyAre0) {
    const Call failed{nullptr, 0, nullptr, pkisdk::kNoLogCode, 0x80090005, 2};
    EXPECT_EQ(Format(0x30, failed), "m L:0x80090005(-2146893819)");
    EXPECT_EQ(Format(0x50, failed), "m E:0x2(2)");
    EXPECT_EQ(Format(0x70, failed), "m L:0x80090005(-2146893819) E:0x2(2)");
    EXPECT_EQ(Format(0x10, failed), "m");
}

TEST_F(LogRecord, LastError0AndErrno0PrintNothing) {
    EXPECT_EQ(Format(0x70, {}), "m");
}

TEST_F(LogRecord, CodesMinus1AndMinus2PrintNoCodeAnd0Does) {
    EXPECT_EQ(Format(0x110, {nullptr, 0, nullptr, 0xFFFFFFFF}), "m");
    EXPECT_EQ(Format(0x110, {nullptr, 0, nullptr, 0xFFFFFFFE}), "m");
    EXPECT_EQ(Format(0x110, {nullptr, 0, nullptr, 0xFFFFFFFD}), "m Code:0xfffffffd(4294967293)");
    EXPECT_EQ(Format(0x110, {nullptr, 0, nullptr, 0}), "m Code:0x0(0)");
    EXPECT_EQ(Format(0x110, {nullptr, 0, nullptr, 0x1F}), "m Code:0x1f(31)");
    EXPECT_EQ(Format(0x10, {nullptr, 0, nullptr, 0}), "m");
}

TEST_F(LogRecord, OfAllFieldsStandsInTheTablesOrder) {
    AddHandlers(6);
    const Call call{"src/a.cpp", 12, "main", 31, 5, 2};
    EXPECT_EQ(Format(0xFFFFFFFF, call, "hello %d", 7),
              "mvlpfx64 three four " + test_support::ThreadField() +
                  "five six a.cpp       :12   main x64 hello 7 L:0x5(5) E:0x2(2) Code:0x1f(31)");
    EXPECT_EQ(Format(0, call, "hello %d", 7), "");
}

TEST_F(LogRecord, AMessageThatFillsTheBufferSuppressesEverythingAfterIt) {
    Call call{nullptr, 0, nullptr, 31};
    call.size = 10;
    EXPECT_EQ(Format(0x110, call, "%s", "0123456789"), "012345678");
    EXPECT_EQ(Format(0x110, call, "%s", "01234567890123"), "012345678");
    EXPECT_EQ(Format(0x111, call, "%s", "01"), "mvlpfx64 ");
    // One that just fits has no room for its blank, nor for what comes after it.
    EXPECT_EQ(Format(0x110, call, "%s", "012345678"), "012345678");
    EXPECT_EQ(Format(0x110, call, "%s", "01234567"), "01234567 ");
    // Its own blank is the line's last then.
    EXPECT_EQ(Format(0x10, call, "%s", "01234567 "), "01234567");
}

TEST_F(LogRecord, APartThatIsCutEndsTheLine) {
    Call call{nullptr, 0, "function"};
    call.size = 8;
    EXPECT_EQ(Format(0x818, call), "functio");
    call.size = 1;
    EXPECT_EQ(Format(0x818, call), "");
}

TEST_F(LogRecord, AnEmptyMessageEndsTheLineAndKeepsTheBlankBefore) {
    const Call call{nullptr, 0, nullptr, 31};
    EXPECT_EQ(Format(0x111, call, "%s", ""), "mvlpfx64 ");
}

TEST_F(LogRecord, ThatIsEmptyLeavesWhatStandsBeforeTheBuffer) {
    va_list none{};
    char room[] = " ###";
    EXPECT_EQ(
        FormatLogPrefix(&log_.context, room + 1, 0, nullptr, 0, nullptr, 0, 3, "m", 0, 0, none), 1);
    EXPECT_EQ(std::string(room, 2), std::string(" \0", 2));
}

TEST_F(LogRecord, IsNotMadeWithoutFormatOrBuffer) {
    va_list none{};
    char buffer[] = "unchanged";
    EXPECT_EQ(
        FormatLogPrefix(&log_.context, nullptr, 0x10, nullptr, 0, nullptr, 0, 256, "m", 0, 0, none),
        0);
    EXPECT_EQ(FormatLogPrefix(&log_.context, buffer, 0x10, nullptr, 0, nullptr, 0, sizeof(buffer),
                              nullptr, 0, 0, none),
              0);
    EXPECT_STREQ(buffer, "unchanged");
    EXPECT_EQ(
        FormatLogPrefix(&log_.context, buffer, 0x10, nullptr, 0, nullptr, 0, 0, "m", 0, 0, none),
        1);
    EXPECT_STREQ(buffer, "unchanged");
}

}  // namespace
