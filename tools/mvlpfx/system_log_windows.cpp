#include "mvlpfx/system_log.h"

namespace mvlpfx {

std::vector<std::string> LoggedTexts() {
    return {};
}

}  // namespace mvlpfx
