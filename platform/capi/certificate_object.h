// The objects behind certificate contexts.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "capi/cert_store.h"
#include "capi/properties.h"

namespace capi {

class Store;

// What a certificate says. It never changes, so that the copies of one in several stores share it.
struct CertificateContent {
    // Throws what CertificateInfo throws.
    explicit CertificateContent(Bytes bytes);
    CertificateContent(const CertificateContent&) = delete;
    CertificateContent& operator=(const CertificateContent&) = delete;

    const Bytes encoded;
    // The interfaces have no pointer to a constant record.
    mutable CertificateInfo info;
    const Sha1 thumbprint;
};

// One certificate: of no store, or an element of one. All but its properties never changes.
class CertificateObject {
  public:
    // Where an element is; a null handle for an object of no store.
    struct Place {
        HCERTSTORE handle = nullptr;
        std::weak_ptr<Store> store;
        // What tells elements apart and orders them.
        std::uint64_t ordinal = 0;
    };

    CertificateObject(Bytes encoded, DWORD encodingType, Properties properties, Place place);
    // The same certificate as `source` in another place.
    CertificateObject(const CertificateObject& source, Properties properties, Place place);
    ~CertificateObject();
    CertificateObject(const CertificateObject&) = delete;
    CertificateObject& operator=(const CertificateObject&) = delete;

    const CERT_CONTEXT* Context() const { return &context_; }
    const CERT_INFO& Info() const { return content_->info.Get(); }
    std::span<const BYTE> PublicKeyInfo() const { return content_->info.PublicKeyInfo(); }
    const Bytes& Encoded() const { return content_->encoded; }
    const Sha1& Thumbprint() const { return content_->thumbprint; }
    const Place& WhereIs() const { return place_; }

    Properties CopyProperties() const;
    // Answers what `read` makes of them, which no other thread changes meanwhile.
    template <typename Read>
    auto ReadProperties(Read read) const {
        const std::lock_guard lock(mutex_);
        return read(properties_);
    }
    void ChangeProperties(const std::function<void(Properties*)>& change);

    // The key context kept with the certificate; a handle of 0 for none. The caller does not
    // release it.
    CERT_KEY_CONTEXT KeyContext() const;
    // Takes the handle over, to be released if `isOwned`, and releases the one kept before.
    void SetKeyContext(const CERT_KEY_CONTEXT& key, bool isOwned);
    // Keeps `key` unless one is kept already, in which case that one is answered and `key` is
    // released.
    CERT_KEY_CONTEXT KeepFirstKeyContext(const CERT_KEY_CONTEXT& key);

  private:
    CertificateObject(std::shared_ptr<const CertificateContent> content, DWORD encodingType,
                      Properties properties, Place place);

    const std::shared_ptr<const CertificateContent> content_;
    const Place place_;
    CERT_CONTEXT context_;

    mutable std::mutex mutex_;
    Properties properties_;
    CERT_KEY_CONTEXT keyContext_{sizeof(CERT_KEY_CONTEXT), 0, 0};
    bool isKeyOwned_ = false;
};

// The contexts that callers hold, with their counts. An element's store lives as long as a context
// of it does.
class Contexts {
  public:
    static Contexts& Get();

    // Makes room for an object's context, so that holding it later can't fail: a walk that failed
    // would look like the end of its store. Throws std::bad_alloc.
    void Enter(PCCERT_CONTEXT context);
    // At the object's end.
    void Withdraw(PCCERT_CONTEXT context);

    // One reference more to the object.
    PCCERT_CONTEXT Hold(const std::shared_ptr<CertificateObject>& object);
    // Null for what is no live context.
    std::shared_ptr<CertificateObject> Find(PCCERT_CONTEXT context);
    void Release(PCCERT_CONTEXT context);

    bool AnyOf(HCERTSTORE store);
    void ForgetAllOf(HCERTSTORE store);

  private:
    // Without references nobody holds the context, and there are no pointers.
    struct Entry {
        std::shared_ptr<CertificateObject> object;
        std::shared_ptr<Store> store;
        DWORD references = 0;
    };

    std::mutex mutex_;
    std::unordered_map<PCCERT_CONTEXT, Entry> entries_;
};

// Throws E_INVALIDARG for what is no live context.
std::shared_ptr<CertificateObject> RequireContext(PCCERT_CONTEXT context);

}  // namespace capi
