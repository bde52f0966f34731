// What a document is written with, by the algorithm of a key in it.
#pragma once

#include "platform/cryptoapi.h"

namespace pkisdk {

struct KeyAlgorithms {
    ALG_ID hash;
    // The cipher's parameter set, as dotted text.
    const char* cipherParameters;
};

// Null for a key that is none of GOST R 34.10.
const KeyAlgorithms* FindKeyAlgorithms(ALG_ID keyAlgorithm);

}  // namespace pkisdk
