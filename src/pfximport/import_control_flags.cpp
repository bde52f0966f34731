#include "pfximport/import_control_flags.h"

namespace pkisdk {

std::uint32_t ImportControlFlags = 0;

}  // namespace pkisdk
