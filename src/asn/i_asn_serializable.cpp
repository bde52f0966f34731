#include "asn/i_asn_serializable.h"

#include "foundation/asn_exceptions.h"

namespace pkisdk::asn {

namespace {

bool IsAtPadding(const AsnChildIterator& iterator) {
    return iterator.CurrentOrEmpty() != nullptr &&
           iterator.CurrentOrEmpty()->GetIdentifier().firstOctet == 0;
}

}  // namespace

bool IAsnSerializable::DeserializeFromIterator(AsnChildIterator& iterator,
                                               const std::string& context) {
    const AsnObjectHandle child =
        IsOptional() ? iterator.CurrentOrEmpty() : iterator.Current(context);
    if (child == nullptr || !DeserializeFromAsnObject(child, context)) {
        return false;
    }
    iterator.Next();
    while (IsAtPadding(iterator)) {
        iterator.Next();
    }
    return true;
}

void ThrowNotImplemented(const char* routine) {
    throw AsnException(0, std::string(routine) + " Method is not implemented.");
}

}  // namespace pkisdk::asn
