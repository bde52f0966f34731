// How messages name the schema class where a read began, unless the caller has set a context.
#pragma once

#include <string>

namespace pkisdk::asn {

inline constexpr char kEncrContentContext[] = "EncryptedContent::";
inline constexpr char kEncrContentInfoContext[] = "EncrContentInfo::";
inline constexpr char kPfxKeyBagContext[] = "PfxKeyBag::";
inline constexpr char kPfxKeyInfoContext[] = "PfxKeyInfo::";
inline constexpr char kEncrAlgIdentifierContext[] = "EncrAlgIdentifier::";
inline constexpr char kPbkdf2AlgIdentifierContext[] = "PBKDF2AlgIdentifier::";
inline constexpr char kPbes2AlgIdentifierContext[] = "PBES2AlgIdentifier::";
inline constexpr char kAttributesSetContext[] = "AttributesSet::";

// Names that are set aside: what bears them is read in the context of what is around it.
inline constexpr char kAlgorithmIdentifierContext[] = "AlgorithmIdentifier::";
inline constexpr char kOptionalContext[] = "Optional";
inline constexpr char kAlgorithmAdditionalInfoContext[] = "AlgorithmAdditionalInfo::";
inline constexpr char kEncrAdditionalInfoContext[] = "EncrAdditionalInfo::";
inline constexpr char kPbkdf2AdditionalInfoContext[] = "PBKDF2AdditionalInfo::";

inline std::string ContextOr(const std::string& given, const char* own) {
    return given.empty() ? own : given;
}

}  // namespace pkisdk::asn
