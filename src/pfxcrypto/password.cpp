#include "pfxcrypto/password.h"

#include <cstring>
#include <memory>

#include "platform/cryptoapi.h"

namespace pkisdk {

namespace {

struct FreeToProcessHeap {
    void operator()(void* memory) const { HeapFree(GetProcessHeap(), 0, memory); }
};

template <typename Character>
using HeapText = std::unique_ptr<Character, FreeToProcessHeap>;

template <typename Character>
HeapText<Character> AllocateText(int length) {
    return HeapText<Character>(static_cast<Character*>(
        HeapAlloc(GetProcessHeap(), 0, static_cast<SIZE_T>(length) * sizeof(Character))));
}

}  // namespace

std::uint32_t AnsiToUtf8Password(const char* password, IBlob* utf8) {
    utf8->Clear();
    const auto length = password == nullptr ? 0 : static_cast<int>(std::strlen(password));
    const int wideLength =
        length == 0 ? 0 : MultiByteToWideChar(CP_ACP, 0, password, length, nullptr, 0);
    if (wideLength <= 0) {
        return 0;
    }
    const auto wide = AllocateText<wchar_t>(wideLength);
    if (wide == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
    if (MultiByteToWideChar(CP_ACP, 0, password, length, wide.get(), wideLength) == 0) {
        return 0;
    }
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, wide.get(), wideLength, nullptr, 0, nullptr, nullptr);
    if (size <= 0) {
        return 0;
    }
    const auto bytes = AllocateText<char>(size);
    if (bytes != nullptr && WideCharToMultiByte(CP_UTF8, 0, wide.get(), wideLength, bytes.get(),
                                                size, nullptr, nullptr) != 0) {
        utf8->Assign(bytes.get(), static_cast<std::uint64_t>(size));
    }
    return static_cast<std::uint32_t>(size);
}

}  // namespace pkisdk
