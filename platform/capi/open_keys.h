// The objects behind handles of registry keys.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "capi/registry.h"
#include "capi/settings.h"

namespace capi {

// An opened key: the settings of the moment of its opening, and where it stands in them.
struct OpenKey {
    std::shared_ptr<const Settings> settings;
    std::string path;
    REGSAM rights = 0;

    // Never null: settings do not change once loaded.
    const Settings::Key* Find() const { return settings->FindKey(path); }
};

class OpenKeys {
  public:
    HKEY Add(OpenKey key);
    // False for a handle that is none.
    bool Remove(HKEY handle);
    // Null for a handle that is none.
    std::shared_ptr<const OpenKey> Find(HKEY handle);
    // Gives an open key other settings; false where it is no longer open.
    bool Refresh(HKEY handle, std::shared_ptr<const Settings> settings);

  private:
    std::mutex mutex_;
    std::map<ULONG_PTR, std::shared_ptr<const OpenKey>> keys_;
    // Two beside those of events, so that neither is ever taken for the other.
    ULONG_PTR next_ = 0x102;
};

OpenKeys& AllOpenKeys();

bool IsRoot(HKEY key);
// An open key, or a root as it stands now; null for a handle that is neither.
std::shared_ptr<const OpenKey> FindKey(HKEY handle);

}  // namespace capi
