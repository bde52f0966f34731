#include "capi/text.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <new>
#include <optional>
#include <span>
#include <string_view>

#include "capi/code_page.h"
#include "capi/code_page_converter.h"
#include "capi/last_error.h"
#include "capi/utf8.h"

namespace {

using capi::CodePage;
using capi::CodePageConverter;
using capi::kReplacementCharacter;

// The caller's buffer: what passes its end is only counted.
template <typename Char>
class BoundedOutput {
  public:
    BoundedOutput(Char* out, int room) : out_(out), room_(static_cast<std::size_t>(room)) {}

    void Put(Char unit) {
        if (count_ < room_) {
            out_[count_] = unit;
        }
        ++count_;
    }
    void Put(std::span<const Char> units) {
        for (const Char unit : units) {
            Put(unit);
        }
    }
    // The answer of a conversion that went through.
    int Finish() const {
        if (room_ != 0 && count_ > room_) {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return 0;
        }
        if (count_ > INT_MAX) {
            SetLastError(ERROR_ARITHMETIC_OVERFLOW);
            return 0;
        }
        return static_cast<int>(count_);
    }

  private:
    Char* out_;
    std::size_t room_;
    std::size_t count_ = 0;
};

int Fail(DWORD error) {
    SetLastError(error);
    return 0;
}

const CodePage* ResolveCodePage(UINT number) {
    const bool isAnsi = number == CP_ACP || number == CP_OEMCP || number == CP_THREAD_ACP;
    return capi::FindCodePage(isAnsi ? capi::AnsiCodePage() : number);
}

// An exception must not leave a C function; only memory can be wanting.
template <typename Body>
int Guarded(Body body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return Fail(ERROR_NOT_ENOUGH_MEMORY);
    }
}

// Whether lengths and buffers are as both conversions want them.
bool AreBuffersValid(const void* input, int length, const void* output, int room) {
    return input != nullptr && (length > 0 || length == -1) && room >= 0 &&
           (room == 0 || (output != nullptr && output != input));
}

std::size_t LengthWithTerminator(const char* text) {
    return std::strlen(text) + 1;
}
std::size_t LengthWithTerminator(const wchar_t* text) {
    return std::wcslen(text) + 1;
}

template <typename Char>
std::basic_string_view<Char> View(const Char* text, int length) {
    return {text, length == -1 ? LengthWithTerminator(text) : static_cast<std::size_t>(length)};
}

int FromUtf8(std::string_view text, bool rejectInvalid, BoundedOutput<wchar_t> out) {
    while (!text.empty()) {
        const capi::Utf8Character next = capi::DecodeUtf8(text);
        if (!next.isValid && rejectInvalid) {
            return Fail(ERROR_NO_UNICODE_TRANSLATION);
        }
        out.Put(next.isValid ? next.character : kReplacementCharacter);
        text.remove_prefix(next.size);
    }
    return out.Finish();
}

int ToUtf8(std::wstring_view text, bool rejectInvalid, BoundedOutput<char> out) {
    for (const wchar_t character : text) {
        const bool isValid = capi::IsUnicodeScalar(character);
        if (!isValid && rejectInvalid) {
            return Fail(ERROR_NO_UNICODE_TRANSLATION);
        }
        out.Put(capi::EncodeUtf8(isValid ? character : kReplacementCharacter).Bytes());
    }
    return out.Finish();
}

int FromCodePage(const CodePage& page, std::string_view text, bool rejectInvalid,
                 BoundedOutput<wchar_t> out) {
    CodePageConverter converter("WCHAR_T", page.iconvName);
    if (!converter.IsOpen()) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    while (!text.empty()) {
        const std::optional<wchar_t> character = converter.TakeWide(&text);
        if (!character.has_value() && rejectInvalid) {
            return Fail(ERROR_NO_UNICODE_TRANSLATION);
        }
        out.Put(character.value_or(kReplacementCharacter));
    }
    return out.Finish();
}

int ToCodePage(const CodePage& page, std::wstring_view text, std::string_view defaultCharacter,
               bool* usedDefault, BoundedOutput<char> out) {
    CodePageConverter converter(page.iconvName, "WCHAR_T");
    if (!converter.IsOpen()) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    for (const wchar_t character : text) {
        const capi::NarrowCharacter bytes = converter.Narrow(character);
        if (bytes.size == 0) {
            *usedDefault = true;
            out.Put(defaultCharacter);
        } else {
            out.Put(bytes.Bytes());
        }
    }
    return out.Finish();
}

int ToWide(UINT number, DWORD flags, LPCSTR text, int length, LPWSTR out, int room) {
    const CodePage* const page = ResolveCodePage(number);
    if (page == nullptr || !AreBuffersValid(text, length, out, room)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    // MB_PRECOMPOSED asks for what is done anyway; UTF-8 asked for by its number does not take it.
    const DWORD knownFlags =
        number == CP_UTF8 ? MB_ERR_INVALID_CHARS : MB_ERR_INVALID_CHARS | MB_PRECOMPOSED;
    if ((flags & ~knownFlags) != 0) {
        return Fail(ERROR_INVALID_FLAGS);
    }
    const bool rejectInvalid = (flags & MB_ERR_INVALID_CHARS) != 0;
    const BoundedOutput<wchar_t> output(out, room);
    return page->number == CP_UTF8 ? FromUtf8(View(text, length), rejectInvalid, output)
                                   : FromCodePage(*page, View(text, length), rejectInvalid, output);
}

int FromWide(UINT number, DWORD flags, LPCWSTR text, int length, LPSTR out, int room,
             LPCSTR defaultCharacter, LPBOOL usedDefaultCharacter) {
    const CodePage* const page = ResolveCodePage(number);
    if (page == nullptr || !AreBuffersValid(text, length, out, room) ||
        (number == CP_UTF8 && (defaultCharacter != nullptr || usedDefaultCharacter != nullptr))) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const DWORD knownFlags = number == CP_UTF8 ? WC_ERR_INVALID_CHARS : WC_NO_BEST_FIT_CHARS;
    if ((flags & ~knownFlags) != 0) {
        return Fail(ERROR_INVALID_FLAGS);
    }
    const BoundedOutput<char> output(out, room);
    bool usedDefault = false;
    int answer = 0;
    if (page->number == CP_UTF8) {
        answer = ToUtf8(View(text, length), (flags & WC_ERR_INVALID_CHARS) != 0, output);
    } else {
        const char* const given = defaultCharacter == nullptr ? "?" : defaultCharacter;
        const std::size_t size = page->isDoubleByte ? strnlen(given, 2) : 1;
        answer = ToCodePage(*page, View(text, length), {given, size}, &usedDefault, output);
    }
    if (usedDefaultCharacter != nullptr) {
        *usedDefaultCharacter = usedDefault ? TRUE : FALSE;
    }
    return answer;
}

}  // namespace

UINT WINAPI GetACP() {
    return static_cast<UINT>(Guarded([] { return static_cast<int>(capi::AnsiCodePage()); }));
}

int WINAPI MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte,
                               LPWSTR lpWideCharStr, int cchWideChar) {
    return Guarded([&] {
        return ToWide(CodePage, dwFlags, lpMultiByteStr, cbMultiByte, lpWideCharStr, cchWideChar);
    });
}

int WINAPI WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                               LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar,
                               LPBOOL lpUsedDefaultChar) {
    return Guarded([&] {
        return FromWide(CodePage, dwFlags, lpWideCharStr, cchWideChar, lpMultiByteStr, cbMultiByte,
                        lpDefaultChar, lpUsedDefaultChar);
    });
}
