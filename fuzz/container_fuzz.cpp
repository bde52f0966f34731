// The file of a container, in arbitrary octets. The first octet chooses whether a checksum is made
// for the rest, without which little gets past it. What is a container is written as it was read,
// and opens; what is none is listed as damaged.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "provider/container_image.h"
#include "provider/container_names.h"
#include "provider/container_seal.h"
#include "provider/container_store.h"
#include "support/memory_container_files.h"

namespace {

using provider::Container;
using provider::ContainerScope;

// More iterations cost time and reach nothing new.
constexpr DWORD kMostIterations = 16;

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool IsOneOf(HRESULT status, std::initializer_list<HRESULT> expected) {
    return std::find(expected.begin(), expected.end(), status) != expected.end();
}

void UseContainer(const provider::ContainerImage& image) {
    std::shared_ptr<Container> container;
    const HRESULT opened =
        provider::OpenContainer(ContainerScope::kUser, image.name.c_str(), true, &container);
    // A name of the unique form, which nothing makes, is not looked for as a plain one.
    Require(opened == S_OK || provider::ParseUniqueContainerName(image.name).has_value());
    if (opened != S_OK) {
        return;
    }
    if (image.hasPin && image.iterations <= kMostIterations) {
        const BYTE pin[] = {'1'};
        Require(IsOneOf(container->PresentPin(pin), {S_OK, SCARD_W_WRONG_CHV}));
    }
    for (const DWORD keySpec : {DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}}) {
        provider::KeyRecord record;
        provider::SecretBytes secret;
        const HRESULT read = container->ReadKey(keySpec, &record);
        Require(IsOneOf(read, {S_OK, NTE_NO_KEY}));
        const HRESULT unsealed = container->ReadPrivateKey(keySpec, &secret);
        Require(IsOneOf(unsealed, {read, NTE_SILENT_CONTEXT, NTE_KEYSET_ENTRY_BAD}));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    std::vector<BYTE> file(data + 1, data + size);
    if (data[0] % 2 == 1) {
        const provider::ContainerMac checksum = provider::ComputeChecksum(file);
        file.insert(file.end(), checksum.begin(), checksum.end());
    }
    const auto image = provider::ParseContainer(file);
    const std::string fileName = provider::ContainerFileName(image ? image->name : "none");
    fuzz_support::ForgetContainerFiles();
    fuzz_support::PutContainerFile(ContainerScope::kUser, fileName, file);
    provider::ContainerListing listing;
    Require(provider::ListContainers(ContainerScope::kUser, &listing) == S_OK);
    Require(listing.names.size() == (image ? 1 : 0));
    Require(listing.damagedFiles.size() == (image ? 0 : 1));
    if (image.has_value()) {
        Require(provider::SerializeContainer(*image) == file);
        UseContainer(*image);
    }
    return 0;
}
