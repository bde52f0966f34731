#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "mvlpfx/commands.h"
#include "mvlpfx/interruption.h"
#include "mvlpfx/process.h"
#include "mvlpfx/report.h"

namespace {

using mvlpfx::ExitCode;

void AddCommonOptions(CLI::App* command, mvlpfx::CommonOptions* options) {
    command->add_flag("--json", options->json, "Report as one line of JSON");
    command->add_flag("--quiet", options->quiet, "Print nothing but lists and errors");
    command
        ->add_option("--max-iterations", options->maxIterations,
                     "Refuse documents that would take the command more iterations in all")
        ->capture_default_str();
}

void AddPasswordOptions(CLI::App* command, mvlpfx::PasswordOptions* options,
                        const std::string& description) {
    auto* sources = command->add_option_group("Password", description);
    sources->add_option("--pass-file", options->file, "First line of this file");
    sources->add_option("--pass-fd", options->descriptor, "First line of this open descriptor")
        ->check(CLI::Range(0, std::numeric_limits<int>::max()));
    sources->add_option("--pass-env", options->environment, "Value of this environment variable");
    sources->add_flag("--pass-stdin", options->standardInput, "First line of standard input");
    sources->require_option(0, 1);
}

void AddPinOptions(CLI::App* command, mvlpfx::PinOptions* options, const std::string& description) {
    auto* sources = command->add_option_group("PIN", description);
    sources->add_option("--pin-file", options->file, "First line of this file");
    sources->add_option("--pin-fd", options->descriptor, "First line of this open descriptor")
        ->check(CLI::Range(0, std::numeric_limits<int>::max()));
    sources->add_option("--pin-env", options->environment, "Value of this environment variable");
    sources->require_option(0, 1);
}

std::string HelpAdvice(const std::string& command) {
    return "'mvlpfx" + (command.empty() ? "" : " " + command) + " --help' shows what there is";
}

// What was printed may have met a full disk or a closed pipe.
bool IsOutputLost() {
    return std::fflush(stdout) != 0 || std::ferror(stdout) != 0;
}

void RequireOutput() {
    if (IsOutputLost()) {
        throw mvlpfx::ToolError(
            ExitCode::kFile, std::string("can't write to standard output: ") + std::strerror(errno),
            0, "the command itself is done; look at where its output goes");
    }
}

// In text where a report in JSON can't be written. What was printed before stands before it where
// both go to one place.
void TellFailure(const std::string& command, const std::string& subject,
                 const mvlpfx::ToolError& error, bool json) {
    const bool inJson = json && !IsOutputLost();
    std::fflush(stdout);
    mvlpfx::PrintFailure(command, subject, error, inJson);
    if (inJson && IsOutputLost()) {
        mvlpfx::PrintFailure(command, subject, error, false);
    }
}

// `subject` is the file or object that the command is about.
template <typename Options, typename Command>
int Run(const std::string& command, const std::string& subject, Command run,
        const Options& options) {
    const auto fail = [&](mvlpfx::ToolError error) {
        if (error.exitCode == ExitCode::kUsage && error.advice.empty()) {
            error.advice = HelpAdvice(command);
        }
        TellFailure(command, subject, error, options.common.json);
        return static_cast<int>(error.exitCode);
    };
    try {
        run(options);
        RequireOutput();
        return static_cast<int>(ExitCode::kDone);
    } catch (const mvlpfx::ToolError& error) {
        return fail(error);
    } catch (const mvlpfx::Interrupted& interrupted) {
        // What is left to do is to end by that signal.
        constexpr int kOfSignals = 128;
        return kOfSignals + interrupted.signal;
    } catch (const std::bad_alloc&) {
        return fail({ExitCode::kOther, "out of memory"});
    } catch (const std::exception& error) {
        return fail({ExitCode::kOther, error.what()});
    }
}

// What the subcommand that the command line names will do.
using Runner = std::function<int()>;

void AddInfo(CLI::App* app, Runner* runner) {
    auto options = std::make_shared<mvlpfx::InfoOptions>();
    auto* command = app->add_subcommand("info", "Show what a document holds");
    command->add_option("FILE", options->file, "The document, or - for standard input")->required();
    command->footer("Example: mvlpfx info backup.pfx");
    command->add_flag("--tree", options->tree, "Show every element, with its offset");
    AddCommonOptions(command, &options->common);
    AddPasswordOptions(command, &options->password,
                       "One source of a password to check; it is not asked for");
    command->callback(
        [=] { *runner = [=] { return Run("info", options->file, mvlpfx::RunInfo, *options); }; });
}

void AddVerify(CLI::App* app, Runner* runner) {
    auto options = std::make_shared<mvlpfx::VerifyOptions>();
    auto* command = app->add_subcommand("verify", "Check a password against a document");
    command->add_option("FILE", options->file, "The document, or - for standard input")->required();
    command->footer("Example: mvlpfx verify backup.pfx --pass-file password.txt");
    AddCommonOptions(command, &options->common);
    AddPasswordOptions(command, &options->password,
                       "One source; without any it is asked for on the terminal");
    command->callback([=] {
        *runner = [=] { return Run("verify", options->file, mvlpfx::RunVerify, *options); };
    });
}

void AddNew(CLI::App* app, Runner* runner) {
    auto options = std::make_shared<mvlpfx::NewOptions>();
    auto* command =
        app->add_subcommand("new", "Make a key in a new container and a self-signed certificate");
    command->add_option("--subject", options->subject, "The certificate's name")->required();
    command->add_option("--algorithm", options->algorithm, "gost2001, gost2012-256 or gost2012-512")
        ->capture_default_str();
    command->add_option("--curve", options->curve, "Identifier of the curve, dotted");
    constexpr unsigned kLongestValidity = 36'500;
    command->add_option("--days", options->days, "Validity of the certificate")
        ->capture_default_str()
        ->check(CLI::Range(1U, kLongestValidity));
    command->add_option("--container", options->container, "Its name; without, a random one");
    command->add_flag("--exportable", options->exportable, "Let the key leave its container");
    command->add_flag("--machine", options->machine, "For the machine, not for the user");
    command->footer("Example: mvlpfx new --subject 'CN=Ivan Petrov, C=RU' --exportable");
    AddPinOptions(command, &options->pin, "One source of a PIN for the container; none sets none");
    AddCommonOptions(command, &options->common);
    command->callback([=] {
        *runner = [=] { return Run("new", options->container, mvlpfx::RunNew, *options); };
    });
}

void AddCreate(CLI::App* app, Runner* runner) {
    auto options = std::make_shared<mvlpfx::CreateOptions>();
    auto* command =
        app->add_subcommand("create", "Make a document of certificates of MY and their keys");
    command->add_option("-o,--output", options->output, "The document")->required();
    auto* selection = command->add_option_group(
        "Certificates", "Which ones of MY; any that one of these names, and all without");
    selection->add_option("--subject", options->subjects, "With this text in their subject");
    selection->add_option("--thumbprint", options->thumbprints, "With this SHA-1");
    selection->add_option("--container", options->containers, "With a key in this container");
    command->add_flag("--chain", options->chain, "Take their issuers along from CA and ROOT");
    command->add_flag("--names", options->names, "Write the names of provider and containers");
    command->add_flag("--pem", options->pem, "As text");
    command->add_flag("--force", options->force, "Replace a file that is there");
    command->add_flag("--allow-missing-keys", options->allowMissingKeys,
                      "Leave out keys that can't be reached");
    command->add_flag("--machine", options->machine,
                      "Take the machine's certificates and keys, not the user's");
    command->footer("Example: mvlpfx create -o backup.pfx --chain --pass-file password.txt");
    AddPinOptions(command, &options->pin, "One source of the PIN of containers that have one");
    AddPasswordOptions(command, &options->password,
                       "One source; without any it is asked for on the terminal, twice");
    AddCommonOptions(command, &options->common);
    command->callback([=] {
        *runner = [=] { return Run("create", options->output, mvlpfx::RunCreate, *options); };
    });
}

void AddRestore(CLI::App* app, Runner* runner) {
    auto options = std::make_shared<mvlpfx::RestoreOptions>();
    auto* command = app->add_subcommand("restore", "Restore a document's keys and certificates");
    command->add_option("FILE", options->file, "The document, or - for standard input")->required();
    command->add_flag("--exportable", options->exportable, "Let the keys leave their containers");
    command->add_flag("--machine", options->machine, "For the machine, not for the user");
    command->add_flag("--keys-only", options->keysOnly, "Leave the system stores alone");
    command->add_flag("--pin-from-password", options->pinFromPassword,
                      "Make the password the PIN of the new containers");
    command->add_flag("--dry-run", options->dryRun, "Show what would be restored, write nothing");
    command->footer("Example: mvlpfx restore backup.pfx --pass-file password.txt");
    AddPasswordOptions(command, &options->password,
                       "One source; without any it is asked for on the terminal");
    AddCommonOptions(command, &options->common);
    command->callback([=] {
        *runner = [=] { return Run("restore", options->file, mvlpfx::RunRestore, *options); };
    });
}

void AddKeys(CLI::App* app, Runner* runner) {
    auto options = std::make_shared<mvlpfx::KeysOptions>();
    auto* command = app->add_subcommand("keys", "List key containers, or delete one");
    command->require_subcommand(0, 1);
    command->footer(
        "Examples: mvlpfx keys\n"
        "          mvlpfx keys delete 'old key'");
    auto* list = command->add_subcommand("list", "One line for each key");
    auto* remove = command->add_subcommand("delete", "Delete a container with its keys, for good");
    remove->add_option("NAME", options->name, "The container")->required();
    for (CLI::App* const each : {command, list, remove}) {
        each->add_flag("--machine", options->machine, "Those of the machine, not the user's");
        AddCommonOptions(each, &options->common);
    }
    command->callback([=] {
        *runner = [=] {
            return *remove ? Run("keys", options->name, mvlpfx::RunDeleteKey, *options)
                           : Run("keys", "", mvlpfx::RunListKeys, *options);
        };
    });
}

void AddStoreOptions(CLI::App* command, mvlpfx::CertsOptions* options) {
    command->add_option("--store", options->store, "MY, CA or ROOT")
        ->capture_default_str()
        ->check([](const std::string& name) {
            const bool isKnown = name == "MY" || name == "CA" || name == "ROOT";
            return isKnown ? "" : "'" + name + "' is no store: MY, CA or ROOT";
        });
    command->add_flag("--machine", options->machine, "The machine's, not the user's");
}

void AddCerts(CLI::App* app, Runner* runner) {
    auto options = std::make_shared<mvlpfx::CertsOptions>();
    auto* command = app->add_subcommand("certs", "List, add or delete certificates of a store");
    command->require_subcommand(0, 1);
    command->footer(
        "Examples: mvlpfx certs\n"
        "          mvlpfx certs add issuer.pem --store CA\n"
        "          mvlpfx certs delete 47af3ed914d70d31be5c4ab8584b9cb8124fe313");
    auto* list = command->add_subcommand("list", "One line for each certificate");
    auto* add = command->add_subcommand("add", "Add the certificates of a file");
    add->add_option("FILE", options->file, "DER, PEM or base64, or - for standard input")
        ->required();
    auto* remove = command->add_subcommand("delete", "Delete a certificate");
    remove->add_option("THUMBPRINT", options->thumbprint, "Its SHA-1")->required();
    for (CLI::App* const each : {command, list, add, remove}) {
        AddStoreOptions(each, options.get());
        AddCommonOptions(each, &options->common);
    }
    command->callback([=] {
        *runner = [=] {
            return *add      ? Run("certs", options->file, mvlpfx::RunAddCerts, *options)
                   : *remove ? Run("certs", options->thumbprint, mvlpfx::RunDeleteCert, *options)
                             : Run("certs", options->store, mvlpfx::RunListCerts, *options);
        };
    });
}

void AddRegistration(CLI::App* app, Runner* runner) {
    const auto add = [=](const char* name, const char* description, auto run) {
        auto options = std::make_shared<mvlpfx::CommonOptions>();
        auto* command = app->add_subcommand(name, description);
        command->footer(std::string("Example: mvlpfx ") + name);
        AddCommonOptions(command, options.get());
        command->callback([=] {
            *runner = [=] { return Run(name, "", run, mvlpfx::RegistrationOptions{*options}); };
        });
    };
    add("register", "Let programs find the module's functions by OID", mvlpfx::RunRegister);
    add("unregister", "Undo what undoing takes back; what register entered stays",
        mvlpfx::RunUnregister);
}

bool AsksForJson(const std::vector<std::string>& arguments) {
    return std::ranges::count(arguments, "--json") != 0;
}

// "help keys delete" is "keys delete --help".
std::vector<std::string> WithHelpAsOption(std::vector<std::string> arguments) {
    if (!arguments.empty() && arguments[0] == "help") {
        std::erase(arguments, "help");
        arguments.emplace_back("--help");
    }
    return arguments;
}

bool IsSubcommand(const CLI::App& app, const std::string& word) {
    return !app.get_subcommands(
                   [&](const CLI::App* command) { return command->get_name() == word; })
                .empty();
}

// The word in the place of a subcommand that is none; empty where there is no such.
std::string UnknownCommand(const CLI::App& app, const std::vector<std::string>& arguments) {
    const auto word = std::ranges::find_if(
        arguments, [](const std::string& argument) { return !argument.starts_with('-'); });
    return word == arguments.end() || IsSubcommand(app, *word) ? "" : *word;
}

// The parser misses a subcommand before it says what it met in its place.
std::string WrongUsage(const CLI::App& app, const CLI::ParseError& error,
                       const std::vector<std::string>& arguments) {
    const std::string unknown = UnknownCommand(app, arguments);
    if (!unknown.empty()) {
        return "there is no command '" + unknown + "'";
    }
    const auto option = std::ranges::find_if(
        arguments, [](const std::string& argument) { return argument != "--json"; });
    const bool isOptionAlone = option != arguments.end() && app.get_subcommands().empty();
    return isOptionAlone ? "there is no option '" + *option + "' without a command" : error.what();
}

// Wrong usage, told as --json asks wherever it stands.
int FailToParse(const CLI::App& app, const CLI::ParseError& error,
                const std::vector<std::string>& arguments) {
    const bool isNamed = !arguments.empty() && IsSubcommand(app, arguments[0]);
    const std::string command = isNamed ? arguments[0] : "";
    const mvlpfx::ToolError usage(ExitCode::kUsage, WrongUsage(app, error, arguments), 0,
                                  HelpAdvice(command));
    TellFailure(command, "", usage, AsksForJson(arguments));
    return static_cast<int>(ExitCode::kUsage);
}

// For help or the version, without a subcommand.
struct Question {
    mvlpfx::CommonOptions common;
};

void PrintVersion(bool json) {
    if (json) {
        auto report = mvlpfx::JsonSuccess("", "");
        report["version"] = MVLPFX_VERSION;
        mvlpfx::PrintJson(report);
    } else {
        std::puts("mvlpfx " MVLPFX_VERSION);
    }
}

// What ends the parsing: wrong usage, or a question that is answered at once.
int EndParsing(const CLI::App& app, const CLI::ParseError& error,
               const std::vector<std::string>& arguments) {
    if (error.get_exit_code() != 0 || !UnknownCommand(app, arguments).empty()) {
        return FailToParse(app, error, arguments);
    }
    const bool asksForVersion = dynamic_cast<const CLI::CallForVersion*>(&error) != nullptr;
    Question question;
    question.common.json = asksForVersion && AsksForJson(arguments);
    const auto answer = [&](const Question& asked) {
        if (asksForVersion) {
            PrintVersion(asked.common.json);
        } else {
            app.exit(error);
        }
    };
    return Run("", "", answer, question);
}

}  // namespace

int main(int argc, char** argv) {
    mvlpfx::PrepareProcess();
    CLI::App app("Makes, looks at, verifies and restores PFX documents with GOST keys.", "mvlpfx");
    app.require_subcommand(1);
    app.set_version_flag("--version", MVLPFX_VERSION, "Print the version, with --json as JSON");
    app.footer(
        "Exit codes: 0 done, 1 other failure, 2 usage, 3 wrong password, 4 malformed document,\n"
        "5 unsupported algorithm, 6 more iterations than allowed, 7 file can't be read or "
        "written,\n"
        "8 provider or container, or a certificate to delete that is not there, 9 exists already;\n"
        "128 and the number of the signal that ended it.");
    Runner runner;
    AddNew(&app, &runner);
    AddKeys(&app, &runner);
    AddCerts(&app, &runner);
    AddCreate(&app, &runner);
    AddInfo(&app, &runner);
    AddVerify(&app, &runner);
    AddRestore(&app, &runner);
    AddRegistration(&app, &runner);
    const std::vector<std::string> arguments = WithHelpAsOption({argv + 1, argv + argc});
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& error) {
        return EndParsing(app, error, arguments);
    }
    const int code = runner();
    mvlpfx::DeliverSignals();
    return code;
}
