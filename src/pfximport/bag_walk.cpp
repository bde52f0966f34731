#include "pfximport/bag_walk.h"

#include "foundation/exception.h"

namespace pkisdk {

namespace {

constexpr std::uint64_t kCopiesAllowed = 64;
constexpr std::uint64_t kSmallestNode = 2;

std::uint64_t SizeOf(const DerNode& node) {
    return HeaderSize(node.contentLength) + node.content.GetSize();
}

std::uint64_t SizeOf(const DerSpan& node) {
    return HeaderSize(node.contentLength) + node.content.size();
}

// What the nodes hold, whatever lengths they claim.
template <typename Nodes>
std::uint64_t SizeOfAll(const Nodes& nodes) {
    std::uint64_t size = 0;
    for (const auto& node : nodes) {
        size += SizeOf(node);
    }
    return size;
}

}  // namespace

BagWalk::BagWalk(const DerList& list, const char* bagOid)
    : list_(&list), cursor_(list, bagOid), left_(kCopiesAllowed * kSmallestNode * list.size()) {}

bool BagWalk::Next(DerList* bag) {
    if (!cursor_.MoveNext() || cursor_.GetStructure(bag) == 0) {
        return false;
    }
    Count(SizeOfAll(*bag));
    return true;
}

bool BagWalk::Next(DerSpans* bag) {
    if (!cursor_.MoveNext() || !bag->Parse(cursor_.GetStructureBytes())) {
        return false;
    }
    Count(SizeOfAll(bag->Nodes()));
    return true;
}

void BagWalk::Count(std::uint64_t size) {
    if (size > left_ && !isExact_) {
        left_ += kCopiesAllowed * (SizeOfAll(*list_) - kSmallestNode * list_->size());
        isExact_ = true;
    }
    if (size > left_) {
        throw Exception(0, "Bags lie too deep in one another.");
    }
    left_ -= size;
}

}  // namespace pkisdk
