// A document that was made here, edited element by element as the input says, and restored. The
// first octet names the document and the flags of the restore; each edit takes what it needs of the
// rest. Unedited the document comes back as what it was made of; else the restore answers, and
// leaves containers that open, with a key that signs or none.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "mvlpfx/mvlpfx.h"
#include "support/containers_in_csp.h"
#include "support/der_edits.h"
#include "support/one_key_store.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

struct Made {
    Bytes document;
    test_support::StoreContent content;
};

constexpr unsigned kAlgorithms = 3;
constexpr DWORD kWithNames = 0x10;

// Without and with names, one behind the other for each algorithm. The keys that they were made of
// are gone then.
std::vector<Made> MakeAll() {
    std::vector<Made> made;
    for (unsigned algorithm = 0; algorithm < kAlgorithms; ++algorithm) {
        const fuzz::OneKeyStore& store = fuzz::ChooseStore(algorithm);
        for (const DWORD flags : {DWORD{0}, kWithNames}) {
            made.push_back({fuzz::Create(store.Get(), flags), store.Content()});
        }
    }
    Require(test_support::DeleteContainers());
    return made;
}

// The input, octet by octet, and zeros behind it.
class Script {
  public:
    explicit Script(const Bytes& octets) : octets_(octets) {}

    bool IsAtEnd() const { return at_ == octets_.size(); }
    std::uint32_t Octet() { return IsAtEnd() ? 0 : octets_[at_++]; }
    std::uint32_t Below(std::uint32_t limit) {
        const std::uint32_t first = Octet();
        return (limit > 0x100 ? first << 8 | Octet() : first) % limit;
    }

  private:
    const Bytes& octets_;
    std::size_t at_ = 0;
};

Bytes Edit(Bytes document, Script* script) {
    constexpr int kMostEdits = 16;
    for (int edits = 0; edits < kMostEdits && !script->IsAtEnd(); ++edits) {
        document = documents::EditElements(
            [script](std::uint32_t limit) { return script->Below(limit); }, document);
    }
    return document;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::vector<Made> all = MakeAll();
    const Bytes input(data, data + size);
    Script script(input);
    const std::uint32_t choice = script.Octet();
    const Made& made = all[choice % all.size()];
    Bytes document = Edit(made.document, &script);

    const DWORD flags = CRYPT_EXPORTABLE | ((choice & 0x80) != 0 ? CRYPT_MACHINE_KEYSET : 0U);
    const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    HCERTSTORE const store = UzRestorePFX(&pfx, fuzz::kPassword, flags);
    const DWORD error = GetLastError();
    Require((store != nullptr) == (error == 0));
    if (document == made.document) {
        Require(store != nullptr && test_support::ReadStore(store) == made.content);
    }
    Require(store == nullptr || CertCloseStore(store, CERT_CLOSE_STORE_CHECK_FLAG));
    const test_support::ContainerCount containers = test_support::CountContainers();
    Require(containers.broken == 0);
    Require(containers.empty <= (store != nullptr ? 0U : 1U));
    Require(test_support::DeleteContainers());
    return 0;
}
