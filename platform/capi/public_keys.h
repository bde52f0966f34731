// The public halves of keys in containers.
#pragma once

#include "capi/calls.h"
#include "capi/x509.h"

namespace capi {

// The octets of a value that is asked for twice, for its size and for itself.
template <typename Ask>
Bytes AskTwice(Ask ask) {
    DWORD size = 0;
    RequireCall(ask(nullptr, &size));
    Bytes value(size);
    RequireCall(ask(value.data(), &size));
    value.resize(size);
    return value;
}

// The encoded SubjectPublicKeyInfo of the key of the context's container: what stands behind the
// header of its PUBLICKEYBLOB. Throws ErrorWord with the provider's word, NTE_BAD_PUBLIC_KEY for a
// blob that is a header alone.
Bytes PublicKeyInfoOf(HCRYPTPROV provider, DWORD keySpec);

}  // namespace capi
