// A profile of the test's own, the stand-ins reset, and counts of what a restore leaves.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "derlist/der_parser.h"
#include "derlist/der_spans.h"
#include "foundation/blob.h"
#include "pfximport/import_control_flags.h"
#include "support/container_home.h"
#include "support/platform_calls.h"
#include "support/safe_bags.h"

namespace test_support {

inline constexpr DWORD kInjected = 0xE0001234;
// A word that no operation is to tell.
inline constexpr DWORD kLeftByRelease = 0xE0009999;
inline constexpr DWORD kBadData = static_cast<DWORD>(NTE_BAD_DATA);
inline constexpr DWORD kBadAlgorithm = static_cast<DWORD>(NTE_BAD_ALGID);
inline constexpr DWORD kCorrupt = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);

inline pkisdk::Blob ToBlob(const Bytes& bytes) {
    return {bytes.data(), bytes.size()};
}

inline pkisdk::DerList ToList(const Bytes& bytes) {
    pkisdk::DerList list;
    pkisdk::ParseDerList(bytes.data(), static_cast<std::int32_t>(bytes.size()), &list);
    return list;
}

inline pkisdk::DerSpans ToSpans(const Bytes& bytes) {
    pkisdk::DerSpans spans;
    spans.Parse(ToBlob(bytes));
    return spans;
}

// The certificates of a store, in its order.
inline std::vector<Bytes> CertificatesOf(HCERTSTORE store) {
    std::vector<Bytes> all;
    PCCERT_CONTEXT at = nullptr;
    while ((at = CertEnumCertificatesInStore(store, at)) != nullptr) {
        all.emplace_back(at->pbCertEncoded, at->pbCertEncoded + at->cbCertEncoded);
    }
    return all;
}

// Where a certificate's key lives.
struct KeyPlace {
    std::wstring container;
    std::wstring provider;
    DWORD type;
    DWORD flags;
    DWORD parameters;
    DWORD keySpec;
};

// Nothing where the certificate is tied to no key.
inline std::optional<KeyPlace> KeyPlaceOf(PCCERT_CONTEXT certificate) {
    DWORD size = 0;
    if (!CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, nullptr,
                                           &size)) {
        return std::nullopt;
    }
    std::vector<CRYPT_KEY_PROV_INFO> record(size / sizeof(CRYPT_KEY_PROV_INFO) + 1);
    EXPECT_TRUE(CertGetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID,
                                                  record.data(), &size));
    const CRYPT_KEY_PROV_INFO& info = record.front();
    EXPECT_EQ(info.rgProvParam, nullptr);
    return KeyPlace{info.pwszContainerName, info.pwszProvName, info.dwProvType,
                    info.dwFlags,           info.cProvParam,   info.dwKeySpec};
}

// The same for each certificate of a store, in its order.
inline std::vector<std::optional<KeyPlace>> KeyPlacesOf(HCERTSTORE store) {
    std::vector<std::optional<KeyPlace>> places;
    PCCERT_CONTEXT at = nullptr;
    while ((at = CertEnumCertificatesInStore(store, at)) != nullptr) {
        places.push_back(KeyPlaceOf(at));
    }
    return places;
}

inline Bytes Sha1Of(const Bytes& bytes) {
    Bytes hash(20);
    auto size = static_cast<DWORD>(hash.size());
    EXPECT_TRUE(CryptHashCertificate(0, CALG_SHA1, 0, bytes.data(),
                                     static_cast<DWORD>(bytes.size()), hash.data(), &size));
    return hash;
}

class ImportTest : public ::testing::Test {
  protected:
    void SetUp() override {
        Calls().Reset();
        Calls().LeaveOnRelease(kLeftByRelease);
    }
    void TearDown() override {
        ExpectNothingOpen();
        Calls().Reset();
        pkisdk::ImportControlFlags = 0;
    }

    static PlatformCalls& Calls() { return PlatformCalls::Get(); }
    static void ExpectNothingOpen() {
        EXPECT_EQ(Calls().OpenContexts(), 0);
        EXPECT_EQ(Calls().OpenKeys(), 0);
        EXPECT_EQ(Calls().OpenHashes(), 0);
        EXPECT_EQ(Calls().OpenRegistryKeys(), 0);
        EXPECT_EQ(Calls().OpenHeapBlocks(), 0);
        EXPECT_EQ(Calls().OpenStores(), 0);
        EXPECT_EQ(Calls().OpenCertificates(), 0);
        EXPECT_EQ(Calls().RefusedReleases(), 0);
    }

    std::size_t UserContainers() const { return home_.FilesOfUser().size(); }
    std::size_t MachineContainers() const {
        std::size_t count = 0;
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(home_.MachineKeys(), error)) {
            count += entry.path().filename() != ".lock" ? 1 : 0;
        }
        return count;
    }

    ContainerHome home_;
};

}  // namespace test_support
