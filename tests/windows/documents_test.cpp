#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include "windows/keys_and_documents.h"

namespace windows_tests {
namespace {

using mvlpfx::OwnedStore;

struct Family {
    const char* name;
    ALG_ID algorithm;
};
constexpr Family kFamilies[] = {
    {"gost2001", 0x2E23}, {"gost2012-256", 0x2E49}, {"gost2012-512", 0x2E3D}};

Bytes ReadData(const std::string& name) {
    std::ifstream file(MVLPFX_TEST_DATA + ("/" + name), std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(WindowsDocuments, OfEachFamilyAreCreatedVerifiedAndRestored) {
    for (const Family& family : kFamilies) {
        const KeyContainer container(family.name, family.algorithm);
        const OwnedStore store = MemoryStore({container.Certificate()});
        const Bytes document = Create(store.Get(), L"secret");
        ASSERT_FALSE(document.empty()) << family.name << ' ' << std::hex << GetLastError();
        const PfxBlob pfx = View(document);

        EXPECT_TRUE(UzVerifyPswPFX(&pfx, L"secret")) << std::hex << GetLastError();
        EXPECT_FALSE(UzVerifyPswPFX(&pfx, L"Secret"));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD));

        const OwnedStore restored(UzRestorePFX(&pfx, L"secret", 0));
        ASSERT_TRUE(restored) << family.name << ' ' << std::hex << GetLastError();
        const auto certificates = All(restored.Get());
        ASSERT_EQ(certificates.size(), 1U);
        EXPECT_EQ(Encoded(certificates[0].Get()), Encoded(container.Certificate()));
        const Bytes publicKey = PublicKeyBehind(certificates[0].Get());
        EXPECT_FALSE(publicKey.empty());
        DeleteKeyOf(certificates[0].Get());
    }
}

TEST(WindowsDocuments, RestoreWithAWrongPasswordIsRefused) {
    const KeyContainer container("wrong password", 0x2E49);
    const OwnedStore store = MemoryStore({container.Certificate()});
    const Bytes document = Create(store.Get(), L"secret");
    const PfxBlob pfx = View(document);
    EXPECT_EQ(UzRestorePFX(&pfx, L"secret ", 0), nullptr);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(NTE_KEYSET_ENTRY_BAD));
}

TEST(WindowsDocuments, CreateKeepsTheProtocolOfTwoCalls) {
    const KeyContainer container("two calls", 0x2E49);
    const OwnedStore store = MemoryStore({container.Certificate()});
    PfxBlob pfx{12345, nullptr};
    ASSERT_TRUE(UzCreatePFX(store.Get(), &pfx, L"secret", 0));
    EXPECT_EQ(GetLastError(), 0U);
    const DWORD size = pfx.cbData;
    Bytes room(size + 1, 0xAA);
    pfx = {size - 1, room.data()};
    EXPECT_FALSE(UzCreatePFX(store.Get(), &pfx, L"secret", 0));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MORE_DATA});
    EXPECT_EQ(pfx.cbData, size);
    EXPECT_EQ(room, Bytes(size + 1, 0xAA));
    EXPECT_TRUE(UzCreatePFX(store.Get(), &pfx, L"secret", 0));
    EXPECT_EQ(pfx.cbData, size);
    EXPECT_EQ(room.back(), 0xAA);
}

TEST(WindowsDocuments, KeyThatMustStayIsNotExported) {
    const KeyContainer container("not exportable", 0x2E49, 0);
    const OwnedStore store = MemoryStore({container.Certificate()});
    PfxBlob pfx{0, nullptr};
    EXPECT_FALSE(UzCreatePFX(store.Get(), &pfx, L"secret", 0));
    EXPECT_EQ(GetLastError(), 0x80095000U);
}

TEST(WindowsDocuments, RestoredKeyLeavesItsContainerOnlyWhereItWasAskedFor) {
    const KeyContainer container("flags", 0x2E49);
    const OwnedStore store = MemoryStore({container.Certificate()});
    const Bytes document = Create(store.Get(), L"secret");
    const PfxBlob pfx = View(document);
    for (const DWORD flags : {DWORD{0}, DWORD{CRYPT_EXPORTABLE}}) {
        const OwnedStore restored(UzRestorePFX(&pfx, L"secret", flags));
        ASSERT_TRUE(restored);
        EXPECT_EQ(Create(restored.Get(), L"again").empty(), flags == 0);
        DeleteKeyOf(All(restored.Get())[0].Get());
    }
}

TEST(WindowsDocuments, ImportControlFlagMakesThePasswordThePin) {
    const KeyContainer container("pin", 0x2E49);
    const OwnedStore store = MemoryStore({container.Certificate()});
    const Bytes document = Create(store.Get(), L"secret");
    const PfxBlob pfx = View(document);
    UzSetImportPfxControlFlags(1);
    const OwnedStore restored(UzRestorePFX(&pfx, L"secret", CRYPT_EXPORTABLE));
    UzSetImportPfxControlFlags(0);
    ASSERT_TRUE(restored) << std::hex << GetLastError();
    const auto certificates = All(restored.Get());
    const std::vector<BYTE> record = mvlpfx::KeyProvInfo(certificates[0].Get());
    const auto* const info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(record.data());
    mvlpfx::OwnedContext context;
    ASSERT_TRUE(mvlpfx::AcquireContext(mvlpfx::ToNarrow(info->pwszContainerName).c_str(), 0, false,
                                       &context));
    const auto present = [&context](const char* pin) {
        return CryptSetProvParam(context.Get(), PP_SIGNATURE_PIN,
                                 reinterpret_cast<const BYTE*>(pin), 0);
    };
    EXPECT_FALSE(present("other"));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(SCARD_W_WRONG_CHV));
    EXPECT_TRUE(present("secret"));
    DeleteKeyOf(certificates[0].Get());
}

TEST(WindowsDocuments, OfOtherSoftwareAreRestored) {
    for (const std::string name : {"openssl-2001", "openssl-one-iteration"}) {
        const Bytes document = ReadData("peers/" + name + ".pfx");
        const Bytes line = ReadData("peers/" + name + ".password");
        const std::string password(line.begin(), line.end() - 1);
        const PfxBlob pfx = View(document);
        const OwnedStore restored(UzRestorePFX(&pfx, mvlpfx::ToWide(password).c_str(), 0));
        ASSERT_TRUE(restored) << name << ' ' << std::hex << GetLastError();
        for (const auto& certificate : All(restored.Get())) {
            EXPECT_FALSE(PublicKeyBehind(certificate.Get()).empty()) << name;
            DeleteKeyOf(certificate.Get());
        }
    }
}

// Wine's CryptFindOIDInfo leaves the last error at 0 where it finds nothing; Windows is not bound
// to set it either. Then the module's answer is 1, since an empty error is read as no failure.
TEST(WindowsDocuments, DigestThatTheSystemDoesNotKnowIsWhateverTheLookupLeaves) {
    constexpr char kUnknown[] = "1.2.3.4.5.6.7.8.9";
    SetLastError(0);
    ASSERT_EQ(CryptFindOIDInfo(CRYPT_OID_INFO_OID_KEY, const_cast<char*>(kUnknown),
                               CRYPT_HASH_ALG_OID_GROUP_ID),
              nullptr);
    const DWORD left = GetLastError();

    const KeyContainer container("digest", 0x2E23);
    const OwnedStore store = MemoryStore({container.Certificate()});
    Bytes document = Create(store.Get(), L"secret");
    // The last identifier of GOST R 34.11-94, 1.2.643.2.2.9, is the integrity value's.
    const Bytes oid = {0x06, 0x06, 0x2A, 0x85, 0x03, 0x02, 0x02, 0x09};
    const auto at = std::find_end(document.begin(), document.end(), oid.begin(), oid.end());
    ASSERT_NE(at, document.end());
    at[7] = 0x7F;
    const PfxBlob pfx = View(document);
    EXPECT_EQ(UzVerifyPswPFX(&pfx, L"secret"), left == 0 ? TRUE : FALSE);
    EXPECT_EQ(GetLastError(), left);
}

}  // namespace
}  // namespace windows_tests
