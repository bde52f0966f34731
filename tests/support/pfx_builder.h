// Documents put together byte by byte, right or wrong, for tests that need one shape exactly.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>

#include "support/reference_crypto.h"

namespace test_support {

// One DER element with a minimal length.
Bytes Element(std::uint8_t tag, const Bytes& content);
Bytes Join(std::initializer_list<Bytes> parts);
// ContentInfo of type data.
Bytes DataContentInfo(const Bytes& content);
// So many SEQUENCEs, each in the one before.
Bytes NestedSequences(std::size_t depth);

// A PFX with an AuthenticatedSafe of one data content and a MacData of these fields. The MAC
// is right for `password` unless `mac` is given.
struct PfxBuilder {
    // What the AuthenticatedSafe's one content holds.
    Bytes content = {0x30, 0x00};
    ALG_ID hashAlgorithm = 0x8021;
    // Content octets of the digest's identifier: 1.2.643.7.1.1.2.2.
    Bytes digestOid = {0x2A, 0x85, 0x03, 0x07, 0x01, 0x01, 0x02, 0x02};
    std::string password = "Password1";
    Bytes salt = {1, 2, 3, 4, 5, 6, 7, 8};
    // Content octets of the INTEGER, and the count they stand for.
    Bytes iterationOctets = {3};
    unsigned iterations = 3;
    bool withIterations = true;
    // What is done to the pieces before they are put together.
    std::function<Bytes(const Bytes& mac)> mac;
    std::function<Bytes(const Bytes& saltElement)> saltElement;
    bool withMacData = true;
    // NULL behind the digest's identifier, which not every program writes.
    bool withParameters = true;
    // The AuthenticatedSafe, whole, in place of the one around `content`.
    Bytes authSafe;

    Bytes AuthSafe() const;
    Bytes MacData() const;
    Bytes Build() const;
};

}  // namespace test_support
