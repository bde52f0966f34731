#include "provider/container_store.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "provider/container_files.h"
#include "provider/container_image.h"
#include "provider/container_names.h"
#include "provider/container_seal.h"
#include "provider/random.h"

namespace provider {

namespace {

// Where a name leads.
struct Place {
    // Empty where `unique` is set.
    std::string name;
    std::string fileName;
    std::optional<UniqueContainer> unique;
};

HRESULT FindPlace(const char* name, Place* place) {
    if (name == nullptr || *name == '\0') {
        place->name = DefaultContainerName();
    } else {
        // Whatever stands behind the longest name is not looked at.
        place->name.assign(name, strnlen(name, kLongestContainerName + 1));
    }
    if (place->name.size() > kLongestContainerName) {
        return NTE_BAD_KEYSET_PARAM;
    }
    place->unique = ParseUniqueContainerName(place->name);
    place->fileName =
        place->unique.has_value() ? place->unique->fileName : ContainerFileName(place->name);
    return S_OK;
}

// S_OK where a unique name is still that of this container.
HRESULT CheckIdentity(const Place& place, const ContainerImage& image) {
    const bool isOther = place.unique.has_value() && place.unique->identity != image.identity;
    return isOther ? NTE_BAD_KEYSET : S_OK;
}

ContainerImage NewImage(const std::string& name) {
    ContainerImage image;
    image.name = name;
    FillRandom(image.identity);
    FillRandom(image.salt);
    image.mac = ComputeMac(DeriveSealKeys({}, image.salt, image.iterations), image);
    return image;
}

}  // namespace

HRESULT OpenContainer(ContainerScope scope, const char* name, bool isSilent,
                      std::shared_ptr<Container>* container) {
    Place place;
    ContainerImage image;
    HRESULT status = FindPlace(name, &place);
    if (status == S_OK) {
        status = ReadContainerImage(scope, place.fileName, &image);
    }
    if (status == S_OK) {
        status = CheckIdentity(place, image);
    }
    if (status == S_OK) {
        *container = std::make_shared<Container>(scope, image.name, image.identity, isSilent);
    }
    return status;
}

HRESULT CreateContainer(ContainerScope scope, const char* name, bool isSilent,
                        std::shared_ptr<Container>* container) {
    Place place;
    if (const HRESULT status = FindPlace(name, &place); status != S_OK) {
        return status;
    }
    if (place.unique.has_value()) {
        return NTE_BAD_KEYSET_PARAM;
    }
    const ContainerImage image = NewImage(place.name);
    auto made = std::make_shared<Container>(scope, image.name, image.identity, isSilent);
    const HRESULT status = ChangeContainerFiles(scope, [&](ContainerFolder* folder) {
        return folder->Create(place.fileName, SerializeContainer(image).value());
    });
    if (status == S_OK) {
        *container = std::move(made);
    }
    return status;
}

HRESULT DeleteContainer(ContainerScope scope, const char* name) {
    Place place;
    if (const HRESULT status = FindPlace(name, &place); status != S_OK) {
        return status;
    }
    const auto find = [&]() -> HRESULT {
        ContainerImage image;
        const HRESULT status = ReadContainerImage(scope, place.fileName, &image);
        if (status == S_OK) {
            return CheckIdentity(place, image);
        }
        return status == NTE_KEYSET_ENTRY_BAD && !place.unique.has_value() ? S_OK : status;
    };
    // Without a container nothing is locked, so that no folder is made for it.
    if (const HRESULT status = find(); status != S_OK) {
        return status;
    }
    return ChangeContainerFiles(scope, [&](ContainerFolder* folder) {
        const HRESULT status = find();
        return status == S_OK ? folder->Remove(place.fileName) : status;
    });
}

HRESULT ListContainers(ContainerScope scope, ContainerListing* listing) {
    std::string folder;
    std::vector<std::string> fileNames;
    HRESULT status = ContainerFolderPath(scope, &folder);
    if (status == S_OK) {
        status = ListContainerFiles(scope, &fileNames);
    }
    if (status != S_OK) {
        return status;
    }
    *listing = {};
    for (const std::string& fileName : fileNames) {
        ContainerImage image;
        const HRESULT found = ReadContainerImage(scope, fileName, &image);
        if (found == S_OK) {
            listing->names.push_back(std::move(image.name));
        } else if (found != NTE_BAD_KEYSET) {
            listing->damagedFiles.push_back(folder + '/' + fileName);
        }
    }
    std::ranges::sort(listing->names);
    std::ranges::sort(listing->damagedFiles);
    return S_OK;
}

HRESULT ContainerFilePath(ContainerScope scope, const Container* container, std::string* path) {
    const HRESULT status = ContainerFolderPath(scope, path);
    if (status == S_OK && container != nullptr) {
        path->append("/").append(ContainerFileName(container->Name()));
    }
    return status;
}

HRESULT ReadContainerImage(ContainerScope scope, const std::string& fileName,
                           ContainerImage* image) {
    std::vector<BYTE> file;
    if (const HRESULT status = ReadContainerFile(scope, fileName, &file); status != S_OK) {
        return status;
    }
    std::optional<ContainerImage> found = ParseContainer(file);
    if (!found.has_value() || ContainerFileName(found->name) != fileName) {
        ReportContainerFile(scope, fileName, "is damaged");
        return NTE_KEYSET_ENTRY_BAD;
    }
    *image = *std::move(found);
    return S_OK;
}

}  // namespace provider
