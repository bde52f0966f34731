#include "support/provider_in_memory.h"

#include "support/scoped_environment.h"

namespace fuzz {

void LoadProviderInMemory() {
    static const test_support::ScopedSettings settings(
        "['SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\"
        "Velmorix Cryptographic Service Provider']\n"
        "Type = 2\n'Image Path' = '" MVLPFX_FUZZ_CSP "'\n");
}

}  // namespace fuzz
