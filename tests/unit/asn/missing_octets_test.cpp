// Objects whose length passes the end of their blob: where they may stand, and that nothing reads
// what is not there.
#include <gtest/gtest.h>

#include <functional>
#include <list>
#include <string>

#include "asn/asn_binary_node.h"
#include "asn/asn_child_iterator.h"
#include "asn/asn_decoders.h"
#include "asn/asn_encoders.h"
#include "asn/asn_object_readable.h"
#include "support/octets.h"
#include "support/sized_blob.h"

namespace pkisdk::asn {
namespace {

using support::FromHex;
using support::MessageOf;
using support::SizedBlob;
using support::ToHex;

constexpr const char* kOutOfBlob =
    "[AsnObjectReadable::CheckContentSize] End of object is out of ASN BLOB. Bad ASN data. Error "
    "in position 0.";
constexpr const char* kOutOfParent =
    "[AsnObjectReadable::CheckContentSize] End of object is out of the parent object with defined "
    "content length. Bad ASN data. Error in position 2.";
constexpr const char* kNoContent =
    "[AsnObjectReadable::GetContent] End of object is out of ASN BLOB. Bad ASN data. Error in "
    "position 0.";

std::string FailureOf(const char* hex, const std::function<void(const AsnObjectHandle&)>& action) {
    const Blob blob = FromHex(hex);
    const AsnObjectHandle object = AsnObjectReadable::FromBlob(blob);
    return MessageOf<BadAsnData>([&] { action(object); });
}

TEST(MissingOctets, LengthWithItsTopBitSetPassesForARootHoweverShortTheBlob) {
    for (const char* const hex :
         {"30 84 80 00 00 00", "30 84 FF FF FF FF", "04 84 80 00 00 01 AA"}) {
        const Blob blob = FromHex(hex);
        EXPECT_NO_THROW(AsnObjectReadable::FromBlob(blob)) << hex;
    }
    const Blob blob = FromHex("30 84 80 00 00 00");
    const AsnObjectHandle root = AsnObjectReadable::FromBlob(blob);
    EXPECT_TRUE(root->HasContent());
    EXPECT_EQ(root->GetContentSize(), 0x80000000U);
    EXPECT_EQ(root->GetEndPosition(), 0x80000006U);
}

TEST(MissingOctets, LengthBelow2To31FailsAtConstruction) {
    for (const char* const hex : {"30 84 7F FF FF FF", "04 01", "04 84 00 00 00 01"}) {
        const Blob blob = FromHex(hex);
        EXPECT_EQ(MessageOf<BadAsnData>([&] { AsnObjectReadable::FromBlob(blob); }), kOutOfBlob);
    }
}

TEST(MissingOctets, TheSameLengthOnAChildOfADefiniteParentFails) {
    const auto firstChild = [](const AsnObjectHandle& root) { root->GetFirstChild(); };
    EXPECT_EQ(FailureOf("30 06 04 84 80 00 00 00", firstChild), kOutOfParent);
    EXPECT_EQ(FailureOf("30 06 04 84 FF FF FF FF", firstChild), kOutOfParent);
}

TEST(MissingOctets, ReadersOfContentFail) {
    EXPECT_EQ(FailureOf("04 84 80 00 00 00", [](const auto& object) { object->GetContent(); }),
              kNoContent);
    EXPECT_EQ(FailureOf("04 84 80 00 00 00",
                        [](const auto& object) {
                            Blob target;
                            object->ReadContent(&target);
                        }),
              kNoContent);
    EXPECT_EQ(FailureOf("1E 84 80 00 00 00",
                        [](const auto& object) {
                            std::wstring target;
                            object->CopyContentTo(&target);
                        }),
              kNoContent);
    EXPECT_EQ(FailureOf("04 84 FF FF FF FF",
                        [](const auto& object) {
                            Blob target;
                            BinaryContentEncoder::Decode(object, &target);
                        }),
              kNoContent);
    EXPECT_EQ(
        FailureOf("04 84 FF FF FF FF", [](const auto& object) { MakeAsn<AsnBinaryNode>(object); }),
        kNoContent);
}

TEST(MissingOctets, DecodersFail) {
    EXPECT_EQ(FailureOf("06 84 80 00 00 00",
                        [](const auto& object) {
                            ObjectId target;
                            ReadAsnObjectId(object, &target);
                        }),
              kNoContent);
    EXPECT_EQ(FailureOf("0C 84 80 00 00 00",
                        [](const auto& object) {
                            std::wstring target;
                            ReadAsnUtf8String(object, &target);
                        }),
              kNoContent);
    EXPECT_EQ(FailureOf("13 84 80 00 00 00",
                        [](const auto& object) {
                            std::wstring target;
                            ReadAsnByteString(object, &target);
                        }),
              kNoContent);
    EXPECT_EQ(FailureOf("1E 84 80 00 00 00",
                        [](const auto& object) {
                            std::wstring target;
                            ReadAsnBmpString(object, &target);
                        }),
              kNoContent);
    EXPECT_EQ(FailureOf("02 84 80 00 00 01 AA",
                        [](const auto& object) {
                            std::uint32_t target = 0;
                            ReadAsnInteger(object, &target);
                        }),
              "[ASN Integer reading] The content length is too long.Object: offset - 0; identifier "
              "- \"Integer\". ");
}

TEST(MissingOctets, CopyObjectToFailsAndLeavesTheTarget) {
    const Blob blob = FromHex("04 84 80 00 00 00 AA");
    Blob target = FromHex("BB");
    EXPECT_EQ(
        MessageOf<BadAsnData>([&] { AsnObjectReadable::FromBlob(blob)->CopyObjectTo(&target); }),
        "[AsnObjectReadable::CopyObjectTo] End of object is out of ASN BLOB. Bad ASN data. "
        "Error in position 0.");
    EXPECT_EQ(ToHex(target), "BB");
}

TEST(MissingOctets, PrimitiveObjectInIndefiniteFormHasNoContentThatCanBeRead) {
    EXPECT_EQ(FailureOf("04 80 AA BB 00 00", [](const auto& object) { object->GetContent(); }),
              kNoContent);
    EXPECT_EQ(FailureOf("04 80 AA BB 00 00",
                        [](const auto& object) {
                            Blob target;
                            object->CopyObjectTo(&target);
                        }),
              "[AsnObjectReadable::CopyObjectTo] End of object is out of ASN BLOB. Bad ASN data. "
              "Error in position 0.");
    EXPECT_EQ(FailureOf("04 80", [](const auto& object) { object->GetContent(); }), kNoContent);
}

TEST(MissingOctets, EmptyIndefiniteObjectIsCopiedWithWhatThereIsOfTheTwoOctetsBehindIt) {
    const auto copyOf = [](const char* hex) {
        const Blob blob = FromHex(hex);
        Blob target;
        AsnObjectReadable::FromBlob(blob)->CopyObjectTo(&target);
        return ToHex(target);
    };
    EXPECT_EQ(copyOf("30 80 00 00"), "30 80 00 00");
    EXPECT_EQ(copyOf("30 80 00 00 AA"), "30 80 00 00 AA");
    EXPECT_EQ(copyOf("30 80 00 00 AA BB"), "30 80 00 00 AA BB");
    EXPECT_EQ(copyOf("30 80 00 00 AA BB CC"), "30 80 00 00 AA BB");
}

TEST(MissingOctets, WalkOfAParentThatPassesTheEndFailsBehindTheLastChild) {
    const Blob blob = FromHex("30 84 80 00 00 00 05 00");
    AsnChildIterator iterator(AsnObjectReadable::FromBlob(blob));
    iterator.Begin();
    EXPECT_EQ(iterator.Current("")->GetIdentifier(), kNullIdentifier);
    EXPECT_EQ(MessageOf<BadAsnData>([&] { iterator.Next(); }),
              "[AsnObjectHeader parsing] Bad ASN data. Unexpacted end of asn data.");
}

TEST(MissingOctets, ChildInIndefiniteFormMayHaveItsHeaderAcrossTheEndOfItsParent) {
    const Blob blob = FromHex("30 01 30 80 05 00 00 00");
    const AsnObjectHandle child = AsnObjectReadable::FromBlob(blob)->GetFirstChild();
    EXPECT_TRUE(child->IsIndefinite());
    EXPECT_TRUE(child->HasContent());
}

TEST(MissingOctets, MeasuringOverAnElementThatPassesTheEndOfADefiniteAncestorFails) {
    const auto measureChild = [](const auto& root) { root->GetFirstChild()->GetContentSize(); };
    const std::string message =
        "[AsnObjectReadable::CheckContentSize] End of object is out of the parent object with "
        "defined content length. Bad ASN data. Error in position ";
    EXPECT_EQ(FailureOf("30 06 30 80 04 05 AA BB CC DD EE 00 00 00 00", measureChild),
              message + "4.");
    EXPECT_EQ(FailureOf("30 08 30 80 05 00 04 05 AA BB CC DD EE 00 00 00 00", measureChild),
              message + "6.");
}

TEST(MissingOctets, FirstChildBehindTheEndFails) {
    EXPECT_EQ(FailureOf("30 84 80 00 00 00", [](const auto& root) { root->GetFirstChild(); }),
              "[AsnObjectHeader parsing] Bad ASN data. Unexpacted end of asn data.");
}

TEST(MissingOctets, StepOverAChildThatPassesTheEndFails) {
    // As a signed number, the child's length would lead back to where the walk has been.
    for (const char* const hex :
         {"30 84 FF FF FF F0 04 84 80 00 00 00 AA", "30 84 FF FF FF F0 04 84 FF FF FF 00 AA",
          "30 80 04 84 80 00 00 00 AA 00 00"}) {
        const Blob blob = FromHex(hex);
        AsnChildIterator iterator(AsnObjectReadable::FromBlob(blob));
        iterator.Begin();
        const std::string place = std::to_string(iterator.Current("")->GetOffset());
        EXPECT_EQ(MessageOf<BadAsnData>([&] { iterator.Next(); }),
                  "[AsnChildIterator::Next] End of object is out of ASN BLOB. Bad ASN data. Error "
                  "in position " +
                      place + ".");
    }
}

TEST(MissingOctets, MeasuringOverAChildThatPassesTheEndFails) {
    EXPECT_EQ(FailureOf("30 80 04 84 80 00 00 00 AA 00 00",
                        [](const auto& root) { root->GetContentSize(); }),
              "[AsnChildIterator::Next] End of object is out of ASN BLOB. Bad ASN data. Error in "
              "position 2.");
}

TEST(MissingOctets, CollectionWithSuchAnElementFails) {
    EXPECT_EQ(FailureOf("31 80 04 84 80 00 00 00 AA 00 00",
                        [](const auto& object) {
                            std::list<Blob> target;
                            AsnBlobCollectionEncoder::Decode(object, &target);
                        }),
              "[AsnObjectReadable::CopyObjectTo] End of object is out of ASN BLOB. Bad ASN data. "
              "Error in position 2.");
}

TEST(MissingOctets, ObjectThatFillsTheLargestBlobStands) {
    const SizedBlob blob(FromHex("04 84 7F FF FF F9"), 0x7FFFFFFF);
    const AsnObjectHandle object = AsnObjectReadable::FromBlob(blob);
    EXPECT_EQ(object->GetEndPosition(), 0x7FFFFFFFU);
    EXPECT_EQ(object->GetContent().size(), 0x7FFFFFF9U);

    const SizedBlob shorter(FromHex("04 84 7F FF FF FA"), 0x7FFFFFFF);
    EXPECT_EQ(MessageOf<BadAsnData>([&] { AsnObjectReadable::FromBlob(shorter); }), kOutOfBlob);
}

TEST(MissingOctets, BlobOf2To31OctetsAndMoreIsRefused) {
    for (const std::uint64_t size : {0x80000000ULL, 0xFFFFFFFFULL, 0x100000000ULL}) {
        const SizedBlob blob(FromHex("05 00"), size);
        EXPECT_EQ(MessageOf<BadAsnData>([&] { AsnObjectReadable::FromBlob(blob); }),
                  "[AsnObjectHeader parsing] Bad ASN data. Error in position 0.");
    }
}

TEST(MissingOctets, BlobOver2To32OctetsCountsAsItsLowThirtyTwoBits) {
    const SizedBlob blob(FromHex("30 04 05 00 05 00"), 0x100000006);
    AsnChildIterator iterator(AsnObjectReadable::FromBlob(blob));
    iterator.Begin();
    EXPECT_TRUE(iterator.Next());
    EXPECT_FALSE(iterator.Next());
    const SizedBlob withEmptyChild(FromHex("30 04 30 80 00 00"), 0x100000006);
    AsnChildIterator overEmpty(AsnObjectReadable::FromBlob(withEmptyChild));
    overEmpty.Begin();
    EXPECT_FALSE(overEmpty.Next());
    const SizedBlob withLongChild(FromHex("30 84 FF FF FF F0 04 84 80 00 00 00 AA"), 0x10000000D);
    AsnChildIterator overChild(AsnObjectReadable::FromBlob(withLongChild));
    overChild.Begin();
    EXPECT_EQ(MessageOf<BadAsnData>([&] { overChild.Next(); }),
              "[AsnChildIterator::Next] End of object is out of ASN BLOB. Bad ASN data. Error in "
              "position 6.");
    const SizedBlob shorter(FromHex("30 04 05 00 05 00"), 0x100000005);
    EXPECT_EQ(MessageOf<BadAsnData>([&] { AsnObjectReadable::FromBlob(shorter); }), kOutOfBlob);
}

}  // namespace
}  // namespace pkisdk::asn
