// Restored certificates in the system stores.
#pragma once

#include <cstdint>

#include "platform/cryptoapi.h"

namespace pkisdk {

// Places every certificate of `source` that is tied to a key, with the issuers above it that
// `source` holds. A failure does not stop the walk; the last error is that of the last chain, and
// as it was where there is none. Answers 1.
int PlaceCertsInSystemStores(HCERTSTORE source, std::uint32_t flags);

// Puts `certificate` into "MY", where it replaces one that is there, the issuers above it that have
// an issuer in `source` themselves into "CA", and the last one into "ROOT", whatever it is; of user
// or, with CRYPT_MACHINE_KEYSET among `flags`, machine. Nothing above the certificate leaves "CA"
// and "ROOT" alone. Issuers that lead back to one another go to "CA" once each. Answers 1 with last
// error 0, or 0 with NTE_BAD_DATA for a null argument, NTE_FAIL for a store that can't be opened;
// the certificate stays in "MY" where only the others could not. Certificates that are refused are
// not told of.
int PlaceCertChainInSystemStores(PCCERT_CONTEXT certificate, HCERTSTORE source,
                                 std::uint32_t flags);

}  // namespace pkisdk
