// A key pair that a container holds, or a public key alone.
#pragma once

#include <memory>
#include <vector>

#include "platform/cryptoapi.h"
#include "provider/container.h"
#include "provider/key_info.h"
#include "provider/secret_bytes.h"

namespace provider {

// Never changes, so several threads may use it. The private key is read from the container each
// time it is needed, and is wiped when that is done. All of these may throw std::bad_alloc.
//
// Where the container gives the reason, the words are Container's; a key that was replaced in its
// container meanwhile has NTE_NO_KEY.
class AsymmetricKey {
  public:
    // A public key alone.
    AsymmetricKey(const KeyType& type, std::vector<BYTE> publicKey);

    // The key of the container's slot.
    static HRESULT Open(std::shared_ptr<Container> container, DWORD keySpec,
                        std::shared_ptr<const AsymmetricKey>* result);
    // Puts the key into the slot, in the place of what is there.
    static HRESULT Store(std::shared_ptr<Container> container, DWORD keySpec, const KeyType& type,
                         const SecretBytes& privateKey, bool isExportable,
                         std::shared_ptr<const AsymmetricKey>* result);

    const KeyType& Type() const { return type_; }
    const std::vector<BYTE>& PublicKey() const { return publicKey_; }
    // The DER SubjectPublicKeyInfo.
    const std::vector<BYTE>& PublicKeyInfo() const { return publicKeyInfo_; }

    // KP_ALGID, KP_KEYLEN (in bits) and KP_PERMISSIONS; of a container's key also KP_CERTIFICATE,
    // NTE_NOT_FOUND where there is none. NTE_BAD_TYPE for another.
    HRESULT GetParameter(DWORD parameter, BYTE* out, DWORD* outSize) const;
    // Of a container's key: KP_CERTIFICATE, whose DER tells its length (NTE_BAD_DATA for what is
    // none), and KP_PERMISSIONS, which can only be given up (NTE_PERM). NTE_BAD_TYPE for another.
    HRESULT SetParameter(DWORD parameter, const BYTE* data) const;

    // NTE_BAD_KEY_STATE for a key that may not be exported, as for a public key alone.
    HRESULT CheckExportable() const;
    // NTE_NO_KEY for a public key alone.
    HRESULT LoadPrivateKey(SecretBytes* privateKey) const;

  private:
    HRESULT ReadRecord(KeyRecord* record) const;

    const KeyType type_;
    const std::vector<BYTE> publicKey_;
    const std::vector<BYTE> publicKeyInfo_;
    // Null for a public key alone.
    std::shared_ptr<Container> container_;
    DWORD keySpec_ = 0;
};

}  // namespace provider
