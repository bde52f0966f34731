// What a library has to do when a thread that used it ends.
#pragma once

#ifdef _WIN32
#include <windows.h>
#endif

namespace handles {

#ifdef _WIN32

// Has `kRun` called at the end of the calling thread, and also, in another's, when the library
// goes. A destructor of a thread_local object would run with the loader locked, and can wait there
// for good.
template <void (*kRun)()>
class ThreadExit {
  public:
    static void Await() {
        static const ThreadExit exit;
        static int anything = 0;
        FlsSetValue(exit.slot_, &anything);
    }
    ThreadExit(const ThreadExit&) = delete;
    ThreadExit& operator=(const ThreadExit&) = delete;

  private:
    ThreadExit() : slot_(FlsAlloc(&Run)) {}
    ~ThreadExit() { FlsFree(slot_); }

    static void WINAPI Run(void* /*anything*/) { kRun(); }

    DWORD slot_;
};

#else

// Has `kRun` called at the end of the calling thread.
template <void (*kRun)()>
class ThreadExit {
  public:
    static void Await() {
        static thread_local ThreadExit exit;
        static_cast<void>(exit);
    }
    ThreadExit(const ThreadExit&) = delete;
    ThreadExit& operator=(const ThreadExit&) = delete;

  private:
    ThreadExit() = default;
    ~ThreadExit() { kRun(); }
};

#endif

}  // namespace handles
