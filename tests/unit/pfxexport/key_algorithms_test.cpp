#include "pfxexport/key_algorithms.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using pkisdk::FindKeyAlgorithms;

void ExpectAlgorithms(ALG_ID key, ALG_ID hash, const std::string& cipherParameters) {
    const auto* const found = FindKeyAlgorithms(key);
    ASSERT_NE(found, nullptr) << key;
    EXPECT_EQ(found->hash, hash) << key;
    EXPECT_EQ(found->cipherParameters, cipherParameters) << key;
}

TEST(FindKeyAlgorithms, KnowsTheFourKindsOfKeys) {
    ExpectAlgorithms(11811, 32798, "1.2.643.2.2.31.1");
    ExpectAlgorithms(43556, 32798, "1.2.643.2.2.31.1");
    ExpectAlgorithms(11837, 32802, "1.2.643.7.1.2.5.1.1");
    ExpectAlgorithms(11849, 32802, "1.2.643.7.1.2.5.1.1");
}

TEST(FindKeyAlgorithms, KnowsNoOther) {
    for (const ALG_ID key : {0x0000U, 0x2400U, 0xA400U, 0x2E24U, 0xAA23U, 0x661EU, 0xFFFFU}) {
        EXPECT_EQ(FindKeyAlgorithms(key), nullptr) << key;
    }
}

}  // namespace
