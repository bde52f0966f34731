// The keys of tests/data/keys, which another program made.
#pragma once

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/cryptoapi.h"
#include "support/hex.h"

namespace test_support {

struct KeyVector {
    std::string algorithm;
    std::string curve;
    // Least significant octet first, without the zeros at its end.
    std::vector<BYTE> privateKey;
    std::vector<BYTE> privateKeyInfo;
    std::vector<BYTE> publicKeyInfo;
};

inline std::vector<KeyVector> ReadKeyVectors() {
    std::ifstream file(MVLPFX_TEST_DATA "/keys/gost_keys.vec");
    std::vector<KeyVector> keys;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('#')) {
            continue;
        }
        KeyVector key;
        std::string number;
        std::string info;
        std::string publicInfo;
        std::istringstream(line) >> key.algorithm >> key.curve >> number >> info >> publicInfo;
        std::transform(number.begin(), number.end(), number.begin(),
                       [](char c) { return static_cast<char>(c >= 'A' ? c | 0x20 : c); });
        key.privateKey = FromHex(number.size() % 2 == 0 ? number : "0" + number);
        std::reverse(key.privateKey.begin(), key.privateKey.end());
        key.privateKeyInfo = FromHex(info);
        key.publicKeyInfo = FromHex(publicInfo);
        keys.push_back(key);
    }
    return keys;
}

}  // namespace test_support
