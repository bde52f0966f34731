#include "mvlpfx/password_check.h"

#include <unistd.h>

#include "mvlpfx/document_fault.h"
#include "mvlpfx/document_keys.h"
#include "mvlpfx/document_outline.h"
#include "mvlpfx/document_places.h"
#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/mvlpfx.h"
#include "mvlpfx/report.h"
#include "mvlpfx/spinner.h"

namespace mvlpfx {

namespace {

constexpr char kInAll[] = " in all";

// `asked` ends what is told of the count.
void CheckIterations(std::span<const std::uint8_t> document, std::uint64_t count,
                     std::uint64_t allowed, const char* asked = "") {
    const std::uint64_t iterations = IterationsRun(count);
    if (iterations > allowed) {
        ToolError error(ExitCode::kTooManyIterations,
                        "the document asks for " + CountText(iterations, "iteration") + asked +
                            "; --max-iterations allows " + std::to_string(allowed),
                        0,
                        "if you trust where it comes from and have the time, allow as many with "
                        "--max-iterations");
        error.place = FindIterations(document);
        throw error;
    }
}

void CheckMac(std::span<const std::uint8_t> document, std::uint64_t maxIterations) {
    RefuseIndefiniteFrame(document);
    const MacOutline mac = OutlineMac(document);
    if (!mac.present) {
        ThrowNoMac(document);
    }
    if (!mac.digestKnown) {
        const ErrorWord word = DescribeErrorWord(static_cast<DWORD>(CRYPT_E_NOT_FOUND));
        ToolError error(word.exitCode,
                        "the digest algorithm of the integrity value is " + mac.digestName +
                            ", which is not one of the provider's",
                        word.value, word.advice);
        error.place = FindDigest(document);
        throw error;
    }
    CheckIterations(document, mac.iterations, maxIterations);
}

void RequireTwoSources(const std::string& file, const PasswordOptions& source) {
    if (file == "-" && (source.standardInput || source.descriptor == STDIN_FILENO)) {
        throw ToolError(ExitCode::kUsage, "document and password can't both be standard input");
    }
}

}  // namespace

// The derivation runs on its own thread, whose last error it is.
std::uint32_t VerifyDocument(const std::vector<std::uint8_t>& document,
                             const Secret<wchar_t>& password, bool quiet) {
    // The record has no pointer to constant bytes.
    const PfxBlob blob{static_cast<DWORD>(document.size()), const_cast<BYTE*>(document.data())};
    DWORD error = 0;
    RunWithSpinner(
        [&] {
            if (!UzVerifyPswPFX(&blob, password.Text().c_str())) {
                error = GetLastError();
            }
        },
        quiet);
    return error;
}

void ThrowVerifyError(std::uint32_t error) {
    const ErrorWord word = DescribeErrorWord(error);
    throw ToolError(word.exitCode, word.meaning, error, word.advice);
}

void CheckContentIterations(const std::vector<std::uint8_t>& document,
                            const CommonOptions& common) {
    CheckIterations(document, CountContentIterations(document), common.maxIterations, kInAll);
}

void CheckRestorable(const std::vector<std::uint8_t>& document, const std::string& file,
                     const PasswordOptions& source, const CommonOptions& common) {
    RequireTwoSources(file, source);
    CheckMac(document, common.maxIterations);
    RefuseHiddenKeys(document);
    CheckIterations(document, CountIterations(document), common.maxIterations, kInAll);
}

Secret<wchar_t> CheckPassword(const std::vector<std::uint8_t>& bytes, const std::string& file,
                              const PasswordOptions& source, const CommonOptions& common) {
    RequireTwoSources(file, source);
    CheckMac(bytes, common.maxIterations);
    auto password = ReadPassword(source, "Password for " + file + ": ");
    const DWORD error = VerifyDocument(bytes, password, common.quiet);
    if (error != 0) {
        ThrowVerifyError(error);
    }
    return password;
}

}  // namespace mvlpfx
