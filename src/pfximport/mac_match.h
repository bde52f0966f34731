// The comparison on which a password stands or falls.
#pragma once

#include "foundation/blob.h"

namespace pkisdk {

// Whether the value that a password gives is the one in the document. It stands in a file of its
// own so that a fuzz target, and nothing else, can link one in its place that takes any value.
bool IsDocumentMac(const Blob& computed, const Blob& stored);

}  // namespace pkisdk
