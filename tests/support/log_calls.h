// Stands between a log and its platform: keeps what the debugger is told and with what arguments
// files are opened and locked and events made, and makes calls fail as PlatformCalls is told.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "support/platform_calls.h"

namespace test_support {

struct LogCalls {
    static LogCalls& Get();
    // Forgets everything, and fails nothing.
    void Reset();

    std::vector<std::string> debugOutput;

    struct Opening {
        std::string name;
        DWORD access;
        DWORD share;
        DWORD disposition;
        DWORD attributes;

        bool operator==(const Opening&) const = default;
    };
    std::vector<Opening> openings;

    struct Locking {
        DWORD flags;
        DWORD countLow;
        DWORD countHigh;
        ULONGLONG start;

        bool operator==(const Locking&) const = default;
    };
    std::vector<Locking> lockings;

    struct Event {
        bool hasSecurity;
        BOOL isManual;
        BOOL isSignalled;
        bool hasName;

        bool operator==(const Event&) const = default;
    };
    std::vector<Event> events;

    // Answers in place of GetTempPathA, as long as the room asked for has place for it.
    std::optional<std::string> temporaryFolder;
    // The rooms that GetTempPathA was given.
    std::vector<DWORD> temporaryRooms;
};

}  // namespace test_support
