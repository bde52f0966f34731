#include "provider/key_blob.h"

#include <algorithm>
#include <cstring>

namespace provider {

namespace {

// Many times what a key with attributes and masks takes; what is larger is no key.
constexpr std::size_t kLargestInfo = std::size_t{64} * 1024;

static_assert(sizeof(BLOBHEADER) == kBlobHeaderSize);

std::vector<BYTE> MakeBlob(BYTE blobType, ALG_ID algorithm, std::span<const BYTE> body) {
    const BLOBHEADER header = {blobType, kBlobVersion, 0, algorithm};
    std::vector<BYTE> blob(kBlobHeaderSize + body.size());
    std::memcpy(blob.data(), &header, kBlobHeaderSize);
    std::copy(body.begin(), body.end(), blob.begin() + kBlobHeaderSize);
    return blob;
}

}  // namespace

std::vector<BYTE> MakePublicKeyBlob(const AsymmetricKey& key) {
    return MakeBlob(PUBLICKEYBLOB, key.Type().algorithm->id, key.PublicKeyInfo());
}

HRESULT ReadPublicKeyBlob(std::span<const BYTE> blob, std::shared_ptr<const AsymmetricKey>* key) {
    KeyType type;
    std::vector<BYTE> publicKey;
    const HRESULT status = DecodePublicKeyInfo(blob.subspan(kBlobHeaderSize), &type, &publicKey);
    if (status == S_OK) {
        *key = std::make_shared<const AsymmetricKey>(type, std::move(publicKey));
    }
    return status;
}

std::size_t SizeOfPrivateKeyBlob(const AsymmetricKey& key) {
    const KeyType& type = key.Type();
    const std::vector<BYTE> anyKey(type.curve->size);
    return kBlobHeaderSize + EncodePrivateKeyInfo(type, anyKey).size();
}

HRESULT MakePrivateKeyBlob(const AsymmetricKey& key, const SessionKey& wrapping,
                           std::vector<BYTE>* blob) {
    SecretBytes privateKey;
    HRESULT status = key.LoadPrivateKey(&privateKey);
    if (status != S_OK) {
        return status;
    }
    SecretBytes info = EncodePrivateKeyInfo(key.Type(), privateKey.View());
    status = wrapping.ProcessWhole(CipherDirection::kEncrypt, info.View());
    if (status == S_OK) {
        *blob = MakeBlob(PRIVATEKEYBLOB, key.Type().algorithm->id, info.View());
    }
    return status;
}

HRESULT ReadPrivateKeyBlob(std::span<const BYTE> blob, const SessionKey& wrapping, KeyType* type,
                           SecretBytes* privateKey) {
    const std::span<const BYTE> body = blob.subspan(kBlobHeaderSize);
    if (body.size() > kLargestInfo) {
        return NTE_BAD_DATA;
    }
    SecretBytes info = SecretBytes::CopyOf(body);
    const HRESULT status = wrapping.ProcessWhole(CipherDirection::kDecrypt, info.View());
    return status == S_OK ? DecodePrivateKeyInfo(info.View(), type, privateKey) : status;
}

}  // namespace provider
