#include "pfximport/mac_data_walk.h"

#include <algorithm>
#include <iterator>

#include "derlist/der_queries.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

namespace {

constexpr std::int32_t kMacDataDepth = 1;
constexpr std::int32_t kAuthSafeDepth = 4;

// Leaves 0 as the last error, or NTE_BAD_DATA.
int Answer(bool found) {
    SetLastError(found ? 0 : static_cast<DWORD>(NTE_BAD_DATA));
    return found ? 1 : 0;
}

}  // namespace

int PeekLastDerNode(const DerList& list, DerNodeView* view) {
    if (list.empty()) {
        return 0;
    }
    const DerNode& last = list.back();
    *view = {last.depth, last.tag, last.content};
    return 1;
}

int DropLastDerNode(DerList* list) {
    list->DropLast();
    return Answer(true);
}

int ExtractMacDataAsList(const DerList& list, DerList* macData) {
    auto node = list.end();
    auto index = static_cast<std::uint32_t>(list.size());
    while (index > 1) {
        --node;
        --index;
        if (node->depth == kMacDataDepth) {
            return Answer(ParseSubtree(list, index, macData) != 0);
        }
    }
    return Answer(false);
}

int ExtractAuthSafeAsList(const DerList& list, DerList* authSafe) {
    const auto node = std::find_if(list.begin(), list.end(), [](const DerNode& candidate) {
        return candidate.depth == kAuthSafeDepth;
    });
    const auto index = static_cast<std::uint32_t>(std::distance(list.begin(), node));
    return Answer(node != list.end() && ParseSubtree(list, index, authSafe) != 0);
}

}  // namespace pkisdk
