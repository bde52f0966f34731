// Stands between the module and its platform as PlatformCalls does, for the calls that reach
// stores, certificates and private keys; and answers for private keys that no provider has. A test
// program that links this library has those calls go through it.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/cryptoapi.h"

namespace test_support {

// What a private key and its container answer.
struct ScriptedKey {
    ALG_ID algorithm = 0x2E49;
    bool isAlgorithmReadable = true;
    // Nothing where they can't be read.
    std::optional<DWORD> permissions = CRYPT_EXPORT;
    // What CryptExportKey writes, header included.
    std::vector<BYTE> blob = {};
    // What it reports as the length, where that is not the blob's size.
    std::optional<DWORD> reportedLength = {};
    // Nothing where the provider has no such name. May be without its NUL.
    std::optional<std::string> friendlyName = {};
    // The context belongs to the certificate: the caller is told not to release it.
    bool isKept = false;
    // Written back by the acquisition, and the only one under which the key is found.
    DWORD keySpec = AT_KEYEXCHANGE;
    bool isReachable = true;
};

class KeyCalls {
  public:
    static KeyCalls& Get();

    // Forgets the scripts, and releases what they keep.
    void Reset();
    // Answers for every certificate whose record names this container.
    void Script(const std::wstring& container, ScriptedKey key);
    // What a CryptEncrypt without a buffer answers in place of the length asked about.
    void ReplaceEncryptedLength(DWORD length);
    // Changes what CryptEncrypt made, from here on.
    void ReplaceCipherText(std::function<void(std::span<BYTE>)> change);
    // The initial vector that keys tell from here on.
    void ReplaceVector(std::vector<BYTE> vector);
    // What every query for the size of a key's record answers.
    void ReplaceRecordSize(DWORD size);

    // The keys that each CryptExportKey was to wrap with.
    const std::vector<HCRYPTKEY>& Wrappings() const { return wrappings_; }
    // Certificate contexts given out since the last Reset and not freed.
    int OpenCertificates() const { return certificates_; }

    // For the stand-ins themselves.
    const ScriptedKey* OfCertificate(PCCERT_CONTEXT certificate) const;
    const ScriptedKey* OfContext(HCRYPTPROV context) const;
    const ScriptedKey* OfKey(HCRYPTKEY key) const;
    BOOL Acquire(const ScriptedKey& key, HCRYPTPROV* context, DWORD* keySpec, BOOL* isCallers);
    BOOL Open(HCRYPTPROV context, DWORD keySpec, HCRYPTKEY* key);

    int certificates_ = 0;
    std::optional<DWORD> encryptedLength_;
    std::function<void(std::span<BYTE>)> changeCipherText_;
    std::optional<DWORD> recordSize_;
    std::optional<std::vector<BYTE>> vector_;
    std::vector<HCRYPTKEY> wrappings_;

  private:
    std::map<std::wstring, ScriptedKey> scripts_;
    // By handle; a handle of long ago may be a new key's.
    std::map<HCRYPTPROV, const ScriptedKey*> contexts_;
    std::map<HCRYPTKEY, const ScriptedKey*> keys_;
    std::map<const ScriptedKey*, HCRYPTPROV> kept_;
};

}  // namespace test_support
