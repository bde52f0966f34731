// Encodings of schema objects, spelled by hand, and their fields.
#pragma once

#include <string>

#include "foundation/object_id.h"

namespace support {

inline const std::string kDefaultEncrAdditionalInfo = "30 0B 04 00 06 07 2A 85 03 02 02 1F 01";
inline const std::string kDefaultPbkdf2AdditionalInfo =
    "30 12 04 00 02 02 07 D0 30 0A 06 06 2A 85 03 02 02 0A 05 00";
inline const std::string kDefaultEncrAlgIdentifier =
    "30 15 06 06 2A 85 03 02 02 15 " + kDefaultEncrAdditionalInfo;
inline const std::string kDefaultPbkdf2AlgIdentifier =
    "30 1F 06 09 2A 86 48 86 F7 0D 01 05 0C " + kDefaultPbkdf2AdditionalInfo;
inline const std::string kDefaultPbes2AlgIdentifier =
    "30 45 06 09 2A 86 48 86 F7 0D 01 05 0D 30 38 " + kDefaultPbkdf2AlgIdentifier + " " +
    kDefaultEncrAlgIdentifier;

inline std::string TextOf(const pkisdk::ObjectId& oid) {
    std::string text;
    oid.GetText(&text);
    return text;
}

}  // namespace support
