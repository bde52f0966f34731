// Watches the settings file for changes of one key.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "capi/event_object.h"
#include "capi/settings.h"

namespace capi {

class SettingsWatch : public ChangeSource {
  public:
    struct Subject {
        // The settings that changes are told against, and the key in them.
        std::shared_ptr<const Settings> settings;
        std::string path;
        bool isWithSubtree = false;
        bool isForValues = false;
        bool isForNames = false;
    };

    // `onChange` gets the new settings, in which the key is there even if the file has it no
    // longer, and answers whether anybody still wants to know.
    using OnChange = std::function<bool(std::shared_ptr<const Settings>)>;

    SettingsWatch(Subject subject, OnChange onChange);

    int Descriptor() const override { return notifier_.Get(); }
    Outcome Look() override;
    void Renew() override;

  private:
    void WatchFolders() const;
    bool HasChanged(const Settings& now) const;

    const Subject subject_;
    const OnChange onChange_;
    FileDescriptor notifier_;
};

}  // namespace capi
