// Any DER, element by element, without knowing what it means; BER too.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace mvlpfx {

struct DerElement {
    std::uint32_t offset = 0;   // of the first identifier octet
    std::uint32_t content = 0;  // where the value begins
    std::uint32_t length = 0;   // bytes of the value, without an end-of-contents behind them
    std::int32_t depth = 0;
    std::uint8_t identifier = 0;           // the first octet
    std::span<const std::uint8_t> number;  // the octets of a high tag number, else empty
    bool isOpen = false;                   // whether the elements inside follow
    bool isIndefinite = false;             // whether an end-of-contents among them ends it
};

// A whole read, or how far it came.
struct DerWalk {
    std::vector<DerElement> elements;  // parents before children; they point into the bytes
    bool isWhole = false;
    std::uint32_t stop = 0;  // where what follows is no element, or leaves the one around it
};

// Reads `der`, of less than 4 GiB, as elements one after another. Constructed ones are opened, and
// so are OCTET STRING and BIT STRING where their value is a run of elements of known types. What
// ends an indefinite length is an element inside of it, with 0 for its identifier. Time and memory
// are linear in the bytes, whatever the nesting.
DerWalk WalkDer(std::span<const std::uint8_t> der);

// In hexadecimal digits, the first 32 bytes and "..." for more.
std::string ShownHex(std::span<const std::uint8_t> bytes);

// "SEQUENCE", "[0]", "[APPLICATION 3]", "[UNIVERSAL 31]", "end-of-contents"
std::string TypeName(const DerElement& element);
// The same of an identifier octet alone; "tag 0x7F" where it announces a number that follows.
std::string TypeName(std::uint8_t identifier);

}  // namespace mvlpfx
