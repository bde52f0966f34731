#include "pfxcrypto/kdf_cost.h"

#include "pfxcrypto/pfx_constants.h"

namespace pkisdk {

std::uint32_t EffectiveIterations(std::uint32_t requested) {
    return requested == 0 ? kDefaultIterations : requested;
}

}  // namespace pkisdk
