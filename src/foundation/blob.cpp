#include "foundation/blob.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <stdexcept>
#include <utility>

namespace pkisdk {

namespace {

constexpr std::uint32_t kSerializedHeader = sizeof(std::uint32_t);

std::size_t VectorSize(std::uint64_t size) {
    if (size > static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max())) {
        throw std::length_error("vector<T> too long");
    }
    return static_cast<std::size_t>(size);
}

}  // namespace

Blob::Blob(const void* data, std::uint64_t size) {
    Blob::Assign(data, size);
}

Blob::Blob(std::uint64_t size) : bytes_(VectorSize(size)) {}

void Blob::Clear() {
    std::vector<std::uint8_t>().swap(bytes_);
}

bool Blob::IsEmpty() const {
    return bytes_.empty();
}

void Blob::SetSize(std::uint64_t size) {
    Grow(size);
    bytes_.resize(VectorSize(size));
}

void Blob::Assign(const void* data, std::uint64_t size) {
    if (size == 0) {
        Blob::Clear();
        return;
    }
    const std::size_t count = VectorSize(size);
    const auto* first = static_cast<const std::uint8_t*>(data);
    auto content = first != nullptr ? std::vector<std::uint8_t>(first, first + count)
                                    : std::vector<std::uint8_t>(count);
    bytes_.swap(content);
}

std::uint64_t Blob::GetSize() const {
    return bytes_.size();
}

const std::uint8_t* Blob::GetData() const {
    return bytes_.empty() ? nullptr : bytes_.data();
}

std::uint8_t* Blob::GetData() {
    return const_cast<std::uint8_t*>(std::as_const(*this).GetData());
}

const std::uint8_t* Blob::GetAt(std::int32_t index) const {
    return bytes_.data() + Checked(index);
}

std::uint8_t* Blob::GetAt(std::int32_t index) {
    return bytes_.data() + Checked(index);
}

std::uint64_t Blob::GetSerializedSize() const {
    return bytes_.size() + kSerializedHeader;
}

std::uint32_t Blob::Deserialize(const void* source, std::uint32_t sourceSize) {
    if (source == nullptr || sourceSize <= kSerializedHeader) {
        return 0;
    }
    std::uint32_t count = 0;
    std::memcpy(&count, source, kSerializedHeader);
    if (sourceSize < std::uint64_t{count} + kSerializedHeader) {
        return 0;
    }
    Assign(static_cast<const std::uint8_t*>(source) + kSerializedHeader, count);
    return static_cast<std::uint32_t>(GetSerializedSize());
}

std::uint32_t Blob::Serialize(void* target, std::uint32_t targetSize) const {
    if (target == nullptr || targetSize < GetSerializedSize()) {
        return 0;
    }
    const auto count = static_cast<std::uint32_t>(bytes_.size());
    std::memcpy(target, &count, kSerializedHeader);
    if (count != 0) {
        std::memcpy(static_cast<std::uint8_t*>(target) + kSerializedHeader, bytes_.data(), count);
    }
    return kSerializedHeader + count;
}

void Blob::Append(const void* data, std::uint64_t count) {
    if (count == 0) {
        return;
    }
    if (count > std::numeric_limits<std::uint64_t>::max() - bytes_.size()) {
        throw std::length_error("vector<T> too long");
    }
    // A source inside this blob moves with the storage, so it is remembered by its distance.
    const auto* first = static_cast<const std::uint8_t*>(data);
    const std::less_equal<> notAfter;
    const bool own = !bytes_.empty() && notAfter(bytes_.data(), first) &&
                     notAfter(first, bytes_.data() + bytes_.size() - 1);
    const std::size_t distance = own ? static_cast<std::size_t>(first - bytes_.data()) : 0;
    const std::size_t oldSize = bytes_.size();
    SetSize(oldSize + count);
    if (first != nullptr) {
        std::memcpy(bytes_.data() + oldSize, own ? bytes_.data() + distance : first,
                    static_cast<std::size_t>(count));
    }
}

// Half as much again, so that appending costs a constant and wastes at most a third.
void Blob::Grow(std::uint64_t size) {
    const std::size_t needed = VectorSize(size);
    const std::size_t capacity = bytes_.capacity();
    if (needed > capacity) {
        bytes_.reserve(std::max(needed, capacity + capacity / 2));
    }
}

std::size_t Blob::Checked(std::int32_t index) const {
    if (index < 0 || static_cast<std::size_t>(index) >= bytes_.size()) {
        std::abort();
    }
    return static_cast<std::size_t>(index);
}

bool operator==(const Blob& left, const Blob& right) {
    return left.bytes_ == right.bytes_;
}

}  // namespace pkisdk
