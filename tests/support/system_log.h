// Stands in the place of syslog(3), for what a program and its libraries send there.
#pragma once

#include <string>
#include <vector>

namespace test_support {

struct SystemLogEntry {
    int priority;
    std::string text;

    bool operator==(const SystemLogEntry&) const = default;
};

// What was sent, in order; one thread's alone.
std::vector<SystemLogEntry>& SystemLog();

}  // namespace test_support
