// The tool's search for what is wrong with a document, on arbitrary bytes: it ends, and what it
// finds lies in the document.
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <vector>

#include "mvlpfx/document_fault.h"
#include "mvlpfx/document_places.h"
#include "support/der_mutator.h"

namespace {

void RequireInside(const std::optional<mvlpfx::DocumentPlace>& place, std::size_t size) {
    // No path is longer than the syntax is deep, but for the numbers in it.
    constexpr std::size_t kLongestPath = 600;
    if (place && (place->offset > size || place->path.size() > kLongestPath)) {
        std::abort();
    }
}

template <typename Refuse>
bool IsRefused(Refuse refuse, std::size_t size) {
    try {
        refuse();
    } catch (const mvlpfx::ToolError& error) {
        RequireInside(error.place, size);
        return true;
    }
    return false;
}

}  // namespace

std::size_t OctetsBeforeDocument(std::span<const std::uint8_t> /*input*/) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::uint8_t> document(data, data + size);
    for (const auto find :
         {mvlpfx::FindDigest, mvlpfx::FindIterations, mvlpfx::FindUnknownAlgorithm,
          mvlpfx::FindUnknownParameters, mvlpfx::FindMisshapen}) {
        RequireInside(find(document), size);
    }
    for (std::size_t containers = 0; containers < 4; ++containers) {
        RequireInside(mvlpfx::FindLack(document, containers), size);
        RequireInside(mvlpfx::FindOtherKey(document, containers), size);
    }
    if (!IsRefused([&] { mvlpfx::ThrowNoPfx(document); }, size)) {
        std::abort();
    }
    for (const auto refuse : {mvlpfx::RefuseIndefiniteFrame, mvlpfx::RefuseHiddenKeys}) {
        IsRefused([&] { refuse(document); }, size);
    }
    return 0;
}
