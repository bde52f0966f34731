#include "derlist/der_parser.h"

#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "derlist/der_header.h"
#include "derlist/element_runs.h"
#include "derlist/text_armour.h"

namespace pkisdk {

namespace {

constexpr std::uint8_t kBitString = 0x03;
constexpr std::uint8_t kOctetString = 0x04;
constexpr std::uint8_t kNull = 0x05;
constexpr std::uint8_t kFirstNonPrimitive = 0x20;

// A node that may still get children, and how much of it those read so far fill.
struct OpenScope {
    std::uint32_t length;
    std::uint32_t start;
    std::uint32_t filled;
    bool bitString;

    // The unused-bits byte of a BIT STRING is no child of it.
    bool IsFull() const { return filled == length || (bitString && filled + 1 == length); }
};

class Parser {
  public:
    Parser(std::span<const std::uint8_t> document, DerList* out);
    std::int32_t Run();

  private:
    std::uint32_t Size() const { return static_cast<std::uint32_t>(document_.size()); }
    bool ZeroAt(std::uint32_t at) const { return at < Size() && document_[at] == 0; }
    bool ReadElement();
    void AddParent();
    void AddLeaf();
    void Add(Blob content);
    void FindOpenScope();

    std::span<const std::uint8_t> document_;
    ElementRuns runs_;
    DerList* out_;
    // The first node, and below it the scopes around the element read next, each at its depth.
    std::vector<OpenScope> scopes_;
    // What one element leaves to the next: depth, offset, scope.
    DerNode node_;
    std::uint32_t cursor_ = 0;
    bool sawIndefinite_ = false;
};

Parser::Parser(std::span<const std::uint8_t> document, DerList* out)
    : document_(document), runs_(document), out_(out) {
    node_.scopeLength = Size();
}

std::int32_t Parser::Run() {
    for (;;) {
        while (ZeroAt(cursor_) && ZeroAt(cursor_ + 1)) {
            cursor_ += 2;
        }
        if (cursor_ == Size()) {
            break;
        }
        if (!ReadElement()) {
            return 0;
        }
    }
    if (sawIndefinite_) {
        out_->ReinsertAll();
    }
    return 1;
}

bool Parser::ReadElement() {
    if (ReadDerHeader(document_, &cursor_, &node_) == 0 || node_.contentLength > Size() - cursor_ ||
        (node_.tag == kNull && node_.contentLength != 0)) {
        return false;
    }
    sawIndefinite_ = sawIndefinite_ || node_.indefinite != 0;
    const bool mayOpen =
        node_.tag == kBitString || node_.tag == kOctetString || node_.tag >= kFirstNonPrimitive;
    if (mayOpen && runs_.LooksLikeDer(cursor_, node_.contentLength)) {
        AddParent();
    } else {
        AddLeaf();
    }
    return true;
}

void Parser::AddParent() {
    Add(Blob(node_.tag == kBitString && node_.contentLength > 2 ? 1 : 0));
    if (node_.depth != 0) {
        scopes_.push_back({node_.contentLength, node_.offset, 0, node_.tag == kBitString});
    }
    node_.scopeLength = node_.contentLength;
    node_.scopeStart = node_.offset;
    ++node_.depth;
}

void Parser::AddLeaf() {
    Add(Blob(document_.data() + cursor_, node_.contentLength));
    cursor_ += node_.contentLength;
    while (ZeroAt(cursor_)) {
        ++cursor_;
    }
    FindOpenScope();
}

void Parser::Add(Blob content) {
    DerNode read = node_;
    read.content = std::move(content);
    if (scopes_.empty()) {
        // The first node is never full: it takes in all that the document has.
        scopes_.push_back({Size(), node_.offset, 0, false});
    } else {
        scopes_.back().filled += EncodedNodeSize(read);
    }
    if (!out_->AppendAsRead(std::move(read))) {
        throw std::length_error("list<T> too long");
    }
}

// Sets depth and scope for what follows a leaf: the innermost scope that has room.
void Parser::FindOpenScope() {
    while (scopes_.size() > 1 && scopes_.back().IsFull()) {
        scopes_.pop_back();
    }
    node_.scopeLength = scopes_.back().length;
    node_.scopeStart = scopes_.back().start;
    node_.depth = static_cast<std::int32_t>(scopes_.size());
}

}  // namespace

std::int32_t ParseDerList(const std::uint8_t* data, std::int32_t size, DerList* out) {
    if (out == nullptr) {
        return 0;
    }
    if (size == 0) {
        out->clear();
        return 1;
    }
    Blob document(data, static_cast<std::uint32_t>(size));
    out->clear();
    Blob decoded;
    if (DecodeArmour(document.Bytes(), &decoded) == ArmourKind::kText) {
        document = std::move(decoded);
    }
    return Parser(document.Bytes(), out).Run();
}

}  // namespace pkisdk
