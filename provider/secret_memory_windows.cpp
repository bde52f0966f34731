#include "provider/secret_memory.h"

#include "platform/cryptoapi.h"

namespace provider {

namespace {

// Windows 10 has it and keeps the memory out of error reports; older systems do not.
using ExcludeFromReports = HRESULT(WINAPI*)(const void* memory, DWORD size);

ExcludeFromReports FindExclusion() noexcept {
    const HMODULE kernel = GetModuleHandleA("kernel32.dll");
    const FARPROC found =
        kernel == nullptr ? nullptr : GetProcAddress(kernel, "WerRegisterExcludedMemoryBlock");
    return reinterpret_cast<ExcludeFromReports>(reinterpret_cast<void*>(found));
}

}  // namespace

void* AllocateSecretPages(std::size_t size) noexcept {
    void* const pages = VirtualAlloc(nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    if (pages != nullptr) {
        GuardSecretMemory(pages, size);
    }
    return pages;
}

// Neither failure is a reason to refuse: the memory is wiped on release all the same.
void GuardSecretMemory(void* memory, std::size_t size) noexcept {
    static const ExcludeFromReports excludeFromReports = FindExclusion();
    static_cast<void>(VirtualLock(memory, size));
    if (excludeFromReports != nullptr) {
        static_cast<void>(excludeFromReports(memory, static_cast<DWORD>(size)));
    }
}

}  // namespace provider
