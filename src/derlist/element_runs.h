// Whether a value reads as a run of well-formed elements: what decides if the parser opens it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace pkisdk {

// Answers for one document in time linear in the document, however often and on whatever ranges it
// is asked. Where lengths are definite the ranges nest and each header is walked over once. An
// indefinite length is an estimate to the parser and a length of 128 to the walk, and ranges that
// overlap out of step are then easily made; a document that spends more than a step for each byte
// pays for an index once.
class ElementRuns {
  public:
    // `document` must outlive the object.
    explicit ElementRuns(std::span<const std::uint8_t> document);

    // Whether the `length` bytes at `first`, which must lie in the document, are at their first
    // level exactly a run of elements, zero bytes in front aside.
    bool LooksLikeDer(std::uint32_t first, std::uint32_t length);

  private:
    // Where each element's successor is fixed by the bytes alone, elements form a forest whose
    // roots lie at the right; one range tiles when its end is an ancestor of its start.
    class Forest {
      public:
        explicit Forest(std::span<const std::uint8_t> document);
        bool Leads(std::uint32_t from, std::uint32_t to) const;

      private:
        // The numbers of a node and its descendants, in preorder, are first_ and the size_ - 1
        // that follow.
        std::vector<std::uint32_t> first_;
        std::vector<std::uint32_t> size_;
    };

    std::span<const std::uint8_t> document_;
    std::uint64_t stepsLeft_;
    std::optional<Forest> forest_;
};

// The same for all of `content` on its own.
bool LooksLikeDer(std::span<const std::uint8_t> content);

}  // namespace pkisdk
