#include "pfximport/mac_match.h"

namespace pkisdk {

bool IsDocumentMac(const Blob& computed, const Blob& stored) {
    return computed == stored;
}

}  // namespace pkisdk
