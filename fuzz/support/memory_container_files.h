// Stands in for the files of containers: they are in memory.
#pragma once

#include <span>
#include <string>

#include "provider/container_files.h"

namespace fuzz_support {

// In the place of whatever was there under that name.
void PutContainerFile(provider::ContainerScope scope, const std::string& fileName,
                      std::span<const BYTE> bytes);
void ForgetContainerFiles();

}  // namespace fuzz_support
