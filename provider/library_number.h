// Owners of what the cryptographic library hands out, and numbers to and from octets. All of these
// may throw std::bad_alloc.
#pragma once

#include <gcrypt.h>

#include <memory>
#include <span>
#include <type_traits>

#include "platform/cryptoapi.h"

namespace provider {

template <typename Handle, void (*kRelease)(Handle)>
struct ReleaseWith {
    void operator()(Handle handle) const { kRelease(handle); }
};
template <typename Handle, void (*kRelease)(Handle)>
using LibraryOwner = std::unique_ptr<std::remove_pointer_t<Handle>, ReleaseWith<Handle, kRelease>>;

using Number = LibraryOwner<gcry_mpi_t, &gcry_mpi_release>;
using Point = LibraryOwner<gcry_mpi_point_t, &gcry_mpi_point_release>;
using CurveContext = LibraryOwner<gcry_ctx_t, &gcry_ctx_release>;
using Expression = LibraryOwner<gcry_sexp_t, &gcry_sexp_release>;

// `octets` begin with the least significant one.
Number PublicNumber(std::span<const BYTE> octets);
// In secure memory.
Number SecretNumber(std::span<const BYTE> octets);

// Fills `octets`, which are enough, from the least significant one on.
void WriteNumber(const Number& number, std::span<BYTE> octets);

}  // namespace provider
