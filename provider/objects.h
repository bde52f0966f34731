// The tables of contexts, keys and hashes, and who may work on what.
#pragma once

#include "handles/handle_table.h"
#include "platform/cryptoapi.h"
#include "provider/hash.h"
#include "provider/key.h"
#include "provider/secret_memory.h"

namespace provider {

// What is kept in a context's slot; its container is found through ContainerOf.
struct Context {
    DWORD flags;
};

using ContextTable = handles::HandleTable<Context, handles::Kind::kContext, &AllocateSecretPages>;
using KeyTable = handles::HandleTable<Key, handles::Kind::kKey, &AllocateSecretPages>;
using HashTable = handles::HandleTable<Hash, handles::Kind::kHash, &AllocateSecretPages>;

// Gives `work` the key while no other thread has it, waiting if need be. NTE_BAD_UID for a bad
// context, NTE_BAD_KEY for a bad key or one of another context, else what `work` answers.
template <typename Work>
HRESULT WithKey(HCRYPTPROV context, HCRYPTKEY handle, Work work) {
    if (!ContextTable::IsValid(context)) {
        return NTE_BAD_UID;
    }
    KeyTable::Lease key = KeyTable::Lock(handle);
    if (!key || key.Owner() != context) {
        return NTE_BAD_KEY;
    }
    return work(&key);
}

// The same for a session key; NTE_BAD_KEY for any other.
template <typename Work>
HRESULT WithSessionKey(HCRYPTPROV context, HCRYPTKEY handle, Work work) {
    return WithKey(context, handle, [&](KeyTable::Lease* key) -> HRESULT {
        return (*key)->IsSession() ? work(&(*key)->Session()) : NTE_BAD_KEY;
    });
}

// Shares the key of a handle that has no session key; else NTE_BAD_KEY.
inline HRESULT FindAsymmetricKey(HCRYPTPROV context, HCRYPTKEY handle,
                                 std::shared_ptr<const AsymmetricKey>* result) {
    return WithKey(context, handle, [&](KeyTable::Lease* key) -> HRESULT {
        *result = (*key)->Asymmetric();
        return *result == nullptr ? NTE_BAD_KEY : S_OK;
    });
}

// Gives the key a handle. NTE_NO_MEMORY, or std::bad_alloc.
inline HRESULT PublishKey(HCRYPTPROV context, std::shared_ptr<const AsymmetricKey> key,
                          HCRYPTKEY* result) {
    KeyTable::Reservation slot = KeyTable::Reserve();
    if (!slot) {
        return NTE_NO_MEMORY;
    }
    slot->Hold(std::move(key));
    *result = slot.Publish(context);
    return S_OK;
}

// As WithKey for a hash; another thread's work on it gives ERROR_BUSY, and a bad one NTE_BAD_HASH.
template <typename Work>
HRESULT WithHash(HCRYPTPROV context, HCRYPTHASH handle, Work work) {
    if (!ContextTable::IsValid(context)) {
        return NTE_BAD_UID;
    }
    HashTable::Lease hash = HashTable::TryLock(handle);
    if (hash.IsBusy()) {
        return ERROR_BUSY;
    }
    if (!hash || hash.Owner() != context) {
        return NTE_BAD_HASH;
    }
    return work(&hash);
}

}  // namespace provider
