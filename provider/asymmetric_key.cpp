#include "provider/asymmetric_key.h"

#include <cstring>
#include <utility>

#include "provider/der.h"
#include "provider/gost_key.h"
#include "provider/parameter.h"

namespace provider {

namespace {

constexpr DWORD kPublicPermissions = CRYPT_READ | CRYPT_EXPORT;
constexpr DWORD kPrivatePermissions = CRYPT_READ | CRYPT_WRITE;

HRESULT Encode(const KeyType& type, const SecretBytes& privateKey, KeyRecord* record,
               SecretBytes* privateKeyInfo) {
    std::vector<BYTE> publicKey;
    const HRESULT status = ComputePublicKey(*type.curve, privateKey.View(), &publicKey);
    if (status != S_OK) {
        return status;
    }
    record->algorithm = type.algorithm->id;
    record->publicKey = EncodePublicKeyInfo(type, publicKey);
    *privateKeyInfo = EncodePrivateKeyInfo(type, privateKey.View());
    return S_OK;
}

}  // namespace

AsymmetricKey::AsymmetricKey(const KeyType& type, std::vector<BYTE> publicKey)
    : type_(type),
      publicKey_(std::move(publicKey)),
      publicKeyInfo_(EncodePublicKeyInfo(type, publicKey_)) {}

HRESULT AsymmetricKey::Open(std::shared_ptr<Container> container, DWORD keySpec,
                            std::shared_ptr<const AsymmetricKey>* result) {
    KeyRecord record;
    const HRESULT status = container->ReadKey(keySpec, &record);
    if (status != S_OK) {
        return status;
    }
    KeyType type;
    std::vector<BYTE> publicKey;
    if (DecodePublicKeyInfo(record.publicKey, &type, &publicKey) != S_OK ||
        type.algorithm->id != record.algorithm) {
        return NTE_KEYSET_ENTRY_BAD;
    }
    const auto key = std::make_shared<AsymmetricKey>(type, std::move(publicKey));
    key->container_ = std::move(container);
    key->keySpec_ = keySpec;
    *result = key;
    return S_OK;
}

HRESULT AsymmetricKey::Store(std::shared_ptr<Container> container, DWORD keySpec,
                             const KeyType& type, const SecretBytes& privateKey, bool isExportable,
                             std::shared_ptr<const AsymmetricKey>* result) {
    KeyRecord record;
    SecretBytes privateKeyInfo;
    HRESULT status = Encode(type, privateKey, &record, &privateKeyInfo);
    if (status == S_OK) {
        record.permissions =
            isExportable ? kPrivatePermissions | CRYPT_EXPORT : kPrivatePermissions;
        status = container->WriteKey(keySpec, record, privateKeyInfo.View());
    }
    return status == S_OK ? Open(std::move(container), keySpec, result) : status;
}

HRESULT AsymmetricKey::ReadRecord(KeyRecord* record) const {
    const HRESULT status = container_->ReadKey(keySpec_, record);
    return status == S_OK && record->publicKey != publicKeyInfo_ ? NTE_NO_KEY : status;
}

HRESULT AsymmetricKey::GetParameter(DWORD parameter, BYTE* out, DWORD* outSize) const {
    switch (parameter) {
        case KP_ALGID:
            return WriteParameter(DWORD{type_.algorithm->id}, out, outSize);
        case KP_KEYLEN:
            return WriteParameter(static_cast<DWORD>(type_.curve->size * 8), out, outSize);
        case KP_PERMISSIONS:
        case KP_CERTIFICATE:
            break;
        default:
            return NTE_BAD_TYPE;
    }
    if (container_ == nullptr) {
        return parameter == KP_PERMISSIONS ? WriteParameter(kPublicPermissions, out, outSize)
                                           : NTE_BAD_TYPE;
    }
    KeyRecord record;
    const HRESULT status = ReadRecord(&record);
    if (status != S_OK) {
        return status;
    }
    if (parameter == KP_PERMISSIONS) {
        return WriteParameter(record.permissions, out, outSize);
    }
    return record.certificate.empty() ? NTE_NOT_FOUND
                                      : WriteParameter(record.certificate, out, outSize);
}

HRESULT AsymmetricKey::SetParameter(DWORD parameter, const BYTE* data) const {
    if (container_ == nullptr || (parameter != KP_CERTIFICATE && parameter != KP_PERMISSIONS)) {
        return NTE_BAD_TYPE;
    }
    KeyRecord record;
    const HRESULT status = ReadRecord(&record);
    if (status != S_OK) {
        return status;
    }
    if (parameter == KP_PERMISSIONS) {
        DWORD wanted = 0;
        std::memcpy(&wanted, data, sizeof(wanted));
        return container_->NarrowPermissions(keySpec_, wanted);
    }
    const std::size_t size = SizeOfDerElement(data);
    return size != 0 && *data == der::kSequence
               ? container_->WriteCertificate(keySpec_, {data, size})
               : NTE_BAD_DATA;
}

HRESULT AsymmetricKey::CheckExportable() const {
    if (container_ == nullptr) {
        return NTE_BAD_KEY_STATE;
    }
    KeyRecord record;
    const HRESULT status = ReadRecord(&record);
    if (status != S_OK) {
        return status;
    }
    return (record.permissions & CRYPT_EXPORT) != 0 ? S_OK : NTE_BAD_KEY_STATE;
}

HRESULT AsymmetricKey::LoadPrivateKey(SecretBytes* privateKey) const {
    if (container_ == nullptr) {
        return NTE_NO_KEY;
    }
    SecretBytes info;
    HRESULT status = container_->ReadPrivateKey(keySpec_, &info);
    KeyRecord record;
    if (status == S_OK) {
        status = ReadRecord(&record);
    }
    if (status != S_OK) {
        return status;
    }
    KeyType type;
    if (DecodePrivateKeyInfo(info.View(), &type, privateKey) != S_OK ||
        type.algorithm != type_.algorithm || type.curve != type_.curve) {
        return NTE_KEYSET_ENTRY_BAD;
    }
    return S_OK;
}

}  // namespace provider
