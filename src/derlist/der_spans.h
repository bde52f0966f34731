// A document read into nodes whose content stays where it is, for walks over very many small
// pieces: what DerList is, without its editing and without an allocation for each node.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "derlist/der_node.h"
#include "foundation/blob.h"

namespace pkisdk {

// As the fields of DerNode of the same names.
struct DerSpan {
    std::int32_t depth;
    std::uint8_t tag;
    std::uint32_t contentLength;
    std::uint32_t offset;
    std::span<const std::uint8_t> content;
};

class DerSpans {
  public:
    DerSpans() = default;
    DerSpans(DerSpans&&) = default;
    DerSpans& operator=(DerSpans&&) = default;
    // The nodes point into the bytes.
    DerSpans(const DerSpans&) = delete;
    DerSpans& operator=(const DerSpans&) = delete;

    // Reads `bytes` as ParseDerList does, in the place of what was read before, and sets the last
    // error as it does. False where that one answers 0; the nodes read so far are there then.
    bool Parse(Blob bytes);

    // Valid until the next Parse.
    std::span<const DerSpan> Nodes() const { return nodes_; }

    // What FlattenSubtree does. False, with `out` untouched, for an index past the end.
    bool Flatten(std::size_t index, Blob* out) const;
    // What FindByOid does; `out` may be this very object. False where nothing is found, or where
    // what is found does not parse.
    bool FindByOid(const char* oid, DerSpans* out) const;
    // What Flatten does with what FindByOid gives.
    bool FlattenInStructure(const char* oid, std::size_t index, Blob* out) const;

    // For the parser, as DerList's of the same names.
    bool AppendAsRead(const DerNode& node, std::span<const std::uint8_t> content);
    void ReinsertAll();

  private:
    std::span<const DerSpan> FindStructure(const char* oid) const;
    bool AreAsWritten(std::span<const DerSpan> nodes) const;
    bool HasShortestHeader(const DerSpan& node) const;

    Blob bytes_;
    std::vector<DerSpan> nodes_;
};

}  // namespace pkisdk
