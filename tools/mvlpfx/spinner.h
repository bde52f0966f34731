// A sign of life while a derivation runs.
#pragma once

#include <functional>

namespace mvlpfx {

// Runs `work` on a thread of its own and returns when it is done; an exception of `work` is thrown
// here. If it takes longer than a second and standard error is a terminal, a spinner turns there
// until then. With `quiet` none does. Where signals are held off, a line there says in any case
// that the work is ended first when one comes.
void RunWithSpinner(const std::function<void()>& work, bool quiet);

}  // namespace mvlpfx
