// The subcommands: each takes its parsed options, writes data to standard output, and throws
// ToolError for everything else.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "mvlpfx/exit_codes.h"
#include "mvlpfx/password_source.h"

namespace mvlpfx {

// What every subcommand takes.
struct CommonOptions {
    bool json = false;
    bool quiet = false;
    std::uint64_t maxIterations = 10'000'000;  // in all derivations of the command together
};

struct InfoOptions {
    CommonOptions common;
    std::string file;
    // Checked where a source is named; never asked for.
    PasswordOptions password;
    bool tree = false;
};

struct VerifyOptions {
    CommonOptions common;
    std::string file;
    PasswordOptions password;
};

struct NewOptions {
    CommonOptions common;
    std::string subject;
    std::string algorithm = "gost2012-256";
    std::string curve;  // dotted; empty for the algorithm's usual one
    unsigned days = 365;
    std::string container;  // empty for a name of its own
    PinOptions pin;
    bool exportable = false;
    bool machine = false;
};

struct KeysOptions {
    CommonOptions common;
    bool machine = false;
    std::string name;  // of the container to delete
};

struct CertsOptions {
    CommonOptions common;
    std::string store = "MY";
    bool machine = false;
    std::string file;        // to add
    std::string thumbprint;  // of the certificate to delete
};

struct CreateOptions {
    CommonOptions common;
    std::string output;
    // Which certificates of "MY"; all where nothing is named.
    std::vector<std::string> subjects;
    std::vector<std::string> thumbprints;
    std::vector<std::string> containers;
    bool chain = false;
    bool names = false;
    bool pem = false;
    bool force = false;
    bool allowMissingKeys = false;
    bool machine = false;
    PinOptions pin;
    PasswordOptions password;
};

struct RestoreOptions {
    CommonOptions common;
    std::string file;
    bool exportable = false;
    bool machine = false;
    bool keysOnly = false;
    bool pinFromPassword = false;
    bool dryRun = false;
    PasswordOptions password;
};

struct RegistrationOptions {
    CommonOptions common;
};

// Makes a document of certificates of "MY" and their keys.
void RunCreate(const CreateOptions& options);

// Restores a document's keys into containers and, unless only they are wanted, its certificates
// into the system stores.
void RunRestore(const RestoreOptions& options);

// Makes a key in a new container and a certificate that it signs itself, tied to it in "MY".
void RunNew(const NewOptions& options);

// Lists the rest too where files are no readable containers, before it throws.
void RunListKeys(const KeysOptions& options);
// Deletes a container with its keys, for good. Certificates stay.
void RunDeleteKey(const KeysOptions& options);

void RunListCerts(const CertsOptions& options);
// Adds the certificates of a file, PEM or DER; those that are there already stay as they are.
void RunAddCerts(const CertsOptions& options);
void RunDeleteCert(const CertsOptions& options);

// Shows a document's outline and its keys' names, with a password its certificates too; or its
// every element.
void RunInfo(const InfoOptions& options);

// Checks the password against the document's integrity value.
void RunVerify(const VerifyOptions& options);

// Enters the module's functions in the machine's table of OID functions.
void RunRegister(const RegistrationOptions& options);
// Asks the module to take its functions out, which leaves those that RunRegister entered.
void RunUnregister(const RegistrationOptions& options);

}  // namespace mvlpfx
