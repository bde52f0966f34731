// The document that restores with faults are tried on, and what they may leave.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mvlpfx/mvlpfx.h"
#include "support/certificates.h"
#include "support/containers_in_csp.h"
#include "support/safe_bags.h"

namespace test_support {

inline constexpr std::size_t kFaultKeys = 2;
inline constexpr wchar_t kFaultPassword[] = L"Password1";

// Two leaves with keys under one issuer and one root. Every derivation costs one iteration.
inline Bytes FaultDocument() {
    Encryption cheap;
    cheap.iterations = 1;
    std::vector<Bytes> keys;
    std::vector<Bytes> certificates;
    for (std::uint8_t number = 1; number <= kFaultKeys; ++number) {
        const Bytes id = LocalKeyId({number, 0, 0, 0});
        KeyBag key;
        key.encryption = cheap;
        key.privateKey = PrivateKey(number);
        key.attributes = {id};
        if (number == 1) {
            key.attributes.push_back(FriendlyName(u"Имя"));
        }
        keys.push_back(key.Build());
        certificates.push_back(CertificateBag{MakeCertificate("leaf", "ca", number), {id}}.Build());
    }
    for (const Bytes& above :
         {MakeCertificate("ca", "root", 3), MakeCertificate("root", "root", 4)}) {
        certificates.push_back(CertificateBag{above, {}}.Build());
    }
    PfxBuilder builder;
    builder.iterations = 1;
    builder.iterationOctets = {1};
    builder.authSafe =
        Element(0x30, Join({EncryptedContentInfo(certificates, cheap), PlainContentInfo(keys)}));
    return builder.Build();
}

// The document, in the form that the exported functions take.
class FaultPfx {
  public:
    const PfxBlob* Get() const { return &pfx_; }

  private:
    Bytes document_ = FaultDocument();
    PfxBlob pfx_{static_cast<DWORD>(document_.size()), document_.data()};
};

// Every certificate of a system store is whole.
inline void ExpectWholeEntries() {
    for (const wchar_t* const name : {L"MY", L"CA", L"ROOT"}) {
        const OpenStore store(name);
        ASSERT_NE(store.Get(), nullptr);
        PCCERT_CONTEXT at = nullptr;
        while ((at = CertEnumCertificatesInStore(store.Get(), at)) != nullptr) {
        }
        // A damaged entry would have been passed over with another word.
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_NOT_FOUND));
    }
}

// Where the whole chain is in the document, none but its root is trusted.
inline void ExpectNoOtherRoot() {
    for (const CertificateBytes& trusted : OpenStore(L"ROOT").All()) {
        EXPECT_EQ(trusted, MakeCertificate("root", "root", 4));
    }
}

// What a restore that failed may leave: keys of earlier bags, and one container without its key.
inline void ExpectRemainsOpen() {
    const ContainerCount count = CountContainers();
    EXPECT_EQ(count.broken, 0U);
    EXPECT_LE(count.empty, 1U);
    EXPECT_LE(count.withKey + count.empty, kFaultKeys);
    ExpectWholeEntries();
}

}  // namespace test_support
