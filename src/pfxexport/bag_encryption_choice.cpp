#include "pfxexport/bag_encryption_choice.h"

#include "pfxcrypto/pfx_constants.h"

namespace pkisdk {

const EncryptionOids* FindEncryptionOids(ALG_ID hashAlgorithm) {
    static constexpr EncryptionOids kOf94{"1.2.643.2.2.10", "1.2.643.2.2.31.1"};
    static constexpr EncryptionOids kOf2012{"1.2.643.7.1.1.4.2", "1.2.643.7.1.2.5.1.1"};
    switch (hashAlgorithm) {
        case kGostR3411_94:
            return &kOf94;
        // The 256-bit hash deliberately bears the function of the 512-bit one.
        case kGostR3411_256:
        case kGostR3411_512:
            return &kOf2012;
        default:
            return nullptr;
    }
}

bool FindCipherOid(std::string* oid) {
    ALG_ID cipher = kGost28147;
    const PCCRYPT_OID_INFO info =
        CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &cipher, CRYPT_ENCRYPT_ALG_OID_GROUP_ID);
    if (info == nullptr || info->pszOID == nullptr) {
        return false;
    }
    *oid = info->pszOID;
    return true;
}

void FillScheme(const EncryptionParameters& parameters, asn::PBES2AlgIdentifier* scheme) {
    asn::PBKDF2AdditionalInfo& derivation = scheme->KezDeriv.additionalInfo;
    derivation.EncrParams.SetText(parameters.oids.prf);
    derivation.Synchr = parameters.salt;
    derivation.IterCount = parameters.iterations;
    asn::EncrAlgIdentifier& cipher = scheme->EncrScheme;
    cipher.oid.SetText(parameters.cipherOid);
    cipher.additionalInfo.Synchr = parameters.initialVector;
    cipher.additionalInfo.EncrParams.SetText(parameters.oids.cipherParameters);
}

}  // namespace pkisdk
