#include "pfximport/bag_encryption.h"

#include "pfxcrypto/pfx_constants.h"
#include "pfxcrypto/session_key.h"

namespace pkisdk {

namespace {

struct PrfHash {
    const char* prf;
    ALG_ID hash;
};

constexpr PrfHash kPrfHashes[] = {
    {"1.2.643.2.2.10", kGostR3411_94},
    {"1.2.643.7.1.1.4.1", kGostR3411_256},
    {"1.2.643.7.1.1.4.2", kGostR3411_512},
};

bool FindCipher(const ObjectId& oid, ALG_ID* cipher) {
    std::string text;
    oid.GetText(&text);
    const PCCRYPT_OID_INFO info = CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, text.data(), 0);
    if (info == nullptr) {
        return false;
    }
    *cipher = info->Algid;
    return true;
}

bool FindPrfHash(const ObjectId& oid, ALG_ID* hash) {
    std::string text;
    oid.GetText(&text);
    for (const PrfHash& known : kPrfHashes) {
        if (text == known.prf) {
            *hash = known.hash;
            return true;
        }
    }
    return false;
}

// The provider reads as many octets as the cipher's vector has, however long the document's is.
bool SetVector(HCRYPTKEY key, const Blob& vector) {
    if (vector.GetSize() < kVectorSize) {
        SetLastError(static_cast<DWORD>(NTE_BAD_DATA));
        return false;
    }
    return CryptSetKeyParam(key, KP_IV, vector.GetData(), 0) != FALSE;
}

bool SetParameterSet(HCRYPTKEY key, const std::string& parameterSet) {
    return CryptSetKeyParam(key, kCipherOidParameter,
                            reinterpret_cast<const BYTE*>(parameterSet.c_str()), 0) != FALSE;
}

}  // namespace

DWORD ReadBagEncryption(const asn::PBES2AlgIdentifier& scheme, BagEncryption* encryption) {
    const asn::PBKDF2AdditionalInfo& derivation = scheme.KezDeriv.additionalInfo;
    const asn::EncrAdditionalInfo& cipher = scheme.EncrScheme.additionalInfo;
    if (!FindCipher(scheme.EncrScheme.oid, &encryption->cipher) ||
        !FindPrfHash(derivation.EncrParams, &encryption->hash)) {
        return static_cast<DWORD>(NTE_BAD_ALGID);
    }
    encryption->iterations = derivation.IterCount;
    encryption->salt = derivation.Synchr;
    encryption->vector = cipher.Synchr;
    cipher.EncrParams.GetText(&encryption->parameterSet);
    return 0;
}

bool MakeBagKey(const char* password, HCRYPTPROV provider, const BagEncryption& encryption,
                ProviderKey* key) {
    Blob salt = encryption.salt;
    return DerivePfxSessionKey(password, provider, encryption.cipher, encryption.hash,
                               encryption.iterations, key->Put(), &salt) != 0 &&
           SetVector(key->Get(), encryption.vector) &&
           SetParameterSet(key->Get(), encryption.parameterSet);
}

}  // namespace pkisdk
