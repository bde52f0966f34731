// Where in a document the cause of a failure is.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

// All take what was read from the file, text forms too. The places are found after the fact, by
// looking for what leads to the word that was met; none is told where nothing is found.

// The identifier of the integrity value's digest.
std::optional<DocumentPlace> FindDigest(std::span<const std::uint8_t> document);

// The greatest count of iterations.
std::optional<DocumentPlace> FindIterations(std::span<const std::uint8_t> document);

// The first cipher or pseudo-random function that the provider does not know.
std::optional<DocumentPlace> FindUnknownAlgorithm(std::span<const std::uint8_t> document);

// The scheme, derivation, cipher or pseudo-random function that the provider does not know, where
// it is for its parameters that an encrypted part can't be read.
std::optional<DocumentPlace> FindUnknownParameters(std::span<const std::uint8_t> document);

// The first element that keeps an encrypted part from being read.
std::optional<DocumentPlace> FindMisshapen(std::span<const std::uint8_t> document);

// Of a first encrypted content whose plaintext, under the password that fits, is no list of bags: a
// restore goes on, and finds no certificate in it.
ToolError MakeJunkError(std::span<const std::uint8_t> document);

// What a restore lacks that has made containers for so many keys: encrypted certificates, a part
// for keys, or what decrypts the key for which the last container was.
std::optional<DocumentPlace> FindLack(std::span<const std::uint8_t> document,
                                      std::size_t containers);

// The key for which the last container was, where it was decrypted.
std::optional<DocumentPlace> FindOtherKey(std::span<const std::uint8_t> document,
                                          std::size_t containers);

}  // namespace mvlpfx
