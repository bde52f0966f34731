// The one type in which the module carries binary data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace pkisdk {

// An owned, growable run of bytes. Sizes are in bytes; an index is signed and must lie inside.
class IBlob {
  public:
    virtual ~IBlob() = default;

    // Leaves the blob empty and gives its storage back. The freed bytes are not overwritten.
    virtual void Clear() = 0;
    virtual bool IsEmpty() const = 0;
    // Drops the tail, or adds zero bytes at the end.
    virtual void SetSize(std::uint64_t size) = 0;
    // Replaces the content by a copy of `size` bytes at `data`, or by `size` zero bytes when `data`
    // is null. With `size` 0 it clears and reads nothing. On std::bad_alloc the old content stands.
    virtual void Assign(const void* data, std::uint64_t size) = 0;
    virtual std::uint64_t GetSize() const = 0;
    // The first byte; null whenever the blob is empty. Valid until the next change of size.
    virtual const std::uint8_t* GetData() const = 0;
    virtual std::uint8_t* GetData() = 0;
    // The byte at `index`. An index outside the blob is a defect of the caller and ends the
    // process.
    virtual const std::uint8_t* GetAt(std::int32_t index) const = 0;
    virtual std::uint8_t* GetAt(std::int32_t index) = 0;

  protected:
    IBlob() = default;
    IBlob(const IBlob&) = default;
    IBlob(IBlob&&) = default;
    IBlob& operator=(const IBlob&) = default;
    IBlob& operator=(IBlob&&) = default;
};

// A copy duplicates the bytes; a moved-from blob is empty.
class Blob : public IBlob {
  public:
    Blob() = default;
    Blob(const void* data, std::uint64_t size);
    // `size` zero bytes.
    explicit Blob(std::uint64_t size);

    void Clear() override;
    bool IsEmpty() const override;
    void SetSize(std::uint64_t size) override;
    void Assign(const void* data, std::uint64_t size) override;
    std::uint64_t GetSize() const override;
    const std::uint8_t* GetData() const override;
    std::uint8_t* GetData() override;
    const std::uint8_t* GetAt(std::int32_t index) const override;
    std::uint8_t* GetAt(std::int32_t index) override;

    // The serialised form is the size as four bytes in the machine's order, then the bytes.
    virtual std::uint64_t GetSerializedSize() const;
    // Reads that form; bytes behind it are ignored. Answers the new GetSerializedSize(), or 0 and
    // leaves the blob as it was when `source` is null, the form is cut short, or `sourceSize` is 4
    // or less: the form of an empty blob is written but never read.
    virtual std::uint32_t Deserialize(const void* source, std::uint32_t sourceSize);
    // Writes that form and answers the number of bytes written, or 0 and writes nothing when
    // `target` is null or too small. The size is asked for with GetSerializedSize().
    virtual std::uint32_t Serialize(void* target, std::uint32_t targetSize) const;

    // Adds `count` bytes at the end: those at `data`, or zeros when `data` is null. `data` may lie
    // inside this blob.
    void Append(const void* data, std::uint64_t count);

    std::span<const std::uint8_t> Bytes() const { return bytes_; }

    friend bool operator==(const Blob&, const Blob&);

  private:
    void Grow(std::uint64_t size);
    std::size_t Checked(std::int32_t index) const;

    std::vector<std::uint8_t> bytes_;
};

bool operator==(const Blob& left, const Blob& right);

}  // namespace pkisdk
