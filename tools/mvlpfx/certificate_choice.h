// Which certificates of "MY" a document is made of.
#pragma once

#include "mvlpfx/commands.h"
#include "mvlpfx/handles.h"

namespace mvlpfx {

// The certificate of the store, where it puts a copy or has one already. Throws ToolError.
OwnedCertificate AddTo(HCERTSTORE store, PCCERT_CONTEXT certificate);

// The name, as people know it, of the container that the certificate records for its key, or as it
// is recorded where the container can't be opened; empty where none is recorded.
std::string KnownContainerOf(PCCERT_CONTEXT certificate);

// A certificate, and the container of its key unless that is empty, in a line of text.
std::string CertificateLine(const std::string& thumbprint, const std::string& subject,
                            const std::string& container);

// The chosen certificates, with their issuers where these are asked for, in a store in memory. For
// a named container that none of "MY" has its key in, the one that lies beside its key. Throws
// ToolError: kOther where none is meant, and what containers and stores throw.
OwnedStore GatherCertificates(const CreateOptions& options);

}  // namespace mvlpfx
