#include "pfxexport/pfx_skeleton.h"

#include "pfxexport/list_building.h"

namespace pkisdk {

void BuildPfxSkeleton(DerList* list) {
    if (list == nullptr) {
        return;
    }
    constexpr std::uint8_t kVersion = 3;
    list->clear();
    AppendNode(list, 0, kSequenceTag);  // PFX
    AppendNode(list, 1, kIntegerTag, Blob(&kVersion, 1));
    AppendNode(list, 1, kSequenceTag);  // authSafe
    AppendOid(list, 2, kDataOid);
    AppendNode(list, 2, kContext0Tag);
    AppendNode(list, 3, kOctetStringTag);  // what the MAC covers
    AppendNode(list, 4, kSequenceTag);     // AuthenticatedSafe
    AppendNode(list, 5, kSequenceTag);     // ContentInfo of the keys
    AppendOid(list, 6, kDataOid);
    AppendNode(list, 6, kContext0Tag);
    AppendNode(list, 7, kOctetStringTag);
    AppendNode(list, 8, kSequenceTag);  // SafeContents of the key bags
}

}  // namespace pkisdk
