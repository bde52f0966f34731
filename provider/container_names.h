// What containers and their files are called.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "provider/container.h"

namespace provider {

// The same for the same name, fit for any file system, and never a path: the SHA-256 of the name in
// hexadecimal, and ".key".
std::string ContainerFileName(std::string_view name);
bool IsContainerFileName(std::string_view fileName);

struct UniqueContainer {
    std::string fileName;
    ContainerIdentity identity;
};

// "velmorix:", the hexadecimal digits of the file name, ":", those of the identity.
std::string UniqueContainerName(std::string_view name, const ContainerIdentity& identity);
// Nothing for a text of any other form. No container is made under a name of this form.
std::optional<UniqueContainer> ParseUniqueContainerName(std::string_view text);

}  // namespace provider
