// CertCreateSelfSignCertificate turns the provider's public keys into the form of a certificate
// through functions that a provider installs for each key's identifier, and signs through a list of
// its own. What a certificate needs beside that is all here.
#include "mvlpfx/self_signed.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <string_view>

#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

namespace {

// What a key of each family signs with.
struct SignatureAlgorithm {
    std::string_view publicKeyOid;
    const char* signatureOid;
    ALG_ID hash;
};

constexpr SignatureAlgorithm kSignatureAlgorithms[] = {
    {"1.2.643.2.2.19", "1.2.643.2.2.3", 0x801E},
    {"1.2.643.7.1.1.1.1", "1.2.643.7.1.1.3.2", 0x8021},
    {"1.2.643.7.1.1.1.2", "1.2.643.7.1.1.3.3", 0x8022},
};

constexpr char kWhat[] = "can't make the certificate";
constexpr DWORD kBlobHeaderSize = 8;

struct FreeLocal {
    void operator()(CERT_PUBLIC_KEY_INFO* info) const { LocalFree(info); }
};
using PublicKeyInfo = std::unique_ptr<CERT_PUBLIC_KEY_INFO, FreeLocal>;

std::vector<BYTE> Encode(LPCSTR type, const void* value) {
    DWORD size = 0;
    RequireCall(CryptEncodeObject(X509_ASN_ENCODING, type, value, nullptr, &size), kWhat);
    std::vector<BYTE> encoded(size);
    RequireCall(CryptEncodeObject(X509_ASN_ENCODING, type, value, encoded.data(), &size), kWhat);
    encoded.resize(size);
    return encoded;
}

// The provider's blob is a SubjectPublicKeyInfo behind its header.
PublicKeyInfo ReadPublicKey(HCRYPTPROV context) {
    OwnedKey key;
    RequireCall(CryptGetUserKey(context, AT_SIGNATURE, key.Fill()), kWhat);
    DWORD size = 0;
    RequireCall(CryptExportKey(key.Get(), 0, PUBLICKEYBLOB, 0, nullptr, &size), kWhat);
    std::vector<BYTE> blob(size);
    RequireCall(CryptExportKey(key.Get(), 0, PUBLICKEYBLOB, 0, blob.data(), &size), kWhat);
    CERT_PUBLIC_KEY_INFO* info = nullptr;
    DWORD infoSize = 0;
    RequireCall(CryptDecodeObjectEx(X509_ASN_ENCODING, X509_PUBLIC_KEY_INFO,
                                    blob.data() + kBlobHeaderSize, size - kBlobHeaderSize,
                                    CRYPT_DECODE_ALLOC_FLAG, nullptr, &info, &infoSize),
                kWhat);
    return PublicKeyInfo(info);
}

const SignatureAlgorithm& AlgorithmOf(const CERT_PUBLIC_KEY_INFO& key) {
    const auto* const found = std::ranges::find(kSignatureAlgorithms, key.Algorithm.pszObjId,
                                                &SignatureAlgorithm::publicKeyOid);
    if (found == std::end(kSignatureAlgorithms)) {
        throw ToolError(ExitCode::kUnsupported, kWhat, static_cast<DWORD>(NTE_BAD_ALGID));
    }
    return *found;
}

// In the octets' order of CryptoAPI, which the encoder turns round for the certificate.
std::vector<BYTE> Sign(HCRYPTPROV context, ALG_ID algorithm, std::vector<BYTE> body) {
    Owned<HCRYPTHASH, CryptDestroyHash> hash;
    RequireCall(CryptCreateHash(context, algorithm, 0, 0, hash.Fill()), kWhat);
    RequireCall(CryptHashData(hash.Get(), body.data(), static_cast<DWORD>(body.size()), 0), kWhat);
    DWORD size = 0;
    RequireCall(CryptSignHashW(hash.Get(), AT_SIGNATURE, nullptr, 0, nullptr, &size), kWhat);
    std::vector<BYTE> signature(size);
    RequireCall(CryptSignHashW(hash.Get(), AT_SIGNATURE, nullptr, 0, signature.data(), &size),
                kWhat);
    return signature;
}

void Tie(PCCERT_CONTEXT certificate, HCRYPTPROV context) {
    std::wstring container = ToWide(TextParameter(context, PP_UNIQUE_CONTAINER));
    std::wstring provider = ToWide(kProviderName);
    DWORD keySet = 0;
    DWORD size = sizeof(keySet);
    RequireCall(
        CryptGetProvParam(context, PP_KEYSET_TYPE, reinterpret_cast<BYTE*>(&keySet), &size, 0),
        kWhat);
    CRYPT_KEY_PROV_INFO info{};
    info.pwszContainerName = container.data();
    info.pwszProvName = provider.data();
    info.dwProvType = kProviderType;
    info.dwFlags = keySet & CRYPT_MACHINE_KEYSET;
    info.dwKeySpec = AT_SIGNATURE;
    RequireCall(
        CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, &info),
        kWhat);
}

}  // namespace

OwnedCertificate SignOwnCertificate(HCRYPTPROV context, CertificateContent content) {
    const PublicKeyInfo key = ReadPublicKey(context);
    const SignatureAlgorithm& algorithm = AlgorithmOf(*key);
    std::string signatureOid = algorithm.signatureOid;
    std::array<BYTE, 16> serialNumber{};
    RequireCall(CryptGenRandom(context, serialNumber.size(), serialNumber.data()), kWhat);
    // The least significant octet comes first: positive, and as long as it is.
    serialNumber.back() = static_cast<BYTE>((serialNumber.back() & 0x7F) | 0x40);

    CERT_INFO body{};
    body.dwVersion = CERT_V3;
    body.SerialNumber = {static_cast<DWORD>(serialNumber.size()), serialNumber.data()};
    body.SignatureAlgorithm.pszObjId = signatureOid.data();
    body.Issuer = {static_cast<DWORD>(content.name.size()), content.name.data()};
    body.Subject = body.Issuer;
    GetSystemTimeAsFileTime(&body.NotBefore);
    RequireCall(SystemTimeToFileTime(&content.end, &body.NotAfter), kWhat);
    body.SubjectPublicKeyInfo = *key;
    body.cExtension = content.extensions.cExtension;
    body.rgExtension = content.extensions.rgExtension;
    std::vector<BYTE> encodedBody = Encode(X509_CERT_TO_BE_SIGNED, &body);

    std::vector<BYTE> signature = Sign(context, algorithm.hash, encodedBody);
    CERT_SIGNED_CONTENT_INFO whole{};
    whole.ToBeSigned = {static_cast<DWORD>(encodedBody.size()), encodedBody.data()};
    whole.SignatureAlgorithm = body.SignatureAlgorithm;
    whole.Signature = {static_cast<DWORD>(signature.size()), signature.data(), 0};
    const std::vector<BYTE> encoded = Encode(X509_CERT, &whole);

    OwnedCertificate certificate(CertCreateCertificateContext(X509_ASN_ENCODING, encoded.data(),
                                                              static_cast<DWORD>(encoded.size())));
    RequireCall(certificate ? TRUE : FALSE, kWhat);
    Tie(certificate.Get(), context);
    return certificate;
}

}  // namespace mvlpfx
