// Names of certificates as text.
#pragma once

#include <span>
#include <string>

#include "capi/certificates.h"

namespace capi {

// An encoded name as CertNameToStrA writes it, in UTF-8; empty for bytes that are no name.
std::string NameText(std::span<const BYTE> encodedName, DWORD type);

// Whether `text`, in UTF-8, stands in the values of the name. Case counts for nothing.
bool NameContains(std::span<const BYTE> encodedName, const std::wstring& text);

}  // namespace capi
