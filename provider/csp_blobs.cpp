// Entry points: keys that leave and that come in.
#include "csp.h"
#include "provider/key_blob.h"
#include "provider/objects.h"
#include "provider/parameter.h"

namespace provider {

namespace {

// The one form of PRIVATEKEYBLOB that there is.
constexpr DWORD kWrappedKeyFlags = 0x1000;

struct ExportRequest {
    HCRYPTPROV context;
    const AsymmetricKey& key;
    HCRYPTKEY wrapping;
    DWORD flags;
    BYTE* out;
    DWORD* outSize;
};

HRESULT ExportPublic(const ExportRequest& request) {
    if (request.wrapping != 0) {
        return NTE_BAD_KEY;
    }
    if (request.flags != 0) {
        return NTE_BAD_FLAGS;
    }
    return WriteParameter(MakePublicKeyBlob(request.key), request.out, request.outSize);
}

// A question for the size, and a buffer that is too small, are answered without the private key.
HRESULT ExportPrivate(const ExportRequest& request) {
    if (request.flags != kWrappedKeyFlags) {
        return NTE_BAD_FLAGS;
    }
    return WithSessionKey(request.context, request.wrapping, [&](SessionKey* wrapping) -> HRESULT {
        HRESULT status = request.key.CheckExportable();
        if (status != S_OK) {
            return status;
        }
        const auto size = static_cast<DWORD>(SizeOfPrivateKeyBlob(request.key));
        if (request.out == nullptr || *request.outSize < size) {
            *request.outSize = size;
            return request.out == nullptr ? S_OK : ERROR_MORE_DATA;
        }
        std::vector<BYTE> blob;
        status = MakePrivateKeyBlob(request.key, *wrapping, &blob);
        return status == S_OK ? WriteParameter(blob, request.out, request.outSize) : status;
    });
}

HRESULT Export(HCRYPTPROV context, HCRYPTKEY handle, HCRYPTKEY wrapping, DWORD blobType,
               DWORD flags, BYTE* out, DWORD* outSize) {
    std::shared_ptr<const AsymmetricKey> key;
    const HRESULT status = FindAsymmetricKey(context, handle, &key);
    if (status != S_OK) {
        return status;
    }
    if (outSize == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const ExportRequest request = {context, *key, wrapping, flags, out, outSize};
    switch (blobType) {
        case PUBLICKEYBLOB:
            return ExportPublic(request);
        case PRIVATEKEYBLOB:
            return ExportPrivate(request);
        default:
            return NTE_BAD_TYPE;
    }
}

HRESULT ImportPublic(std::span<const BYTE> blob, HCRYPTKEY wrapping, DWORD flags,
                     std::shared_ptr<const AsymmetricKey>* key) {
    if (wrapping != 0) {
        return NTE_BAD_KEY;
    }
    return flags == 0 ? ReadPublicKeyBlob(blob, key) : NTE_BAD_FLAGS;
}

HRESULT ImportPrivate(HCRYPTPROV context, std::span<const BYTE> blob, HCRYPTKEY wrapping,
                      DWORD flags, std::shared_ptr<const AsymmetricKey>* key) {
    if ((flags & ~DWORD{CRYPT_EXPORTABLE}) != 0) {
        return NTE_BAD_FLAGS;
    }
    const std::shared_ptr<Container> container = ContainerOf(context);
    if (container == nullptr) {
        return NTE_PERM;
    }
    KeyType type;
    SecretBytes privateKey;
    const HRESULT status = WithSessionKey(context, wrapping, [&](SessionKey* session) {
        return ReadPrivateKeyBlob(blob, *session, &type, &privateKey);
    });
    return status == S_OK ? AsymmetricKey::Store(container, AT_KEYEXCHANGE, type, privateKey,
                                                 (flags & CRYPT_EXPORTABLE) != 0, key)
                          : status;
}

HRESULT CheckHeader(std::span<const BYTE> blob) {
    if (blob.size() <= kBlobHeaderSize || blob[2] != 0 || blob[3] != 0) {
        return NTE_BAD_DATA;
    }
    if (blob[0] != PUBLICKEYBLOB && blob[0] != PRIVATEKEYBLOB) {
        return NTE_BAD_TYPE;
    }
    return blob[1] == kBlobVersion ? S_OK : NTE_BAD_VER;
}

HRESULT Import(HCRYPTPROV context, const BYTE* data, DWORD size, HCRYPTKEY wrapping, DWORD flags,
               HCRYPTKEY* result) {
    if (!ContextTable::IsValid(context)) {
        return NTE_BAD_UID;
    }
    if (data == nullptr || result == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const std::span<const BYTE> blob(data, size);
    std::shared_ptr<const AsymmetricKey> key;
    HRESULT status = CheckHeader(blob);
    if (status == S_OK) {
        status = blob[0] == PUBLICKEYBLOB ? ImportPublic(blob, wrapping, flags, &key)
                                          : ImportPrivate(context, blob, wrapping, flags, &key);
    }
    return status == S_OK ? PublishKey(context, std::move(key), result) : status;
}

}  // namespace

}  // namespace provider

using provider::AnswerTo;

BOOL WINAPI CPExportKey(HCRYPTPROV hProv, HCRYPTKEY hKey, HCRYPTKEY hPubKey, DWORD dwBlobType,
                        DWORD dwFlags, BYTE* pbData, DWORD* pcbDataLen) {
    return AnswerTo([=] {
        return provider::Export(hProv, hKey, hPubKey, dwBlobType, dwFlags, pbData, pcbDataLen);
    });
}

BOOL WINAPI CPImportKey(HCRYPTPROV hProv, const BYTE* pbData, DWORD cbDataLen, HCRYPTKEY hPubKey,
                        DWORD dwFlags, HCRYPTKEY* phKey) {
    return AnswerTo(
        [=] { return provider::Import(hProv, pbData, cbDataLen, hPubKey, dwFlags, phKey); });
}
