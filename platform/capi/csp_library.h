// The libraries that hold providers, loaded when a context is first wanted.
#pragma once

#include <string>

#include "csp.h"

namespace capi {

// The entry points of one provider.
struct Csp {
    decltype(&CPAcquireContext) acquireContext;
    decltype(&CPReleaseContext) releaseContext;
    decltype(&CPGetProvParam) getProvParam;
    decltype(&CPSetProvParam) setProvParam;
    decltype(&CPGenRandom) genRandom;
    decltype(&CPGenKey) genKey;
    decltype(&CPDestroyKey) destroyKey;
    decltype(&CPGetKeyParam) getKeyParam;
    decltype(&CPSetKeyParam) setKeyParam;
    decltype(&CPGetUserKey) getUserKey;
    decltype(&CPExportKey) exportKey;
    decltype(&CPImportKey) importKey;
    decltype(&CPEncrypt) encrypt;
    decltype(&CPDecrypt) decrypt;
    decltype(&CPCreateHash) createHash;
    decltype(&CPHashData) hashData;
    decltype(&CPGetHashParam) getHashParam;
    decltype(&CPSetHashParam) setHashParam;
    decltype(&CPDuplicateHash) duplicateHash;
    decltype(&CPDestroyHash) destroyHash;
    decltype(&CPSignHash) signHash;
    decltype(&CPVerifySignature) verifySignature;
};

// The provider in the library at `path`, for good; null, and the reason in `*error`, where the file
// is not there, does not load or lacks an entry point.
const Csp* LoadCsp(const std::string& path, HRESULT* error);

}  // namespace capi
