#include "provider/session_key.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include "provider/algorithms.h"
#include "provider/parameter.h"
#include "provider/random.h"
#include "provider/wipe.h"

namespace provider {

namespace {

constexpr DWORD kKeyBits = 256;
constexpr DWORD kBlockBits = 64;

// The S-boxes that a key can be used with; the first is the one of a key that was told none.
constexpr const char* kParameterSets[] = {
    "1.2.643.2.2.31.1", "1.2.643.2.2.31.2",    "1.2.643.2.2.31.3",
    "1.2.643.2.2.31.4", "1.2.643.7.1.2.5.1.1",
};

// Null for an identifier that is none of them.
const char* FindParameterSet(const char* oid) {
    if (*oid == '\0') {
        return kParameterSets[0];
    }
    for (const char* const known : kParameterSets) {
        if (std::strcmp(known, oid) == 0) {
            return known;
        }
    }
    return nullptr;
}

}  // namespace

void SessionKey::Generate(DWORD permissions) {
    FillRandom(value_);
    vector_.fill(0);
    parameterSet_ = kParameterSets[0];
    permissions_ = permissions;
}

void SessionKey::SetValue(const BYTE* value) {
    WipeHmacPads(&pads_);
    std::copy_n(value, value_.size(), value_.begin());
}

HRESULT SessionKey::NarrowPermissions(const BYTE* data) {
    DWORD wanted = 0;
    std::memcpy(&wanted, data, sizeof(wanted));
    if ((wanted & ~permissions_) != 0) {
        return NTE_PERM;
    }
    permissions_ = wanted;
    return S_OK;
}

HRESULT SessionKey::SetParameter(DWORD parameter, const BYTE* data) {
    switch (parameter) {
        case KP_KEYVAL:
        case KP_X:
            SetValue(data);
            DropMessage();
            return S_OK;
        case KP_IV:
            std::copy_n(data, vector_.size(), vector_.begin());
            DropMessage();
            return S_OK;
        case kCipherOidParameter: {
            const char* const set = FindParameterSet(reinterpret_cast<const char*>(data));
            if (set == nullptr) {
                return NTE_BAD_DATA;
            }
            parameterSet_ = set;
            DropMessage();
            return S_OK;
        }
        case KP_PERMISSIONS:
            return NarrowPermissions(data);
        default:
            return NTE_BAD_TYPE;
    }
}

HRESULT SessionKey::GetParameter(DWORD parameter, BYTE* out, DWORD* outSize) const {
    switch (parameter) {
        case KP_ALGID:
            return WriteParameter(DWORD{kGost28147}, out, outSize);
        case KP_IV:
            return WriteParameter(std::span<const BYTE>(vector_), out, outSize);
        case kCipherOidParameter:
            return WriteParameter(parameterSet_, out, outSize);
        case KP_KEYLEN:
            return WriteParameter(kKeyBits, out, outSize);
        case KP_BLOCKLEN:
            return WriteParameter(kBlockBits, out, outSize);
        case KP_PERMISSIONS:
            return WriteParameter(permissions_, out, outSize);
        default:
            return NTE_BAD_TYPE;
    }
}

bool SessionKey::Permits(CipherDirection direction) const {
    const DWORD needed = direction == CipherDirection::kEncrypt ? CRYPT_ENCRYPT : CRYPT_DECRYPT;
    return (permissions_ & needed) != 0;
}

HRESULT SessionKey::Process(CipherDirection direction, bool isFinal, std::span<BYTE> piece) {
    if (!Permits(direction)) {
        return NTE_PERM;
    }
    std::unique_ptr<CipherMessage> message(std::exchange(message_, nullptr));
    if (message == nullptr) {
        message = std::make_unique<CipherMessage>();
        const HRESULT status = message->Start(value_, vector_, parameterSet_);
        if (status != S_OK) {
            return status;
        }
    }
    const HRESULT status = message->Process(direction, piece);
    if (status == S_OK && !isFinal) {
        message_ = message.release();
    }
    return status;
}

HRESULT SessionKey::ProcessWhole(CipherDirection direction, std::span<BYTE> message) const {
    if (!Permits(direction)) {
        return NTE_PERM;
    }
    CipherMessage cipher;
    const HRESULT status = cipher.Start(value_, vector_, parameterSet_);
    return status == S_OK ? cipher.Process(direction, message) : status;
}

void SessionKey::DropMessage() {
    const std::unique_ptr<CipherMessage> dropped(std::exchange(message_, nullptr));
}

const HmacPads& SessionKey::PadsFor(const DigestAlgorithm& algorithm) {
    static_assert(kValueSize <= 32, "a value longer than a block would have to be hashed first");
    if (pads_.algorithm != &algorithm) {
        WipeHmacPads(&pads_);
        ComputeHmacPads(algorithm, value_, &pads_);
    }
    return pads_;
}

void SessionKey::WipeSecrets() {
    Wipe(value_.data(), value_.size());
    Wipe(vector_.data(), vector_.size());
    WipeHmacPads(&pads_);
    DropMessage();
}

}  // namespace provider
