// Keys with certificates, and documents of them, made through CryptoAPI and the module's exports.
#pragma once

#include <string>
#include <vector>

#include "mvlpfx/handles.h"
#include "mvlpfx/mvlpfx.h"

namespace windows_tests {

using Bytes = std::vector<BYTE>;

// Removes the container at the end.
class KeyContainer {
  public:
    // Makes it with a key in it and a self-signed certificate beside that.
    KeyContainer(std::string name, ALG_ID algorithm, DWORD keyFlags = CRYPT_EXPORTABLE);
    ~KeyContainer();
    KeyContainer(const KeyContainer&) = delete;
    KeyContainer& operator=(const KeyContainer&) = delete;

    PCCERT_CONTEXT Certificate() const { return certificate_.Get(); }

  private:
    std::string name_;
    mvlpfx::OwnedCertificate certificate_;
};

mvlpfx::OwnedStore MemoryStore(const std::vector<PCCERT_CONTEXT>& certificates);

// The document of the store by the protocol of two calls; empty where one of them fails.
Bytes Create(HCERTSTORE store, const wchar_t* password, DWORD flags = 0);

PfxBlob View(const Bytes& document);

// Those of a store, in its order.
std::vector<mvlpfx::OwnedCertificate> All(HCERTSTORE store);

Bytes Encoded(PCCERT_CONTEXT certificate);

// The public key that belongs to the private key that a certificate is tied to, as the provider
// exports it; empty where there is none.
Bytes PublicKeyBehind(PCCERT_CONTEXT certificate);

// Deletes the container that a certificate is tied to.
void DeleteKeyOf(PCCERT_CONTEXT certificate);

}  // namespace windows_tests
