#include "support/der_edits.h"

#include <array>
#include <span>
#include <utility>

namespace documents {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kMaxDepth = 40;
constexpr std::uint8_t kConstructed = 0x20;
constexpr std::uint8_t kOctetString = 0x04;

enum class LengthForm { kMinimal, kLong, kIndefinite, kWrong };

struct Element {
    std::uint8_t tag = 0;
    LengthForm form = LengthForm::kMinimal;
    std::uint32_t wrongLength = 0;
    Bytes content;  // of one without children
    std::vector<Element> children;
};

bool ReadElements(std::span<const std::uint8_t> bytes, int depth, std::vector<Element>* out);

// Takes one element from the front of `bytes`.
bool ReadElement(std::span<const std::uint8_t>* bytes, int depth, Element* out) {
    if (bytes->size() < 2) {
        return false;
    }
    std::size_t length = (*bytes)[1];
    std::size_t header = 2;
    if (length >= 0x80) {
        const std::size_t octets = length - 0x80;
        if (octets == 0 || octets > 4 || octets + 2 > bytes->size()) {
            return false;
        }
        length = 0;
        for (; header < octets + 2; ++header) {
            length = length << 8 | (*bytes)[header];
        }
    }
    if (length > bytes->size() - header) {
        return false;
    }
    const auto content = bytes->subspan(header, length);
    out->tag = (*bytes)[0];
    *bytes = bytes->subspan(header + length);
    const bool mayHold = (out->tag & kConstructed) != 0 || out->tag == kOctetString;
    if (content.empty() || !mayHold || !ReadElements(content, depth + 1, &out->children)) {
        out->children.clear();
        out->content.assign(content.begin(), content.end());
    }
    return true;
}

bool ReadElements(std::span<const std::uint8_t> bytes, int depth, std::vector<Element>* out) {
    while (!bytes.empty()) {
        if (depth > kMaxDepth || !ReadElement(&bytes, depth, &out->emplace_back())) {
            return false;
        }
    }
    return true;
}

void WriteLength(std::uint64_t length, bool isLong, Bytes* out) {
    if (length < 0x80 && !isLong) {
        out->push_back(static_cast<std::uint8_t>(length));
        return;
    }
    int octets = 1;
    while (length >> (8 * octets) != 0) {
        ++octets;
    }
    octets = isLong ? 4 : octets;
    out->push_back(static_cast<std::uint8_t>(0x80 + octets));
    for (int i = octets; i-- > 0;) {
        out->push_back(static_cast<std::uint8_t>(length >> (8 * i)));
    }
}

void Write(const std::vector<Element>& elements, Bytes* out);

void Write(const Element& element, Bytes* out) {
    Bytes value = element.content;
    Write(element.children, &value);
    out->push_back(element.tag);
    if (element.form == LengthForm::kIndefinite) {
        out->push_back(0x80);
        value.insert(value.end(), {0, 0});
    } else {
        const bool isWrong = element.form == LengthForm::kWrong;
        WriteLength(isWrong ? element.wrongLength : value.size(), element.form == LengthForm::kLong,
                    out);
    }
    out->insert(out->end(), value.begin(), value.end());
}

void Write(const std::vector<Element>& elements, Bytes* out) {
    for (const Element& element : elements) {
        Write(element, out);
    }
}

// Where an element stands: the list that holds it, and its place there.
struct Place {
    std::vector<Element>* list;
    std::size_t index;

    Element& Get() const { return (*list)[index]; }
};

void CollectPlaces(std::vector<Element>* list, std::vector<Place>* places) {
    for (std::size_t i = 0; i < list->size(); ++i) {
        places->push_back({list, i});
        CollectPlaces(&(*list)[i].children, places);
    }
}

template <typename Values>
auto Pick(const Choose& choose, const Values& values) {
    return values[choose(static_cast<std::uint32_t>(std::size(values)))];
}

Bytes ChooseContent(const Choose& choose) {
    const std::array<Bytes, 12> contents{Bytes{},           Bytes{0},
                                         Bytes{0x7F},       Bytes{0xFF},
                                         Bytes{0x80, 0},    Bytes{0x7F, 0xFF, 0xFF, 0xFF},
                                         Bytes(4, 0xFF),    Bytes{0, 0x80, 0, 0, 0},
                                         Bytes{0x05, 2, 0}, Bytes{0x30, 0x80, 0, 0},
                                         Bytes(128, 0x41),  Bytes(300, 0)};
    return Pick(choose, contents);
}

void SetValue(const Choose& choose, Element* element) {
    element->children.clear();
    element->content = ChooseContent(choose);
}

void ChangeOctet(const Choose& choose, Element* element) {
    if (element->content.empty()) {
        SetValue(choose, element);
        return;
    }
    const auto size = static_cast<std::uint32_t>(element->content.size());
    element->content[choose(size)] = static_cast<std::uint8_t>(choose(256));
}

void ChangeTag(const Choose& choose, Element* element) {
    constexpr std::array<std::uint8_t, 16> kTags{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x0C, 0x13,
                                                 0x17, 0x1E, 0x30, 0x31, 0x80, 0xA0, 0xA1, 0x00};
    element->tag = Pick(choose, kTags);
}

void LieAboutLength(const Choose& choose, Element* element) {
    constexpr std::array<std::uint32_t, 10> kLengths{
        0, 1, 2, 0x7F, 0xFF, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF};
    element->form = LengthForm::kWrong;
    element->wrongLength = Pick(choose, kLengths);
}

void Wrap(const Choose& choose, Element* element) {
    constexpr std::array<std::uint8_t, 4> kTags{0x30, 0x31, kOctetString, 0xA0};
    Element outer;
    outer.tag = Pick(choose, kTags);
    outer.children.push_back(std::move(*element));
    *element = std::move(outer);
}

// Its children in its place.
void Open(const Place& place) {
    const std::vector<Element> children = std::move(place.Get().children);
    const auto at = place.list->begin() + static_cast<std::ptrdiff_t>(place.index);
    place.list->insert(place.list->erase(at), children.begin(), children.end());
}

void Edit(const Choose& choose, const std::vector<Place>& places) {
    const Place place = Pick(choose, places);
    const auto at = place.list->begin() + static_cast<std::ptrdiff_t>(place.index);
    // A copy, since what is copied may lie around where it goes.
    const Element other = Pick(choose, places).Get();
    switch (choose(12)) {
        case 0:
            place.list->erase(at);
            break;
        case 1:
            place.list->insert(at, Element(*at));
            break;
        case 2:
            *at = other;
            break;
        case 3:
            at->children.push_back(other);
            break;
        case 4:
            ChangeTag(choose, &*at);
            break;
        case 5:
            at->form = LengthForm::kLong;
            break;
        case 6:
            at->form = LengthForm::kIndefinite;
            break;
        case 7:
            LieAboutLength(choose, &*at);
            break;
        case 8:
            SetValue(choose, &*at);
            break;
        case 9:
            Wrap(choose, &*at);
            break;
        case 10:
            Open(place);
            break;
        default:
            ChangeOctet(choose, &*at);
            break;
    }
}

}  // namespace

std::vector<std::uint8_t> EditElements(const Choose& choose,
                                       const std::vector<std::uint8_t>& document) {
    std::vector<Element> elements;
    std::vector<Place> places;
    if (!ReadElements(document, 0, &elements)) {
        return document;
    }
    CollectPlaces(&elements, &places);
    if (places.empty()) {
        return document;
    }
    Edit(choose, places);
    Bytes edited;
    Write(elements, &edited);
    return edited;
}

}  // namespace documents
