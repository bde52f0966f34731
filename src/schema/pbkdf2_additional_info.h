// The parameters of PBKDF2.
//
//   PBKDF2-params ::= SEQUENCE {
//       salt             OCTET STRING,
//       iterationCount   INTEGER,
//       prf              SEQUENCE {
//           algorithm    OBJECT IDENTIFIER,
//           parameters   CHOICE { NULL, OCTET STRING } } }
#pragma once

#include <cstdint>
#include <string>

#include "asn/i_asn_serializable.h"
#include "foundation/blob.h"
#include "foundation/object_id.h"

namespace pkisdk::asn {

class PBKDF2AdditionalInfo : public IAsnSerializable {
  public:
    // 2000 iterations of the function 1.2.643.2.2.10, without parameters of its own or a salt.
    PBKDF2AdditionalInfo();

    // NULL in place of the sequence is taken and leaves the fields cleared; it is never written.
    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override;
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override;
    // Empties what a read fills. `Hparams` stays as it is, since NULL does not fill it.
    void Clear();

    // The salt.
    Blob Synchr;
    std::uint32_t IterCount;
    // The pseudo-random function, and its parameters: NULL where they are empty. A NULL that is
    // read leaves the earlier ones in place.
    ObjectId EncrParams;
    Blob Hparams;
};

}  // namespace pkisdk::asn
