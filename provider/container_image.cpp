#include "provider/container_image.h"

#include <algorithm>

#include "provider/container_seal.h"

namespace provider {

namespace {

constexpr std::array<BYTE, 8> kMagic = {'V', 'L', 'X', 'K', 'E', 'Y', 'S', 1};
constexpr std::size_t kNumberSize = 4;

enum Protection : DWORD { kNoPin = 0, kPin = 1 };

class Writer {
  public:
    void Number(std::size_t value) {
        for (unsigned shift = 0; shift != 8 * kNumberSize; shift += 8) {
            bytes_.push_back(static_cast<BYTE>(value >> shift));
        }
    }
    void Fixed(std::span<const BYTE> octets) {
        bytes_.insert(bytes_.end(), octets.begin(), octets.end());
    }
    void Counted(std::span<const BYTE> octets) {
        Number(octets.size());
        Fixed(octets);
    }
    std::vector<BYTE> Take() { return std::move(bytes_); }

  private:
    std::vector<BYTE> bytes_;
};

// Answers zeros and nothing once the bytes have not sufficed.
class Reader {
  public:
    explicit Reader(std::span<const BYTE> bytes) : rest_(bytes) {}

    std::span<const BYTE> Take(std::size_t size) {
        if (size > rest_.size()) {
            isWhole_ = false;
            rest_ = {};
            return {};
        }
        const std::span<const BYTE> taken = rest_.first(size);
        rest_ = rest_.subspan(size);
        return taken;
    }
    DWORD Number() {
        DWORD value = 0;
        const std::span<const BYTE> octets = Take(kNumberSize);
        for (std::size_t i = octets.size(); i-- != 0;) {
            value = value << 8 | octets[i];
        }
        return value;
    }
    template <std::size_t kSize>
    void Fixed(std::array<BYTE, kSize>* to) {
        std::ranges::copy(Take(kSize), to->begin());
    }
    std::vector<BYTE> Counted() {
        const std::span<const BYTE> octets = Take(Number());
        return {octets.begin(), octets.end()};
    }
    // Whether everything asked for was there, and nothing is left.
    bool IsAtEnd() const { return isWhole_ && rest_.empty(); }

  private:
    std::span<const BYTE> rest_;
    bool isWhole_ = true;
};

bool IsSound(const StoredKey& key) {
    if (key.record.algorithm == 0) {
        return key.record.permissions == 0 && key.record.publicKey.empty() &&
               key.record.certificate.empty() && key.sealed.empty();
    }
    return key.sealed.size() > kSealVectorSize &&
           key.sealed.size() <= kSealVectorSize + kLongestPrivateKey;
}

bool IsSound(const ContainerImage& image, DWORD protection) {
    const DWORD most = protection == kPin ? kMostPinIterations : 1;
    return protection <= kPin && image.iterations >= 1 && image.iterations <= most &&
           !image.name.empty() && image.name.size() <= kLongestContainerName &&
           image.name.find('\0') == std::string::npos &&
           std::ranges::all_of(image.keys, [](const StoredKey& key) { return IsSound(key); });
}

}  // namespace

std::vector<BYTE> SerializeForMac(const ContainerImage& image) {
    Writer writer;
    writer.Fixed(kMagic);
    writer.Fixed(image.identity);
    writer.Number(image.hasPin ? kPin : kNoPin);
    writer.Number(image.iterations);
    writer.Fixed(image.salt);
    writer.Counted({reinterpret_cast<const BYTE*>(image.name.data()), image.name.size()});
    for (const StoredKey& key : image.keys) {
        writer.Number(key.record.algorithm);
        writer.Number(key.record.permissions);
        writer.Counted(key.record.publicKey);
        writer.Counted(key.record.certificate);
        writer.Counted(key.sealed);
    }
    return writer.Take();
}

std::optional<std::vector<BYTE>> SerializeContainer(const ContainerImage& image) {
    std::vector<BYTE> file = SerializeForMac(image);
    file.insert(file.end(), image.mac.begin(), image.mac.end());
    const ContainerMac checksum = ComputeChecksum(file);
    file.insert(file.end(), checksum.begin(), checksum.end());
    if (file.size() > kLargestContainerFile) {
        return std::nullopt;
    }
    return file;
}

std::optional<ContainerImage> ParseContainer(std::span<const BYTE> file) {
    ContainerMac checksum{};
    if (file.size() < checksum.size() || file.size() > kLargestContainerFile) {
        return std::nullopt;
    }
    const std::span<const BYTE> checked = file.first(file.size() - checksum.size());
    if (!std::ranges::equal(ComputeChecksum(checked), file.last(checksum.size()))) {
        return std::nullopt;
    }
    Reader reader(checked);
    ContainerImage image;
    if (!std::ranges::equal(reader.Take(kMagic.size()), kMagic)) {
        return std::nullopt;
    }
    reader.Fixed(&image.identity);
    const DWORD protection = reader.Number();
    image.hasPin = protection == kPin;
    image.iterations = reader.Number();
    reader.Fixed(&image.salt);
    const std::vector<BYTE> name = reader.Counted();
    image.name.assign(name.begin(), name.end());
    for (StoredKey& key : image.keys) {
        key.record.algorithm = reader.Number();
        key.record.permissions = reader.Number();
        key.record.publicKey = reader.Counted();
        key.record.certificate = reader.Counted();
        key.sealed = reader.Counted();
    }
    reader.Fixed(&image.mac);
    if (!reader.IsAtEnd() || !IsSound(image, protection)) {
        return std::nullopt;
    }
    return image;
}

}  // namespace provider
