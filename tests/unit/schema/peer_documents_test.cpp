// Encrypted contents and key bags that OpenSSL and GnuTLS made, see tests/data/bags.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "asn/asn_string.h"
#include "asn/primitive_serializable.h"
#include "foundation/asn_exceptions.h"
#include "schema/attributes_set.h"
#include "schema/encr_content.h"
#include "schema/pfx_key_bag.h"
#include "support/asn_values.h"
#include "support/schema_samples.h"
#include "support/wide_text.h"

namespace {

namespace asn = pkisdk::asn;
using pkisdk::Blob;
using support::MessageOf;
using support::ReadBlob;
using support::TextOf;
using support::ToHex;

constexpr const char* kTc26Parameters = "1.2.643.7.1.2.5.1.1";
constexpr const char* kCryptoProParameters = "1.2.643.2.2.31.1";

Blob Load(const std::string& file) {
    std::ifstream stream(std::filesystem::path(MVLPFX_TEST_DATA) / "bags" / file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_FALSE(bytes.empty()) << file;
    return {bytes.data(), bytes.size()};
}

Blob Written(const asn::IAsnSerializable& value) {
    Blob blob;
    value.SerializeToAsnNode({})->Serialize(&blob);
    return blob;
}

struct Peer {
    const char* name;
    // As OpenSSL's parser shows them.
    const char* cipherParameters;
    std::size_t contentSize;
    std::size_t keySize;
    std::size_t attributes;
};

void PrintTo(const Peer& peer, std::ostream* stream) {
    *stream << peer.name;
}

class PeerDocument : public testing::TestWithParam<Peer> {
  protected:
    static void ExpectScheme(const asn::PBES2AlgIdentifier& scheme) {
        EXPECT_EQ(TextOf(scheme.oid), "1.2.840.113549.1.5.13");
        EXPECT_EQ(TextOf(scheme.KezDeriv.oid), "1.2.840.113549.1.5.12");
        EXPECT_EQ(scheme.KezDeriv.additionalInfo.Synchr.GetSize(), 8U);
        EXPECT_EQ(scheme.KezDeriv.additionalInfo.IterCount, 2048U);
        EXPECT_EQ(TextOf(scheme.KezDeriv.additionalInfo.EncrParams), "1.2.643.7.1.1.4.2");
        EXPECT_TRUE(scheme.KezDeriv.additionalInfo.Hparams.IsEmpty());
        EXPECT_EQ(TextOf(scheme.EncrScheme.oid), "1.2.643.2.2.21");
        EXPECT_EQ(scheme.EncrScheme.additionalInfo.Synchr.GetSize(), 8U);
        EXPECT_EQ(TextOf(scheme.EncrScheme.additionalInfo.EncrParams), GetParam().cipherParameters);
    }
};

TEST_P(PeerDocument, EncryptedContentIsReadAndWrittenBackByteForByte) {
    const Blob blob = Load(std::string(GetParam().name) + ".encrypted.der");
    EncrContent content;
    ASSERT_TRUE(ReadBlob(content, blob));
    EXPECT_EQ(content.ver, 0U);
    EXPECT_EQ(TextOf(content.encrContentInfo.oid), "1.2.840.113549.1.7.1");
    ExpectScheme(content.encrContentInfo.PBES2Sheme);
    EXPECT_EQ(content.encrContentInfo.EncryptedData.GetSize(), GetParam().contentSize);
    EXPECT_EQ(ToHex(Written(content)), ToHex(blob));
}

TEST_P(PeerDocument, KeyBagIsReadAndWrittenBackByteForByte) {
    const Blob blob = Load(std::string(GetParam().name) + ".keybag1.der");
    PfxKeyBag bag;
    ASSERT_TRUE(ReadBlob(bag, blob));
    EXPECT_EQ(TextOf(bag.oid), "1.2.840.113549.1.12.10.1.2");
    ExpectScheme(bag.pfxKeyInfo.PBES2Sheme);
    EXPECT_EQ(bag.pfxKeyInfo.encrKey.GetSize(), GetParam().keySize);
    EXPECT_EQ(bag.atributes.size(), GetParam().attributes);
    EXPECT_EQ(ToHex(Written(bag)), ToHex(blob));
}

TEST_P(PeerDocument, AttributesAreReadAndWrittenBackByteForByte) {
    const Blob blob = Load(std::string(GetParam().name) + ".keybag1.der");
    PfxKeyBag bag;
    ASSERT_TRUE(ReadBlob(bag, blob));
    for (const Blob& encoded : bag.atributes) {
        asn::AttributesSet attribute;
        ASSERT_TRUE(ReadBlob(attribute, encoded, "keyAttributes"));
        EXPECT_EQ(attribute.values.size(), 1U);
        EXPECT_EQ(ToHex(Written(attribute)), ToHex(encoded));
    }
}

INSTANTIATE_TEST_SUITE_P(OpenSsl, PeerDocument,
                         testing::Values(Peer{"openssl_gost2001", kTc26Parameters, 416, 69, 2},
                                         Peer{"openssl_gost2012_256", kTc26Parameters, 439, 72, 2},
                                         Peer{"openssl_gost2012_512", kTc26Parameters, 574, 106, 2},
                                         Peer{"openssl_named", kCryptoProParameters, 568, 106, 2}),
                         [](const auto& peer) { return std::string(peer.param.name); });

TEST(PeerDocuments, FriendlyNameAndLocalKeyIdAreReadByType) {
    const Blob blob = Load("openssl_named.keybag1.der");
    PfxKeyBag bag;
    ASSERT_TRUE(ReadBlob(bag, blob));
    ASSERT_EQ(bag.atributes.size(), 2U);

    asn::AttributesSet name;
    ASSERT_TRUE(ReadBlob(name, bag.atributes.front(), "keyAttributes"));
    EXPECT_EQ(TextOf(name.oid), "1.2.840.113549.1.9.20");
    std::wstring text;
    asn::AsnString nameMember("", &text, asn::kBmpStringIdentifier);
    ASSERT_TRUE(ReadBlob(nameMember, name.values.front(), "Attributes.ContainerName"));
    EXPECT_EQ(text, support::Wide({0x418, 0x43C, 0x44F, ' ', 0x43A, 0x43B, 0x44E, 0x447, 0x430}));

    asn::AttributesSet id;
    ASSERT_TRUE(ReadBlob(id, bag.atributes.back(), "keyAttributes"));
    EXPECT_EQ(TextOf(id.oid), "1.2.840.113549.1.9.21");
    Blob octets;
    asn::OctetStringMember idMember("", &octets);
    ASSERT_TRUE(ReadBlob(idMember, id.values.front(), "Attributes.LocalKeyId"));
    EXPECT_EQ(octets.GetSize(), 20U);
}

TEST(PeerDocuments, PrfWithoutParametersIsRefusedWithItsPath) {
    const Blob encrypted = Load("certtool_gost12_256.encrypted.der");
    EncrContent content;
    EXPECT_EQ(MessageOf<asn::BadAsnContent>([&] { ReadBlob(content, encrypted); }),
              " Bad ASN object content. Unexpacted end of ASN object. Context: "
              "\"EncryptedContent::.encrContentInfo.PBES2Sheme.KezDeriv.additionalInfo\". Object: "
              "offset - 79; identifier - \"Sequence\". ");
    const Blob keyBag = Load("certtool_gost12_256.keybag1.der");
    PfxKeyBag bag;
    EXPECT_EQ(MessageOf<asn::BadAsnContent>([&] { ReadBlob(bag, keyBag); }),
              " Bad ASN object content. Unexpacted end of ASN object. Context: "
              "\"PfxKeyBag::.pfxKeyInfo.PBES2Sheme.KezDeriv.additionalInfo\". Object: offset - 75; "
              "identifier - \"Sequence\". ");
}

}  // namespace
