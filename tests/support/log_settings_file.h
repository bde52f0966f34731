// To be included by log_settings.h, where the registry is a settings file.
#pragma once

#include <sstream>

#include "support/scoped_environment.h"

namespace test_support {

class LogSettingsStore {
  public:
    void Set(const std::string& log, const LogSettings& settings) {
        logs_[log] = settings;
        std::ostringstream text;
        for (const auto& [name, values] : logs_) {
            text << "['" << kLogsKey << name << "']\n";
            for (const auto& [key, value] : values) {
                text << key << " = ";
                std::visit([&text](const auto& of) { Write(of, text); }, value);
                text << '\n';
            }
        }
        file_.Write(text.str());
    }

  private:
    static void Write(std::int64_t number, std::ostream& text) { text << number; }
    static void Write(const std::string& value, std::ostream& text) {
        text << '\'' << value << '\'';
    }
    static void Write(const std::vector<std::string>& values, std::ostream& text) {
        text << '[';
        for (const std::string& value : values) {
            Write(value, text);
            text << ',';
        }
        text << ']';
    }

    std::map<std::string, LogSettings> logs_;
    ScopedSettings file_;
};

}  // namespace test_support
