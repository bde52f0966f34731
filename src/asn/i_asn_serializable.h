// One value of a schema, bound to a field of an object: what every member and schema class is.
#pragma once

#include <string>

#include "asn/asn_child_iterator.h"
#include "asn/asn_node_container.h"
#include "asn/asn_object_readable.h"

namespace pkisdk::asn {

// A schema class describes its encoding by building members over its fields, on the stack, under a
// Sequence that is then told to read or to write. Members point at what they are bound to.
//
// The members of the namespace `readable` only read their value, to write it to a node; asked to
// take a value from an object, they throw AsnException. The members of the same name outside it
// derive from them and do both.
//
// `context` is the path down the schema to the member's parent, for messages. What a read that
// failed had stored by then stays stored.
class IAsnSerializable {
  public:
    // Takes the value from the object. Answers false, if the member is optional, for an object that
    // is not its own. Throws AsnException and its descendants; members of text also plain
    // pkisdk::Exception, for text that does not convert.
    virtual bool DeserializeFromAsnObject(const AsnObjectHandle& object,
                                          const std::string& context) = 0;
    // Makes a node of the value, adds it to `parent` unless that is empty, and answers it. Empty if
    // there is nothing to be written. Nodes of octet strings borrow them: the tree is to be
    // serialised while the object that the members are bound to stands as it is.
    virtual AsnNodeHandle SerializeToAsnNode(const AsnNodeContainerHandle& parent) const = 0;
    // Whether the member may be missing.
    virtual bool IsOptional() const { return false; }
    // Takes the value from the current child and steps to the next one, over children whose
    // identifier octet is 0. A child that is not taken stays the current one. Throws BadAsnContent
    // at the end of the children if the member must not be missing.
    virtual bool DeserializeFromIterator(AsnChildIterator& iterator, const std::string& context);
    virtual ~IAsnSerializable() = default;

  protected:
    IAsnSerializable() = default;
    IAsnSerializable(const IAsnSerializable&) = default;
    IAsnSerializable(IAsnSerializable&&) = default;
    IAsnSerializable& operator=(const IAsnSerializable&) = default;
    IAsnSerializable& operator=(IAsnSerializable&&) = default;
};

// Throws the AsnException of a member that cannot read; `routine` stands in square brackets.
[[noreturn]] void ThrowNotImplemented(const char* routine);

}  // namespace pkisdk::asn
