// Entry points: hashes.
#include "csp.h"
#include "provider/algorithms.h"
#include "provider/objects.h"
#include "provider/parameter.h"

namespace provider {

namespace {

// Only what needs a key may have one, and the key must be of the same context.
HRESULT Prepare(HCRYPTPROV context, ALG_ID algorithm, HCRYPTKEY key, Hash* hash) {
    if (algorithm == CALG_HMAC) {
        if (KeyTable::OwnerOf(key) != context) {
            return NTE_BAD_KEY;
        }
        hash->StartKeyed(key);
        return S_OK;
    }
    const DigestAlgorithm* const digest = FindDigest(algorithm);
    if (digest == nullptr) {
        return NTE_BAD_ALGID;
    }
    if (key != 0) {
        return NTE_BAD_KEY;
    }
    hash->Start(*digest);
    return S_OK;
}

HRESULT Create(HCRYPTPROV context, ALG_ID algorithm, HCRYPTKEY key, DWORD flags,
               HCRYPTHASH* result) {
    if (!ContextTable::IsValid(context)) {
        return NTE_BAD_UID;
    }
    if (result == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    if (flags != 0) {
        return NTE_BAD_FLAGS;
    }
    HashTable::Reservation hash = HashTable::Reserve();
    if (!hash) {
        return NTE_NO_MEMORY;
    }
    const HRESULT status = Prepare(context, algorithm, key, &*hash);
    if (status == S_OK) {
        *result = hash.Publish(context);
    }
    return status;
}

// Only the standard pads: strings of the caller's own have no place to say how they join the key.
HRESULT SetHmacInfo(HCRYPTPROV context, const HMAC_INFO& info, Hash* hash) {
    if (!hash->AwaitsPads()) {
        return NTE_BAD_HASH_STATE;
    }
    if (info.cbInnerString != 0 || info.cbOuterString != 0) {
        return ERROR_INVALID_PARAMETER;
    }
    const DigestAlgorithm* const digest = FindDigest(info.HashAlgid);
    if (digest == nullptr) {
        return NTE_BAD_ALGID;
    }
    return WithSessionKey(context, hash->Key(), [=](SessionKey* key) {
        hash->SetPads(key->PadsFor(*digest));
        return S_OK;
    });
}

HRESULT SetParameter(HCRYPTPROV context, DWORD parameter, const BYTE* data, DWORD flags,
                     Hash* hash) {
    if (data == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    if (flags != 0) {
        return NTE_BAD_FLAGS;
    }
    switch (parameter) {
        case HP_HMAC_INFO: {
            HMAC_INFO info;
            std::memcpy(&info, data, sizeof(info));
            return SetHmacInfo(context, info, hash);
        }
        case HP_HASHVAL:
            return hash->SetValue(data);
        default:
            return NTE_BAD_TYPE;
    }
}

HRESULT Duplicate(HCRYPTPROV context, const Hash& original, const DWORD* reserved, DWORD flags,
                  HCRYPTHASH* result) {
    if (result == nullptr || reserved != nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    if (flags != 0) {
        return NTE_BAD_FLAGS;
    }
    HashTable::Reservation copy = HashTable::Reserve();
    if (!copy) {
        return NTE_NO_MEMORY;
    }
    copy->StartAsCopy(original);
    *result = copy.Publish(context);
    return S_OK;
}

}  // namespace

}  // namespace provider

using provider::Answer;
using provider::AnswerTo;
using provider::HashTable;
using provider::WithHash;

BOOL WINAPI CPCreateHash(HCRYPTPROV hProv, ALG_ID Algid, HCRYPTKEY hKey, DWORD dwFlags,
                         HCRYPTHASH* phHash) {
    return AnswerTo([=] { return provider::Create(hProv, Algid, hKey, dwFlags, phHash); });
}

BOOL WINAPI CPHashData(HCRYPTPROV hProv, HCRYPTHASH hHash, const BYTE* pbData, DWORD cbDataLen,
                       DWORD dwFlags) {
    return Answer(WithHash(hProv, hHash, [=](HashTable::Lease* hash) -> HRESULT {
        if (pbData == nullptr && cbDataLen != 0) {
            return ERROR_INVALID_PARAMETER;
        }
        return dwFlags == 0 ? (*hash)->Update(pbData, cbDataLen) : NTE_BAD_FLAGS;
    }));
}

BOOL WINAPI CPGetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, BYTE* pbData,
                           DWORD* pcbDataLen, DWORD dwFlags) {
    return Answer(WithHash(hProv, hHash, [=](HashTable::Lease* hash) {
        return dwFlags == 0 ? (*hash)->GetParameter(dwParam, pbData, pcbDataLen) : NTE_BAD_FLAGS;
    }));
}

BOOL WINAPI CPSetHashParam(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD dwParam, const BYTE* pbData,
                           DWORD dwFlags) {
    return AnswerTo([=] {
        return WithHash(hProv, hHash, [=](HashTable::Lease* hash) {
            return provider::SetParameter(hProv, dwParam, pbData, dwFlags, &**hash);
        });
    });
}

BOOL WINAPI CPDuplicateHash(HCRYPTPROV hProv, HCRYPTHASH hHash, DWORD* pdwReserved, DWORD dwFlags,
                            HCRYPTHASH* phHash) {
    return AnswerTo([=] {
        return WithHash(hProv, hHash, [=](HashTable::Lease* hash) {
            return provider::Duplicate(hProv, **hash, pdwReserved, dwFlags, phHash);
        });
    });
}

BOOL WINAPI CPDestroyHash(HCRYPTPROV hProv, HCRYPTHASH hHash) {
    return Answer(WithHash(hProv, hHash, [](HashTable::Lease* hash) {
        (*hash)->WipeSecrets();
        hash->Retire();
        return S_OK;
    }));
}
