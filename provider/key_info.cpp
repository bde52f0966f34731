#include "provider/key_info.h"

#include <algorithm>

#include "provider/der.h"
#include "provider/gost_key.h"

namespace provider {

namespace {

using Octets = std::span<const BYTE>;

constexpr BYTE kVersion0[] = {0};
constexpr BYTE kNoUnusedBits[] = {0};
constexpr BYTE kAttributes = 0xA0;
constexpr BYTE kPublicKey = 0x81;

SecretBytes EncodeAlgorithm(const KeyType& type) {
    const SecretBytes oid = DerElement(der::kObjectIdentifier, {type.algorithm->oid.Octets()});
    const SecretBytes curve = DerElement(der::kObjectIdentifier, {type.curve->oid.Octets()});
    SecretBytes digest;
    if (type.algorithm->digestOid != nullptr && type.curve->isOf2001) {
        digest = DerElement(der::kObjectIdentifier, {type.algorithm->digestOid->Octets()});
    }
    const SecretBytes parameters = DerElement(der::kSequence, {curve.View(), digest.View()});
    return DerElement(der::kSequence, {oid.View(), parameters.View()});
}

// SEQUENCE { algorithm, SEQUENCE { curve, digest OPTIONAL, cipher OPTIONAL } }
bool DecodeAlgorithm(Octets identifier, KeyType* type) {
    Octets oid;
    Octets content;
    DerReader fields(identifier);
    if (!fields.Read(der::kObjectIdentifier, &oid) || !fields.ReadLast(der::kSequence, &content)) {
        return false;
    }
    Octets curve;
    Octets ignored;
    DerReader parameters(content);
    if (!parameters.Read(der::kObjectIdentifier, &curve)) {
        return false;
    }
    for (int i = 0; i < 2 && !parameters.IsAtEnd(); ++i) {
        if (!parameters.Read(der::kObjectIdentifier, &ignored)) {
            return false;
        }
    }
    type->algorithm = FindGostAlgorithm(oid);
    type->curve = FindCurve(curve);
    return parameters.IsAtEnd() && type->algorithm != nullptr && type->curve != nullptr &&
           type->algorithm->Takes(*type->curve);
}

// The content of an INTEGER as a key of the curve's size; empty where it is none.
SecretBytes KeyOfInteger(const GostCurve& curve, Octets content) {
    constexpr BYTE kSign = 0x80;
    if (content.empty() || (content[0] & kSign) != 0) {
        return SecretBytes();
    }
    if (content.size() > 1 && content[0] == 0) {
        if ((content[1] & kSign) == 0) {
            return SecretBytes();
        }
        content = content.subspan(1);
    }
    if (content.size() > curve.size) {
        return SecretBytes();
    }
    SecretBytes key(curve.size);
    std::reverse_copy(content.begin(), content.end(), key.data());
    return key;
}

// Empty for a form that is none of the known ones.
SecretBytes KeyOfContent(const GostCurve& curve, Octets content) {
    if (!content.empty() && content.size() % curve.size == 0) {
        return content.size() == curve.size ? SecretBytes::CopyOf(content)
                                            : MultiplyModuloOrder(curve, content);
    }
    Octets inner;
    DerReader reader(content);
    if (reader.ReadLast(der::kOctetString, &inner)) {
        return inner.size() == curve.size ? SecretBytes::CopyOf(inner) : SecretBytes();
    }
    return reader.ReadLast(der::kInteger, &inner) ? KeyOfInteger(curve, inner) : SecretBytes();
}

// [0] attributes OPTIONAL, and in version 1 [1] public key OPTIONAL.
bool SkipOptionalFields(DerReader* fields, BYTE version) {
    Octets ignored;
    if (fields->NextIs(kAttributes) && !fields->Read(kAttributes, &ignored)) {
        return false;
    }
    if (version == 1 && fields->NextIs(kPublicKey) && !fields->Read(kPublicKey, &ignored)) {
        return false;
    }
    return fields->IsAtEnd();
}

}  // namespace

SecretBytes EncodePrivateKeyInfo(const KeyType& type, std::span<const BYTE> privateKey) {
    const SecretBytes version = DerElement(der::kInteger, {kVersion0});
    const SecretBytes algorithm = EncodeAlgorithm(type);
    const SecretBytes key = DerElement(der::kOctetString, {privateKey});
    return DerElement(der::kSequence, {version.View(), algorithm.View(), key.View()});
}

HRESULT DecodePrivateKeyInfo(std::span<const BYTE> info, KeyType* type, SecretBytes* privateKey) {
    Octets content;
    Octets version;
    Octets algorithm;
    Octets key;
    DerReader outer(info);
    if (!outer.ReadLast(der::kSequence, &content)) {
        return NTE_BAD_DATA;
    }
    DerReader fields(content);
    if (!fields.Read(der::kInteger, &version) || version.size() != 1 || version[0] > 1 ||
        !fields.Read(der::kSequence, &algorithm) || !DecodeAlgorithm(algorithm, type) ||
        !fields.Read(der::kOctetString, &key) || !SkipOptionalFields(&fields, version[0])) {
        return NTE_BAD_DATA;
    }
    *privateKey = KeyOfContent(*type->curve, key);
    return IsPrivateKey(*type->curve, privateKey->View()) ? S_OK : NTE_BAD_DATA;
}

std::vector<BYTE> EncodePublicKeyInfo(const KeyType& type, std::span<const BYTE> publicKey) {
    const SecretBytes algorithm = EncodeAlgorithm(type);
    const SecretBytes point = DerElement(der::kOctetString, {publicKey});
    const SecretBytes bits = DerElement(der::kBitString, {kNoUnusedBits, point.View()});
    const SecretBytes info = DerElement(der::kSequence, {algorithm.View(), bits.View()});
    return {info.View().begin(), info.View().end()};
}

HRESULT DecodePublicKeyInfo(std::span<const BYTE> info, KeyType* type,
                            std::vector<BYTE>* publicKey) {
    Octets content;
    Octets algorithm;
    Octets bits;
    Octets point;
    DerReader outer(info);
    if (!outer.ReadLast(der::kSequence, &content)) {
        return NTE_BAD_DATA;
    }
    DerReader fields(content);
    if (!fields.Read(der::kSequence, &algorithm) || !DecodeAlgorithm(algorithm, type) ||
        !fields.ReadLast(der::kBitString, &bits) || bits.empty() || bits[0] != 0) {
        return NTE_BAD_DATA;
    }
    DerReader pointReader(bits.subspan(1));
    if (!pointReader.ReadLast(der::kOctetString, &point) || !IsPublicKey(*type->curve, point)) {
        return NTE_BAD_DATA;
    }
    publicKey->assign(point.begin(), point.end());
    return S_OK;
}

}  // namespace provider
