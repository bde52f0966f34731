// What a key's bag says of its key besides the key.
#pragma once

#include <list>
#include <optional>
#include <string>

#include "foundation/blob.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

struct BagAttributes {
    // Empty where there is none.
    Blob localKeyId;
    // The friendly name in the ANSI code page; nothing where there is none.
    std::optional<std::string> containerName;
    // Whether the key is meant for the machine.
    bool isMachineKey = false;
};

// Reads the attributes in their order, each with its header; of one that stands twice the later
// counts, and others are passed over. Answers 0; or CRYPT_E_ASN1_CORRUPT at the first local key
// identifier or friendly name without a value, where reading ends and what was read stands. Throws
// what the schema throws for an attribute or a value that is malformed.
DWORD ReadBagAttributes(const std::list<Blob>& attributes, BagAttributes* read);

}  // namespace pkisdk
