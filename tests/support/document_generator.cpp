#include "support/document_generator.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace documents {

namespace {

using differential::Below;
using differential::Once;
using differential::Random;

constexpr std::array<std::uint8_t, 32> kTelling{
    0x00, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x0A, 0x10, 0x1F, 0x24, 0x30, 0x31, 0x41,
    0x7F, 0x80, 0x81, 0x82, 0x83, 0x84, 0x85, 0xA0, 0xA1, 0xA3, 0xAF, 0xC0, 0xE0, 0xFA, 0xFE, 0xFF};

template <std::size_t count>
std::uint8_t Pick(Random& random, const std::array<std::uint8_t, count>& from) {
    return from[Below(random, count)];
}

std::uint8_t Byte(Random& random) {
    return Once(random, 3) ? static_cast<std::uint8_t>(random()) : Pick(random, kTelling);
}

void Append(Bytes* to, const Bytes& what) {
    to->insert(to->end(), what.begin(), what.end());
}

void AppendZeros(Random& random, Bytes* to) {
    if (Once(random, 12)) {
        to->insert(to->end(), 1 + Below(random, 5), std::uint8_t{0});
    }
}

void AppendLongForm(std::size_t length, int octets, Bytes* out) {
    out->push_back(static_cast<std::uint8_t>(0x80 + octets));
    for (int i = octets; i-- > 0;) {
        out->push_back(static_cast<std::uint8_t>(length >> (8 * i)));
    }
}

void AppendLength(Random& random, std::size_t length, Bytes* out) {
    if (Once(random, 25)) {
        length += Below(random, 5);
        length -= std::min<std::size_t>(length, Below(random, 5));
    }
    int octets = length < 0x80 ? 0 : length < 0x100 ? 1 : 2;
    if (Once(random, 12)) {
        octets = 1 + static_cast<int>(Below(random, 4));
    }
    if (octets == 0 || (length > 0x84 && length < 0x100 && Once(random, 4))) {
        out->push_back(static_cast<std::uint8_t>(length));
    } else {
        AppendLongForm(length, octets, out);
    }
}

class Nesting {
  public:
    Nesting(Random& random, std::uint32_t elements) : random_(random), left_(elements) {}

    // As many elements as are left, or a few of them.
    Bytes Run(int depth) {
        Bytes run;
        do {
            AppendZeros(random_, &run);
            Append(&run, Element(depth));
        } while (left_ != 0 && !Once(random_, 3));
        AppendZeros(random_, &run);
        return run;
    }

  private:
    Bytes Element(int depth) {
        left_ -= left_ != 0 ? 1 : 0;
        const bool holds = left_ != 0 && depth < 40 && !Once(random_, 3);
        return holds ? Holder(depth) : Leaf();
    }

    Bytes Holder(int depth) {
        constexpr std::array<std::uint8_t, 12> tags{0x30, 0x30, 0x30, 0x31, 0x03, 0x04,
                                                    0x04, 0xA0, 0xA1, 0x80, 0x24, 0x60};
        const std::uint8_t tag = Pick(random_, tags);
        Bytes content = Run(depth + 1);
        if (tag == 0x03 && !Once(random_, 3)) {
            content.insert(content.begin(), 0x00);
        }
        Bytes element{tag};
        if (Once(random_, 10)) {
            element.push_back(0x80);
            Append(&element, content);
            if (Once(random_, 2)) {
                element.insert(element.end(), {0x00, 0x00});
            }
            return element;
        }
        AppendLength(random_, content.size(), &element);
        Append(&element, content);
        return element;
    }

    Bytes Leaf() {
        constexpr std::array<std::uint8_t, 14> tags{0x02, 0x01, 0x04, 0x03, 0x05, 0x0C, 0x17,
                                                    0x1E, 0x30, 0x80, 0xA0, 0x0A, 0x13, 0x09};
        if (Once(random_, 4)) {
            return ObjectIdentifier();
        }
        const std::uint8_t tag = Pick(random_, tags);
        Bytes element{tag};
        Bytes content;
        if (tag != 0x05 || Once(random_, 20)) {
            const std::uint32_t size = Once(random_, 15) ? Below(random_, 300) : Below(random_, 6);
            for (std::uint32_t i = 0; i < size; ++i) {
                content.push_back(Byte(random_));
            }
        }
        AppendLength(random_, content.size(), &element);
        Append(&element, content);
        return element;
    }

    // Few different ones, so that they repeat.
    Bytes ObjectIdentifier() {
        switch (Below(random_, 3)) {
            case 0:
                return {0x06, 0x02, 0x2A, 0x03};
            case 1:
                return {0x06, 0x03, 0x55, 0x04, 0x03};
            default:
                return {0x06, 0x01, 0x2A};
        }
    }

    Random& random_;
    std::uint32_t left_;
};

void MutateOnce(Random& random, Bytes* document) {
    const auto size = static_cast<std::uint32_t>(document->size());
    if (size == 0) {
        document->push_back(Byte(random));
        return;
    }
    const auto at = document->begin() + Below(random, size);
    switch (Below(random, 6)) {
        case 0:
            *at = static_cast<std::uint8_t>(*at ^ (1U << Below(random, 8)));
            break;
        case 1:
            *at = Byte(random);
            break;
        case 2:
            document->erase(at, Once(random, 4) ? document->end() : at + 1);
            break;
        case 3:
            document->insert(at, 1 + Below(random, 3), Byte(random));
            break;
        case 4:
            document->insert(at, 1 + Below(random, 4), std::uint8_t{0});
            break;
        default: {
            const auto rest = static_cast<std::uint32_t>(document->end() - at);
            const Bytes piece(at, at + 1 + Below(random, std::min<std::uint32_t>(rest, 40)));
            document->insert(document->begin() + Below(random, size), piece.begin(), piece.end());
            break;
        }
    }
}

}  // namespace

std::vector<Bytes> ReadAll(const std::string& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        files.push_back(entry.path());
    }
    if (files.empty()) {
        throw std::runtime_error("no documents in " + folder);
    }
    std::sort(files.begin(), files.end());
    std::vector<Bytes> documents;
    for (const auto& file : files) {
        std::ifstream stream(file, std::ios::binary);
        documents.emplace_back(std::istreambuf_iterator<char>(stream),
                               std::istreambuf_iterator<char>());
    }
    return documents;
}

Bytes RandomBytes(Random& random, std::uint32_t sizeLimit) {
    Bytes bytes(Below(random, sizeLimit + 1));
    std::generate(bytes.begin(), bytes.end(), [&] { return Byte(random); });
    return bytes;
}

Bytes NestedElements(Random& random, std::uint32_t elementLimit) {
    return Nesting(random, 1 + Below(random, elementLimit)).Run(0);
}

Bytes Mutate(Random& random, Bytes document) {
    const std::uint32_t times = 1 + Below(random, Once(random, 4) ? 12 : 3);
    for (std::uint32_t i = 0; i < times; ++i) {
        MutateOnce(random, &document);
    }
    return document;
}

Bytes AsText(Random& random, const Bytes& document) {
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < document.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(3, document.size() - i);
        std::uint32_t bits = 0;
        for (std::size_t j = 0; j < 3; ++j) {
            bits = bits << 8 | (j < count ? document[i + j] : 0U);
        }
        for (std::size_t j = 0; j < 4; ++j) {
            text += j <= count ? digits[bits >> (18 - 6 * j) & 0x3F] : '=';
        }
        if (Once(random, 10)) {
            text += Once(random, 2) ? "\n" : "\r\n";
        }
    }
    if (Once(random, 2)) {
        text = "-----BEGIN PFX-----\n" + text + "\n-----END PFX-----\n";
    }
    Bytes bytes(text.begin(), text.end());
    return Once(random, 4) ? Mutate(random, bytes) : bytes;
}

Bytes OverlappingRuns(std::size_t levels) {
    // Each level takes two bytes at the start of the one before and two from its end. To the
    // check an indefinite element is one of 128 bytes, which leads to the empty elements from
    // wherever it stands.
    constexpr std::size_t kJump = 130;
    Bytes document;
    for (std::size_t i = 0; i < levels; ++i) {
        document.insert(document.end(), {0x30, 0x80});
    }
    for (std::size_t i = 0; i < levels + kJump / 2; ++i) {
        document.insert(document.end(), {0x04, 0x00});
    }
    return document;
}

}  // namespace documents
