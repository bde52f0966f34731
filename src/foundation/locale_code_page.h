// The code page that goes with the name of a locale.
#pragma once

#include <cstdint>
#include <string_view>

namespace tools2 {

// The user's ANSI code page for the empty name; else the one that the name ends in, as in
// "Russian_Russia.1251", "ru_RU.KOI8-R" or "C.UTF-8@modifier"; 0 where it names none that is known.
std::uint32_t CodePageOfLocale(std::string_view name);

// The most bytes that a character of the code page takes.
int BytesPerCharacter(std::uint32_t codePage);

}  // namespace tools2
