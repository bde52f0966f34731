// The objects behind store handles.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "capi/certificate_folder.h"
#include "capi/certificate_object.h"

namespace capi {

class Store : public std::enable_shared_from_this<Store> {
  public:
    using Element = std::shared_ptr<CertificateObject>;

    // What a walk looks for: elements that `matches` among all, or among those that an index gives.
    struct Search {
        enum class Among { kAll, kThumbprint, kSubject };
        Among among = Among::kAll;
        Bytes key;
        std::function<bool(const CertificateObject&)> matches;
    };

    // Without a folder: a store in memory.
    Store(HCERTSTORE handle, std::optional<CertificateFolder> folder, bool isReadOnly)
        : handle_(handle), folder_(std::move(folder)), isReadOnly_(isReadOnly) {}

    bool IsSystemStore() const { return folder_.has_value(); }
    bool IsReadOnly() const { return isReadOnly_; }

    // What CertAddCertificateContextToStore does; answers the element that then is there.
    Element Add(const CertificateObject& source, DWORD disposition);
    // The next one behind `previous` (null: the first of all); null where there is none.
    Element FindNext(const CertificateObject* previous, const Search& search);
    // Whether files were passed over in the last look at the folder.
    bool HasDamage() const;
    void Delete(const CertificateObject& element);

    // Changes properties of an element, in its file too unless `isForMemory`.
    void ChangeProperties(CertificateObject* element, bool isForMemory,
                          const std::function<void(Properties*)>& change);

  private:
    using Ordinal = std::uint64_t;
    // The key lies in the element of that ordinal. Its hash stands first in the order, so that a
    // search seldom looks at the elements themselves.
    struct IndexEntry {
        std::size_t hash;
        std::span<const BYTE> key;
        Ordinal ordinal;
    };
    struct IsBefore {
        bool operator()(const IndexEntry& a, const IndexEntry& b) const;
    };
    using Index = std::set<IndexEntry, IsBefore>;
    using Elements = std::map<Ordinal, Element>;
    // An element's places in the maps, which cost no memory any more once they are made: an element
    // that a walk finds and a search for issuers does not would make another the last of its chain.
    struct Nodes {
        Elements::node_type element;
        Index::node_type byThumbprint;
        Index::node_type bySubject;
    };
    // A file as last read: no state where that failed for another reason than the file, which is
    // then read again; no ordinal where it gave no element.
    struct KnownFile {
        std::optional<FileState> state;
        std::optional<Ordinal> ordinal;
    };
    using Files = std::map<std::string, KnownFile>;

    static IndexEntry EntryOf(std::span<const BYTE> key, Ordinal ordinal);
    void Synchronize();
    void ForgetFilesNotIn(const std::map<std::string, FileState>& present);
    void WithdrawElementOf(KnownFile* file);
    void ReadFile(const std::string& name, const FileState& state);
    void TakeEntry(Entry entry, KnownFile* file);

    Element Existing(const CertificateObject& source, DWORD disposition) const;
    Element NewestOfId(const CERT_INFO& id) const;
    // `lock` is null for a store in memory.
    Element UseExisting(const Element& existing, const Properties& properties,
                        const FolderLock* lock);
    Element Insert(const CertificateObject& source, Properties properties, const Element& replaced,
                   const FolderLock* lock);
    static Nodes NodesOf(const Element& element);
    void Enter(Nodes nodes);
    void Withdraw(const CertificateObject& element);
    std::optional<Ordinal> After(Ordinal previous, const Search& search) const;
    static std::optional<Ordinal> AfterInIndex(const Index& index, std::span<const BYTE> key,
                                               Ordinal previous);

    const HCERTSTORE handle_;
    const std::optional<CertificateFolder> folder_;
    const bool isReadOnly_;

    mutable std::mutex mutex_;
    Elements elements_;
    Index byThumbprint_;
    Index bySubject_;
    Ordinal lastOrdinal_ = 0;
    Files files_;
};

// The open stores.
class Stores {
  public:
    static Stores& Get();

    HCERTSTORE Open(std::optional<CertificateFolder> folder, bool isReadOnly);
    // Throws ERROR_INVALID_HANDLE for what is no open store.
    std::shared_ptr<Store> Find(HCERTSTORE handle);
    void AddReference(HCERTSTORE handle);
    // Whether that was the last close.
    bool Close(HCERTSTORE handle);

  private:
    struct Entry {
        std::shared_ptr<Store> store;
        DWORD references = 1;
    };

    Entry& FindLocked(HCERTSTORE handle);

    std::mutex mutex_;
    std::map<HCERTSTORE, Entry> entries_;
    ULONG_PTR next_ = 0x1000;
};

}  // namespace capi
