#include "support/heap_faults.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <gcrypt.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <span>
#include <string_view>

#include "support/callers.h"

extern "C" {
// The C library's heap, and a sanitizer's in its place where there is one.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
__attribute__((weak)) void* __interceptor_malloc(std::size_t size);
__attribute__((weak)) void* __interceptor_calloc(std::size_t count, std::size_t size);
__attribute__((weak)) void* __interceptor_realloc(void* block, std::size_t size);
__attribute__((weak)) void* __interceptor_memalign(std::size_t alignment, std::size_t size);
__attribute__((weak)) void __interceptor_free(void* block);
}

namespace {

constexpr int kDeepest = 64;

struct State {
    bool isArmed = false;
    bool staysFailing = false;
    int failures = 0;
    bool isSecure = false;
    // One allocation that is let through.
    bool passesNext = false;
    std::size_t left = 0;
    std::size_t number = 0;
    std::size_t letThrough = 0;
    int depth = 0;
    void* frames[kDeepest] = {};
};

constinit thread_local State state;
constinit std::atomic<long> liveBlocks{0};

// Whether this allocation is to fail. Nothing here asks for memory.
bool Fails(bool isSecure) {
    if (!state.isArmed) {
        return false;
    }
    if (state.passesNext) {
        state.passesNext = false;
        return false;
    }
    if (state.left != 0 && --state.left != 0) {
        return false;
    }
    if (state.failures == 0) {
        state.isSecure = isSecure;
        state.isArmed = false;
        state.depth = backtrace(state.frames, kDeepest);
        state.isArmed = true;
    } else if (!state.staysFailing) {
        return false;
    }
    ++state.failures;
    errno = ENOMEM;
    return true;
}

void* Counted(void* block) {
    if (block != nullptr) {
        liveBlocks.fetch_add(1, std::memory_order_relaxed);
    }
    return block;
}

void* Allocate(std::size_t size) {
    if (Fails(false)) {
        return nullptr;
    }
    return Counted(__interceptor_malloc != nullptr ? __interceptor_malloc(size)
                                                   : __libc_malloc(size));
}

void* AllocateAligned(std::size_t alignment, std::size_t size) {
    if (Fails(false)) {
        return nullptr;
    }
    return Counted(__interceptor_memalign != nullptr ? __interceptor_memalign(alignment, size)
                                                     : __libc_memalign(alignment, size));
}

void Release(void* block) {
    if (block == nullptr) {
        return;
    }
    liveBlocks.fetch_sub(1, std::memory_order_relaxed);
    if (__interceptor_free != nullptr) {
        __interceptor_free(block);
    } else {
        __libc_free(block);
    }
}

void* AllocateOrThrow(std::size_t size) {
    void* const block = Allocate(size != 0 ? size : 1);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void* AllocateAlignedOrThrow(std::size_t size, std::align_val_t alignment) {
    void* const block = AllocateAligned(static_cast<std::size_t>(alignment), size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

// The library calls this where it would end the process otherwise, and tries again. If it was the
// first to fail, the next allocation is.
int RetryUnhindered(void* /*value*/, std::size_t /*size*/, unsigned /*flags*/) {
    state.passesNext = true;
    if (state.failures == 1) {
        state.failures = 0;
        ++state.number;
        ++state.letThrough;
    }
    return 1;
}

template <typename Function>
Function* Real(const char* name, Function*) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool IsOfTheHeap(std::string_view symbol) {
    constexpr std::array<std::string_view, 8> kFunctions = {
        "malloc",   "calloc",        "realloc", "operator new",
        "memalign", "aligned_alloc", "gcry_",   "posix_memalign"};
    return std::ranges::any_of(
        kFunctions, [symbol](std::string_view name) { return symbol.starts_with(name); });
}

// Empty where the library only passes a request on.
std::string_view PartOf(std::string_view library) {
    constexpr std::array<std::array<std::string_view, 2>, 5> kLibraries = {{
        {"libgcrypt", "libgcrypt"},
        {"libcrypto", "libcrypto"},
        {"velmorixcsp", "provider"},
        {"libvlxcapi", "capi"},
        {"faults_test", "module"},
    }};
    for (const auto& [file, part] : kLibraries) {
        if (library.find(file) != library.npos) {
            return part;
        }
    }
    return {};
}

}  // namespace

namespace heap_faults {

Fail::Fail(std::size_t number, Mode mode) {
    gcry_set_outofcore_handler(&RetryUnhindered, nullptr);
    // The first walk over the frames loads a library.
    void* frame = nullptr;
    backtrace(&frame, 1);
    state = State();
    state.left = number;
    state.number = number;
    state.staysFailing = mode == Mode::kAllFrom;
    state.isArmed = true;
}

Fail::~Fail() {
    state.isArmed = false;
}

bool Fail::Happened() const {
    return state.failures != 0;
}

std::size_t Fail::Number() const {
    return state.number;
}

std::size_t Fail::LetThrough() const {
    return state.letThrough;
}

bool Asker::Includes(const std::string& name) const {
    return std::ranges::any_of(functions, [&name](const std::string& function) {
        return function.find(name) != function.npos;
    });
}

Asker LastAsker() {
    Asker asker;
    asker.isSecure = state.isSecure;
    bool isBehindHeap = false;
    const auto depth = static_cast<std::size_t>(state.depth);
    for (const auto& [library, function] :
         test_support::NameFrames(std::span(state.frames).first(depth))) {
        if (isBehindHeap && !function.empty()) {
            asker.functions.push_back(function);
        }
        if (isBehindHeap && asker.part.empty()) {
            asker.part = PartOf(library);
        }
        isBehindHeap = isBehindHeap || IsOfTheHeap(function);
    }
    return asker;
}

long LiveBlocks() {
    return liveBlocks.load(std::memory_order_relaxed);
}

}  // namespace heap_faults

// What follows stands in for the libraries' own.
#pragma GCC visibility push(default)

extern "C" {

void* malloc(std::size_t size) {
    return Allocate(size);
}

void* calloc(std::size_t count, std::size_t size) {
    if (Fails(false)) {
        return nullptr;
    }
    return Counted(__interceptor_calloc != nullptr ? __interceptor_calloc(count, size)
                                                   : __libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) {
    if (size != 0 && Fails(false)) {
        return nullptr;
    }
    void* const moved = __interceptor_realloc != nullptr ? __interceptor_realloc(block, size)
                                                         : __libc_realloc(block, size);
    if (block == nullptr) {
        return Counted(moved);
    }
    if (size == 0) {
        liveBlocks.fetch_sub(1, std::memory_order_relaxed);
    }
    return moved;
}

void free(void* block) {
    Release(block);
}

void* memalign(std::size_t alignment, std::size_t size) {
    return AllocateAligned(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return AllocateAligned(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
    void* const made = AllocateAligned(alignment, size);
    if (made == nullptr) {
        return ENOMEM;
    }
    *block = made;
    return 0;
}

// What the provider asks of the library's secure memory, and of its objects, that can be refused.
void* gcry_malloc_secure(std::size_t size) {
    static auto* const real = Real("gcry_malloc_secure", &gcry_malloc_secure);
    return Fails(true) ? nullptr : real(size);
}

void* gcry_calloc_secure(std::size_t count, std::size_t size) {
    static auto* const real = Real("gcry_calloc_secure", &gcry_calloc_secure);
    return Fails(true) ? nullptr : real(count, size);
}

gcry_error_t gcry_cipher_open(gcry_cipher_hd_t* handle, int algorithm, int mode, unsigned flags) {
    static auto* const real = Real("gcry_cipher_open", &gcry_cipher_open);
    return Fails(true) ? gcry_error(GPG_ERR_ENOMEM) : real(handle, algorithm, mode, flags);
}

gcry_error_t gcry_md_open(gcry_md_hd_t* handle, int algorithm, unsigned flags) {
    static auto* const real = Real("gcry_md_open", &gcry_md_open);
    return Fails(true) ? gcry_error(GPG_ERR_ENOMEM) : real(handle, algorithm, flags);
}

gcry_error_t gcry_md_copy(gcry_md_hd_t* copy, gcry_md_hd_t handle) {
    static auto* const real = Real("gcry_md_copy", &gcry_md_copy);
    return Fails(true) ? gcry_error(GPG_ERR_ENOMEM) : real(copy, handle);
}

gcry_error_t gcry_mac_open(gcry_mac_hd_t* handle, int algorithm, unsigned flags,
                           gcry_ctx_t context) {
    static auto* const real = Real("gcry_mac_open", &gcry_mac_open);
    return Fails(true) ? gcry_error(GPG_ERR_ENOMEM) : real(handle, algorithm, flags, context);
}

gcry_error_t gcry_mpi_scan(gcry_mpi_t* number, gcry_mpi_format format, const void* octets,
                           std::size_t size, std::size_t* scanned) {
    static auto* const real = Real("gcry_mpi_scan", &gcry_mpi_scan);
    return Fails(true) ? gcry_error(GPG_ERR_ENOMEM) : real(number, format, octets, size, scanned);
}

gcry_error_t gcry_mpi_ec_new(gcry_ctx_t* context, gcry_sexp_t key, const char* curve) {
    static auto* const real = Real("gcry_mpi_ec_new", &gcry_mpi_ec_new);
    return Fails(true) ? gcry_error(GPG_ERR_ENOMEM) : real(context, key, curve);
}

}  // extern "C"

void* operator new(std::size_t size) {
    return AllocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return AllocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size != 0 ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return Allocate(size != 0 ? size : 1);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return AllocateAlignedOrThrow(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return AllocateAlignedOrThrow(size, alignment);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return AllocateAligned(static_cast<std::size_t>(alignment), size);
}
void operator delete(void* block) noexcept {
    Release(block);
}
void operator delete[](void* block) noexcept {
    Release(block);
}
void operator delete(void* block, std::size_t) noexcept {
    Release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    Release(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
    Release(block);
}
void operator delete[](void* block, std::align_val_t) noexcept {
    Release(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    Release(block);
}
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
    Release(block);
}

#pragma GCC visibility pop
