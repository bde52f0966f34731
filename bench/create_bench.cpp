// A document from a store: UzCreatePFX beside OpenSSL's PKCS12_create and GnuTLS's bags, over the
// same keys and certificates. Ours opens each key's container from its file in every document; the
// peers hold their keys in memory. OpenSSL derives by 2000 iterations as we do, while GnuTLS has
// counts of its own (the label tells) that its interface does not let a caller choose.
#include <benchmark/benchmark.h>
#include <gnutls/pkcs12.h>
#include <openssl/pkcs12.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "gost_engine.h"
#include "mvlpfx/mvlpfx.h"
#include "support/key_store.h"

namespace {

using test_support::CertificateBytes;
using Bytes = std::vector<unsigned char>;

constexpr char kPassword[] = "Password1";
constexpr wchar_t kWidePassword[] = L"Password1";
constexpr int kIterations = 2000;
// GOST R 34.10-2012, 256 bits, which is what mvlpfx makes where nothing else is asked for.
constexpr ALG_ID kKeyAlgorithm = 0x2E49;

// What a document is made of. The private keys of the peers come from our own document.
struct Material {
    test_support::KeyStore store;
    std::vector<CertificateBytes> keyCertificates;
    std::vector<CertificateBytes> others;

    Material(int keys, int certificates) {
        for (int key = 0; key < keys; ++key) {
            keyCertificates.push_back(store.AddKey("bench-" + std::to_string(key), kKeyAlgorithm));
        }
        if (certificates == 0) {
            return;
        }
        // They differ in their signatures' last octets, which nobody verifies here.
        const test_support::KeyStore signer;
        CertificateBytes certificate = signer.AddKey("signer", kKeyAlgorithm);
        for (int number = 0; number < certificates; ++number) {
            certificate[certificate.size() - 1] = static_cast<BYTE>(number);
            certificate[certificate.size() - 2] = static_cast<BYTE>(number >> 8);
            store.Add(certificate);
            others.push_back(certificate);
        }
    }
};

// One at a time, since each sets where containers lie.
const Material& MaterialOf(const benchmark::State& state) {
    static std::pair<std::int64_t, std::int64_t> madeOf;
    static std::unique_ptr<Material> made;
    if (const std::pair wanted{state.range(0), state.range(1)}; !made || madeOf != wanted) {
        made.reset();
        made = std::make_unique<Material>(static_cast<int>(wanted.first),
                                          static_cast<int>(wanted.second));
        madeOf = wanted;
    }
    return *made;
}

void Count(benchmark::State& state, std::size_t documentSize) {
    state.counters["document"] = static_cast<double>(documentSize);
    const auto units = static_cast<double>(state.range(0) + state.range(1));
    state.counters["each"] = benchmark::Counter(
        units, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// The document's size; 0 where there is none.
DWORD Create(HCERTSTORE store, Bytes* document) {
    PfxBlob pfx{static_cast<DWORD>(document->size()), document->data()};
    return UzCreatePFX(store, &pfx, kWidePassword, 0) ? pfx.cbData : 0;
}

Bytes OwnDocument(const Material& material) {
    Bytes document;
    document.resize(Create(material.store.Get(), &document));
    Create(material.store.Get(), &document);
    return document;
}

// One call, with a buffer that is large enough. A caller that asks for the size pays that again,
// less the wrapping of the keys.
void OwnCreate(benchmark::State& state) {
    const Material& material = MaterialOf(state);
    Bytes document = OwnDocument(material);
    for (auto _ : state) {
        if (Create(material.store.Get(), &document) == 0) {
            state.SkipWithError("no document was made");
        }
    }
    Count(state, document.size());
}

struct Free {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(PKCS12* pfx) const { PKCS12_free(pfx); }
    void operator()(STACK_OF(X509) * stack) const { sk_X509_free(stack); }
    void operator()(STACK_OF(PKCS7) * stack) const { sk_PKCS7_pop_free(stack, PKCS7_free); }
    void operator()(STACK_OF(PKCS12_SAFEBAG) * stack) const {
        sk_PKCS12_SAFEBAG_pop_free(stack, PKCS12_SAFEBAG_free);
    }
};
template <typename Type>
using Owned = std::unique_ptr<Type, Free>;

const bool kHasGostEngine = bench::LoadGostEngine();

Owned<X509> ToX509(const CertificateBytes& bytes) {
    const unsigned char* at = bytes.data();
    return Owned<X509>(d2i_X509(nullptr, &at, static_cast<long>(bytes.size())));
}

// Of a document's key bags, in their order.
std::vector<Owned<EVP_PKEY>> ReadKeys(const Bytes& document) {
    const unsigned char* at = document.data();
    const Owned<PKCS12> pfx(d2i_PKCS12(nullptr, &at, static_cast<long>(document.size())));
    const Owned<STACK_OF(PKCS7)> safes(PKCS12_unpack_authsafes(pfx.get()));
    const Owned<STACK_OF(PKCS12_SAFEBAG)> bags(
        PKCS12_unpack_p7data(sk_PKCS7_value(safes.get(), 0)));
    std::vector<Owned<EVP_PKEY>> keys;
    for (int index = 0; index < sk_PKCS12_SAFEBAG_num(bags.get()); ++index) {
        const std::unique_ptr<PKCS8_PRIV_KEY_INFO, decltype(&PKCS8_PRIV_KEY_INFO_free)> info(
            PKCS12_decrypt_skey(sk_PKCS12_SAFEBAG_value(bags.get(), index), kPassword, -1),
            PKCS8_PRIV_KEY_INFO_free);
        keys.emplace_back(EVP_PKCS82PKEY(info.get()));
    }
    return keys;
}

struct OpensslMaterial {
    std::vector<Owned<EVP_PKEY>> keys;
    std::vector<Owned<X509>> keyCertificates;
    std::vector<Owned<X509>> others;
    Owned<STACK_OF(X509)> stack{sk_X509_new_null()};

    explicit OpensslMaterial(const Material& material) {
        keys = ReadKeys(OwnDocument(material));
        for (const auto& bytes : material.keyCertificates) {
            keyCertificates.push_back(ToX509(bytes));
        }
        for (const auto& bytes : material.others) {
            others.push_back(ToX509(bytes));
            sk_X509_push(stack.get(), others.back().get());
        }
    }
};

// What PKCS12_create does for a single key, for many.
Owned<PKCS12> CreateOfManyKeys(const OpensslMaterial& material) {
    STACK_OF(PKCS12_SAFEBAG)* keyBags = nullptr;
    STACK_OF(PKCS12_SAFEBAG)* certificateBags = nullptr;
    STACK_OF(PKCS7)* safes = nullptr;
    for (std::size_t index = 0; index < material.keys.size(); ++index) {
        PKCS12_add_key(&keyBags, material.keys[index].get(), 0, kIterations, NID_id_Gost28147_89,
                       kPassword);
        PKCS12_add_cert(&certificateBags, material.keyCertificates[index].get());
    }
    PKCS12_add_safe(&safes, certificateBags, NID_id_Gost28147_89, kIterations, kPassword);
    PKCS12_add_safe(&safes, keyBags, -1, 0, nullptr);
    const Owned<STACK_OF(PKCS12_SAFEBAG)> freeKeys(keyBags);
    const Owned<STACK_OF(PKCS12_SAFEBAG)> freeCertificates(certificateBags);
    const Owned<STACK_OF(PKCS7)> freeSafes(safes);
    return Owned<PKCS12>(PKCS12_add_safes(safes, 0));
}

Owned<PKCS12> OpensslDocument(const OpensslMaterial& material) {
    if (material.keys.size() > 1) {
        return CreateOfManyKeys(material);
    }
    const bool hasKey = !material.keys.empty();
    return Owned<PKCS12>(
        PKCS12_create(kPassword, nullptr, hasKey ? material.keys[0].get() : nullptr,
                      hasKey ? material.keyCertificates[0].get() : nullptr, material.stack.get(),
                      NID_id_Gost28147_89, NID_id_Gost28147_89, kIterations, -1, 0));
}

void OpensslCreate(benchmark::State& state) {
    if (!kHasGostEngine) {
        state.SkipWithError("OpenSSL has no GOST engine");
        return;
    }
    const OpensslMaterial material(MaterialOf(state));
    // As in our own document.
    const EVP_MD* hash =
        EVP_get_digestbyname(material.keys.empty() ? "md_gost94" : "md_gost12_512");
    int size = 0;
    for (auto _ : state) {
        const Owned<PKCS12> pfx = OpensslDocument(material);
        unsigned char* encoded = nullptr;
        if (!pfx || PKCS12_set_mac(pfx.get(), kPassword, -1, nullptr, 0, kIterations, hash) != 1 ||
            (size = i2d_PKCS12(pfx.get(), &encoded)) <= 0) {
            state.SkipWithError("OpenSSL made no document");
        }
        OPENSSL_free(encoded);
    }
    Count(state, static_cast<std::size_t>(size));
}

gnutls_datum_t Datum(const CertificateBytes& bytes) {
    return {const_cast<unsigned char*>(bytes.data()), static_cast<unsigned>(bytes.size())};
}

gnutls_x509_crt_t ToGnutls(const CertificateBytes& bytes) {
    gnutls_x509_crt_t certificate = nullptr;
    const gnutls_datum_t datum = Datum(bytes);
    gnutls_x509_crt_init(&certificate);
    gnutls_x509_crt_import(certificate, &datum, GNUTLS_X509_FMT_DER);
    return certificate;
}

struct GnutlsMaterial {
    std::vector<gnutls_x509_privkey_t> keys;
    std::vector<gnutls_x509_crt_t> certificates;

    explicit GnutlsMaterial(const Material& material) {
        for (const auto* list : {&material.keyCertificates, &material.others}) {
            for (const auto& bytes : *list) {
                certificates.push_back(ToGnutls(bytes));
            }
        }
        for (const auto& key : ReadKeys(OwnDocument(material))) {
            const std::unique_ptr<PKCS8_PRIV_KEY_INFO, decltype(&PKCS8_PRIV_KEY_INFO_free)> info(
                EVP_PKEY2PKCS8(key.get()), PKCS8_PRIV_KEY_INFO_free);
            CertificateBytes encoded(
                static_cast<std::size_t>(i2d_PKCS8_PRIV_KEY_INFO(info.get(), nullptr)));
            unsigned char* to = encoded.data();
            i2d_PKCS8_PRIV_KEY_INFO(info.get(), &to);
            keys.push_back(nullptr);
            const gnutls_datum_t datum = Datum(encoded);
            gnutls_x509_privkey_init(&keys.back());
            gnutls_x509_privkey_import_pkcs8(keys.back(), &datum, GNUTLS_X509_FMT_DER, nullptr,
                                             GNUTLS_PKCS_PLAIN);
        }
    }
    GnutlsMaterial(const GnutlsMaterial&) = delete;
    GnutlsMaterial& operator=(const GnutlsMaterial&) = delete;
    ~GnutlsMaterial() {
        for (const auto certificate : certificates) {
            gnutls_x509_crt_deinit(certificate);
        }
        for (const auto key : keys) {
            gnutls_x509_privkey_deinit(key);
        }
    }
};

// A bag of GnuTLS holds this many elements.
constexpr std::size_t kBagCapacity = 32;

// Fills bags by `set`, each then encrypted unless its elements are.
template <typename Element, typename Set>
void AddBags(gnutls_pkcs12_t pfx, const std::vector<Element>& elements, bool areEncrypted,
             const Set& set) {
    for (std::size_t first = 0; first < elements.size(); first += kBagCapacity) {
        gnutls_pkcs12_bag_t bag = nullptr;
        gnutls_pkcs12_bag_init(&bag);
        for (std::size_t at = first; at < std::min(first + kBagCapacity, elements.size()); ++at) {
            set(bag, elements[at]);
        }
        if (!areEncrypted) {
            gnutls_pkcs12_bag_encrypt(bag, kPassword, GNUTLS_PKCS_PBES2_GOST_TC26Z);
        }
        gnutls_pkcs12_set_bag(pfx, bag);
        gnutls_pkcs12_bag_deinit(bag);
    }
}

// The document's size; 0 where there is none.
unsigned GnutlsDocument(const GnutlsMaterial& material, unsigned* iterations) {
    gnutls_pkcs12_t pfx = nullptr;
    gnutls_pkcs12_init(&pfx);
    AddBags(pfx, material.certificates, false,
            [](gnutls_pkcs12_bag_t bag, gnutls_x509_crt_t certificate) {
                gnutls_pkcs12_bag_set_crt(bag, certificate);
            });
    AddBags(pfx, material.keys, true, [](gnutls_pkcs12_bag_t bag, gnutls_x509_privkey_t key) {
        gnutls_pkcs12_bag_set_privkey(bag, key, kPassword, GNUTLS_PKCS_PBES2_GOST_TC26Z);
    });
    gnutls_datum_t encoded{};
    if (gnutls_pkcs12_generate_mac2(pfx, GNUTLS_MAC_STREEBOG_512, kPassword) < 0 ||
        gnutls_pkcs12_export2(pfx, GNUTLS_X509_FMT_DER, &encoded) < 0) {
        encoded.size = 0;
    }
    gnutls_pkcs12_mac_info(pfx, nullptr, nullptr, nullptr, iterations, nullptr);
    gnutls_free(encoded.data);
    gnutls_pkcs12_deinit(pfx);
    return encoded.size;
}

void GnutlsCreate(benchmark::State& state) {
    const GnutlsMaterial material(MaterialOf(state));
    unsigned iterations = 0;
    unsigned size = 0;
    for (auto _ : state) {
        size = GnutlsDocument(material, &iterations);
        if (size == 0) {
            state.SkipWithError("GnuTLS made no document");
        }
    }
    Count(state, size);
    state.SetLabel(std::to_string(iterations) + " iterations of the MAC");
}

void RegisterFor(std::int64_t keys, std::int64_t certificates) {
    const auto add = [&](const char* name, void (*run)(benchmark::State&)) {
        return benchmark::RegisterBenchmark(name, run)
            ->ArgNames({"keys", "certificates"})
            ->Args({keys, certificates})
            ->Unit(benchmark::kMillisecond);
    };
    add("OwnCreate", OwnCreate);
    add("OpensslCreate", OpensslCreate);
    // Its MAC alone takes seconds.
    if (keys + certificates <= 10) {
        add("GnutlsCreate", GnutlsCreate)->Iterations(1);
    }
}

// What runs on the same material stands side by side.
const bool kAreRegistered = [] {
    for (const std::int64_t keys : {1, 10, 100}) {
        RegisterFor(keys, 0);
    }
    for (const std::int64_t certificates : {10, 100, 1'000, 10'000}) {
        RegisterFor(0, certificates);
    }
    return true;
}();

}  // namespace
