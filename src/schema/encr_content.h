// The content of a document's encrypted part.
//
//   EncryptedData ::= SEQUENCE {
//       version                INTEGER,
//       encryptedContentInfo   EncryptedContentInfo }
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "asn/i_asn_serializable.h"
#include "foundation/blob.h"
#include "schema/encr_content_info.h"

class EncrContent : public pkisdk::asn::IAsnSerializable {
  public:
    bool DeserializeFromAsnObject(const pkisdk::asn::AsnObjectHandle& object,
                                  const std::string& context) override;
    pkisdk::asn::AsnNodeHandle SerializeToAsnNode(
        const pkisdk::asn::AsnNodeContainerHandle& parent) const override;
    // Empties what a read fills, but for the `Hparams` of the key derivation, and for `ver`, which
    // every read that succeeds sets.
    void Clear();

    // The version of the syntax, taken as it stands.
    std::uint32_t ver = 0;
    EncrContentInfo encrContentInfo;
    // Neither read nor written.
    std::list<pkisdk::Blob> unprotectedAttributes;
};
