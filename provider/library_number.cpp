#include "provider/library_number.h"

#include <algorithm>
#include <new>
#include <vector>

#include "provider/library.h"
#include "provider/secret_bytes.h"

namespace provider {

namespace {

// The library takes and gives the most significant octet first. It makes a secret number from
// octets in secure memory.
Number Scan(std::span<const BYTE> reversed) {
    gcry_mpi_t number = nullptr;
    if (gcry_mpi_scan(&number, GCRYMPI_FMT_USG, reversed.data(), reversed.size(), nullptr) != 0) {
        throw std::bad_alloc();
    }
    return Number(number);
}

}  // namespace

Number PublicNumber(std::span<const BYTE> octets) {
    SetUpLibrary();
    const std::vector<BYTE> reversed(octets.rbegin(), octets.rend());
    return Scan(reversed);
}

Number SecretNumber(std::span<const BYTE> octets) {
    SecretBytes reversed(octets.size());
    std::reverse_copy(octets.begin(), octets.end(), reversed.data());
    return Scan(reversed.View());
}

void WriteNumber(const Number& number, std::span<BYTE> octets) {
    std::fill(octets.begin(), octets.end(), BYTE{0});
    std::size_t size = 0;
    if (gcry_mpi_print(GCRYMPI_FMT_USG, octets.data(), octets.size(), &size, number.get()) != 0) {
        throw std::bad_alloc();
    }
    std::reverse(octets.begin(), octets.begin() + static_cast<std::ptrdiff_t>(size));
}

}  // namespace provider
