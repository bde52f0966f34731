// A bag with one encrypted private key.
//
//   SafeBag ::= SEQUENCE {
//       bagId           OBJECT IDENTIFIER,
//       bagValue        [0] EXPLICIT EncryptedPrivateKeyInfo OPTIONAL,
//       bagAttributes   SET OF Attribute }
#pragma once

#include <list>
#include <string>

#include "asn/i_asn_serializable.h"
#include "foundation/blob.h"
#include "foundation/object_id.h"
#include "schema/pfx_key_info.h"

class PfxKeyBag : public pkisdk::asn::IAsnSerializable {
  public:
    // A shrouded key bag, 1.2.840.113549.1.12.10.1.2, without a key and attributes.
    PfxKeyBag();

    // A bag without a key is taken; one without the set of attributes is not.
    bool DeserializeFromAsnObject(const pkisdk::asn::AsnObjectHandle& object,
                                  const std::string& context) override;
    pkisdk::asn::AsnNodeHandle SerializeToAsnNode(
        const pkisdk::asn::AsnNodeContainerHandle& parent) const override;
    // Empties what a read fills, but for the `Hparams` of the key derivation.
    void Clear();

    // The type of the bag.
    pkisdk::ObjectId oid;
    // Left out, whole, where its `encrKey` is empty.
    PfxKeyInfo pfxKeyInfo;
    // Each one Attribute with its header, see AttributesSet.
    std::list<pkisdk::Blob> atributes;
};
