// The syntax of a document: what its elements are called, and where one is not as it should be.
#pragma once

#include <optional>
#include <string>

#include "mvlpfx/node_tree.h"

namespace mvlpfx {

// The element's way from the top in the names of the syntax, list members counted from 1:
// "authSafe.contents[2].bags[1].bagValue". Levels that only wrap another have no name. Below what
// the syntax knows elements are told by their number alone; the top is empty.
std::string PathOf(const NodeTree& tree, std::size_t node);

// An element that is not as the restore of a document needs it.
struct Misshapen {
    std::size_t node;    // the element, or the one in which an element is missing
    std::string wanted;  // path of what should be there
    bool isMissing;
};

// The first in the encrypted content or the key's bag at `node`; nothing where all is as it should
// be.
std::optional<Misshapen> FindMisshapenContent(const NodeTree& tree, std::size_t node);
std::optional<Misshapen> FindMisshapenBag(const NodeTree& tree, std::size_t node);

}  // namespace mvlpfx
