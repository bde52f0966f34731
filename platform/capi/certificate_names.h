// Names of certificates as text.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "capi/certificates.h"

namespace capi {

// An encoded name as CertNameToStrA writes it, in UTF-8; empty for bytes that are no name.
std::string NameText(std::span<const BYTE> encodedName, DWORD type);

// The identifier of an attribute in dotted text: a keyword's, in any case, or the text itself less
// an "OID." before it.
std::string OidOfKeyword(std::string_view text);

// Whether `text`, in UTF-8, stands in the values of the name. Case counts for nothing.
bool NameContains(std::span<const BYTE> encodedName, const std::wstring& text);

}  // namespace capi
