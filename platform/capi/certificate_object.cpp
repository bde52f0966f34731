#include "capi/certificate_object.h"

#include <utility>
#include <vector>

#include "capi/calls.h"
#include "capi/store.h"

namespace capi {

namespace {

void ReleaseKey(const CERT_KEY_CONTEXT& key, bool isOwned) {
    if (isOwned && key.hCryptProv != 0) {
        // Nobody is told of a failure here, so that the caller's last error stands.
        const DWORD before = GetLastError();
        CryptReleaseContext(key.hCryptProv, 0);
        SetLastError(before);
    }
}

}  // namespace

CertificateContent::CertificateContent(Bytes bytes)
    : encoded(std::move(bytes)), info(encoded), thumbprint(Sha1Of(encoded)) {}

CertificateObject::CertificateObject(Bytes encoded, DWORD encodingType, Properties properties,
                                     Place place)
    : CertificateObject(std::make_shared<const CertificateContent>(std::move(encoded)),
                        encodingType, std::move(properties), std::move(place)) {}

CertificateObject::CertificateObject(const CertificateObject& source, Properties properties,
                                     Place place)
    : CertificateObject(source.content_, source.context_.dwCertEncodingType, std::move(properties),
                        std::move(place)) {}

CertificateObject::CertificateObject(std::shared_ptr<const CertificateContent> content,
                                     DWORD encodingType, Properties properties, Place place)
    : content_(std::move(content)),
      place_(std::move(place)),
      context_{encodingType, const_cast<BYTE*>(content_->encoded.data()),
               static_cast<DWORD>(content_->encoded.size()), &content_->info.Get(), place_.handle},
      properties_(std::move(properties)) {
    Contexts::Get().Enter(&context_);
}

CertificateObject::~CertificateObject() {
    Contexts::Get().Withdraw(&context_);
    ReleaseKey(keyContext_, isKeyOwned_);
}

Properties CertificateObject::CopyProperties() const {
    const std::lock_guard lock(mutex_);
    return properties_;
}

void CertificateObject::ChangeProperties(const std::function<void(Properties*)>& change) {
    const std::lock_guard lock(mutex_);
    change(&properties_);
}

CERT_KEY_CONTEXT CertificateObject::KeyContext() const {
    const std::lock_guard lock(mutex_);
    return keyContext_;
}

void CertificateObject::SetKeyContext(const CERT_KEY_CONTEXT& key, bool isOwned) {
    std::unique_lock lock(mutex_);
    const CERT_KEY_CONTEXT before = std::exchange(keyContext_, key);
    const bool wasOwned = std::exchange(isKeyOwned_, isOwned);
    lock.unlock();
    ReleaseKey(before, wasOwned && before.hCryptProv != key.hCryptProv);
}

CERT_KEY_CONTEXT CertificateObject::KeepFirstKeyContext(const CERT_KEY_CONTEXT& key) {
    std::unique_lock lock(mutex_);
    if (keyContext_.hCryptProv == 0) {
        keyContext_ = key;
        isKeyOwned_ = true;
        return key;
    }
    const CERT_KEY_CONTEXT kept = keyContext_;
    lock.unlock();
    ReleaseKey(key, true);
    return kept;
}

Contexts& Contexts::Get() {
    // Outlives every caller, those in other libraries' destructors too.
    static Contexts& contexts = *std::make_unique<Contexts>().release();
    return contexts;
}

void Contexts::Enter(PCCERT_CONTEXT context) {
    const std::lock_guard lock(mutex_);
    entries_.try_emplace(context);
}

void Contexts::Withdraw(PCCERT_CONTEXT context) {
    const std::lock_guard lock(mutex_);
    entries_.erase(context);
}

PCCERT_CONTEXT Contexts::Hold(const std::shared_ptr<CertificateObject>& object) {
    std::shared_ptr<Store> store = object->WhereIs().store.lock();
    const std::lock_guard lock(mutex_);
    Entry& entry = entries_.at(object->Context());
    if (entry.references == 0) {
        entry.object = object;
        entry.store = std::move(store);
    }
    ++entry.references;
    return object->Context();
}

std::shared_ptr<CertificateObject> Contexts::Find(PCCERT_CONTEXT context) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(context);
    return found == entries_.end() ? nullptr : found->second.object;
}

void Contexts::Release(PCCERT_CONTEXT context) {
    // Destroyed after the lock: a store's end takes other locks.
    Entry last;
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(context);
    if (found != entries_.end() && found->second.references != 0 &&
        --found->second.references == 0) {
        std::swap(last, found->second);
    }
}

bool Contexts::AnyOf(HCERTSTORE store) {
    const std::lock_guard lock(mutex_);
    for (const auto& [context, entry] : entries_) {
        if (entry.references != 0 && context->hCertStore == store) {
            return true;
        }
    }
    return false;
}

void Contexts::ForgetAllOf(HCERTSTORE store) {
    std::vector<Entry> gone;
    const std::lock_guard lock(mutex_);
    for (auto& [context, entry] : entries_) {
        if (entry.references != 0 && context->hCertStore == store) {
            std::swap(gone.emplace_back(), entry);
        }
    }
}

std::shared_ptr<CertificateObject> RequireContext(PCCERT_CONTEXT context) {
    std::shared_ptr<CertificateObject> object = Contexts::Get().Find(context);
    Require(object != nullptr, E_INVALIDARG);
    return object;
}

}  // namespace capi
