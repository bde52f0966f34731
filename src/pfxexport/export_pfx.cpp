#include "pfxexport/export_pfx.h"

#include <algorithm>
#include <string>
#include <utility>

#include "derlist/der_queries.h"
#include "derlist/round_trip.h"
#include "foundation/wide_to_ansi.h"
#include "pfxcrypto/handle_guards.h"
#include "pfxcrypto/pfx_constants.h"
#include "pfxcrypto/provider_lookup.h"
#include "pfxcrypto/session_key.h"
#include "pfxexport/cert_safe_contents.h"
#include "pfxexport/encrypted_content_info.h"
#include "pfxexport/failure.h"
#include "pfxexport/key_algorithms.h"
#include "pfxexport/key_certificate_walk.h"
#include "pfxexport/key_safe_bag.h"
#include "pfxexport/mac_data.h"
#include "pfxexport/pfx_skeleton.h"
#include "pfxexport/private_key_blob.h"
#include "pfxexport/read_back.h"

namespace pkisdk {

namespace {

constexpr DWORD kContainerNameParameter = 220;
constexpr std::uint32_t kKeyBagDepth = 9;
constexpr std::uint32_t kContentInfoDepth = 5;

// A selected key and what it is reached by, released from the last to the first.
struct OpenKey {
    KeyRecord record;
    ProviderContext provider;
    ProviderKey privateKey;
    ProviderKey sessionKey;
    CertContext certificate;
    Blob thumbprint;
};

bool HoldsCertificates(HCERTSTORE store) {
    return static_cast<bool>(CertContext(CertEnumCertificatesInStore(store, nullptr)));
}

bool Select(KeyCertificateWalk* walk, OpenKey* key) {
    PCRYPT_KEY_PROV_INFO record = nullptr;
    const bool isSelected =
        walk->MoveNext() && walk->Select(&record, &key->thumbprint, key->certificate.Put()) != 0;
    key->record.reset(record);
    return isSelected;
}

// False when the key can't be reached.
bool Open(OpenKey* key) {
    HCRYPTPROV provider = 0;
    BOOL isCallers = FALSE;
    if (!CryptAcquireCertificatePrivateKey(key->certificate.Get(), CRYPT_ACQUIRE_USE_PROV_INFO_FLAG,
                                           nullptr, &provider, &key->record->dwKeySpec,
                                           &isCallers)) {
        return false;
    }
    // A context that is kept with the certificate takes one more reference, so that one release is
    // right for either.
    if (!isCallers && !CryptContextAddRef(provider, nullptr, 0)) {
        return false;
    }
    *key->provider.Put() = provider;
    return CryptGetUserKey(provider, key->record->dwKeySpec, key->privateKey.Put()) != FALSE;
}

// False with the reason in the last error.
bool ReadInitialVector(HCRYPTKEY key, Blob* vector) {
    DWORD size = 0;
    if (!CryptGetKeyParam(key, KP_IV, nullptr, &size, 0)) {
        return false;
    }
    vector->Assign(nullptr, size);
    return CryptGetKeyParam(key, KP_IV, vector->GetData(), &size, 0) != FALSE;
}

// A provider that has no such name leaves it empty. False with the reason in the last error.
bool ReadFriendlyName(HCRYPTPROV provider, std::string* name) {
    DWORD size = 0;
    if (!CryptGetProvParam(provider, kContainerNameParameter, nullptr, &size, 0)) {
        return true;
    }
    // One octet more ends the text where the provider did not.
    std::vector<char> text(std::size_t{size} + 1);
    if (!CryptGetProvParam(provider, kContainerNameParameter, reinterpret_cast<BYTE*>(text.data()),
                           &size, 0)) {
        return false;
    }
    *name = text.data();
    return true;
}

// In place, since the cipher does not grow the text. False with the reason in the last error.
bool Encrypt(HCRYPTKEY key, const Blob& plainText, Blob* cipherText) {
    const auto length = static_cast<DWORD>(plainText.GetSize());
    DWORD needed = length;
    if (!CryptEncrypt(key, 0, TRUE, 0, nullptr, &needed, 0)) {
        return false;
    }
    *cipherText = plainText;
    cipherText->SetSize(std::max(needed, length));
    DWORD done = length;
    return CryptEncrypt(key, 0, TRUE, 0, cipherText->GetData(), &done, length) != FALSE;
}

class PfxExport {
  public:
    PfxExport(const char* password, HCERTSTORE store, DWORD flags, std::int32_t isSizeOnly)
        : password_(password), store_(store), flags_(flags), isSizeOnly_(isSizeOnly) {}

    Failure Run();
    // What Run wrote.
    const Blob& Document() const { return bytes_; }
    // False when its random octets happen to read as something else.
    bool IsReadable() const {
        return areKeysReadable_ && pkisdk::IsReadable(document_, bytes_.Bytes());
    }

  private:
    Failure AddKeys();
    Failure AddKey(std::uint32_t keyIndex, OpenKey* key);
    Failure ChooseAlgorithms(HCRYPTKEY privateKey);
    bool DeriveKey(HCRYPTPROV provider, Blob* salt, ProviderKey* key, Blob* initialVector) const;
    Failure AddCertificates(ProviderContext* provider);

    const char* password_;
    HCERTSTORE store_;
    DWORD flags_;
    std::int32_t isSizeOnly_;

    DerList document_;
    Blob bytes_;
    bool areKeysReadable_ = true;
    // The first key's derivation fills it, so that keys of one hash share a session key.
    Blob keySalt_;
    // These are those of the last key; the certificates and the MAC take them over.
    ALG_ID hashAlgorithm_ = kGostR3411_94;
    std::string cipherParameters_;
    // These also come from a key that could not be reached.
    std::string providerName_ = kProviderName;
    DWORD providerType_ = 0;
};

Failure PfxExport::Run() {
    BuildPfxSkeleton(&document_);
    if (store_ == nullptr || !HoldsCertificates(store_)) {
        return FailWith(NTE_INVALID_PARAMETER);
    }
    if (const Failure failure = AddKeys()) {
        return failure;
    }
    ProviderContext provider;
    if (const Failure failure = AddCertificates(&provider)) {
        return failure;
    }
    if (AddPfxMacData(password_, provider.Get(), hashAlgorithm_, kGost28147, kDefaultIterations,
                      &document_) == 0) {
        return FailWithLastError();
    }
    FlattenSubtree(document_, 0, &bytes_);
    return kSuccess;
}

// The walk ends where no further certificate can be selected, whatever the reason.
Failure PfxExport::AddKeys() {
    KeyCertificateWalk walk(store_);
    for (std::uint32_t keyIndex = 1;; ++keyIndex) {
        OpenKey key;
        if (!Select(&walk, &key)) {
            return kSuccess;
        }
        WideToAnsi(key.record->pwszProvName, &providerName_);
        providerType_ = key.record->dwProvType;
        if (!Open(&key)) {
            continue;
        }
        if (const Failure failure = AddKey(keyIndex, &key)) {
            return failure;
        }
    }
}

Failure PfxExport::AddKey(std::uint32_t keyIndex, OpenKey* key) {
    if (const Failure failure = ChooseAlgorithms(key->privateKey.Get())) {
        return failure;
    }
    const HCRYPTPROV provider = key->provider.Get();
    Blob initialVector;
    Blob wrappedKey;
    std::string friendlyName;
    Blob bag;
    if (!DeriveKey(provider, &keySalt_, &key->sessionKey, &initialVector) ||
        ExportPrivateKeyBlob(provider, key->privateKey.Get(), key->sessionKey.Get(), flags_,
                             isSizeOnly_, &wrappedKey) == 0 ||
        !ReadFriendlyName(provider, &friendlyName) ||
        BuildKeySafeBag(&bag, keyIndex, wrappedKey, keySalt_, initialVector, key->record.get(),
                        friendlyName, kGost28147, hashAlgorithm_, flags_, key->thumbprint,
                        kDefaultIterations) == 0) {
        return FailWithLastError();
    }
    areKeysReadable_ = areKeysReadable_ && ComesOutUnchanged(bag.Bytes());
    AppendDerBytes(&document_, bag.GetData(), static_cast<std::uint32_t>(bag.GetSize()),
                   kKeyBagDepth);
    return kSuccess;
}

Failure PfxExport::ChooseAlgorithms(HCRYPTKEY privateKey) {
    ALG_ID keyAlgorithm = 0;
    DWORD size = sizeof keyAlgorithm;
    if (!CryptGetKeyParam(privateKey, KP_ALGID, reinterpret_cast<BYTE*>(&keyAlgorithm), &size, 0)) {
        return FailWith(NTE_BAD_KEY);
    }
    const KeyAlgorithms* const algorithms = FindKeyAlgorithms(keyAlgorithm);
    if (algorithms == nullptr) {
        return FailWith(NTE_BAD_ALGID);
    }
    hashAlgorithm_ = algorithms->hash;
    cipherParameters_ = algorithms->cipherParameters;
    return kSuccess;
}

// False with the reason in the last error. The vector is read back, since the parameters may have
// changed it.
bool PfxExport::DeriveKey(HCRYPTPROV provider, Blob* salt, ProviderKey* key,
                          Blob* initialVector) const {
    return DerivePfxSessionKey(password_, provider, kGost28147, hashAlgorithm_, kDefaultIterations,
                               key->Put(), salt) != 0 &&
           CryptSetKeyParam(key->Get(), kCipherOidParameter,
                            reinterpret_cast<const BYTE*>(cipherParameters_.c_str()), 0) &&
           ReadInitialVector(key->Get(), initialVector);
}

// Encrypts all certificates as one text.
Failure PfxExport::AddCertificates(ProviderContext* provider) {
    Blob plainText;
    if (BuildCertSafeContents(store_, &plainText) == 0) {
        return FailWithLastError();
    }
    if (!providerName_.empty()) {
        providerType_ = FindProviderType(providerName_.c_str());
    }
    if (!CryptAcquireContextA(provider->Put(), nullptr, providerName_.c_str(), providerType_,
                              CRYPT_VERIFYCONTEXT)) {
        return FailWithLastError();
    }
    ProviderKey key;
    Blob salt;
    Blob initialVector;
    Blob cipherText;
    DerList contentInfo;
    if (!DeriveKey(provider->Get(), &salt, &key, &initialVector) ||
        !Encrypt(key.Get(), plainText, &cipherText) ||
        BuildEncryptedContentInfo(&contentInfo, std::move(cipherText), std::move(salt),
                                  std::move(initialVector), kGost28147, hashAlgorithm_,
                                  kDefaultIterations) == 0) {
        return FailWithLastError();
    }
    AppendDerList(&document_, &contentInfo, kContentInfoDepth);
    return kSuccess;
}

}  // namespace

int ExportPfxFromStore(const char* password, [[maybe_unused]] const void* ignored1,
                       [[maybe_unused]] const void* ignored2, HCERTSTORE store, DWORD flags,
                       std::int32_t isSizeOnly, std::vector<std::uint8_t>* document) {
    // Fresh salts make a document readable, unless what stands in it is itself never read again.
    constexpr int kAttempts = 8;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        PfxExport run(password, store, flags, isSizeOnly);
        if (const Failure failure = run.Run()) {
            return Answer(failure);
        }
        // Where the size alone is asked for, the keys' places hold zeros.
        if (isSizeOnly != 0 || run.IsReadable()) {
            const auto octets = run.Document().Bytes();
            document->assign(octets.begin(), octets.end());
            return Answer(kSuccess);
        }
    }
    return Answer(FailWith(NTE_BAD_DATA));
}

}  // namespace pkisdk
