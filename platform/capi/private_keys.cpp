// The keys that belong to certificates, and the hashes of certificates.
#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "capi/builtin_settings.h"
#include "capi/calls.h"
#include "capi/certificate_object.h"
#include "capi/der_writer.h"
#include "capi/heap.h"
#include "capi/public_keys.h"
#include "capi/text.h"

namespace capi {

namespace {

// A provider's context, released unless it is left to someone.
class OwnContext {
  public:
    OwnContext(const char* container, const char* provider, DWORD type, DWORD flags) {
        RequireCall(CryptAcquireContextA(&handle_, container, provider, type, flags));
    }
    ~OwnContext() {
        if (handle_ != 0) {
            // The reason why it is no longer wanted stands in the last error or on its way there.
            const DWORD before = GetLastError();
            CryptReleaseContext(handle_, 0);
            SetLastError(before);
        }
    }
    OwnContext(OwnContext&& other) noexcept : handle_(other.Leave()) {}
    OwnContext(const OwnContext&) = delete;
    OwnContext& operator=(const OwnContext&) = delete;

    HCRYPTPROV Get() const { return handle_; }
    HCRYPTPROV Leave() { return std::exchange(handle_, 0); }

  private:
    HCRYPTPROV handle_ = 0;
};

// In the ANSI code page, which has to hold the whole name: another name would be another key.
std::optional<std::string> ToAnsi(const std::optional<std::wstring>& text) {
    if (!text.has_value() || text->empty()) {
        return text.has_value() ? std::optional(std::string()) : std::nullopt;
    }
    constexpr std::size_t kLongestName = 32767;
    Require(text->size() <= kLongestName, E_INVALIDARG);
    const auto length = static_cast<int>(text->size());
    const UINT page = GetACP();
    const bool isUtf8 = page == CP_UTF8;
    const DWORD flags = isUtf8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS;
    BOOL isLossy = FALSE;
    BOOL* const lossy = isUtf8 ? nullptr : &isLossy;
    const int size =
        WideCharToMultiByte(page, flags, text->c_str(), length, nullptr, 0, nullptr, lossy);
    Require(size > 0 && isLossy == FALSE, ERROR_NO_UNICODE_TRANSLATION);
    std::string narrow(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(page, flags, text->c_str(), length, narrow.data(), size, nullptr, nullptr);
    return narrow;
}

const char* Pointer(const std::optional<std::string>& text) {
    return text.has_value() ? text->c_str() : nullptr;
}

void SetParameter(HCRYPTPROV provider, const KeyProvInfo::Parameter& parameter) {
    // A text's size may leave out the terminator that the provider looks for.
    Bytes data;
    data.reserve(parameter.data.size() + 1);
    data = parameter.data;
    data.push_back(0);
    const BOOL isSet = CryptSetProvParam(provider, parameter.number, data.data(), parameter.flags);
    SecureZeroMemory(data.data(), data.size());
    RequireCall(isSet);
}

OwnContext Acquire(const KeyProvInfo& info, bool isSilent) {
    const DWORD flags =
        (info.flags & ~DWORD{CERT_SET_KEY_CONTEXT_PROP_ID}) | (isSilent ? CRYPT_SILENT : 0);
    const std::optional<std::string> container = ToAnsi(info.container);
    const std::optional<std::string> provider = ToAnsi(info.provider);
    OwnContext context(Pointer(container), Pointer(provider), info.providerType, flags);
    for (const KeyProvInfo::Parameter& parameter : info.parameters) {
        SetParameter(context.Get(), parameter);
    }
    return context;
}

// That the certificate's public key is the one in the container, bit for bit; what stands before
// the bits may name the curve in more ways than one.
void RequireSameKey(const CertificateObject& certificate, const CERT_KEY_CONTEXT& key) {
    const CRYPT_BIT_BLOB& bits = certificate.Info().SubjectPublicKeyInfo.PublicKey;
    const Bytes info = PublicKeyInfoOf(key.hCryptProv, key.dwKeySpec);
    // With its header, so that the end of a key does not pass for the key.
    const Bytes field = DerBitString({bits.pbData, bits.cbData});
    Require(info.size() > field.size() && std::equal(field.rbegin(), field.rend(), info.rbegin()),
            NTE_BAD_PUBLIC_KEY);
}

struct AcquiredKey {
    CERT_KEY_CONTEXT key;
    bool isKept;
};

AcquiredKey AcquireKey(CertificateObject* certificate, DWORD flags) {
    const std::optional<KeyProvInfo> info = certificate->CopyProperties().keyProvInfo;
    const bool keeps = (flags & CRYPT_ACQUIRE_CACHE_FLAG) != 0 ||
                       ((flags & CRYPT_ACQUIRE_USE_PROV_INFO_FLAG) != 0 && info.has_value() &&
                        (info->flags & CERT_SET_KEY_CONTEXT_PROP_ID) != 0);
    if (keeps) {
        const CERT_KEY_CONTEXT kept = certificate->KeyContext();
        if (kept.hCryptProv != 0) {
            return {kept, true};
        }
    }
    Require(info.has_value(), CRYPT_E_NO_KEY_PROPERTY);
    OwnContext context = Acquire(*info, (flags & CRYPT_ACQUIRE_SILENT_FLAG) != 0);
    CERT_KEY_CONTEXT key{sizeof(CERT_KEY_CONTEXT), context.Get(), info->keySpec};
    if ((flags & CRYPT_ACQUIRE_COMPARE_KEY_FLAG) != 0) {
        RequireSameKey(*certificate, key);
    }
    key.hCryptProv = context.Leave();
    return {keeps ? certificate->KeepFirstKeyContext(key) : key, keeps};
}

class OwnHash {
  public:
    OwnHash(HCRYPTPROV provider, ALG_ID algorithm) {
        RequireCall(CryptCreateHash(provider, algorithm, 0, 0, &handle_));
    }
    ~OwnHash() { CryptDestroyHash(handle_); }
    OwnHash(const OwnHash&) = delete;
    OwnHash& operator=(const OwnHash&) = delete;

    Bytes Value(std::span<const BYTE> data) const {
        DWORD size = 0;
        Bytes value;
        const auto size32 = static_cast<DWORD>(data.size());
        RequireCall(CryptHashData(handle_, data.data(), size32, 0));
        RequireCall(CryptGetHashParam(handle_, HP_HASHVAL, nullptr, &size, 0));
        value.resize(size);
        RequireCall(CryptGetHashParam(handle_, HP_HASHVAL, value.data(), &size, 0));
        return value;
    }

  private:
    HCRYPTHASH handle_ = 0;
};

Bytes HashOf(HCRYPTPROV provider, ALG_ID algorithm, std::span<const BYTE> data) {
    if (provider != 0) {
        return OwnHash(provider, algorithm == 0 ? CALG_SHA1 : algorithm).Value(data);
    }
    Bytes hash = DigestOf(algorithm, data);
    if (hash.empty()) {
        const OwnContext context(nullptr, kDefaultProviderName, kDefaultProviderType,
                                 CRYPT_VERIFYCONTEXT);
        hash = OwnHash(context.Get(), algorithm).Value(data);
    }
    return hash;
}

}  // namespace

}  // namespace capi

using capi::Answer;
using capi::Require;

BOOL WINAPI
CryptAcquireCertificatePrivateKey(PCCERT_CONTEXT pCert, DWORD dwFlags, void* /*pvParameters*/,
                                  HCRYPTPROV_OR_NCRYPT_KEY_HANDLE* phCryptProvOrNCryptKey,
                                  DWORD* pdwKeySpec, BOOL* pfCallerFreeProvOrNCryptKey) {
    if (phCryptProvOrNCryptKey != nullptr) {
        *phCryptProvOrNCryptKey = 0;
    }
    return Answer<BOOL>(FALSE, [&] {
        constexpr DWORD kFlags = CRYPT_ACQUIRE_CACHE_FLAG | CRYPT_ACQUIRE_USE_PROV_INFO_FLAG |
                                 CRYPT_ACQUIRE_COMPARE_KEY_FLAG | CRYPT_ACQUIRE_NO_HEALING |
                                 CRYPT_ACQUIRE_SILENT_FLAG;
        const auto certificate = capi::RequireContext(pCert);
        Require(phCryptProvOrNCryptKey != nullptr && (dwFlags & ~kFlags) == 0, E_INVALIDARG);
        // Nobody could release the handle.
        Require(pfCallerFreeProvOrNCryptKey != nullptr || (dwFlags & CRYPT_ACQUIRE_CACHE_FLAG) != 0,
                E_INVALIDARG);
        const capi::AcquiredKey acquired = capi::AcquireKey(certificate.get(), dwFlags);
        *phCryptProvOrNCryptKey = acquired.key.hCryptProv;
        if (pdwKeySpec != nullptr) {
            *pdwKeySpec = acquired.key.dwKeySpec;
        }
        if (pfCallerFreeProvOrNCryptKey != nullptr) {
            *pfCallerFreeProvOrNCryptKey = acquired.isKept ? FALSE : TRUE;
        }
        return TRUE;
    });
}

BOOL WINAPI CryptHashCertificate(HCRYPTPROV_LEGACY hCryptProv, ALG_ID Algid, DWORD /*dwFlags*/,
                                 const BYTE* pbEncoded, DWORD cbEncoded, BYTE* pbComputedHash,
                                 DWORD* pcbComputedHash) {
    return Answer<BOOL>(FALSE, [&] {
        Require((pbEncoded != nullptr || cbEncoded == 0) && pcbComputedHash != nullptr,
                E_INVALIDARG);
        capi::WriteSized(capi::HashOf(hCryptProv, Algid, {pbEncoded, cbEncoded}), pbComputedHash,
                         pcbComputedHash);
        return TRUE;
    });
}
