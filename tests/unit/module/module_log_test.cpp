#include "module/module_log.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <string>
#include <utility>
#include <vector>

#include "support/log_calls.h"
#include "support/test_log.h"

namespace {

using pkisdk::ModuleLog;
using pkisdk::OnModuleEvent;
using test_support::LogCalls;
using test_support::PlatformCalls;

class ModuleEvents : public testing::Test {
  protected:
    void SetUp() override { LogCalls::Get().Reset(); }
    void TearDown() override {
        surroundings_.Set({});
        OnModuleEvent(DLL_PROCESS_DETACH, nullptr);
    }
    static const std::vector<std::string>& Output() { return LogCalls::Get().debugOutput; }

    test_support::LogSurroundings surroundings_{{{"dbg_level", 8}, {"dbg_field", 0x30}}};
};

TEST_F(ModuleEvents, SetTheLogUpWithTheModulesDefaults) {
    surroundings_.Set({});
    EXPECT_EQ(OnModuleEvent(DLL_PROCESS_ATTACH, nullptr), 1);
    const pkisdk::LogContext& log = *ModuleLog();
    EXPECT_STREQ(log.name.data(), "mvlpfx64");
    EXPECT_EQ(log.level, 61u);
    EXPECT_EQ(log.fields, 179u);
    EXPECT_EQ(log.defaultMaximum, 256u);
    EXPECT_EQ(log.sinkCount, 2u);
    EXPECT_EQ(log.handlerCount, 2u);
    const auto* const debug = pkisdk::FindSinkRecord(&log, 1);
    const auto* const file = pkisdk::FindSinkRecord(&log, 2);
    EXPECT_EQ(debug->level, 0u);
    EXPECT_EQ(debug->fields, 0x7FFFFFFFu);
    EXPECT_EQ(file->level, 0u);
    EXPECT_EQ(file->fields, 0x7FFFFFFEu);
    EXPECT_EQ(static_cast<const pkisdk::FileSinkRecord*>(file)->fileName.load()->text,
              surroundings_.Path());
}

TEST_F(ModuleEvents, AreToldOnceEach) {
    SetLastError(0);
    EXPECT_EQ(OnModuleEvent(DLL_PROCESS_ATTACH, nullptr), 1);
    EXPECT_EQ(Output(), std::vector<std::string>{"loading\n"});
    EXPECT_EQ(OnModuleEvent(DLL_THREAD_ATTACH, nullptr), 1);
    EXPECT_EQ(OnModuleEvent(DLL_THREAD_DETACH, nullptr), 1);
    EXPECT_EQ(Output().size(), 1u);
    EXPECT_EQ(OnModuleEvent(DLL_PROCESS_DETACH, nullptr), 1);
    EXPECT_EQ(Output(), (std::vector<std::string>{"loading\n", "unloading\n"}));
}

// What a sink in the place of the debugger's is told.
struct Message {
    std::uint32_t level;
    std::uint32_t code;
    bool hasFile;
    std::int32_t line;
    bool hasFunction;
    std::string format;

    bool operator==(const Message&) const = default;
};
std::vector<Message> messages;

int NoteMessage(pkisdk::LogContext*, std::uint32_t level, std::uint32_t code, std::uint32_t,
                std::uint32_t, const char* file, std::int32_t line, const char* function,
                const char* format, std::va_list) {
    messages.push_back({level, code, file != nullptr, line, function != nullptr, format});
    return 1;
}

TEST_F(ModuleEvents, AreToldWithTheirLinesAndNoCode) {
    surroundings_.Set({{"fields", 0x110}, {"dbg_level", 8}, {"dbg_field", 0x110}});
    OnModuleEvent(DLL_PROCESS_ATTACH, nullptr);
    OnModuleEvent(DLL_PROCESS_DETACH, nullptr);
    EXPECT_EQ(Output(), (std::vector<std::string>{"loading\n", "unloading\n"}));

    messages.clear();
    const pkisdk::SinkWrite writes[] = {&NoteMessage, &pkisdk::WriteFileRecord};
    const pkisdk::SinkWrite* const before = std::exchange(ModuleLog()->sinkWrites, writes);
    OnModuleEvent(DLL_PROCESS_ATTACH, nullptr);
    OnModuleEvent(DLL_PROCESS_DETACH, nullptr);
    ModuleLog()->sinkWrites = before;
    EXPECT_EQ(messages, (std::vector<Message>{{8, 0xFFFFFFFF, false, 65, false, "%s"},
                                              {8, 0xFFFFFFFF, false, 68, false, "%s"}}));
}

TEST_F(ModuleEvents, WithTheLogsLevelBit3ClearWriteNothing) {
    surroundings_.Set({{"level", 0xFFFFFFF7}, {"dbg_level", 0xFFFFFFFF}});
    EXPECT_EQ(OnModuleEvent(DLL_PROCESS_ATTACH, nullptr), 1);
    EXPECT_EQ(OnModuleEvent(DLL_PROCESS_DETACH, nullptr), 1);
    EXPECT_TRUE(Output().empty());
}

TEST_F(ModuleEvents, AreNotToldByALevelThatHasNotBeenRead) {
    surroundings_.Set({{"level", 0xFFFFFFF7}, {"dbg_level", 8}});
    OnModuleEvent(DLL_PROCESS_ATTACH, nullptr);
    surroundings_.Set({{"level", 0xFFFFFFFF}, {"dbg_level", 8}});
    // The level as it was read last lets no message come so far that it would be read again.
    OnModuleEvent(DLL_PROCESS_DETACH, nullptr);
    EXPECT_TRUE(Output().empty());
}

TEST_F(ModuleEvents, AreBothToldToTheFile) {
    surroundings_.Set({{"file_level", 8}, {"file_field", 0x10}});
    OnModuleEvent(DLL_PROCESS_ATTACH, nullptr);
    OnModuleEvent(DLL_PROCESS_DETACH, nullptr);
    EXPECT_EQ(surroundings_.Content(), "loading\nunloading\n");
}

TEST_F(ModuleEvents, LeaveLastErrorAndErrno) {
    for (const DWORD reason : {DWORD{DLL_PROCESS_ATTACH}, DWORD{DLL_PROCESS_DETACH}}) {
        SetLastError(5);
        errno = EDOM;
        EXPECT_EQ(OnModuleEvent(reason, nullptr), 1);
        EXPECT_EQ(GetLastError(), 5u);
        EXPECT_EQ(errno, EDOM);
    }
    EXPECT_EQ(Output().front(), "loading L:0x5(5)\n");
}

TEST_F(ModuleEvents, SucceedWhateverFails) {
    OnModuleEvent(DLL_PROCESS_ATTACH, nullptr);
    OnModuleEvent(DLL_PROCESS_DETACH, nullptr);
    surroundings_.Set({{"file_level", 8}});
    // The n-th call, and then all from the n-th on, until a run has no failure left.
    for (const bool stay : {false, true}) {
        bool hasFailed = true;
        for (int n = 1; hasFailed; ++n) {
            PlatformCalls::Get().Reset();
            PlatformCalls::Get().FailFrom(n, stay, 8);
            SetLastError(5);
            errno = EDOM;
            EXPECT_EQ(OnModuleEvent(DLL_PROCESS_ATTACH, nullptr), 1);
            EXPECT_EQ(OnModuleEvent(DLL_PROCESS_DETACH, nullptr), 1);
            EXPECT_EQ(GetLastError(), 5u);
            EXPECT_EQ(errno, EDOM);
            hasFailed = PlatformCalls::Get().Failed();
            ASSERT_LT(n, 100);
        }
    }
}

TEST_F(ModuleEvents, KeepWhatAnEndingProcessMayStillUse) {
    OnModuleEvent(DLL_PROCESS_ATTACH, nullptr);
    EXPECT_EQ(OnModuleEvent(DLL_PROCESS_DETACH, this), 1);
    const auto& file =
        *static_cast<const pkisdk::FileSinkRecord*>(pkisdk::FindSinkRecord(ModuleLog(), 2));
    EXPECT_NE(ModuleLog()->registry->key.load(), nullptr);
    EXPECT_NE(ModuleLog()->registry->event.load(), nullptr);
    EXPECT_NE(file.fileName.load(), nullptr);
    EXPECT_EQ(OnModuleEvent(DLL_PROCESS_DETACH, nullptr), 1);
    EXPECT_EQ(ModuleLog()->registry->key.load(), nullptr);
    EXPECT_EQ(ModuleLog()->registry->event.load(), nullptr);
    EXPECT_EQ(file.fileName.load(), nullptr);
}

}  // namespace
