#include <cstdio>

#include "mvlpfx/commands.h"
#include "mvlpfx/error_words.h"
#include "mvlpfx/mvlpfx.h"
#include "mvlpfx/report.h"

namespace mvlpfx {

namespace {

constexpr char kOid[] = "1.2.643.2.4.12.2.1";

// What an HRESULT says of a system's error word; other failures are words themselves.
ErrorWord DescribeResult(HRESULT result) {
    constexpr std::uint32_t kSystemMask = 0xFFFF0000;
    constexpr std::uint32_t kOfSystem = 0x80070000;
    const auto word = static_cast<std::uint32_t>(result);
    return DescribePlaceWord((word & kSystemMask) == kOfSystem ? word & ~kSystemMask : word);
}

void Report(const RegistrationOptions& options, const char* command, bool isRegistered,
            const char* text) {
    if (options.common.json) {
        auto report = JsonReport(command);
        report["exitCode"] = 0;
        if (isRegistered) {
            report["registered"] = true;
            report["oid"] = kOid;
        }
        PrintJson(report);
    } else if (!options.common.quiet) {
        std::printf("%s\n", text);
    }
}

}  // namespace

void RunRegister(const RegistrationOptions& options) {
    const HRESULT result = DllRegisterServer();
    if (result < 0) {
        const ErrorWord word = DescribeResult(result);
        throw ToolError(word.exitCode, word.meaning, static_cast<std::uint32_t>(result));
    }
    Report(options, "register", true, "registered under 1.2.643.2.4.12.2.1");
}

void RunUnregister(const RegistrationOptions& options) {
    DllUnregisterServer();
    Report(options, "unregister", false, "done; entries made by register stay");
}

}  // namespace mvlpfx
