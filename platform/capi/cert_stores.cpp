// Certificate stores.
#include <strings.h>

#include <algorithm>
#include <chrono>
#include <cwchar>
#include <optional>
#include <string>

#include "capi/ansi_text.h"
#include "capi/calls.h"
#include "capi/certificate_names.h"
#include "capi/store.h"
#include "capi/utf8.h"

namespace capi {

namespace {

constexpr const char* kSystemStores[] = {"MY", "CA", "ROOT"};

enum class StoreKind { kMemory, kSystemA, kSystemW };

StoreKind KindOf(LPCSTR provider) {
    constexpr std::uintptr_t kHighestNumber = 0xFFFF;
    const auto number = reinterpret_cast<std::uintptr_t>(provider);
    if (number > kHighestNumber) {
        if (strcasecmp(provider, sz_CERT_STORE_PROV_MEMORY) == 0) {
            return StoreKind::kMemory;
        }
        Require(strcasecmp(provider, sz_CERT_STORE_PROV_SYSTEM) == 0, ERROR_FILE_NOT_FOUND);
        return StoreKind::kSystemW;
    }
    if (provider == CERT_STORE_PROV_MEMORY) {
        return StoreKind::kMemory;
    }
    Require(provider == CERT_STORE_PROV_SYSTEM_A || provider == CERT_STORE_PROV_SYSTEM_W,
            ERROR_FILE_NOT_FOUND);
    return provider == CERT_STORE_PROV_SYSTEM_A ? StoreKind::kSystemA : StoreKind::kSystemW;
}

// The name as its folder has it.
std::string SystemStoreName(StoreKind kind, const void* name) {
    Require(name != nullptr, E_INVALIDARG);
    std::wstring wide;
    if (kind == StoreKind::kSystemA) {
        wide = WideFromUtf8(Utf8FromAnsi(static_cast<LPCSTR>(name)));
    } else {
        wide = static_cast<LPCWSTR>(name);
    }
    for (const char* const known : kSystemStores) {
        if (wcscasecmp(wide.c_str(), WideFromUtf8(known).c_str()) == 0) {
            return known;
        }
    }
    ThrowWord(ERROR_FILE_NOT_FOUND);
}

CertificateFolder FolderOf(DWORD location, const std::string& name) {
    const bool isUser = location == CERT_SYSTEM_STORE_CURRENT_USER;
    Require(isUser || location == CERT_SYSTEM_STORE_LOCAL_MACHINE, E_INVALIDARG);
    const std::filesystem::path folder = isUser ? UserStateFolder() : state::MachineFolder();
    return CertificateFolder(folder / "stores" / name, isUser);
}

// What both walks do with the previous context: it is freed whatever becomes of the call.
template <typename MakeSearch>
PCCERT_CONTEXT Walk(HCERTSTORE handle, PCCERT_CONTEXT previous, const MakeSearch& makeSearch) {
    const std::shared_ptr<CertificateObject> before = Contexts::Get().Find(previous);
    PCCERT_CONTEXT const next = Answer<PCCERT_CONTEXT>(nullptr, [&] {
        const std::shared_ptr<Store> store = Stores::Get().Find(handle);
        Require(previous == nullptr || (before != nullptr && before->WhereIs().handle == handle),
                E_INVALIDARG);
        const Store::Element element = store->FindNext(before.get(), makeSearch());
        Require(element != nullptr, store->HasDamage() ? CRYPT_E_FILE_ERROR : CRYPT_E_NOT_FOUND);
        return Contexts::Get().Hold(element);
    });
    Contexts::Get().Release(previous);
    return next;
}

Bytes ToBytes(const CRYPT_INTEGER_BLOB& blob) {
    const std::span<const BYTE> view = View(blob);
    return Bytes(view.begin(), view.end());
}

Store::Search ByName(const CRYPT_INTEGER_BLOB& name, bool isSubject) {
    if (isSubject) {
        return {Store::Search::Among::kSubject, ToBytes(name), nullptr};
    }
    return {Store::Search::Among::kAll, {}, [wanted = ToBytes(name)](const CertificateObject& one) {
                return std::ranges::equal(View(one.Info().Issuer), wanted);
            }};
}

Store::Search ByText(const std::wstring& text, bool isSubject) {
    return {Store::Search::Among::kAll, {}, [text, isSubject](const CertificateObject& one) {
                return NameContains(View(isSubject ? one.Info().Subject : one.Info().Issuer), text);
            }};
}

Store::Search ByProperty(DWORD number) {
    return {Store::Search::Among::kAll, {}, [number](const CertificateObject& one) {
                return number == CERT_KEY_CONTEXT_PROP_ID ? one.KeyContext().hCryptProv != 0
                                                          : one.CopyProperties().Has(number);
            }};
}

Store::Search ByMd5(const CRYPT_INTEGER_BLOB& hash) {
    constexpr ALG_ID kMd5 = 0x8003;
    return {Store::Search::Among::kAll, {}, [wanted = ToBytes(hash)](const CertificateObject& one) {
                return DigestOf(kMd5, one.Encoded()) == wanted;
            }};
}

Store::Search BySubjectCertificate(const CERT_INFO& id) {
    return {Store::Search::Among::kAll, {}, [&id](const CertificateObject& one) {
                return CertCompareCertificate(X509_ASN_ENCODING, const_cast<CERT_INFO*>(&id),
                                              const_cast<CERT_INFO*>(&one.Info())) != FALSE;
            }};
}

Store::Search ByThumbprint(std::span<const BYTE> thumbprint) {
    return {Store::Search::Among::kThumbprint, Bytes(thumbprint.begin(), thumbprint.end()),
            nullptr};
}

Store::Search SearchOf(DWORD type, const void* parameter) {
    if (type == CERT_FIND_ANY) {
        return {};
    }
    if (type == CERT_FIND_HAS_PRIVATE_KEY) {
        return ByProperty(CERT_KEY_PROV_INFO_PROP_ID);
    }
    Require(parameter != nullptr, E_INVALIDARG);
    const auto context = [parameter] {
        return RequireContext(static_cast<PCCERT_CONTEXT>(parameter));
    };
    const auto& blob = *static_cast<const CRYPT_INTEGER_BLOB*>(parameter);
    switch (type) {
        case CERT_FIND_SHA1_HASH:
            return ByThumbprint(View(blob));
        case CERT_FIND_MD5_HASH:
            return ByMd5(blob);
        case CERT_FIND_SUBJECT_NAME:
        case CERT_FIND_ISSUER_NAME:
            return ByName(blob, type == CERT_FIND_SUBJECT_NAME);
        case CERT_FIND_SUBJECT_STR_A:
        case CERT_FIND_ISSUER_STR_A:
            return ByText(WideFromUtf8(Utf8FromAnsi(static_cast<LPCSTR>(parameter))),
                          type == CERT_FIND_SUBJECT_STR_A);
        case CERT_FIND_SUBJECT_STR_W:
        case CERT_FIND_ISSUER_STR_W:
            return ByText(static_cast<LPCWSTR>(parameter), type == CERT_FIND_SUBJECT_STR_W);
        case CERT_FIND_PROPERTY:
            return ByProperty(*static_cast<const DWORD*>(parameter));
        case CERT_FIND_SUBJECT_CERT:
            return BySubjectCertificate(*static_cast<const CERT_INFO*>(parameter));
        case CERT_FIND_ISSUER_OF:
            return ByName(context()->Info().Issuer, true);
        case CERT_FIND_EXISTING:
            return ByThumbprint(context()->Thumbprint());
        default:
            ThrowWord(E_INVALIDARG);
    }
}

ULONGLONG Now() {
    using Units = std::chrono::duration<ULONGLONG, std::ratio<1, 10'000'000>>;
    constexpr ULONGLONG kUnitsFrom1601To1970 = 116'444'736'000'000'000;
    const auto since1970 = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<Units>(since1970).count() + kUnitsFrom1601To1970;
}

ULONGLONG ToNumber(const FILETIME& time) {
    return ULONGLONG{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

// Takes away the bits of the checks that pass.
DWORD CheckSubject(const CertificateObject& subject, const CertificateObject& issuer,
                   DWORD checks) {
    if ((checks & CERT_STORE_SIGNATURE_FLAG) != 0 &&
        IsSignedBy(subject.Encoded(), issuer.Encoded())) {
        checks &= ~DWORD{CERT_STORE_SIGNATURE_FLAG};
    }
    const ULONGLONG now = Now();
    if (ToNumber(subject.Info().NotBefore) <= now && now <= ToNumber(subject.Info().NotAfter)) {
        checks &= ~DWORD{CERT_STORE_TIME_VALIDITY_FLAG};
    }
    return (checks & CERT_STORE_REVOCATION_FLAG) != 0 ? checks | CERT_STORE_NO_CRL_FLAG : checks;
}

}  // namespace

}  // namespace capi

using capi::Answer;
using capi::Contexts;
using capi::Require;
using capi::RequireContext;
using capi::Stores;

HCERTSTORE WINAPI CertOpenStore(LPCSTR lpszStoreProvider, DWORD /*dwEncodingType*/,
                                HCRYPTPROV_LEGACY /*hCryptProv*/, DWORD dwFlags,
                                const void* pvPara) {
    return Answer<HCERTSTORE>(nullptr, [&] {
        Require(lpszStoreProvider != nullptr && (dwFlags & CERT_STORE_DELETE_FLAG) == 0,
                E_INVALIDARG);
        const bool isReadOnly = (dwFlags & CERT_STORE_READONLY_FLAG) != 0;
        const capi::StoreKind kind = capi::KindOf(lpszStoreProvider);
        if (kind == capi::StoreKind::kMemory) {
            return Stores::Get().Open(std::nullopt, isReadOnly);
        }
        const std::string name = capi::SystemStoreName(kind, pvPara);
        capi::CertificateFolder folder =
            capi::FolderOf(dwFlags & CERT_SYSTEM_STORE_LOCATION_MASK, name);
        Require((dwFlags & CERT_STORE_CREATE_NEW_FLAG) == 0, ERROR_FILE_EXISTS);
        return Stores::Get().Open(std::move(folder), isReadOnly);
    });
}

HCERTSTORE WINAPI CertOpenSystemStoreA(HCRYPTPROV_LEGACY hProv, LPCSTR szSubsystemProtocol) {
    return CertOpenStore(CERT_STORE_PROV_SYSTEM_A, 0, hProv, CERT_SYSTEM_STORE_CURRENT_USER,
                         szSubsystemProtocol);
}

HCERTSTORE WINAPI CertDuplicateStore(HCERTSTORE hCertStore) {
    return Answer<HCERTSTORE>(nullptr, [&] {
        Stores::Get().AddReference(hCertStore);
        return hCertStore;
    });
}

BOOL WINAPI CertCloseStore(HCERTSTORE hCertStore, DWORD dwFlags) {
    if (hCertStore == nullptr) {
        return TRUE;
    }
    return Answer<BOOL>(FALSE, [&] {
        const bool isLast = Stores::Get().Close(hCertStore);
        if ((dwFlags & CERT_CLOSE_STORE_FORCE_FLAG) != 0 && isLast) {
            Contexts::Get().ForgetAllOf(hCertStore);
        }
        if ((dwFlags & CERT_CLOSE_STORE_CHECK_FLAG) != 0) {
            Require(isLast && !Contexts::Get().AnyOf(hCertStore), CRYPT_E_PENDING_CLOSE);
        }
        return TRUE;
    });
}

BOOL WINAPI CertAddCertificateContextToStore(HCERTSTORE hCertStore, PCCERT_CONTEXT pCertContext,
                                             DWORD dwAddDisposition,
                                             PCCERT_CONTEXT* ppStoreContext) {
    if (ppStoreContext != nullptr) {
        *ppStoreContext = nullptr;
    }
    return Answer<BOOL>(FALSE, [&] {
        const auto store = Stores::Get().Find(hCertStore);
        const auto added = store->Add(*RequireContext(pCertContext), dwAddDisposition);
        if (ppStoreContext != nullptr) {
            *ppStoreContext = Contexts::Get().Hold(added);
        }
        return TRUE;
    });
}

BOOL WINAPI CertAddEncodedCertificateToStore(HCERTSTORE hCertStore, DWORD dwCertEncodingType,
                                             const BYTE* pbCertEncoded, DWORD cbCertEncoded,
                                             DWORD dwAddDisposition,
                                             PCCERT_CONTEXT* ppCertContext) {
    if (ppCertContext != nullptr) {
        *ppCertContext = nullptr;
    }
    PCCERT_CONTEXT const context =
        CertCreateCertificateContext(dwCertEncodingType, pbCertEncoded, cbCertEncoded);
    if (context == nullptr) {
        return FALSE;
    }
    if (hCertStore == nullptr && ppCertContext != nullptr) {
        *ppCertContext = context;
        return TRUE;
    }
    const BOOL isAdded =
        CertAddCertificateContextToStore(hCertStore, context, dwAddDisposition, ppCertContext);
    CertFreeCertificateContext(context);
    return isAdded;
}

PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE hCertStore,
                                                  PCCERT_CONTEXT pPrevCertContext) {
    return capi::Walk(hCertStore, pPrevCertContext, [] { return capi::Store::Search(); });
}

PCCERT_CONTEXT WINAPI CertFindCertificateInStore(HCERTSTORE hCertStore,
                                                 DWORD /*dwCertEncodingType*/, DWORD dwFindFlags,
                                                 DWORD dwFindType, const void* pvFindPara,
                                                 PCCERT_CONTEXT pPrevCertContext) {
    return capi::Walk(hCertStore, pPrevCertContext, [&] {
        Require(dwFindFlags == 0, E_INVALIDARG);
        return capi::SearchOf(dwFindType, pvFindPara);
    });
}

BOOL WINAPI CertDeleteCertificateFromStore(PCCERT_CONTEXT pCertContext) {
    const BOOL isDeleted = Answer<BOOL>(FALSE, [&] {
        const auto certificate = RequireContext(pCertContext);
        const auto store = certificate->WhereIs().store.lock();
        Require(store != nullptr, E_INVALIDARG);
        store->Delete(*certificate);
        return TRUE;
    });
    Contexts::Get().Release(pCertContext);
    return isDeleted;
}

PCCERT_CONTEXT WINAPI CertGetIssuerCertificateFromStore(HCERTSTORE hCertStore,
                                                        PCCERT_CONTEXT pSubjectContext,
                                                        PCCERT_CONTEXT pPrevIssuerContext,
                                                        DWORD* pdwFlags) {
    constexpr DWORD kChecks =
        CERT_STORE_SIGNATURE_FLAG | CERT_STORE_TIME_VALIDITY_FLAG | CERT_STORE_REVOCATION_FLAG;
    const auto subject = Contexts::Get().Find(pSubjectContext);
    PCCERT_CONTEXT const issuer = capi::Walk(hCertStore, pPrevIssuerContext, [&] {
        Require(subject != nullptr && pdwFlags != nullptr && (*pdwFlags & ~kChecks) == 0,
                E_INVALIDARG);
        const CERT_INFO& info = subject->Info();
        Require(!std::ranges::equal(capi::View(info.Issuer), capi::View(info.Subject)),
                CRYPT_E_SELF_SIGNED);
        return capi::ByName(info.Issuer, true);
    });
    if (issuer != nullptr) {
        *pdwFlags = capi::CheckSubject(*subject, *Contexts::Get().Find(issuer), *pdwFlags);
    }
    return issuer;
}
