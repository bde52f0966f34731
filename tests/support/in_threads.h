// Work done by several threads at once.
#pragma once

#include <functional>
#include <thread>
#include <vector>

namespace test_support {

// Runs `work` in so many threads, each with its number from 0, until all have ended.
inline void InThreads(int count, const std::function<void(int)>& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back(work, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace test_support
