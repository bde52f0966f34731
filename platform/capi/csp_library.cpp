#include "capi/csp_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <mutex>

namespace capi {

namespace {

template <typename Function>
bool Find(void* library, const char* name, Function* function) {
    *function = reinterpret_cast<Function>(dlsym(library, name));
    return *function != nullptr;
}

bool FindAll(void* library, Csp* csp) {
    return Find(library, "CPGetUserKey", &csp->getUserKey) &&
           Find(library, "CPExportKey", &csp->exportKey) &&
           Find(library, "CPImportKey", &csp->importKey) &&
           Find(library, "CPEncrypt", &csp->encrypt) && Find(library, "CPDecrypt", &csp->decrypt) &&
           Find(library, "CPSignHash", &csp->signHash) &&
           Find(library, "CPVerifySignature", &csp->verifySignature) &&
           Find(library, "CPAcquireContext", &csp->acquireContext) &&
           Find(library, "CPReleaseContext", &csp->releaseContext) &&
           Find(library, "CPGetProvParam", &csp->getProvParam) &&
           Find(library, "CPSetProvParam", &csp->setProvParam) &&
           Find(library, "CPGenRandom", &csp->genRandom) &&
           Find(library, "CPGenKey", &csp->genKey) &&
           Find(library, "CPDestroyKey", &csp->destroyKey) &&
           Find(library, "CPGetKeyParam", &csp->getKeyParam) &&
           Find(library, "CPSetKeyParam", &csp->setKeyParam) &&
           Find(library, "CPCreateHash", &csp->createHash) &&
           Find(library, "CPHashData", &csp->hashData) &&
           Find(library, "CPGetHashParam", &csp->getHashParam) &&
           Find(library, "CPSetHashParam", &csp->setHashParam) &&
           Find(library, "CPDuplicateHash", &csp->duplicateHash) &&
           Find(library, "CPDestroyHash", &csp->destroyHash);
}

struct CloseLibrary {
    void operator()(void* library) const { dlclose(library); }
};

std::unique_ptr<const Csp> Load(const std::string& path, HRESULT* error) {
    // A relative path would depend on where the process happens to be.
    if (!path.starts_with('/') || access(path.c_str(), F_OK) != 0) {
        *error = NTE_PROV_DLL_NOT_FOUND;
        return nullptr;
    }
    std::unique_ptr<void, CloseLibrary> library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    auto csp = std::make_unique<Csp>();
    if (library == nullptr || !FindAll(library.get(), csp.get())) {
        *error = NTE_PROVIDER_DLL_FAIL;
        return nullptr;
    }
    // Contexts may be in use in threads that outlive any moment chosen for unloading.
    static_cast<void>(library.release());
    return csp;
}

}  // namespace

const Csp* LoadCsp(const std::string& path, HRESULT* error) {
    static std::mutex mutex;
    // Outlives every caller, those in other libraries' destructors too.
    static auto& loaded = *new std::map<std::string, std::unique_ptr<const Csp>>();

    const std::lock_guard lock(mutex);
    const auto known = loaded.find(path);
    if (known != loaded.end()) {
        return known->second.get();
    }
    std::unique_ptr<const Csp> csp = Load(path, error);
    return csp == nullptr ? nullptr : loaded.emplace(path, std::move(csp)).first->second.get();
}

}  // namespace capi
