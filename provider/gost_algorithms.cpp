#include "provider/gost_algorithms.h"

#include <cstring>

#include "provider/algorithms.h"

namespace provider {

namespace {

consteval GostCurve Curve(const char* oid, std::size_t size, bool isOf2001) {
    return {ObjectIdentifier(oid), oid, size, isOf2001};
}

constexpr GostCurve kCurves[] = {
    // GOST R 34.10-2001: the example of the standard, CryptoPro A to C, and XchA and XchB.
    Curve("1.2.643.2.2.35.0", 32, true),
    Curve("1.2.643.2.2.35.1", 32, true),
    Curve("1.2.643.2.2.35.2", 32, true),
    Curve("1.2.643.2.2.35.3", 32, true),
    Curve("1.2.643.2.2.36.0", 32, true),
    Curve("1.2.643.2.2.36.1", 32, true),
    // TC26, 256 bits, A to D. libgcrypt 1.10 has the first without its identifier.
    {ObjectIdentifier("1.2.643.7.1.2.1.1.1"), "GOST2012-256-A", 32, false},
    Curve("1.2.643.7.1.2.1.1.2", 32, false),
    Curve("1.2.643.7.1.2.1.1.3", 32, false),
    Curve("1.2.643.7.1.2.1.1.4", 32, false),
    // TC26, 512 bits: the example of the standard, A to C.
    Curve("1.2.643.7.1.2.1.2.0", 64, false),
    Curve("1.2.643.7.1.2.1.2.1", 64, false),
    Curve("1.2.643.7.1.2.1.2.2", 64, false),
    Curve("1.2.643.7.1.2.1.2.3", 64, false),
};

constexpr const GostCurve& kCryptoProA = kCurves[1];
constexpr const GostCurve& kTc26_512A = kCurves[11];

constexpr ObjectIdentifier kDigest94("1.2.643.2.2.30.1");
constexpr ObjectIdentifier kDigest2012_256("1.2.643.7.1.1.2.2");

constexpr GostAlgorithm kAlgorithms[] = {
    {kGostR3410_2001, ObjectIdentifier("1.2.643.2.2.19"), 32, kGostR3411_94, &kDigest94,
     &kCryptoProA},
    {kGostR3410_2001Exchange, ObjectIdentifier("1.2.643.2.2.98"), 32, kGostR3411_94, &kDigest94,
     &kCryptoProA},
    {kGostR3410_2012_256, ObjectIdentifier("1.2.643.7.1.1.1.1"), 32, kGostR3411_2012_256,
     &kDigest2012_256, &kCryptoProA},
    {kGostR3410_2012_512, ObjectIdentifier("1.2.643.7.1.1.1.2"), 64, kGostR3411_2012_512, nullptr,
     &kTc26_512A},
};

constexpr ObjectIdentifier kAgreement256("1.2.643.7.1.1.6.1");
constexpr ObjectIdentifier kAgreement512("1.2.643.7.1.1.6.2");

}  // namespace

bool GostAlgorithm::Takes(const GostCurve& curve) const {
    const bool is2012 = id == kGostR3410_2012_256 || id == kGostR3410_2012_512;
    return curve.size == size && (is2012 || curve.isOf2001);
}

std::span<const GostCurve> GostCurves() {
    return kCurves;
}

const GostCurve* FindCurve(std::span<const BYTE> oid) {
    for (const GostCurve& curve : kCurves) {
        if (curve.oid.Is(oid)) {
            return &curve;
        }
    }
    return nullptr;
}

const GostCurve* FindCurveByText(const char* oid) {
    for (const GostCurve& curve : kCurves) {
        if (std::strcmp(curve.oid.Text(), oid) == 0) {
            return &curve;
        }
    }
    return nullptr;
}

const GostAlgorithm* FindGostAlgorithm(ALG_ID id) {
    for (const GostAlgorithm& algorithm : kAlgorithms) {
        if (algorithm.id == id) {
            return &algorithm;
        }
    }
    return nullptr;
}

const GostAlgorithm* FindGostAlgorithm(std::span<const BYTE> oid) {
    if (kAgreement256.Is(oid)) {
        return FindGostAlgorithm(kGostR3410_2012_256);
    }
    if (kAgreement512.Is(oid)) {
        return FindGostAlgorithm(kGostR3410_2012_512);
    }
    for (const GostAlgorithm& algorithm : kAlgorithms) {
        if (algorithm.oid.Is(oid)) {
            return &algorithm;
        }
    }
    return nullptr;
}

}  // namespace provider
