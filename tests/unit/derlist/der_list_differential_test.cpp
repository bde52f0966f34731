// The parser, its list and the queries against their literal versions, on inputs of many kinds.
#include <gtest/gtest.h>

#include <string>

#include "derlist/der_parser.h"
#include "support/der_list_comparison.h"
#include "support/differential.h"
#include "support/document_generator.h"

namespace {

using differential::Below;
using differential::Once;
using differential::Random;
using documents::Bytes;

class DerListDifferential : public testing::Test {
  protected:
    // Compares `runs` inputs that `make` gives; a fair part of them must parse.
    template <typename Make>
    void Compare(std::uint64_t runs, Make make) {
        std::uint64_t parsed = 0;
        for (std::uint64_t i = 0; i < runs; ++i) {
            const Bytes document = make();
            ASSERT_EQ(comparison::CompareOnDocument(document, random_()), "")
                << "input " << i << ": " << testing::PrintToString(document);
            pkisdk::DerList list;
            parsed += pkisdk::ParseDerList(document.data(),
                                           static_cast<std::int32_t>(document.size()), &list) != 0;
        }
        EXPECT_GT(parsed, runs / 50);
    }

    Random random_ = differential::MakeRandom();
};

TEST_F(DerListDifferential, RandomBytes) {
    Compare(differential::Runs(50000), [&] { return documents::RandomBytes(random_, 48); });
}

TEST_F(DerListDifferential, NestedElements) {
    Compare(differential::Runs(20000), [&] {
        const Bytes document = documents::NestedElements(random_, Once(random_, 10) ? 80 : 15);
        return Once(random_, 3) ? documents::Mutate(random_, document) : document;
    });
}

TEST_F(DerListDifferential, TextForms) {
    Compare(differential::Runs(5000),
            [&] { return documents::AsText(random_, documents::NestedElements(random_, 10)); });
}

TEST_F(DerListDifferential, MutatedRealDocuments) {
    const auto originals = documents::ReadAll(MVLPFX_TEST_DATA "/documents");
    Compare(differential::Runs(10000) / 10, [&] {
        const Bytes& original =
            originals[Below(random_, static_cast<std::uint32_t>(originals.size()))];
        return Once(random_, 20) ? original : documents::Mutate(random_, original);
    });
}

TEST_F(DerListDifferential, OverlappingRuns) {
    Compare(differential::Runs(1000) / 10, [&] {
        const Bytes document = documents::OverlappingRuns(1 + Below(random_, 40));
        return Once(random_, 2) ? documents::Mutate(random_, document) : document;
    });
}

TEST_F(DerListDifferential, Edits) {
    const std::uint64_t runs = differential::Runs(10000);
    for (std::uint64_t i = 0; i < runs; ++i) {
        Bytes script(2 * Below(random_, 60));
        for (std::uint8_t& byte : script) {
            byte = static_cast<std::uint8_t>(random_());
        }
        ASSERT_EQ(comparison::CompareOnEdits(script), "")
            << "script " << i << ": " << testing::PrintToString(script);
    }
}

}  // namespace
