#include <windows.h>
// The next two need windows.h before them.
#include <knownfolders.h>
#include <shlobj.h>

#include <string>

#include "state/state_folders.h"

namespace state {

namespace {

constexpr wchar_t kFolderName[] = L"Velmorix";

std::optional<std::filesystem::path> FromEnvironment(const wchar_t* name) {
    std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
    std::filesystem::path path(std::move(value));
    // A relative path would depend on where the process happens to be.
    return path.is_absolute() ? std::optional(std::move(path)) : std::nullopt;
}

std::optional<std::filesystem::path> KnownFolder(const KNOWNFOLDERID& id) {
    PWSTR text = nullptr;
    std::optional<std::filesystem::path> path;
    if (SHGetKnownFolderPath(id, 0, nullptr, &text) == S_OK) {
        path = text;
    }
    CoTaskMemFree(text);
    return path;
}

}  // namespace

std::optional<std::filesystem::path> UserFolder() {
    if (auto named = FromEnvironment(L"VELMORIX_HOME")) {
        return named;
    }
    const auto data = KnownFolder(FOLDERID_LocalAppData);
    return data ? std::optional(*data / kFolderName) : std::nullopt;
}

std::filesystem::path MachineFolder() {
    if (auto named = FromEnvironment(L"VELMORIX_MACHINE_HOME")) {
        return *std::move(named);
    }
    return KnownFolder(FOLDERID_ProgramData).value_or(L"C:\\ProgramData") / kFolderName;
}

}  // namespace state
