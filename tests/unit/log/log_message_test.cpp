#include "log/log_message.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "support/log_calls.h"
#include "support/test_log.h"

namespace {

using pkisdk::LogContext;
using pkisdk::LogMessage;
using test_support::LogCalls;
using test_support::TestLog;

// What a sink that only notes was called with.
struct Written {
    std::uint32_t level;
    std::uint32_t code;
    std::uint32_t fields;
    std::uint32_t index;
    std::string file;
    std::int32_t line;
    std::string function;
    std::string message;

    bool operator==(const Written&) const = default;
};

std::vector<Written> written;
// What each of its calls answers.
std::vector<int> answers;

int Note(LogContext*, std::uint32_t level, std::uint32_t code, std::uint32_t fields,
         std::uint32_t index, const char* file, std::int32_t line, const char* function,
         const char* format, std::va_list arguments) {
    char message[64];
    std::vsnprintf(message, sizeof(message), format, arguments);
    written.push_back({level, code, fields, index, file, line, function, message});
    return answers[index - 1];
}

class LogMessages : public testing::Test {
  protected:
    void SetUp() override {
        LogCalls::Get().Reset();
        written.clear();
        answers = {1, 1};
        log_.writes[0] = &Note;
        log_.writes[1] = &Note;
        log_.Start();
    }
    int Call(std::uint32_t level = 8) {
        return LogMessage(&log_.context, level, 3, "f.cpp", 7, "main", "%d %s", 5, "six");
    }

    test_support::LogSurroundings surroundings_;
    TestLog log_;
};

TEST_F(LogMessages, GoToEverySinkInOrderWithoutTheBitOfADump) {
    EXPECT_NE(Call(), 0);
    const Written first{8, 3, 179 & ~0x80u, 1, "f.cpp", 7, "main", "5 six"};
    Written second = first;
    second.index = 2;
    EXPECT_EQ(written, (std::vector<Written>{first, second}));
}

TEST_F(LogMessages, OfALevelThatTheContextHasNotStopAtOnce) {
    EXPECT_NE(Call(2), 0);
    EXPECT_NE(Call(0), 0);
    log_.context.level = 0;
    EXPECT_NE(Call(0xFFFFFFFF), 0);
    EXPECT_TRUE(written.empty());
}

TEST_F(LogMessages, Answer0WhereASinkDidAndAskTheOthersStill) {
    answers = {0, 1};
    EXPECT_EQ(Call(), 0);
    answers = {1, 0};
    EXPECT_EQ(Call(), 0);
    EXPECT_EQ(written.size(), 4u);
}

TEST_F(LogMessages, WithoutSinksOrFormatAnswer0) {
    EXPECT_EQ(LogMessage(&log_.context, 8, 0, nullptr, 0, nullptr, nullptr), 0);
    log_.context.sinkWrites = nullptr;
    EXPECT_EQ(Call(), 0);
    EXPECT_TRUE(written.empty());
}

TEST_F(LogMessages, WithoutFieldsGoToNoSink) {
    log_.context.fields = 0;
    EXPECT_NE(Call(), 0);
    EXPECT_TRUE(written.empty());
}

TEST_F(LogMessages, OfALogThatWasNeverSetUpGoNowhere) {
    LogContext context;
    EXPECT_NE(LogMessage(&context, 8, 0, nullptr, 0, nullptr, "%s", "m"), 0);
    context.level = 8;
    EXPECT_EQ(LogMessage(&context, 8, 0, nullptr, 0, nullptr, "%s", "m"), 0);
}

TEST_F(LogMessages, LeaveLastErrorAndErrno) {
    TestLog log;
    surroundings_.Set({{"dbg_level", 8}, {"file_level", 8}});
    log.Start();
    surroundings_.Set({{"dbg_level", 8}, {"file_level", 8}, {"file_filename", "/nowhere/file"}});
    SetLastError(12345);
    errno = EDOM;
    EXPECT_EQ(log.Say("message"), 1);
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(GetLastError(), 12345u);
    EXPECT_EQ(LogCalls::Get().debugOutput,
              std::vector<std::string>{"mvlpfx64 " + test_support::ThreadField() +
                                       "message L:0x3039(12345)\n"});
}

}  // namespace
