// Feeds every file named on the command line, or in a folder named there, to the fuzz target.
// At least one is required, so that a corpus that went missing fails the test.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void Replay(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
    int replayed = 0;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            Replay(argv[i]);
            ++replayed;
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            Replay(entry.path());
            ++replayed;
        }
    }
    std::printf("%d inputs replayed\n", replayed);
    return replayed == 0 ? 1 : 0;
}
