#include "provider/random.h"

#include <gcrypt.h>

#include "provider/library.h"

namespace provider {

void FillRandom(std::span<BYTE> bytes) {
    SetUpLibrary();
    gcry_randomize(bytes.data(), bytes.size(), GCRY_STRONG_RANDOM);
}

}  // namespace provider
