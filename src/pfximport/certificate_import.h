// The certificates of a document.
#pragma once

#include "derlist/der_list.h"
#include "platform/cryptoapi.h"

namespace pkisdk {

// Decrypts the first encrypted content of `document` under `password` (ANSI code page) and adds
// every certificate in it to `store`; one that is there already stays as it is, and a bag without a
// certificate that the platform can decode is passed over. Before that `*certificates`, which may
// be null, takes the decrypted content. Certificates in a content that is not encrypted are not
// looked for. Answers 1 with last error 0; or 0 with
//   NTE_BAD_DATA           no encrypted content, or no store
//   CRYPT_E_ASN1_CORRUPT   the encrypted content is malformed
//   NTE_BAD_ALGID          its cipher or its pseudo-random function is unknown
// or what the derivation or the provider left. What has been added then stays.
int AddPfxCertsToStore(const char* password, DerList document, HCERTSTORE store,
                       DerList* certificates);

}  // namespace pkisdk
