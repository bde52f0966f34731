// All containers of a user, or of the machine: opened, made, deleted and listed.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "provider/container.h"

namespace provider {

// `name` is any text of 8-bit characters, told apart by case, or a unique name; null or empty text
// is the default container's. One longer than kLongestContainerName gives NTE_BAD_KEYSET_PARAM.

// NTE_BAD_KEYSET where there is none.
HRESULT OpenContainer(ContainerScope scope, const char* name, bool isSilent,
                      std::shared_ptr<Container>* container);
// NTE_EXISTS where there is one, damaged or not; NTE_BAD_KEYSET_PARAM for a name that has the form
// of a unique name.
HRESULT CreateContainer(ContainerScope scope, const char* name, bool isSilent,
                        std::shared_ptr<Container>* container);
// NTE_BAD_KEYSET where there is none. A damaged one can be deleted by its name, not by its unique
// name, which would have to be compared with what it holds. No PIN is asked for.
HRESULT DeleteContainer(ContainerScope scope, const char* name);

struct ContainerListing {
    // Sorted by octet.
    std::vector<std::string> names;
    // Paths of the files that are no readable container, sorted.
    std::vector<std::string> damagedFiles;
};
HRESULT ListContainers(ContainerScope scope, ContainerListing* listing);

// The file of a container, or the folder of all where that is null. ERROR_PATH_NOT_FOUND where no
// home folder is known.
HRESULT ContainerFilePath(ContainerScope scope, const Container* container, std::string* path);

struct ContainerImage;

// The container of a file, which must bear its name.
HRESULT ReadContainerImage(ContainerScope scope, const std::string& fileName,
                           ContainerImage* image);

}  // namespace provider
