#include "capi/settings_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <toml++/toml.h>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "capi/builtin_settings.h"
#include "capi/registry.h"

namespace capi {

namespace {

constexpr char kDefaultPath[] = "/etc/velmorix/settings.toml";
constexpr off_t kLargestFile = off_t{1} << 20;

class File {
  public:
    explicit File(const std::string& path)
        // A pipe in the file's place must not hold its reader.
        : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
    ~File() {
        if (IsOpen()) {
            close(descriptor_);
        }
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool IsOpen() const { return descriptor_ >= 0; }
    int Descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

// What tells one state of the file from another.
struct FileIdentity {
    std::string path;
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;

    bool operator==(const FileIdentity&) const = default;
};

FileIdentity IdentityOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        // What cannot be looked at will fail to open with the same reason.
        return {path, errno != ENOENT && errno != ENOTDIR, 0, 0, 0, 0, 0};
    }
    return {path,
            true,
            status.st_dev,
            status.st_ino,
            status.st_size,
            status.st_mtim.tv_sec,
            status.st_mtim.tv_nsec};
}

std::string SystemReason() {
    return std::generic_category().message(errno);
}

std::optional<std::string> ReadWhole(const std::string& path, std::string* reason) {
    const File file(path);
    struct stat status {};
    if (!file.IsOpen() || fstat(file.Descriptor(), &status) != 0) {
        *reason = SystemReason();
        return std::nullopt;
    }
    if (!S_ISREG(status.st_mode) || status.st_size > kLargestFile) {
        *reason = "not a regular file of at most 1 MiB";
        return std::nullopt;
    }
    std::string text;
    std::array<char, 4096> piece{};
    while (text.size() <= static_cast<std::size_t>(kLargestFile)) {
        const ssize_t count = read(file.Descriptor(), piece.data(), piece.size());
        if (count < 0 && errno != EINTR) {
            *reason = SystemReason();
            return std::nullopt;
        }
        if (count == 0) {
            return text;
        }
        if (count > 0) {
            text.append(piece.data(), static_cast<std::size_t>(count));
        }
    }
    *reason = "it grows while it is read";
    return std::nullopt;
}

std::optional<SettingsValue> NumberValue(std::string_view name, std::int64_t number) {
    const bool fits = number >= std::numeric_limits<std::int32_t>::min() &&
                      number <= std::int64_t{std::numeric_limits<std::uint32_t>::max()};
    const auto bits = static_cast<ULONGLONG>(number);
    return SettingsValue{std::string(name),
                         fits ? DWORD{REG_DWORD} : DWORD{REG_QWORD},
                         fits ? bits & 0xFFFFFFFF : bits,
                         {}};
}

std::optional<SettingsValue> TextsValue(std::string_view name, const toml::array& array) {
    SettingsValue value{std::string(name), REG_MULTI_SZ, 0, {}};
    for (const toml::node& element : array) {
        const toml::value<std::string>* const text = element.as_string();
        if (text == nullptr) {
            return std::nullopt;
        }
        value.texts.push_back(text->get());
    }
    return value;
}

// Nothing for what the registry has no type for.
std::optional<SettingsValue> ToValue(std::string_view name, const toml::node& node) {
    if (const auto* const text = node.as_string()) {
        return SettingsValue{std::string(name), REG_SZ, 0, {text->get()}};
    }
    if (const auto* const number = node.as_integer()) {
        return NumberValue(name, number->get());
    }
    if (const auto* const truth = node.as_boolean()) {
        return NumberValue(name, truth->get() ? 1 : 0);
    }
    if (const auto* const array = node.as_array()) {
        return TextsValue(name, *array);
    }
    return std::nullopt;
}

std::string_view WithoutBackslashAround(std::string_view name) {
    if (name.starts_with('\\')) {
        name.remove_prefix(1);
    }
    if (name.ends_with('\\')) {
        name.remove_suffix(1);
    }
    return name;
}

bool NamesRoot(std::string_view name) {
    const std::string_view first = name.substr(0, name.find('\\'));
    return first == kMachineRoot || first == kUserRoot;
}

// A table in the file is a key of the machine unless its name begins with a root's.
std::string KeyPath(const std::string& parent, std::string_view tableName) {
    const std::string_view name = WithoutBackslashAround(tableName);
    if (!parent.empty()) {
        return parent + '\\' + std::string(name);
    }
    return NamesRoot(name) ? std::string(name)
                           : std::string(kMachineRoot) + '\\' + std::string(name);
}

// A table in a table is a key under a key.
void AddTables(const toml::table& root, Settings* settings) {
    std::vector<std::pair<std::string, const toml::table*>> pending = {{"", &root}};
    while (!pending.empty()) {
        const auto [path, table] = std::move(pending.back());
        pending.pop_back();
        for (const auto& [name, node] : *table) {
            if (const toml::table* const inner = node.as_table()) {
                std::string innerPath = KeyPath(path, name.str());
                settings->AddKey(innerPath);
                pending.emplace_back(std::move(innerPath), inner);
            } else if (auto value = ToValue(name.str(), node); value && !path.empty()) {
                settings->AddValue(path, *std::move(value));
            }
        }
    }
}

constexpr ULONGLONG kUnitsPerSecond = 10'000'000;
constexpr ULONGLONG kSecondsFrom1601To1970 = 11'644'473'600;

ULONGLONG ToFileTime(const FileIdentity& identity) {
    return (static_cast<ULONGLONG>(identity.seconds) + kSecondsFrom1601To1970) * kUnitsPerSecond +
           static_cast<ULONGLONG>(identity.nanoseconds) / 100;
}

// What can't be read is told where `isTold`.
std::shared_ptr<const Settings> Load(const FileIdentity& identity, bool isTold) {
    auto settings = std::make_shared<Settings>();
    if (identity.exists) {
        std::string reason;
        const std::optional<std::string> text = ReadWhole(identity.path, &reason);
        if (text.has_value() && ParseSettings(*text, settings.get(), &reason)) {
            settings->lastWriteTime = ToFileTime(identity);
        } else if (isTold) {
            syslog(LOG_WARNING, "%s: %s; built-in settings are used", identity.path.c_str(),
                   reason.c_str());
        }
    }
    AddBuiltinSettings(settings.get());
    return settings;
}

// Whether a change behind this look would show: a file that is written twice within what its file
// system can tell of time may have one identity in two states.
bool IsSettled(const FileIdentity& identity) {
    constexpr std::int64_t kCoarsestTime = 2;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return !identity.exists || std::abs(now.tv_sec - identity.seconds) > kCoarsestTime;
}

struct LoadedSettings {
    std::mutex mutex;
    FileIdentity identity;
    bool isSettled = false;
    std::shared_ptr<const Settings> settings;
};

// Outlives every caller, those in other libraries' destructors too.
LoadedSettings& LastLoaded() {
    static LoadedSettings& loaded = *std::make_unique<LoadedSettings>().release();
    return loaded;
}

}  // namespace

std::string SettingsPath() {
    const char* const named = secure_getenv("VELMORIX_SETTINGS");
    return named != nullptr && *named != '\0' ? named : kDefaultPath;
}

bool ParseSettings(std::string_view text, Settings* settings, std::string* reason) {
    try {
        AddTables(toml::parse(text), settings);
        return true;
    } catch (const toml::parse_error& error) {
        *reason = "line " + std::to_string(error.source().begin.line) + ": " +
                  std::string(error.description());
        return false;
    }
}

std::shared_ptr<const Settings> CurrentSettings() {
    LoadedSettings& last = LastLoaded();
    FileIdentity identity = IdentityOf(SettingsPath());
    const bool isSettled = IsSettled(identity);
    const std::lock_guard lock(last.mutex);
    const bool isNew = last.settings == nullptr || !(identity == last.identity);
    if (isNew || !last.isSettled) {
        last.settings = Load(identity, isNew);
        last.identity = std::move(identity);
        last.isSettled = isSettled;
    }
    return last.settings;
}

}  // namespace capi
