// How the platform tells the module that it has been loaded, and that it goes.
#include "module/module_log.h"

#ifdef _WIN32

extern "C" BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD reason, LPVOID reserved) {
    return pkisdk::OnModuleEvent(reason, reserved);
}

#else

namespace {

[[gnu::constructor]] void OnLoad() {
    pkisdk::OnModuleEvent(DLL_PROCESS_ATTACH, nullptr);
}

[[gnu::destructor]] void OnUnload() {
    pkisdk::OnModuleEvent(DLL_PROCESS_DETACH, nullptr);
}

}  // namespace

#endif
