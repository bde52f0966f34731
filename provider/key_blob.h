// Keys on their way out and in: the blobs of CryptExportKey and CryptImportKey.
//
// A blob is a BLOBHEADER of 8 octets and what the key is: under PRIVATEKEYBLOB its PrivateKeyInfo,
// encrypted under a session key from its vector; under PUBLICKEYBLOB its SubjectPublicKeyInfo, in
// the clear. The header is the type, kBlobVersion, two zeros, and the key's algorithm, which a
// reader ignores. All of these may throw std::bad_alloc.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "platform/cryptoapi.h"
#include "provider/asymmetric_key.h"
#include "provider/session_key.h"

namespace provider {

inline constexpr BYTE kBlobVersion = 0x11;
inline constexpr std::size_t kBlobHeaderSize = 8;

std::vector<BYTE> MakePublicKeyBlob(const AsymmetricKey& key);
// NTE_BAD_DATA for what is none.
HRESULT ReadPublicKeyBlob(std::span<const BYTE> blob, std::shared_ptr<const AsymmetricKey>* key);

// The size of the blob, told without touching the private key.
std::size_t SizeOfPrivateKeyBlob(const AsymmetricKey& key);
// The words of the key's container, and NTE_PERM where the session key may not encrypt.
HRESULT MakePrivateKeyBlob(const AsymmetricKey& key, const SessionKey& wrapping,
                           std::vector<BYTE>* blob);
// NTE_BAD_DATA for what is none, as under another session key; NTE_PERM where the session key may
// not decrypt.
HRESULT ReadPrivateKeyBlob(std::span<const BYTE> blob, const SessionKey& wrapping, KeyType* type,
                           SecretBytes* privateKey);

}  // namespace provider
