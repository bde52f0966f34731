// A mandatory member that stays encoded.
#pragma once

#include <string>

#include "asn/i_asn_serializable.h"
#include "foundation/blob.h"

namespace pkisdk::asn {

namespace readable {

// Writes the first element of the blob; what is behind it is dropped, and an empty blob writes
// nothing. Throws BadAsnData for a blob that does not begin with an element. No message bears the
// member name: any object will do.
class AsnBlob : public IAsnSerializable {
  public:
    AsnBlob(const char* /*memberName*/, const Blob* value) : value_(value) {}

    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override;
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override;

  private:
    const Blob* value_;
};

}  // namespace readable

// Takes any object, whole.
class AsnBlob : public readable::AsnBlob {
  public:
    AsnBlob(const char* memberName, Blob* value)
        : readable::AsnBlob(memberName, value), target_(value) {}

    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override;

  private:
    Blob* target_;
};

}  // namespace pkisdk::asn
