#include "mvlpfx/spinner.h"

#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <future>

#include "mvlpfx/interruption.h"

namespace mvlpfx {

namespace {

// Turns the spinner and looks for signals until the work is done.
void Watch(std::future<void>* done, bool hasSpinner) {
    using namespace std::chrono_literals;
    constexpr std::array kFrames = {'|', '/', '-', '\\'};
    constexpr char kText[] = "deriving the key";
    constexpr std::size_t kQuietFrames = 10;
    bool isTold = false;
    std::size_t frame = 0;
    for (; done->wait_for(100ms) != std::future_status::ready; ++frame) {
        if (!isTold && PendingSignal() != 0) {
            std::fprintf(stderr, "%smvlpfx: interrupted; what is begun is ended first\n",
                         hasSpinner ? "\r" : "");
            isTold = true;
        }
        if (hasSpinner && frame >= kQuietFrames) {
            std::fprintf(stderr, "\r%s %c", kText, kFrames[frame % kFrames.size()]);
        }
    }
    if (hasSpinner && frame > kQuietFrames) {
        std::fprintf(stderr, "\r%*s\r", int{sizeof(kText)} + 1, "");
    }
}

}  // namespace

void RunWithSpinner(const std::function<void()>& work, bool quiet) {
    auto done = std::async(std::launch::async, work);
    Watch(&done, !quiet && isatty(STDERR_FILENO) != 0);
    done.get();
}

}  // namespace mvlpfx
