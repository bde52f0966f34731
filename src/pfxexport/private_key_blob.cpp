#include "pfxexport/private_key_blob.h"

#include <algorithm>
#include <cstddef>

#include "pfxexport/failure.h"

namespace pkisdk {

namespace {

constexpr auto kNotExportable = static_cast<HRESULT>(0x80095000);  // XENROLL_E_KEY_NOT_EXPORTABLE
constexpr BYTE kBlobVersion = 0x11;
constexpr DWORD kExportFlags = 0x1000;
constexpr std::size_t kHeaderSize = sizeof(BLOBHEADER);

// A key whose permissions can't be read is left to the provider's own judgement.
bool IsForbidden(HCRYPTKEY key) {
    DWORD permissions = 0;
    DWORD size = sizeof permissions;
    return CryptGetKeyParam(key, KP_PERMISSIONS, reinterpret_cast<BYTE*>(&permissions), &size, 0) &&
           (permissions & CRYPT_EXPORT) == 0;
}

Failure CheckHeader(const Blob& blob) {
    if (blob.GetSize() <= kHeaderSize) {
        return FailWith(NTE_BAD_DATA);
    }
    const bool isPrivateKey = *blob.GetAt(0) == PRIVATEKEYBLOB && *blob.GetAt(1) == kBlobVersion;
    return isPrivateKey ? kSuccess : FailWith(NTE_BAD_KEY_STATE);
}

// `blob` has the length that the provider asked for, whatever it filled.
Failure ExportKey(HCRYPTPROV provider, HCRYPTKEY key, HCRYPTKEY sessionKey, bool isSizeOnly,
                  Blob* blob) {
    if (IsForbidden(key)) {
        return FailWith(kNotExportable);
    }
    DWORD type = 0;
    DWORD size = sizeof type;
    DWORD length = 0;
    if (!CryptGetProvParam(provider, PP_PROVTYPE, reinterpret_cast<BYTE*>(&type), &size, 0) ||
        !CryptExportKey(key, sessionKey, PRIVATEKEYBLOB, kExportFlags, nullptr, &length)) {
        return FailWithLastError();
    }
    blob->Assign(nullptr, length);
    if (isSizeOnly) {
        return kSuccess;
    }
    if (!CryptExportKey(key, sessionKey, PRIVATEKEYBLOB, kExportFlags, blob->GetData(), &length)) {
        return FailWithLastError();
    }
    return CheckHeader(*blob);
}

}  // namespace

int ExportPrivateKeyBlob(HCRYPTPROV provider, HCRYPTKEY privateKey, HCRYPTKEY sessionKey,
                         [[maybe_unused]] DWORD flags, std::int32_t isSizeOnly, IBlob* wrappedKey) {
    Blob blob;
    const Failure failure = ExportKey(provider, privateKey, sessionKey, isSizeOnly != 0, &blob);
    if (!failure) {
        const auto key = blob.Bytes().subspan(std::min(blob.Bytes().size(), kHeaderSize));
        wrappedKey->Assign(key.data(), key.size());
    }
    return Answer(failure);
}

}  // namespace pkisdk
