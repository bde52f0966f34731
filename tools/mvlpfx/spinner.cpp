#include "mvlpfx/spinner.h"

#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <future>

namespace mvlpfx {

void RunWithSpinner(const std::function<void()>& work, bool quiet) {
    using namespace std::chrono_literals;
    auto done = std::async(std::launch::async, work);
    if (!quiet && isatty(STDERR_FILENO) != 0 && done.wait_for(1s) != std::future_status::ready) {
        constexpr std::array kFrames = {'|', '/', '-', '\\'};
        std::size_t frame = 0;
        do {
            std::fprintf(stderr, "\rderiving the key %c", kFrames[frame]);
            frame = (frame + 1) % kFrames.size();
        } while (done.wait_for(100ms) != std::future_status::ready);
        std::fputs("\r\033[K", stderr);
    }
    done.get();
}

}  // namespace mvlpfx
