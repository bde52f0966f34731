// The objects behind event handles.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "capi/events.h"
#include "capi/kernel_objects.h"
#include "capi/state_files.h"

namespace capi {

// Something whose change signals an event, looked at by whoever waits, so that no thread has to be
// started for it.
class ChangeSource {
  public:
    virtual ~ChangeSource() = default;
    // Readable where there may be a change.
    virtual int Descriptor() const = 0;
    enum class Outcome { kNothing, kChanged, kEnded };
    virtual Outcome Look() = 0;
    // Another descriptor in the place of the one that a forked process has in common with its
    // parent. What was told to that is not known, so a look follows.
    virtual void Renew() = 0;
};

class Event : public KernelObject {
  public:
    Event(bool isManual, bool isSignalled);

    void Set();
    void Reset();
    // Signals once when the source changes, and forgets it.
    void SignalOnChange(const std::shared_ptr<ChangeSource>& source);
    // Without a limit: until it is signalled.
    bool Wait(std::optional<std::chrono::milliseconds> limit);

  private:
    std::vector<std::shared_ptr<ChangeSource>> Sources();
    void LookAt(const std::shared_ptr<ChangeSource>& source);
    bool IsSet() const;
    bool Take() const;
    // Before any use of descriptors: in a forked process, gives the event some of its own.
    void Own();

    const bool isManual_;
    FileDescriptor counter_;
    std::atomic<pid_t> owner_;
    std::mutex mutex_;
    std::vector<std::shared_ptr<ChangeSource>> sources_;
};

}  // namespace capi
