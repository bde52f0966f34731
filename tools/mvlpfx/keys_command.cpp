#include <cstdio>

#include "mvlpfx/commands.h"
#include "mvlpfx/container_names.h"
#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/handles.h"
#include "mvlpfx/interruption.h"
#include "mvlpfx/key_algorithms.h"
#include "mvlpfx/report.h"
#include "platform/csp_parameters.h"

namespace mvlpfx {

namespace {

DWORD NumberParameter(HCRYPTKEY key, DWORD parameter) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    RequireCall(CryptGetKeyParam(key, parameter, reinterpret_cast<BYTE*>(&value), &size, 0),
                "can't read a key's properties");
    return value;
}

// One row for each key of the container; a row without a key for an empty container.
nlohmann::ordered_json DescribeContainer(const std::string& name, bool machine) {
    OwnedContext context;
    RequireCall(AcquireContext(name.c_str(), 0, machine, &context),
                "can't open the container '" + name + "'");
    auto keys = nlohmann::ordered_json::array();
    for (const DWORD keySpec : {DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}}) {
        OwnedKey key;
        if (CryptGetUserKey(context.Get(), keySpec, key.Fill()) == FALSE) {
            continue;
        }
        nlohmann::ordered_json row{
            {"use", keySpec == AT_KEYEXCHANGE ? "exchange" : "signature"},
            {"algorithm", KeyAlgorithmName(NumberParameter(key.Get(), KP_ALGID))},
            {"exportable", (NumberParameter(key.Get(), KP_PERMISSIONS) & CRYPT_EXPORT) != 0}};
        const OwnedCertificate certificate = CertificateBeside(key.Get());
        if (certificate) {
            row["thumbprint"] = Thumbprint(certificate.Get());
            row["subject"] = SubjectText(certificate.Get());
        }
        keys.push_back(std::move(row));
    }
    return {{"container", name},
            {"uniqueName", TextParameter(context.Get(), PP_UNIQUE_CONTAINER)},
            {"keys", std::move(keys)}};
}

void PrintContainer(const nlohmann::ordered_json& container) {
    const std::string name = Printable(container["container"]);
    if (container["keys"].empty()) {
        std::printf("%-24s  empty\n", name.c_str());
    }
    for (const auto& key : container["keys"]) {
        std::printf("%-24s  %-9s  %-12s  %-14s  %s\n", name.c_str(),
                    key["use"].get_ref<const std::string&>().c_str(),
                    key["algorithm"].get_ref<const std::string&>().c_str(),
                    key["exportable"].get<bool>() ? "exportable" : "not exportable",
                    key.contains("subject") ? Printable(key["subject"]).c_str() : "-");
    }
}

}  // namespace

void RunListKeys(const KeysOptions& options) {
    OwnedContext context;
    RequireCall(AcquireContext(nullptr, CRYPT_VERIFYCONTEXT, options.machine, &context),
                "can't reach the provider");
    auto containers = nlohmann::ordered_json::array();
    for (const std::string& name : Enumerate(context.Get(), PP_ENUMCONTAINERS)) {
        containers.push_back(DescribeContainer(name, options.machine));
        if (!options.common.json) {
            PrintContainer(containers.back());
        }
    }
    const auto damaged = Enumerate(context.Get(), PP_ENUM_DAMAGED_CONTAINERS);
    nlohmann::ordered_json facts{{"containers", std::move(containers)}, {"damaged", damaged}};
    if (!damaged.empty()) {
        ToolError error(ExitCode::kProvider, "files among the containers can't be read as such", 0,
                        "make them yours and their mode 0600, put them back from a backup, or "
                        "remove them");
        error.lines = damaged;
        error.facts = std::move(facts);
        throw error;
    }
    if (options.common.json) {
        auto report = JsonSuccess("keys", "");
        report.update(facts);
        PrintJson(report);
    }
}

void RunDeleteKey(const KeysOptions& options) {
    DeferSignals();
    OwnedContext none;
    RequireCall(AcquireContext(options.name.c_str(), CRYPT_DELETEKEYSET, options.machine, &none),
                "can't delete the container '" + options.name + "'");
    if (options.common.json) {
        auto report = JsonSuccess("keys", options.name);
        report["deleted"] = options.name;
        PrintJson(report);
    }
}

}  // namespace mvlpfx
