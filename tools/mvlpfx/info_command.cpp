#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

#include "mvlpfx/commands.h"
#include "mvlpfx/document_contents.h"
#include "mvlpfx/document_file.h"
#include "mvlpfx/document_outline.h"
#include "mvlpfx/document_remarks.h"
#include "mvlpfx/part_report.h"
#include "mvlpfx/password_check.h"
#include "mvlpfx/report.h"
#include "mvlpfx/tree_view.h"

namespace mvlpfx {

namespace {

void PrintJsonOutline(const InfoOptions& options, const DocumentOutline& outline,
                      const nlohmann::ordered_json& contents, const DocumentRemarks& remarks) {
    auto report = JsonSuccess("info", options.file);
    if (options.password.IsNamed()) {
        report["fits"] = true;
    }
    report["version"] = outline.version;
    report["mac"] = nullptr;
    if (outline.mac.present) {
        report["mac"] = {
            {"digest", outline.mac.digestOid},        {"digestName", outline.mac.digestName},
            {"digestKnown", outline.mac.digestKnown}, {"iterations", outline.mac.iterations},
            {"saltLength", outline.mac.saltLength},   {"macLength", outline.mac.macLength}};
    }
    report["parts"] = nlohmann::ordered_json::array();
    for (const PartOutline& part : outline.parts) {
        report["parts"].push_back(JsonOfPart(part));
    }
    report.update(contents);
    AddRemarks(remarks, &report);
    PrintJson(report);
}

// The fields of a key's row or a certificate's, one a line.
void PrintFields(const nlohmann::ordered_json& row) {
    constexpr std::pair<const char*, const char*> kLabels[] = {
        {"subject", "subject:"},   {"issuer", "issuer:"},         {"serial", "serial:"},
        {"notBefore", "from:"},    {"notAfter", "until:"},        {"thumbprint", "thumbprint:"},
        {"friendlyName", "name:"}, {"localKeyId", "identifier:"}, {"certificate", "certificate:"},
    };
    for (const auto& [field, label] : kLabels) {
        if (row.contains(field)) {
            std::printf("  %-12s %s\n", label, Printable(row[field]).c_str());
        }
    }
    for (const auto& key : row.value("keys", nlohmann::ordered_json::array())) {
        std::printf("  %-12s %u\n", "key:", key.get<unsigned>());
    }
    if (row.value("machine", false)) {
        std::printf("  for the machine\n");
    }
    if (!row.value("readable", true)) {
        std::printf("  no X.509 certificate; a restore passes over it\n");
    } else if (row.contains("passedOver")) {
        std::printf("  %s\n", PassedOverText(row).c_str());
    }
    for (const auto& attribute : row.value("attributes", nlohmann::ordered_json::array())) {
        std::printf("  %s", attribute.value("oid", "attribute").c_str());
        for (const auto& value : attribute["values"]) {
            std::printf(" %s", value.get_ref<const std::string&>().c_str());
        }
        std::printf("\n");
    }
}

void PrintError(const char* list, const nlohmann::ordered_json& error) {
    std::printf("%s: can't be read: %s\n", list, Printable(error["message"]).c_str());
    if (!error["where"].is_null()) {
        std::printf("  found %s at offset %u, %s\n", Printable(error["found"]).c_str(),
                    error["where"]["offset"].get<unsigned>(),
                    error["where"]["path"].get_ref<const std::string&>().c_str());
    }
    if (!error["advice"].is_null()) {
        std::printf("  what to do: %s\n", Printable(error["advice"]).c_str());
    }
}

void PrintTextContents(const nlohmann::ordered_json& contents) {
    constexpr std::pair<const char*, const char*> kLists[] = {
        {"keys", "key"},
        {"certificates", "certificate"},
        {"plainCertificates", "certificate in clear"}};
    for (const auto& [list, name] : kLists) {
        for (const auto& row : contents.value(list, nlohmann::ordered_json::array())) {
            std::printf("%s %u\n", name, row["number"].get<unsigned>());
            PrintFields(row);
        }
        const auto error = contents.find(std::string(list) + "Error");
        if (error != contents.end()) {
            PrintError(list, *error);
        }
    }
    for (const auto& part : contents.value("otherBags", nlohmann::ordered_json::array())) {
        std::printf("in the encrypted content: %s\n", TextOfPart(part).c_str());
    }
}

void PrintTextOutline(const InfoOptions& options, const DocumentOutline& outline,
                      const nlohmann::ordered_json& contents, const DocumentRemarks& remarks) {
    std::printf("version:   %llu\n", static_cast<unsigned long long>(outline.version));
    if (outline.mac.present) {
        std::printf("integrity: %s%s, %s, salt of %s, value of %s\n",
                    outline.mac.digestName.c_str(),
                    outline.mac.digestKnown ? "" : " (unknown to the provider)",
                    CountText(outline.mac.iterations, "iteration").c_str(),
                    CountText(outline.mac.saltLength, "byte").c_str(),
                    CountText(outline.mac.macLength, "byte").c_str());
    } else {
        std::printf("integrity: none\n");
    }
    if (options.password.IsNamed()) {
        std::printf("password:  fits\n");
    }
    for (const PartOutline& part : outline.parts) {
        std::printf("%s\n", TextOfPart(JsonOfPart(part)).c_str());
    }
    PrintTextContents(contents);
    for (const std::string& line : LinesOf(remarks)) {
        std::printf("%s\n", line.c_str());
    }
}

void PrintTreeReport(const InfoOptions& options, const std::vector<TreeLine>& lines) {
    if (options.common.json) {
        auto report = JsonSuccess("info", options.file);
        report["tree"] = JsonOfTree(lines);
        PrintJson(report);
    } else {
        PrintTree(lines);
    }
}

// Nothing where no source is named.
std::optional<Secret<wchar_t>> CheckNamedPassword(const InfoOptions& options,
                                                  const std::vector<std::uint8_t>& bytes) {
    if (!options.password.IsNamed()) {
        return std::nullopt;
    }
    CheckContentIterations(bytes, options.common);
    return CheckPassword(bytes, options.file, options.password, options.common);
}

bool HasEncryptedContent(const DocumentOutline& outline) {
    return std::ranges::any_of(outline.parts, [](const PartOutline& part) {
        return part.kind == PartKind::kEncryptedContent;
    });
}

}  // namespace

void RunInfo(const InfoOptions& options) {
    const auto bytes = ReadDocument(options.file);
    const auto password = CheckNamedPassword(options, bytes);
    if (options.tree) {
        PrintTreeReport(options, TreeOf(bytes));
        return;
    }
    const DocumentOutline outline = OutlineDocument(bytes);
    const auto contents = password && HasEncryptedContent(outline)
                              ? DescribeContents(bytes, *password)
                              : DescribeKeys(bytes);
    const DocumentRemarks remarks = FindRemarks(bytes);
    if (options.common.json) {
        PrintJsonOutline(options, outline, contents, remarks);
    } else {
        PrintTextOutline(options, outline, contents, remarks);
    }
}

}  // namespace mvlpfx
