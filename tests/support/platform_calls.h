// Stands between the module and its platform: counts what it asks, makes chosen calls fail, and
// knows which handles are still open. A test program that links this library has every call below
// go through it to the real one.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "platform/cryptoapi.h"

namespace test_support {

// What a call asked about, where that has a number, and whether it gave room for the answer.
struct CallDetail {
    DWORD parameter = 0;
    bool hasBuffer = false;
};

// What is asked of CryptoAPI, its certificate stores, the registry, the text conversion and the
// heap, in order, by name.
class PlatformCalls {
  public:
    static PlatformCalls& Get();

    // Forgets the log and fails nothing.
    void Reset();
    // The n-th call from here on (1-based) fails, and with `stay` all after it; the failure leaves
    // `error` as the last error, or is what a registry function answers.
    void FailFrom(int n, bool stay, DWORD error);
    // The n-th call of that name fails, once.
    void FailNamed(const std::string& name, int n, DWORD error);
    // The next call of that name throws std::bad_alloc, once: what code between two calls may do.
    void ThrowAt(const std::string& name) { throwName_ = name; }
    // Answers in place of CryptFindOIDInfo from here on.
    void ReplaceOidInfo(std::function<PCCRYPT_OID_INFO(const char* oid)> lookup);
    // The same for lookups by algorithm.
    void ReplaceAlgorithmInfo(
        std::function<PCCRYPT_OID_INFO(ALG_ID algorithm, DWORD group)> lookup);
    // Answers in place of CryptGenRandom from here on.
    void ReplaceRandom(std::function<void(std::span<BYTE> octets)> draw);
    // The same with this for every octet.
    void ReplaceRandom(BYTE octet);
    // The same of the C runtime's generator.
    void ReplaceRuntimeRandom(std::function<int()> draw);
    // Sees the data of every registry value "Type" before the caller does, and may change it.
    void ReplaceTypeData(std::vector<BYTE> data);
    // The lengths that hashes report when they are asked for without a buffer, one an ask; then the
    // true ones again.
    void ReplaceHashLengths(std::vector<DWORD> lengths);
    // What CryptDecrypt tells of its length from here on.
    void ReplaceDecryptedSize(DWORD size) { decryptedSize_ = size; }
    // Every release of a handle leaves this as the last error from here on, though it is done.
    void LeaveOnRelease(DWORD error) { releaseError_ = error; }
    // The container's unique name that CryptGetProvParam answers from here on, with no octet
    // behind.
    void ReplaceUniqueName(std::string name) { uniqueName_ = std::move(name); }
    // What CertGetCertificateContextProperty answers from here on, also where it is made to fail.
    void ReplaceProperty(std::vector<BYTE> record) { property_ = std::move(record); }
    // Each CryptSetKeyParam of this parameter fails.
    void RefuseKeyParam(DWORD parameter, DWORD error);

    // The parameter sets that ciphers were given, in order.
    const std::vector<std::string>& CipherOids() const { return cipherOids_; }

    const std::vector<std::string>& Log() const { return log_; }
    // One for each call of the log.
    const std::vector<CallDetail>& Details() const { return details_; }
    int Count(const std::string& name) const;
    // What the calls of that name asked about, in order.
    std::vector<DWORD> Parameters(const std::string& name) const;
    bool Failed() const { return failed_; }

    // The contexts asked for, with a null container as empty text.
    struct Acquisition {
        std::string container;
        DWORD flags;
        bool done;
    };
    const std::vector<Acquisition>& Acquisitions() const { return acquisitions_; }
    // The key blobs handed to the provider.
    struct KeyImport {
        std::vector<BYTE> blob;
        DWORD flags;
    };
    const std::vector<KeyImport>& KeyImports() const { return keyImports_; }
    // The parameters set on keys and, as text, on contexts.
    const std::vector<DWORD>& KeyParams() const { return keyParams_; }
    struct ProviderParam {
        DWORD parameter;
        std::string text;
    };
    const std::vector<ProviderParam>& ProviderParams() const { return providerParams_; }
    // The n-th CryptSetKeyParam of this parameter fails, once.
    void FailKeyParam(DWORD parameter, int n, DWORD error);

    // Handles given out since Reset() and not released.
    int OpenContexts() const { return static_cast<int>(contexts_.size()); }
    // A key that is left to its context goes with it.
    int OpenKeys() const { return static_cast<int>(keyOwners_.size()); }
    int OpenHashes() const { return hashes_; }
    int OpenRegistryKeys() const { return registryKeys_; }
    int OpenHeapBlocks() const { return heapBlocks_; }
    int OpenStores() const { return stores_; }
    // References to certificate contexts.
    int OpenCertificates() const { return certificates_; }
    // Releases that the platform refused: of a handle that is none any more.
    int RefusedReleases() const { return refusedReleases_; }

    // Releases the contexts that are open, for a test of a leak that is meant.
    void ReleaseContexts();

    // For the stand-ins themselves. While paused, calls are not told nor made to fail: those that
    // the platform makes of itself.
    void Pause(bool isPaused) { isPaused_ = isPaused; }
    bool Fails(const char* name, CallDetail detail = {});
    DWORD Error() const { return error_; }
    void Opened(int PlatformCalls::*counter, bool done) { this->*counter += done ? 1 : 0; }
    void Closed(int PlatformCalls::*counter, bool done) { this->*counter -= done ? 1 : 0; }
    void Released(bool done);

    std::multiset<HCRYPTPROV> contexts_;
    std::map<HCRYPTKEY, HCRYPTPROV> keyOwners_;
    int hashes_ = 0;
    int registryKeys_ = 0;
    int heapBlocks_ = 0;
    int stores_ = 0;
    int certificates_ = 0;
    std::vector<Acquisition> acquisitions_;
    std::vector<KeyImport> keyImports_;
    std::vector<DWORD> keyParams_;
    std::vector<ProviderParam> providerParams_;
    DWORD failedKeyParam_ = 0;
    int failKeyParamIn_ = 0;
    std::function<PCCRYPT_OID_INFO(const char*)> oidLookup_;
    std::function<PCCRYPT_OID_INFO(ALG_ID, DWORD)> algorithmLookup_;
    std::function<void(std::span<BYTE>)> random_;
    std::function<int()> runtimeRandom_;
    std::vector<std::string> cipherOids_;
    std::vector<BYTE> typeData_;
    bool replaceTypeData_ = false;
    std::vector<DWORD> hashLengths_;
    std::optional<DWORD> decryptedSize_;
    std::optional<DWORD> releaseError_;
    std::optional<std::string> uniqueName_;
    std::optional<std::vector<BYTE>> property_;
    int refusedReleases_ = 0;
    DWORD refusedKeyParam_ = 0;
    DWORD refusalError_ = 0;

  private:
    std::vector<std::string> log_;
    std::vector<CallDetail> details_;
    int failAt_ = 0;
    bool stay_ = false;
    bool failed_ = false;
    bool isPaused_ = false;
    std::string failName_;
    std::string throwName_;
    int failNamedAt_ = 0;
    DWORD error_ = 0;
};

}  // namespace test_support
