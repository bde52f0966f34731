#include "schema/pfx_key_bag.h"

#include "asn/optional.h"
#include "asn/primitive_serializable.h"
#include "asn/sequence.h"
#include "asn/serializable_wrapper.h"
#include "schema/context_names.h"

namespace asn = pkisdk::asn;
using pkisdk::Blob;

namespace {

constexpr std::uint32_t kKeyInfoTag = 0;

using KeyInfoMember = asn::SerializableWrapper<PfxKeyInfo>;

}  // namespace

PfxKeyBag::PfxKeyBag() {
    oid.SetText("1.2.840.113549.1.12.10.1.2");
}

void PfxKeyBag::Clear() {
    oid = {};
    pfxKeyInfo.Clear();
    atributes.clear();
}

bool PfxKeyBag::DeserializeFromAsnObject(const asn::AsnObjectHandle& object,
                                         const std::string& context) {
    Clear();
    asn::ObjectIdMember oidMember(".oid", &oid);
    asn::Optional<KeyInfoMember> keyInfo({".pfxKeyInfo", &pfxKeyInfo}, kKeyInfoTag,
                                         {&pfxKeyInfo.encrKey, &Blob::IsEmpty});
    asn::BlobSetMember attributes(".atributes", &atributes);
    asn::Sequence sequence(asn::kSequenceIdentifier);
    sequence.Add(oidMember);
    sequence.Add(keyInfo);
    sequence.Add(attributes);
    return sequence.DeserializeFromAsnObject(object,
                                             asn::ContextOr(context, asn::kPfxKeyBagContext));
}

asn::AsnNodeHandle PfxKeyBag::SerializeToAsnNode(const asn::AsnNodeContainerHandle& parent) const {
    const asn::readable::ObjectIdMember oidMember(".oid", &oid);
    const asn::Optional<KeyInfoMember> keyInfo({".pfxKeyInfo", &pfxKeyInfo}, kKeyInfoTag,
                                               {&pfxKeyInfo.encrKey, &Blob::IsEmpty});
    const asn::readable::BlobSetMember attributes(".atributes", &atributes);
    asn::readable::Sequence sequence(asn::kSequenceIdentifier);
    sequence.Add(oidMember);
    sequence.Add(keyInfo);
    sequence.Add(attributes);
    return sequence.SerializeToAsnNode(parent);
}
