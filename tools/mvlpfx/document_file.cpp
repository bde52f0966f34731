#include "mvlpfx/document_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <memory>
#include <span>
#include <utility>

#include "derlist/text_armour.h"
#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"
#include "platform/cryptoapi.h"

namespace mvlpfx {

namespace {

struct CloseFile {
    void operator()(std::FILE* file) const {
        if (file != stdin) {
            std::fclose(file);
        }
    }
};

[[noreturn]] void Fail(const char* what) {
    const int error = errno;
    throw ToolError(ExitCode::kFile, std::string(what) + std::strerror(error), 0,
                    AdviceOfErrno(error));
}

bool BeginWith(std::span<const std::uint8_t> bytes, std::initializer_list<std::uint8_t> mark) {
    return bytes.size() >= mark.size() && std::ranges::equal(bytes.first(mark.size()), mark);
}

// A byte for each unit of UTF-16; armour is ASCII, and other units are as good as a "?" there.
std::vector<std::uint8_t> Narrowed(std::span<const std::uint8_t> units, std::size_t low) {
    std::vector<std::uint8_t> text;
    text.reserve(units.size() / 2);
    for (std::size_t i = 0; i + 1 < units.size(); i += 2) {
        const bool isAscii = units[i + 1 - low] == 0 && units[i + low] < 0x80;
        text.push_back(isAscii ? units[i + low] : '?');
    }
    return text;
}

// Editors save text with a byte order mark, and some save it in UTF-16. No document in DER begins
// with one.
std::vector<std::uint8_t> WithoutMark(std::vector<std::uint8_t> bytes) {
    if (BeginWith(bytes, {0xEF, 0xBB, 0xBF})) {
        bytes.erase(bytes.begin(), bytes.begin() + 3);
    } else if (BeginWith(bytes, {0xFF, 0xFE}) || BeginWith(bytes, {0xFE, 0xFF})) {
        return Narrowed(std::span(bytes).subspan(2), bytes[0] == 0xFF ? 0 : 1);
    }
    return bytes;
}

constexpr std::size_t kLargest = std::numeric_limits<std::int32_t>::max();

}  // namespace

std::vector<std::uint8_t> ReadDocument(const std::string& path) {
    const bool standardInput = path == "-";
    const std::unique_ptr<std::FILE, CloseFile> file(
        standardInput ? stdin : std::fopen(path.c_str(), "rb"));
    if (file == nullptr) {
        Fail("can't open: ");
    }
    std::vector<std::uint8_t> bytes;
    std::array<std::uint8_t, 65536> piece{};
    for (;;) {
        const std::size_t count = std::fread(piece.data(), 1, piece.size(), file.get());
        if (count == 0) {
            break;
        }
        if (bytes.size() + count > kLargest) {
            throw ToolError(ExitCode::kMalformed, "too large for a document: over 2 GiB");
        }
        bytes.insert(bytes.end(), piece.begin(),
                     piece.begin() + static_cast<std::ptrdiff_t>(count));
    }
    if (std::ferror(file.get()) != 0) {
        Fail("can't read: ");
    }
    return WithoutMark(std::move(bytes));
}

std::vector<std::uint8_t> WithoutArmour(std::vector<std::uint8_t> bytes) {
    pkisdk::Blob decoded;
    if (pkisdk::DecodeArmour(bytes, &decoded) == pkisdk::ArmourKind::kText) {
        bytes.assign(decoded.Bytes().begin(), decoded.Bytes().end());
    }
    return bytes;
}

std::vector<std::uint8_t> PemOf(const std::vector<std::uint8_t>& bytes, const std::string& label) {
    DWORD size = 0;
    constexpr DWORD kForm = CRYPT_STRING_BASE64 | CRYPT_STRING_NOCR;
    const auto length = static_cast<DWORD>(bytes.size());
    CryptBinaryToStringA(bytes.data(), length, kForm, nullptr, &size);
    std::string body(size, '\0');
    if (CryptBinaryToStringA(bytes.data(), length, kForm, body.data(), &size) == FALSE) {
        throw ToolError(ExitCode::kOther, "can't write the document as text", GetLastError());
    }
    body.resize(size);
    const std::string text =
        "-----BEGIN " + label + "-----\n" + body + "-----END " + label + "-----\n";
    return {text.begin(), text.end()};
}

}  // namespace mvlpfx
