#include "capi/store.h"

#include <algorithm>
#include <compare>
#include <string_view>
#include <tuple>
#include <utility>

#include "capi/calls.h"

namespace capi {

namespace {

ULONGLONG ToNumber(const FILETIME& time) {
    return ULONGLONG{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

bool IsNewerDisposition(DWORD disposition) {
    return disposition == CERT_STORE_ADD_NEWER ||
           disposition == CERT_STORE_ADD_NEWER_INHERIT_PROPERTIES;
}

bool Inherits(DWORD disposition) {
    return disposition == CERT_STORE_ADD_NEWER_INHERIT_PROPERTIES ||
           disposition == CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES;
}

bool HaveSameId(const CERT_INFO& a, const CERT_INFO& b) {
    // The interfaces have no pointer to constant records.
    return CertCompareCertificate(X509_ASN_ENCODING, const_cast<CERT_INFO*>(&a),
                                  const_cast<CERT_INFO*>(&b)) != FALSE;
}

}  // namespace

bool Store::IsBefore::operator()(const IndexEntry& a, const IndexEntry& b) const {
    if (a.hash != b.hash) {
        return a.hash < b.hash;
    }
    const auto order = std::lexicographical_compare_three_way(a.key.begin(), a.key.end(),
                                                              b.key.begin(), b.key.end());
    return order != 0 ? order < 0 : a.ordinal < b.ordinal;
}

Store::IndexEntry Store::EntryOf(std::span<const BYTE> key, Ordinal ordinal) {
    const std::string_view octets(reinterpret_cast<const char*>(key.data()), key.size());
    return {std::hash<std::string_view>()(octets), key, ordinal};
}

Store::Element Store::Add(const CertificateObject& source, DWORD disposition) {
    Require(
        disposition >= CERT_STORE_ADD_NEW && disposition <= CERT_STORE_ADD_NEWER_INHERIT_PROPERTIES,
        E_INVALIDARG);
    Require(!isReadOnly_, ERROR_ACCESS_DENIED);
    Properties properties = source.CopyProperties();

    const std::lock_guard lock(mutex_);
    std::optional<FolderLock> files;
    if (folder_.has_value()) {
        files.emplace(folder_->Lock());
        Synchronize();
    }
    const FolderLock* const held = files.has_value() ? &*files : nullptr;
    const Element existing = Existing(source, disposition);
    if (existing == nullptr) {
        return Insert(source, std::move(properties), nullptr, held);
    }
    if (disposition == CERT_STORE_ADD_USE_EXISTING) {
        return UseExisting(existing, properties, held);
    }
    const bool isNoNewer =
        ToNumber(existing->Info().NotBefore) >= ToNumber(source.Info().NotBefore);
    Require(disposition != CERT_STORE_ADD_NEW && !(IsNewerDisposition(disposition) && isNoNewer),
            CRYPT_E_EXISTS);
    if (Inherits(disposition)) {
        properties.Inherit(existing->CopyProperties());
    }
    const bool isSecond = disposition == CERT_STORE_ADD_ALWAYS && !folder_.has_value();
    return Insert(source, std::move(properties), isSecond ? nullptr : existing, held);
}

// What the disposition takes for the same certificate. A damaged file of its name is no element,
// but nothing that a caller who would keep what is there may write over.
Store::Element Store::Existing(const CertificateObject& source, DWORD disposition) const {
    if (IsNewerDisposition(disposition)) {
        if (Element newest = NewestOfId(source.Info())) {
            return newest;
        }
    }
    const std::optional<Ordinal> same = AfterInIndex(byThumbprint_, source.Thumbprint(), 0);
    if (same.has_value()) {
        return elements_.at(*same);
    }
    const bool mayReplace = disposition == CERT_STORE_ADD_REPLACE_EXISTING ||
                            disposition == CERT_STORE_ADD_ALWAYS ||
                            disposition == CERT_STORE_ADD_REPLACE_EXISTING_INHERIT_PROPERTIES;
    Require(mayReplace || !files_.contains(CertificateFolder::NameOf(source.Thumbprint())),
            CRYPT_E_FILE_ERROR);
    return nullptr;
}

Store::Element Store::NewestOfId(const CERT_INFO& id) const {
    Element newest;
    for (const auto& [ordinal, element] : elements_) {
        if (HaveSameId(element->Info(), id) &&
            (newest == nullptr ||
             ToNumber(element->Info().NotBefore) > ToNumber(newest->Info().NotBefore))) {
            newest = element;
        }
    }
    return newest;
}

Store::Element Store::UseExisting(const Element& existing, const Properties& properties,
                                  const FolderLock* lock) {
    Properties together = existing->CopyProperties();
    if (together.Inherit(properties)) {
        if (lock != nullptr) {
            files_[CertificateFolder::NameOf(existing->Thumbprint())].state =
                folder_->Write(*lock, existing->Thumbprint(), existing->Encoded(), together);
        }
        existing->ChangeProperties([&together](Properties* kept) { *kept = std::move(together); });
    }
    return existing;
}

// The new element stands where the one that it replaces stood. All memory is asked for before
// anything is changed.
Store::Element Store::Insert(const CertificateObject& source, Properties properties,
                             const Element& replaced, const FolderLock* lock) {
    const Ordinal ordinal = replaced == nullptr ? ++lastOrdinal_ : replaced->WhereIs().ordinal;
    auto element = std::make_shared<CertificateObject>(
        source, std::move(properties),
        CertificateObject::Place{handle_, weak_from_this(), ordinal});
    Nodes nodes = NodesOf(element);
    if (lock != nullptr) {
        const std::string name = CertificateFolder::NameOf(element->Thumbprint());
        Files written{{name, KnownFile{{}, ordinal}}};
        written.begin()->second.state = folder_->Write(
            *lock, element->Thumbprint(), element->Encoded(), element->CopyProperties());
        if (replaced != nullptr && replaced->Thumbprint() != element->Thumbprint()) {
            const std::string oldName = CertificateFolder::NameOf(replaced->Thumbprint());
            lock->Remove(oldName);
            files_.erase(oldName);
        }
        files_.erase(name);
        files_.merge(written);
    }
    if (replaced != nullptr) {
        Withdraw(*replaced);
    }
    Enter(std::move(nodes));
    return element;
}

Store::Nodes Store::NodesOf(const Element& element) {
    const Ordinal ordinal = element->WhereIs().ordinal;
    Elements elements{{ordinal, element}};
    Index byThumbprint{EntryOf(element->Thumbprint(), ordinal)};
    Index bySubject{EntryOf(View(element->Info().Subject), ordinal)};
    return {elements.extract(elements.begin()), byThumbprint.extract(byThumbprint.begin()),
            bySubject.extract(bySubject.begin())};
}

void Store::Enter(Nodes nodes) {
    elements_.insert(elements_.end(), std::move(nodes.element));
    byThumbprint_.insert(std::move(nodes.byThumbprint));
    bySubject_.insert(std::move(nodes.bySubject));
}

void Store::Withdraw(const CertificateObject& element) {
    const Ordinal ordinal = element.WhereIs().ordinal;
    byThumbprint_.erase(EntryOf(element.Thumbprint(), ordinal));
    bySubject_.erase(EntryOf(View(element.Info().Subject), ordinal));
    elements_.erase(ordinal);
}

std::optional<Store::Ordinal> Store::After(Ordinal previous, const Search& search) const {
    if (search.among == Search::Among::kAll) {
        const auto next = elements_.upper_bound(previous);
        return next == elements_.end() ? std::nullopt : std::optional(next->first);
    }
    const Index& index = search.among == Search::Among::kThumbprint ? byThumbprint_ : bySubject_;
    return AfterInIndex(index, search.key, previous);
}

// Ordinals begin at 1.
std::optional<Store::Ordinal> Store::AfterInIndex(const Index& index, std::span<const BYTE> key,
                                                  Ordinal previous) {
    const auto next = index.upper_bound(EntryOf(key, previous));
    return next != index.end() && std::ranges::equal(next->key, key) ? std::optional(next->ordinal)
                                                                     : std::nullopt;
}

Store::Element Store::FindNext(const CertificateObject* previous, const Search& search) {
    const std::lock_guard lock(mutex_);
    if (previous == nullptr) {
        Synchronize();
    }
    Ordinal at = previous == nullptr ? 0 : previous->WhereIs().ordinal;
    while (const std::optional<Ordinal> next = After(at, search)) {
        at = *next;
        const Element& element = elements_.at(at);
        if (search.matches == nullptr || search.matches(*element)) {
            return element;
        }
    }
    return nullptr;
}

bool Store::HasDamage() const {
    const std::lock_guard lock(mutex_);
    return std::ranges::any_of(files_,
                               [](const auto& item) { return !item.second.ordinal.has_value(); });
}

void Store::Delete(const CertificateObject& element) {
    Require(!isReadOnly_, ERROR_ACCESS_DENIED);
    const std::lock_guard lock(mutex_);
    const auto found = elements_.find(element.WhereIs().ordinal);
    if (found == elements_.end() || found->second.get() != &element) {
        return;
    }
    if (folder_.has_value()) {
        const std::string name = CertificateFolder::NameOf(element.Thumbprint());
        folder_->Lock().Remove(name);
        files_.erase(name);
    }
    Withdraw(element);
}

void Store::ChangeProperties(CertificateObject* element, bool isForMemory,
                             const std::function<void(Properties*)>& change) {
    const std::lock_guard lock(mutex_);
    const auto found = elements_.find(element->WhereIs().ordinal);
    const bool isElement = found != elements_.end() && found->second.get() == element;
    if (!isForMemory && folder_.has_value() && !isReadOnly_ && isElement) {
        const std::string name = CertificateFolder::NameOf(element->Thumbprint());
        const FolderLock files = folder_->Lock();
        // Another process may have changed other properties since; one that took the certificate
        // away is not contradicted.
        KnownFile& known = files_[name];
        const bool isAsKnown = folder_->FindState(name) == known.state;
        if (std::optional<Entry> entry = folder_->Read(name)) {
            change(&entry->properties);
            const FileState written =
                folder_->Write(files, element->Thumbprint(), element->Encoded(), entry->properties);
            known.state = isAsKnown ? std::optional(written) : std::nullopt;
        }
    }
    element->ChangeProperties(change);
}

// Makes the elements those of the folder.
void Store::Synchronize() {
    if (!folder_.has_value()) {
        return;
    }
    const std::map<std::string, FileState> present = folder_->List();
    ForgetFilesNotIn(present);
    std::vector<std::pair<std::string, FileState>> unread;
    for (const auto& [name, state] : present) {
        const auto known = files_.find(name);
        if (known == files_.end() || known->second.state != state) {
            unread.emplace_back(name, state);
        }
    }
    // In the order in which they were written.
    std::ranges::sort(unread, {}, [](const auto& file) {
        return std::tuple(file.second.seconds, file.second.nanoseconds, file.first);
    });
    for (const auto& [name, state] : unread) {
        ReadFile(name, state);
    }
}

void Store::ForgetFilesNotIn(const std::map<std::string, FileState>& present) {
    for (auto it = files_.begin(); it != files_.end();) {
        if (present.contains(it->first)) {
            ++it;
            continue;
        }
        WithdrawElementOf(&it->second);
        it = files_.erase(it);
    }
}

void Store::WithdrawElementOf(KnownFile* file) {
    if (file->ordinal.has_value()) {
        Withdraw(*Element(elements_.at(*file->ordinal)));
        file->ordinal.reset();
    }
}

void Store::ReadFile(const std::string& name, const FileState& state) {
    const auto [known, isNew] = files_.try_emplace(name);
    // Once for each state of the file, and not for every look at one that stays out of reach.
    const bool isToBeTold = isNew || known->second.state.has_value();
    known->second.state.reset();
    try {
        std::optional<Entry> entry = folder_->Read(name);
        if (!entry.has_value()) {
            WithdrawElementOf(&known->second);
            files_.erase(known);
            return;
        }
        TakeEntry(*std::move(entry), &known->second);
        known->second.state = state;
    } catch (const ErrorWord& error) {
        // One bad file does not hide the others; the walk's end tells of it. What was not the
        // file's own fault may have passed by the next look.
        WithdrawElementOf(&known->second);
        if (isToBeTold) {
            folder_->TellPassedOver(name);
        }
        if (error.Word() == static_cast<DWORD>(CRYPT_E_FILE_ERROR)) {
            known->second.state = state;
        }
    }
}

void Store::TakeEntry(Entry entry, KnownFile* file) {
    if (file->ordinal.has_value()) {
        elements_.at(*file->ordinal)->ChangeProperties([&entry](Properties* properties) {
            *properties = std::move(entry.properties);
        });
        return;
    }
    const Ordinal ordinal = ++lastOrdinal_;
    Enter(NodesOf(std::make_shared<CertificateObject>(
        std::move(entry.encoded), X509_ASN_ENCODING, std::move(entry.properties),
        CertificateObject::Place{handle_, weak_from_this(), ordinal})));
    file->ordinal = ordinal;
}

Stores& Stores::Get() {
    // Outlives every caller, those in other libraries' destructors too.
    static Stores& stores = *std::make_unique<Stores>().release();
    return stores;
}

HCERTSTORE Stores::Open(std::optional<CertificateFolder> folder, bool isReadOnly) {
    const std::lock_guard lock(mutex_);
    // Never the same twice, so that a closed handle stays a wrong one.
    next_ += 16;
    auto* const handle = reinterpret_cast<HCERTSTORE>(next_);
    entries_.emplace(handle, Entry{std::make_shared<Store>(handle, std::move(folder), isReadOnly)});
    return handle;
}

Stores::Entry& Stores::FindLocked(HCERTSTORE handle) {
    const auto found = entries_.find(handle);
    Require(found != entries_.end(), ERROR_INVALID_HANDLE);
    return found->second;
}

std::shared_ptr<Store> Stores::Find(HCERTSTORE handle) {
    const std::lock_guard lock(mutex_);
    return FindLocked(handle).store;
}

void Stores::AddReference(HCERTSTORE handle) {
    const std::lock_guard lock(mutex_);
    ++FindLocked(handle).references;
}

bool Stores::Close(HCERTSTORE handle) {
    // Destroyed after the lock.
    std::shared_ptr<Store> last;
    const std::lock_guard lock(mutex_);
    Entry& entry = FindLocked(handle);
    if (--entry.references != 0) {
        return false;
    }
    last = std::move(entry.store);
    entries_.erase(handle);
    return true;
}

}  // namespace capi
