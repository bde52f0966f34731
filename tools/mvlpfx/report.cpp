#include "mvlpfx/report.h"

#include <cstdio>

#include "mvlpfx/error_words.h"

namespace mvlpfx {

namespace {

constexpr int kSchema = 1;

}  // namespace

nlohmann::ordered_json JsonReport(const std::string& command) {
    return {{"schema", kSchema}, {"command", command}};
}

void PrintJson(const nlohmann::ordered_json& report) {
    // A file name may hold bytes that are no UTF-8, which JSON can't.
    const std::string text =
        report.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    std::printf("%s\n", text.c_str());
}

void PrintFailure(const std::string& command, const std::string& subject, const ToolError& error,
                  bool json) {
    if (!json) {
        const std::string where = subject.empty() ? "" : subject + ": ";
        const std::string word = error.errorWord == 0 ? "" : " (" + HexWord(error.errorWord) + ")";
        std::fprintf(stderr, "mvlpfx %s: %s%s%s\n", command.c_str(), where.c_str(), error.what(),
                     word.c_str());
        return;
    }
    auto report = JsonReport(command);
    if (!subject.empty()) {
        report["subject"] = subject;
    }
    report["exitCode"] = static_cast<int>(error.exitCode);
    report["message"] = error.what();
    if (error.errorWord != 0) {
        report["errorWord"] = HexWord(error.errorWord);
        report["errorName"] = NameOfErrorWord(error.errorWord);
    }
    PrintJson(report);
}

}  // namespace mvlpfx
