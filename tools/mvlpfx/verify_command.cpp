#include <cstdio>

#include "mvlpfx/commands.h"
#include "mvlpfx/document_file.h"
#include "mvlpfx/document_remarks.h"
#include "mvlpfx/password_check.h"
#include "mvlpfx/report.h"

namespace mvlpfx {

void RunVerify(const VerifyOptions& options) {
    const auto bytes = ReadDocument(options.file);
    CheckPassword(bytes, options.file, options.password, options.common);
    const DocumentRemarks remarks = FindRemarks(bytes);
    if (options.common.json) {
        auto report = JsonSuccess("verify", options.file);
        report["fits"] = true;
        AddRemarks(remarks, &report);
        PrintJson(report);
    } else if (!options.common.quiet) {
        const std::string name = Printable(options.file);
        std::printf("%s: the password fits\n", name.c_str());
        for (const std::string& line : LinesOf(remarks)) {
            std::printf("%s: %s\n", name.c_str(), line.c_str());
        }
    }
}

}  // namespace mvlpfx
