// A document becomes a store and keys in containers: UzRestorePFX beside OpenSSL's PKCS12_parse,
// which verifies the MAC itself, and GnuTLS's verification and gnutls_pkcs12_simple_parse, on the
// same bytes. Ours writes each key to a container on the disk, which the peers do not; that it is
// deleted again is not counted.
#include <benchmark/benchmark.h>
#include <gnutls/pkcs12.h>
#include <malloc.h>
#include <openssl/pkcs12.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "gost_engine.h"
#include "mvlpfx/mvlpfx.h"
#include "support/containers_in_csp.h"
#include "support/key_store.h"
#include "support/safe_bags.h"

namespace {

using test_support::Bytes;
using test_support::CertificateBytes;

constexpr char kPassword[] = "Password1";
constexpr wchar_t kWidePassword[] = L"Password1";
// GOST R 34.10-2012, 256 bits, which is what mvlpfx makes where nothing else is asked for.
constexpr ALG_ID kKeyAlgorithm = 0x2E49;

// A certificate of a true key, its last octets of the signature changed, which nobody verifies
// here.
CertificateBytes Numbered(CertificateBytes certificate, std::size_t number) {
    certificate[certificate.size() - 1] = static_cast<BYTE>(number);
    certificate[certificate.size() - 2] = static_cast<BYTE>(number >> 8);
    return certificate;
}

// Our own: one key with its certificate and `others` without, 2000 iterations.
Bytes MakeOwn(std::size_t others) {
    const test_support::KeyStore store;
    const CertificateBytes certificate = store.AddKey("bench", kKeyAlgorithm);
    for (std::size_t number = 0; number < others; ++number) {
        store.Add(Numbered(certificate, number));
    }
    PfxBlob pfx{0, nullptr};
    UzCreatePFX(store.Get(), &pfx, kWidePassword, 0);
    Bytes document(pfx.cbData);
    pfx.pbData = document.data();
    UzCreatePFX(store.Get(), &pfx, kWidePassword, 0);
    return document;
}

// Certificates alone, one iteration: what is left is the reader's own work.
Bytes MakeCheap(std::size_t certificates) {
    const test_support::KeyStore store;
    const CertificateBytes certificate = store.AddKey("bench", kKeyAlgorithm);
    std::vector<Bytes> bags;
    for (std::size_t number = 0; number < certificates; ++number) {
        bags.push_back(test_support::CertificateBag{Numbered(certificate, number), {}}.Build());
    }
    test_support::Encryption cheap;
    cheap.iterations = 1;
    test_support::PfxBuilder builder;
    builder.iterations = 1;
    builder.iterationOctets = {1};
    builder.authSafe = test_support::Element(
        0x30, test_support::Join({test_support::EncryptedContentInfo(bags, cheap),
                                  test_support::PlainContentInfo({})}));
    return builder.Build();
}

Bytes& Remembered(Bytes (*make)(std::size_t), std::int64_t count) {
    static std::map<std::pair<Bytes (*)(std::size_t), std::int64_t>, Bytes> made;
    const auto [at, isNew] = made.try_emplace({make, count});
    if (isNew) {
        at->second = make(static_cast<std::size_t>(count));
    }
    return at->second;
}

bool Restore(Bytes* document) {
    const PfxBlob pfx{static_cast<DWORD>(document->size()), document->data()};
    HCERTSTORE const store = UzRestorePFX(&pfx, kWidePassword, 0);
    return store != nullptr && CertCloseStore(store, 0);
}

void RunOwn(benchmark::State& state, Bytes (*make)(std::size_t), bool hasKeys) {
    Bytes& document = Remembered(make, state.range(0));
    // The peers leave a key in memory. What a disk takes to make one lasting is not compared.
    const test_support::ScopedVariable folder("TMPDIR", "/dev/shm");
    const test_support::ContainerHome home;
    for (auto _ : state) {
        if (!Restore(&document)) {
            state.SkipWithError("nothing was restored");
        }
        if (hasKeys) {
            state.PauseTiming();
            test_support::DeleteContainers();
            state.ResumeTiming();
        }
    }
    state.counters["document"] = static_cast<double>(document.size());
}

void OwnRestore(benchmark::State& state) {
    RunOwn(state, MakeOwn, true);
}

void OwnRestoreCertificates(benchmark::State& state) {
    RunOwn(state, MakeCheap, false);
    state.counters["each"] = benchmark::Counter(
        static_cast<double>(state.range(0)),
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

const bool kHasGostEngine = bench::LoadGostEngine();

// How many certificates it gave; 0 where it failed.
int ParseByOpenssl(const Bytes& document) {
    const unsigned char* at = document.data();
    PKCS12* const pfx = d2i_PKCS12(nullptr, &at, static_cast<long>(document.size()));
    EVP_PKEY* key = nullptr;
    X509* certificate = nullptr;
    STACK_OF(X509)* others = nullptr;
    const bool isDone = PKCS12_parse(pfx, kPassword, &key, &certificate, &others) == 1 &&
                        key != nullptr && certificate != nullptr;
    const int count = isDone ? 1 + std::max(sk_X509_num(others), 0) : 0;
    EVP_PKEY_free(key);
    X509_free(certificate);
    sk_X509_pop_free(others, X509_free);
    PKCS12_free(pfx);
    return count;
}

void OpensslParse(benchmark::State& state) {
    if (!kHasGostEngine) {
        state.SkipWithError("OpenSSL has no GOST engine");
        return;
    }
    const Bytes& document = Remembered(MakeOwn, state.range(0));
    for (auto _ : state) {
        const int count = ParseByOpenssl(document);
        if (count == 0) {
            state.SkipWithError("OpenSSL did not read the document");
        }
        state.counters["certificates"] = count;
    }
}

// The same. A bag of GnuTLS holds 32 elements, and those behind them are passed over.
unsigned ParseByGnutls(Bytes* document) {
    const gnutls_datum_t datum{document->data(), static_cast<unsigned>(document->size())};
    gnutls_pkcs12_t pfx = nullptr;
    gnutls_pkcs12_init(&pfx);
    gnutls_x509_privkey_t key = nullptr;
    gnutls_x509_crt_t* chain = nullptr;
    gnutls_x509_crt_t* others = nullptr;
    unsigned chainSize = 0;
    unsigned othersSize = 0;
    const bool isDone = gnutls_pkcs12_import(pfx, &datum, GNUTLS_X509_FMT_DER, 0) == 0 &&
                        gnutls_pkcs12_verify_mac(pfx, kPassword) == 0 &&
                        gnutls_pkcs12_simple_parse(pfx, kPassword, &key, &chain, &chainSize,
                                                   &others, &othersSize, nullptr, 0) == 0;
    for (unsigned at = 0; at < chainSize; ++at) {
        gnutls_x509_crt_deinit(chain[at]);
    }
    for (unsigned at = 0; at < othersSize; ++at) {
        gnutls_x509_crt_deinit(others[at]);
    }
    gnutls_free(chain);
    gnutls_free(others);
    gnutls_x509_privkey_deinit(key);
    gnutls_pkcs12_deinit(pfx);
    return isDone ? chainSize + othersSize : 0;
}

void GnutlsParse(benchmark::State& state) {
    Bytes& document = Remembered(MakeOwn, state.range(0));
    for (auto _ : state) {
        const unsigned count = ParseByGnutls(&document);
        if (count == 0) {
            state.SkipWithError("GnuTLS did not read the document");
        }
        state.counters["certificates"] = count;
    }
}

// A line of what the system tells about this process, in bytes.
long Status(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name + ":")) {
            return std::stol(line.substr(name.size() + 1)) * 1024;
        }
    }
    return 0;
}

// By how much the resident memory of a process of its own grows at most in one restore; 0 where the
// restore failed.
long PeakOfRestore(Bytes* document) {
    int answer[2];
    if (pipe(answer) != 0) {
        return 0;
    }
    const pid_t child = fork();
    if (child == 0) {
        // What the code and its libraries take is there already, what was freed is not taken for
        // new, and the peak starts from here.
        Restore(&Remembered(MakeCheap, 1));
        malloc_trim(0);
        std::ofstream("/proc/self/clear_refs") << "5";
        const long before = Status("VmRSS");
        const long grown = Restore(document) ? Status("VmHWM") - before : 0;
        _exit(write(answer[1], &grown, sizeof grown) == sizeof grown ? 0 : 1);
    }
    long grown = 0;
    close(answer[1]);
    if (read(answer[0], &grown, sizeof grown) != sizeof grown) {
        grown = 0;
    }
    close(answer[0]);
    waitpid(child, nullptr, 0);
    return grown;
}

void OwnRestoreMemory(benchmark::State& state) {
    Bytes& document = Remembered(MakeCheap, state.range(0));
    // Made in this process, for the other one to find.
    Remembered(MakeCheap, 1);
    long peak = 0;
    for (auto _ : state) {
        peak = PeakOfRestore(&document);
    }
    state.counters["document"] = static_cast<double>(document.size());
    state.counters["peak"] = static_cast<double>(peak);
    state.counters["times"] = static_cast<double>(peak) / static_cast<double>(document.size());
}

BENCHMARK(OwnRestore)->Arg(0)->Arg(999)->Unit(benchmark::kMillisecond);
BENCHMARK(OpensslParse)->Arg(0)->Arg(999)->Unit(benchmark::kMillisecond);
BENCHMARK(GnutlsParse)->Arg(0)->Arg(999)->Unit(benchmark::kMillisecond);
BENCHMARK(OwnRestoreCertificates)
    ->RangeMultiplier(10)
    ->Range(100, 10'000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(OwnRestoreMemory)
    ->RangeMultiplier(10)
    ->Range(100, 10'000)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

}  // namespace
