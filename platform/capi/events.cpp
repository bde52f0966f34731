#include "capi/events.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

#include "capi/calls.h"
#include "capi/event_object.h"

namespace capi {

namespace {

int MakeCounter(bool isSignalled) {
    const int descriptor = eventfd(isSignalled ? 1 : 0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0) {
        ThrowWord(WordOfErrno(errno));
    }
    return descriptor;
}

using Clock = std::chrono::steady_clock;

int PollTime(std::optional<Clock::time_point> end) {
    if (!end.has_value()) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
}

}  // namespace

Event::Event(bool isManual, bool isSignalled)
    : isManual_(isManual), counter_(MakeCounter(isSignalled)), owner_(getpid()) {}

void Event::Own() {
    const pid_t self = getpid();
    if (owner_ == self) {
        return;
    }
    {
        const std::lock_guard lock(mutex_);
        if (owner_ == self) {
            return;
        }
        counter_ = FileDescriptor(MakeCounter(IsSet()));
        for (const std::shared_ptr<ChangeSource>& source : sources_) {
            source->Renew();
        }
        owner_ = self;
    }
    for (const std::shared_ptr<ChangeSource>& source : Sources()) {
        LookAt(source);
    }
}

void Event::Set() {
    Own();
    // A full counter is signalled already.
    const std::uint64_t one = 1;
    static_cast<void>(!write(counter_.Get(), &one, sizeof(one)));
}

void Event::Reset() {
    Own();
    Take();
}

bool Event::IsSet() const {
    pollfd counter{counter_.Get(), POLLIN, 0};
    return poll(&counter, 1, 0) == 1;
}

bool Event::Take() const {
    std::uint64_t count = 0;
    return read(counter_.Get(), &count, sizeof(count)) == sizeof(count);
}

void Event::SignalOnChange(const std::shared_ptr<ChangeSource>& source) {
    Own();
    {
        const std::lock_guard lock(mutex_);
        sources_.push_back(source);
    }
    // What changed before the watch began.
    LookAt(source);
}

std::vector<std::shared_ptr<ChangeSource>> Event::Sources() {
    const std::lock_guard lock(mutex_);
    return sources_;
}

void Event::LookAt(const std::shared_ptr<ChangeSource>& source) {
    const std::lock_guard lock(mutex_);
    const auto place = std::ranges::find(sources_, source);
    if (place == sources_.end()) {
        return;
    }
    const ChangeSource::Outcome outcome = source->Look();
    if (outcome != ChangeSource::Outcome::kNothing) {
        sources_.erase(place);
    }
    if (outcome == ChangeSource::Outcome::kChanged) {
        Set();
    }
}

bool Event::Wait(std::optional<std::chrono::milliseconds> limit) {
    const std::optional<Clock::time_point> end =
        limit.has_value() ? std::optional(Clock::now() + *limit) : std::nullopt;
    for (;;) {
        Own();
        const std::vector<std::shared_ptr<ChangeSource>> sources = Sources();
        std::vector<pollfd> polled{{counter_.Get(), POLLIN, 0}};
        for (const std::shared_ptr<ChangeSource>& source : sources) {
            polled.push_back({source->Descriptor(), POLLIN, 0});
        }
        const int ready = poll(polled.data(), polled.size(), PollTime(end));
        if (ready < 0 && errno != EINTR) {
            ThrowWord(WordOfErrno(errno));
        }
        for (std::size_t i = 0; ready > 0 && i < sources.size(); ++i) {
            if (polled[i + 1].revents != 0) {
                LookAt(sources[i]);
            }
        }
        if (IsSet() && (isManual_ || Take())) {
            return true;
        }
        if (end.has_value() && Clock::now() >= *end) {
            return false;
        }
    }
}

}  // namespace capi

using capi::Answer;

HANDLE WINAPI CreateEventA(LPSECURITY_ATTRIBUTES /*lpEventAttributes*/, BOOL bManualReset,
                           BOOL bInitialState, LPCSTR lpName) {
    return Answer<HANDLE>(nullptr, [&] {
        capi::Require(lpName == nullptr, ERROR_NOT_SUPPORTED);
        return capi::AddObject(
            std::make_shared<capi::Event>(bManualReset != FALSE, bInitialState != FALSE));
    });
}

BOOL WINAPI SetEvent(HANDLE hEvent) {
    return Answer<BOOL>(FALSE, [&] {
        capi::RequireObject<capi::Event>(hEvent)->Set();
        return TRUE;
    });
}

BOOL WINAPI ResetEvent(HANDLE hEvent) {
    return Answer<BOOL>(FALSE, [&] {
        capi::RequireObject<capi::Event>(hEvent)->Reset();
        return TRUE;
    });
}

DWORD WINAPI WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) {
    return Answer<DWORD>(WAIT_FAILED, [&] {
        const auto limit = dwMilliseconds == INFINITE
                               ? std::nullopt
                               : std::optional(std::chrono::milliseconds(dwMilliseconds));
        return capi::RequireObject<capi::Event>(hHandle)->Wait(limit) ? DWORD{WAIT_OBJECT_0}
                                                                      : DWORD{WAIT_TIMEOUT};
    });
}
