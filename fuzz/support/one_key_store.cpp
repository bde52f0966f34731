#include "support/one_key_store.h"

#include <cstdlib>
#include <iterator>
#include <string>

#include "mvlpfx/mvlpfx.h"
#include "support/provider_in_memory.h"
#include "support/safe_bags.h"

namespace fuzz {

OneKeyStore::OneKeyStore(ALG_ID algorithm) {
    store_.AddKey("key " + std::to_string(algorithm), algorithm);
    store_.Add(test_support::MakeCertificate("ca", "root"));
    content_ = test_support::ReadStore(store_.Get());
    if (content_.size() != 2) {
        std::abort();
    }
}

const OneKeyStore& ChooseStore(unsigned choice) {
    LoadProviderInMemory();
    static const OneKeyStore stores[] = {OneKeyStore(0x2E23), OneKeyStore(0x2E49),
                                         OneKeyStore(0x2E3D)};
    return stores[choice % std::size(stores)];
}

test_support::CertificateBytes Create(HCERTSTORE store, DWORD flags) {
    test_support::CertificateBytes document(4096);
    PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    if (!UzCreatePFX(store, &pfx, kPassword, flags) || GetLastError() != 0) {
        std::abort();
    }
    document.resize(pfx.cbData);
    return document;
}

}  // namespace fuzz
