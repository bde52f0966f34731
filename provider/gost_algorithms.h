// The signature algorithms and their curves.
#pragma once

#include <cstddef>
#include <span>

#include "platform/cryptoapi.h"
#include "provider/object_identifier.h"

namespace provider {

inline constexpr ALG_ID kGostR3410_2001 = 0x2E23;
inline constexpr ALG_ID kGostR3410_2001Exchange = 0xAA24;
inline constexpr ALG_ID kGostR3410_2012_256 = 0x2E49;
inline constexpr ALG_ID kGostR3410_2012_512 = 0x2E3D;

struct GostCurve {
    ObjectIdentifier oid;
    // What libgcrypt finds it by.
    const char* libraryName;
    // Of a private key, and of either coordinate, in octets.
    std::size_t size;
    // Whether it came with GOST R 34.10-2001; the others are for GOST R 34.10-2012 alone.
    bool isOf2001;
};

struct GostAlgorithm {
    ALG_ID id;
    ObjectIdentifier oid;
    // In octets, as GostCurve has it.
    std::size_t size;
    // Of the hashes that are signed.
    ALG_ID digest;
    // The digest that stands beside a curve of 2001 in the parameters of a key; null for none.
    const ObjectIdentifier* digestOid;
    const GostCurve* defaultCurve;

    bool Takes(const GostCurve& curve) const;
};

std::span<const GostCurve> GostCurves();

// Null for what is none.
const GostCurve* FindCurve(std::span<const BYTE> oid);
const GostCurve* FindCurveByText(const char* oid);
const GostAlgorithm* FindGostAlgorithm(ALG_ID id);
// Knows also the identifiers that keys for key agreement have in PKCS#8.
const GostAlgorithm* FindGostAlgorithm(std::span<const BYTE> oid);

}  // namespace provider
