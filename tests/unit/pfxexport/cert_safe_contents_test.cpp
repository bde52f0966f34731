#include "pfxexport/cert_safe_contents.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/der_outline.h"
#include "support/export_fixture.h"
#include "support/pfx_builder.h"

namespace {

using pkisdk::Blob;
using pkisdk::BuildCertSafeContents;
using test_support::Bytes;
using test_support::CertificateBytes;
using test_support::Chain;
using test_support::Element;
using test_support::Join;
using test_support::kInjected;

const Bytes kCertBag = outline::FromHex("06 0B 2A 86 48 86 F7 0D 01 0C 0A 01 03");
const Bytes kX509Certificate = outline::FromHex("06 0A 2A 86 48 86 F7 0D 01 09 16 01");
const Bytes kLocalKeyId = outline::FromHex("06 09 2A 86 48 86 F7 0D 01 09 15");

Bytes CertBag(const CertificateBytes& certificate, const Bytes& attributes) {
    const Bytes bag =
        Element(0x30, Join({kX509Certificate, Element(0xA0, Element(0x04, certificate))}));
    return Element(0x30, Join({kCertBag, Element(0xA0, bag), Element(0x31, attributes)}));
}

Bytes LocalKeyId(const Bytes& index) {
    return Element(0x30, Join({kLocalKeyId, Element(0x31, Element(0x04, index))}));
}

class BuildCertSafeContentsTest : public test_support::ExportTest {
  protected:
    void ExpectContents(const Bytes& bags) {
        Blob contents;
        SetLastError(kInjected);
        EXPECT_EQ(BuildCertSafeContents(store_.Get(), &contents), 1);
        EXPECT_EQ(GetLastError(), 0u);
        const Bytes expected = Element(0x30, bags);
        EXPECT_EQ(contents, Blob(expected.data(), expected.size()));
        ExpectNothingOpen();
    }
};

TEST_F(BuildCertSafeContentsTest, AStoreWithoutCertificatesGivesTheBareRoot) {
    ExpectContents({});
}

TEST_F(BuildCertSafeContentsTest, AMissingStoreIsBadData) {
    Blob contents;
    EXPECT_FAILS_WITH(NTE_BAD_DATA, BuildCertSafeContents(nullptr, &contents));
    EXPECT_TRUE(contents.IsEmpty());
}

TEST_F(BuildCertSafeContentsTest, ACertificateWithoutAKeyHasAnEmptySetOfAttributes) {
    Add(Chain().leaf);
    ExpectContents(CertBag(Chain().leaf, {}));
}

TEST_F(BuildCertSafeContentsTest, TheLocalKeyIdCountsOnlyCertificatesWithKeys) {
    Add(Chain().root);
    Add(Chain().leaf, L"b");
    Add(Chain().otherLeaf, L"c");
    ExpectContents(Join({CertBag(Chain().root, {}), CertBag(Chain().leaf, LocalKeyId({1, 0, 0, 0})),
                         CertBag(Chain().otherLeaf, LocalKeyId({2, 0, 0, 0}))}));
}

TEST_F(BuildCertSafeContentsTest, TheLocalKeyIdTakesFourOctetsLeastSignificantFirst) {
    Bytes bags;
    const auto add = [&](unsigned index) {
        Add(Chain().leaf, L"key");
        const Bytes octets = {static_cast<BYTE>(index), static_cast<BYTE>(index >> 8), 0, 0};
        const Bytes bag = CertBag(Chain().leaf, LocalKeyId(octets));
        bags.insert(bags.end(), bag.begin(), bag.end());
    };
    for (unsigned index = 1; index <= 516; ++index) {
        add(index);
    }
    ExpectContents(bags);
    // 05 02 00 00: a NULL with content, for which the parser refuses the whole.
    add(517);
    Blob contents;
    EXPECT_FAILS_WITH(NTE_BAD_DATA, BuildCertSafeContents(store_.Get(), &contents));
    EXPECT_TRUE(contents.IsEmpty());
}

TEST_F(BuildCertSafeContentsTest, GostCertificatesComeOutAsTheyWentIn) {
    Bytes bags;
    for (const CertificateBytes& certificate : test_support::GostCertificates()) {
        Add(certificate);
        bags = Join({bags, CertBag(certificate, {})});
    }
    ExpectContents(bags);
}

// No store holds such a certificate; the platform's answer is changed under the walk.
TEST_F(BuildCertSafeContentsTest, ACertificateThatIsNotDerIsBadDataAndNothingIsReturned) {
    Add(Chain().root);
    Add(Chain().leaf);
    const test_support::Certificate leaf(CertEnumCertificatesInStore(store_.Get(), store_.First()));
    Keys().certificates_ = 0;
    const CertificateBytes before(leaf->pbCertEncoded, leaf->pbCertEncoded + 8);
    const DWORD size = leaf->cbCertEncoded;
    // No header, content that is missing, an indefinite length; and what the list's parser takes
    // for something else: a zero, content that is missing, content behind the element, a length of
    // one too much.
    for (const char* const hex :
         {"02", "30 05 02 01 05", "30 80 00 00", "30 04 00 02 01 05", "30 81 03 02 05 01",
          "30 81 03 02 01 05 05 00", "30 81 04 30 02 04 01"}) {
        SCOPED_TRACE(hex);
        const Bytes bytes = outline::FromHex(hex);
        std::copy(bytes.begin(), bytes.end(), leaf->pbCertEncoded);
        const_cast<CERT_CONTEXT*>(leaf.Get())->cbCertEncoded = static_cast<DWORD>(bytes.size());
        Blob contents;
        EXPECT_FAILS_WITH(NTE_BAD_DATA, BuildCertSafeContents(store_.Get(), &contents));
        EXPECT_TRUE(contents.IsEmpty());
        EXPECT_EQ(Keys().OpenCertificates(), 0);
    }
    std::copy(before.begin(), before.end(), leaf->pbCertEncoded);
    const_cast<CERT_CONTEXT*>(leaf.Get())->cbCertEncoded = size;
    Keys().certificates_ = 1;
}

// The octets of the subject's key identifier: a zero that the list's parser passes over, and an
// element behind it; an element whose length could be shorter; one that stays as it is.
TEST_F(BuildCertSafeContentsTest, ACertificateThatAReaderWouldChangeIsBadData) {
    Add(Chain().leaf);
    const test_support::Certificate leaf(store_.First());
    BYTE* const end = leaf->pbCertEncoded + leaf->cbCertEncoded;
    const Bytes header = outline::FromHex("04 16 04 14");
    BYTE* const found = std::search(leaf->pbCertEncoded, end, header.begin(), header.end());
    ASSERT_NE(found, end);
    BYTE* const identifier = found + header.size();
    const Bytes before(identifier, identifier + 20);
    Keys().certificates_ = 0;
    for (const Bytes& start : {Bytes{0x00, 0x04, 17}, Bytes{0x04, 0x81, 17}}) {
        const Bytes octets = Join({start, Bytes(17, 0x51)});
        std::copy(octets.begin(), octets.end(), identifier);
        Blob contents;
        EXPECT_FAILS_WITH(NTE_BAD_DATA, BuildCertSafeContents(store_.Get(), &contents));
        EXPECT_TRUE(contents.IsEmpty());
    }
    const Bytes element = Element(0x04, Bytes(18, 0x51));
    std::copy(element.begin(), element.end(), identifier);
    ExpectContents(CertBag(CertificateBytes(leaf->pbCertEncoded, end), {}));
    std::copy(before.begin(), before.end(), identifier);
    Keys().certificates_ = 1;
}

}  // namespace
