#include "capi/builtin_settings.h"

#include <dlfcn.h>

#include <filesystem>
#include <string>
#include <system_error>

#include "capi/registry.h"

namespace capi {

namespace {

// The folder of this very library, empty where it can't be told.
std::filesystem::path OwnFolder() {
    // Any object of the library will do.
    static const char anchor = 0;
    Dl_info info{};
    if (dladdr(&anchor, &info) == 0 || info.dli_fname == nullptr) {
        return {};
    }
    std::error_code error;
    const std::filesystem::path self = std::filesystem::canonical(info.dli_fname, error);
    return error ? std::filesystem::path() : self.parent_path();
}

// In a build the provider lies beside this library, installed in a folder below.
std::string ProviderImagePath() {
    const std::filesystem::path folder = OwnFolder();
    for (const char* const place : {"velmorixcsp.so", "velmorix/velmorixcsp.so"}) {
        std::error_code error;
        if (folder.is_absolute() && std::filesystem::exists(folder / place, error)) {
            return (folder / place).string();
        }
    }
    return VLXCAPI_INSTALLED_PROVIDER;
}

}  // namespace

void AddBuiltinSettings(Settings* settings) {
    const std::string key = std::string(kProvidersKey) + '\\' + kDefaultProviderName;
    settings->AddValue(key, {"Type", REG_DWORD, kDefaultProviderType, {}});
    settings->AddValue(key, {"Image Path", REG_SZ, 0, {ProviderImagePath()}});
}

}  // namespace capi
