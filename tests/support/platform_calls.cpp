#include "support/platform_calls.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "support/platform_stand_in.h"

namespace test_support {

PlatformCalls& PlatformCalls::Get() {
    static PlatformCalls calls;
    return calls;
}

void PlatformCalls::Reset() {
    *this = PlatformCalls();
}

void PlatformCalls::FailFrom(int n, bool stay, DWORD error) {
    failAt_ = static_cast<int>(log_.size()) + n;
    stay_ = stay;
    error_ = error;
}

void PlatformCalls::FailNamed(const std::string& name, int n, DWORD error) {
    failName_ = name;
    failNamedAt_ = Count(name) + n;
    error_ = error;
}

void PlatformCalls::ReplaceOidInfo(std::function<PCCRYPT_OID_INFO(const char*)> lookup) {
    oidLookup_ = std::move(lookup);
}

void PlatformCalls::ReplaceAlgorithmInfo(std::function<PCCRYPT_OID_INFO(ALG_ID, DWORD)> lookup) {
    algorithmLookup_ = std::move(lookup);
}

void PlatformCalls::ReplaceRandom(std::function<void(std::span<BYTE>)> draw) {
    random_ = std::move(draw);
}
void PlatformCalls::ReplaceRandom(BYTE octet) {
    ReplaceRandom([octet](std::span<BYTE> octets) { std::ranges::fill(octets, octet); });
}

void PlatformCalls::ReplaceRuntimeRandom(std::function<int()> draw) {
    runtimeRandom_ = std::move(draw);
}

void PlatformCalls::ReplaceTypeData(std::vector<BYTE> data) {
    typeData_ = std::move(data);
    replaceTypeData_ = true;
}

void PlatformCalls::ReplaceHashLengths(std::vector<DWORD> lengths) {
    hashLengths_ = std::move(lengths);
}

void PlatformCalls::RefuseKeyParam(DWORD parameter, DWORD error) {
    refusedKeyParam_ = parameter;
    refusalError_ = error;
}

void PlatformCalls::FailKeyParam(DWORD parameter, int n, DWORD error) {
    failedKeyParam_ = parameter;
    failKeyParamIn_ = n;
    refusalError_ = error;
}

void PlatformCalls::ReleaseContexts() {
    while (!contexts_.empty()) {
        CryptReleaseContext(*contexts_.begin(), 0);
    }
}

int PlatformCalls::Count(const std::string& name) const {
    return static_cast<int>(std::count(log_.begin(), log_.end(), name));
}

std::vector<DWORD> PlatformCalls::Parameters(const std::string& name) const {
    std::vector<DWORD> parameters;
    for (std::size_t i = 0; i < log_.size(); ++i) {
        if (log_[i] == name) {
            parameters.push_back(details_[i].parameter);
        }
    }
    return parameters;
}

void PlatformCalls::Released(bool done) {
    refusedReleases_ += done ? 0 : 1;
    if (done && releaseError_) {
        SetLastError(*releaseError_);
    }
}

bool PlatformCalls::Fails(const char* name, CallDetail detail) {
    if (isPaused_) {
        return false;
    }
    log_.emplace_back(name);
    details_.push_back(detail);
    if (throwName_ == name) {
        throwName_.clear();
        throw std::bad_alloc();
    }
    const int now = static_cast<int>(log_.size());
    const bool fails =
        (failAt_ != 0 && (stay_ ? now >= failAt_ : now == failAt_)) ||
        (!failName_.empty() && failName_ == name && Count(failName_) == failNamedAt_);
    failed_ = failed_ || fails;
    return fails;
}

}  // namespace test_support

using test_support::Calls;
using test_support::PlatformCalls;
using test_support::Refused;

extern "C" {

BOOL STAND_IN(CryptAcquireContextA)(HCRYPTPROV* provider, LPCSTR container, LPCSTR name, DWORD type,
                                    DWORD flags) {
    if (Refused("CryptAcquireContextA")) {
        return FALSE;
    }
    const BOOL done = REAL(CryptAcquireContextA)(provider, container, name, type, flags);
    if (done && (flags & CRYPT_DELETEKEYSET) == 0) {
        Calls().contexts_.insert(*provider);
    }
    Calls().acquisitions_.push_back(
        {container == nullptr ? std::string() : container, flags, done != FALSE});
    return done;
}

BOOL STAND_IN(CryptReleaseContext)(HCRYPTPROV provider, DWORD flags) {
    const BOOL done = REAL(CryptReleaseContext)(provider, flags);
    if (done) {
        if (const auto open = Calls().contexts_.find(provider); open != Calls().contexts_.end()) {
            Calls().contexts_.erase(open);
        }
        std::erase_if(Calls().keyOwners_,
                      [provider](const auto& entry) { return entry.second == provider; });
    }
    Calls().Released(done != FALSE);
    return done;
}

BOOL STAND_IN(CryptGenKey)(HCRYPTPROV provider, ALG_ID algorithm, DWORD flags, HCRYPTKEY* key) {
    if (Refused("CryptGenKey")) {
        return FALSE;
    }
    const BOOL done = REAL(CryptGenKey)(provider, algorithm, flags, key);
    if (done) {
        Calls().keyOwners_[*key] = provider;
    }
    return done;
}

BOOL STAND_IN(CryptDestroyKey)(HCRYPTKEY key) {
    const BOOL done = REAL(CryptDestroyKey)(key);
    Calls().keyOwners_.erase(key);
    Calls().Released(done != FALSE);
    return done;
}

BOOL STAND_IN(CryptSetKeyParam)(HCRYPTKEY key, DWORD parameter, const BYTE* data, DWORD flags) {
    if (Refused("CryptSetKeyParam", {parameter, true})) {
        return FALSE;
    }
    Calls().keyParams_.push_back(parameter);
    const bool isFailed = parameter == Calls().failedKeyParam_ && --Calls().failKeyParamIn_ == 0;
    if (isFailed || parameter == Calls().refusedKeyParam_) {
        SetLastError(Calls().refusalError_);
        return FALSE;
    }
    constexpr DWORD kCipherOid = 104;
    if (parameter == kCipherOid) {
        Calls().cipherOids_.emplace_back(reinterpret_cast<const char*>(data));
    }
    return REAL(CryptSetKeyParam)(key, parameter, data, flags);
}

BOOL STAND_IN(CryptGenRandom)(HCRYPTPROV provider, DWORD size, BYTE* buffer) {
    if (Refused("CryptGenRandom")) {
        return FALSE;
    }
    const BOOL done = REAL(CryptGenRandom)(provider, size, buffer);
    if (done && Calls().random_) {
        Calls().random_({buffer, size});
    }
    return done;
}

BOOL STAND_IN(CryptCreateHash)(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTKEY key, DWORD flags,
                               HCRYPTHASH* hash) {
    if (Refused("CryptCreateHash")) {
        return FALSE;
    }
    const BOOL done = REAL(CryptCreateHash)(provider, algorithm, key, flags, hash);
    Calls().Opened(&PlatformCalls::hashes_, done);
    return done;
}

BOOL STAND_IN(CryptDestroyHash)(HCRYPTHASH hash) {
    const BOOL done = REAL(CryptDestroyHash)(hash);
    Calls().Closed(&PlatformCalls::hashes_, done);
    Calls().Released(done != FALSE);
    return done;
}

BOOL STAND_IN(CryptHashData)(HCRYPTHASH hash, const BYTE* data, DWORD size, DWORD flags) {
    return Refused("CryptHashData") ? FALSE : REAL(CryptHashData)(hash, data, size, flags);
}

BOOL STAND_IN(CryptSetHashParam)(HCRYPTHASH hash, DWORD parameter, const BYTE* data, DWORD flags) {
    return Refused("CryptSetHashParam") ? FALSE
                                        : REAL(CryptSetHashParam)(hash, parameter, data, flags);
}

BOOL STAND_IN(CryptGetHashParam)(HCRYPTHASH hash, DWORD parameter, BYTE* data, DWORD* size,
                                 DWORD flags) {
    if (Refused("CryptGetHashParam")) {
        return FALSE;
    }
    auto& lengths = Calls().hashLengths_;
    if (data == nullptr && !lengths.empty()) {
        *size = lengths.front();
        lengths.erase(lengths.begin());
        return TRUE;
    }
    return REAL(CryptGetHashParam)(hash, parameter, data, size, flags);
}

PCCRYPT_OID_INFO STAND_IN(CryptFindOIDInfo)(DWORD keyType, void* key, DWORD group) {
    if (Refused("CryptFindOIDInfo")) {
        return nullptr;
    }
    if (keyType == CRYPT_OID_INFO_ALGID_KEY) {
        const ALG_ID algorithm = *static_cast<const ALG_ID*>(key);
        return Calls().algorithmLookup_ ? Calls().algorithmLookup_(algorithm, group)
                                        : REAL(CryptFindOIDInfo)(keyType, key, group);
    }
    if (Calls().oidLookup_) {
        return Calls().oidLookup_(static_cast<const char*>(key));
    }
    return REAL(CryptFindOIDInfo)(keyType, key, group);
}

LSTATUS STAND_IN(RegOpenKeyExA)(HKEY key, LPCSTR path, DWORD options, REGSAM access, HKEY* opened) {
    if (Refused("RegOpenKeyExA")) {
        return static_cast<LSTATUS>(Calls().Error());
    }
    const LSTATUS status = REAL(RegOpenKeyExA)(key, path, options, access, opened);
    Calls().Opened(&PlatformCalls::registryKeys_, status == ERROR_SUCCESS);
    return status;
}

LSTATUS STAND_IN(RegCloseKey)(HKEY key) {
    const LSTATUS status = REAL(RegCloseKey)(key);
    Calls().Closed(&PlatformCalls::registryKeys_, status == ERROR_SUCCESS);
    return status;
}

LSTATUS STAND_IN(RegQueryInfoKeyA)(HKEY key, LPSTR className, LPDWORD classSize, LPDWORD reserved,
                                   LPDWORD subKeys, LPDWORD longestSubKey, LPDWORD longestClass,
                                   LPDWORD values, LPDWORD longestName, LPDWORD longestData,
                                   LPDWORD security, PFILETIME written) {
    if (Refused("RegQueryInfoKeyA")) {
        return static_cast<LSTATUS>(Calls().Error());
    }
    return REAL(RegQueryInfoKeyA)(key, className, classSize, reserved, subKeys, longestSubKey,
                                  longestClass, values, longestName, longestData, security,
                                  written);
}

LSTATUS STAND_IN(RegEnumValueA)(HKEY key, DWORD index, LPSTR name, LPDWORD nameSize,
                                LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD dataSize) {
    if (Refused("RegEnumValueA")) {
        return static_cast<LSTATUS>(Calls().Error());
    }
    std::vector<BYTE> trueData(64);
    auto trueSize = static_cast<DWORD>(trueData.size());
    if (!Calls().replaceTypeData_) {
        return REAL(RegEnumValueA)(key, index, name, nameSize, reserved, type, data, dataSize);
    }
    const LSTATUS status =
        REAL(RegEnumValueA)(key, index, name, nameSize, reserved, type, trueData.data(), &trueSize);
    if (status == ERROR_SUCCESS && std::strcmp(name, "Type") == 0) {
        trueData = Calls().typeData_;
        trueSize = static_cast<DWORD>(trueData.size());
    }
    *dataSize = trueSize;
    if (data != nullptr) {
        std::copy_n(trueData.begin(), trueSize, data);
    }
    return status;
}

int STAND_IN(MultiByteToWideChar)(UINT codePage, DWORD flags, LPCSTR text, int length, LPWSTR out,
                                  int room) {
    return Refused("MultiByteToWideChar")
               ? 0
               : REAL(MultiByteToWideChar)(codePage, flags, text, length, out, room);
}

int STAND_IN(WideCharToMultiByte)(UINT codePage, DWORD flags, LPCWSTR text, int length, LPSTR out,
                                  int room, LPCSTR defaultChar, LPBOOL usedDefault) {
    return Refused("WideCharToMultiByte")
               ? 0
               : REAL(WideCharToMultiByte)(codePage, flags, text, length, out, room, defaultChar,
                                           usedDefault);
}

LPVOID STAND_IN(HeapAlloc)(HANDLE heap, DWORD flags, SIZE_T size) {
    if (Calls().Fails("HeapAlloc")) {
        return nullptr;
    }
    void* const block = REAL(HeapAlloc)(heap, flags, size);
    Calls().Opened(&PlatformCalls::heapBlocks_, block != nullptr);
    return block;
}

BOOL STAND_IN(HeapFree)(HANDLE heap, DWORD flags, LPVOID block) {
    const BOOL done = REAL(HeapFree)(heap, flags, block);
    Calls().Closed(&PlatformCalls::heapBlocks_, done && block != nullptr);
    return done;
}

int STAND_IN(rand)() noexcept {
    const auto& draw = Calls().runtimeRandom_;
    return draw ? draw() : REAL(rand)();
}

}  // extern "C"
