#include "capi/modules.h"

#include <dlfcn.h>
#include <link.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include "capi/calls.h"
#include "capi/state_files.h"

namespace capi {

namespace {

// A loaded file. Its handle is where its first segment lies, which no two have in common.
struct Module {
    std::uintptr_t base = 0;
    // As the loader knows it; empty for the program.
    std::string name;

    HMODULE Handle() const { return reinterpret_cast<HMODULE>(base); }
};

std::uintptr_t BaseOf(const dl_phdr_info& info) {
    std::uintptr_t lowest = UINTPTR_MAX;
    for (std::size_t i = 0; i < info.dlpi_phnum; ++i) {
        if (info.dlpi_phdr[i].p_type == PT_LOAD) {
            lowest = std::min<std::uintptr_t>(lowest, info.dlpi_phdr[i].p_vaddr);
        }
    }
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    return (info.dlpi_addr + lowest) / page * page;
}

// The first loaded file, the program before all others, for which `isWanted`.
std::optional<Module> FindModule(const std::function<bool(const Module&)>& isWanted) {
    struct Search {
        const std::function<bool(const Module&)>& isWanted;
        std::optional<Module> found;
    } search{isWanted, std::nullopt};
    dl_iterate_phdr(
        [](dl_phdr_info* info, std::size_t, void* data) {
            auto* const mine = static_cast<Search*>(data);
            Module module{BaseOf(*info), info->dlpi_name};
            if (!mine->isWanted(module)) {
                return 0;
            }
            mine->found = std::move(module);
            return 1;
        },
        &search);
    return std::move(search.found);
}

Module RequireModule(HMODULE handle) {
    std::optional<Module> module = FindModule([handle](const Module& one) {
        return handle == nullptr ? one.name.empty() : one.Handle() == handle;
    });
    Require(module.has_value(), ERROR_MOD_NOT_FOUND);
    return *std::move(module);
}

HMODULE OwnHandle() {
    Dl_info info{};
    // Any object of the library will do.
    static const char anchor = 0;
    Require(dladdr(&anchor, &info) != 0, ERROR_MOD_NOT_FOUND);
    return static_cast<HMODULE>(info.dli_fbase);
}

bool AreSame(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

bool IsSystemName(std::string_view name) {
    constexpr std::array<std::string_view, 3> kNames = {"advapi32.dll", "crypt32.dll",
                                                        "kernel32.dll"};
    return std::ranges::any_of(kNames, [name](std::string_view one) { return AreSame(one, name); });
}

// Whether a library of that path goes by `name`.
bool GoesBy(std::string_view path, std::string_view name) {
    constexpr std::string_view kExtension = ".dll";
    const std::string_view file = path.substr(path.rfind('/') + 1);
    const std::size_t stem = name.size() - std::min(name.size(), kExtension.size());
    if (AreSame(file, name) || !AreSame(name.substr(stem), kExtension)) {
        return AreSame(file, name);
    }
    const std::string here = "lib" + std::string(name.substr(0, stem)) + ".so";
    return AreSame(file.substr(0, here.size()), here) &&
           (file.size() == here.size() || file[here.size()] == '.');
}

HMODULE Find(std::string name) {
    if (name.find('/') != std::string::npos) {
        const auto found = FindModule([&name](const Module& one) { return one.name == name; });
        Require(found.has_value(), ERROR_MOD_NOT_FOUND);
        return found->Handle();
    }
    if (name.find('.') == std::string::npos) {
        name += ".dll";
    }
    if (IsSystemName(name)) {
        return OwnHandle();
    }
    const auto found = FindModule([&name](const Module& one) { return GoesBy(one.name, name); });
    Require(found.has_value(), ERROR_MOD_NOT_FOUND);
    return found->Handle();
}

// Where the system says that the file is which lies at `base`; for a library that was loaded by a
// path that depended on where the process then was.
std::string MappedPath(std::uintptr_t base) {
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line)) {
        std::istringstream fields(line);
        std::uintptr_t start = 0;
        fields >> std::hex >> start;
        const std::size_t path = line.find('/');
        if (fields && start == base && path != std::string::npos) {
            return line.substr(path);
        }
    }
    ThrowWord(ERROR_MOD_NOT_FOUND);
}

std::string PathOf(const Module& module) {
    if (module.name.empty()) {
        std::error_code error;
        const std::filesystem::path program =
            std::filesystem::read_symlink("/proc/self/exe", error);
        Require(!error, WordOfErrno(error.value()));
        return program.string();
    }
    return module.name.starts_with('/') ? module.name : MappedPath(module.base);
}

struct CloseLibrary {
    void operator()(void* library) const { dlclose(library); }
};

FARPROC FindFunction(const Module& module, LPCSTR name) {
    const std::unique_ptr<void, CloseLibrary> library(
        dlopen(module.name.empty() ? nullptr : module.name.c_str(), RTLD_NOW | RTLD_NOLOAD));
    Require(library != nullptr, ERROR_MOD_NOT_FOUND);
    void* const function = dlsym(library.get(), name);
    Dl_info info{};
    // The libraries that this one uses are searched too.
    Require(function != nullptr && dladdr(function, &info) != 0 &&
                reinterpret_cast<std::uintptr_t>(info.dli_fbase) == module.base,
            ERROR_PROC_NOT_FOUND);
    return reinterpret_cast<FARPROC>(function);
}

}  // namespace

}  // namespace capi

using capi::Answer;
using capi::Require;

HMODULE WINAPI GetModuleHandleA(LPCSTR lpModuleName) {
    return Answer<HMODULE>(nullptr, [&] {
        return lpModuleName == nullptr ? capi::RequireModule(nullptr).Handle()
                                       : capi::Find(lpModuleName);
    });
}

DWORD WINAPI GetModuleFileNameA(HMODULE hModule, LPSTR lpFilename, DWORD nSize) {
    return Answer<DWORD>(0, [&] {
        const std::string path = capi::PathOf(capi::RequireModule(hModule));
        Require(lpFilename != nullptr && nSize != 0, ERROR_INSUFFICIENT_BUFFER);
        const std::size_t length = std::min<std::size_t>(path.size(), nSize - 1);
        std::memcpy(lpFilename, path.data(), length);
        lpFilename[length] = '\0';
        if (length < path.size()) {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return nSize;
        }
        return static_cast<DWORD>(length);
    });
}

FARPROC WINAPI GetProcAddress(HMODULE hModule, LPCSTR lpProcName) {
    return Answer<FARPROC>(nullptr, [&] {
        // Ordinals are numbers in the name's place.
        constexpr std::uintptr_t kHighestOrdinal = 0xFFFF;
        Require(reinterpret_cast<std::uintptr_t>(lpProcName) > kHighestOrdinal,
                ERROR_PROC_NOT_FOUND);
        return capi::FindFunction(capi::RequireModule(hModule), lpProcName);
    });
}
