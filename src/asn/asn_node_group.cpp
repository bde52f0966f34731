#include "asn/asn_node_group.h"

#include <vector>

#include "asn/asn_cursor.h"
#include "foundation/asn_exceptions.h"

namespace pkisdk::asn {

// A group below that is about to go gives its children up first, so that none goes from within
// another.
AsnNodeGroup::~AsnNodeGroup() {
    Children leaving;
    MoveChildrenTo(&leaving);
    while (!leaving.empty()) {
        const AsnNodeHandle& node = leaving.front();
        if (node->group_ != nullptr && node->handles_ == 1) {
            node->group_->MoveChildrenTo(&leaving);
        }
        leaving.pop_front();
    }
}

std::uint32_t AsnNodeGroup::CalculateContentSize() const {
    struct Open {
        const AsnNodeGroup* group;
        Children::const_iterator next;
        std::uint32_t sum;
    };
    if (const auto known = GetKnownSize()) {
        return *known;
    }
    std::vector<Open> open = {{this, children_.begin(), IsBitString() ? 1U : 0U}};
    for (;;) {
        Open& current = open.back();
        if (current.next == current.group->children_.end()) {
            const AsnNodeGroup* const done = current.group;
            const std::uint32_t size = current.sum;
            done->KeepSize(size);
            open.pop_back();
            if (open.empty()) {
                return size;
            }
            open.back().sum = AddAsnSizes(open.back().sum, done->EncodedSizeWith(size));
            continue;
        }
        const AsnNode& child = **current.next++;
        if (child.group_ != nullptr && !child.group_->GetKnownSize().has_value()) {
            const AsnNodeGroup* const group = child.group_;
            open.push_back({group, group->children_.begin(), group->IsBitString() ? 1U : 0U});
        } else {
            current.sum = AddAsnSizes(current.sum, child.GetEncodedSize());
        }
    }
}

void AsnNodeGroup::SerializeContent(BlobCursor& cursor) const {
    WriteLead(cursor);
    for (const AsnNodeHandle& child : children_) {
        child->Write(cursor);
    }
}

void AsnNodeGroup::WriteLead(BlobCursor& cursor) const {
    if (!IsBitString()) {
        return;
    }
    if (!IsValid(cursor)) {
        throw NotEnoughMemoryForAsnBlob(routine_);
    }
    *cursor.Current() = 0;
    cursor.Advance(1);
}

void AsnNodeGroup::MoveChildrenTo(Children* target) {
    for (const AsnNodeHandle& child : children_) {
        if (child->parent_ == this) {
            child->parent_ = nullptr;
        }
    }
    target->splice(target->end(), children_);
}

}  // namespace pkisdk::asn
