// UzVerifyPswPFX on arbitrary bytes: it answers, and an answer of 0 comes with a reason.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "mvlpfx/mvlpfx.h"
#include "support/der_mutator.h"

std::size_t OctetsBeforeDocument(std::span<const std::uint8_t> /*input*/) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::uint8_t> document(data, data + size);
    const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    SetLastError(0xE0001234);
    const BOOL fits = UzVerifyPswPFX(&pfx, L"three");
    const DWORD error = GetLastError();
    if ((fits == TRUE) != (error == 0) || error == 0xE0001234) {
        std::abort();
    }
    return 0;
}
