#include "mvlpfx/process.h"

#include <sys/prctl.h>
#include <sys/resource.h>
#include <syslog.h>

namespace mvlpfx {

namespace {

// What the layers below tell the system log of damaged files, a person at a terminal sees too, but
// for what is meant for a debugger.
void ShowSystemLog() {
    openlog("mvlpfx", LOG_PERROR, LOG_USER);
    setlogmask(LOG_UPTO(LOG_INFO));
}

// Called before the libraries start, which read the settings then.
[[gnu::section(".preinit_array"), gnu::used]] void (*beforeLibraries)() = &ShowSystemLog;

}  // namespace

void PrepareProcess() {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    prctl(PR_SET_DUMPABLE, 0);
}

}  // namespace mvlpfx
