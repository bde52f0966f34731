#include "mvlpfx/container_names.h"

#include "mvlpfx/handles.h"
#include "platform/csp_parameters.h"

namespace mvlpfx {

std::vector<std::string> Enumerate(HCRYPTPROV provider, DWORD parameter) {
    std::vector<std::string> texts;
    DWORD room = 0;
    BOOL isThere = CryptGetProvParam(provider, parameter, nullptr, &room, CRYPT_FIRST);
    std::string text(room, '\0');
    for (DWORD which = CRYPT_FIRST; isThere != FALSE; which = CRYPT_NEXT) {
        DWORD size = room;
        isThere = CryptGetProvParam(provider, parameter, reinterpret_cast<BYTE*>(text.data()),
                                    &size, which);
        if (isThere != FALSE) {
            texts.emplace_back(text.c_str());
        }
    }
    if (GetLastError() != ERROR_NO_MORE_ITEMS) {
        ThrowLastError("can't list the containers");
    }
    return texts;
}

std::vector<std::string> ContainerNames(bool machine) {
    OwnedContext context;
    RequireCall(AcquireContext(nullptr, CRYPT_VERIFYCONTEXT, machine, &context),
                "can't reach the provider");
    return Enumerate(context.Get(), PP_ENUMCONTAINERS);
}

std::string ContainerFolder(bool machine) {
    OwnedContext context;
    return AcquireContext(nullptr, CRYPT_VERIFYCONTEXT, machine, &context)
               ? TextParameter(context.Get(), PP_CONTAINER_FILE)
               : "";
}

}  // namespace mvlpfx
