#include "pfximport/bag_identifiers.h"

#include <gtest/gtest.h>

#include "support/import_fixture.h"

namespace {

using pkisdk::Blob;
using test_support::Bytes;
using test_support::CertificateBag;
using test_support::Element;
using test_support::Join;
using test_support::Oid;
using test_support::ToBlob;
using test_support::ToSpans;

TEST(ExtractBagCertificate, GivesTheEncodedCertificate) {
    const CertificateBag bag{test_support::MakeCertificate("a", "b"), {}};
    Blob encoded;
    EXPECT_TRUE(pkisdk::ExtractBagCertificate(ToSpans(bag.Build()), &encoded));
    EXPECT_EQ(encoded, ToBlob(bag.certificate));
}

TEST(ExtractBagCertificate, WithoutItsIdentifierOrItsOctetsThereIsNone) {
    const Bytes kNone[] = {
        Element(0x30, Oid("1.2.840.113549.1.12.10.1.3")),
        Element(0x30, Oid("1.2.840.113549.1.9.22.1")),
        Element(0x30,
                Join({Oid("1.2.840.113549.1.9.22.1"), Element(0xA0, Element(0x04, {1, 2, 3}))})),
        Element(0x30, Join({Oid("1.2.840.113549.1.9.22.2"),
                            Element(0xA0, Element(0x04, Element(0x30, {})))})),
    };
    for (const Bytes& bag : kNone) {
        Blob encoded;
        EXPECT_FALSE(pkisdk::ExtractBagCertificate(ToSpans(bag), &encoded));
        EXPECT_TRUE(encoded.IsEmpty());
    }
}

}  // namespace
