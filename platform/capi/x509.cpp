#include "capi/x509.h"

#include <openssl/asn1.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/objects.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstdint>
#include <ctime>

#include "capi/calls.h"
#include "capi/certificate_syntax.h"

namespace capi {

namespace {

constexpr LONGLONG kUnitsPerSecond = 10'000'000;
constexpr LONGLONG kSecondsFrom1601To1970 = 11'644'473'600;

FILETIME ToFileTime(const ASN1_TIME* time) {
    std::tm parts{};
    Require(ASN1_TIME_to_tm(time, &parts) == 1, CRYPT_E_ASN1_CORRUPT);
    const LONGLONG seconds = LONGLONG{timegm(&parts)} + kSecondsFrom1601To1970;
    Require(seconds >= 0, CRYPT_E_ASN1_CORRUPT);
    const auto units = static_cast<ULONGLONG>(seconds * kUnitsPerSecond);
    return {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
}

CRYPT_INTEGER_BLOB ToBlob(std::span<const BYTE> bytes) {
    // The interfaces have no pointer to constant bytes.
    return {static_cast<DWORD>(bytes.size()), const_cast<BYTE*>(bytes.data())};
}

const EVP_MD* DigestByNumber(ALG_ID algorithm) {
    switch (algorithm) {
        case 0x8003:
            return EVP_md5();
        case 0:
        case CALG_SHA1:
            return EVP_sha1();
        case 0x800C:
            return EVP_sha256();
        case 0x800D:
            return EVP_sha384();
        case 0x800E:
            return EVP_sha512();
        default:
            return nullptr;
    }
}

[[noreturn]] void FailToDigest() {
    const bool lacksMemory = ERR_GET_REASON(ERR_peek_last_error()) == ERR_R_MALLOC_FAILURE;
    ERR_clear_error();
    ThrowWord(lacksMemory ? ERROR_NOT_ENOUGH_MEMORY : NTE_FAIL);
}

const EVP_MD& RequireFetched(const EVP_MD* digest) {
    if (digest == nullptr) {
        FailToDigest();
    }
    return *digest;
}

void Digest(const EVP_MD& digest, std::span<const BYTE> data, BYTE* hash) {
    if (EVP_Digest(data.data(), data.size(), hash, nullptr, &digest, nullptr) != 1) {
        FailToDigest();
    }
}

}  // namespace

X509Pointer DecodeX509(std::span<const BYTE> encoded) {
    if (encoded.size() > LONG_MAX) {
        return nullptr;
    }
    const unsigned char* at = encoded.data();
    X509Pointer certificate(d2i_X509(nullptr, &at, static_cast<long>(encoded.size())));
    // What libcrypto noted is told by the answer.
    ERR_clear_error();
    const bool isWhole = certificate != nullptr && at == encoded.data() + encoded.size();
    return isWhole ? std::move(certificate) : nullptr;
}

// Walks the elements of one level, which libcrypto has found well-formed; what BER allows beyond
// DER in their headers is refused here.
class CertificateInfo::Reader {
  public:
    struct Element {
        std::span<const BYTE> whole;
        std::span<const BYTE> content;
    };

    explicit Reader(std::span<const BYTE> bytes) : rest_(bytes) {}

    bool IsAtEnd() const { return rest_.empty(); }
    // Whether the next element has that tag: universal, or else context-specific.
    bool IsNext(int tag, int tagClass = V_ASN1_UNIVERSAL) const {
        return !IsAtEnd() && ReadHeader().tag == tag && ReadHeader().tagClass == tagClass;
    }
    Element Next() {
        const Header header = ReadHeader();
        const Element element{rest_.first(header.size + header.length),
                              rest_.subspan(header.size, header.length)};
        rest_ = rest_.subspan(element.whole.size());
        return element;
    }
    Reader Enter() { return Reader(Next().content); }

  private:
    struct Header {
        int tag;
        int tagClass;
        std::size_t size;
        std::size_t length;
    };

    Header ReadHeader() const {
        constexpr int kError = 0x80;
        constexpr int kIndefinite = 0x01;
        const unsigned char* at = rest_.data();
        long length = 0;
        Header header{};
        const int flags = ASN1_get_object(&at, &length, &header.tag, &header.tagClass,
                                          static_cast<long>(rest_.size()));
        if ((flags & (kError | kIndefinite)) != 0) {
            ERR_clear_error();
            ThrowWord(CRYPT_E_ASN1_CORRUPT);
        }
        header.size = static_cast<std::size_t>(at - rest_.data());
        header.length = static_cast<std::size_t>(length);
        return header;
    }

    std::span<const BYTE> rest_;
};

namespace {

CRYPT_BIT_BLOB ToBits(std::span<const BYTE> content) {
    Require(!content.empty() && content[0] < 8, CRYPT_E_ASN1_CORRUPT);
    const CRYPT_INTEGER_BLOB bits = ToBlob(content.subspan(1));
    return {bits.cbData, bits.pbData, content[0]};
}

// Empty for what is no identifier, and for one whose text libcrypto has to make. It takes its time
// for that, and a certificate has half a dozen.
std::string ShortOidText(std::span<const BYTE> element, std::span<const BYTE> content) {
    constexpr std::size_t kMaxOctets = 32;
    // A digit more than an octet needs, and a dot.
    std::array<char, 4 * kMaxOctets> text;
    if (element[0] != V_ASN1_OBJECT || content.size() > kMaxOctets) {
        return {};
    }
    char* end = text.data();
    std::uint32_t arc = 0;
    bool isInArc = false;
    for (const BYTE octet : content) {
        constexpr BYTE kMore = 0x80;
        const bool isPadding = !isInArc && octet == kMore;
        if (isPadding || arc >> 25 != 0) {
            return {};
        }
        arc = arc << 7 | (octet & ~kMore);
        isInArc = (octet & kMore) != 0;
        if (isInArc) {
            continue;
        }
        if (end == text.data()) {
            const std::uint32_t first = std::min(arc / 40, 2U);
            *end++ = static_cast<char>('0' + first);
            arc -= 40 * first;
        }
        *end++ = '.';
        end = std::to_chars(end, text.data() + text.size(), arc).ptr;
        arc = 0;
    }
    return isInArc ? std::string() : std::string(text.data(), end);
}

std::string AnyOidText(std::span<const BYTE> element) {
    const unsigned char* at = element.data();
    ASN1_OBJECT* const object = d2i_ASN1_OBJECT(nullptr, &at, static_cast<long>(element.size()));
    Require(object != nullptr, CRYPT_E_ASN1_CORRUPT);
    const int length = OBJ_obj2txt(nullptr, 0, object, 1);
    std::string text(static_cast<std::size_t>(std::max(length, 0)), '\0');
    OBJ_obj2txt(text.data(), length + 1, object, 1);
    ASN1_OBJECT_free(object);
    return text;
}

}  // namespace

CertificateInfo::CertificateInfo(std::span<const BYTE> encoded) {
    const CertificateSyntaxPointer certificate = DecodeCertificate(encoded);
    Require(certificate != nullptr, CRYPT_E_ASN1_CORRUPT);
    info_.NotBefore = ToFileTime(certificate->body->validity->notBefore);
    info_.NotAfter = ToFileTime(certificate->body->validity->notAfter);

    Reader parts = Reader(encoded).Enter();
    ReadBody(parts.Enter());
    ReadAlgorithm(parts.Enter(), &info_.SignatureAlgorithm);
}

// TBSCertificate ::= SEQUENCE { version [0] DEFAULT v1, serialNumber, signature, issuer, validity,
//     subject, subjectPublicKeyInfo, issuerUniqueID [1] OPTIONAL, subjectUniqueID [2] OPTIONAL,
//     extensions [3] OPTIONAL }
void CertificateInfo::ReadBody(Reader body) {
    if (body.IsNext(0, V_ASN1_CONTEXT_SPECIFIC)) {
        const std::span<const BYTE> version = body.Enter().Next().content;
        info_.dwVersion = version.empty() ? CERT_V1 : version.back();
    }
    const std::span<const BYTE> serial = body.Next().content;
    serialNumber_.assign(serial.rbegin(), serial.rend());
    info_.SerialNumber = ToBlob(serialNumber_);
    body.Next();
    info_.Issuer = ToBlob(body.Next().whole);
    body.Next();
    info_.Subject = ToBlob(body.Next().whole);

    const Reader::Element keyInfo = body.Next();
    publicKeyInfo_ = keyInfo.whole;
    Reader keyFields(keyInfo.content);
    ReadAlgorithm(keyFields.Enter(), &info_.SubjectPublicKeyInfo.Algorithm);
    info_.SubjectPublicKeyInfo.PublicKey = ToBits(keyFields.Next().content);

    if (body.IsNext(1, V_ASN1_CONTEXT_SPECIFIC)) {
        info_.IssuerUniqueId = ToBits(body.Next().content);
    }
    if (body.IsNext(2, V_ASN1_CONTEXT_SPECIFIC)) {
        info_.SubjectUniqueId = ToBits(body.Next().content);
    }
    if (body.IsNext(3, V_ASN1_CONTEXT_SPECIFIC)) {
        ReadExtensions(body.Enter().Enter());
    }
}

// Extension ::= SEQUENCE { extnID, critical BOOLEAN DEFAULT FALSE, extnValue OCTET STRING }
void CertificateInfo::ReadExtensions(Reader list) {
    while (!list.IsAtEnd()) {
        Reader fields = list.Enter();
        CERT_EXTENSION extension{};
        extension.pszObjId = KeepOid(&fields);
        if (fields.IsNext(V_ASN1_BOOLEAN)) {
            const std::span<const BYTE> critical = fields.Next().content;
            extension.fCritical = !critical.empty() && critical[0] != 0;
        }
        extension.Value = ToBlob(fields.Next().content);
        extensions_.push_back(extension);
    }
    info_.cExtension = static_cast<DWORD>(extensions_.size());
    info_.rgExtension = extensions_.data();
}

void CertificateInfo::ReadAlgorithm(Reader fields, CRYPT_ALGORITHM_IDENTIFIER* algorithm) {
    algorithm->pszObjId = KeepOid(&fields);
    if (!fields.IsAtEnd()) {
        algorithm->Parameters = ToBlob(fields.Next().whole);
    }
}

char* CertificateInfo::KeepOid(Reader* fields) {
    const auto [element, content] = fields->Next();
    std::string text = ShortOidText(element, content);
    if (text.empty()) {
        text = AnyOidText(element);
    }
    return oids_.emplace_back(std::move(text)).data();
}

std::span<const BYTE> FindExtension(const CERT_INFO& info, const char* oid) {
    const std::span extensions(info.rgExtension, info.cExtension);
    const auto found = std::ranges::find_if(extensions, [oid](const CERT_EXTENSION& extension) {
        return std::string_view(extension.pszObjId) == oid;
    });
    return found == extensions.end() ? std::span<const BYTE>() : View(found->Value);
}

Sha1 Sha1Of(std::span<const BYTE> data) {
    // EVP_sha1() would be looked for anew each time. One that was not found is looked for again.
    static const EVP_MD& sha1 = RequireFetched(EVP_MD_fetch(nullptr, "SHA1", nullptr));
    Sha1 hash{};
    Digest(sha1, data, hash.data());
    return hash;
}

Bytes DigestOf(ALG_ID algorithm, std::span<const BYTE> data) {
    const EVP_MD* const digest = DigestByNumber(algorithm);
    if (digest == nullptr) {
        return {};
    }
    Bytes hash(static_cast<std::size_t>(EVP_MD_get_size(digest)));
    Digest(*digest, data, hash.data());
    return hash;
}

bool IsSignedBy(std::span<const BYTE> subject, std::span<const BYTE> issuer) {
    const X509Pointer child = DecodeX509(subject);
    const X509Pointer signer = DecodeX509(issuer);
    EVP_PKEY* const key = signer == nullptr ? nullptr : X509_get0_pubkey(signer.get());
    const bool isGood = child != nullptr && key != nullptr && X509_verify(child.get(), key) == 1;
    ERR_clear_error();
    return isGood;
}

}  // namespace capi
