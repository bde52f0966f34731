#include "support/callers.h"

#include <cxxabi.h>
#include <dlfcn.h>

#include <cstdlib>

namespace test_support {

namespace {

std::string Demangled(const char* symbol) {
    int status = 0;
    char* const text = abi::__cxa_demangle(symbol, nullptr, nullptr, &status);
    std::string name = status == 0 ? text : symbol;
    std::free(text);
    return name;
}

}  // namespace

std::vector<Frame> NameFrames(std::span<void* const> addresses) {
    std::vector<Frame> frames;
    for (void* const address : addresses) {
        Dl_info info{};
        if (dladdr(address, &info) != 0) {
            frames.push_back({info.dli_fname == nullptr ? "" : info.dli_fname,
                              info.dli_sname == nullptr ? "" : Demangled(info.dli_sname)});
        }
    }
    return frames;
}

}  // namespace test_support
