// The provider whose containers are in memory, so that inputs don't wait for a disk.
#pragma once

namespace fuzz {

// From here on the platform loads it in the place of the built one.
void LoadProviderInMemory();

}  // namespace fuzz
