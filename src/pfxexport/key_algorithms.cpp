#include "pfxexport/key_algorithms.h"

#include "pfxcrypto/pfx_constants.h"

namespace pkisdk {

namespace {

constexpr ALG_ID kGostR3410_2001Signature = 0x2E23;
constexpr ALG_ID kGostR3410_2001Exchange = 0xAA24;
constexpr ALG_ID kGostR3410_2012_256 = 0x2E49;
constexpr ALG_ID kGostR3410_2012_512 = 0x2E3D;

}  // namespace

const KeyAlgorithms* FindKeyAlgorithms(ALG_ID keyAlgorithm) {
    static constexpr KeyAlgorithms kOf2001{kGostR3411_94, "1.2.643.2.2.31.1"};
    static constexpr KeyAlgorithms kOf2012{kGostR3411_512, "1.2.643.7.1.2.5.1.1"};
    switch (keyAlgorithm) {
        case kGostR3410_2001Signature:
        case kGostR3410_2001Exchange:
            return &kOf2001;
        case kGostR3410_2012_256:
        case kGostR3410_2012_512:
            return &kOf2012;
        default:
            return nullptr;
    }
}

}  // namespace pkisdk
