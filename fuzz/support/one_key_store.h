// What documents are made of in the fuzz targets.
#pragma once

#include "support/key_store.h"
#include "support/store_content.h"

namespace fuzz {

inline constexpr wchar_t kPassword[] = L"Password1";

// A store of one exportable key of the user with its certificate, and of one certificate without a
// key.
class OneKeyStore {
  public:
    explicit OneKeyStore(ALG_ID algorithm);

    HCERTSTORE Get() const { return store_.Get(); }
    const test_support::StoreContent& Content() const { return content_; }

  private:
    test_support::KeyStore store_;
    test_support::StoreContent content_;
};

// The one of the three algorithms that `choice` names, over the provider in memory.
const OneKeyStore& ChooseStore(unsigned choice);

// Aborts where the export fails.
test_support::CertificateBytes Create(HCERTSTORE store, DWORD flags);

}  // namespace fuzz
