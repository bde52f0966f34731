// What a log call costs that no sink wants, without a watched key and with one, and what a line
// costs that one wants.
#include <benchmark/benchmark.h>

#include <stdexcept>
#include <string>

#include "support/test_log.h"

namespace {

using test_support::LogSurroundings;
using test_support::TestLog;

// A level that the context has not.
constexpr std::uint32_t kUnwanted = 2;

int Call(TestLog* log, std::uint32_t level) {
    return pkisdk::LogMessage(&log->context, level, pkisdk::kNoLogCode, __FILE__, __LINE__,
                              __func__, "%s", "message");
}

void RequireWatch(const TestLog& log, bool isWatched) {
    if ((log.registry.event.load() != nullptr) != isWatched) {
        throw std::logic_error("the settings are not watched as meant");
    }
}

void UnwantedWithoutWatchedKey(benchmark::State& state) {
    const LogSurroundings surroundings;
    TestLog log;
    log.Start();
    RequireWatch(log, false);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Call(&log, kUnwanted));
    }
}
BENCHMARK(UnwantedWithoutWatchedKey);

// The context has the level, and each sink is asked.
void UnwantedBySinksWithoutWatchedKey(benchmark::State& state) {
    const LogSurroundings surroundings;
    TestLog log;
    log.Start();
    RequireWatch(log, false);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Call(&log, 8));
    }
}
BENCHMARK(UnwantedBySinksWithoutWatchedKey);

// The difference is one poll.
void UnwantedWithWatchedKey(benchmark::State& state) {
    const LogSurroundings surroundings({{"level", 61}});
    TestLog log;
    log.Start();
    RequireWatch(log, true);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Call(&log, kUnwanted));
    }
}
BENCHMARK(UnwantedWithWatchedKey);

void LineToTheFile(benchmark::State& state) {
    const LogSurroundings surroundings({{"file_level", 8}});
    TestLog log;
    log.Start();
    for (auto _ : state) {
        benchmark::DoNotOptimize(Call(&log, 8));
    }
}
BENCHMARK(LineToTheFile);

void FormattedLine(benchmark::State& state) {
    const LogSurroundings surroundings;
    TestLog log;
    log.Start();
    log.writes[1] = [](auto...) { return 1; };
    log.debug.level = 8;
    log.writes[0] = [](pkisdk::LogContext* context, std::uint32_t, std::uint32_t code,
                       std::uint32_t fields, std::uint32_t, const char* file, std::int32_t line,
                       const char* function, const char* format, std::va_list arguments) {
        char text[256];
        const int answer = pkisdk::FormatLogPrefix(context, text, fields, file, line, function,
                                                   code, sizeof(text), format, 0, 0, arguments);
        benchmark::DoNotOptimize(text);
        return answer;
    };
    for (auto _ : state) {
        benchmark::DoNotOptimize(Call(&log, 8));
    }
}
BENCHMARK(FormattedLine);

}  // namespace
