#include "pfximport/restore.h"

#include <cstdlib>
#include <cwchar>
#include <memory>
#include <utility>

#include "derlist/der_parser.h"
#include "pfxcrypto/handle_guards.h"
#include "pfxcrypto/pfx_constants.h"
#include "pfximport/certificate_import.h"
#include "pfximport/import_control_flags.h"
#include "pfximport/key_import.h"
#include "pfximport/verify_password.h"

namespace pkisdk {

namespace {

struct FreeMemory {
    void operator()(wchar_t* text) const { std::free(text); }
};
using WidePassword = std::unique_ptr<wchar_t, FreeMemory>;

// Null where there is no memory.
WidePassword MakeWidePassword(const char* password) {
    const int size = MultiByteToWideChar(CP_ACP, 0, password, -1, nullptr, 0);
    WidePassword wide(
        static_cast<wchar_t*>(std::calloc(static_cast<std::size_t>(size) + 1, sizeof(wchar_t))));
    if (wide != nullptr) {
        MultiByteToWideChar(CP_ACP, 0, password, -1, wide.get(), size);
    }
    return wide;
}

// As many octets as the text has characters. That leaves part of it, and is settled.
void WipeWidePassword(wchar_t* password) {
    SecureZeroMemory(password, std::wcslen(password));
}

bool IsPfx(const IBlob& document) {
    CRYPT_DATA_BLOB blob{static_cast<DWORD>(document.GetSize()),
                         const_cast<BYTE*>(document.GetData())};
    return PFXIsPFXBlob(&blob) != FALSE;
}

// A wrong password costs two derivations, and the second one's word is told.
bool VerifyTwice(const char* password, const IBlob& document) {
    return VerifyPfxPassword(password, &document, kProviderName) != 0 ||
           VerifyPfxPassword(password, &document, kProviderName) != 0;
}

bool ImportContents(const char* password, const IBlob& document, HCERTSTORE store,
                    std::uint32_t flags, bool isSilent) {
    DerList list;
    ParseDerList(document.GetData(), static_cast<std::int32_t>(document.GetSize()), &list);
    DerList certificates;
    return AddPfxCertsToStore(password, list, store, &certificates) != 0 &&
           AddPfxKeysToCSP(password, kProviderName, std::move(list), store, std::move(certificates),
                           flags, isSilent ? 1 : 0) != 0;
}

// Answers the error word. The store stays in `store` unless there is one.
DWORD Restore(const char* password, const IBlob& document, std::uint32_t flags, bool isSilent,
              CertStore* store) {
    if (!VerifyTwice(password, document)) {
        return GetLastError();
    }
    *store->Put() = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    if (!*store) {
        return GetLastError();
    }
    if (ImportContents(password, document, store->Get(), flags, isSilent)) {
        return 0;
    }
    const DWORD error = GetLastError();
    if (error != 0) {
        store->Reset();
    }
    return error;
}

}  // namespace

HCERTSTORE RestorePfxToMemoryStore(const char* password, const IBlob* document,
                                   [[maybe_unused]] const char* providerName, std::uint32_t flags) {
    DWORD error = 0;
    CertStore store;
    if (document == nullptr) {
        error = static_cast<DWORD>(NTE_BAD_DATA);
    } else {
        const bool isSilent = (ImportControlFlags & 1) != 0;
        if (!IsPfx(*document)) {
            error = static_cast<DWORD>(NTE_BAD_DATA);
        } else if (const WidePassword wide = MakeWidePassword(password); wide == nullptr) {
            error = ERROR_NOT_ENOUGH_MEMORY;
        } else {
            error = Restore(password, *document, flags, isSilent, &store);
            WipeWidePassword(wide.get());
        }
    }
    SetLastError(error);
    return store.release();
}

}  // namespace pkisdk
