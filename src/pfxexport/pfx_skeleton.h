// The head of every document.
#pragma once

#include "derlist/der_list.h"

namespace pkisdk {

// Replaces what `list` holds by the twelve first nodes of a document, down to the SafeContents of
// the key bags, which go in at depth 9. Containers are empty. A null `list` does nothing.
void BuildPfxSkeleton(DerList* list);

}  // namespace pkisdk
