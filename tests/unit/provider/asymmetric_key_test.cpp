// Keys in containers, through the provider's entry points.
#include "provider/asymmetric_key.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "platform/csp_parameters.h"
#include "provider/algorithms.h"
#include "support/key_context.h"
#include "support/last_error.h"

namespace {

using provider::DecodePublicKeyInfo;
using provider::KeyType;
using test_support::ContainerHome;
using test_support::KeyContext;
using test_support::kGost28147;
using Bytes = std::vector<BYTE>;

constexpr ALG_ID kAlgorithms[] = {0x2E23, 0xAA24, 0x2E49, 0x2E3D};
const Bytes kCertificate = {0x30, 0x05, 0x04, 0x03, 'a', 'b', 'c'};

class UserKey : public testing::Test {
  protected:
    static BOOL Set(const KeyContext& context, HCRYPTKEY key, DWORD parameter, const void* data) {
        return CPSetKeyParam(context.Get(), key, parameter, static_cast<const BYTE*>(data), 0);
    }
    static BOOL GetUserKey(const KeyContext& context, DWORD keySpec) {
        HCRYPTKEY key = 0;
        return CPGetUserKey(context.Get(), keySpec, &key);
    }
    static std::string CurveOf(const KeyContext& context, HCRYPTKEY key) {
        const Bytes blob = context.ExportPublic(key);
        KeyType type;
        Bytes publicKey;
        EXPECT_EQ(DecodePublicKeyInfo(std::span(blob).subspan(8), &type, &publicKey), S_OK);
        return type.curve == nullptr ? "" : type.curve->oid.Text();
    }
    static BOOL GetCurve(const KeyContext& context, std::string* text) {
        DWORD size = 0;
        if (!CPGetProvParam(context.Get(), PP_SIGNATURE_CURVE, nullptr, &size, 0)) {
            return FALSE;
        }
        text->resize(size);
        return CPGetProvParam(context.Get(), PP_SIGNATURE_CURVE,
                              reinterpret_cast<BYTE*>(text->data()), &size, 0);
    }

    ContainerHome home_;
    KeyContext context_{"mine", CRYPT_NEWKEYSET};
};

TEST_F(UserKey, GoesIntoTheSlotThatItIsMadeFor) {
    EXPECT_FAILS_WITH(NTE_NO_KEY, GetUserKey(context_, AT_KEYEXCHANGE));
    EXPECT_FAILS_WITH(NTE_NO_KEY, GetUserKey(context_, AT_SIGNATURE));
    const Bytes exchange = context_.ExportPublic(context_.Generate(AT_KEYEXCHANGE));
    EXPECT_FAILS_WITH(NTE_NO_KEY, GetUserKey(context_, AT_SIGNATURE));
    const Bytes signature = context_.ExportPublic(context_.Generate(AT_SIGNATURE));
    EXPECT_NE(exchange, signature);
    const KeyContext again("mine");
    EXPECT_EQ(again.ExportPublic(again.UserKey(AT_KEYEXCHANGE)), exchange);
    EXPECT_EQ(again.ExportPublic(again.UserKey(AT_SIGNATURE)), signature);
}

TEST_F(UserKey, IsMadeByAlgorithm) {
    for (const ALG_ID algorithm : kAlgorithms) {
        const HCRYPTKEY made = context_.Generate(algorithm);
        EXPECT_EQ(context_.Number(made, KP_ALGID), algorithm);
        EXPECT_EQ(context_.Number(made, KP_KEYLEN), algorithm == 0x2E3D ? 512U : 256U);
        const DWORD keySpec = algorithm == 0xAA24 ? AT_KEYEXCHANGE : AT_SIGNATURE;
        const HCRYPTKEY found = context_.UserKey(keySpec);
        EXPECT_EQ(context_.Number(found, KP_ALGID), algorithm);
        EXPECT_EQ(context_.ExportPublic(found), context_.ExportPublic(made));
    }
    EXPECT_EQ(context_.Number(context_.Generate(AT_KEYEXCHANGE), KP_ALGID), 0x2E49U);
}

TEST_F(UserKey, LiesOnTheCurveThatIsChosen) {
    std::string text;
    EXPECT_TRUE(GetCurve(context_, &text));
    EXPECT_EQ(text, std::string(1, '\0'));
    EXPECT_EQ(CurveOf(context_, context_.Generate(0x2E23)), "1.2.643.2.2.35.1");
    EXPECT_EQ(CurveOf(context_, context_.Generate(0x2E49)), "1.2.643.2.2.35.1");
    EXPECT_EQ(CurveOf(context_, context_.Generate(0x2E3D)), "1.2.643.7.1.2.1.2.1");
    for (const provider::GostCurve& curve : provider::GostCurves()) {
        context_.Set(PP_SIGNATURE_CURVE, curve.oid.Text());
        EXPECT_TRUE(GetCurve(context_, &text));
        EXPECT_EQ(text, curve.oid.Text() + std::string(1, '\0'));
        for (const ALG_ID algorithm : kAlgorithms) {
            HCRYPTKEY key = 0;
            if (provider::FindGostAlgorithm(algorithm)->Takes(curve)) {
                EXPECT_EQ(CurveOf(context_, context_.Generate(algorithm)), curve.oid.Text());
            } else {
                EXPECT_FAILS_WITH(NTE_BAD_ALGID, CPGenKey(context_.Get(), algorithm, 0, &key));
            }
        }
    }
    context_.Set(PP_SIGNATURE_CURVE, "");
    EXPECT_EQ(CurveOf(context_, context_.Generate(0x2E3D)), "1.2.643.7.1.2.1.2.1");
    for (const char* const none : {"1.2.643.2.2.35.4", "1.2.643.2.2.35", "x", "GOST2012-256-A"}) {
        EXPECT_FAILS_WITH(NTE_BAD_DATA, CPSetProvParam(context_.Get(), PP_SIGNATURE_CURVE,
                                                       reinterpret_cast<const BYTE*>(none), 0));
    }
    const KeyContext without(nullptr, CRYPT_VERIFYCONTEXT);
    EXPECT_FAILS_WITH(NTE_BAD_TYPE, GetCurve(without, &text));
    EXPECT_FAILS_WITH(NTE_BAD_TYPE, CPSetProvParam(without.Get(), PP_SIGNATURE_CURVE,
                                                   reinterpret_cast<const BYTE*>(""), 0));
}

TEST_F(UserKey, IsExportableOnlyWhenAsked) {
    const HCRYPTKEY sealed = context_.Generate(AT_KEYEXCHANGE);
    EXPECT_EQ(context_.Number(sealed, KP_PERMISSIONS), DWORD{CRYPT_READ | CRYPT_WRITE});
    const HCRYPTKEY open = context_.Generate(AT_SIGNATURE, CRYPT_EXPORTABLE);
    EXPECT_EQ(context_.Number(open, KP_PERMISSIONS),
              DWORD{CRYPT_READ | CRYPT_WRITE | CRYPT_EXPORT});
}

TEST_F(UserKey, GivesPermissionsUpForGood) {
    const HCRYPTKEY key = context_.Generate(AT_KEYEXCHANGE, CRYPT_EXPORTABLE);
    const HCRYPTKEY other = context_.UserKey(AT_KEYEXCHANGE);
    const DWORD fewer = CRYPT_READ | CRYPT_WRITE;
    ASSERT_TRUE(Set(context_, key, KP_PERMISSIONS, &fewer));
    EXPECT_EQ(context_.Number(other, KP_PERMISSIONS), fewer);
    const DWORD more = fewer | CRYPT_EXPORT;
    EXPECT_FAILS_WITH(NTE_PERM, Set(context_, key, KP_PERMISSIONS, &more));
    const KeyContext again("mine");
    EXPECT_EQ(again.Number(again.UserKey(AT_KEYEXCHANGE), KP_PERMISSIONS), fewer);
}

TEST_F(UserKey, KeepsItsCertificate) {
    const HCRYPTKEY key = context_.Generate(AT_KEYEXCHANGE);
    DWORD size = 0;
    EXPECT_FAILS_WITH(NTE_NOT_FOUND,
                      CPGetKeyParam(context_.Get(), key, KP_CERTIFICATE, nullptr, &size, 0));
    ASSERT_TRUE(Set(context_, key, KP_CERTIFICATE, kCertificate.data()));
    EXPECT_EQ(context_.Parameter(key, KP_CERTIFICATE), kCertificate);
    Bytes large(0x1234 + 4, 0x5A);
    large[0] = 0x30;
    large[1] = 0x82;
    large[2] = 0x12;
    large[3] = 0x34;
    ASSERT_TRUE(Set(context_, key, KP_CERTIFICATE, large.data()));
    const KeyContext again("mine");
    EXPECT_EQ(again.Parameter(again.UserKey(AT_KEYEXCHANGE), KP_CERTIFICATE), large);
    Bytes out(4);
    size = 4;
    EXPECT_FAILS_WITH(ERROR_MORE_DATA,
                      CPGetKeyParam(context_.Get(), key, KP_CERTIFICATE, out.data(), &size, 0));
    EXPECT_EQ(size, large.size());
    for (const Bytes& bad : {Bytes{0x31, 0x01, 0x00}, Bytes{0x30, 0x80, 0x00, 0x00},
                             Bytes{0x30, 0x84, 0x7F, 0xFF, 0xFF, 0xFF}, Bytes{0x30, 0x81, 0x7F},
                             Bytes{0x30, 0xFF, 0x01}}) {
        EXPECT_FAILS_WITH(NTE_BAD_DATA, Set(context_, key, KP_CERTIFICATE, bad.data()));
    }
    EXPECT_EQ(context_.Parameter(key, KP_CERTIFICATE), large);
}

TEST_F(UserKey, IsNoLongerFoundThroughAHandleWhenItIsReplaced) {
    const HCRYPTKEY old = context_.Generate(AT_KEYEXCHANGE, CRYPT_EXPORTABLE);
    const Bytes oldPublic = context_.ExportPublic(old);
    const HCRYPTKEY session = context_.SessionKey();
    context_.Generate(AT_KEYEXCHANGE, CRYPT_EXPORTABLE);
    DWORD size = 0;
    EXPECT_FAILS_WITH(NTE_NO_KEY, CPExportKey(context_.Get(), old, session, PRIVATEKEYBLOB, 0x1000,
                                              nullptr, &size));
    EXPECT_FAILS_WITH(NTE_NO_KEY,
                      CPGetKeyParam(context_.Get(), old, KP_PERMISSIONS, nullptr, &size, 0));
    EXPECT_FAILS_WITH(NTE_NO_KEY, Set(context_, old, KP_CERTIFICATE, kCertificate.data()));
    // The public key is the handle's own.
    EXPECT_EQ(context_.ExportPublic(old), oldPublic);
}

TEST_F(UserKey, NeedsThePinForItsPrivateValueAlone) {
    const HCRYPTKEY made = context_.Generate(AT_KEYEXCHANGE, CRYPT_EXPORTABLE);
    context_.Set(PP_SIGNATURE_PIN, "1234");
    const struct {
        DWORD flags;
        HRESULT word;
    } kContexts[] = {{0, SCARD_W_CARD_NOT_AUTHENTICATED}, {CRYPT_SILENT, NTE_SILENT_CONTEXT}};
    for (const auto& with : kContexts) {
        const KeyContext other("mine", with.flags);
        const HCRYPTKEY key = other.UserKey(AT_KEYEXCHANGE);
        const HCRYPTKEY session = other.SessionKey();
        const HCRYPTHASH hash = other.HashOf(0x8021, "message");
        EXPECT_EQ(other.ExportPublic(key), context_.ExportPublic(made));
        EXPECT_EQ(other.Number(key, KP_ALGID), 0x2E49U);
        Bytes room(500);
        DWORD size = 0;
        // Sizes are no secret.
        EXPECT_TRUE(CPExportKey(other.Get(), key, session, PRIVATEKEYBLOB, 0x1000, nullptr, &size));
        EXPECT_TRUE(CPSignHash(other.Get(), hash, AT_KEYEXCHANGE, nullptr, 0, nullptr, &size));
        size = 500;
        EXPECT_FAILS_WITH(with.word, CPExportKey(other.Get(), key, session, PRIVATEKEYBLOB, 0x1000,
                                                 room.data(), &size));
        EXPECT_FAILS_WITH(with.word, CPSignHash(other.Get(), hash, AT_KEYEXCHANGE, nullptr, 0,
                                                room.data(), &size));
        HCRYPTKEY another = 0;
        EXPECT_FAILS_WITH(with.word, CPGenKey(other.Get(), AT_SIGNATURE, 0, &another));
        EXPECT_FAILS_WITH(with.word, Set(other, key, KP_CERTIFICATE, kCertificate.data()));
        EXPECT_FAILS_WITH(SCARD_W_WRONG_CHV,
                          CPSetProvParam(other.Get(), PP_SIGNATURE_PIN,
                                         reinterpret_cast<const BYTE*>("1235"), 0));
        // What was refused for the PIN goes on with it: the hash has not been ended.
        other.Set(PP_SIGNATURE_PIN, "1234");
        EXPECT_TRUE(other.Verify(hash, other.Sign(hash, AT_KEYEXCHANGE), key));
        EXPECT_EQ(other.ExportPrivate(key, session).size(), 8U + 72U);
    }
}

TEST_F(UserKey, IsGoneWithItsContainer) {
    const HCRYPTKEY key = context_.Generate(AT_KEYEXCHANGE, CRYPT_EXPORTABLE);
    const HCRYPTHASH hash = context_.HashOf(0x8021, "message");
    VTableProvStruc caller{};
    HCRYPTPROV none = 0;
    ASSERT_TRUE(CPAcquireContext(&none, "mine", CRYPT_DELETEKEYSET, &caller));
    DWORD size = 0;
    EXPECT_FAILS_WITH(NTE_BAD_KEYSET,
                      CPGetKeyParam(context_.Get(), key, KP_PERMISSIONS, nullptr, &size, 0));
    EXPECT_FAILS_WITH(NTE_BAD_KEYSET,
                      CPSignHash(context_.Get(), hash, AT_KEYEXCHANGE, nullptr, 0, nullptr, &size));
    EXPECT_FAILS_WITH(NTE_BAD_KEYSET, GetUserKey(context_, AT_KEYEXCHANGE));
}

TEST_F(UserKey, GivesItsErrorWords) {
    const HCRYPTKEY key = context_.Generate(AT_KEYEXCHANGE);
    HCRYPTKEY out = 0;
    DWORD size = 0;
    std::array<BYTE, 8> data{};
    EXPECT_FAILS_WITH(NTE_BAD_KEY, GetUserKey(context_, 0));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, GetUserKey(context_, 3));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CPGetUserKey(context_.Get(), AT_KEYEXCHANGE, nullptr));
    EXPECT_FAILS_WITH(NTE_BAD_UID, CPGetUserKey(0, AT_KEYEXCHANGE, &out));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, CPGenKey(context_.Get(), AT_SIGNATURE, 0, nullptr));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS, CPGenKey(context_.Get(), AT_SIGNATURE, 0x02000000, &out));
    EXPECT_FAILS_WITH(NTE_BAD_ALGID, CPGenKey(context_.Get(), 0x2400, 0, &out));
    EXPECT_FAILS_WITH(NTE_NO_KEY, GetUserKey(context_, AT_SIGNATURE));
    EXPECT_FAILS_WITH(NTE_BAD_TYPE,
                      CPGetKeyParam(context_.Get(), key, KP_IV, data.data(), &size, 0));
    EXPECT_FAILS_WITH(NTE_BAD_FLAGS,
                      CPGetKeyParam(context_.Get(), key, KP_ALGID, nullptr, &size, 1));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CPGetKeyParam(context_.Get(), key, KP_ALGID, nullptr, nullptr, 0));
    EXPECT_FAILS_WITH(NTE_BAD_TYPE, Set(context_, key, KP_IV, data.data()));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER, Set(context_, key, KP_CERTIFICATE, nullptr));
    size = 8;
    EXPECT_FAILS_WITH(NTE_BAD_KEY,
                      CPEncrypt(context_.Get(), key, 0, TRUE, 0, data.data(), &size, 8));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CPEncrypt(context_.Get(), key, 0, TRUE, 0, nullptr, &size, 0));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CPDecrypt(context_.Get(), key, 0, TRUE, 0, data.data(), &size));
    HCRYPTHASH hmac = 0;
    ASSERT_TRUE(CPCreateHash(context_.Get(), CALG_HMAC, key, 0, &hmac));
    HMAC_INFO info{};
    info.HashAlgid = 0x8021;
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CPSetHashParam(context_.Get(), hmac, HP_HMAC_INFO,
                                                  reinterpret_cast<const BYTE*>(&info), 0));
    const KeyContext without(nullptr, CRYPT_VERIFYCONTEXT);
    EXPECT_FAILS_WITH(NTE_PERM, CPGenKey(without.Get(), AT_KEYEXCHANGE, 0, &out));
    EXPECT_FAILS_WITH(NTE_NO_KEY, GetUserKey(without, AT_KEYEXCHANGE));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CPGetKeyParam(without.Get(), key, KP_ALGID, nullptr, &size, 0));
    EXPECT_EQ(out, 0U);
    ASSERT_TRUE(CPDestroyKey(context_.Get(), key));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CPGetKeyParam(context_.Get(), key, KP_ALGID, nullptr, &size, 0));
    EXPECT_FAILS_WITH(NTE_BAD_KEY, CPDestroyKey(context_.Get(), key));
    EXPECT_TRUE(GetUserKey(context_, AT_KEYEXCHANGE));
}

// The slot that an asymmetric key leaves is a session key's next.
TEST_F(UserKey, LeavesItsSlotToSessionKeys) {
    for (int i = 0; i < 100; ++i) {
        const HCRYPTKEY key =
            i == 0 ? context_.Generate(AT_KEYEXCHANGE) : context_.UserKey(AT_KEYEXCHANGE);
        EXPECT_EQ(context_.Number(key, KP_ALGID), 0x2E49U);
        ASSERT_TRUE(CPDestroyKey(context_.Get(), key));
        const HCRYPTKEY session = context_.Generate(kGost28147);
        EXPECT_EQ(context_.Number(session, KP_ALGID), kGost28147);
        ASSERT_TRUE(CPDestroyKey(context_.Get(), session));
    }
}

}  // namespace
