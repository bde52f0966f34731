// A blob that claims a size beyond what it holds, for lengths that nobody wants to allocate.
#pragma once

#include <cstdint>
#include <cstdlib>

#include "foundation/blob.h"

namespace support {

// Reading or writing past the octets that it holds is a read or write out of bounds.
class SizedBlob final : public pkisdk::IBlob {
  public:
    SizedBlob(pkisdk::Blob held, std::uint64_t size) : held_(std::move(held)), size_(size) {}

    void Clear() override { std::abort(); }
    bool IsEmpty() const override { return size_ == 0; }
    void SetSize(std::uint64_t) override { std::abort(); }
    void Assign(const void*, std::uint64_t) override { std::abort(); }
    std::uint64_t GetSize() const override { return size_; }
    const std::uint8_t* GetData() const override { return held_.GetData(); }
    std::uint8_t* GetData() override { return held_.GetData(); }
    const std::uint8_t* GetAt(std::int32_t index) const override { return held_.GetAt(index); }
    std::uint8_t* GetAt(std::int32_t index) override { return held_.GetAt(index); }

  private:
    pkisdk::Blob held_;
    std::uint64_t size_;
};

}  // namespace support
