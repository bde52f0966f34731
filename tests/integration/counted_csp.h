// The built provider behind one that counts what it has given out, under the provider's own name.
#pragma once

#include <dlfcn.h>

#include "integration/own_keys_failing_csp.h"
#include "support/scoped_environment.h"

namespace test_support {

class CountedCsp {
  public:
    CountedCsp() {
        void* const library = dlopen(MVLPFX_FAILING_CSP, RTLD_NOW | RTLD_LOCAL);
        auto* const find = reinterpret_cast<own_keys::FailingCspControlFunction*>(
            library == nullptr ? nullptr : dlsym(library, "FailingCspControl"));
        csp_ = find == nullptr ? nullptr : find();
    }

    bool IsLoaded() const { return csp_ != nullptr; }
    // Contexts, keys and hashes that were not released.
    int OpenObjects() const { return csp_->openObjects; }
    void ReleaseContexts() const { csp_->releaseContexts(); }

  private:
    ScopedSettings settings_{
        "['SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\"
        "Velmorix Cryptographic Service Provider']\n"
        "Type = 2\n'Image Path' = '" MVLPFX_FAILING_CSP "'\n"};
    own_keys::FailingCsp* csp_ = nullptr;
};

}  // namespace test_support
