// Entry points: keys.
#include "csp.h"
#include "provider/algorithms.h"
#include "provider/container_contexts.h"
#include "provider/gost_key.h"
#include "provider/objects.h"
#include "provider/parameter.h"

namespace provider {

namespace {

constexpr DWORD kPermissions = CRYPT_ENCRYPT | CRYPT_DECRYPT | CRYPT_READ | CRYPT_WRITE | CRYPT_MAC;

HRESULT GenerateSessionKey(HCRYPTPROV context, DWORD flags, HCRYPTKEY* result) {
    KeyTable::Reservation key = KeyTable::Reserve();
    if (!key) {
        return NTE_NO_MEMORY;
    }
    key->Session().Generate(flags == CRYPT_EXPORTABLE ? kPermissions | CRYPT_EXPORT : kPermissions);
    *result = key.Publish(context);
    return S_OK;
}

// What is asked for by a slot's number is a key of GOST R 34.10-2012 with 256 bits.
HRESULT GenerateUserKey(HCRYPTPROV context, ALG_ID id, DWORD flags, HCRYPTKEY* result) {
    const bool isKeySpec = id == AT_KEYEXCHANGE || id == AT_SIGNATURE;
    const GostAlgorithm* const algorithm = FindGostAlgorithm(isKeySpec ? kGostR3410_2012_256 : id);
    if (algorithm == nullptr) {
        return NTE_BAD_ALGID;
    }
    const std::shared_ptr<ContextState> state = FindContextState(context);
    if (state == nullptr || state->GetContainer() == nullptr) {
        return NTE_PERM;
    }
    const GostCurve* const chosen = state->Curve();
    const GostCurve& curve = chosen == nullptr ? *algorithm->defaultCurve : *chosen;
    if (!algorithm->Takes(curve)) {
        return NTE_BAD_ALGID;
    }
    DWORD keySpec = id;
    if (!isKeySpec) {
        keySpec = GET_ALG_CLASS(id) == ALG_CLASS_KEY_EXCHANGE ? AT_KEYEXCHANGE : AT_SIGNATURE;
    }
    const SecretBytes privateKey = GeneratePrivateKey(curve);
    if (privateKey.empty()) {
        return NTE_FAIL;
    }
    std::shared_ptr<const AsymmetricKey> key;
    const HRESULT status = AsymmetricKey::Store(state->GetContainer(), keySpec, {algorithm, &curve},
                                                privateKey, (flags & CRYPT_EXPORTABLE) != 0, &key);
    return status == S_OK ? PublishKey(context, std::move(key), result) : status;
}

HRESULT Generate(HCRYPTPROV context, ALG_ID algorithm, DWORD flags, HCRYPTKEY* result) {
    if (!ContextTable::IsValid(context)) {
        return NTE_BAD_UID;
    }
    if (result == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    if ((flags & ~DWORD{CRYPT_EXPORTABLE}) != 0) {
        return NTE_BAD_FLAGS;
    }
    return algorithm == kGost28147 ? GenerateSessionKey(context, flags, result)
                                   : GenerateUserKey(context, algorithm, flags, result);
}

HRESULT GetUserKey(HCRYPTPROV context, DWORD keySpec, HCRYPTKEY* result) {
    if (!ContextTable::IsValid(context)) {
        return NTE_BAD_UID;
    }
    if (result == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const std::shared_ptr<Container> container = ContainerOf(context);
    if (container == nullptr) {
        return NTE_NO_KEY;
    }
    std::shared_ptr<const AsymmetricKey> key;
    const HRESULT status = AsymmetricKey::Open(container, keySpec, &key);
    return status == S_OK ? PublishKey(context, std::move(key), result) : status;
}

// Asks the key itself where it is a session key; else its container is asked when nobody waits for
// the handle any more.
template <typename AskSession, typename AskAsymmetric>
HRESULT AskKey(HCRYPTPROV context, HCRYPTKEY handle, AskSession askSession,
               AskAsymmetric askAsymmetric) {
    std::shared_ptr<const AsymmetricKey> asymmetric;
    const HRESULT status = WithKey(context, handle, [&](KeyTable::Lease* key) -> HRESULT {
        asymmetric = (*key)->Asymmetric();
        return asymmetric == nullptr ? askSession(&(*key)->Session()) : S_OK;
    });
    return status == S_OK && asymmetric != nullptr ? askAsymmetric(*asymmetric) : status;
}

HRESULT GetParameter(HCRYPTPROV context, HCRYPTKEY handle, DWORD parameter, BYTE* out,
                     DWORD* outSize, DWORD flags) {
    const auto ask = [=](const auto& key) {
        return flags == 0 ? key.GetParameter(parameter, out, outSize) : NTE_BAD_FLAGS;
    };
    return AskKey(
        context, handle, [&](SessionKey* key) { return ask(*key); }, ask);
}

HRESULT SetParameter(HCRYPTPROV context, HCRYPTKEY handle, DWORD parameter, const BYTE* data,
                     DWORD flags) {
    const auto ask = [=](auto& key) -> HRESULT {
        if (data == nullptr) {
            return ERROR_INVALID_PARAMETER;
        }
        return flags == 0 ? key.SetParameter(parameter, data) : NTE_BAD_FLAGS;
    };
    return AskKey(
        context, handle, [&](SessionKey* key) { return ask(*key); }, ask);
}

}  // namespace

}  // namespace provider

using provider::AnswerTo;
using provider::KeyTable;

BOOL WINAPI CPGenKey(HCRYPTPROV hProv, ALG_ID Algid, DWORD dwFlags, HCRYPTKEY* phKey) {
    return AnswerTo([=] { return provider::Generate(hProv, Algid, dwFlags, phKey); });
}

BOOL WINAPI CPGetUserKey(HCRYPTPROV hProv, DWORD dwKeySpec, HCRYPTKEY* phUserKey) {
    return AnswerTo([=] { return provider::GetUserKey(hProv, dwKeySpec, phUserKey); });
}

BOOL WINAPI CPDestroyKey(HCRYPTPROV hProv, HCRYPTKEY hKey) {
    return AnswerTo([=] {
        return provider::WithKey(hProv, hKey, [](KeyTable::Lease* key) {
            (*key)->Release();
            key->Retire();
            return S_OK;
        });
    });
}

BOOL WINAPI CPGetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, BYTE* pbData,
                          DWORD* pcbDataLen, DWORD dwFlags) {
    return AnswerTo(
        [=] { return provider::GetParameter(hProv, hKey, dwParam, pbData, pcbDataLen, dwFlags); });
}

BOOL WINAPI CPSetKeyParam(HCRYPTPROV hProv, HCRYPTKEY hKey, DWORD dwParam, const BYTE* pbData,
                          DWORD dwFlags) {
    return AnswerTo([=] { return provider::SetParameter(hProv, hKey, dwParam, pbData, dwFlags); });
}
