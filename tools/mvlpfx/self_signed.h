// Certificates that a key signs for itself.
#pragma once

#include <string>
#include <vector>

#include "mvlpfx/handles.h"

namespace mvlpfx {

// What a certificate says besides its key.
struct CertificateContent {
    // DER, of subject and issuer alike.
    std::vector<BYTE> name;
    SYSTEMTIME end;
    CERT_EXTENSIONS extensions;
};

// A certificate for the key in the signature slot of the context's container, valid from now on and
// tied to that key. Throws ToolError.
OwnedCertificate SignOwnCertificate(HCRYPTPROV context, CertificateContent content);

}  // namespace mvlpfx
