#include "capi/properties.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <cwchar>
#include <iterator>

#include "capi/calls.h"
#include "capi/heap.h"
#include "capi/utf8.h"

namespace capi {

namespace {

constexpr std::size_t kAlignment = alignof(std::max_align_t);

std::size_t Aligned(std::size_t size) {
    return (size + kAlignment - 1) / kAlignment * kAlignment;
}

std::size_t TextSize(const std::optional<std::wstring>& text) {
    return text.has_value() ? (text->size() + 1) * sizeof(wchar_t) : 0;
}

bool IsPin(const KeyProvInfo::Parameter& parameter) {
    return parameter.number == PP_SIGNATURE_PIN || parameter.number == PP_KEYEXCHANGE_PIN;
}

void AppendNumber(DWORD number, Bytes* out) {
    for (int shift = 0; shift < 32; shift += 8) {
        out->push_back(static_cast<BYTE>(number >> shift));
    }
}

void AppendBytes(std::span<const BYTE> bytes, Bytes* out) {
    AppendNumber(static_cast<DWORD>(bytes.size()), out);
    out->insert(out->end(), bytes.begin(), bytes.end());
}

// A text that is not there is told by its length alone.
constexpr DWORD kNoText = 0xFFFFFFFF;

void AppendText(const std::optional<std::wstring>& text, Bytes* out) {
    if (!text.has_value()) {
        AppendNumber(kNoText, out);
        return;
    }
    Bytes narrow;
    for (const wchar_t character : *text) {
        const NarrowCharacter octets =
            EncodeUtf8(IsUnicodeScalar(character) ? character : kReplacementCharacter);
        for (const char octet : octets.Bytes()) {
            narrow.push_back(static_cast<BYTE>(octet));
        }
    }
    AppendBytes(narrow, out);
}

// Answers nothing where the bytes end before what is asked for.
class ByteReader {
  public:
    explicit ByteReader(std::span<const BYTE> bytes) : rest_(bytes) {}

    bool IsAtEnd() const { return rest_.empty(); }
    std::optional<DWORD> Number() {
        const auto octets = Octets(sizeof(DWORD));
        if (!octets.has_value()) {
            return std::nullopt;
        }
        DWORD number = 0;
        for (std::size_t i = 0; i < octets->size(); ++i) {
            number |= DWORD{(*octets)[i]} << (8 * i);
        }
        return number;
    }
    std::optional<std::span<const BYTE>> Octets(std::size_t size) {
        if (size > rest_.size()) {
            return std::nullopt;
        }
        const std::span<const BYTE> octets = rest_.first(size);
        rest_ = rest_.subspan(size);
        return octets;
    }
    std::optional<std::span<const BYTE>> SizedOctets() {
        const auto size = Number();
        return size.has_value() ? Octets(*size) : std::nullopt;
    }
    // False where the bytes end early.
    bool Text(std::optional<std::wstring>* text) {
        const auto size = Number();
        if (!size.has_value() || *size == kNoText) {
            return size.has_value();
        }
        const auto octets = Octets(*size);
        if (!octets.has_value()) {
            return false;
        }
        std::string_view narrow(reinterpret_cast<const char*>(octets->data()), octets->size());
        text->emplace();
        while (!narrow.empty()) {
            const Utf8Character next = DecodeUtf8(narrow);
            (*text)->push_back(next.isValid ? next.character : kReplacementCharacter);
            narrow.remove_prefix(next.size);
        }
        return true;
    }

  private:
    std::span<const BYTE> rest_;
};

// Copies a text behind a record's block and moves on.
LPWSTR PlaceText(const std::optional<std::wstring>& text, BYTE** at) {
    if (!text.has_value()) {
        return nullptr;
    }
    auto* const placed = reinterpret_cast<LPWSTR>(*at);
    std::memcpy(*at, text->c_str(), TextSize(text));
    *at += TextSize(text);
    return placed;
}

}  // namespace

KeyProvInfo::KeyProvInfo(const CRYPT_KEY_PROV_INFO& info)
    : providerType(info.dwProvType), flags(info.dwFlags), keySpec(info.dwKeySpec) {
    Require(info.cProvParam == 0 || info.rgProvParam != nullptr, E_INVALIDARG);
    if (info.pwszContainerName != nullptr) {
        container = info.pwszContainerName;
    }
    if (info.pwszProvName != nullptr) {
        provider = info.pwszProvName;
    }
    for (const CRYPT_KEY_PROV_PARAM& from : std::span(info.rgProvParam, info.cProvParam)) {
        Require(from.cbData == 0 || from.pbData != nullptr, E_INVALIDARG);
        parameters.push_back(
            {from.dwParam, from.dwFlags, Bytes(from.pbData, from.pbData + from.cbData)});
    }
}

KeyProvInfo::~KeyProvInfo() {
    for (Parameter& parameter : parameters) {
        SecureZeroMemory(parameter.data.data(), parameter.data.size());
    }
}

KeyProvInfo& KeyProvInfo::operator=(KeyProvInfo other) noexcept {
    container.swap(other.container);
    provider.swap(other.provider);
    parameters.swap(other.parameters);
    providerType = other.providerType;
    flags = other.flags;
    keySpec = other.keySpec;
    return *this;
}

std::size_t KeyProvInfo::BlockSize() const {
    std::size_t size = Aligned(sizeof(CRYPT_KEY_PROV_INFO)) +
                       Aligned(parameters.size() * sizeof(CRYPT_KEY_PROV_PARAM)) +
                       TextSize(container) + TextSize(provider);
    for (const Parameter& parameter : parameters) {
        size += parameter.data.size();
    }
    return size;
}

void KeyProvInfo::WriteBlock(BYTE* block) const {
    CRYPT_KEY_PROV_INFO info{};
    BYTE* const firstParameter = block + Aligned(sizeof(info));
    BYTE* at = firstParameter + Aligned(parameters.size() * sizeof(CRYPT_KEY_PROV_PARAM));
    info.pwszContainerName = PlaceText(container, &at);
    info.pwszProvName = PlaceText(provider, &at);
    info.dwProvType = providerType;
    info.dwFlags = flags;
    info.dwKeySpec = keySpec;
    info.cProvParam = static_cast<DWORD>(parameters.size());
    if (!parameters.empty()) {
        info.rgProvParam = reinterpret_cast<PCRYPT_KEY_PROV_PARAM>(firstParameter);
    }
    BYTE* place = firstParameter;
    for (const Parameter& parameter : parameters) {
        const CRYPT_KEY_PROV_PARAM record{
            parameter.number, at, static_cast<DWORD>(parameter.data.size()), parameter.flags};
        std::memcpy(place, &record, sizeof(record));
        place += sizeof(record);
        at = std::copy(parameter.data.begin(), parameter.data.end(), at);
    }
    std::memcpy(block, &info, sizeof(info));
}

Bytes KeyProvInfo::Serialize() const {
    Bytes out;
    AppendNumber(providerType, &out);
    AppendNumber(flags, &out);
    AppendNumber(keySpec, &out);
    AppendText(container, &out);
    AppendText(provider, &out);
    for (const Parameter& parameter : parameters) {
        if (!IsPin(parameter)) {
            AppendNumber(parameter.number, &out);
            AppendNumber(parameter.flags, &out);
            AppendBytes(parameter.data, &out);
        }
    }
    return out;
}

std::optional<KeyProvInfo> KeyProvInfo::Parse(std::span<const BYTE> bytes) {
    ByteReader reader(bytes);
    const auto type = reader.Number();
    const auto flags = reader.Number();
    const auto keySpec = reader.Number();
    KeyProvInfo info;
    if (!keySpec.has_value() || !reader.Text(&info.container) || !reader.Text(&info.provider)) {
        return std::nullopt;
    }
    info.providerType = *type;
    info.flags = *flags;
    info.keySpec = *keySpec;
    while (!reader.IsAtEnd()) {
        const auto number = reader.Number();
        const auto parameterFlags = reader.Number();
        const auto data = reader.SizedOctets();
        if (!data.has_value()) {
            return std::nullopt;
        }
        info.parameters.push_back({*number, *parameterFlags, Bytes(data->begin(), data->end())});
    }
    return info;
}

bool Properties::Has(DWORD number) const {
    return number == CERT_KEY_PROV_INFO_PROP_ID ? keyProvInfo.has_value() : blobs.contains(number);
}

void Properties::Remove(DWORD number) {
    if (number == CERT_KEY_PROV_INFO_PROP_ID) {
        keyProvInfo.reset();
    } else {
        blobs.erase(number);
    }
}

bool Properties::Inherit(const Properties& other) {
    const std::size_t before = blobs.size();
    blobs.insert(other.blobs.begin(), other.blobs.end());
    const bool takesKey = !keyProvInfo.has_value() && other.keyProvInfo.has_value();
    if (takesKey) {
        keyProvInfo.emplace(*other.keyProvInfo);
    }
    return takesKey || blobs.size() != before;
}

DWORD Properties::Next(DWORD number) const {
    const auto next = blobs.upper_bound(number);
    const DWORD blob = next == blobs.end() ? 0 : next->first;
    const bool isKeyNext = keyProvInfo.has_value() && number < CERT_KEY_PROV_INFO_PROP_ID &&
                           (blob == 0 || blob > CERT_KEY_PROV_INFO_PROP_ID);
    return isKeyNext ? CERT_KEY_PROV_INFO_PROP_ID : blob;
}

Bytes SerializeEntry(std::span<const BYTE> encoded, const Properties& properties) {
    Bytes out;
    const auto append = [&out](DWORD number, std::span<const BYTE> bytes) {
        AppendNumber(number, &out);
        AppendNumber(X509_ASN_ENCODING, &out);
        AppendBytes(bytes, &out);
    };
    if (properties.keyProvInfo.has_value()) {
        append(CERT_KEY_PROV_INFO_PROP_ID, properties.keyProvInfo->Serialize());
    }
    for (const auto& [number, bytes] : properties.blobs) {
        append(number, bytes);
    }
    append(CERT_CERT_PROP_ID, encoded);
    return out;
}

std::optional<Entry> ParseEntry(std::span<const BYTE> bytes) {
    ByteReader reader(bytes);
    Entry entry;
    while (!reader.IsAtEnd()) {
        const auto number = reader.Number();
        const auto encoding = reader.Number();
        const auto data = reader.SizedOctets();
        if (!data.has_value() || encoding != DWORD{X509_ASN_ENCODING}) {
            return std::nullopt;
        }
        if (number == DWORD{CERT_CERT_PROP_ID}) {
            entry.encoded.assign(data->begin(), data->end());
            return reader.IsAtEnd() ? std::optional(std::move(entry)) : std::nullopt;
        }
        if (number == DWORD{CERT_KEY_PROV_INFO_PROP_ID}) {
            std::optional<KeyProvInfo> info = KeyProvInfo::Parse(*data);
            if (!info.has_value()) {
                return std::nullopt;
            }
            entry.properties.keyProvInfo.emplace(*std::move(info));
        } else {
            entry.properties.blobs[*number].assign(data->begin(), data->end());
        }
    }
    return std::nullopt;
}

}  // namespace capi
