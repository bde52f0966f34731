// Output trees and what they write.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "asn/asn_binary_node.h"
#include "asn/asn_node_container.h"
#include "support/octets.h"

namespace support {

inline std::string Encoded(const pkisdk::asn::AsnNode& node) {
    pkisdk::Blob blob;
    node.Serialize(&blob);
    EXPECT_EQ(node.GetEncodedSize(), blob.GetSize());
    return ToHex(blob);
}

// An OCTET STRING of so many zero octets.
inline pkisdk::asn::AsnHandle<pkisdk::asn::AsnBinaryNode> OctetString(std::uint64_t size) {
    auto node =
        pkisdk::asn::MakeAsn<pkisdk::asn::AsnBinaryNode>(pkisdk::asn::kOctetStringIdentifier);
    node->content.SetSize(size);
    return node;
}

inline pkisdk::asn::AsnNodeContainerHandle SequenceOf(const pkisdk::asn::AsnNodeHandle& child) {
    auto node =
        pkisdk::asn::MakeAsn<pkisdk::asn::AsnNodeContainer>(pkisdk::asn::kSequenceIdentifier);
    node->AddChild(child);
    return node;
}

}  // namespace support
