#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>

#include "mvlpfx/process.h"

namespace mvlpfx {

// Windows keeps no core files; its reports of failed programs may hold memory. Documents
// and passwords come through standard input as they are.
void PrepareProcess() {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    _setmode(_fileno(stdin), _O_BINARY);
}

}  // namespace mvlpfx
