// A constructed element whose children are the members of a schema, in order.
#pragma once

#include <string>
#include <vector>

#include "asn/i_asn_serializable.h"

namespace pkisdk::asn {

namespace readable {

// Members to be written one after the other. They are not owned.
class AsnCollectionSerializer {
  public:
    virtual ~AsnCollectionSerializer() = default;

    void Add(const IAsnSerializable& member) { members_.push_back(&member); }
    // Each member adds its node to `parent`; the answer is empty. Throws AsnException for an empty
    // parent.
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const;

  private:
    std::vector<const IAsnSerializable*> members_;
};

// Writes its members as the children of an element with the identifier given. Does not read.
class Sequence : public IAsnSerializable {
  public:
    explicit Sequence(const AsnIdentifier& identifier) : identifier_(identifier) {}

    // `member` is not owned and must outlive this object.
    void Add(const IAsnSerializable& member) { collection_.Add(member); }

    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override;
    AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const override;

  protected:
    const AsnIdentifier& GetIdentifier() const { return identifier_; }

  private:
    AsnIdentifier identifier_;
    AsnCollectionSerializer collection_;
};

}  // namespace readable

// Gives each child to the next member that takes it. Children behind the last member are passed
// over. Adds nothing to the context.
class Sequence : public readable::Sequence {
  public:
    using readable::Sequence::Sequence;

    // `member` is not owned and must outlive this object.
    void Add(IAsnSerializable& member);

    bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                  const std::string& context) override;

  private:
    std::vector<IAsnSerializable*> readMembers_;
};

}  // namespace pkisdk::asn
