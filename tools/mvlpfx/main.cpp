#include <sys/prctl.h>
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <new>

#include "mvlpfx/commands.h"
#include "mvlpfx/report.h"

namespace {

using mvlpfx::ExitCode;

// A password in memory must not end in a core file.
void ForbidCoreFiles() {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    prctl(PR_SET_DUMPABLE, 0);
}

void AddCommonOptions(CLI::App* command, mvlpfx::CommonOptions* options) {
    command->add_flag("--json", options->json, "Report as one line of JSON");
    command->add_flag("--quiet", options->quiet, "Print nothing on success");
    command
        ->add_option("--max-iterations", options->maxIterations,
                     "Refuse documents that ask for more derivation iterations in all")
        ->capture_default_str();
}

void AddPasswordOptions(CLI::App* command, mvlpfx::PasswordOptions* options,
                        const std::string& description) {
    auto* sources = command->add_option_group("Password", description);
    sources->add_option("--pass-file", options->file, "First line of this file");
    sources->add_option("--pass-fd", options->descriptor, "First line of this open descriptor");
    sources->add_option("--pass-env", options->environment, "Value of this environment variable");
    sources->add_flag("--pass-stdin", options->standardInput, "First line of standard input");
    sources->require_option(0, 1);
}

int Fail(const std::string& command, const std::string& subject, const mvlpfx::ToolError& error,
         bool json) {
    mvlpfx::PrintFailure(command, subject, error, json);
    return static_cast<int>(error.exitCode);
}

template <typename Options>
int Run(const std::string& command, void (*run)(const Options&), const Options& options) {
    try {
        run(options);
        return static_cast<int>(ExitCode::kDone);
    } catch (const mvlpfx::ToolError& error) {
        return Fail(command, options.file, error, options.common.json);
    } catch (const std::bad_alloc&) {
        return Fail(command, options.file, {ExitCode::kOther, "out of memory"},
                    options.common.json);
    } catch (const std::exception& error) {
        return Fail(command, options.file, {ExitCode::kOther, error.what()}, options.common.json);
    }
}

}  // namespace

int main(int argc, char** argv) {
    ForbidCoreFiles();
    CLI::App app("Makes, looks at, verifies and restores PFX documents with GOST keys.", "mvlpfx");
    app.require_subcommand(1);
    app.footer(
        "Exit codes: 0 done, 1 other failure, 2 usage, 3 wrong password, 4 malformed document,\n"
        "5 unsupported algorithm, 6 more iterations than allowed, 7 file can't be read or "
        "written,\n"
        "8 provider or container, 9 exists already.");

    mvlpfx::InfoOptions info;
    auto* infoCommand = app.add_subcommand("info", "Show what a document holds");
    infoCommand->add_option("FILE", info.file, "The document, or - for standard input")->required();
    infoCommand->footer("Example: mvlpfx info backup.pfx");
    infoCommand->add_flag("--tree", info.tree, "Show every element, with its offset");
    AddCommonOptions(infoCommand, &info.common);
    AddPasswordOptions(infoCommand, &info.password,
                       "One source of a password to check; it is not asked for");

    mvlpfx::VerifyOptions verify;
    auto* verifyCommand = app.add_subcommand("verify", "Check a password against a document");
    verifyCommand->add_option("FILE", verify.file, "The document, or - for standard input")
        ->required();
    verifyCommand->footer("Example: mvlpfx verify backup.pfx --pass-file password.txt");
    AddCommonOptions(verifyCommand, &verify.common);
    AddPasswordOptions(verifyCommand, &verify.password,
                       "One source; without any it is asked for on the terminal");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : static_cast<int>(ExitCode::kUsage);
    }
    return *infoCommand ? Run("info", mvlpfx::RunInfo, info)
                        : Run("verify", mvlpfx::RunVerify, verify);
}
