// Keys that leave and come in, through the provider's entry points.
#include "provider/key_blob.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/hex.h"
#include "support/key_context.h"
#include "support/key_vectors.h"
#include "support/last_error.h"

namespace {

using test_support::ContainerHome;
using test_support::KeyContext;
using test_support::KeyVector;
using test_support::ToHex;
using Bytes = std::vector<BYTE>;

class KeyBlob : public testing::Test {
  protected:
    BOOL Import(const Bytes& blob, HCRYPTKEY wrapping, DWORD flags = 0) const {
        HCRYPTKEY key = 0;
        return CPImportKey(context_.Get(), blob.data(), static_cast<DWORD>(blob.size()), wrapping,
                           flags, &key);
    }
    BOOL Export(HCRYPTKEY key, HCRYPTKEY wrapping, DWORD blobType, DWORD flags) const {
        DWORD size = 0;
        return CPExportKey(context_.Get(), key, wrapping, blobType, flags, nullptr, &size);
    }
    void ExpectNoExchangeKey() const {
        HCRYPTKEY key = 0;
        EXPECT_FAILS_WITH(NTE_NO_KEY, CPGetUserKey(context_.Get(), AT_KEYEXCHANGE, &key));
    }

    ContainerHome home_;
    KeyContext context_{"mine", CRYPT_NEWKEYSET};
    const HCRYPTKEY session_ = context_.SessionKey();
};

TEST_F(KeyBlob, BeginsWithItsHeader) {
    const HCRYPTKEY key = context_.Generate(0x2E3D, CRYPT_EXPORTABLE);
    const Bytes wrapped = context_.ExportPrivate(key, session_);
    EXPECT_EQ(ToHex(std::span(wrapped).first(8)), "071100003d2e0000");
    const Bytes open = context_.ExportPublic(key);
    EXPECT_EQ(ToHex(std::span(open).first(8)), "061100003d2e0000");
}

TEST_F(KeyBlob, HoldsThePeersKeysAsThePeerWritesThem) {
    for (const KeyVector& vector : test_support::ReadKeyVectors()) {
        SCOPED_TRACE(vector.algorithm + " " + vector.curve);
        const HCRYPTKEY key = context_.Import(context_.WrapKey(vector.privateKeyInfo, session_),
                                              session_, CRYPT_EXPORTABLE);
        const bool isOurOwnForm = vector.algorithm == "gost2012_512" && vector.curve != "C";
        if (!isOurOwnForm) {
            EXPECT_EQ(ToHex(context_.UnwrapKey(context_.ExportPrivate(key, session_), session_)),
                      ToHex(vector.privateKeyInfo));
            const Bytes publicBlob = context_.ExportPublic(key);
            EXPECT_EQ(ToHex(std::span(publicBlob).subspan(8)), ToHex(vector.publicKeyInfo));
        }
        EXPECT_EQ(context_.ExportPublic(context_.UserKey(AT_KEYEXCHANGE)),
                  context_.ExportPublic(key));
        ASSERT_TRUE(CPDestroyKey(context_.Get(), key));
    }
}

TEST_F(KeyBlob, GoesFromContainerToContainer) {
    for (const ALG_ID algorithm : {0x2E23U, 0xAA24U, 0x2E49U, 0x2E3DU}) {
        const HCRYPTKEY key = context_.Generate(algorithm, CRYPT_EXPORTABLE);
        const Bytes blob = context_.ExportPrivate(key, session_);
        const std::string name = "other" + std::to_string(algorithm);
        const KeyContext other(name.c_str(), CRYPT_NEWKEYSET);
        const HCRYPTKEY arrived = other.Import(blob, other.SessionKey());
        EXPECT_EQ(other.Number(arrived, KP_ALGID), algorithm);
        EXPECT_EQ(other.ExportPublic(arrived), context_.ExportPublic(key));
        const HCRYPTKEY found = other.UserKey(AT_KEYEXCHANGE);
        const DWORD digest = algorithm == 0x2E3D ? 0x8022 : algorithm == 0x2E49 ? 0x8021 : 0x801E;
        const HCRYPTHASH hash = other.HashOf(digest, "message");
        EXPECT_TRUE(other.Verify(hash, other.Sign(hash, AT_KEYEXCHANGE), found));
    }
}

TEST_F(KeyBlob, IsExportableAgainOnlyWhenAsked) {
    const Bytes blob =
        context_.ExportPrivate(context_.Generate(AT_SIGNATURE, CRYPT_EXPORTABLE), session_);
    const HCRYPTKEY sealed = context_.Import(blob, session_);
    EXPECT_EQ(context_.Number(sealed, KP_PERMISSIONS) & CRYPT_EXPORT, 0U);
    EXPECT_FAILS_WITH(NTE_BAD_KEY_STATE, Export(sealed, session_, PRIVATEKEYBLOB, 0x1000));
    const HCRYPTKEY open = context_.Import(blob, session_, CRYPT_EXPORTABLE);
    EXPECT_EQ(context_.ExportPrivate(open, session_), blob);
}

TEST_F(KeyBlob, IsEncryptedFromTheVectorWhateverIsUnderWay) {
    const HCRYPTKEY key = context_.Generate(AT_SIGNATURE, CRYPT_EXPORTABLE);
    const Bytes blob = context_.ExportPrivate(key, session_);
    Bytes whole(50, 7);
    DWORD size = 50;
    ASSERT_TRUE(CPEncrypt(context_.Get(), session_, 0, TRUE, 0, whole.data(), &size, size));
    Bytes pieces(50, 7);
    size = 20;
    ASSERT_TRUE(CPEncrypt(context_.Get(), session_, 0, FALSE, 0, pieces.data(), &size, size));
    EXPECT_EQ(context_.ExportPrivate(key, session_), blob);
    context_.Import(blob, session_);
    size = 30;
    ASSERT_TRUE(CPEncrypt(context_.Get(), session_, 0, TRUE, 0, pieces.data() + 20, &size, size));
    EXPECT_EQ(pieces, whole);
    const Bytes vector = {1, 2, 3, 4, 5, 6, 7, 8};
    ASSERT_TRUE(CPSetKeyParam(context_.Get(), session_, KP_IV, vector.data(), 0));
    EXPECT_NE(context_.ExportPrivate(key, session_), blob);
}

TEST_F(KeyBlob, ThatIsNoneLeavesNothingBehind) {
    const Bytes info = test_support::ReadKeyVectors().at(7).privateKeyInfo;
    const Bytes good = context_.WrapKey(info, session_);
    EXPECT_FAILS_WITH(NTE_BAD_DATA, Import(good, context_.SessionKey(0x43)));
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{7}, std::size_t{8},
                                   std::size_t{9}, good.size() - 1}) {
        const Bytes cut(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size));
        // An empty vector has no data to point to.
        EXPECT_FAILS_WITH(size == 0 ? ERROR_INVALID_PARAMETER : NTE_BAD_DATA, Import(cut, session_))
            << size;
    }
    Bytes longer = good;
    longer.push_back(0);
    EXPECT_FAILS_WITH(NTE_BAD_DATA, Import(longer, session_));
    longer.resize(70000);
    EXPECT_FAILS_WITH(NTE_BAD_DATA, Import(longer, session_));
    Bytes zeroKey = info;
    std::fill(zeroKey.end() - 32, zeroKey.end(), BYTE{0});
    EXPECT_FAILS_WITH(NTE_BAD_DATA, Import(context_.WrapKey(zeroKey, session_), session_));
    for (std::size_t at = 0; at < 4; ++at) {
        Bytes otherHeader = good;
        otherHeader[at] ^= 0x20;
        EXPECT_FAILS_WITH(at == 0   ? NTE_BAD_TYPE
                          : at == 1 ? NTE_BAD_VER
                                    : NTE_BAD_DATA,
                          Import(otherHeader, session_))
            << at;
    }
    ExpectNoExchangeKey();
    Bytes otherAlgorithm = good;
    otherAlgorithm[4] = 0x23;
    EXPECT_TRUE(Import(otherAlgorithm, session_));
}

TEST_F(KeyBlob, OfAPublicKeyVerifies) {
    context_.Generate(AT_SIGNATURE);
    const Bytes blob = context_.ExportPublic(context_.UserKey(AT_SIGNATURE));
    const Bytes signature = context_.Sign(context_.HashOf(0x8021, "message"), AT_SIGNATURE);
    const KeyContext verifier(nullptr, CRYPT_VERIFYCONTEXT);
    const HCRYPTKEY key = verifier.Import(blob, 0);
    EXPECT_EQ(verifier.Number(key, KP_ALGID), 0x2E49U);
    EXPECT_TRUE(verifier.Verify(verifier.HashOf(0x8021, "message"), signature, key));
    EXPECT_FAILS_WITH(NTE_BAD_SIGNATURE,
                      verifier.Verify(verifier.HashOf(0x8021, "massage"), signature, key));
    EXPECT_EQ(verifier.ExportPublic(key), blob);
    // It has nothing that is private, nor a place for anything.
    const HCRYPTKEY session = verifier.SessionKey();
    DWORD size = 0;
    EXPECT_FAILS_WITH(NTE_BAD_KEY_STATE, CPExportKey(verifier.Get(), key, session, PRIVATEKEYBLOB,
                                                     0x1000, nullptr, &size));
    EXPECT_FAILS_WITH(NTE_BAD_TYPE,
                      CPGetKeyParam(verifier.Get(), key, KP_CERTIFICATE, nullptr, &size, 0));
    EXPECT_FAILS_WITH(NTE_BAD_TYPE,
                      CPSetKeyParam(verifier.Get(), key, KP_CERTIFICATE, blob.data(), 0));
    EXPECT_EQ(verifier.Number(key, KP_PERMISSIONS), DWORD{CRYPT_READ | CRYPT_EXPORT});
    Bytes offCurve = blob;
    offCurve.back() ^= 1;
    HCRYPTKEY none = 0;
    EXPECT_FAILS_WITH(NTE_BAD_DATA, CPImportKey(verifier.Get(), offCurve.data(),
                                                static_cast<DWORD>(offCurve.size()), 0, 0, &none));
}

TEST_F(KeyBlob, NeedsThePermissionsOfTheSessionKey) {
    const HCRYPTKEY key = context_.Generate(AT_SIGNATURE, CRYPT_EXPORTABLE);
    const Bytes blob = context_.ExportPrivate(key, session_);
    const DWORD none = 0;
    ASSERT_TRUE(CPSetKeyParam(context_.Get(), session_, KP_PERMISSIONS,
                              reinterpret_cast<const BYTE*>(&none), 0));
    Bytes room(blob.size());
    auto size = static_cast<DWORD>(room.size());
    EXPECT_FAILS_WITH(NTE_PERM, CPExportKey(context_.Get(), key, session_, PRIVATEKEYBLOB, 0x1000,
                                            room.data(), &size));
    EXPECT_EQ(room, Bytes(blob.size()));
    EXPECT_FAILS_WITH(NTE_PERM, Import(blob, session_));
    ExpectNoExchangeKey();
}

TEST_F(KeyBlob, GivesItsErrorWords) {
    const HCRYPTKEY key = context_.Generate(AT_SIGNATURE, CRYPT_EXPORTABLE);
    const Bytes blob = context_.ExportPrivate(key, session_);
    for (const DWORD flags : {0U, 1U, 0x1001U, 0x40U}) {
        EXPECT_FAILS_WITH(NTE_BAD_FLAGS, Export(key, session_, PRIVATEKEYBLOB, flags));
    }
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, Export(key, 0, PUBLICKEYBLOB, 1));
    for (const DWORD type : {0U, 1U, 5U, 8U, 0xFFFFFFFFU}) {
        EXPECT_FAILS_WITH(NTE_BAD_TYPE, Export(key, session_, type, 0x1000));
    }
    // In the clear a private key never leaves.
    for (const HCRYPTKEY bad : {HCRYPTKEY{0}, key, ~HCRYPTKEY{0}, context_.Get()}) {
        EXPECT_FAILS_WITH(NTE_BAD_KEY, Export(key, bad, PRIVATEKEYBLOB, 0x1000));
        EXPECT_FAILS_WITH(NTE_BAD_KEY, Import(blob, bad));
    }
    EXPECT_FAILS_WITH(NTE_BAD_KEY, Export(key, session_, PUBLICKEYBLOB, 0));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, Import(context_.ExportPublic(key), session_));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, Export(session_, session_, PRIVATEKEYBLOB, 0x1000));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, Export(0, session_, PRIVATEKEYBLOB, 0x1000));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, Import(blob, session_, 0x40));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, Import(context_.ExportPublic(key), 0, CRYPT_EXPORTABLE));
    EXPECT_FAILS_WITH(
        ERROR_INVALID_PARAMETER,
        CPExportKey(context_.Get(), key, session_, PRIVATEKEYBLOB, 0x1000, nullptr, nullptr));
    const auto size = static_cast<DWORD>(blob.size());
    HCRYPTKEY out = 0;
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CPImportKey(context_.Get(), nullptr, size, session_, 0, &out));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CPImportKey(context_.Get(), blob.data(), size, session_, 0, nullptr));
    EXPECT_FAILS_WITH(NTE_BAD_UID, CPImportKey(0, blob.data(), size, session_, 0, &out));
    EXPECT_FAILS_WITH(NTE_BAD_UID,
                      CPExportKey(0, key, session_, PRIVATEKEYBLOB, 0x1000, nullptr, nullptr));
    const KeyContext without(nullptr, CRYPT_VERIFYCONTEXT);
    EXPECT_FAILS_WITH(NTE_PERM,
                      CPImportKey(without.Get(), blob.data(), size, without.SessionKey(), 0, &out));
    Bytes room(blob.size() - 1);
    DWORD length = size - 1;
    EXPECT_FAILS_WITH(ERROR_MORE_DATA, CPExportKey(context_.Get(), key, session_, PRIVATEKEYBLOB,
                                                   0x1000, room.data(), &length));
    EXPECT_EQ(length, size);
    length = 20;
    EXPECT_FAILS_WITH(ERROR_MORE_DATA,
                      CPExportKey(context_.Get(), key, 0, PUBLICKEYBLOB, 0, room.data(), &length));
    EXPECT_EQ(length, context_.ExportPublic(key).size());
    EXPECT_EQ(out, 0U);
    ExpectNoExchangeKey();
}

}  // namespace
