#include "capi/settings.h"

#include <algorithm>
#include <utility>

namespace capi {

namespace {

char ToLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string Folded(std::string_view text) {
    std::string folded(text);
    std::transform(folded.begin(), folded.end(), folded.begin(), ToLower);
    return folded;
}

}  // namespace

Settings::Settings() {
    AddKey(kMachineRoot);
    AddKey(kUserRoot);
}

const Settings::Key* Settings::FindKey(std::string_view path) const {
    const auto found = keys_.find(Folded(path));
    return found == keys_.end() ? nullptr : &found->second;
}

const SettingsValue* Settings::FindValue(std::string_view path, std::string_view name) const {
    const Key* const key = FindKey(path);
    if (key == nullptr) {
        return nullptr;
    }
    const auto found = key->placeOfName.find(Folded(name));
    return found == key->placeOfName.end() ? nullptr : &key->values[found->second];
}

std::vector<std::string> Settings::SubKeyNames(std::string_view path) const {
    const std::string prefix = Folded(path) + '\\';
    std::vector<std::string> names;
    for (auto it = keys_.lower_bound(prefix); it != keys_.end() && it->first.starts_with(prefix);
         ++it) {
        std::string name = it->second.path.substr(prefix.size());
        if (name.find('\\') == std::string::npos) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

void Settings::AddKey(std::string_view path) {
    for (std::size_t end = path.find('\\'); end != std::string_view::npos;
         end = path.find('\\', end + 1)) {
        const std::string_view parent = path.substr(0, end);
        keys_.try_emplace(Folded(parent), Key{std::string(parent), {}, {}});
    }
    keys_.try_emplace(Folded(path), Key{std::string(path), {}, {}});
}

void Settings::AddValue(std::string_view path, SettingsValue value) {
    AddKey(path);
    Key& key = keys_.find(Folded(path))->second;
    if (key.placeOfName.try_emplace(Folded(value.name), key.values.size()).second) {
        key.values.push_back(std::move(value));
    }
}

}  // namespace capi
