// Key containers: what one holds, how it is opened, made and deleted.
//
// Error words that any of these may give besides those named: ERROR_DISK_FULL, ERROR_ACCESS_DENIED,
// ERROR_WRITE_PROTECT and the other words of files where the system refuses; NTE_PERM where the
// file is another user's or open to others; NTE_KEYSET_ENTRY_BAD where it is damaged. Whatever
// fails leaves the container as it was. std::bad_alloc may be thrown.
#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "platform/cryptoapi.h"
#include "provider/secret_bytes.h"

namespace provider {

// Whose containers. The two sets of names have nothing to do with each other.
enum class ContainerScope { kUser, kMachine };

// In octets: a name without its terminator, and a PIN.
inline constexpr std::size_t kLongestContainerName = 260;
inline constexpr std::size_t kLongestPin = 255;
// Of a PrivateKeyInfo, in octets.
inline constexpr std::size_t kLongestPrivateKey = 4096;

// What a container keeps for one key, AT_KEYEXCHANGE or AT_SIGNATURE. All of it can be read without
// the PIN.
struct KeyRecord {
    // 0: the slot is empty.
    ALG_ID algorithm = 0;
    // As KP_PERMISSIONS gives them.
    DWORD permissions = 0;
    // DER SubjectPublicKeyInfo.
    std::vector<BYTE> publicKey;
    // DER, empty where none was set.
    std::vector<BYTE> certificate;
};

// Drawn when a container is made, so that one made later under the same name is told from it.
using ContainerIdentity = std::array<BYTE, 16>;

struct ContainerImage;
struct SealKeys;

// An existing container that a context has open. Safe for several threads. Every change is on the
// disk when the call returns S_OK, or not at all; changes by other processes are seen by the next
// call. Every call gives NTE_BAD_KEYSET once the container has been deleted, and NTE_BAD_KEY for a
// `keySpec` that is neither AT_KEYEXCHANGE nor AT_SIGNATURE.
class Container {
  public:
    Container(ContainerScope scope, std::string name, const ContainerIdentity& identity,
              bool isSilent);
    ~Container();
    Container(const Container&) = delete;
    Container& operator=(const Container&) = delete;

    ContainerScope Scope() const { return scope_; }
    const std::string& Name() const { return name_; }
    // Never changes, opens the container as its name does, and is never another's name.
    const std::string& UniqueName() const { return uniqueName_; }

    // NTE_NO_KEY for an empty slot.
    HRESULT ReadKey(DWORD keySpec, KeyRecord* record) const;
    // The private key, a DER PrivateKeyInfo (PKCS#8). NTE_NO_KEY for an empty slot. Where the
    // container has a PIN that was not presented: NTE_SILENT_CONTEXT in a CRYPT_SILENT context,
    // else SCARD_W_CARD_NOT_AUTHENTICATED, since no window can ask.
    HRESULT ReadPrivateKey(DWORD keySpec, SecretBytes* privateKeyInfo) const;

    // Replaces the slot's key as a whole. The words of a PIN as above; NTE_BAD_LEN for a private
    // key that is empty or too long, or where the container would pass its largest size.
    HRESULT WriteKey(DWORD keySpec, const KeyRecord& record, std::span<const BYTE> privateKeyInfo);
    // Replaces the certificate beside the slot's key, or removes it where `certificate` is empty.
    // The same words, and NTE_NO_KEY.
    HRESULT WriteCertificate(DWORD keySpec, std::span<const BYTE> certificate);
    // Replaces the permissions of the slot's key by some of them. The same words, and NTE_PERM for
    // one that it does not have.
    HRESULT NarrowPermissions(DWORD keySpec, DWORD permissions);

    // Sets the PIN of a container that has none; else checks it. Either way it is presented for the
    // rest of this context. A wrong one gives SCARD_W_WRONG_CHV and leaves what was presented
    // before; NTE_BAD_LEN for one that is empty or longer than kLongestPin.
    HRESULT PresentPin(std::span<const BYTE> pin);

  private:
    HRESULT Load(ContainerImage* image) const;
    // Also the keys of the presented PIN, or those of a container without one; else the words of a
    // PIN. The image is what the owner of the keys wrote.
    HRESULT LoadWithKeys(ContainerImage* image, std::shared_ptr<const SealKeys>* keys) const;
    std::shared_ptr<const SealKeys> Presented() const;
    template <typename Change>
    HRESULT Modify(Change change);
    HRESULT CheckPin(const ContainerImage& image, std::span<const BYTE> pin);
    HRESULT SetPin(const std::shared_ptr<const SealKeys>& keys);
    void Remember(std::shared_ptr<const SealKeys> keys);

    const ContainerScope scope_;
    const std::string name_;
    const ContainerIdentity identity_;
    const std::string uniqueName_;
    const std::string fileName_;
    const bool isSilent_;

    mutable std::mutex mutex_;
    // Under the mutex: the keys of the presented PIN; null while there is none.
    std::shared_ptr<const SealKeys> presented_;
};

// The container of a context; null for a verification context and for a handle that is none. The
// context's release drops its reference; a call under way keeps its own.
std::shared_ptr<Container> ContainerOf(HCRYPTPROV context);

}  // namespace provider
