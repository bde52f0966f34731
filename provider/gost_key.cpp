#include "provider/gost_key.h"

#include <gcrypt.h>

#include "provider/library.h"
#include "provider/library_error.h"
#include "provider/library_number.h"

namespace provider {

namespace {

// The curve's arithmetic; null where the library does not know it.
CurveContext OpenCurve(const GostCurve& curve) {
    RequireSecureMemory();
    gcry_ctx_t context = nullptr;
    const bool isKnown = IsDone(gcry_mpi_ec_new(&context, nullptr, curve.libraryName));
    return CurveContext(isKnown ? context : nullptr);
}

// A copy, since the library's own is no plain number to calculate with.
Number Parameter(const CurveContext& context, const char* name) {
    return Number(gcry_mpi_ec_get_mpi(name, context.get(), 1));
}

bool IsAboveZeroAndBelow(const Number& number, const Number& limit) {
    return gcry_mpi_cmp_ui(number.get(), 0) > 0 && gcry_mpi_cmp(number.get(), limit.get()) < 0;
}

Point MakePoint(const Number& x, const Number& y) {
    const Number one(gcry_mpi_set_ui(nullptr, 1));
    return Point(gcry_mpi_point_set(nullptr, x.get(), y.get(), one.get()));
}

// Null on the library's refusal.
template <typename... Arguments>
Expression Build(const char* format, Arguments... arguments) {
    gcry_sexp_t expression = nullptr;
    const bool isBuilt = IsDone(gcry_sexp_build(&expression, nullptr, format, arguments...));
    return Expression(isBuilt ? expression : nullptr);
}

Expression BuildHash(std::span<const BYTE> hashValue) {
    const Number number = PublicNumber(hashValue);
    return Build("(data (flags gost) (value %M))", number.get());
}

// The public key as the library reads it: an uncompressed point, most significant octets first.
std::vector<BYTE> UncompressedPoint(const GostCurve& curve, std::span<const BYTE> publicKey) {
    constexpr BYTE kUncompressed = 4;
    std::vector<BYTE> point{kUncompressed};
    const std::span<const BYTE> x = publicKey.first(curve.size);
    const std::span<const BYTE> y = publicKey.last(curve.size);
    point.insert(point.end(), x.rbegin(), x.rend());
    point.insert(point.end(), y.rbegin(), y.rend());
    return point;
}

// Above zero and below the order, in secure memory. The library's level above this one would add
// measurements of its own to what the kernel gives, for milliseconds each time, and never frees
// what it measures with.
Number DrawNumber(const GostCurve& curve, const Number& order) {
    const std::size_t spareBits = curve.size * 8 - gcry_mpi_get_nbits(order.get());
    SecretBytes candidate(curve.size);
    // At least every other draw is below the order.
    while (true) {
        gcry_randomize(candidate.data(), candidate.size(), GCRY_STRONG_RANDOM);
        candidate.View().back() &= static_cast<BYTE>(0xFF >> spareBits);
        Number number = SecretNumber(candidate.View());
        if (IsAboveZeroAndBelow(number, order)) {
            return number;
        }
    }
}

Number Multiply(const Number& a, const Number& b, const Number& order) {
    Number product(gcry_mpi_snew(gcry_mpi_get_nbits(order.get())));
    gcry_mpi_mulm(product.get(), a.get(), b.get(), order.get());
    return product;
}

bool IsZero(const Number& number) {
    return gcry_mpi_cmp_ui(number.get(), 0) == 0;
}

// The coordinates of the base point times `factor`; false where the library refuses.
bool MultiplyBase(const CurveContext& context, const Number& factor, Number* x, Number* y) {
    const Point base(gcry_mpi_ec_get_point("g", context.get(), 1));
    const Point product(gcry_mpi_point_new(0));
    gcry_mpi_ec_mul(product.get(), factor.get(), base.get(), context.get());
    x->reset(gcry_mpi_new(0));
    y->reset(gcry_mpi_new(0));
    return gcry_mpi_ec_get_affine(x->get(), y->get(), product.get(), context.get()) == 0;
}

// s = r d + k e modulo the order. How long the multiplications take depends on their operands, so
// that the secret ones are multiplied by a random number first.
Number ComputeS(const GostCurve& curve, const Number& order, const Number& r, const Number& d,
                const Number& k, const Number& e) {
    const Number blind = DrawNumber(curve, order);
    const Number first = Multiply(r, Multiply(blind, d, order), order);
    const Number second = Multiply(e, Multiply(blind, k, order), order);
    const Number sum(gcry_mpi_snew(gcry_mpi_get_nbits(order.get())));
    gcry_mpi_addm(sum.get(), first.get(), second.get(), order.get());
    const Number inverse(gcry_mpi_snew(gcry_mpi_get_nbits(order.get())));
    gcry_mpi_invm(inverse.get(), blind.get(), order.get());
    return Multiply(sum, inverse, order);
}

}  // namespace

SecretBytes GeneratePrivateKey(const GostCurve& curve) {
    const CurveContext context = OpenCurve(curve);
    if (context == nullptr) {
        return SecretBytes();
    }
    const Number key = DrawNumber(curve, Parameter(context, "n"));
    SecretBytes octets(curve.size);
    WriteNumber(key, octets.View());
    return octets;
}

bool IsPrivateKey(const GostCurve& curve, std::span<const BYTE> privateKey) {
    const CurveContext context = OpenCurve(curve);
    return context != nullptr && privateKey.size() == curve.size &&
           IsAboveZeroAndBelow(SecretNumber(privateKey), Parameter(context, "n"));
}

SecretBytes MultiplyModuloOrder(const GostCurve& curve, std::span<const BYTE> factors) {
    const CurveContext context = OpenCurve(curve);
    if (context == nullptr) {
        return SecretBytes();
    }
    const Number order = Parameter(context, "n");
    Number product = SecretNumber(factors.first(curve.size));
    gcry_mpi_mod(product.get(), product.get(), order.get());
    for (factors = factors.subspan(curve.size); factors.size() >= curve.size;
         factors = factors.subspan(curve.size)) {
        product = Multiply(product, SecretNumber(factors.first(curve.size)), order);
    }
    SecretBytes octets(curve.size);
    WriteNumber(product, octets.View());
    return octets;
}

HRESULT ComputePublicKey(const GostCurve& curve, std::span<const BYTE> privateKey,
                         std::vector<BYTE>* publicKey) {
    const CurveContext context = OpenCurve(curve);
    if (context == nullptr) {
        return NTE_FAIL;
    }
    Number x;
    Number y;
    if (!MultiplyBase(context, SecretNumber(privateKey), &x, &y)) {
        return NTE_FAIL;
    }
    publicKey->resize(curve.size * 2);
    WriteNumber(x, std::span(*publicKey).first(curve.size));
    WriteNumber(y, std::span(*publicKey).last(curve.size));
    return S_OK;
}

bool IsPublicKey(const GostCurve& curve, std::span<const BYTE> publicKey) {
    const CurveContext context = OpenCurve(curve);
    if (context == nullptr || publicKey.size() != curve.size * 2) {
        return false;
    }
    const Number prime = Parameter(context, "p");
    const Number x = PublicNumber(publicKey.first(curve.size));
    const Number y = PublicNumber(publicKey.last(curve.size));
    if (gcry_mpi_cmp(x.get(), prime.get()) >= 0 || gcry_mpi_cmp(y.get(), prime.get()) >= 0) {
        return false;
    }
    const Point point = MakePoint(x, y);
    if (gcry_mpi_ec_curve_point(point.get(), context.get()) == 0) {
        return false;
    }
    // Two of the curves have more points than their group; at infinity there are no coordinates.
    const Point product(gcry_mpi_point_new(0));
    gcry_mpi_ec_mul(product.get(), Parameter(context, "n").get(), point.get(), context.get());
    return gcry_mpi_ec_get_affine(nullptr, nullptr, product.get(), context.get()) != 0;
}

// The library's own signature takes the key in an expression, and leaves copies of its parts in
// ordinary memory.
HRESULT SignHashValue(const GostCurve& curve, std::span<const BYTE> privateKey,
                      std::span<const BYTE> hashValue, std::vector<BYTE>* signature) {
    const CurveContext context = OpenCurve(curve);
    if (context == nullptr) {
        return NTE_FAIL;
    }
    const Number order = Parameter(context, "n");
    const Number d = SecretNumber(privateKey);
    const Number e = PublicNumber(hashValue);
    gcry_mpi_mod(e.get(), e.get(), order.get());
    if (IsZero(e)) {
        gcry_mpi_set_ui(e.get(), 1);
    }
    Number r;
    Number s;
    Number y;
    do {
        const Number k = DrawNumber(curve, order);
        if (!MultiplyBase(context, k, &r, &y)) {
            return NTE_FAIL;
        }
        gcry_mpi_mod(r.get(), r.get(), order.get());
        s = ComputeS(curve, order, r, d, k, e);
    } while (IsZero(r) || IsZero(s));
    signature->resize(curve.size * 2);
    WriteNumber(r, std::span(*signature).first(curve.size));
    WriteNumber(s, std::span(*signature).last(curve.size));
    return S_OK;
}

bool VerifyHashValue(const GostCurve& curve, std::span<const BYTE> publicKey,
                     std::span<const BYTE> hashValue, std::span<const BYTE> signature) {
    if (signature.size() != curve.size * 2 || publicKey.size() != curve.size * 2) {
        return false;
    }
    const std::vector<BYTE> point = UncompressedPoint(curve, publicKey);
    const Number r = PublicNumber(signature.first(curve.size));
    const Number s = PublicNumber(signature.last(curve.size));
    const Expression key = Build("(public-key (ecc (curve %s) (q %b)))", curve.libraryName,
                                 static_cast<int>(point.size()), point.data());
    const Expression hash = BuildHash(hashValue);
    const Expression claim = Build("(sig-val (gost (r %M) (s %M)))", r.get(), s.get());
    return key != nullptr && hash != nullptr && claim != nullptr &&
           IsDone(gcry_pk_verify(claim.get(), hash.get(), key.get()));
}

}  // namespace provider
