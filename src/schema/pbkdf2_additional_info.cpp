#include "schema/pbkdf2_additional_info.h"

#include "asn/nullable.h"
#include "asn/primitive_serializable.h"
#include "asn/sequence.h"

namespace pkisdk::asn {

PBKDF2AdditionalInfo::PBKDF2AdditionalInfo() : IterCount(2000) {
    EncrParams.SetText("1.2.643.2.2.10");
}

void PBKDF2AdditionalInfo::Clear() {
    EncrParams = {};
    Synchr.Clear();
    IterCount = 0;
}

bool PBKDF2AdditionalInfo::DeserializeFromAsnObject(const AsnObjectHandle& object,
                                                    const std::string& context) {
    Clear();
    if (object->GetIdentifier() == kNullIdentifier) {
        return true;
    }
    OctetStringMember synchr(".Synchr", &Synchr);
    IntegerMember iterCount(".IterCount", &IterCount);
    ObjectIdMember encrParams(".EncrParams", &EncrParams);
    Nullable<OctetStringMember> hparams({".Hparams", &Hparams}, {&Hparams, &Blob::IsEmpty});
    Sequence prf(kSequenceIdentifier);
    prf.Add(encrParams);
    prf.Add(hparams);
    Sequence sequence(kSequenceIdentifier);
    sequence.Add(synchr);
    sequence.Add(iterCount);
    sequence.Add(prf);
    return sequence.DeserializeFromAsnObject(object, context);
}

AsnNodeHandle PBKDF2AdditionalInfo::SerializeToAsnNode(const AsnNodeContainerHandle& parent) const {
    const readable::OctetStringMember synchr(".Synchr", &Synchr);
    const readable::IntegerMember iterCount(".IterCount", &IterCount);
    const readable::ObjectIdMember encrParams(".EncrParams", &EncrParams);
    const Nullable<readable::OctetStringMember> hparams({".Hparams", &Hparams},
                                                        {&Hparams, &Blob::IsEmpty});
    readable::Sequence prf(kSequenceIdentifier);
    prf.Add(encrParams);
    prf.Add(hparams);
    readable::Sequence sequence(kSequenceIdentifier);
    sequence.Add(synchr);
    sequence.Add(iterCount);
    sequence.Add(prf);
    return sequence.SerializeToAsnNode(parent);
}

}  // namespace pkisdk::asn
