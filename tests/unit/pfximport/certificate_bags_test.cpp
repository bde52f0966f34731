#include "pfximport/certificate_bags.h"

#include <gtest/gtest.h>

#include <random>

#include "derlist/der_queries.h"
#include "support/import_fixture.h"
#include "support/reference_certificate_bags.h"

namespace {

using pkisdk::Blob;
using pkisdk::CertContext;
using pkisdk::CertificateBags;
using pkisdk::DerList;
using test_support::Bytes;
using test_support::CertificateBag;
using test_support::Element;
using test_support::LocalKeyId;
using test_support::MakeCertificate;
using test_support::Sha1Of;
using test_support::ToBlob;
using test_support::ToList;

class CertificateBagsTest : public test_support::ImportTest {
  protected:
    static DerList Content(const std::vector<Bytes>& bags) {
        return ToList(Element(0x30, test_support::JoinAll(bags)));
    }
    static Bytes Found(CertificateBags* bags, const Bytes& id, std::uint32_t ordinal) {
        const CertContext found = bags->FindForKey(ToBlob(id), ordinal);
        return found ? Bytes(found.Get()->pbCertEncoded,
                             found.Get()->pbCertEncoded + found.Get()->cbCertEncoded)
                     : Bytes{};
    }
    static Bytes Bag(const Bytes& certificate, const Bytes& id) {
        return CertificateBag{certificate, {LocalKeyId(id)}}.Build();
    }

    const Bytes one_ = MakeCertificate("one", "ca");
    const Bytes two_ = MakeCertificate("two", "ca");
};

TEST_F(CertificateBagsTest, TheContentOfTheLastNodeIsCopied) {
    Blob content = ToBlob({1});
    pkisdk::GetLastNodeContent(pkisdk::DerSpans(), &content);
    EXPECT_TRUE(content.IsEmpty());
    pkisdk::GetLastNodeContent(test_support::ToSpans(LocalKeyId({4, 5, 6})), &content);
    EXPECT_EQ(content, ToBlob({4, 5, 6}));
}

// What the walk for one key does not get past no later key's does. A NULL with a length is read
// from no document, but a list may hold it.
TEST_F(CertificateBagsTest, BehindABagThatDoesNotParseNoKeyFindsACertificate) {
    DerList content;
    const Bytes oid = test_support::Oid("1.2.840.113549.1.12.10.1.3");
    ASSERT_EQ(AppendDerNode(-1, {0, 0x30, Blob()}, &content), 1);
    ASSERT_EQ(AppendDerNode(-1, {1, 0x30, Blob()}, &content), 1);
    ASSERT_EQ(AppendDerNode(-1, {2, 0x06, Blob(oid.data() + 2, oid.size() - 2)}, &content), 1);
    ASSERT_EQ(AppendDerNode(-1, {2, 0x05, Blob("A", 1)}, &content), 1);
    const Bytes bag = Bag(one_, {1});
    ASSERT_EQ(
        pkisdk::AppendDerBytes(&content, bag.data(), static_cast<std::uint32_t>(bag.size()), 1), 1);
    CertificateBags bags(content);
    EXPECT_EQ(Found(&bags, {1}, 1), Bytes{});
    EXPECT_EQ(Found(&bags, {1}, 1), Bytes{});
}

TEST_F(CertificateBagsTest, EqualIdentifiersNeedNoHash) {
    const Bytes id(20, 0xAB);
    const DerList content = Content({Bag(one_, Bytes(20, 0xAC)), Bag(two_, id)});
    CertificateBags bags(content);
    EXPECT_EQ(Found(&bags, id, 1), two_);
    EXPECT_EQ(Calls().Count("CryptHashCertificate"), 0);
}

TEST_F(CertificateBagsTest, TheNumberFitsAKeyThatHasTheCertificatesHash) {
    const DerList content = Content({Bag(one_, {1, 0, 0, 0}), Bag(two_, {2, 1, 0, 0})});
    CertificateBags bags(content);
    EXPECT_EQ(Found(&bags, Sha1Of(one_), 1), one_);
    EXPECT_EQ(Found(&bags, Sha1Of(two_), 0x102), two_);
}

TEST_F(CertificateBagsTest, TheNumberDoesNotFitAKeyWithAnotherIdentifier) {
    const DerList content = Content({Bag(one_, {1, 0, 0, 0}), Bag(two_, Bytes(20, 7))});
    CertificateBags bags(content);
    EXPECT_EQ(Found(&bags, Sha1Of(two_), 1), Bytes{});
    EXPECT_EQ(Found(&bags, {}, 1), Bytes{});
    // The bag of the number ends the search before the one that has the identifier.
    EXPECT_EQ(Found(&bags, Bytes(20, 7), 1), Bytes{});
    EXPECT_EQ(Found(&bags, Bytes(20, 7), 2), two_);
}

TEST_F(CertificateBagsTest, AHashThatCannotBeComputedDoesNotFit) {
    const DerList content = Content({Bag(one_, {1, 0, 0, 0})});
    CertificateBags bags(content);
    const Bytes id = Sha1Of(one_);
    Calls().FailNamed("CryptHashCertificate", 1, test_support::kInjected);
    EXPECT_EQ(Found(&bags, id, 1), Bytes{});
    EXPECT_EQ(Found(&bags, id, 1), one_);
}

TEST_F(CertificateBagsTest, ABagWithoutACertificateLeavesTheSearchToTheNext) {
    const Bytes id = {9};
    const DerList content = Content({Bag({0x30, 0x00}, id), Bag({}, id), Bag(two_, id)});
    CertificateBags bags(content);
    EXPECT_EQ(Found(&bags, id, 1), two_);
    EXPECT_EQ(Found(&bags, id, 2), two_);
}

TEST_F(CertificateBagsTest, ABagWithoutAnIdentifierFitsNoKey) {
    const DerList content = Content({CertificateBag{one_, {}}.Build()});
    CertificateBags bags(content);
    EXPECT_EQ(Found(&bags, {}, 1), Bytes{});
    EXPECT_EQ(Found(&bags, Sha1Of(one_), 1), Bytes{});
}

TEST_F(CertificateBagsTest, AnIdentifierWithoutOctetsFitsAKeyWithoutOne) {
    const DerList content = Content({Bag(one_, {})});
    CertificateBags bags(content);
    EXPECT_EQ(Found(&bags, {}, 1), one_);
}

// What undecodable bags cost, they cost once, and not for every key that has their identifier.
TEST_F(CertificateBagsTest, ABagThatDoesNotDecodeIsTriedOnce) {
    constexpr int kBags = 50;
    const std::vector<Bytes> broken(kBags, Bag({0x30, 0x00}, {9}));
    const DerList content = Content(broken);
    CertificateBags bags(content);
    for (std::uint32_t ordinal = 1; ordinal <= 10; ++ordinal) {
        EXPECT_EQ(Found(&bags, {9}, ordinal), Bytes{});
    }
    EXPECT_EQ(Calls().Count("CertCreateCertificateContext"), kBags);
}

// Random contents: bags of every kind in any order, among them the number of another key.
TEST_F(CertificateBagsTest, FindsWhatAWalkForEveryKeyFinds) {
    std::mt19937 random(20251121);
    const auto pick = [&random](const std::vector<Bytes>& from) {
        return from[random() % from.size()];
    };
    const std::vector<Bytes> certificates = {one_, two_, {0x30, 0x00}, {}, {0x04, 0x00}};
    const std::vector<Bytes> ids = {{},           {1, 0, 0, 0}, {2, 0, 0, 0}, {0, 0, 0, 1},
                                    Sha1Of(one_), Sha1Of(two_), {7},          {3, 0, 0, 0}};
    int found = 0;
    for (int round = 0; round < 300; ++round) {
        std::vector<Bytes> built;
        for (auto count = random() % 8; count != 0; --count) {
            CertificateBag bag{pick(certificates), {}};
            for (auto attributes = random() % 3; attributes != 0; --attributes) {
                bag.attributes.push_back(LocalKeyId(pick(ids)));
            }
            built.push_back(bag.Build());
            if (random() % 8 == 0) {
                built.back() = Element(0x30, built.back());
            }
        }
        DerList content = Content(built);
        CertificateBags bags(content);
        for (std::uint32_t ordinal = 1; ordinal <= 6; ++ordinal) {
            const Blob id = ToBlob(pick(ids));
            const CertContext actual = bags.FindForKey(id, ordinal);
            const CertContext expected(test_support::ReferenceFindForKey(&content, id, ordinal));
            ASSERT_EQ(static_cast<bool>(actual), static_cast<bool>(expected)) << round;
            if (actual) {
                ++found;
                EXPECT_EQ(Bytes(actual.Get()->pbCertEncoded,
                                actual.Get()->pbCertEncoded + actual.Get()->cbCertEncoded),
                          Bytes(expected.Get()->pbCertEncoded,
                                expected.Get()->pbCertEncoded + expected.Get()->cbCertEncoded));
            }
        }
    }
    EXPECT_GT(found, 100);
}

}  // namespace
