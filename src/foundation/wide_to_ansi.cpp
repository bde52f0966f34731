#include "foundation/wide_to_ansi.h"

#include <memory>

#include "platform/cryptoapi.h"

namespace pkisdk {

namespace {

struct FreeToProcessHeap {
    void operator()(char* memory) const { HeapFree(GetProcessHeap(), 0, memory); }
};

}  // namespace

void WideToAnsi(const wchar_t* text, std::string* out) {
    out->clear();
    if (text == nullptr) {
        return;
    }
    const int size = WideCharToMultiByte(CP_ACP, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 0) {
        return;
    }
    const std::unique_ptr<char, FreeToProcessHeap> buffer(static_cast<char*>(
        HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, static_cast<SIZE_T>(size))));
    if (buffer == nullptr) {
        return;
    }
    WideCharToMultiByte(CP_ACP, 0, text, -1, buffer.get(), size, nullptr, nullptr);
    out->assign(buffer.get());
}

void AnsiToWide(const std::string& text, std::wstring* out) {
    out->clear();
    const int size = MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, nullptr, 0);
    if (size <= 0) {
        return;
    }
    std::wstring buffer(static_cast<std::size_t>(size), L'\0');
    if (MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, buffer.data(), size) > 0) {
        *out = buffer.c_str();
    }
}

}  // namespace pkisdk
