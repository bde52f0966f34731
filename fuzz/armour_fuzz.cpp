// Text armour on arbitrary bytes, held against the literal version: what is taken for text, what it
// decodes to, and the last error.
#include <cstdint>
#include <cstdlib>

#include "derlist/text_armour.h"
#include "platform/cryptoapi.h"
#include "support/reference_der_list.h"

namespace {

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

reference::Bytes ToBytes(const pkisdk::Blob& blob) {
    return {blob.Bytes().begin(), blob.Bytes().end()};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const reference::Bytes input(data, data + size);
    const pkisdk::Blob blob(input.data(), input.size());

    pkisdk::Blob decoded;
    reference::Bytes expected;
    std::uint32_t error = 0;
    const int answer = reference::DecodeTextArmour(input, &expected, &error);
    Require(pkisdk::DecodeTextArmour(blob, &decoded) == answer);
    Require(GetLastError() == error);
    Require(answer == 0 || ToBytes(decoded) == expected);

    pkisdk::Blob plain;
    reference::Bytes expectedPlain;
    const int plainAnswer = reference::DecodeBase64(input, &expectedPlain);
    Require(pkisdk::DecodeBase64(blob, &plain) == plainAnswer);
    Require(plainAnswer == 0 || ToBytes(plain) == expectedPlain);
    return 0;
}
