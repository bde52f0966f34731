// Prints of a key of the vectors, by its place: the private key with every bit turned, and its blob
// under the session key that a KeyContext makes.
#include <cstdlib>
#include <iostream>
#include <vector>

#include "support/key_context.h"
#include "support/key_vectors.h"

int main(int count, char** arguments) {
    if (count != 2) {
        return 2;
    }
    const auto vectors = test_support::ReadKeyVectors();
    const test_support::KeyVector& vector = vectors.at(std::strtoul(arguments[1], nullptr, 10));
    std::vector<BYTE> inverted = vector.privateKey;
    inverted.resize(inverted.size() <= 32 ? 32 : 64);
    for (BYTE& octet : inverted) {
        octet = static_cast<BYTE>(~octet);
    }
    const test_support::KeyContext context(nullptr, CRYPT_VERIFYCONTEXT);
    const std::vector<BYTE> blob = context.WrapKey(vector.privateKeyInfo, context.SessionKey());
    std::cout << test_support::ToHex(inverted) << ' ' << test_support::ToHex(blob) << '\n';
    return 0;
}
