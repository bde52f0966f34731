// Documents and lists as short text, for tests.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "derlist/der_list.h"

namespace outline {

using Bytes = std::vector<std::uint8_t>;

// Pairs of hexadecimal digits, spaces between them ignored.
Bytes FromHex(std::string_view hex);
// Upper case, a space between two bytes.
std::string ToHex(const pkisdk::Blob& blob);

// Each node as "depth:tag:contentLength", the tag in hexadecimal, a space between two nodes.
std::string Outline(const pkisdk::DerList& list);

// The document that the list writes.
std::string FlattenToHex(const pkisdk::DerList& list);

// A node as a caller hands it to an append.
pkisdk::DerNode MakeNode(std::int32_t depth, std::uint8_t tag, const Bytes& content = {});

// Parses `hex`, which must succeed.
pkisdk::DerList Parse(std::string_view hex);

}  // namespace outline
