// A password against a document: UzVerifyPswPFX beside the peers on the same documents, and the
// derivation alone beside the hash library's own. The peers' documents are parsed beforehand, ours
// in every call.
#include <benchmark/benchmark.h>
#include <gnutls/pkcs12.h>
#include <nettle/gosthash94.h>
#include <nettle/hmac.h>
#include <nettle/pbkdf2.h>
#include <nettle/streebog.h>
#include <openssl/pkcs12.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "gost_engine.h"
#include "mvlpfx/mvlpfx.h"
#include "pfxcrypto/handle_guards.h"
#include "pfxcrypto/pfx_constants.h"
#include "pfxcrypto/pfx_pbkdf2.h"
#include "support/pfx_builder.h"

namespace {

constexpr unsigned kIterations = 2000;
constexpr std::size_t kDerivedSize = 96;

struct Document {
    const char* name;
    const char* password;
    const wchar_t* widePassword;
};
// 2048 iterations each.
constexpr std::array kDocuments = {
    Document{"openssl-2001", "Password1", L"Password1"},
    Document{"openssl-2012-512", "password with spaces", L"password with spaces"},
};

const Document& DocumentOf(const benchmark::State& state) {
    return kDocuments.at(static_cast<std::size_t>(state.range(0)));
}

std::vector<unsigned char> Read(const Document& document) {
    std::ifstream file(std::string(MVLPFX_BENCH_DATA) + "/" + document.name + ".pfx",
                       std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void Expect(benchmark::State& state, bool fits) {
    if (!fits) {
        state.SkipWithError("the document was not verified");
    }
}

void OwnVerify(benchmark::State& state) {
    auto bytes = Read(DocumentOf(state));
    const PfxBlob pfx{static_cast<DWORD>(bytes.size()), bytes.data()};
    for (auto _ : state) {
        Expect(state, UzVerifyPswPFX(&pfx, DocumentOf(state).widePassword) != FALSE);
    }
    state.SetLabel(DocumentOf(state).name);
}

void OpensslVerify(benchmark::State& state) {
    static const bool loaded = bench::LoadGostEngine();
    if (!loaded) {
        state.SkipWithError("OpenSSL has no GOST engine");
        return;
    }
    const auto bytes = Read(DocumentOf(state));
    const unsigned char* at = bytes.data();
    const std::unique_ptr<PKCS12, decltype(&PKCS12_free)> pfx(
        d2i_PKCS12(nullptr, &at, static_cast<long>(bytes.size())), PKCS12_free);
    for (auto _ : state) {
        Expect(state, PKCS12_verify_mac(pfx.get(), DocumentOf(state).password, -1) == 1);
    }
    state.SetLabel(DocumentOf(state).name);
}

void GnutlsVerify(benchmark::State& state) {
    auto bytes = Read(DocumentOf(state));
    const gnutls_datum_t datum{bytes.data(), static_cast<unsigned>(bytes.size())};
    gnutls_pkcs12_t pfx = nullptr;
    gnutls_pkcs12_init(&pfx);
    gnutls_pkcs12_import(pfx, &datum, GNUTLS_X509_FMT_DER, 0);
    for (auto _ : state) {
        Expect(state, gnutls_pkcs12_verify_mac(pfx, DocumentOf(state).password) == 0);
    }
    gnutls_pkcs12_deinit(pfx);
    state.SetLabel(DocumentOf(state).name);
}

void OwnDerivation(benchmark::State& state, ALG_ID hash) {
    pkisdk::ProviderContext provider;
    if (!CryptAcquireContextA(provider.Put(), nullptr, pkisdk::kProviderName, 2,
                              CRYPT_VERIFYCONTEXT)) {
        state.SkipWithError("no provider");
        return;
    }
    const pkisdk::Blob password("Password1", 9);
    const pkisdk::Blob salt("01234567890123456789012345678901", 32);
    pkisdk::Blob output;
    for (auto _ : state) {
        pkisdk::PfxPbkdf2(provider.Get(), hash, pkisdk::kGost28147, password, salt, kIterations,
                          kDerivedSize, &output);
        benchmark::DoNotOptimize(output.GetData());
    }
}

template <typename Context>
void LibraryDerivation(benchmark::State& state,
                       void (*setKey)(Context*, std::size_t, const std::uint8_t*),
                       void (*update)(Context*, std::size_t, const std::uint8_t*),
                       void (*digest)(Context*, std::size_t, std::uint8_t*), std::size_t size) {
    std::array<std::uint8_t, kDerivedSize> output{};
    Context context;
    const auto* salt = reinterpret_cast<const std::uint8_t*>("01234567890123456789012345678901");
    for (auto _ : state) {
        setKey(&context, 9, reinterpret_cast<const std::uint8_t*>("Password1"));
        pbkdf2(&context, reinterpret_cast<nettle_hash_update_func*>(update),
               reinterpret_cast<nettle_hash_digest_func*>(digest), size, kIterations, 32, salt,
               output.size(), output.data());
        benchmark::DoNotOptimize(output.data());
    }
}

void LibraryGost94(benchmark::State& state) {
    LibraryDerivation<hmac_gosthash94cp_ctx>(state, hmac_gosthash94cp_set_key,
                                             hmac_gosthash94cp_update, hmac_gosthash94cp_digest,
                                             GOSTHASH94CP_DIGEST_SIZE);
}
void LibraryStreebog512(benchmark::State& state) {
    LibraryDerivation<hmac_streebog512_ctx>(state, hmac_streebog512_set_key,
                                            hmac_streebog512_update, hmac_streebog512_digest,
                                            STREEBOG512_DIGEST_SIZE);
}
void OwnGost94(benchmark::State& state) {
    OwnDerivation(state, pkisdk::kGostR3411_94);
}
void OwnStreebog512(benchmark::State& state) {
    OwnDerivation(state, pkisdk::kGostR3411_512);
}

// Documents of many nodes, one iteration each: what is left is the reader's own work.
enum Shape : std::int64_t { kWide, kDeep };

void OwnVerifyNodes(benchmark::State& state) {
    const auto nodes = static_cast<std::size_t>(state.range(1));
    test_support::PfxBuilder builder;
    builder.iterations = 1;
    builder.iterationOctets = {1};
    builder.content = state.range(0) == kWide
                          ? test_support::Element(0x30, test_support::Bytes(2 * (nodes - 1), 0x05))
                          : test_support::NestedSequences(nodes);
    if (state.range(0) == kWide) {
        // NULL after NULL: 05 00.
        for (std::size_t at = builder.content.size() - 2 * (nodes - 1) + 1;
             at < builder.content.size(); at += 2) {
            builder.content[at] = 0;
        }
    }
    auto bytes = builder.Build();
    const PfxBlob pfx{static_cast<DWORD>(bytes.size()), bytes.data()};
    for (auto _ : state) {
        Expect(state, UzVerifyPswPFX(&pfx, L"Password1") != FALSE);
    }
    state.counters["per_node"] = benchmark::Counter(
        static_cast<double>(nodes),
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.SetLabel(state.range(0) == kWide ? "wide" : "deep");
}

BENCHMARK(OwnVerifyNodes)
    ->ArgsProduct({{kWide, kDeep}, {1'000, 10'000, 100'000, 1'000'000}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(OwnVerify)->DenseRange(0, 1)->Unit(benchmark::kMillisecond);
BENCHMARK(OpensslVerify)->DenseRange(0, 1)->Unit(benchmark::kMillisecond);
BENCHMARK(GnutlsVerify)->DenseRange(0, 1)->Unit(benchmark::kMillisecond);
BENCHMARK(OwnGost94)->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryGost94)->Unit(benchmark::kMillisecond);
BENCHMARK(OwnStreebog512)->Unit(benchmark::kMillisecond);
BENCHMARK(LibraryStreebog512)->Unit(benchmark::kMillisecond);

}  // namespace
