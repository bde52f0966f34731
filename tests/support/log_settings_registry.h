// To be included by log_settings.h, where there is a registry.
#pragma once

#include <array>
#include <random>
#include <system_error>

#include "platform/cryptoapi.h"

namespace test_support {

// A volatile key of the user's stands for HKEY_LOCAL_MACHINE, in this process alone.
class LogSettingsStore {
  public:
    LogSettingsStore() : path_("Software\\mvlpfx-" + std::to_string(std::random_device()())) {
        root_ = Create(HKEY_CURRENT_USER, path_);
        Check(RegOverridePredefKey(HKEY_LOCAL_MACHINE, root_));
    }
    ~LogSettingsStore() {
        RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        RegCloseKey(root_);
        RegDeleteTreeA(HKEY_CURRENT_USER, path_.c_str());
    }
    LogSettingsStore(const LogSettingsStore&) = delete;
    LogSettingsStore& operator=(const LogSettingsStore&) = delete;

    // A reader may come between two values, and finds the old or the new one of each.
    void Set(const std::string& log, const LogSettings& settings) {
        HKEY const key = Create(root_, kLogsKey + log);
        for (const auto& [name, value] : settings) {
            const std::wstring wide = Widen(name);
            std::visit([key, &wide](const auto& of) { Write(key, wide, of); }, value);
        }
        for (const std::string& name : NamesIn(key)) {
            if (!settings.contains(name)) {
                Check(RegDeleteValueA(key, name.c_str()));
            }
        }
        RegCloseKey(key);
    }

  private:
    static void Check(LSTATUS status) {
        if (status != ERROR_SUCCESS) {
            throw std::system_error(static_cast<int>(status), std::system_category());
        }
    }
    static HKEY Create(HKEY above, const std::string& path) {
        HKEY key = nullptr;
        Check(RegCreateKeyExA(above, path.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS,
                              nullptr, &key, nullptr));
        return key;
    }
    static std::vector<std::string> NamesIn(HKEY key) {
        std::vector<std::string> names;
        std::array<char, 64> name{};
        for (auto size = static_cast<DWORD>(name.size());
             RegEnumValueA(key, static_cast<DWORD>(names.size()), name.data(), &size, nullptr,
                           nullptr, nullptr, nullptr) == ERROR_SUCCESS;
             size = static_cast<DWORD>(name.size())) {
            names.emplace_back(name.data());
        }
        return names;
    }
    static std::wstring Widen(const std::string& text) {
        std::wstring wide(text.size(), L'\0');
        const int length =
            MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(),
                                static_cast<int>(wide.size()));
        wide.resize(static_cast<std::size_t>(length));
        return wide;
    }
    static void Write(HKEY key, const std::wstring& name, DWORD type, const void* data,
                      std::size_t size) {
        Check(RegSetValueExW(key, name.c_str(), 0, type, static_cast<const BYTE*>(data),
                             static_cast<DWORD>(size)));
    }
    static void Write(HKEY key, const std::wstring& name, std::int64_t number) {
        const auto low = static_cast<DWORD>(number);
        if (low == number) {
            Write(key, name, REG_DWORD, &low, sizeof(low));
        } else {
            Write(key, name, REG_QWORD, &number, sizeof(number));
        }
    }
    static void Write(HKEY key, const std::wstring& name, const std::string& text) {
        const std::wstring wide = Widen(text);
        Write(key, name, REG_SZ, wide.c_str(), (wide.size() + 1) * sizeof(wchar_t));
    }
    static void Write(HKEY key, const std::wstring& name, const std::vector<std::string>& texts) {
        std::wstring wide;
        for (const std::string& text : texts) {
            wide += Widen(text) + L'\0';
        }
        Write(key, name, REG_MULTI_SZ, wide.c_str(), (wide.size() + 1) * sizeof(wchar_t));
    }

    std::string path_;
    HKEY root_ = nullptr;
};

}  // namespace test_support
