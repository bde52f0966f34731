#include "mvlpfx/process.h"

#include <sys/prctl.h>
#include <sys/resource.h>

namespace mvlpfx {

void PrepareProcess() {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    prctl(PR_SET_DUMPABLE, 0);
}

}  // namespace mvlpfx
