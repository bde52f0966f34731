#include "foundation/custom_codecvt.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <stdexcept>

#include "foundation/locale_code_page.h"
#include "platform/cryptoapi.h"

namespace tools2 {

namespace {

constexpr std::uint32_t kCodePageOfNone = 437;

std::string KnownToLibrary(const std::string& name) {
    try {
        const std::locale known(name);
        return name;
    } catch (const std::runtime_error&) {
        return "C";
    }
}

// Whether the counts of a conversion fit the platform's.
bool FitsInt(std::ptrdiff_t input, std::ptrdiff_t room) {
    return input <= INT_MAX && room <= INT_MAX;
}

}  // namespace

CustomTCodeCvtWcharToChar::CustomTCodeCvtWcharToChar(const std::string& localeName,
                                                     std::size_t refs)
    : Base(KnownToLibrary(localeName), refs), localeName_(localeName) {}

CustomTCodeCvtWcharToChar::~CustomTCodeCvtWcharToChar() = default;

int CustomTCodeCvtWcharToChar::do_max_length() const noexcept {
    return std::max(BytesPerCharacter(CodePageOfLocale(localeName_)), Base::do_max_length());
}

CustomTCodeCvtWcharToChar::result CustomTCodeCvtWcharToChar::do_in(
    state_type& state, const extern_type* from, const extern_type* fromEnd,
    const extern_type*& fromNext, intern_type* to, intern_type* toEnd, intern_type*& toNext) const {
    const std::ptrdiff_t length = fromEnd - from;
    const std::ptrdiff_t room = toEnd - to;
    if (length > 0 && length <= room && FitsInt(length, room)) {
        const int made = MultiByteToWideChar(CodePageOfLocale(localeName_), 0, from,
                                             static_cast<int>(length), to, static_cast<int>(room));
        if (made == length) {
            fromNext = fromEnd;
            toNext = to + made;
            return ok;
        }
    }
    return Base::do_in(state, from, fromEnd, fromNext, to, toEnd, toNext);
}

CustomTCodeCvtWcharToChar::result CustomTCodeCvtWcharToChar::do_out(
    state_type& state, const intern_type* from, const intern_type* fromEnd,
    const intern_type*& fromNext, extern_type* to, extern_type* toEnd, extern_type*& toNext) const {
    const std::ptrdiff_t length = fromEnd - from;
    const std::ptrdiff_t room = toEnd - to;
    if (length > 0 && length <= room && FitsInt(length, room)) {
        const std::uint32_t named = CodePageOfLocale(localeName_);
        const std::uint32_t codePage = named == 0 ? kCodePageOfNone : named;
        BOOL usedDefault = FALSE;
        // UTF-8 lacks no character, and the platform refuses to be asked whether it did.
        const int made = WideCharToMultiByte(codePage, 0, from, static_cast<int>(length), to,
                                             static_cast<int>(room), nullptr,
                                             codePage == CP_UTF8 ? nullptr : &usedDefault);
        if (made == length && usedDefault == FALSE) {
            fromNext = fromEnd;
            toNext = to + made;
            return ok;
        }
    }
    return Base::do_out(state, from, fromEnd, fromNext, to, toEnd, toNext);
}

}  // namespace tools2
