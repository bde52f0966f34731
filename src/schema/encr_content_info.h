// Encrypted content with what is needed to decrypt it.
//
//   EncryptedContentInfo ::= SEQUENCE {
//       contentType                  OBJECT IDENTIFIER,
//       contentEncryptionAlgorithm   AlgorithmIdentifier,
//       encryptedContent             [0] IMPLICIT OCTET STRING OPTIONAL }
#pragma once

#include <string>

#include "asn/i_asn_serializable.h"
#include "foundation/blob.h"
#include "foundation/object_id.h"
#include "schema/pbes2_alg_identifier.h"

class EncrContentInfo : public pkisdk::asn::IAsnSerializable {
  public:
    // Data, 1.2.840.113549.1.7.1, without content, under the default algorithm.
    EncrContentInfo();

    // Content in constructed form is not taken.
    bool DeserializeFromAsnObject(const pkisdk::asn::AsnObjectHandle& object,
                                  const std::string& context) override;
    pkisdk::asn::AsnNodeHandle SerializeToAsnNode(
        const pkisdk::asn::AsnNodeContainerHandle& parent) const override;
    // Empties what a read fills, but for the `Hparams` of the key derivation.
    void Clear();

    // The type of the content.
    pkisdk::ObjectId oid;
    pkisdk::asn::PBES2AlgIdentifier PBES2Sheme;
    // Left out where it is empty.
    pkisdk::Blob EncryptedData;
};
