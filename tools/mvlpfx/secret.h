// Text that is wiped when it is done with.
#pragma once

#include <string>

#include "platform/cryptoapi.h"

namespace mvlpfx {

// A string whose storage is overwritten before it goes. It is neither copied nor grown past the
// room it was given, because growing would leave an unwiped copy behind.
template <typename Character>
class Secret {
  public:
    explicit Secret(std::size_t room) { text_.reserve(room); }
    Secret(Secret&& other) noexcept : text_(std::move(other.text_)) {}
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;
    Secret& operator=(Secret&&) = delete;
    ~Secret() {
        text_.resize(text_.capacity());
        SecureZeroMemory(text_.data(), text_.size() * sizeof(Character));
    }

    std::basic_string<Character>& Text() { return text_; }
    const std::basic_string<Character>& Text() const { return text_; }

  private:
    std::basic_string<Character> text_;
};

}  // namespace mvlpfx
