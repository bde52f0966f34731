#include "pfxcrypto/runtime_random.h"

#include <cstdlib>
#include <utility>

#include "platform/cryptoapi.h"
#include "platform/runtime_random.h"

namespace pkisdk {

void SeedRuntimeRandom() {
    if (std::rand() == kFirstUnseededRandom) {
        std::srand(GetTickCount());
    }
}

void MakeMacSalt(std::uint32_t size, IBlob* salt) {
    salt->Assign(nullptr, size);
    for (std::uint32_t i = 0; i < size; ++i) {
        salt->GetData()[i] = static_cast<std::uint8_t>(std::rand());
    }
}

void MakeRandomContainerName(std::string* name) {
    constexpr int kNameLength = 40;
    constexpr char kDigits[] = "0123456789ABCDEF";
    SeedRuntimeRandom();
    std::string text = "rnd-";
    for (int position = static_cast<int>(text.size()); position < kNameLength; ++position) {
        text += position % 5 == 0 ? '-' : kDigits[std::rand() % 16];
    }
    *name = std::move(text);
}

}  // namespace pkisdk
