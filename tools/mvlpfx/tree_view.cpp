#include "mvlpfx/tree_view.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <utility>

#include "derlist/der_parser.h"
#include "foundation/object_id.h"
#include "mvlpfx/der_tags.h"
#include "mvlpfx/document_fault.h"
#include "mvlpfx/report.h"

namespace mvlpfx {

namespace {

constexpr std::size_t kShownBytes = 32;

constexpr std::array<std::pair<std::uint8_t, const char*>, 17> kUniversalTypes = {{
    {0x01, "BOOLEAN"},
    {0x02, "INTEGER"},
    {0x03, "BIT STRING"},
    {0x04, "OCTET STRING"},
    {0x05, "NULL"},
    {0x06, "OBJECT IDENTIFIER"},
    {0x0A, "ENUMERATED"},
    {0x0C, "UTF8String"},
    {0x12, "NumericString"},
    {0x13, "PrintableString"},
    {0x14, "TeletexString"},
    {0x16, "IA5String"},
    {0x17, "UTCTime"},
    {0x18, "GeneralizedTime"},
    {0x1E, "BMPString"},
    {0x30, "SEQUENCE"},
    {0x31, "SET"},
}};

std::string Hex(std::span<const std::uint8_t> bytes) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), kShownBytes))) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return bytes.size() > kShownBytes ? text + "..." : text;
}

// An INTEGER that fits four bytes and is not negative, as a number; else nothing.
std::string SmallNumber(std::span<const std::uint8_t> bytes) {
    if (bytes.empty() || bytes.size() > 4 || (bytes[0] & 0x80) != 0) {
        return {};
    }
    std::uint32_t value = 0;
    for (const std::uint8_t byte : bytes) {
        value = value << 8 | byte;
    }
    return std::to_string(value);
}

std::string ValueOf(const pkisdk::DerNode& node) {
    std::string text;
    if (node.tag == kObjectIdentifier) {
        pkisdk::OidBlobToText(node.content, &text);
    } else if (node.tag == kInteger) {
        text = SmallNumber(node.content.Bytes());
    }
    return text.empty() ? Hex(node.content.Bytes()) : text;
}

}  // namespace

std::string TypeName(std::uint8_t tag) {
    for (const auto& [known, name] : kUniversalTypes) {
        if (known == tag) {
            return name;
        }
    }
    if ((tag & 0xC0) == 0x80 && (tag & 0x1F) != 0x1F) {
        return "[" + std::to_string(tag & 0x1F) + "]";
    }
    std::array<char, 9> text{};
    std::snprintf(text.data(), text.size(), "tag 0x%02X", tag);
    return text.data();
}

std::vector<TreeLine> TreeOf(std::span<const std::uint8_t> document) {
    pkisdk::DerList list;
    if (pkisdk::ParseDerList(document.data(), static_cast<std::int32_t>(document.size()), &list) ==
            0 ||
        list.empty()) {
        ThrowNoDer(document, list);
    }
    std::vector<TreeLine> lines;
    for (auto node = list.begin(); node != list.end(); ++node) {
        const auto next = std::next(node);
        const bool leaf = next == list.end() || next->depth <= node->depth;
        lines.push_back({node->offset, node->depth, TypeName(node->tag), node->contentLength,
                         leaf ? ValueOf(*node) : std::string()});
    }
    return lines;
}

void PrintTree(const std::vector<TreeLine>& lines) {
    for (const TreeLine& line : lines) {
        // A document may be nested deeper than a terminal is wide.
        const int indent = 2 * std::min(line.depth, 40);
        std::printf("%8u %*s%s, %u%s%s\n", line.offset, indent, "", line.type.c_str(), line.length,
                    line.value.empty() ? "" : ": ", Printable(line.value).c_str());
    }
}

nlohmann::ordered_json JsonOfTree(const std::vector<TreeLine>& lines) {
    auto json = nlohmann::ordered_json::array();
    for (const TreeLine& line : lines) {
        nlohmann::ordered_json element{{"offset", line.offset},
                                       {"depth", line.depth},
                                       {"type", line.type},
                                       {"length", line.length}};
        if (!line.value.empty()) {
            element["value"] = line.value;
        }
        json.push_back(std::move(element));
    }
    return json;
}

}  // namespace mvlpfx
