#include "capi/settings_watch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "capi/calls.h"
#include "capi/settings_file.h"

namespace capi {

namespace {

int MakeNotifier() {
    const int descriptor = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (descriptor < 0) {
        ThrowWord(WordOfErrno(errno));
    }
    return descriptor;
}

// Or while the folder is not there the nearest one above, in which it may appear.
void WatchFolderOf(const std::filesystem::path& file, int notifier) {
    constexpr std::uint32_t kEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE |
                                      IN_CREATE | IN_MOVE_SELF | IN_DELETE_SELF;
    std::filesystem::path folder = file.parent_path();
    if (folder.empty()) {
        folder = ".";
    }
    while (inotify_add_watch(notifier, folder.c_str(), kEvents) < 0 && folder.has_parent_path() &&
           folder != folder.parent_path()) {
        folder = folder.parent_path();
    }
}

bool HaveSameValues(const Settings& before, const Settings& now, const std::string& path) {
    const Settings::Key* const old = before.FindKey(path);
    const Settings::Key* const current = now.FindKey(path);
    if (old == nullptr || current == nullptr) {
        return (old == nullptr || old->values.empty()) &&
               (current == nullptr || current->values.empty());
    }
    return old->values == current->values;
}

}  // namespace

SettingsWatch::SettingsWatch(Subject subject, OnChange onChange)
    : subject_(std::move(subject)), onChange_(std::move(onChange)), notifier_(MakeNotifier()) {
    WatchFolders();
}

// The file's folder, and where links stand in its place, the folder of each and of what they lead
// to.
void SettingsWatch::WatchFolders() const {
    // As far as the system itself follows links.
    constexpr int kMostLinks = 40;
    std::filesystem::path file = SettingsPath();
    WatchFolderOf(file, notifier_.Get());
    std::error_code error;
    for (int i = 0; i < kMostLinks; ++i) {
        const std::filesystem::path target = std::filesystem::read_symlink(file, error);
        if (error) {
            return;
        }
        file = file.parent_path() / target;
        WatchFolderOf(file, notifier_.Get());
    }
}

void SettingsWatch::Renew() {
    notifier_ = FileDescriptor(MakeNotifier());
    WatchFolders();
}

bool SettingsWatch::HasChanged(const Settings& now) const {
    const Settings& before = *subject_.settings;
    std::vector<std::string> pending{subject_.path};
    while (!pending.empty()) {
        const std::string path = std::move(pending.back());
        pending.pop_back();
        const std::vector<std::string> names = before.SubKeyNames(path);
        const bool areNamesSame = names == now.SubKeyNames(path);
        if ((subject_.isForValues && !HaveSameValues(before, now, path)) ||
            (subject_.isForNames && !areNamesSame)) {
            return true;
        }
        if (subject_.isWithSubtree) {
            if (subject_.isForValues && !areNamesSame) {
                return true;
            }
            for (const std::string& name : names) {
                pending.push_back(path + '\\' + name);
            }
        }
    }
    return false;
}

ChangeSource::Outcome SettingsWatch::Look() {
    std::array<char, 4096> events{};
    while (read(notifier_.Get(), events.data(), events.size()) > 0) {
    }
    // Before the look at the file, so that no change falls between the two.
    WatchFolders();
    std::shared_ptr<const Settings> now = CurrentSettings();
    if (!HasChanged(*now)) {
        return Outcome::kNothing;
    }
    if (now->FindKey(subject_.path) == nullptr) {
        auto withKey = std::make_shared<Settings>(*now);
        withKey->AddKey(subject_.path);
        now = std::move(withKey);
    }
    return onChange_(std::move(now)) ? Outcome::kChanged : Outcome::kEnded;
}

}  // namespace capi
