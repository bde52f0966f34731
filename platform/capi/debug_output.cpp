#include "capi/debug_output.h"

#include <syslog.h>

#include <algorithm>
#include <climits>
#include <string_view>

void WINAPI OutputDebugStringA(LPCSTR lpOutputString) {
    if (lpOutputString == nullptr) {
        return;
    }
    std::string_view text(lpOutputString);
    if (text.ends_with('\n')) {
        text.remove_suffix(1);
    }
    const auto length = static_cast<int>(std::min<std::size_t>(text.size(), INT_MAX));
    syslog(LOG_DEBUG, "%.*s", length, text.data());
}
