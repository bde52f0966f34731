// What the fault tests tell of themselves, for the table in docs/faults.md.
#pragma once

#include <cstdlib>
#include <iostream>
#include <map>
#include <string>

namespace test_support {

// Every how many points one is tried: 1 tries all. The environment can ask for another stride than
// the test's own.
inline int FaultStride(int usual) {
    const char* const wanted = std::getenv("MVLPFX_FAULT_STRIDE");
    const int stride = wanted == nullptr ? usual : std::atoi(wanted);
    return stride > 0 ? stride : usual;
}

// How many points were tried, by kind, and how the calls ended.
class FaultTally {
  public:
    explicit FaultTally(std::string title) : title_(std::move(title)) {}
    ~FaultTally() {
        std::cout << "[  points  ] " << title_ << ": " << points_ << " tried";
        Print(", of ", kinds_);
        Print("; ended ", endings_);
        std::cout << "\n";
    }
    FaultTally(const FaultTally&) = delete;
    FaultTally& operator=(const FaultTally&) = delete;

    void Add(const std::string& kind, const std::string& ending) {
        ++points_;
        ++kinds_[kind];
        ++endings_[ending];
    }

  private:
    static void Print(const char* separator, const std::map<std::string, int>& counts) {
        for (const auto& [name, count] : counts) {
            std::cout << separator << name << " " << count;
            separator = ", ";
        }
    }

    std::string title_;
    int points_ = 0;
    std::map<std::string, int> kinds_;
    std::map<std::string, int> endings_;
};

// The same of a test that knows its points beforehand.
inline void TellPoints(const std::string& title, std::size_t points) {
    std::cout << "[  points  ] " << title << ": " << points << " tried\n";
}

}  // namespace test_support
