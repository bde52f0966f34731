#include "support/memory_container_files.h"

#include <array>
#include <map>
#include <mutex>

#include "provider/container_image.h"
#include "provider/container_names.h"

namespace provider {

namespace {

using Files = std::map<std::string, std::vector<BYTE>>;

struct State {
    std::recursive_mutex mutex;
    std::array<Files, 2> files;
};

State& TheState() {
    static State state;
    return state;
}

Files& FilesOf(ContainerScope scope) {
    return TheState().files[scope == ContainerScope::kUser ? 0 : 1];
}

class MemoryFolder final : public ContainerFolder {
  public:
    explicit MemoryFolder(Files* files) : files_(files) {}

    HRESULT Create(const std::string& fileName, std::span<const BYTE> bytes) override {
        const std::vector<BYTE> content(bytes.begin(), bytes.end());
        return files_->emplace(fileName, content).second ? S_OK : NTE_EXISTS;
    }
    HRESULT Replace(const std::string& fileName, std::span<const BYTE> bytes) override {
        (*files_)[fileName].assign(bytes.begin(), bytes.end());
        return S_OK;
    }
    HRESULT Remove(const std::string& fileName) override {
        return files_->erase(fileName) != 0 ? S_OK : NTE_BAD_KEYSET;
    }

  private:
    Files* files_;
};

}  // namespace

HRESULT ReadContainerFile(ContainerScope scope, const std::string& fileName,
                          std::vector<BYTE>* bytes) {
    const std::lock_guard lock(TheState().mutex);
    const auto found = FilesOf(scope).find(fileName);
    if (found == FilesOf(scope).end()) {
        return NTE_BAD_KEYSET;
    }
    if (found->second.size() > kLargestContainerFile) {
        return NTE_KEYSET_ENTRY_BAD;
    }
    *bytes = found->second;
    return S_OK;
}

HRESULT ListContainerFiles(ContainerScope scope, std::vector<std::string>* fileNames) {
    const std::lock_guard lock(TheState().mutex);
    fileNames->clear();
    for (const auto& [name, content] : FilesOf(scope)) {
        if (IsContainerFileName(name)) {
            fileNames->push_back(name);
        }
    }
    return S_OK;
}

HRESULT ChangeContainerFiles(ContainerScope scope,
                             const std::function<HRESULT(ContainerFolder*)>& change) {
    const std::lock_guard lock(TheState().mutex);
    MemoryFolder folder(&FilesOf(scope));
    return change(&folder);
}

HRESULT ContainerFolderPath(ContainerScope scope, std::string* path) {
    *path = scope == ContainerScope::kUser ? "user" : "machine";
    return S_OK;
}

void ReportContainerFile(ContainerScope /*scope*/, const std::string& /*fileName*/,
                         const char* /*what*/) {}

std::string DefaultContainerName() {
    return "default";
}

}  // namespace provider

namespace fuzz_support {

void PutContainerFile(provider::ContainerScope scope, const std::string& fileName,
                      std::span<const BYTE> bytes) {
    const std::lock_guard lock(provider::TheState().mutex);
    provider::FilesOf(scope)[fileName].assign(bytes.begin(), bytes.end());
}

void ForgetContainerFiles() {
    const std::lock_guard lock(provider::TheState().mutex);
    provider::TheState().files = {};
}

}  // namespace fuzz_support
