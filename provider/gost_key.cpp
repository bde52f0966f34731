#include "provider/gost_key.h"

#include <gcrypt.h>

#include <algorithm>
#include <new>

#include "provider/library.h"
#include "provider/library_error.h"
#include "provider/library_number.h"

namespace provider {

namespace {

// The curve's arithmetic; null where the library does not know it.
CurveContext OpenCurve(const GostCurve& curve) {
    SetUpLibrary();
    gcry_ctx_t context = nullptr;
    if (gcry_mpi_ec_new(&context, nullptr, curve.libraryName) != 0) {
        return nullptr;
    }
    return CurveContext(context);
}

// A copy, since the library's own is no plain number to calculate with.
Number Parameter(const CurveContext& context, const char* name) {
    return Number(gcry_mpi_ec_get_mpi(name, context.get(), 1));
}

Number NewSecretNumber(const GostCurve& curve) {
    return Number(gcry_mpi_snew(static_cast<unsigned>(curve.size * 8)));
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
    if (gcry_sexp_build(&expression, nullptr, format, arguments...) != 0) {
        return nullptr;
    }
    return Expression(expression);
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

HRESULT ReadSignature(const GostCurve& curve, gcry_sexp_t result, std::vector<BYTE>* signature) {
    gcry_mpi_t r = nullptr;
    gcry_mpi_t s = nullptr;
    const gcry_error_t error =
        gcry_sexp_extract_param(result, "sig-val!gost", "rs", &r, &s, nullptr);
    const Number ownedR(r);
    const Number ownedS(s);
    if (error != 0) {
        return StatusOf(error);
    }
    signature->resize(curve.size * 2);
    WriteNumber(ownedR, std::span(*signature).first(curve.size));
    WriteNumber(ownedS, std::span(*signature).last(curve.size));
    return S_OK;
}

}  // namespace

SecretBytes GeneratePrivateKey(const GostCurve& curve) {
    const CurveContext context = OpenCurve(curve);
    if (context == nullptr) {
        return SecretBytes();
    }
    const Number order = Parameter(context, "n");
    const std::size_t spareBits = curve.size * 8 - gcry_mpi_get_nbits(order.get());
    SecretBytes candidate(curve.size);
    // At least every other draw is below the order.
    do {
        gcry_randomize(candidate.data(), candidate.size(), GCRY_VERY_STRONG_RANDOM);
        candidate.View().back() &= static_cast<BYTE>(0xFF >> spareBits);
    } while (!IsAboveZeroAndBelow(SecretNumber(candidate.View()), order));
    return candidate;
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
        const Number factor = SecretNumber(factors.first(curve.size));
        Number next = NewSecretNumber(curve);
        gcry_mpi_mulm(next.get(), product.get(), factor.get(), order.get());
        product = std::move(next);
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
    const Number secret = SecretNumber(privateKey);
    const Point base(gcry_mpi_ec_get_point("g", context.get(), 1));
    const Point product(gcry_mpi_point_new(0));
    gcry_mpi_ec_mul(product.get(), secret.get(), base.get(), context.get());
    const Number x(gcry_mpi_new(0));
    const Number y(gcry_mpi_new(0));
    if (gcry_mpi_ec_get_affine(x.get(), y.get(), product.get(), context.get()) != 0) {
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

HRESULT SignHashValue(const GostCurve& curve, std::span<const BYTE> privateKey,
                      std::span<const BYTE> hashValue, std::vector<BYTE>* signature) {
    SetUpLibrary();
    const Number secret = SecretNumber(privateKey);
    const Expression key =
        Build("(private-key (ecc (curve %s) (d %M)))", curve.libraryName, secret.get());
    const Expression hash = BuildHash(hashValue);
    if (key == nullptr || hash == nullptr) {
        return NTE_FAIL;
    }
    gcry_sexp_t result = nullptr;
    const gcry_error_t error = gcry_pk_sign(&result, hash.get(), key.get());
    const Expression owned(result);
    return error == 0 ? ReadSignature(curve, result, signature) : StatusOf(error);
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
           gcry_pk_verify(claim.get(), hash.get(), key.get()) == 0;
}

}  // namespace provider
