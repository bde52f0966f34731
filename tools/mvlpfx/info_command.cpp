#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

#include "mvlpfx/commands.h"
#include "mvlpfx/document_contents.h"
#include "mvlpfx/document_file.h"
#include "mvlpfx/document_outline.h"
#include "mvlpfx/password_check.h"
#include "mvlpfx/report.h"
#include "mvlpfx/tree_view.h"

namespace mvlpfx {

namespace {

const char* KindName(PartKind kind) {
    switch (kind) {
        case PartKind::kEncryptedContent:
            return "encryptedContent";
        case PartKind::kKeyBag:
            return "keyBag";
        case PartKind::kOtherBag:
            break;
    }
    return "bag";
}

nlohmann::ordered_json JsonOf(const EncryptionOutline& encryption) {
    nlohmann::ordered_json json{{"scheme", encryption.scheme}};
    const auto addText = [&json](const char* name, const std::string& text) {
        if (!text.empty()) {
            json[name] = text;
        }
    };
    addText("derivation", encryption.derivation);
    addText("prf", encryption.prf);
    addText("cipher", encryption.cipher);
    if (encryption.iterations) {
        json["iterations"] = *encryption.iterations;
    }
    if (encryption.saltLength) {
        json["saltLength"] = *encryption.saltLength;
    }
    return json;
}

nlohmann::ordered_json JsonOf(const PartOutline& part) {
    nlohmann::ordered_json json{{"kind", KindName(part.kind)}, {"type", part.type}};
    if (part.kind != PartKind::kOtherBag) {
        json["encryption"] = JsonOf(part.encryption);
        json["length"] = part.length;
    }
    return json;
}

void PrintJsonOutline(const InfoOptions& options, const DocumentOutline& outline,
                      const nlohmann::ordered_json& contents) {
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
        report["parts"].push_back(JsonOf(part));
    }
    report.update(contents);
    PrintJson(report);
}

std::string Sentence(const EncryptionOutline& encryption) {
    std::string text = encryption.scheme.empty() ? "no algorithm" : encryption.scheme;
    for (const std::string* name : {&encryption.derivation, &encryption.prf, &encryption.cipher}) {
        if (!name->empty()) {
            text += ", " + *name;
        }
    }
    if (encryption.iterations) {
        text += ", " + CountText(*encryption.iterations, "iteration");
    }
    if (encryption.saltLength) {
        text += ", salt of " + CountText(*encryption.saltLength, "byte");
    }
    return text;
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
    constexpr std::pair<const char*, const char*> kLists[] = {{"keys", "key"},
                                                              {"certificates", "certificate"}};
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
}

void PrintTextOutline(const InfoOptions& options, const DocumentOutline& outline,
                      const nlohmann::ordered_json& contents) {
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
        if (part.kind == PartKind::kOtherBag) {
            std::printf("%s\n", part.type.c_str());
        } else {
            std::printf("%s: %s; %s\n", part.type.c_str(), CountText(part.length, "byte").c_str(),
                        Sentence(part.encryption).c_str());
        }
    }
    PrintTextContents(contents);
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
    if (options.common.json) {
        PrintJsonOutline(options, outline, contents);
    } else {
        PrintTextOutline(options, outline, contents);
    }
}

}  // namespace mvlpfx
