#include "mvlpfx/part_report.h"

#include "mvlpfx/report.h"

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

std::string Sentence(const nlohmann::ordered_json& encryption) {
    const std::string scheme = encryption["scheme"];
    std::string text = scheme.empty() ? "no algorithm" : scheme;
    for (const char* const name : {"derivation", "prf", "cipher"}) {
        if (encryption.contains(name)) {
            text += ", " + encryption[name].get<std::string>();
        }
    }
    if (encryption.contains("iterations")) {
        text += ", " + CountText(encryption["iterations"], "iteration");
    }
    if (encryption.contains("saltLength")) {
        text += ", salt of " + CountText(encryption["saltLength"], "byte");
    }
    return text;
}

}  // namespace

nlohmann::ordered_json JsonOfPart(const PartOutline& part) {
    nlohmann::ordered_json json{{"kind", KindName(part.kind)}, {"type", part.type}};
    if (part.kind != PartKind::kOtherBag) {
        json["encryption"] = JsonOf(part.encryption);
        json["length"] = part.length;
    }
    if (!part.passedOver.empty()) {
        json["passedOver"] = part.passedOver;
    }
    return json;
}

std::string TextOfPart(const nlohmann::ordered_json& part) {
    std::string text = part["type"];
    if (part.contains("encryption")) {
        text += ": " + CountText(part["length"], "byte") + "; " + Sentence(part["encryption"]);
    }
    if (part.contains("passedOver")) {
        text += "; " + PassedOverText(part);
    }
    return text;
}

std::string PassedOverText(const nlohmann::ordered_json& row) {
    return "a restore passes over it: " + row["passedOver"].get<std::string>();
}

}  // namespace mvlpfx
