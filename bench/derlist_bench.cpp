// What a node of the flat list costs, from a thousand to a million of them, side by side and one
// below the other: a line that stays level is linear work.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <stdexcept>

#include "derlist/der_list.h"
#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "support/document_generator.h"

namespace {

using pkisdk::Blob;
using pkisdk::DerList;
using pkisdk::DerNode;

enum Shape : std::int64_t { kWide, kDeep };

DerNode MakeNode(std::int32_t depth, std::uint8_t tag) {
    DerNode node;
    node.depth = depth;
    node.tag = tag;
    if (tag != 0x30) {
        node.content = Blob(1);
    }
    return node;
}

DerList Build(const benchmark::State& state) {
    DerList list;
    const auto nodes = static_cast<std::int32_t>(state.range(1));
    for (std::int32_t i = 0; i + 1 < nodes; ++i) {
        const bool holder = i == 0 || state.range(0) == kDeep;
        list.Append(MakeNode(holder ? i : 1, holder ? 0x30 : 0x02));
    }
    list.Append(MakeNode(state.range(0) == kDeep ? nodes - 1 : 1, 0x02));
    return list;
}

Blob Flatten(const DerList& list) {
    Blob bytes;
    pkisdk::FlattenSubtree(list, 0, &bytes);
    return bytes;
}

DerList Parse(const Blob& bytes) {
    DerList list;
    const auto size = static_cast<std::int32_t>(bytes.GetSize());
    if (pkisdk::ParseDerList(bytes.GetData(), size, &list) != 1) {
        throw std::logic_error("the document does not parse");
    }
    return list;
}

// Time for each node; the benchmark's own time is for the whole list.
void CountNodes(benchmark::State& state, std::size_t nodes) {
    state.counters["node"] =
        benchmark::Counter(static_cast<double>(nodes) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.SetLabel(state.range(0) == kDeep ? "deep" : "wide");
}

void BuildNodeByNode(benchmark::State& state) {
    for (auto _ : state) {
        DerList list = Build(state);
        benchmark::DoNotOptimize(list.begin()->contentLength);
    }
    CountNodes(state, static_cast<std::size_t>(state.range(1)));
}

void ParseDocument(benchmark::State& state) {
    const Blob bytes = Flatten(Build(state));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Parse(bytes));
    }
    CountNodes(state, static_cast<std::size_t>(state.range(1)));
}

void FlattenList(benchmark::State& state) {
    const DerList list = Build(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Flatten(list));
    }
    CountNodes(state, list.size());
}

void ReinsertAll(benchmark::State& state) {
    DerList list = Parse(Flatten(Build(state)));
    for (auto _ : state) {
        list.ReinsertAll();
    }
    CountNodes(state, list.size());
}

// What the check of a password does: a document is parsed, and three times its last node goes.
void ParseAndDropThree(benchmark::State& state) {
    const Blob bytes = Flatten(Build(state));
    for (auto _ : state) {
        DerList list = Parse(bytes);
        for (int i = 0; i < 3; ++i) {
            list.DropLast();
        }
        benchmark::DoNotOptimize(list.begin()->contentLength);
    }
    CountNodes(state, static_cast<std::size_t>(state.range(1)));
}

void CopyList(benchmark::State& state) {
    const DerList list = Build(state);
    for (auto _ : state) {
        DerList copy = list;
        benchmark::DoNotOptimize(copy.back().contentLength);
    }
    CountNodes(state, list.size());
}

// Half the nodes are indefinite levels, the check of each of which leads over the other half.
void ParseOverlappingRuns(benchmark::State& state) {
    const documents::Bytes document =
        documents::OverlappingRuns(static_cast<std::size_t>(state.range(1)) / 2);
    const Blob bytes(document.data(), document.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(Parse(bytes));
    }
    CountNodes(state, document.size() / 2);
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    for (const Shape shape : {kWide, kDeep}) {
        for (const std::int64_t nodes : {1'000, 10'000, 100'000, 1'000'000}) {
            benchmark->Args({shape, nodes});
        }
    }
    benchmark->ArgNames({"deep", "nodes"})->Unit(benchmark::kMicrosecond);
}

void DeepSizes(benchmark::internal::Benchmark* benchmark) {
    for (const std::int64_t nodes : {1'000, 10'000, 100'000, 1'000'000}) {
        benchmark->Args({kDeep, nodes});
    }
    benchmark->ArgNames({"deep", "nodes"})->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BuildNodeByNode)->Apply(Sizes);
BENCHMARK(ParseDocument)->Apply(Sizes);
BENCHMARK(FlattenList)->Apply(Sizes);
BENCHMARK(ReinsertAll)->Apply(Sizes);
BENCHMARK(ParseAndDropThree)->Apply(Sizes);
BENCHMARK(CopyList)->Apply(Sizes);
BENCHMARK(ParseOverlappingRuns)->Apply(DeepSizes);

}  // namespace
