#include "support/key_calls.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstddef>
#include <utility>

#include "support/platform_calls.h"

namespace {

template <typename Function>
Function* Real(const char* name, Function*) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define REAL(function) Real(#function, &function)

namespace test_support {

namespace {

constexpr char kProvider[] = "Velmorix Cryptographic Service Provider";
constexpr DWORD kType = 2;
constexpr ALG_ID kStandInAlgorithm = 0x661E;

}  // namespace

KeyCalls& KeyCalls::Get() {
    static KeyCalls calls;
    return calls;
}

void KeyCalls::Reset() {
    for (const auto& [script, context] : kept_) {
        REAL(CryptReleaseContext)(context, 0);
    }
    *this = KeyCalls();
}

void KeyCalls::Script(const std::wstring& container, ScriptedKey key) {
    scripts_[container] = std::move(key);
}

void KeyCalls::ReplaceEncryptedLength(DWORD length) {
    encryptedLength_ = length;
}

void KeyCalls::ReplaceCipherText(std::function<void(std::span<BYTE>)> change) {
    changeCipherText_ = std::move(change);
}

void KeyCalls::ReplaceVector(std::vector<BYTE> vector) {
    vector_ = std::move(vector);
}

void KeyCalls::ReplaceRecordSize(DWORD size) {
    recordSize_ = size;
}

const ScriptedKey* KeyCalls::OfCertificate(PCCERT_CONTEXT certificate) const {
    DWORD size = 0;
    if (!REAL(CertGetCertificateContextProperty)(certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr,
                                                 &size)) {
        return nullptr;
    }
    std::vector<std::max_align_t> record(size / sizeof(std::max_align_t) + 1);
    REAL(CertGetCertificateContextProperty)
    (certificate, CERT_KEY_PROV_INFO_PROP_ID, record.data(), &size);
    const auto* const info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(record.data());
    if (info->pwszContainerName == nullptr) {
        return nullptr;
    }
    const auto found = scripts_.find(info->pwszContainerName);
    return found == scripts_.end() ? nullptr : &found->second;
}

const ScriptedKey* KeyCalls::OfContext(HCRYPTPROV context) const {
    const auto found = contexts_.find(context);
    return found == contexts_.end() ? nullptr : found->second;
}

const ScriptedKey* KeyCalls::OfKey(HCRYPTKEY key) const {
    const auto found = keys_.find(key);
    return found == keys_.end() ? nullptr : found->second;
}

BOOL KeyCalls::Acquire(const ScriptedKey& key, HCRYPTPROV* context, DWORD* keySpec,
                       BOOL* isCallers) {
    if (key.isKept && kept_.contains(&key)) {
        *context = kept_[&key];
    } else if (!REAL(CryptAcquireContextA)(context, nullptr, kProvider, kType,
                                           CRYPT_VERIFYCONTEXT)) {
        return FALSE;
    }
    if (key.isKept) {
        kept_[&key] = *context;
    } else {
        PlatformCalls::Get().contexts_.insert(*context);
    }
    contexts_[*context] = &key;
    *keySpec = key.keySpec;
    *isCallers = !key.isKept;
    return TRUE;
}

BOOL KeyCalls::Open(HCRYPTPROV context, DWORD keySpec, HCRYPTKEY* key) {
    const ScriptedKey* const script = OfContext(context);
    if (keySpec != script->keySpec || !script->isReachable) {
        SetLastError(static_cast<DWORD>(NTE_NO_KEY));
        return FALSE;
    }
    if (!REAL(CryptGenKey)(context, kStandInAlgorithm, 0, key)) {
        return FALSE;
    }
    keys_[*key] = script;
    PlatformCalls::Get().keyOwners_[*key] = context;
    return TRUE;
}

}  // namespace test_support

namespace {

using test_support::KeyCalls;
using test_support::PlatformCalls;
using test_support::ScriptedKey;

PlatformCalls& Calls() {
    return PlatformCalls::Get();
}

KeyCalls& Keys() {
    return KeyCalls::Get();
}

bool Refused(const char* name, test_support::CallDetail detail = {}) {
    if (!Calls().Fails(name, detail)) {
        return false;
    }
    SetLastError(Calls().Error());
    return true;
}

BOOL Fail(HRESULT word) {
    SetLastError(static_cast<DWORD>(word));
    return FALSE;
}

// What the platform calls of itself meanwhile is its own affair.
class Pause {
  public:
    Pause() { Calls().Pause(true); }
    ~Pause() { Calls().Pause(false); }
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
};

BOOL WriteBytes(const void* bytes, DWORD count, DWORD reported, BYTE* out, DWORD* size) {
    const DWORD room = *size;
    *size = reported;
    if (out == nullptr) {
        return TRUE;
    }
    std::copy_n(static_cast<const BYTE*>(bytes), std::min(room, count), out);
    return TRUE;
}

BOOL WriteNumber(DWORD number, BYTE* out, DWORD* size) {
    return WriteBytes(&number, sizeof number, sizeof number, out, size);
}

}  // namespace

extern "C" {

PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous) {
    Keys().certificates_ -= previous != nullptr ? 1 : 0;
    if (Calls().Fails("CertEnumCertificatesInStore")) {
        REAL(CertFreeCertificateContext)(previous);
        SetLastError(Calls().Error());
        return nullptr;
    }
    const PCCERT_CONTEXT next = REAL(CertEnumCertificatesInStore)(store, previous);
    Keys().certificates_ += next != nullptr ? 1 : 0;
    return next;
}

PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT certificate) {
    Keys().certificates_ += certificate != nullptr ? 1 : 0;
    return REAL(CertDuplicateCertificateContext)(certificate);
}

BOOL CertFreeCertificateContext(PCCERT_CONTEXT certificate) {
    const Pause pause;
    Keys().certificates_ -= certificate != nullptr ? 1 : 0;
    return REAL(CertFreeCertificateContext)(certificate);
}

BOOL CertGetCertificateContextProperty(PCCERT_CONTEXT certificate, DWORD property, void* data,
                                       DWORD* size) {
    if (Refused("CertGetCertificateContextProperty", {property, data != nullptr})) {
        return FALSE;
    }
    const BOOL done = REAL(CertGetCertificateContextProperty)(certificate, property, data, size);
    if (done && data == nullptr && property == CERT_KEY_PROV_INFO_PROP_ID && Keys().recordSize_) {
        *size = *Keys().recordSize_;
    }
    return done;
}

BOOL CryptHashCertificate(HCRYPTPROV_LEGACY provider, ALG_ID algorithm, DWORD flags,
                          const BYTE* encoded, DWORD encodedSize, BYTE* hash, DWORD* hashSize) {
    if (Refused("CryptHashCertificate")) {
        return FALSE;
    }
    const Pause pause;
    return REAL(CryptHashCertificate)(provider, algorithm, flags, encoded, encodedSize, hash,
                                      hashSize);
}

BOOL CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT certificate, DWORD flags, void* parameters,
                                       HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* provider, DWORD* keySpec,
                                       BOOL* isCallers) {
    if (Refused("CryptAcquireCertificatePrivateKey", {flags, true})) {
        return FALSE;
    }
    const Pause pause;
    const ScriptedKey* const script = Keys().OfCertificate(certificate);
    return script != nullptr ? Keys().Acquire(*script, provider, keySpec, isCallers)
                             : REAL(CryptAcquireCertificatePrivateKey)(
                                   certificate, flags, parameters, provider, keySpec, isCallers);
}

BOOL CryptContextAddRef(HCRYPTPROV provider, DWORD* reserved, DWORD flags) {
    if (Refused("CryptContextAddRef")) {
        return FALSE;
    }
    const BOOL done = REAL(CryptContextAddRef)(provider, reserved, flags);
    if (done) {
        Calls().contexts_.insert(provider);
    }
    return done;
}

BOOL CryptGetUserKey(HCRYPTPROV provider, DWORD keySpec, HCRYPTKEY* key) {
    if (Refused("CryptGetUserKey")) {
        return FALSE;
    }
    if (Keys().OfContext(provider) != nullptr) {
        return Keys().Open(provider, keySpec, key);
    }
    const BOOL done = REAL(CryptGetUserKey)(provider, keySpec, key);
    if (done) {
        Calls().keyOwners_[*key] = provider;
    }
    return done;
}

BOOL CryptGetKeyParam(HCRYPTKEY key, DWORD parameter, BYTE* data, DWORD* size, DWORD flags) {
    if (Refused("CryptGetKeyParam", {parameter, data != nullptr})) {
        return FALSE;
    }
    const ScriptedKey* const script = Keys().OfKey(key);
    if (script != nullptr && parameter == KP_ALGID) {
        return script->isAlgorithmReadable ? WriteNumber(script->algorithm, data, size)
                                           : Fail(NTE_BAD_TYPE);
    }
    if (script != nullptr && parameter == KP_PERMISSIONS) {
        return script->permissions ? WriteNumber(*script->permissions, data, size)
                                   : Fail(NTE_BAD_TYPE);
    }
    if (parameter == KP_IV && Keys().vector_) {
        const auto length = static_cast<DWORD>(Keys().vector_->size());
        return WriteBytes(Keys().vector_->data(), length, length, data, size);
    }
    return REAL(CryptGetKeyParam)(key, parameter, data, size, flags);
}

BOOL CryptGetProvParam(HCRYPTPROV provider, DWORD parameter, BYTE* data, DWORD* size, DWORD flags) {
    if (Refused("CryptGetProvParam", {parameter, data != nullptr})) {
        return FALSE;
    }
    constexpr DWORD kFriendlyName = 220;
    const ScriptedKey* const script = Keys().OfContext(provider);
    if (script != nullptr && parameter == kFriendlyName) {
        if (!script->friendlyName) {
            return Fail(NTE_BAD_TYPE);
        }
        const auto length = static_cast<DWORD>(script->friendlyName->size());
        return WriteBytes(script->friendlyName->data(), length, length, data, size);
    }
    return REAL(CryptGetProvParam)(provider, parameter, data, size, flags);
}

BOOL CryptExportKey(HCRYPTKEY key, HCRYPTKEY wrapping, DWORD type, DWORD flags, BYTE* data,
                    DWORD* size) {
    if (Refused("CryptExportKey", {flags, data != nullptr})) {
        return FALSE;
    }
    Keys().wrappings_.push_back(wrapping);
    const ScriptedKey* const script = Keys().OfKey(key);
    if (script == nullptr) {
        return REAL(CryptExportKey)(key, wrapping, type, flags, data, size);
    }
    const auto length = static_cast<DWORD>(script->blob.size());
    return WriteBytes(script->blob.data(), length, script->reportedLength.value_or(length), data,
                      size);
}

BOOL CryptEncrypt(HCRYPTKEY key, HCRYPTHASH hash, BOOL isFinal, DWORD flags, BYTE* data,
                  DWORD* dataSize, DWORD room) {
    if (Refused("CryptEncrypt", {0, data != nullptr})) {
        return FALSE;
    }
    if (data == nullptr && Keys().encryptedLength_) {
        *dataSize = *Keys().encryptedLength_;
        return TRUE;
    }
    const BOOL isDone = REAL(CryptEncrypt)(key, hash, isFinal, flags, data, dataSize, room);
    if (isDone != FALSE && data != nullptr && Keys().changeCipherText_ != nullptr) {
        Keys().changeCipherText_({data, *dataSize});
    }
    return isDone;
}

}  // extern "C"
