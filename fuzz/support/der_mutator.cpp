// libFuzzer's mutations, and edits of the elements of an input in between.
#include "support/der_mutator.h"

#include <algorithm>
#include <random>
#include <vector>

#include "support/der_edits.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t maxSize, unsigned seed) {
    std::minstd_rand random(seed);
    if (size == 0 || random() % 2 == 0) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    const std::size_t front = std::min(OctetsBeforeDocument({data, size}), size);
    std::vector<std::uint8_t> document(data + front, data + size);
    const std::vector<std::uint8_t> before = document;
    for (auto edits = 1 + random() % 3; edits != 0; --edits) {
        document = documents::EditElements(
            [&random](std::uint32_t limit) { return static_cast<std::uint32_t>(random() % limit); },
            document);
    }
    if (document == before) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    const std::size_t taken = std::min(document.size(), maxSize - front);
    std::copy_n(document.begin(), taken, data + front);
    return front + taken;
}
