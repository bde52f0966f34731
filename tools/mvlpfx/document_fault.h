// Why bytes are refused as a document.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

// All take what was read from the file, text forms too, and throw or answer what is to be told of
// it.

// What is no PFX document: an empty file, PEM of another kind, other text, DER that is cut off, has
// bytes behind it, can't be read or is of another kind. `word` is the one that was met.
[[noreturn]] void ThrowNoPfx(std::span<const std::uint8_t> document, std::uint32_t word = 0);

// The same for what does not read as DER from that offset on.
[[noreturn]] void ThrowNoDer(std::span<const std::uint8_t> document, std::uint32_t stop);

// How many bytes there are behind the SEQUENCE with which the document begins; 0 where its end
// can't be told.
std::uint64_t CountBehind(std::span<const std::uint8_t> document);

// The error of bytes behind what reads as DER without them; nothing where there are none.
std::optional<ToolError> FindTrail(std::span<const std::uint8_t> document, std::uint32_t word);

// What has no integrity value where it should stand; for what is no PFX as ThrowNoPfx.
[[noreturn]] void ThrowNoMac(std::span<const std::uint8_t> document);

// Whether it begins as a PFX document, PEM and base64 of one too.
bool BeginsAsPfx(std::span<const std::uint8_t> document);

// The first header of PEM in a text.
std::optional<DocumentPlace> FindPem(std::span<const std::uint8_t> text);

// The first element of indefinite length, of what reads as elements, or begins so.
std::optional<DocumentPlace> FindIndefinite(std::span<const std::uint8_t> document);

// Throws for one, of what can't be read.
void RefuseIndefinite(std::span<const std::uint8_t> document, std::uint32_t word);

// Throws for one around the authenticated content or in the integrity value: any password would be
// told as wrong. Further in they are read, for the most part.
void RefuseIndefiniteFrame(std::span<const std::uint8_t> document);

// Whether keys lie in such elements that a restore would leave behind without a word.
bool HidesKeys(std::span<const std::uint8_t> document);

// Throws where they do.
void RefuseHiddenKeys(std::span<const std::uint8_t> document);

}  // namespace mvlpfx
