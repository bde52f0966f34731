// What is kept beside a certificate, and the file that holds both.
#pragma once

#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "capi/x509.h"

namespace capi {

// CRYPT_KEY_PROV_INFO with all that its pointers lead to.
class KeyProvInfo {
  public:
    struct Parameter {
        DWORD number = 0;
        DWORD flags = 0;
        Bytes data;
    };

    KeyProvInfo() = default;
    // Throws E_INVALIDARG where a count has no pointer.
    explicit KeyProvInfo(const CRYPT_KEY_PROV_INFO& info);
    // Parameters may be PINs, so that they are wiped.
    ~KeyProvInfo();
    KeyProvInfo(const KeyProvInfo&) = default;
    KeyProvInfo(KeyProvInfo&&) = default;
    // What was here ends in `other`, and is wiped with it.
    KeyProvInfo& operator=(KeyProvInfo other) noexcept;

    // As one block; `block` is aligned as memory from malloc is, and has BlockSize() bytes.
    std::size_t BlockSize() const;
    void WriteBlock(BYTE* block) const;

    // For a file, in which no PIN stands.
    Bytes Serialize() const;
    static std::optional<KeyProvInfo> Parse(std::span<const BYTE> bytes);

    std::optional<std::wstring> container;
    std::optional<std::wstring> provider;
    DWORD providerType = 0;
    DWORD flags = 0;
    DWORD keySpec = 0;
    std::vector<Parameter> parameters;
};

struct Properties {
    bool Has(DWORD number) const;
    void Remove(DWORD number);
    // Takes from `other` what is lacking here; answers whether there was anything.
    bool Inherit(const Properties& other);
    // The number after `number`, 0 past the last.
    DWORD Next(DWORD number) const;

    std::optional<KeyProvInfo> keyProvInfo;
    // All others, by number.
    std::map<DWORD, Bytes> blobs;
};

// A certificate's file: for each property its number, X509_ASN_ENCODING and its size as 32 bits,
// least significant byte first, then its bytes; the certificate itself comes last, under
// CERT_CERT_PROP_ID.
struct Entry {
    Bytes encoded;
    Properties properties;
};
Bytes SerializeEntry(std::span<const BYTE> encoded, const Properties& properties);
std::optional<Entry> ParseEntry(std::span<const BYTE> bytes);

}  // namespace capi
