#include "mvlpfx/tree_view.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "foundation/object_id.h"
#include "mvlpfx/der_tags.h"
#include "mvlpfx/der_walk.h"
#include "mvlpfx/document_fault.h"
#include "mvlpfx/document_file.h"
#include "mvlpfx/report.h"

namespace mvlpfx {

namespace {

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

std::string ValueOf(std::uint8_t identifier, std::span<const std::uint8_t> value) {
    std::string text;
    if (identifier == kObjectIdentifier) {
        pkisdk::OidBlobToText(pkisdk::Blob(value.data(), value.size()), &text);
    } else if (identifier == kInteger) {
        text = SmallNumber(value);
    }
    return text.empty() ? ShownHex(value) : text;
}

}  // namespace

std::vector<TreeLine> TreeOf(std::span<const std::uint8_t> document) {
    const std::vector<std::uint8_t> der = WithoutArmour({document.begin(), document.end()});
    const DerWalk walk = WalkDer(der);
    if (!walk.isWhole) {
        ThrowNoDer(document, walk.stop);
    }
    std::vector<TreeLine> lines;
    for (const DerElement& element : walk.elements) {
        const auto value = std::span(der).subspan(element.content, element.length);
        lines.push_back({element.offset, element.depth, TypeName(element), element.length,
                         element.isIndefinite,
                         element.isOpen ? "" : ValueOf(element.identifier, value)});
    }
    return lines;
}

void PrintTree(const std::vector<TreeLine>& lines) {
    for (const TreeLine& line : lines) {
        // A document may be nested deeper than a terminal is wide.
        const int indent = 2 * std::min(line.depth, 40);
        std::printf("%8u %*s%s, %s%u%s%s\n", line.offset, indent, "", line.type.c_str(),
                    line.isIndefinite ? "indefinite, " : "", line.length,
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
        if (line.isIndefinite) {
            element["indefinite"] = true;
        }
        if (!line.value.empty()) {
            element["value"] = line.value;
        }
        json.push_back(std::move(element));
    }
    return json;
}

}  // namespace mvlpfx
