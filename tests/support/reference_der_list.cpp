#include "support/reference_der_list.h"

#include <algorithm>
#include <stdexcept>

#include "support/reference_oid.h"

namespace reference {

namespace {

std::uint32_t HeaderBytes(std::uint32_t contentLength) {
    if (contentLength <= 127) {
        return 2;
    }
    if (contentLength <= 255) {
        return 3;
    }
    if (contentLength <= 65535) {
        return 4;
    }
    if (contentLength <= 16777215) {
        return 5;
    }
    return 6;
}

int Insert(Node node, List* list) {
    node.contentLength = static_cast<std::uint32_t>(node.content.size());
    if (list == nullptr || node.depth < 0) {
        return 0;
    }
    if (list->empty()) {
        if (node.depth != 0) {
            return 0;
        }
        list->push_back(node);
        return 1;
    }
    List::iterator last = list->begin();
    for (std::size_t i = 1; i < list->size(); ++i) {
        ++last;
    }
    if (PropagateLength(&node, list, last) == 0) {
        return 0;
    }
    list->push_back(node);
    return 1;
}

struct PastTheDocument : std::runtime_error {
    PastTheDocument() : std::runtime_error("past the document") {}
};

std::uint8_t ByteAt(const Bytes& document, std::uint32_t position) {
    if (position >= document.size()) {
        throw PastTheDocument();
    }
    return document[position];
}

bool IsElementTag(std::uint8_t tag) {
    switch (tag) {
        case 0x01:
        case 0x02:
        case 0x03:
        case 0x04:
        case 0x05:
        case 0x06:
        case 0x0A:
        case 0x0C:
        case 0x10:
        case 0x11:
        case 0x12:
        case 0x13:
        case 0x14:
        case 0x16:
        case 0x17:
        case 0x18:
        case 0x1E:
        case 0x30:
        case 0x31:
            return true;
        default:
            return (tag >= 0x80 && tag <= 0x8F) || (tag >= 0xA0 && tag <= 0xAF);
    }
}

std::uint8_t Base64Value(std::uint8_t c) {
    if (c >= 'A' && c <= 'Z') {
        return static_cast<std::uint8_t>(c - 'A');
    }
    if (c >= 'a' && c <= 'z') {
        return static_cast<std::uint8_t>(c - 'a' + 26);
    }
    if (c >= '0' && c <= '9') {
        return static_cast<std::uint8_t>(c - '0' + 52);
    }
    if (c == '+') {
        return 62;
    }
    return c == '/' ? 63 : 0xFF;
}

}  // namespace

std::uint32_t EncodedNodeSize(const Node& node) {
    return node.contentLength + HeaderBytes(node.contentLength);
}

int AppendDerNode(std::int32_t, Node node, List* list) {
    node.indefinite = 0;
    node.offset = 0;
    node.scopeLength = 0;
    node.scopeStart = 0;
    return Insert(node, list);
}

int ReinsertDerNode(std::int32_t, Node node, List* list) {
    return Insert(node, list);
}

int PropagateLength(const Node* node, List* list, List::iterator last) {
    if (node->depth > last->depth + 1) {
        return 0;
    }
    std::uint32_t delta = EncodedNodeSize(*node);
    std::int32_t depth = node->depth;
    if (node->depth == last->depth + 1) {
        delta = GrowContentLength(last, delta);
        depth = last->depth;
    }
    List::iterator ancestor = FindAncestor(list, depth, last);
    while (ancestor != list->end()) {
        delta = GrowContentLength(ancestor, delta);
        ancestor = FindAncestor(list, ancestor->depth, ancestor);
    }
    return 1;
}

List::iterator FindAncestor(List* list, std::int32_t depth, List::iterator from) {
    if (from == list->end() || depth < 1 || from->depth == 0) {
        return list->end();
    }
    while (from->depth != depth - 1 && from != list->begin()) {
        --from;
    }
    return from->depth == depth - 1 ? from : list->end();
}

std::uint32_t GrowContentLength(List::iterator node, std::uint32_t delta) {
    const std::uint32_t oldHeader = HeaderBytes(node->contentLength);
    const std::uint32_t newHeader = HeaderBytes(node->contentLength + delta);
    node->contentLength += delta;
    return delta + newHeader - oldHeader;
}

void WriteDerNode(List::const_iterator& node, Bytes* out) {
    if (out == nullptr) {
        return;
    }
    const std::uint32_t length = node->contentLength;
    out->push_back(node->tag);
    switch (HeaderBytes(length)) {
        case 2:
            break;
        case 3:
            out->push_back(0x81);
            break;
        case 4:
            out->push_back(0x82);
            out->push_back(static_cast<std::uint8_t>(length >> 8));
            break;
        case 5:
            out->push_back(0x83);
            out->push_back(static_cast<std::uint8_t>(length >> 16));
            out->push_back(static_cast<std::uint8_t>(length >> 8));
            break;
        default:
            out->push_back(0x84);
            out->push_back(static_cast<std::uint8_t>(length >> 24));
            out->push_back(static_cast<std::uint8_t>(length >> 16));
            out->push_back(static_cast<std::uint8_t>(length >> 8));
            break;
    }
    out->push_back(static_cast<std::uint8_t>(length));
    out->insert(out->end(), node->content.begin(), node->content.end());
    ++node;
}

int DropLastDerNode(List* list) {
    List built;
    for (List::iterator node = list->begin(); node != list->end(); ++node) {
        if (std::next(node) == list->end()) {
            break;
        }
        if (AppendDerNode(-1, *node, &built) == 0) {
            return 0;
        }
    }
    *list = built;
    return 1;
}

int DecodeDerLength(const std::uint8_t* octets, std::size_t available, std::uint32_t limit,
                    std::uint32_t* value, std::uint32_t* total, bool* indefinite) {
    *indefinite = false;
    if (octets == nullptr || value == nullptr) {
        return 0;
    }
    if (available < 1) {
        throw PastTheDocument();
    }
    const std::uint8_t b = octets[0];
    if (b == 0x80) {
        *total = 0xFFFFFFFF;
        *indefinite = true;
        return 0;
    }
    if (b >= 0x81 && b <= 0x84) {
        const std::uint32_t n = b - 0x80U;
        if (n + 1 > limit) {
            return 0;
        }
        if (available < n + 1) {
            throw PastTheDocument();
        }
        std::uint32_t sum = 0;
        for (std::uint32_t i = 1; i <= n; ++i) {
            sum = sum * 256 + octets[i];
        }
        *value = sum;
        *total = n + sum + 1;
        return *total > limit ? 0 : 1;
    }
    *value = b;
    if (b > limit) {
        return 0;
    }
    *total = b + 1U;
    return 1;
}

int ReadDerHeader(const Bytes& document, std::uint32_t* cursor, Node* node) {
    if (cursor == nullptr || node == nullptr || node->scopeLength == 0) {
        return 0;
    }
    const std::uint32_t prev = node->offset;
    const std::uint32_t scope = node->scopeLength;
    std::uint32_t at = *cursor;
    node->contentLength = 0;
    int result = 0;
    if (ByteAt(document, at) == 0) {
        std::uint32_t d = at - prev;
        do {
            if (d >= scope) {
                break;
            }
            ++d;
            ++at;
            if (d == scope) {
                result = 1;
            }
        } while (ByteAt(document, at) == 0);
    }
    if (at - prev <= scope) {
        node->offset = at;
        node->tag = ByteAt(document, at);
        ++at;
        if (at - prev > scope) {
            node->indefinite = 0;
            *cursor = at;
            return 1;
        }
        std::uint32_t value = 0;
        std::uint32_t total = 0;
        bool indefinite = false;
        const std::size_t available = at < document.size() ? document.size() - at : 0;
        if (DecodeDerLength(document.data() + at, available, scope, &value, &total, &indefinite) !=
            0) {
            node->indefinite = 0;
            node->contentLength = value;
            at += total - value;
            *cursor = at;
            return 1;
        }
        if (indefinite) {
            ++at;
            if (scope > at - prev) {
                node->indefinite = 1;
                result = 1;
                node->contentLength = node->scopeStart - node->offset + scope - 2;
            }
            *cursor = at;
            return result;
        }
    }
    if (result == 0) {
        return 0;
    }
    *cursor = at;
    return result;
}

int LooksLikeDer(const std::uint8_t* content, std::uint32_t length) {
    if (content == nullptr || length < 2) {
        return 0;
    }
    std::uint64_t n = length;
    while (n != 0 && *content == 0) {
        ++content;
        --n;
    }
    if (n == 0) {
        return 0;
    }
    std::uint64_t p = 0;
    for (;;) {
        if (!IsElementTag(content[p])) {
            return 0;
        }
        // Header octets behind the value put p past n, whatever they are.
        if (p + 1 >= n) {
            return 0;
        }
        const std::uint8_t b = content[p + 1];
        if (b >= 0x81 && b <= 0x84) {
            const std::uint64_t octets = b - 0x80U;
            if (p + 1 + octets >= n) {
                return 0;
            }
            std::uint64_t value = 0;
            for (std::uint64_t i = 0; i < octets; ++i) {
                value = value * 256 + content[p + 2 + i];
            }
            p += value + 2 + octets;
        } else {
            p += b + 2U;
            if (b == 0 && p == n) {
                return 1;
            }
        }
        if (p >= n) {
            return p == n ? 1 : 0;
        }
    }
}

std::int32_t FindOpenScope(const List& list, std::uint32_t* scopeLength,
                           std::uint32_t* scopeStart) {
    if (list.empty()) {
        return -1;
    }
    const List::const_iterator first = list.begin();
    List::const_iterator it = std::prev(list.end());
    std::int32_t level = it->depth;
    std::uint32_t sum = 0;
    while (level != 0 && it != first) {
        while (it != first && it->depth != level - 1) {
            if (it->depth == level) {
                sum += EncodedNodeSize(*it);
            }
            --it;
        }
        if (it == first || it->depth == 0) {
            break;
        }
        const bool full =
            sum == it->contentLength || (sum + 1 == it->contentLength && it->tag == 0x03);
        if (!full) {
            *scopeLength = it->contentLength;
            *scopeStart = it->offset;
            return it->depth;
        }
        level = it->depth;
        sum = EncodedNodeSize(*it);
        --it;
    }
    *scopeLength = it->scopeLength;
    *scopeStart = it->offset;
    return 0;
}

namespace {

int ParseLoop(const Bytes& document, List* out, bool* seenIndefinite) {
    const auto size = static_cast<std::uint32_t>(document.size());
    Node working;
    working.scopeLength = size;
    std::uint32_t cursor = 0;
    std::int32_t depth = 0;
    while (size != 0) {
        working.depth = depth;
        while (cursor + 1 < size && document[cursor] == 0 && document[cursor + 1] == 0) {
            cursor += 2;
        }
        if (cursor >= size) {
            break;
        }
        if (ReadDerHeader(document, &cursor, &working) == 0) {
            return 0;
        }
        if (working.indefinite != 0) {
            *seenIndefinite = true;
        }
        bool parent = false;
        if (working.tag == 0x05) {
            if (working.contentLength != 0) {
                return 0;
            }
        }
        if (working.contentLength > size - cursor) {
            return 0;
        }
        if (working.tag == 0x03 || working.tag == 0x04 || working.tag >= 0x20) {
            parent = LooksLikeDer(document.data() + cursor, working.contentLength) != 0;
        }
        if (parent) {
            working.content.clear();
            if (working.tag == 0x03 && working.contentLength > 2) {
                working.content.push_back(0x00);
            }
            out->push_back(working);
            ++depth;
            working.scopeLength = working.contentLength;
            working.scopeStart = working.offset;
            if (cursor >= size) {
                break;
            }
            continue;
        }
        working.content.assign(document.begin() + cursor,
                               document.begin() + cursor + working.contentLength);
        out->push_back(working);
        cursor += working.contentLength;
        while (cursor < size && document[cursor] == 0) {
            ++cursor;
        }
        if (cursor >= size) {
            break;
        }
        const std::int32_t open = FindOpenScope(*out, &working.scopeLength, &working.scopeStart);
        if (open == -1) {
            return 0;
        }
        depth = open + 1;
    }
    return cursor == size ? 1 : 0;
}

}  // namespace

int ParseDerList(const std::uint8_t* data, std::int32_t size, List* out) {
    if (out == nullptr) {
        return 0;
    }
    out->clear();
    if (size == 0) {
        return 1;
    }
    Bytes document(data, data + static_cast<std::uint32_t>(size));
    std::uint32_t error = 0;
    DecodeTextArmour(document, &document, &error);
    bool seenIndefinite = false;
    int result = 0;
    try {
        result = ParseLoop(document, out, &seenIndefinite);
    } catch (const PastTheDocument&) {
        return 0;
    }
    if (result == 0) {
        return 0;
    }
    if (seenIndefinite) {
        List rebuilt;
        for (const Node& node : *out) {
            ReinsertDerNode(-1, node, &rebuilt);
        }
        *out = rebuilt;
    }
    return result;
}

int DecodeTextArmour(Bytes input, Bytes* out, std::uint32_t* error) {
    if (input.empty()) {
        *error = 0x80090005;
        return 0;
    }
    for (const std::uint8_t c : input) {
        const bool text =
            c == '-' || c == ' ' || c == '=' || c == '\r' || c == '\n' || Base64Value(c) != 0xFF;
        if (!text) {
            *out = input;
            *error = 0;
            return 1;
        }
    }
    std::size_t start = 0;
    if (input.size() > 5 && std::string(input.begin(), input.begin() + 5) == "-----") {
        while (start < input.size() && input[start] != '\n') {
            ++start;
        }
        if (start < input.size()) {
            ++start;
        }
        if (start == input.size()) {
            *error = 0x80090005;
            return 0;
        }
    }
    Bytes working;
    for (std::size_t i = start; i < input.size() && input[i] != '-'; ++i) {
        working.push_back(input[i]);
    }
    Bytes decoded;
    if (DecodeBase64(working, &decoded) == 0) {
        *error = 0x80090020;
        return 0;
    }
    *out = decoded;
    *error = 0;
    return 1;
}

int DecodeBase64(Bytes input, Bytes* out) {
    Bytes values;
    for (const std::uint8_t c : input) {
        if (Base64Value(c) != 0xFF) {
            values.push_back(Base64Value(c));
        }
    }
    if (values.empty()) {
        return 0;
    }
    Bytes bytes;
    for (std::size_t i = 0; i < values.size(); i += 4) {
        const std::size_t count = std::min<std::size_t>(4, values.size() - i);
        if (count > 1) {
            bytes.push_back(static_cast<std::uint8_t>(values[i] * 4 + values[i + 1] / 16));
        }
        if (count > 2) {
            bytes.push_back(static_cast<std::uint8_t>(values[i + 1] * 16 + values[i + 2] / 4));
        }
        if (count > 3) {
            bytes.push_back(static_cast<std::uint8_t>(values[i + 2] * 64 + values[i + 3]));
        }
    }
    *out = bytes;
    return 1;
}

int ExtractSubtree(List list, std::int32_t index, Bytes* out) {
    if (out == nullptr) {
        return 0;
    }
    List::const_iterator node = list.begin();
    for (std::int32_t i = 0; i < index && node != list.end(); ++i) {
        ++node;
    }
    if (node == list.end()) {
        return 0;
    }
    const std::int32_t depth = node->depth;
    Bytes bytes;
    WriteDerNode(node, &bytes);
    while (node != list.end() && node->depth > depth) {
        WriteDerNode(node, &bytes);
    }
    *out = bytes;
    return 1;
}

int ExtractSubtreeAsList(List list, std::uint32_t index, List* out) {
    Bytes bytes;
    if (ExtractSubtree(list, static_cast<std::int32_t>(index), &bytes) == 0) {
        return 0;
    }
    return ParseDerList(bytes.data(), static_cast<std::int32_t>(bytes.size()), out);
}

int FindByOid(const List* list, const char* oid, List* out) {
    if (list == nullptr) {
        return 0;
    }
    List copy = *list;
    return FindNthByOid(&copy, oid, 1, out);
}

int FindNthByOid(List* list, const char* oid, std::uint32_t occurrence, List* out) {
    Bytes octets;
    if (list == nullptr || oid == nullptr || !OidTextToOctets(oid, &octets)) {
        return 0;
    }
    List::iterator node = list->begin();
    std::int32_t counter = 0;
    std::uint32_t count = 0;
    for (; node != list->end(); ++node, ++counter) {
        if (node->tag == 0x06 && node->content == octets) {
            ++count;
            if (count == occurrence) {
                break;
            }
        }
    }
    if (node == list->end()) {
        return 0;
    }
    if (node->depth != 0) {
        const std::int32_t depth = node->depth;
        while (node->depth != depth - 1) {
            --node;
            --counter;
        }
    }
    Bytes bytes;
    if (ExtractSubtree(*list, counter, &bytes) == 0) {
        return 0;
    }
    if (out != nullptr) {
        return ParseDerList(bytes.data(), static_cast<std::int32_t>(bytes.size()), out);
    }
    return 1;
}

int GetFirstOidText(const List* list, std::string* text) {
    if (list == nullptr || text == nullptr) {
        return 0;
    }
    for (const Node& node : *list) {
        if (node.tag == 0x06) {
            return OidOctetsToText(node.content, text) ? 1 : 0;
        }
    }
    return 0;
}

int AppendDerList(List* target, const List* source, std::uint32_t mode) {
    std::int32_t base = 0;
    if (!target->empty()) {
        if (mode == 0xFFFFFFFF) {
            base = target->back().depth + 1;
        } else if (mode == 0xFFFFFFFE) {
            base = target->back().depth;
        } else {
            base = static_cast<std::int32_t>(mode);
        }
    }
    for (const Node& node : *source) {
        Node copy;
        copy.depth = static_cast<std::int32_t>(static_cast<std::uint32_t>(base) +
                                               static_cast<std::uint32_t>(node.depth));
        copy.tag = node.tag;
        copy.content = node.content;
        if (AppendDerNode(-1, copy, target) == 0) {
            return 0;
        }
    }
    return 1;
}

int AppendDerBytes(List* target, const std::uint8_t* data, std::uint32_t size, std::uint32_t mode) {
    List source;
    if (ParseDerList(data, static_cast<std::int32_t>(size), &source) == 0) {
        return 0;
    }
    return AppendDerList(target, &source, mode);
}

}  // namespace reference
