#include "support/der_outline.h"

#include <cstdio>
#include <stdexcept>

#include "derlist/der_parser.h"

namespace outline {

namespace {

std::string Hex(std::uint8_t byte) {
    char text[3];
    std::snprintf(text, sizeof(text), "%02X", byte);
    return text;
}

}  // namespace

Bytes FromHex(std::string_view hex) {
    std::string digits;
    for (const char c : hex) {
        if (c != ' ') {
            digits += c;
        }
    }
    if (digits.size() % 2 != 0) {
        throw std::invalid_argument("half a byte in " + std::string(hex));
    }
    Bytes bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        std::size_t used = 0;
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), &used, 16)));
        if (used != 2) {
            throw std::invalid_argument("not hexadecimal: " + std::string(hex));
        }
    }
    return bytes;
}

std::string ToHex(const pkisdk::Blob& blob) {
    std::string text;
    for (const std::uint8_t byte : blob.Bytes()) {
        text += text.empty() ? Hex(byte) : " " + Hex(byte);
    }
    return text;
}

std::string Outline(const pkisdk::DerList& list) {
    std::string text;
    for (const pkisdk::DerNode& node : list) {
        text += text.empty() ? "" : " ";
        text += std::to_string(node.depth) + ":" + Hex(node.tag) + ":" +
                std::to_string(node.contentLength);
    }
    return text;
}

std::string FlattenToHex(const pkisdk::DerList& list) {
    pkisdk::Blob bytes;
    for (auto node = list.begin(); node != list.end();) {
        pkisdk::WriteDerNode(node, &bytes);
    }
    return ToHex(bytes);
}

pkisdk::DerNode MakeNode(std::int32_t depth, std::uint8_t tag, const Bytes& content) {
    pkisdk::DerNode node;
    node.depth = depth;
    node.tag = tag;
    node.content = pkisdk::Blob(content.data(), content.size());
    return node;
}

pkisdk::DerList Parse(std::string_view hex) {
    const Bytes bytes = FromHex(hex);
    pkisdk::DerList list;
    if (pkisdk::ParseDerList(bytes.data(), static_cast<std::int32_t>(bytes.size()), &list) != 1) {
        throw std::runtime_error("does not parse: " + std::string(hex));
    }
    return list;
}

}  // namespace outline
