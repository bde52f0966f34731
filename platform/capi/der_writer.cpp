#include "capi/der_writer.h"

#include <openssl/objects.h>

#include "capi/calls.h"

namespace capi {

namespace {

void AppendLength(std::size_t length, Bytes* out) {
    if (length < 0x80) {
        out->push_back(static_cast<BYTE>(length));
        return;
    }
    int octets = 1;
    while (length >> (8 * octets) != 0) {
        ++octets;
    }
    out->push_back(static_cast<BYTE>(0x80 + octets));
    while (octets-- > 0) {
        out->push_back(static_cast<BYTE>(length >> (8 * octets)));
    }
}

struct FreeObject {
    void operator()(ASN1_OBJECT* object) const { ASN1_OBJECT_free(object); }
};

}  // namespace

Bytes DerElement(BYTE identifier, std::initializer_list<std::span<const BYTE>> parts) {
    std::size_t length = 0;
    for (const std::span<const BYTE> part : parts) {
        length += part.size();
    }
    Bytes element{identifier};
    AppendLength(length, &element);
    for (const std::span<const BYTE> part : parts) {
        element.insert(element.end(), part.begin(), part.end());
    }
    return element;
}

Bytes DerObjectIdentifier(const char* dotted) {
    constexpr int kNumbersAlone = 1;
    const std::unique_ptr<ASN1_OBJECT, FreeObject> object(OBJ_txt2obj(dotted, kNumbersAlone));
    Require(object != nullptr, E_INVALIDARG);
    const BYTE* const octets = OBJ_get0_data(object.get());
    return DerElement(0x06, {{octets, OBJ_length(object.get())}});
}

Bytes DerBitString(std::span<const BYTE> octets) {
    constexpr BYTE kNoUnusedBits[] = {0};
    return DerElement(0x03, {kNoUnusedBits, octets});
}

}  // namespace capi
