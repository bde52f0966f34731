#include "capi/code_page_converter.h"

#include <cstdint>

namespace capi {

namespace {

iconv_t NoDescriptor() {
    return reinterpret_cast<iconv_t>(static_cast<std::intptr_t>(-1));
}

}  // namespace

CodePageConverter::CodePageConverter(const char* to, const char* from)
    : descriptor_(iconv_open(to, from)) {}

CodePageConverter::~CodePageConverter() {
    if (IsOpen()) {
        iconv_close(descriptor_);
    }
}

bool CodePageConverter::IsOpen() const {
    return descriptor_ != NoDescriptor();
}

std::optional<wchar_t> CodePageConverter::TakeWide(std::string_view* text) {
    wchar_t character = 0;
    // iconv reads through this pointer only, whatever its declaration says.
    char* in = const_cast<char*>(text->data());
    char* out = reinterpret_cast<char*>(&character);
    std::size_t inLeft = text->size();
    std::size_t outLeft = sizeof(character);
    // Room for one character stops it after one; its answer does not matter beside that.
    iconv(descriptor_, &in, &inLeft, &out, &outLeft);
    if (outLeft != 0) {
        iconv(descriptor_, nullptr, nullptr, nullptr, nullptr);
        text->remove_prefix(1);
        return std::nullopt;
    }
    text->remove_prefix(text->size() - inLeft);
    return character;
}

NarrowCharacter CodePageConverter::Narrow(wchar_t character) {
    NarrowCharacter result;
    char* in = reinterpret_cast<char*>(&character);
    char* out = result.octets.data();
    std::size_t inLeft = sizeof(character);
    std::size_t outLeft = result.octets.size();
    const std::size_t answer = iconv(descriptor_, &in, &inLeft, &out, &outLeft);
    if (answer != static_cast<std::size_t>(-1)) {
        result.size = result.octets.size() - outLeft;
    }
    return result;
}

}  // namespace capi
