// Reading of the settings file.
#pragma once

#include <string>
#include <string_view>

#include "capi/settings.h"

namespace capi {

// The file that holds the settings, whether or not it is there.
std::string SettingsPath();

// Adds what the TOML text says. On bad text answers false, with the place and the reason in
// `*reason`, and adds nothing.
bool ParseSettings(std::string_view text, Settings* settings, std::string* reason);

}  // namespace capi
