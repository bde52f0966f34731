#include "mvlpfx/report.h"

#include <algorithm>
#include <cstdio>

#include "mvlpfx/error_words.h"
#include "mvlpfx/handles.h"
#include "mvlpfx/interruption.h"
#include "mvlpfx/system_log.h"

namespace mvlpfx {

namespace {

constexpr int kSchema = 1;

std::string ToUtf8(const std::string& text) {
    const std::wstring wide = ToWide(text);
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, utf8.data(), size, nullptr, nullptr);
    return utf8.c_str();
}

// The library escapes the controls below U+0020; those from U+007F to U+009F reach a terminal too.
std::string EscapeControls(const std::string& json) {
    constexpr char kDelete = 0x7F;
    constexpr char kLeadOfUpperControls = static_cast<char>(0xC2);
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < json.size(); ++i) {
        const auto next = static_cast<unsigned char>(i + 1 < json.size() ? json[i + 1] : 0);
        if (json[i] == kDelete) {
            text += "\\u007f";
        } else if (json[i] == kLeadOfUpperControls && next < 0xA0) {
            text += std::string("\\u00") + kDigits[next >> 4] + kDigits[next & 0x0F];
            ++i;
        } else {
            text += json[i];
        }
    }
    return text;
}

// Texts here are in the user's encoding, and JSON is UTF-8.
void TextsToUtf8(nlohmann::ordered_json* json) {
    if (json->is_string()) {
        *json = ToUtf8(json->get_ref<const std::string&>());
    } else if (json->is_structured()) {
        for (nlohmann::ordered_json& item : *json) {
            TextsToUtf8(&item);
        }
    }
}

// What the log says of a failure that has its cause in files or the provider.
std::vector<std::string> LogOf(const ToolError& error) {
    const bool isOfLayersBelow = error.exitCode == ExitCode::kOther ||
                                 error.exitCode == ExitCode::kFile ||
                                 error.exitCode == ExitCode::kProvider;
    return isOfLayersBelow ? LoggedTexts() : std::vector<std::string>();
}

// What else there is to tell. A file that the log names with the reason is told once.
std::vector<std::string> LinesOf(const ToolError& error) {
    const std::vector<std::string> log = LogOf(error);
    std::vector<std::string> lines;
    std::ranges::copy_if(error.lines, std::back_inserter(lines), [&](const std::string& line) {
        return std::ranges::none_of(
            log, [&](const std::string& text) { return text.starts_with(line + ": "); });
    });
    lines.insert(lines.end(), log.begin(), log.end());
    if (error.place) {
        const std::string path = error.place->path.empty() ? "" : ", " + error.place->path;
        lines.push_back("found " + error.place->found + " at offset " +
                        std::to_string(error.place->offset) + path);
    }
    if (!error.advice.empty()) {
        lines.push_back("what to do: " + error.advice);
    }
    return lines;
}

}  // namespace

nlohmann::ordered_json JsonReport(const std::string& command, const std::string& subject) {
    nlohmann::ordered_json report{{"schema", kSchema}, {"command", nullptr}};
    if (!command.empty()) {
        report["command"] = command;
    }
    if (!subject.empty()) {
        report["subject"] = subject;
    }
    return report;
}

nlohmann::ordered_json JsonSuccess(const std::string& command, const std::string& subject) {
    auto report = JsonReport(command, subject);
    report["exitCode"] = static_cast<int>(ExitCode::kDone);
    return report;
}

std::string CountText(std::uint64_t count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

bool IsTold(bool quiet) {
    return !quiet || PendingSignal() != 0;
}

std::string BehindText(std::uint64_t bytes) {
    return CountText(bytes, "byte") + " behind the document's end";
}

std::string Printable(std::string text) {
    constexpr unsigned char kDelete = 0x7F;
    // In UTF-8 the controls from U+0080 to U+009F are this octet and one more.
    constexpr unsigned char kLeadOfUpperControls = 0xC2;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto octet = static_cast<unsigned char>(text[i]);
        const bool isUpper = i != 0 && octet >= 0x80 && octet < 0xA0 &&
                             static_cast<unsigned char>(text[i - 1]) == kLeadOfUpperControls;
        const bool isControl = octet < ' ' || octet == kDelete || isUpper;
        if (isControl) {
            text[i] = '?';
            text[i - (isUpper ? 1 : 0)] = '?';
        }
    }
    return text;
}

void PrintJson(nlohmann::ordered_json report) {
    if (const int signal = PendingSignal(); signal != 0) {
        constexpr int kOfSignals = 128;
        report["exitCode"] = kOfSignals + signal;
    }
    if (GetACP() != CP_UTF8) {
        TextsToUtf8(&report);
    }
    // A file name may hold bytes that are no UTF-8, which JSON can't.
    const std::string text = EscapeControls(
        report.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
    std::printf("%s\n", text.c_str());
}

void AddFailure(nlohmann::ordered_json* report, const ToolError& error) {
    nlohmann::ordered_json& json = *report;
    const auto textOrNull = [](const std::string& text) {
        return text.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(text);
    };
    json["exitCode"] = static_cast<int>(error.exitCode);
    json["message"] = error.what();
    json["advice"] = textOrNull(error.advice);
    json["errorWord"] = textOrNull(error.errorWord == 0 ? "" : HexWord(error.errorWord));
    json["errorName"] = textOrNull(NameOfErrorWord(error.errorWord));
    json["found"] = nullptr;
    json["where"] = nullptr;
    if (error.place) {
        json["found"] = error.place->found;
        json["where"] = {{"offset", error.place->offset}, {"path", error.place->path}};
    }
    json.update(error.facts);
}

void PrintFailure(const std::string& command, const std::string& subject, const ToolError& error,
                  bool json) {
    if (json) {
        auto report = JsonReport(command, subject);
        AddFailure(&report, error);
        report["log"] = LogOf(error);
        PrintJson(report);
        return;
    }
    const std::string where = subject.empty() ? "" : Printable(subject) + ": ";
    const std::string word = error.errorWord == 0 ? "" : " (" + HexWord(error.errorWord) + ")";
    std::fprintf(stderr, "mvlpfx%s%s: %s%s%s\n", command.empty() ? "" : " ", command.c_str(),
                 where.c_str(), Printable(error.what()).c_str(), word.c_str());
    for (const std::string& line : LinesOf(error)) {
        std::fprintf(stderr, "  %s\n", Printable(line).c_str());
    }
}

}  // namespace mvlpfx
