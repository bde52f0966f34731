// The way back through a document's tail, where its integrity value stands: each field of MacData
// is read while it is the last node, and dropped.
#pragma once

#include <cstdint>

#include "derlist/der_list.h"
#include "foundation/blob.h"

namespace pkisdk {

struct DerNodeView {
    std::int32_t depth = 0;
    std::uint8_t tag = 0;
    Blob content;
};

// Fills `view` from the last node. Answers 0 and leaves `view` alone when the list is empty.
int PeekLastDerNode(const DerList& list, DerNodeView* view);

// Takes the last node away; the lengths of its ancestors shrink with it, and the list is what
// appending its other nodes one by one gives. Answers 1 with last error 0: the start of a list is
// always a list, so nothing here can be refused. An empty list stays empty.
int DropLastDerNode(DerList* list);

// The last node of depth 1 with all below it, as a list of its own. Answers 1 with last error 0; or
// 0 with NTE_BAD_DATA when there is none but the first node.
int ExtractMacDataAsList(const DerList& list, DerList* macData);

// The first node of depth 4 with all below it: the AuthenticatedSafe. Answers 1 with last error 0,
// or 0 with NTE_BAD_DATA.
int ExtractAuthSafeAsList(const DerList& list, DerList* authSafe);

}  // namespace pkisdk
