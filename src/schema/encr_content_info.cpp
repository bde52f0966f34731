#include "schema/encr_content_info.h"

#include "asn/implicit.h"
#include "asn/primitive_serializable.h"
#include "asn/sequence.h"
#include "asn/serializable_wrapper.h"
#include "schema/context_names.h"

namespace asn = pkisdk::asn;
using pkisdk::Blob;

namespace {

constexpr std::uint32_t kEncryptedDataTag = 0;

}  // namespace

EncrContentInfo::EncrContentInfo() {
    oid.SetText("1.2.840.113549.1.7.1");
}

void EncrContentInfo::Clear() {
    oid = {};
    PBES2Sheme.Clear();
    EncryptedData.Clear();
}

bool EncrContentInfo::DeserializeFromAsnObject(const asn::AsnObjectHandle& object,
                                               const std::string& context) {
    Clear();
    asn::ObjectIdMember oidMember(".oid", &oid);
    asn::SerializableWrapper<asn::PBES2AlgIdentifier> scheme(".PBES2Sheme", &PBES2Sheme);
    asn::Implicit<asn::BinaryContentEncoder, Blob> data(".EncryptedData", &EncryptedData,
                                                        kEncryptedDataTag, &Blob::IsEmpty);
    asn::Sequence sequence(asn::kSequenceIdentifier);
    sequence.Add(oidMember);
    sequence.Add(scheme);
    sequence.Add(data);
    return sequence.DeserializeFromAsnObject(object,
                                             asn::ContextOr(context, asn::kEncrContentInfoContext));
}

asn::AsnNodeHandle EncrContentInfo::SerializeToAsnNode(
    const asn::AsnNodeContainerHandle& parent) const {
    const asn::readable::ObjectIdMember oidMember(".oid", &oid);
    const asn::SerializableWrapper<asn::PBES2AlgIdentifier> scheme(".PBES2Sheme", &PBES2Sheme);
    const asn::readable::Implicit<asn::BinaryContentEncoder, Blob> data(
        ".EncryptedData", &EncryptedData, kEncryptedDataTag, &Blob::IsEmpty);
    asn::readable::Sequence sequence(asn::kSequenceIdentifier);
    sequence.Add(oidMember);
    sequence.Add(scheme);
    sequence.Add(data);
    return sequence.SerializeToAsnNode(parent);
}
