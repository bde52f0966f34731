// What a target that is given documents tells the mutator of its inputs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// How many octets of the input, which is not empty, stand before the document. libFuzzer's own
// mutations alone change them.
std::size_t OctetsBeforeDocument(std::span<const std::uint8_t> input);
