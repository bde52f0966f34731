#include "capi/oid_functions.h"

#include <dlfcn.h>
#include <strings.h>
#include <syslog.h>
#include <toml++/toml.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "capi/calls.h"
#include "capi/state_files.h"
#include "capi/utf8.h"

namespace capi {

namespace {

constexpr char kTableName[] = "oid_functions.toml";
constexpr off_t kLargestTable = off_t{1} << 20;

struct Function {
    std::int64_t encoding = 0;
    std::string set;
    std::string oid;
    std::string library;
    std::string name;

    bool HasPlaceOf(const Function& other) const {
        return encoding == other.encoding && strcasecmp(set.c_str(), other.set.c_str()) == 0 &&
               strcasecmp(oid.c_str(), other.oid.c_str()) == 0;
    }
};

std::string LibraryPath(LPCWSTR text) {
    std::string narrow;
    for (; *text != L'\0'; ++text) {
        Require(IsUnicodeScalar(*text), ERROR_NO_UNICODE_TRANSLATION);
        const NarrowCharacter octets = EncodeUtf8(*text);
        narrow.append(octets.Bytes().begin(), octets.Bytes().end());
    }
    return narrow;
}

std::vector<Function> ParseTable(std::string_view text) {
    std::vector<Function> functions;
    const toml::table table = toml::parse(text);
    const toml::array* const rows = table["function"].as_array();
    for (std::size_t i = 0; rows != nullptr && i < rows->size(); ++i) {
        const toml::table* const row = rows->get_as<toml::table>(i);
        Require(row != nullptr, CRYPT_E_FILE_ERROR);
        functions.push_back(
            {(*row)["encoding"].value_or(std::int64_t{0}), (*row)["set"].value_or(std::string()),
             (*row)["oid"].value_or(std::string()), (*row)["library"].value_or(std::string()),
             (*row)["name"].value_or(std::string())});
    }
    return functions;
}

std::vector<Function> ReadTable() {
    const std::filesystem::path path = state::MachineFolder() / kTableName;
    try {
        const std::optional<std::vector<BYTE>> bytes = ReadStateFile(path, kLargestTable);
        if (!bytes.has_value()) {
            return {};
        }
        return ParseTable({reinterpret_cast<const char*>(bytes->data()), bytes->size()});
    } catch (const toml::parse_error& error) {
        syslog(LOG_ERR, "%s: line %u: %s", path.c_str(),
               static_cast<unsigned>(error.source().begin.line),
               std::string(error.description()).c_str());
        ThrowWord(CRYPT_E_FILE_ERROR);
    } catch (const ErrorWord&) {
        syslog(LOG_ERR, "%s: cannot be read or is damaged", path.c_str());
        throw;
    }
}

void WriteTable(const FolderLock& lock, const std::vector<Function>& functions) {
    toml::array rows;
    for (const Function& function : functions) {
        rows.push_back(toml::table{{"encoding", function.encoding},
                                   {"set", function.set},
                                   {"oid", function.oid},
                                   {"library", function.library},
                                   {"name", function.name}});
    }
    std::ostringstream text;
    text << toml::table{{"function", std::move(rows)}} << '\n';
    const std::string bytes = text.str();
    lock.Write(kTableName, {reinterpret_cast<const BYTE*>(bytes.data()), bytes.size()}, 0644);
}

FolderLock LockTable() {
    return FolderLock(state::MachineFolder(), 0755);
}

Function MakeFunction(DWORD encoding, LPCSTR set, LPCSTR oid) {
    Require(set != nullptr && *set != '\0' && oid != nullptr && *oid != '\0', E_INVALIDARG);
    // Identifiers that are small numbers instead of texts are not known here.
    constexpr std::uintptr_t kHighestNumber = 0xFFFF;
    Require(reinterpret_cast<std::uintptr_t>(oid) > kHighestNumber, E_INVALIDARG);
    const DWORD part = GET_CERT_ENCODING_TYPE(encoding) != 0 ? GET_CERT_ENCODING_TYPE(encoding)
                                                             : GET_CMSG_ENCODING_TYPE(encoding);
    return {part, set, oid, {}, {}};
}

auto Place(std::vector<Function>& functions, const Function& wanted) {
    return std::ranges::find_if(functions,
                                [&wanted](const Function& one) { return one.HasPlaceOf(wanted); });
}

struct CloseLibrary {
    void operator()(void* library) const { dlclose(library); }
};
using Library = std::unique_ptr<void, CloseLibrary>;

struct State {
    std::mutex mutex;
    // A set's handle is the address of its name here.
    std::set<std::string> sets;
    // The libraries of the functions given out, by handle.
    std::map<HCRYPTOIDFUNCADDR, Library> libraries;
    std::uintptr_t lastHandle = 0;
};

// Outlives every caller, those in other libraries' destructors too.
State& TheState() {
    static State& state = *std::make_unique<State>().release();
    return state;
}

std::string SetName(HCRYPTOIDFUNCSET handle) {
    const std::lock_guard lock(TheState().mutex);
    for (const std::string& name : TheState().sets) {
        if (&name == handle) {
            return name;
        }
    }
    ThrowWord(E_INVALIDARG);
}

Library Load(const Function& function, void** address) {
    // A relative path would depend on where the process happens to be.
    Require(function.library.starts_with('/'), ERROR_MOD_NOT_FOUND);
    Library library(dlopen(function.library.c_str(), RTLD_NOW | RTLD_LOCAL));
    Require(library != nullptr, ERROR_MOD_NOT_FOUND);
    *address = dlsym(library.get(), function.name.c_str());
    Require(*address != nullptr, ERROR_PROC_NOT_FOUND);
    return library;
}

HCRYPTOIDFUNCADDR Keep(Library library) {
    State& state = TheState();
    const std::lock_guard lock(state.mutex);
    auto* const handle = reinterpret_cast<HCRYPTOIDFUNCADDR>(++state.lastHandle);
    state.libraries.emplace(handle, std::move(library));
    return handle;
}

}  // namespace

}  // namespace capi

using capi::Answer;
using capi::Function;
using capi::Require;

BOOL WINAPI CryptRegisterOIDFunction(DWORD dwEncodingType, LPCSTR pszFuncName, LPCSTR pszOID,
                                     LPCWSTR pwszDll, LPCSTR pszOverrideFuncName) {
    return Answer<BOOL>(FALSE, [&] {
        Function added = capi::MakeFunction(dwEncodingType, pszFuncName, pszOID);
        Require(pwszDll != nullptr && *pwszDll != L'\0', E_INVALIDARG);
        added.library = capi::LibraryPath(pwszDll);
        added.name = pszOverrideFuncName != nullptr ? pszOverrideFuncName : pszFuncName;
        const capi::FolderLock lock = capi::LockTable();
        std::vector<Function> functions = capi::ReadTable();
        const auto place = capi::Place(functions, added);
        if (place == functions.end()) {
            functions.push_back(std::move(added));
        } else {
            *place = std::move(added);
        }
        capi::WriteTable(lock, functions);
        return TRUE;
    });
}

BOOL WINAPI CryptUnregisterOIDFunction(DWORD dwEncodingType, LPCSTR pszFuncName, LPCSTR pszOID) {
    return Answer<BOOL>(FALSE, [&] {
        const Function removed = capi::MakeFunction(dwEncodingType, pszFuncName, pszOID);
        std::vector<Function> functions = capi::ReadTable();
        // Nothing is made where there is nothing to remove.
        Require(capi::Place(functions, removed) != functions.end(), ERROR_FILE_NOT_FOUND);
        const capi::FolderLock lock = capi::LockTable();
        functions = capi::ReadTable();
        const auto place = capi::Place(functions, removed);
        Require(place != functions.end(), ERROR_FILE_NOT_FOUND);
        functions.erase(place);
        capi::WriteTable(lock, functions);
        return TRUE;
    });
}

HCRYPTOIDFUNCSET WINAPI CryptInitOIDFunctionSet(LPCSTR pszFuncName, DWORD dwFlags) {
    return Answer<HCRYPTOIDFUNCSET>(nullptr, [&]() -> HCRYPTOIDFUNCSET {
        Require(pszFuncName != nullptr && *pszFuncName != '\0' && dwFlags == 0, E_INVALIDARG);
        const std::lock_guard lock(capi::TheState().mutex);
        return const_cast<std::string*>(&*capi::TheState().sets.emplace(pszFuncName).first);
    });
}

BOOL WINAPI CryptGetOIDFunctionAddress(HCRYPTOIDFUNCSET hFuncSet, DWORD dwEncodingType,
                                       LPCSTR pszOID, DWORD dwFlags, void** ppvFuncAddr,
                                       HCRYPTOIDFUNCADDR* phFuncAddr) {
    return Answer<BOOL>(FALSE, [&] {
        Require(ppvFuncAddr != nullptr && phFuncAddr != nullptr, E_INVALIDARG);
        *ppvFuncAddr = nullptr;
        *phFuncAddr = nullptr;
        const std::string set = capi::SetName(hFuncSet);
        const Function wanted = capi::MakeFunction(dwEncodingType, set.c_str(), pszOID);
        Require((dwFlags & ~DWORD{CRYPT_GET_INSTALLED_OID_FUNC_FLAG}) == 0, E_INVALIDARG);
        Require(dwFlags == 0, ERROR_FILE_NOT_FOUND);
        std::vector<Function> functions = capi::ReadTable();
        const auto place = capi::Place(functions, wanted);
        Require(place != functions.end(), ERROR_FILE_NOT_FOUND);
        void* address = nullptr;
        capi::Library library = capi::Load(*place, &address);
        *phFuncAddr = capi::Keep(std::move(library));
        *ppvFuncAddr = address;
        return TRUE;
    });
}

BOOL WINAPI CryptFreeOIDFunctionAddress(HCRYPTOIDFUNCADDR hFuncAddr, DWORD dwFlags) {
    if (hFuncAddr == nullptr) {
        return TRUE;
    }
    return Answer<BOOL>(FALSE, [&] {
        Require(dwFlags == 0, E_INVALIDARG);
        // Closed after the lock: the library's own end may call back.
        capi::Library last;
        const std::lock_guard lock(capi::TheState().mutex);
        const auto found = capi::TheState().libraries.find(hFuncAddr);
        Require(found != capi::TheState().libraries.end(), E_INVALIDARG);
        last = std::move(found->second);
        capi::TheState().libraries.erase(found);
        return TRUE;
    });
}
