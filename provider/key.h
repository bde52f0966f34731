// A key of either sort, as it lives in its slot.
#pragma once

#include <memory>
#include <utility>

#include "provider/asymmetric_key.h"
#include "provider/session_key.h"

namespace provider {

// Plain memory that owns what it points to: Release has to be called before it is dropped. Empty
// slots hold a session key.
class Key {
  public:
    bool IsSession() const { return asymmetric_ == nullptr; }
    SessionKey& Session() { return session_; }
    // Null for a session key.
    std::shared_ptr<const AsymmetricKey> Asymmetric() const {
        return IsSession() ? nullptr : *asymmetric_;
    }
    void Hold(std::shared_ptr<const AsymmetricKey> key) {
        asymmetric_ = std::make_unique<Shared>(std::move(key)).release();
    }
    // Wipes and frees whatever it is.
    void Release() {
        if (IsSession()) {
            session_.WipeSecrets();
        }
        const std::unique_ptr<Shared> dropped(std::exchange(asymmetric_, nullptr));
    }

  private:
    using Shared = std::shared_ptr<const AsymmetricKey>;

    SessionKey session_;
    Shared* asymmetric_;
};

}  // namespace provider
