#include <cstdio>

#include "mvlpfx/commands.h"
#include "mvlpfx/document_file.h"
#include "mvlpfx/document_outline.h"
#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/mvlpfx.h"
#include "mvlpfx/report.h"
#include "mvlpfx/spinner.h"

namespace mvlpfx {

namespace {

// Before any derivation, what would make it pointless or endless.
void CheckMac(const MacOutline& mac, std::uint64_t maxIterations) {
    if (!mac.present) {
        throw ToolError(ExitCode::kMalformed,
                        "the document has no integrity value (MacData) to check the password by",
                        static_cast<DWORD>(NTE_BAD_DATA));
    }
    if (!mac.digestKnown) {
        throw ToolError(ExitCode::kUnsupported,
                        "the digest algorithm of the integrity value is " + mac.digestName +
                            ", which is not one of the provider's",
                        static_cast<DWORD>(CRYPT_E_NOT_FOUND));
    }
    if (mac.iterations > maxIterations) {
        throw ToolError(ExitCode::kTooManyIterations, "the document asks for " +
                                                          std::to_string(mac.iterations) +
                                                          " iterations; --max-iterations allows " +
                                                          std::to_string(maxIterations));
    }
}

// The last error, or 0 when the password fits. The derivation runs on its own thread, whose last
// error it is.
DWORD VerifyDocument(std::vector<std::uint8_t>* bytes, const Secret<wchar_t>& password,
                     bool quiet) {
    const PfxBlob document{static_cast<DWORD>(bytes->size()), bytes->data()};
    DWORD error = 0;
    RunWithSpinner(
        [&] {
            if (!UzVerifyPswPFX(&document, password.Text().c_str())) {
                error = GetLastError();
            }
        },
        quiet);
    return error;
}

}  // namespace

void RunVerify(const VerifyOptions& options) {
    if (options.file == "-" && options.password.standardInput) {
        throw ToolError(ExitCode::kUsage, "document and password can't both be standard input");
    }
    auto bytes = ReadDocument(options.file);
    const MacOutline mac = OutlineMac(bytes);
    CheckMac(mac, options.common.maxIterations);
    const auto password = ReadPassword(options.password, "Password for " + options.file + ": ");
    const DWORD error = VerifyDocument(&bytes, password, options.common.quiet);
    if (error != 0) {
        const ErrorWord word = DescribeErrorWord(error);
        throw ToolError(word.exitCode, word.meaning, error);
    }
    if (options.common.json) {
        auto report = JsonReport("verify");
        report["subject"] = options.file;
        report["exitCode"] = 0;
        report["fits"] = true;
        PrintJson(report);
    } else if (!options.common.quiet) {
        std::printf("%s: the password fits\n", options.file.c_str());
    }
}

}  // namespace mvlpfx
