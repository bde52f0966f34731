// What the registry holds: the settings file over the built-in defaults.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "capi/types.h"

namespace capi {

// Text is UTF-8 here, without terminators: one string for REG_SZ, any number for REG_MULTI_SZ.
struct SettingsValue {
    std::string name;
    DWORD type = 0;
    ULONGLONG number = 0;
    std::vector<std::string> texts;

    bool operator==(const SettingsValue&) const = default;
};

// The names under which the two roots stand.
inline constexpr char kMachineRoot[] = "HKEY_LOCAL_MACHINE";
inline constexpr char kUserRoot[] = "HKEY_CURRENT_USER";

// The keys of one moment. A key's path begins with its root's name and has no backslash at its end.
class Settings {
  public:
    struct Key {
        // As first written, for enumeration.
        std::string path;
        std::vector<SettingsValue> values;
        // Places in `values`, by name in lower case.
        std::map<std::string, std::size_t, std::less<>> placeOfName;
    };

    // With both roots and nothing under them.
    Settings();

    // Names do not depend on case, in ASCII letters. Null where there is no such key, not even as a
    // part of another's path.
    const Key* FindKey(std::string_view path) const;
    // Null where the key or the value is not there.
    const SettingsValue* FindValue(std::string_view path, std::string_view name) const;
    // The keys right under `path`, by the last part of their name.
    std::vector<std::string> SubKeyNames(std::string_view path) const;

    // Makes the key and those it lies under.
    void AddKey(std::string_view path);
    // Adds to a key unless it has a value of that name.
    void AddValue(std::string_view path, SettingsValue value);

    // 100-nanosecond units since 1601; 0 where there is no file.
    ULONGLONG lastWriteTime = 0;

  private:
    // By path in lower case.
    std::map<std::string, Key, std::less<>> keys_;
};

// The settings as they are now. The file is read again when it has changed.
std::shared_ptr<const Settings> CurrentSettings();

}  // namespace capi
