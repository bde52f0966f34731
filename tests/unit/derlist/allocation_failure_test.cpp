// Memory that runs out at any point of the list's work passes through as std::bad_alloc and leaves
// nothing broken.
#include <gtest/gtest.h>

#include <new>
#include <string>
#include <utility>

#include "derlist/der_list.h"
#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "support/der_outline.h"
#include "support/document_generator.h"
#include "support/failing_allocator.h"

namespace pkisdk {
namespace {

using allocation::FailOne;
using outline::MakeNode;
using outline::Outline;

// Calls `attempt` with the first, the second, ... allocation failing, until it gets through, and
// `check` after each failure. Answers how often it failed.
template <typename Attempt, typename Check>
std::size_t FailEach(Attempt attempt, Check check) {
    for (std::size_t number = 1;; ++number) {
        bool threw = false;
        {
            const FailOne failure(number);
            try {
                attempt();
            } catch (const std::bad_alloc&) {
                threw = true;
            }
            EXPECT_EQ(threw, failure.Happened());
        }
        if (!threw) {
            return number - 1;
        }
        check();
    }
}

TEST(AllocationFailure, PassesThroughTheParserAndLeavesAListThatWorks) {
    const outline::Bytes bytes = outline::FromHex("30 80 04 05 30 03 02 01 05 02 01 06");
    DerList list;
    std::int32_t answer = 0;
    const std::size_t failures = FailEach(
        [&] {
            answer = ParseDerList(bytes.data(), static_cast<std::int32_t>(bytes.size()), &list);
        },
        [&] {
            list.clear();
            EXPECT_TRUE(list.Append(MakeNode(0, 0x30)));
        });
    EXPECT_GT(failures, list.size());
    EXPECT_EQ(answer, 1);
    EXPECT_EQ(Outline(list), "0:30:10 1:04:5 2:30:3 3:02:1 1:02:1");
}

TEST(AllocationFailure, PassesThroughTheIndexOfOverlappingRuns) {
    const documents::Bytes bytes = documents::OverlappingRuns(80);
    DerList list;
    FailEach([&] { ParseDerList(bytes.data(), static_cast<std::int32_t>(bytes.size()), &list); },
             [] {});
    EXPECT_EQ(list.size(), bytes.size() / 2);
}

// As many levels as make the record of open ones grow with the next.
constexpr std::int32_t kLevels = 16;

DerList BuildLevels() {
    DerList list;
    for (std::int32_t level = 0; level < kLevels; ++level) {
        list.Append(MakeNode(level, 0x30));
    }
    return list;
}

TEST(AllocationFailure, LeavesTheListOfAnAppendAsItWas) {
    for (std::int32_t depth = 0; depth <= kLevels; ++depth) {
        DerList list = BuildLevels();
        const std::string before = Outline(list);
        const std::size_t failures = FailEach([&] { list.Append(MakeNode(depth, 0x02, {5})); },
                                              [&] { EXPECT_EQ(Outline(list), before); });
        EXPECT_GE(failures, 2U);
        DerList expected = BuildLevels();
        expected.Append(MakeNode(depth, 0x02, {5}));
        EXPECT_EQ(Outline(list), Outline(expected));
    }
}

TEST(AllocationFailure, LeavesACopiedListAsItWas) {
    const DerList original = outline::Parse("30 05 30 03 02 01 05");
    DerList copy;
    FailEach([&] { copy = original; }, [&] { EXPECT_TRUE(copy.empty()); });
    FailEach([&] { copy.Append(MakeNode(2, 0x05)); },
             [&] { EXPECT_EQ(Outline(copy), "0:30:5 1:30:3 2:02:1"); });
    EXPECT_EQ(Outline(copy), "0:30:7 1:30:5 2:02:1 2:05:0");
}

TEST(AllocationFailure, LeavesABlobThatIsAssignedAsItWas) {
    const Blob old("old", 3);
    Blob blob = old;
    const std::size_t failures =
        FailEach([&] { blob.Assign("replaced", 8); }, [&] { EXPECT_EQ(blob, old); });
    EXPECT_EQ(failures, 1U);
    EXPECT_EQ(blob, Blob("replaced", 8));
}

TEST(AllocationFailure, LeavesTheOutputOfAQueryAlone) {
    const DerList list = outline::Parse("30 0A 06 03 2A 03 04 04 03 41 42 43");
    Blob bytes(1);
    FailEach([&] { FlattenSubtree(list, 0, &bytes); }, [&] { EXPECT_EQ(bytes.GetSize(), 1U); });
    EXPECT_EQ(bytes.GetSize(), 12U);
}

}  // namespace
}  // namespace pkisdk
