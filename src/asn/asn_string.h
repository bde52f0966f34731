// A mandatory member that is text of any of several types.
#pragma once

#include <string>

#include "asn/i_asn_serializable.h"

namespace pkisdk::asn {

namespace readable {

// Written as the type that `identifier` names: UTF8String; NumericString, PrintableString or
// IA5String, in the user's locale; or BMPString, whose units go out low octet first. Throws
// std::runtime_error for any other.
class AsnString : public IAsnSerializable {
  public:
    AsnString(const char* memberName, const std::wstring* value, const AsnIdentifier& identifier)
        : memberName_(memberName), value_(value), identifier_(identifier) {}

    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override;
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override;

  protected:
    const char* memberName_;

  private:
    const std::wstring* value_;
    AsnIdentifier identifier_;
};

}  // namespace readable

// Takes an object of any of these types, whatever `identifier` says; a BMPString's units come in
// high octet first. Throws UnexpactedAsnIdentifier for any other.
class AsnString : public readable::AsnString {
  public:
    AsnString(const char* memberName, std::wstring* value, const AsnIdentifier& identifier)
        : readable::AsnString(memberName, value, identifier), target_(value) {}

    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override;

  private:
    std::wstring* target_;
};

}  // namespace pkisdk::asn
