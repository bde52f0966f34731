// A user's and a machine's state folder of the test's own.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/cryptoapi.h"
#include "support/scoped_environment.h"

namespace test_support {

class ContainerHome {
  public:
    std::filesystem::path User() const { return folder_ / "user"; }
    std::filesystem::path Machine() const { return folder_ / "machine"; }
    std::filesystem::path UserKeys() const { return User() / "keys"; }
    std::filesystem::path MachineKeys() const { return Machine() / "keys"; }

    // The names in the user's folder of containers, but for the lock's.
    std::vector<std::string> FilesOfUser() const {
        std::vector<std::string> names;
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(UserKeys(), error)) {
            if (entry.path().filename() != ".lock") {
                names.push_back(entry.path().filename().string());
            }
        }
        return names;
    }

  private:
    ScopedFolder folder_;
    ScopedVariable user_{"VELMORIX_HOME", (folder_ / "user").string()};
    ScopedVariable machine_{"VELMORIX_MACHINE_HOME", (folder_ / "machine").string()};
};

inline std::vector<BYTE> ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Into the file as it is, so that its mode stays.
inline void OverwriteFile(const std::filesystem::path& path, const std::vector<BYTE>& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

}  // namespace test_support
