// Schema objects are equal when all their fields are.
#pragma once

#include "schema/attributes_set.h"
#include "schema/encr_content.h"
#include "schema/pfx_key_bag.h"

namespace pkisdk::asn {

inline bool operator==(const EncrAdditionalInfo& left, const EncrAdditionalInfo& right) {
    return left.Synchr == right.Synchr && left.EncrParams == right.EncrParams;
}

inline bool operator==(const PBKDF2AdditionalInfo& left, const PBKDF2AdditionalInfo& right) {
    return left.Synchr == right.Synchr && left.IterCount == right.IterCount &&
           left.EncrParams == right.EncrParams && left.Hparams == right.Hparams;
}

inline bool operator==(const EncrAlgIdentifier& left, const EncrAlgIdentifier& right) {
    return left.oid == right.oid && left.additionalInfo == right.additionalInfo;
}

inline bool operator==(const PBKDF2AlgIdentifier& left, const PBKDF2AlgIdentifier& right) {
    return left.oid == right.oid && left.additionalInfo == right.additionalInfo;
}

inline bool operator==(const PBES2AlgIdentifier& left, const PBES2AlgIdentifier& right) {
    return left.oid == right.oid && left.KezDeriv == right.KezDeriv &&
           left.EncrScheme == right.EncrScheme;
}

inline bool operator==(const AttributesSet& left, const AttributesSet& right) {
    return left.oid == right.oid && left.values == right.values;
}

}  // namespace pkisdk::asn

inline bool operator==(const EncrContentInfo& left, const EncrContentInfo& right) {
    return left.oid == right.oid && left.PBES2Sheme == right.PBES2Sheme &&
           left.EncryptedData == right.EncryptedData;
}

inline bool operator==(const EncrContent& left, const EncrContent& right) {
    return left.ver == right.ver && left.encrContentInfo == right.encrContentInfo &&
           left.unprotectedAttributes == right.unprotectedAttributes;
}

inline bool operator==(const PfxKeyInfo& left, const PfxKeyInfo& right) {
    return left.PBES2Sheme == right.PBES2Sheme && left.encrKey == right.encrKey;
}

inline bool operator==(const PfxKeyBag& left, const PfxKeyBag& right) {
    return left.oid == right.oid && left.pfxKeyInfo == right.pfxKeyInfo &&
           left.atributes == right.atributes;
}
