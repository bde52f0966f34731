#include "capi/public_keys.h"

namespace capi {

namespace {

class OwnKey {
  public:
    OwnKey(HCRYPTPROV provider, DWORD keySpec) {
        RequireCall(CryptGetUserKey(provider, keySpec, &handle_));
    }
    ~OwnKey() { CryptDestroyKey(handle_); }
    OwnKey(const OwnKey&) = delete;
    OwnKey& operator=(const OwnKey&) = delete;

    HCRYPTKEY Get() const { return handle_; }

  private:
    HCRYPTKEY handle_ = 0;
};

}  // namespace

Bytes PublicKeyInfoOf(HCRYPTPROV provider, DWORD keySpec) {
    const OwnKey key(provider, keySpec);
    const Bytes blob = AskTwice([&key](BYTE* out, DWORD* size) {
        return CryptExportKey(key.Get(), 0, PUBLICKEYBLOB, 0, out, size);
    });
    Require(blob.size() > sizeof(BLOBHEADER), NTE_BAD_PUBLIC_KEY);
    return Bytes(blob.begin() + sizeof(BLOBHEADER), blob.end());
}

}  // namespace capi
