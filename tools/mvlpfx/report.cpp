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

std::string Printable(std::string text, bool keepsLines) {
    constexpr unsigned char kDelete = 0x7F;
    // In UTF-8 the controls from U+0080 to U+009F are this octet and one more.
    constexpr unsigned char kLeadOfUpperControls = 0xC2;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto octet = static_cast<unsigned char>(text[i]);
        const bool isUpper = i != 0 && octet >= 0x80 && octet < 0xA0 &&
                             static_cast<unsigned char>(text[i - 1]) == kLeadOfUpperControls;
        const bool isControl = octet < ' ' || octet == kDelete || isUpper;
        if (isControl && !(keepsLines && text[i] == '\n')) {
            text[i] = '?';
            text[i - (isUpper ? 1 : 0)] = '?';
        }
    }
    return text;
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
        const std::string where = subject.empty() ? "" : Printable(subject) + ": ";
        const std::string word = error.errorWord == 0 ? "" : " (" + HexWord(error.errorWord) + ")";
        std::fprintf(stderr, "mvlpfx %s: %s%s%s\n", command.c_str(), where.c_str(),
                     Printable(error.what(), true).c_str(), word.c_str());
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
