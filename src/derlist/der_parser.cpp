#include "derlist/der_parser.h"

#include <utility>

#include "derlist/parser_core.h"
#include "derlist/text_armour.h"

namespace pkisdk {

std::int32_t ParseDerList(const std::uint8_t* data, std::int32_t size, DerList* out) {
    if (out == nullptr) {
        return 0;
    }
    if (size == 0) {
        out->clear();
        return 1;
    }
    Blob document(data, static_cast<std::uint32_t>(size));
    out->clear();
    Blob decoded;
    if (DecodeArmour(document.Bytes(), &decoded) == ArmourKind::kText) {
        document = std::move(decoded);
    }
    return DerParser(document.Bytes(), out).Run();
}

}  // namespace pkisdk
