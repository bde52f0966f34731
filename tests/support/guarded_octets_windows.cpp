#include <algorithm>
#include <new>

#include "platform/cryptoapi.h"
#include "support/guarded_octets.h"

namespace test_support {

namespace {

constexpr std::size_t kPage = 65536;

std::uint8_t* TakePages() {
    void* const pages = VirtualAlloc(nullptr, 2 * kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (pages == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<std::uint8_t*>(pages);
}

}  // namespace

void GuardedOctets::Release::operator()(std::uint8_t* pages) const {
    VirtualFree(pages, 0, MEM_RELEASE);
}

GuardedOctets::GuardedOctets(std::span<const std::uint8_t> octets) : pages_(TakePages()) {
    std::uint8_t* const end = pages_.get() + kPage;
    DWORD before = 0;
    if (octets.size() > kPage || VirtualProtect(end, kPage, PAGE_NOACCESS, &before) == 0) {
        throw std::bad_alloc();
    }
    std::ranges::copy(octets, end - octets.size());
    bytes_ = {end - octets.size(), end};
}

}  // namespace test_support
