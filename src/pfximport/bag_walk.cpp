#include "pfximport/bag_walk.h"

#include "foundation/exception.h"

namespace pkisdk {

namespace {

constexpr std::uint64_t kCopiesAllowed = 64;

// What the nodes hold, whatever lengths they claim.
std::uint64_t SizeOf(const DerList& list) {
    std::uint64_t size = 0;
    for (const DerNode& node : list) {
        size += HeaderSize(node.contentLength) + node.content.GetSize();
    }
    return size;
}

}  // namespace

BagWalk::BagWalk(const DerList& list, const char* bagOid)
    : cursor_(list, bagOid), left_(kCopiesAllowed * SizeOf(list)) {}

bool BagWalk::Next(DerList* bag) {
    if (!cursor_.MoveNext() || cursor_.GetStructure(bag) == 0) {
        return false;
    }
    const std::uint64_t size = SizeOf(*bag);
    if (size > left_) {
        throw Exception(0, "Bags lie too deep in one another.");
    }
    left_ -= size;
    return true;
}

}  // namespace pkisdk
