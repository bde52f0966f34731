#include "support/pfx_builder.h"

#include <algorithm>

namespace test_support {

namespace {

const Bytes kDataOid = {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x01};

// Length octets and identifier from the last to the first, so that a document can be made from its
// end on without moving what is there.
Bytes HeaderBackwards(std::uint8_t tag, std::size_t size) {
    Bytes header;
    if (size < 0x80) {
        header = {static_cast<std::uint8_t>(size)};
    } else {
        for (; size != 0; size >>= 8) {
            header.push_back(static_cast<std::uint8_t>(size));
        }
        header.push_back(static_cast<std::uint8_t>(0x80 + header.size()));
    }
    header.push_back(tag);
    return header;
}

}  // namespace

Bytes Element(std::uint8_t tag, const Bytes& content) {
    Bytes out = HeaderBackwards(tag, content.size());
    std::reverse(out.begin(), out.end());
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

Bytes Join(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts) {
        out.insert(out.end(), part.begin(), part.end());
    }
    return out;
}

Bytes DataContentInfo(const Bytes& content) {
    return Element(0x30, Join({Element(0x06, kDataOid), Element(0xA0, Element(0x04, content))}));
}

Bytes NestedSequences(std::size_t depth) {
    Bytes backwards;
    for (; depth > 0; --depth) {
        const Bytes header = HeaderBackwards(0x30, backwards.size());
        backwards.insert(backwards.end(), header.begin(), header.end());
    }
    std::reverse(backwards.begin(), backwards.end());
    return backwards;
}

Bytes PfxBuilder::AuthSafe() const {
    return authSafe.empty() ? Element(0x30, DataContentInfo(content)) : authSafe;
}

Bytes PfxBuilder::MacData() const {
    Bytes value = ReferencePfxMac(hashAlgorithm, password, salt, iterations, AuthSafe());
    if (mac) {
        value = mac(value);
    }
    Bytes saltField = Element(0x04, salt);
    if (saltElement) {
        saltField = saltElement(saltField);
    }
    const Bytes algorithm = Element(
        0x30, Join({Element(0x06, digestOid), withParameters ? Element(0x05, {}) : Bytes{}}));
    const Bytes digestInfo = Element(0x30, Join({algorithm, Element(0x04, value)}));
    const Bytes count = withIterations ? Element(0x02, iterationOctets) : Bytes{};
    return Element(0x30, Join({digestInfo, saltField, count}));
}

Bytes PfxBuilder::Build() const {
    return Element(0x30, Join({Element(0x02, {3}), DataContentInfo(AuthSafe()),
                               withMacData ? MacData() : Bytes{}}));
}

}  // namespace test_support
