// The tables of contexts, keys and hashes, and who may work on what.
#pragma once

#include "handles/handle_table.h"
#include "platform/cryptoapi.h"
#include "provider/hash.h"
#include "provider/secret_memory.h"
#include "provider/session_key.h"

namespace provider {

// What is kept in a context's slot; its container is found through ContainerOf.
struct Context {
    DWORD flags;
};

using ContextTable = handles::HandleTable<Context, handles::Kind::kContext, &AllocateSecretPages>;
using KeyTable = handles::HandleTable<SessionKey, handles::Kind::kKey, &AllocateSecretPages>;
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

// The same for a hash; another thread's work on it gives ERROR_BUSY, and a bad one NTE_BAD_HASH.
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
