#include "mvlpfx/document_file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>

#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

namespace {

struct CloseFile {
    void operator()(std::FILE* file) const {
        if (file != stdin) {
            std::fclose(file);
        }
    }
};

constexpr std::size_t kLargest = std::numeric_limits<std::int32_t>::max();

}  // namespace

std::vector<std::uint8_t> ReadDocument(const std::string& path) {
    const bool standardInput = path == "-";
    const std::unique_ptr<std::FILE, CloseFile> file(
        standardInput ? stdin : std::fopen(path.c_str(), "rb"));
    if (file == nullptr) {
        throw ToolError(ExitCode::kFile, std::string("can't open: ") + std::strerror(errno));
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
        throw ToolError(ExitCode::kFile, std::string("can't read: ") + std::strerror(errno));
    }
    return bytes;
}

}  // namespace mvlpfx
