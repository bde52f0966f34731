// Environment variables and settings files for the time of a test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>

namespace test_support {

// Names the folder of temporary files.
#ifdef _WIN32
inline constexpr char kTemporaryFolderVariable[] = "TMP";
#else
inline constexpr char kTemporaryFolderVariable[] = "TMPDIR";
#endif

// Sets a variable, or removes it where no value is given, and restores it at the end.
class ScopedVariable {
  public:
    ScopedVariable(const char* name, std::optional<std::string> value) : name_(name) {
        if (const char* const before = std::getenv(name)) {
            before_ = before;
        }
        Set(value);
    }
    ~ScopedVariable() { Set(before_); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

  private:
    void Set(const std::optional<std::string>& value) const {
#ifdef _WIN32
        // An empty value removes it.
        _putenv_s(name_.c_str(), value.value_or("").c_str());
#else
        if (value.has_value()) {
            setenv(name_.c_str(), value->c_str(), 1);
        } else {
            unsetenv(name_.c_str());
        }
#endif
    }

    std::string name_;
    std::optional<std::string> before_;
};

// A folder of the test's own, removed at the end.
class ScopedFolder {
  public:
    ScopedFolder() {
#ifdef _WIN32
        do {
            path_ = std::filesystem::temp_directory_path() /
                    ("mvlpfx-" + std::to_string(std::random_device()()));
        } while (!std::filesystem::create_directory(path_));
#else
        std::string pattern = (std::filesystem::temp_directory_path() / "mvlpfx-XXXXXX").string();
        path_ = mkdtemp(pattern.data());
#endif
    }
    ~ScopedFolder() {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
    }
    ScopedFolder(const ScopedFolder&) = delete;
    ScopedFolder& operator=(const ScopedFolder&) = delete;

    std::filesystem::path operator/(const std::string& name) const {
        return path_ / name;
    }

  private:
    std::filesystem::path path_;
};

// The settings for the time of a test, whatever the machine has. Without text there is no file.
class ScopedSettings {
  public:
    explicit ScopedSettings(const std::optional<std::string>& text = std::nullopt)
        : path_(folder_ / "settings.toml"), variable_("VELMORIX_SETTINGS", path_.string()) {
        if (text.has_value()) {
            Write(*text);
        }
    }

    // A new file in the place of the old.
    void Write(const std::string& text) const {
        const std::filesystem::path next = folder_ / "next.toml";
        std::ofstream(next, std::ios::binary) << text;
        std::filesystem::rename(next, path_);
    }
    const std::filesystem::path& Path() const { return path_; }

  private:
    ScopedFolder folder_;
    std::filesystem::path path_;
    ScopedVariable variable_;
};

}  // namespace test_support
