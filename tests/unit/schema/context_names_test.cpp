#include "schema/context_names.h"

#include <gtest/gtest.h>

namespace pkisdk::asn {
namespace {

TEST(ContextNames, EveryClassHasItsOwn) {
    EXPECT_STREQ(kEncrContentContext, "EncryptedContent::");
    EXPECT_STREQ(kEncrContentInfoContext, "EncrContentInfo::");
    EXPECT_STREQ(kPfxKeyBagContext, "PfxKeyBag::");
    EXPECT_STREQ(kPfxKeyInfoContext, "PfxKeyInfo::");
    EXPECT_STREQ(kEncrAlgIdentifierContext, "EncrAlgIdentifier::");
    EXPECT_STREQ(kPbkdf2AlgIdentifierContext, "PBKDF2AlgIdentifier::");
    EXPECT_STREQ(kPbes2AlgIdentifierContext, "PBES2AlgIdentifier::");
    EXPECT_STREQ(kAttributesSetContext, "AttributesSet::");
}

TEST(ContextNames, NamesSetAside) {
    EXPECT_STREQ(kAlgorithmIdentifierContext, "AlgorithmIdentifier::");
    EXPECT_STREQ(kOptionalContext, "Optional");
    EXPECT_STREQ(kAlgorithmAdditionalInfoContext, "AlgorithmAdditionalInfo::");
    EXPECT_STREQ(kEncrAdditionalInfoContext, "EncrAdditionalInfo::");
    EXPECT_STREQ(kPbkdf2AdditionalInfoContext, "PBKDF2AdditionalInfo::");
}

TEST(ContextNames, GivenContextGoesFirst) {
    EXPECT_EQ(ContextOr("", kPfxKeyBagContext), "PfxKeyBag::");
    EXPECT_EQ(ContextOr("Path", kPfxKeyBagContext), "Path");
}

}  // namespace
}  // namespace pkisdk::asn
