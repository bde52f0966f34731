#include <algorithm>
#include <cstdio>
#include <iterator>

#include "mvlpfx/certificate_walk.h"
#include "mvlpfx/commands.h"
#include "mvlpfx/container_names.h"
#include "mvlpfx/document_file.h"
#include "mvlpfx/handles.h"
#include "mvlpfx/interruption.h"
#include "mvlpfx/mvlpfx.h"
#include "mvlpfx/password_check.h"
#include "mvlpfx/report.h"
#include "mvlpfx/restore_error.h"
#include "mvlpfx/restore_preview.h"
#include "mvlpfx/spinner.h"

namespace mvlpfx {

namespace {

std::vector<std::string> NewContainers(const std::vector<std::string>& before,
                                       const std::vector<std::string>& after) {
    std::vector<std::string> made;
    std::ranges::set_difference(after, before, std::back_inserter(made));
    return made;
}

// A key may go to the machine though only the user's containers were asked for.
std::vector<std::string> AllContainers() {
    std::vector<std::string> names = ContainerNames(false);
    for (const std::string& name : ContainerNames(true)) {
        names.push_back(name + " (machine)");
    }
    std::ranges::sort(names);
    return names;
}

DWORD FlagsOf(const RestoreOptions& options) {
    return (options.exportable ? CRYPT_EXPORTABLE : 0) |
           (options.machine ? CRYPT_MACHINE_KEYSET : 0);
}

// The first that a restore asks of a document, and without the password.
void RequirePfx(std::vector<std::uint8_t>* document) {
    CRYPT_DATA_BLOB blob{static_cast<DWORD>(document->size()), document->data()};
    if (PFXIsPFXBlob(&blob) == FALSE) {
        ThrowRestoreError(static_cast<DWORD>(NTE_BAD_DATA), *document);
    }
}

OwnedStore Restore(const RestoreOptions& options, std::vector<std::uint8_t>* document,
                   const Secret<wchar_t>& password, DWORD* error) {
    const PfxBlob blob{static_cast<DWORD>(document->size()), document->data()};
    const auto restore = options.keysOnly ? UzRestorePFX : UzRestorePFXToSystemStorage;
    OwnedStore store;
    UzSetImportPfxControlFlags(options.pinFromPassword ? 1 : 0);
    RunWithSpinner(
        [&] {
            store = OwnedStore(restore(&blob, password.Text().c_str(), FlagsOf(options)));
            *error = GetLastError();
        },
        options.common.quiet);
    return store;
}

// The system stores that hold the certificate. One that can't be opened holds none.
nlohmann::ordered_json PlacesOf(PCCERT_CONTEXT certificate, bool machine) {
    auto places = nlohmann::ordered_json::array();
    for (const char* const name : {"MY", "CA", "ROOT"}) {
        const OwnedStore store = TryOpenSystemStore(name, machine);
        if (!store) {
            continue;
        }
        const OwnedCertificate found(CertFindCertificateInStore(
            store.Get(), X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, certificate, nullptr));
        if (found) {
            places.push_back(name);
        }
    }
    return places;
}

nlohmann::ordered_json Describe(HCERTSTORE store, const RestoreOptions& options) {
    auto rows = nlohmann::ordered_json::array();
    ForEachCertificate(store, "memory", [&](PCCERT_CONTEXT certificate) {
        nlohmann::ordered_json row{{"thumbprint", Thumbprint(certificate)},
                                   {"subject", SubjectText(certificate)},
                                   {"hasKey", !KeyProvInfo(certificate).empty()}};
        if (!options.keysOnly) {
            row["stores"] = PlacesOf(certificate, options.machine);
        }
        rows.push_back(std::move(row));
    });
    return rows;
}

nlohmann::ordered_json Facts(const nlohmann::ordered_json& certificates,
                             const std::vector<std::string>& containers) {
    const auto tied = std::ranges::count_if(
        certificates, [](const auto& row) { return row["hasKey"].template get<bool>(); });
    return {{"containers", containers},
            {"certificates", certificates},
            {"keysWithoutCertificate", std::max<std::ptrdiff_t>(std::ssize(containers) - tied, 0)}};
}

// "MY, ROOT", or "-" for none.
std::string PlacesText(const nlohmann::ordered_json& certificate) {
    std::string text;
    for (const std::string place : certificate.value("stores", nlohmann::ordered_json::array())) {
        text += (text.empty() ? "" : ", ") + place;
    }
    return text.empty() ? "-" : text;
}

void PrintCertificates(const nlohmann::ordered_json& rows) {
    for (const auto& row : rows) {
        std::printf("certificate  %s  %-3s  %-8s  %s\n",
                    row["thumbprint"].get_ref<const std::string&>().c_str(),
                    row["hasKey"].get<bool>() ? "key" : "-", PlacesText(row).c_str(),
                    Printable(row["subject"]).c_str());
    }
}

void PrintFacts(const nlohmann::ordered_json& facts) {
    for (const auto& name : facts["containers"]) {
        std::printf("container    %s\n", Printable(name).c_str());
    }
    PrintCertificates(facts["certificates"]);
    const auto untied = facts["keysWithoutCertificate"].get<std::ptrdiff_t>();
    if (untied != 0) {
        std::printf("%td of the keys %s to none of the certificates\n", untied,
                    untied == 1 ? "belongs" : "belong");
    }
}

void Report(const RestoreOptions& options, const nlohmann::ordered_json& facts) {
    if (options.common.json) {
        auto report = JsonSuccess("restore", options.file);
        report.update(facts);
        PrintJson(report);
    } else if (IsTold(options.common.quiet)) {
        PrintFacts(facts);
    }
}

// What was restored is told of a failure too.
[[noreturn]] void ThrowPlacementError(const RestoreOptions& options, DWORD word,
                                      const nlohmann::ordered_json& facts) {
    if (!options.common.json) {
        PrintFacts(facts);
    }
    SetLastError(word);
    try {
        ThrowDocumentError(
            "the keys are restored, but not every certificate could be put into its store");
    } catch (ToolError& error) {
        error.facts = facts;
        throw;
    }
}

}  // namespace

void RunRestore(const RestoreOptions& options) {
    std::vector<std::uint8_t> document = ReadDocument(options.file);
    CheckRestorable(document, options.file, options.password, options.common);
    document = WithoutArmour(std::move(document));
    RequirePfx(&document);
    if (!options.dryRun) {
        // What keeps it from listing containers keeps a restore from making them.
        AllContainers();
    }
    const Secret<wchar_t> password =
        ReadPassword(options.password, "Password for " + options.file + ": ");
    if (options.dryRun) {
        PreviewRestore(options, document, password);
        return;
    }
    const std::vector<std::string> before = AllContainers();
    DWORD error = 0;
    // The module takes nothing back, so what it has begun is ended, and told, before a signal ends
    // the process.
    DeferSignals();
    const OwnedStore store = Restore(options, &document, password, &error);
    const std::vector<std::string> made = NewContainers(before, AllContainers());
    if (!store) {
        ThrowRestoreError(error, document, {made, ContainerFolder(options.machine)});
    }
    const nlohmann::ordered_json facts = Facts(Describe(store.Get(), options), made);
    if (!options.keysOnly && error != 0) {
        ThrowPlacementError(options, error, facts);
    }
    Report(options, facts);
}

}  // namespace mvlpfx
