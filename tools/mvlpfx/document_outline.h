// What can be seen of a document without its password.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "derlist/der_list.h"

namespace mvlpfx {

// The integrity value, read from the document's tail as the verification reads it.
struct MacOutline {
    bool present = false;
    std::string digestOid;
    std::string digestName;    // the OID where it has no name here
    bool digestKnown = false;  // to the platform's table
    std::uint64_t iterations = 1;
    std::uint32_t saltLength = 0;
    std::uint32_t macLength = 0;
};

// How something is encrypted. Identifiers without a name here are shown as they are; what a scheme
// does not have, or what is not where it should be, stays empty.
struct EncryptionOutline {
    std::string scheme;
    std::string derivation;
    std::string prf;
    std::string cipher;
    std::optional<std::uint64_t> iterations;
    std::optional<std::uint32_t> saltLength;
};

enum class PartKind { kEncryptedContent, kKeyBag, kOtherBag };

struct PartOutline {
    PartKind kind = PartKind::kOtherBag;
    std::string type;  // the bag's, or the content's
    EncryptionOutline encryption;
    std::uint32_t length = 0;  // bytes of the encrypted value, where there is one
    std::string passedOver;    // why a restore passes over it; empty where it does not
};

struct DocumentOutline {
    std::uint64_t version = 0;
    MacOutline mac;
    std::vector<PartOutline> parts;  // in document order
};

// `document` may be DER, PEM or base64. Throws ToolError (kMalformed) if it is no PFX.
DocumentOutline OutlineDocument(std::span<const std::uint8_t> document);

// Why a restore passes over a bag of this type in an encrypted content or outside of one; empty
// where it does not.
const char* WhyPassedOver(const std::string& oid, bool isEncrypted);

// The bags of a decrypted content; none where it is no SafeContents, which `isRead` tells.
std::vector<PartOutline> OutlineDecrypted(const pkisdk::DerList& content, bool* isRead);

// The integrity value alone, of whatever bytes; not present where the tail is no MacData.
MacOutline OutlineMac(std::span<const std::uint8_t> document);

}  // namespace mvlpfx
