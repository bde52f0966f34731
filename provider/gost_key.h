// Keys and signatures of GOST R 34.10-2001 and GOST R 34.10-2012.
//
// A private key is a number of the curve's size, least significant octet first; a public key is x
// and then y in the same order, as SubjectPublicKeyInfo has them. All these may throw
// std::bad_alloc.
#pragma once

#include <span>
#include <vector>

#include "platform/cryptoapi.h"
#include "provider/gost_algorithms.h"
#include "provider/secret_bytes.h"

namespace provider {

// Empty where the library does not know the curve.
SecretBytes GeneratePrivateKey(const GostCurve& curve);

// Whether it is as long as the curve's size, above zero and below the group's order.
bool IsPrivateKey(const GostCurve& curve, std::span<const BYTE> privateKey);

// The product of numbers of the curve's size, which `factors` holds one behind the other, modulo
// the group's order. There is at least one.
SecretBytes MultiplyModuloOrder(const GostCurve& curve, std::span<const BYTE> factors);

// `privateKey` is one. NTE_FAIL where the library does not know the curve.
HRESULT ComputePublicKey(const GostCurve& curve, std::span<const BYTE> privateKey,
                         std::vector<BYTE>* publicKey);

// Whether it is a point of the curve, in the group of its order.
bool IsPublicKey(const GostCurve& curve, std::span<const BYTE> publicKey);

// The hash's value is as the hash gives it, of the curve's size, and counts as a number with its
// least significant octet first. The signature is r and then s in that order: from its last octet
// to its first it is what the BIT STRING of a certificate's signature holds.
HRESULT SignHashValue(const GostCurve& curve, std::span<const BYTE> privateKey,
                      std::span<const BYTE> hashValue, std::vector<BYTE>* signature);

// Whether it is a signature of that hash's value; false for one of another length too.
bool VerifyHashValue(const GostCurve& curve, std::span<const BYTE> publicKey,
                     std::span<const BYTE> hashValue, std::span<const BYTE> signature);

}  // namespace provider
