#include "state/state_folders.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace state {

namespace {

std::optional<std::filesystem::path> FromEnvironment(const char* name) {
    const char* const value = secure_getenv(name);
    // A relative path would depend on where the process happens to be.
    if (value == nullptr || *value != '/') {
        return std::nullopt;
    }
    return value;
}

std::optional<std::filesystem::path> HomeFolder() {
    if (auto home = FromEnvironment("HOME")) {
        return home;
    }
    std::array<char, 4096> text{};
    passwd entry{};
    passwd* found = nullptr;
    getpwuid_r(geteuid(), &entry, text.data(), text.size(), &found);
    if (found == nullptr || found->pw_dir == nullptr || *found->pw_dir != '/') {
        return std::nullopt;
    }
    return found->pw_dir;
}

}  // namespace

std::optional<std::filesystem::path> UserFolder() {
    if (auto named = FromEnvironment("VELMORIX_HOME")) {
        return named;
    }
    if (const auto data = FromEnvironment("XDG_DATA_HOME")) {
        return *data / "velmorix";
    }
    const auto home = HomeFolder();
    return home ? std::optional(*home / ".local" / "share" / "velmorix") : std::nullopt;
}

std::filesystem::path MachineFolder() {
    return FromEnvironment("VELMORIX_MACHINE_HOME").value_or("/var/lib/velmorix");
}

}  // namespace state
