// Members and schema objects to octets and back.
#pragma once

#include <string>

#include "asn/asn_object_readable.h"
#include "asn/i_asn_serializable.h"
#include "support/octets.h"

namespace support {

// What the value writes, in hexadecimal; "nothing" where it makes no node.
inline std::string WrittenHex(const pkisdk::asn::IAsnSerializable& value) {
    const pkisdk::asn::AsnNodeHandle node = value.SerializeToAsnNode({});
    if (node == nullptr) {
        return "nothing";
    }
    pkisdk::Blob blob;
    node->Serialize(&blob);
    return ToHex(blob);
}

// Reads the value from the first object of the octets.
inline bool ReadBlob(pkisdk::asn::IAsnSerializable& value, const pkisdk::Blob& blob,
                     const std::string& context = {}) {
    return value.DeserializeFromAsnObject(pkisdk::asn::AsnObjectReadable::FromBlob(blob), context);
}

inline bool ReadHex(pkisdk::asn::IAsnSerializable& value, std::string_view hex,
                    const std::string& context = {}) {
    return ReadBlob(value, FromHex(hex), context);
}

template <typename Failure>
std::string ReadFailure(pkisdk::asn::IAsnSerializable& value, std::string_view hex,
                        const std::string& context = {}) {
    return MessageOf<Failure>([&] { ReadHex(value, hex, context); });
}

}  // namespace support
