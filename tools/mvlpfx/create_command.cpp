#include <cstdio>

#include "mvlpfx/certificate_choice.h"
#include "mvlpfx/commands.h"
#include "mvlpfx/document_file.h"
#include "mvlpfx/document_maker.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/keyless_certificates.h"
#include "mvlpfx/output_file.h"
#include "mvlpfx/report.h"
#include "mvlpfx/spinner.h"

namespace mvlpfx {

namespace {

void Report(const CreateOptions& options, const Contents& contents) {
    if (options.common.json) {
        auto report = JsonSuccess("create", options.output);
        report["keys"] = contents.keys;
        report["certificates"] = contents.certificates;
        report["withoutKey"] = JsonOf(contents.keyless);
        PrintJson(report);
    } else if (IsTold(options.common.quiet)) {
        std::printf("%s: %s, %s\n", Printable(options.output).c_str(),
                    CountText(contents.keys, "key").c_str(),
                    CountText(contents.certificates, "certificate").c_str());
        for (const Keyless& one : contents.keyless) {
            std::printf("left out the key of %s\n", Printable(LineOf(one)).c_str());
        }
    }
}

std::vector<std::uint8_t> CreateWithSpinner(const CreateOptions& options, HCERTSTORE store,
                                            const Secret<wchar_t>& password) {
    std::vector<std::uint8_t> document;
    RunWithSpinner([&] { document = MakeDocument(store, password, options.names); },
                   options.common.quiet);
    return document;
}

// The document, and what is in it; throws where keys are lacking that may not be.
std::vector<std::uint8_t> CreateWhole(const CreateOptions& options, HCERTSTORE store,
                                      const Secret<wchar_t>& password, Contents* contents) {
    std::vector<std::uint8_t> document = CreateWithSpinner(options, store, password);
    *contents = CompareWith(store, document);
    if (!contents->keyless.empty() && !options.allowMissingKeys) {
        ThrowMissingKeys(*contents);
    }
    return document;
}

// A person is not asked for a password of a document that can't be made under any.
void RequireCreatable(const CreateOptions& options, HCERTSTORE store) {
    Contents contents;
    CreateWhole(options, store, AnyPassword(), &contents);
}

}  // namespace

void RunCreate(const CreateOptions& options) {
    // Where a document is read it stands for standard input.
    if (options.output == "-") {
        throw ToolError(ExitCode::kUsage, "a document is written to a file, not to standard output",
                        0, "name a file; './-' is one of that name");
    }
    const OwnedStore store = GatherCertificates(options);
    if (options.pin.IsNamed()) {
        GivePinWhereAsked(store.Get(), ReadPin(options.pin));
    }
    RequireWritable(options.output, options.force);
    if (!options.password.IsNamed()) {
        RequireCreatable(options, store.Get());
    }
    const Secret<wchar_t> password =
        ReadNewPassword(options.password, "Password for the document: ");
    Contents contents;
    std::vector<std::uint8_t> document = CreateWhole(options, store.Get(), password, &contents);
    if (!contents.keyless.empty()) {
        ForgetMissingKeys(store.Get(), document);
        document = CreateWithSpinner(options, store.Get(), password);
    }
    if (options.pem) {
        document = PemOf(document, "PKCS12");
    }
    WriteOutputFile(options.output, document, options.force);
    Report(options, contents);
}

}  // namespace mvlpfx
