#include <cstdio>

#include "mvlpfx/commands.h"
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

void PrintJsonOutline(const InfoOptions& options, const DocumentOutline& outline) {
    auto report = JsonReport("info");
    report["subject"] = options.file;
    report["exitCode"] = 0;
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
        text += ", " + std::to_string(*encryption.iterations) + " iterations";
    }
    if (encryption.saltLength) {
        text += ", salt of " + std::to_string(*encryption.saltLength) + " bytes";
    }
    return text;
}

void PrintTextOutline(const InfoOptions& options, const DocumentOutline& outline) {
    std::printf("version:   %llu\n", static_cast<unsigned long long>(outline.version));
    if (outline.mac.present) {
        std::printf("integrity: %s%s, %llu iterations, salt of %u bytes, value of %u bytes\n",
                    outline.mac.digestName.c_str(),
                    outline.mac.digestKnown ? "" : " (unknown to the provider)",
                    static_cast<unsigned long long>(outline.mac.iterations), outline.mac.saltLength,
                    outline.mac.macLength);
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
            std::printf("%s: %u bytes; %s\n", part.type.c_str(), part.length,
                        Sentence(part.encryption).c_str());
        }
    }
}

void PrintTreeReport(const InfoOptions& options, const std::vector<TreeLine>& lines) {
    if (options.common.json) {
        auto report = JsonReport("info");
        report["subject"] = options.file;
        report["exitCode"] = 0;
        report["tree"] = JsonOfTree(lines);
        PrintJson(report);
    } else {
        PrintTree(lines);
    }
}

}  // namespace

void RunInfo(const InfoOptions& options) {
    const auto bytes = ReadDocument(options.file);
    if (options.password.IsNamed()) {
        CheckPassword(bytes, options.file, options.password, options.common);
    }
    if (options.tree) {
        PrintTreeReport(options, TreeOf(bytes));
        return;
    }
    const DocumentOutline outline = OutlineDocument(bytes);
    if (options.common.json) {
        PrintJsonOutline(options, outline);
    } else {
        PrintTextOutline(options, outline);
    }
}

}  // namespace mvlpfx
