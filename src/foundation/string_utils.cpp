#include "foundation/string_utils.h"

#include "foundation/code_page_text.h"
#include "platform/cryptoapi.h"

namespace pkisdk::StringUtils {

std::string ToString(std::wstring_view text) {
    return ToCodePage(CP_UTF8, text,
                      {.sizing = "StringUtils::ToString WideCharToMultiByte(1)",
                       .converting = "StringUtils::ToString WideCharToMultiByte(2)"});
}

std::wstring ToWString(std::string_view text) {
    return FromCodePage(CP_UTF8, text,
                        {.sizing = "StringUtils::ToWString MultiByteToWideChar(1)",
                         .converting = "StringUtils::ToWString MultiByteToWideChar(2)"});
}

}  // namespace pkisdk::StringUtils
