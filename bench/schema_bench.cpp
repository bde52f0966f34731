// Reading and writing an EncrContent and a PfxKeyBag beside a copy of their content. With content
// of one octet, what is left is the constant.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "asn/asn_object_readable.h"
#include "schema/encr_content.h"
#include "schema/pfx_key_bag.h"

namespace {

using pkisdk::Blob;
using pkisdk::asn::AsnObjectReadable;

Blob Content(const benchmark::State& state) {
    Blob content(static_cast<std::uint64_t>(state.range(0)));
    std::uint8_t value = 0;
    for (std::int32_t i = 0; i < static_cast<std::int32_t>(content.GetSize()); ++i) {
        *content.GetAt(i) = ++value;
    }
    return content;
}

Blob& ContentOf(EncrContent& object) {
    return object.encrContentInfo.EncryptedData;
}

Blob& ContentOf(PfxKeyBag& object) {
    return object.pfxKeyInfo.encrKey;
}

template <typename T>
Blob Encoded(const benchmark::State& state) {
    T object;
    ContentOf(object) = Content(state);
    Blob encoded;
    object.SerializeToAsnNode({})->Serialize(&encoded);
    return encoded;
}

void SetBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

// What any reader or writer that owns its result must do.
void CopyContent(benchmark::State& state) {
    const Blob content = Content(state);
    for (auto _ : state) {
        Blob copy(content);
        benchmark::DoNotOptimize(copy.GetData());
    }
    SetBytes(state);
}

template <typename T>
void Read(benchmark::State& state) {
    const Blob encoded = Encoded<T>(state);
    for (auto _ : state) {
        T object;
        object.DeserializeFromAsnObject(AsnObjectReadable::FromBlob(encoded), "");
        benchmark::DoNotOptimize(ContentOf(object).GetData());
    }
    SetBytes(state);
}

template <typename T>
void Write(benchmark::State& state) {
    T object;
    ContentOf(object) = Content(state);
    for (auto _ : state) {
        Blob encoded;
        object.SerializeToAsnNode({})->Serialize(&encoded);
        benchmark::DoNotOptimize(encoded.GetData());
    }
    SetBytes(state);
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1)->Arg(1 << 20)->Arg(16 << 20)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(CopyContent)->Apply(Sizes);
BENCHMARK(Read<EncrContent>)->Apply(Sizes);
BENCHMARK(Read<PfxKeyBag>)->Apply(Sizes);
BENCHMARK(Write<EncrContent>)->Apply(Sizes);
BENCHMARK(Write<PfxKeyBag>)->Apply(Sizes);

}  // namespace
