#include <cstdio>

#include "mvlpfx/commands.h"
#include "mvlpfx/error_words.h"
#include "mvlpfx/interruption.h"
#include "mvlpfx/mvlpfx.h"
#include "mvlpfx/report.h"

namespace mvlpfx {

namespace {

constexpr char kOid[] = "1.2.643.2.4.12.2.1";

}  // namespace

void RunRegister(const RegistrationOptions& options) {
    DeferSignals();
    const HRESULT result = DllRegisterServer();
    if (result < 0) {
        const ErrorWord word = DescribePlaceWord(static_cast<std::uint32_t>(result));
        throw ToolError(word.exitCode, std::string("can't register: ") + word.meaning,
                        static_cast<std::uint32_t>(result), word.advice);
    }
    if (options.common.json) {
        auto report = JsonSuccess("register", "");
        report["registered"] = true;
        report["oid"] = kOid;
        PrintJson(report);
    } else if (!options.common.quiet) {
        std::printf("%s\n", kOid);
    }
}

void RunUnregister(const RegistrationOptions& options) {
    DeferSignals();
    DllUnregisterServer();
    if (options.common.json) {
        PrintJson(JsonSuccess("unregister", ""));
    }
}

}  // namespace mvlpfx
