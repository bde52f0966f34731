// A document as base64 or PEM text, told from bytes and decoded.
#pragma once

#include <cstdint>
#include <span>

#include "foundation/blob.h"

namespace pkisdk {

enum class ArmourKind { kBinary, kText, kRefused };

// Text is what holds nothing but characters of base64, "-", "=", space, CR and LF. On kText `out`
// takes the bytes it stands for, else `out` is left alone. Sets the last error: 0, or on kRefused
// NTE_BAD_DATA for no input or nothing behind a PEM header, NTE_FAIL for nothing to decode.
ArmourKind DecodeArmour(std::span<const std::uint8_t> input, Blob* out);

// The same with binary input handed through to `out`. Answers 1, or 0 on kRefused.
int DecodeTextArmour(Blob input, Blob* out);

// Drops whatever is not of the base64 alphabet, "=" included, and decodes the rest, so that padding
// is neither needed nor checked. A last single character stands for no byte. Answers 0, and leaves
// `out` alone, when nothing of the alphabet is there.
int DecodeBase64(Blob input, Blob* out);

}  // namespace pkisdk
