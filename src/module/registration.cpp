#include "module/registration.h"

#include <array>

#include "mvlpfx/mvlpfx.h"

namespace pkisdk {

namespace {

constexpr char kModuleFile[] = "mvlpfx64.dll";
constexpr char kOid[] = "1.2.643.2.4.12.2.1";

struct OidFunction {
    const char* set;
    const char* name;
};

constexpr std::array kFunctions = {
    OidFunction{"CryptVLXExportPFX", "UzCreatePFX"},
    OidFunction{"CryptVLXRestorePFX", "UzRestorePFX"},
    OidFunction{"CryptVLXVerifyPswPFX", "UzVerifyPswPFX"},
};

using WidePath = std::array<wchar_t, MAX_PATH>;

bool FindOwnPath(WidePath* wide) {
    std::array<char, MAX_PATH> path{};
    return GetModuleFileNameA(GetModuleHandleA(kModuleFile), path.data(), MAX_PATH) != 0 &&
           MultiByteToWideChar(CP_ACP, 0, path.data(), -1, wide->data(), MAX_PATH) != 0;
}

bool Register(const WidePath& path) {
    for (const OidFunction& function : kFunctions) {
        if (!CryptRegisterOIDFunction(X509_ASN_ENCODING, function.set, kOid, path.data(),
                                      function.name)) {
            return false;
        }
    }
    return true;
}

// By the functions' names, not by those of the sets.
bool Unregister() {
    for (const OidFunction& function : kFunctions) {
        if (!CryptUnregisterOIDFunction(X509_ASN_ENCODING, function.name, kOid)) {
            return false;
        }
    }
    return true;
}

HRESULT FailureOf(DWORD word) {
    constexpr DWORD kCodeMask = 0xFFFF;
    constexpr DWORD kOfSystem = 0x80070000;
    const auto failure = static_cast<HRESULT>(word);
    return failure <= 0 ? failure : static_cast<HRESULT>((word & kCodeMask) | kOfSystem);
}

}  // namespace

HRESULT RegisterOidFunctions(BYTE isRegistering) {
    WidePath path{};
    const bool isDone = FindOwnPath(&path) && (isRegistering != 0 ? Register(path) : Unregister());
    return isDone ? S_OK : FailureOf(GetLastError());
}

}  // namespace pkisdk

extern "C" HRESULT WINAPI DllRegisterServer() {
    const HRESULT result = pkisdk::RegisterOidFunctions(1);
    if (result >= 0) {
        return S_OK;
    }
    pkisdk::RegisterOidFunctions(0);
    return result;
}

extern "C" HRESULT WINAPI DllUnregisterServer() {
    pkisdk::RegisterOidFunctions(0);
    return S_OK;
}
