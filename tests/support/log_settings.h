// Settings of logs, for the time of a test.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace test_support {

// What the registry has types for: a number of 32 bits, or of 64 where it needs them, a text in
// UTF-8, or texts.
using LogSetting = std::variant<std::int64_t, std::string, std::vector<std::string>>;

using LogSettings = std::map<std::string, LogSetting>;

inline constexpr char kLogsKey[] = "Software\\Wow6432Node\\Velmorix\\Logs\\";

}  // namespace test_support

// LogSettingsStore: the settings of this process's logs, whatever the machine has. A new one holds
// no log's; Set(log, settings) gives a log these values and no others.
#ifdef _WIN32
#include "support/log_settings_registry.h"
#else
#include "support/log_settings_file.h"
#endif
