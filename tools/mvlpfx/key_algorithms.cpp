#include "mvlpfx/key_algorithms.h"

#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

namespace {

constexpr ALG_ID kGost2001Exchange = 0xAA24;

constexpr KeyAlgorithm kAlgorithms[] = {
    {"gost2001", 0x2E23},
    {"gost2012-256", 0x2E49},
    {"gost2012-512", 0x2E3D},
};

}  // namespace

const KeyAlgorithm& FindKeyAlgorithm(const std::string& name) {
    for (const KeyAlgorithm& algorithm : kAlgorithms) {
        if (name == algorithm.name) {
            return algorithm;
        }
    }
    throw ToolError(ExitCode::kUsage,
                    "the algorithm '" + name + "' is none of gost2001, gost2012-256, gost2012-512");
}

std::string KeyAlgorithmName(ALG_ID id) {
    for (const KeyAlgorithm& algorithm : kAlgorithms) {
        if (algorithm.id == id) {
            return algorithm.name;
        }
    }
    return id == kGost2001Exchange ? "gost2001" : HexWord(id);
}

}  // namespace mvlpfx
