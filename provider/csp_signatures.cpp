// Entry points: signatures.
#include "csp.h"
#include "provider/gost_key.h"
#include "provider/objects.h"
#include "provider/parameter.h"

namespace provider {

namespace {

// NTE_BAD_ALGID for a hash that the key's algorithm does not go with.
HRESULT CheckHash(Hash* hash, const GostAlgorithm& algorithm) {
    DWORD id = 0;
    DWORD size = sizeof(id);
    const HRESULT status = hash->GetParameter(HP_ALGID, reinterpret_cast<BYTE*>(&id), &size);
    return status == S_OK && id != algorithm.digest ? NTE_BAD_ALGID : status;
}

HRESULT GetValue(Hash* hash, const GostAlgorithm& algorithm, std::vector<BYTE>* value) {
    value->resize(algorithm.size);
    auto size = static_cast<DWORD>(value->size());
    return hash->GetParameter(HP_HASHVAL, value->data(), &size);
}

// The hash's value is taken when nothing but the signature itself is left to do.
HRESULT SignWith(const AsymmetricKey& key, Hash* hash, BYTE* out, DWORD* outSize) {
    const KeyType& type = key.Type();
    HRESULT status = CheckHash(hash, *type.algorithm);
    if (status != S_OK) {
        return status;
    }
    const auto size = static_cast<DWORD>(type.curve->size * 2);
    if (out == nullptr || *outSize < size) {
        *outSize = size;
        return out == nullptr ? S_OK : ERROR_MORE_DATA;
    }
    SecretBytes privateKey;
    status = key.LoadPrivateKey(&privateKey);
    std::vector<BYTE> value;
    if (status == S_OK) {
        status = GetValue(hash, *type.algorithm, &value);
    }
    std::vector<BYTE> signature;
    if (status == S_OK) {
        status = SignHashValue(*type.curve, privateKey.View(), value, &signature);
    }
    return status == S_OK ? WriteParameter(signature, out, outSize) : status;
}

HRESULT Sign(HCRYPTPROV context, HCRYPTHASH hashHandle, DWORD keySpec, const WCHAR* description,
             DWORD flags, BYTE* out, DWORD* outSize) {
    return WithHash(context, hashHandle, [=](HashTable::Lease* hash) -> HRESULT {
        if (description != nullptr || outSize == nullptr) {
            return ERROR_INVALID_PARAMETER;
        }
        if (flags != 0) {
            return NTE_BAD_FLAGS;
        }
        const std::shared_ptr<Container> container = ContainerOf(context);
        if (container == nullptr) {
            return NTE_NO_KEY;
        }
        std::shared_ptr<const AsymmetricKey> key;
        const HRESULT status = AsymmetricKey::Open(container, keySpec, &key);
        return status == S_OK ? SignWith(*key, &**hash, out, outSize) : status;
    });
}

HRESULT Verify(HCRYPTPROV context, HCRYPTHASH hashHandle, const BYTE* signature, DWORD size,
               HCRYPTKEY keyHandle, const WCHAR* description, DWORD flags) {
    std::shared_ptr<const AsymmetricKey> key;
    HRESULT status = FindAsymmetricKey(context, keyHandle, &key);
    if (status != S_OK) {
        return status;
    }
    const KeyType& type = key->Type();
    std::vector<BYTE> value;
    status = WithHash(context, hashHandle, [&](HashTable::Lease* hash) -> HRESULT {
        if (description != nullptr || signature == nullptr) {
            return ERROR_INVALID_PARAMETER;
        }
        if (flags != 0) {
            return NTE_BAD_FLAGS;
        }
        const HRESULT fit = CheckHash(&**hash, *type.algorithm);
        return fit == S_OK ? GetValue(&**hash, *type.algorithm, &value) : fit;
    });
    if (status != S_OK) {
        return status;
    }
    return VerifyHashValue(*type.curve, key->PublicKey(), value, {signature, size})
               ? S_OK
               : NTE_BAD_SIGNATURE;
}

}  // namespace

}  // namespace provider

using provider::AnswerTo;

BOOL WINAPI CPSignHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwKeySpec, LPCWSTR sDescription,
                       DWORD dwFlags, BYTE* pbSignature, DWORD* pcbSigLen) {
    return AnswerTo([=] {
        return provider::Sign(hProv, hHash, dwKeySpec, sDescription, dwFlags, pbSignature,
                              pcbSigLen);
    });
}

BOOL WINAPI CPVerifySignature(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbSignature,
                              DWORD cbSigLen, HCRYPTKEY hPubKey, LPCWSTR sDescription,
                              DWORD dwFlags) {
    return AnswerTo([=] {
        return provider::Verify(hProv, hHash, pbSignature, cbSigLen, hPubKey, sDescription,
                                dwFlags);
    });
}
