#include <cstdio>

#include "mvlpfx/commands.h"
#include "mvlpfx/document_file.h"
#include "mvlpfx/password_check.h"
#include "mvlpfx/report.h"

namespace mvlpfx {

void RunVerify(const VerifyOptions& options) {
    const auto bytes = ReadDocument(options.file);
    CheckPassword(bytes, options.file, options.password, options.common);
    if (options.common.json) {
        auto report = JsonSuccess("verify", options.file);
        report["fits"] = true;
        PrintJson(report);
    } else if (!options.common.quiet) {
        std::printf("%s: the password fits\n", Printable(options.file).c_str());
    }
}

}  // namespace mvlpfx
