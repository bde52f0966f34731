// Where state lies on the disk.
#pragma once

#include <filesystem>
#include <optional>

namespace state {

// $VELMORIX_HOME; else velmorix under $XDG_DATA_HOME, else under the home folder's .local/share; on
// Windows Velmorix under %LOCALAPPDATA%. Variables that hold no absolute path, and all of them in a
// set-user-id process, are passed over. Nothing where no home folder is known.
std::optional<std::filesystem::path> UserFolder();
// $VELMORIX_MACHINE_HOME, else /var/lib/velmorix; on Windows Velmorix under %PROGRAMDATA%.
std::filesystem::path MachineFolder();

}  // namespace state
