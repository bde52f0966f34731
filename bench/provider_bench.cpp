// What a password's derivation costs through CryptoAPI and the provider, beside what hash libraries
// need for the same bytes: 96 octets of PBKDF2 at 2000 iterations, as a document's MAC takes them.
//
// Each run of a benchmark derives once with every party, one after the other, so that a slow moment
// of the machine hits them alike. Counters are the best time of each in microseconds an iteration,
// and `over_X` what this system takes over party X's time, 1.0 being equal.
#include <benchmark/benchmark.h>
#include <gcrypt.h>
#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>
#include <nettle/hmac.h>
#include <nettle/pbkdf2.h>
#include <nettle/streebog.h>
#include <openssl/engine.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "platform/cryptoapi.h"

namespace {

constexpr unsigned kIterations = 2000;
constexpr std::size_t kOutputSize = 96;

using Output = std::array<std::uint8_t, kOutputSize>;

struct Input {
    // A short password as it is keyed, with its zeros.
    std::array<std::uint8_t, 32> key{'p', 'a', 's', 's', 'w', 'o', 'r', 'd'};
    std::array<std::uint8_t, 32> salt{1, 2, 3};
};

[[noreturn]] void GiveUp(const char* what) {
    std::fprintf(stderr, "%s failed, last error 0x%08X\n", what,
                 static_cast<unsigned>(GetLastError()));
    std::exit(1);
}

void Check(bool isDone, const char* what) {
    if (!isDone) {
        GiveUp(what);
    }
}

class Provider {
  public:
    Provider() {
        Check(CryptAcquireContextA(&context_, nullptr, "Velmorix Cryptographic Service Provider", 2,
                                   CRYPT_VERIFYCONTEXT),
              "CryptAcquireContextA");
    }
    ~Provider() { CryptReleaseContext(context_, 0); }
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;

    void Derive(ALG_ID hash, DWORD hashSize, const Input& input, Output* output) const {
        constexpr ALG_ID kGost28147 = 0x661E;
        HCRYPTKEY key = 0;
        Check(CryptGenKey(context_, kGost28147, 0, &key), "CryptGenKey");
        Check(CryptSetKeyParam(key, KP_KEYVAL, input.key.data(), 0), "CryptSetKeyParam");
        output->fill(0);
        for (DWORD block = 0; block * hashSize < output->size(); ++block) {
            DeriveBlock(key, hash, hashSize, input, block, output);
        }
        CryptDestroyKey(key);
    }

  private:
    void DeriveBlock(HCRYPTKEY key, ALG_ID hash, DWORD hashSize, const Input& input, DWORD block,
                     Output* output) const {
        std::array<BYTE, 64> value{};
        const std::array<BYTE, 4> counter = {0, 0, 0, static_cast<BYTE>(block + 1)};
        const std::size_t start = block * hashSize;
        const std::size_t used = std::min<std::size_t>(hashSize, output->size() - start);
        HMAC_INFO info{};
        info.HashAlgid = hash;
        for (unsigned i = 0; i < kIterations; ++i) {
            HCRYPTHASH hmac = 0;
            bool isDone = CryptCreateHash(context_, CALG_HMAC, key, 0, &hmac) != FALSE;
            isDone &= CryptSetHashParam(hmac, HP_HMAC_INFO, reinterpret_cast<const BYTE*>(&info),
                                        0) != FALSE;
            if (i == 0) {
                isDone &= CryptHashData(hmac, input.salt.data(),
                                        static_cast<DWORD>(input.salt.size()), 0) != FALSE;
                isDone &= CryptHashData(hmac, counter.data(), counter.size(), 0) != FALSE;
            } else {
                isDone &= CryptHashData(hmac, value.data(), hashSize, 0) != FALSE;
            }
            DWORD size = hashSize;
            isDone &= CryptGetHashParam(hmac, HP_HASHVAL, value.data(), &size, 0) != FALSE;
            isDone &= CryptDestroyHash(hmac) != FALSE;
            Check(isDone, "an iteration");
            for (std::size_t k = 0; k < used; ++k) {
                (*output)[start + k] ^= value[k];
            }
        }
    }

    HCRYPTPROV context_ = 0;
};

struct NettleHmac {
    streebog512_ctx outer;
    streebog512_ctx inner;
    streebog512_ctx state;
};

void DeriveWithNettleStreebog(const nettle_hash& hash, const Input& input, Output* output) {
    static const nettle_hash* current = nullptr;
    current = &hash;
    NettleHmac hmac;
    hmac_set_key(&hmac.outer, &hmac.inner, &hmac.state, &hash, input.key.size(), input.key.data());
    pbkdf2(
        &hmac,
        [](void* context, std::size_t size, const std::uint8_t* data) {
            hmac_update(&static_cast<NettleHmac*>(context)->state, current, size, data);
        },
        [](void* context, std::size_t size, std::uint8_t* digest) {
            auto* const self = static_cast<NettleHmac*>(context);
            hmac_digest(&self->outer, &self->inner, &self->state, current, size, digest);
        },
        hash.digest_size, kIterations, input.salt.size(), input.salt.data(), output->size(),
        output->data());
}

void DeriveWithGcrypt(int hash, const Input& input, Output* output) {
    Check(gcry_kdf_derive(input.key.data(), input.key.size(), GCRY_KDF_PBKDF2, hash,
                          input.salt.data(), input.salt.size(), kIterations, output->size(),
                          output->data()) == 0,
          "gcry_kdf_derive");
}

void DeriveWithGnutls(gnutls_mac_algorithm_t mac, Input input, Output* output) {
    const gnutls_datum_t key = {input.key.data(), static_cast<unsigned>(input.key.size())};
    const gnutls_datum_t salt = {input.salt.data(), static_cast<unsigned>(input.salt.size())};
    Check(gnutls_pbkdf2(mac, &key, &salt, kIterations, output->data(), output->size()) == 0,
          "gnutls_pbkdf2");
}

// Null where OpenSSL has no GOST engine.
const EVP_MD* OpensslDigest(const char* name) {
    static ENGINE* const engine = [] {
        ENGINE_load_builtin_engines();
        ENGINE* const found = ENGINE_by_id("gost");
        if (found != nullptr && ENGINE_init(found) != 0) {
            ENGINE_set_default(found, ENGINE_METHOD_DIGESTS);
        }
        return found;
    }();
    return engine == nullptr ? nullptr : EVP_get_digestbyname(name);
}

void DeriveWithOpenssl(const EVP_MD* digest, const Input& input, Output* output) {
    Check(PKCS5_PBKDF2_HMAC(reinterpret_cast<const char*>(input.key.data()),
                            static_cast<int>(input.key.size()), input.salt.data(),
                            static_cast<int>(input.salt.size()), kIterations, digest,
                            static_cast<int>(output->size()), output->data()) == 1,
          "PKCS5_PBKDF2_HMAC");
}

struct Party {
    std::string name;
    std::function<void(const Input&, Output*)> derive;
    double best = std::numeric_limits<double>::infinity();
};

double Seconds(const Party& party, const Input& input, Output* output) {
    const auto start = std::chrono::steady_clock::now();
    party.derive(input, output);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The first party is this system.
void Compare(benchmark::State& state, std::vector<Party> parties, std::size_t digestSize) {
    const Input input;
    for (auto _ : state) {
        Output expected{};
        for (Party& party : parties) {
            Output output{};
            const double seconds = Seconds(party, input, &output);
            party.best = std::min(party.best, seconds);
            if (&party == &parties.front()) {
                state.SetIterationTime(seconds);
                expected = output;
            } else {
                Check(output == expected, party.name.c_str());
            }
        }
    }
    const std::size_t blocks = (kOutputSize + digestSize - 1) / digestSize;
    const double steps = static_cast<double>(blocks * kIterations);
    for (const Party& party : parties) {
        state.counters[party.name + "_us"] = party.best * 1e6 / steps;
        if (&party != &parties.front()) {
            state.counters["over_" + party.name] = parties.front().best / party.best;
        }
    }
}

void AddOpenssl(const char* digestName, std::vector<Party>* parties) {
    if (const EVP_MD* const digest = OpensslDigest(digestName)) {
        parties->push_back({"openssl", [digest](const Input& input, Output* output) {
                                DeriveWithOpenssl(digest, input, output);
                            }});
    }
}

std::vector<Party> CommonParties(const Provider& provider, ALG_ID hash, DWORD digestSize,
                                 int gcryptHash, gnutls_mac_algorithm_t gnutlsMac) {
    return {
        {"ours",
         [&provider, hash, digestSize](const Input& input, Output* output) {
             provider.Derive(hash, digestSize, input, output);
         }},
        {"gcrypt", [gcryptHash](const Input& input,
                                Output* output) { DeriveWithGcrypt(gcryptHash, input, output); }},
        {"gnutls", [gnutlsMac](const Input& input, Output* output) {
             DeriveWithGnutls(gnutlsMac, input, output);
         }}};
}

void GostR3411_94(benchmark::State& state) {
    const Provider provider;
    std::vector<Party> parties =
        CommonParties(provider, 0x801E, 32, GCRY_MD_GOSTR3411_CP, GNUTLS_MAC_GOSTR_94);
    parties.push_back({"nettle", [](const Input& input, Output* output) {
                           pbkdf2_hmac_gosthash94cp(input.key.size(), input.key.data(), kIterations,
                                                    input.salt.size(), input.salt.data(),
                                                    output->size(), output->data());
                       }});
    AddOpenssl("md_gost94", &parties);
    Compare(state, std::move(parties), 32);
}

void GostR3411_2012_256(benchmark::State& state) {
    const Provider provider;
    std::vector<Party> parties =
        CommonParties(provider, 0x8021, 32, GCRY_MD_STRIBOG256, GNUTLS_MAC_STREEBOG_256);
    parties.push_back({"nettle", [](const Input& input, Output* output) {
                           DeriveWithNettleStreebog(nettle_streebog256, input, output);
                       }});
    AddOpenssl("md_gost12_256", &parties);
    Compare(state, std::move(parties), 32);
}

void GostR3411_2012_512(benchmark::State& state) {
    const Provider provider;
    std::vector<Party> parties =
        CommonParties(provider, 0x8022, 64, GCRY_MD_STRIBOG512, GNUTLS_MAC_STREEBOG_512);
    parties.push_back({"nettle", [](const Input& input, Output* output) {
                           DeriveWithNettleStreebog(nettle_streebog512, input, output);
                       }});
    AddOpenssl("md_gost12_512", &parties);
    Compare(state, std::move(parties), 64);
}

BENCHMARK(GostR3411_94)->UseManualTime()->Iterations(40)->Unit(benchmark::kMillisecond);
BENCHMARK(GostR3411_2012_256)->UseManualTime()->Iterations(40)->Unit(benchmark::kMillisecond);
BENCHMARK(GostR3411_2012_512)->UseManualTime()->Iterations(40)->Unit(benchmark::kMillisecond);

}  // namespace
