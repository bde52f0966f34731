// What the commands hold of CryptoAPI, released at the end of its scope, and how a failed call
// becomes the command's failure.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/cryptoapi.h"

namespace mvlpfx {

inline constexpr char kProviderName[] = "Velmorix Cryptographic Service Provider";
inline constexpr DWORD kProviderType = 2;

// Throws the ToolError of the last error, with `what` could not be done before its meaning.
[[noreturn]] void ThrowLastError(const std::string& what);

// The same for a call on a document.
[[noreturn]] void ThrowDocumentError(const std::string& what);

inline void RequireCall(BOOL answer, const std::string& what) {
    if (answer == FALSE) {
        ThrowLastError(what);
    }
}

// A handle, and the call that releases it.
template <typename Handle, auto kRelease>
class Owned {
  public:
    Owned() = default;
    explicit Owned(Handle handle) : handle_(handle) {}
    Owned(Owned&& other) noexcept : handle_(std::exchange(other.handle_, Handle{})) {}
    Owned& operator=(Owned&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    ~Owned() {
        if (handle_ != Handle{}) {
            kRelease(handle_);
        }
    }

    Handle Get() const { return handle_; }
    // Releases what is held, for a call to fill.
    Handle* Fill() {
        *this = Owned();
        return &handle_;
    }
    Handle Leave() { return std::exchange(handle_, Handle{}); }
    explicit operator bool() const { return handle_ != Handle{}; }

  private:
    Handle handle_{};
};

inline void ReleaseContext(HCRYPTPROV context) {
    CryptReleaseContext(context, 0);
}
inline void CloseStore(HCERTSTORE store) {
    CertCloseStore(store, 0);
}

using OwnedContext = Owned<HCRYPTPROV, ReleaseContext>;
using OwnedKey = Owned<HCRYPTKEY, CryptDestroyKey>;
using OwnedStore = Owned<HCERTSTORE, CloseStore>;
using OwnedCertificate = Owned<PCCERT_CONTEXT, CertFreeCertificateContext>;

// Opens, makes or deletes a container of user or machine; null names none. It never asks for a PIN.
// False with the reason in the last error.
bool AcquireContext(const char* container, DWORD flags, bool machine, OwnedContext* context);

// A provider parameter that is text; empty where the provider has none.
std::string TextParameter(HCRYPTPROV context, DWORD parameter);

// A system store of user or machine; null with the reason in the last error.
OwnedStore TryOpenSystemStore(const std::string& name, bool machine);

// The same. Throws ToolError.
OwnedStore OpenSystemStore(const std::string& name, bool machine);

// SHA-1 of the certificate in hexadecimal digits.
std::string Thumbprint(PCCERT_CONTEXT certificate);

// A thumbprint as people write it, with colons or blanks or capitals, as Thumbprint gives it.
// Throws ToolError(kUsage) for other text.
std::string ParseThumbprint(const std::string& text);

// The subject as "CN=..., O=...", in the user's encoding.
std::string SubjectText(PCCERT_CONTEXT certificate);

std::string IssuerText(PCCERT_CONTEXT certificate);

// In hexadecimal digits, most significant first.
std::string SerialNumber(PCCERT_CONTEXT certificate);

// Whether the text stands in the subject; case counts for nothing.
bool SubjectContains(PCCERT_CONTEXT certificate, const std::string& text);

// "2026-11-21", in UTC.
std::string DayOf(const FILETIME& time);

// The record of the private key, in a block that its pointers point into; empty where there is
// none.
std::vector<BYTE> KeyProvInfo(PCCERT_CONTEXT certificate);

// The certificate that the provider keeps beside the key; none where there is none that can be
// read.
OwnedCertificate CertificateBeside(HCRYPTKEY key);

// In the user's encoding.
std::string ToNarrow(const wchar_t* text);
std::wstring ToWide(const std::string& text);

}  // namespace mvlpfx
