// How a value of each type becomes a node and comes back from an object.
//
// Decode reads the object into the value and throws what the decoders throw. Encode answers a new
// node with the given identifier that holds a copy of the value, but for octet strings.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "asn/asn_binary_node.h"
#include "asn/asn_object_readable.h"
#include "foundation/blob.h"
#include "foundation/object_id.h"

namespace pkisdk::asn {

using AsnBinaryNodeHandle = AsnHandle<AsnBinaryNode>;

// INTEGER. Written without a sign in the fewest octets that read back as the same number, so that
// one with its top bit set takes four and looks negative.
struct IntegerEncoder {
    static void Decode(const AsnObjectHandle& object, std::uint32_t* value);
    static AsnBinaryNodeHandle Encode(std::uint32_t value, const AsnIdentifier& identifier);
};

// OBJECT IDENTIFIER.
struct ObjectIdEncoder {
    static void Decode(const AsnObjectHandle& object, ObjectId* value);
    static AsnBinaryNodeHandle Encode(const ObjectId& value, const AsnIdentifier& identifier);
};

// OCTET STRING. The node borrows the value, which must outlive it.
struct BinaryContentEncoder {
    static void Decode(const AsnObjectHandle& object, Blob* value);
    static AsnBinaryNodeHandle Encode(const Blob& value, const AsnIdentifier& identifier);
};

// PrintableString and its like, in the user's locale.
struct ByteStringEncoder {
    static void Decode(const AsnObjectHandle& object, std::wstring* value);
    static AsnBinaryNodeHandle Encode(const std::wstring& value, const AsnIdentifier& identifier);
};

// SET whose elements stay encoded, each in a blob of its own. They keep their order, which need not
// be that of DER. Encode throws BadAsnData for a blob that does not begin with an element.
struct AsnBlobCollectionEncoder {
    static void Decode(const AsnObjectHandle& object, std::list<Blob>* value);
    static AsnBinaryNodeHandle Encode(const std::list<Blob>& value,
                                      const AsnIdentifier& identifier);
};

}  // namespace pkisdk::asn
