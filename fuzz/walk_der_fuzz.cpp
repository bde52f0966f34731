// The tool's walk over any DER or BER: elements lie in the bytes, one behind the other and in each
// other, and OpenSSL reads every header as the walk does.
#include <openssl/asn1.h>

#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "mvlpfx/der_walk.h"
#include "support/der_mutator.h"

namespace {

using mvlpfx::DerElement;

constexpr std::uint8_t kEndOfContents = 0;

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// Where the element ends, with the end-of-contents behind an indefinite length.
std::uint64_t EndOf(const DerElement& element) {
    return std::uint64_t{element.content} + element.length + (element.isIndefinite ? 2 : 0);
}

// Each begins where the one before it ends, or where its value begins; what is opened is filled.
void RequireNesting(const mvlpfx::DerWalk& walk, std::size_t size) {
    std::vector<const DerElement*> around;
    std::uint64_t at = 0;
    for (const DerElement& element : walk.elements) {
        for (; static_cast<std::size_t>(element.depth) < around.size(); around.pop_back()) {
            Require(EndOf(*around.back()) == at);
        }
        Require(static_cast<std::size_t>(element.depth) == around.size());
        const bool isInBits =
            !around.empty() && around.back()->identifier == 0x03 && at == around.back()->content;
        Require(element.offset == at + (isInBits ? 1 : 0) && element.content >= element.offset + 2);
        if (element.identifier == kEndOfContents) {
            Require(element.length == 0 && !around.empty() && around.back()->isIndefinite);
        }
        at = element.isOpen ? element.content : element.content + std::uint64_t{element.length};
        if (element.isOpen) {
            around.push_back(&element);
        }
        Require(at <= size);
    }
    Require(walk.stop <= size && (!walk.isWhole || walk.stop == size));
    for (; walk.isWhole && !around.empty(); around.pop_back()) {
        Require(EndOf(*around.back()) == at);
    }
    Require(!walk.isWhole || at == size);
}

void RequireAsOpenssl(const DerElement& element, std::span<const std::uint8_t> der) {
    const unsigned char* at = der.data() + element.offset;
    long length = 0;
    int number = 0;
    int kind = 0;
    const int answer = ASN1_get_object(&at, &length, &number, &kind,
                                       static_cast<long>(der.size() - element.offset));
    // Numbers over 31 bits are not for it.
    if ((answer & 0x80) != 0) {
        Require(element.number.size() > 4);
        return;
    }
    Require(at == der.data() + element.content && kind == (element.identifier & 0xC0));
    Require(((answer & 1) != 0) == element.isIndefinite);
    Require(element.isIndefinite || length == static_cast<long>(element.length));
    Require(!element.number.empty() || number == (element.identifier & 0x1F));
}

}  // namespace

std::size_t OctetsBeforeDocument(std::span<const std::uint8_t> /*input*/) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> der(data, size);
    const mvlpfx::DerWalk walk = mvlpfx::WalkDer(der);
    Require(walk.elements.size() <= size / 2);
    RequireNesting(walk, size);
    // OpenSSL refuses a length of two octets or more at the very end, though it be none.
    std::vector<std::uint8_t> longer(data, data + size);
    longer.push_back(0);
    for (const DerElement& element : walk.elements) {
        RequireAsOpenssl(element, longer);
    }
    return 0;
}
