#include "support/guarded_octets.h"

#include <sys/mman.h>

#include <algorithm>
#include <new>

namespace test_support {

namespace {

// A whole number of pages wherever this runs.
constexpr std::size_t kPage = 65536;

std::uint8_t* TakePages() {
    void* const pages =
        mmap(nullptr, 2 * kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) {
        throw std::bad_alloc();
    }
    return static_cast<std::uint8_t*>(pages);
}

}  // namespace

void GuardedOctets::Release::operator()(std::uint8_t* pages) const {
    munmap(pages, 2 * kPage);
}

GuardedOctets::GuardedOctets(std::span<const std::uint8_t> octets) : pages_(TakePages()) {
    std::uint8_t* const end = pages_.get() + kPage;
    if (octets.size() > kPage || mprotect(end, kPage, PROT_NONE) != 0) {
        throw std::bad_alloc();
    }
    std::ranges::copy(octets, end - octets.size());
    bytes_ = {end - octets.size(), end};
}

}  // namespace test_support
