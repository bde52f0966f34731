#include "pfximport/key_import.h"

#include <exception>
#include <optional>
#include <vector>

#include "asn/asn_object_readable.h"
#include "derlist/der_queries.h"
#include "foundation/wide_to_ansi.h"
#include "pfxcrypto/pfx_constants.h"
#include "pfximport/bag_attributes.h"
#include "pfximport/bag_encryption.h"
#include "pfximport/bag_identifiers.h"
#include "pfximport/bag_walk.h"
#include "pfximport/certificate_bags.h"
#include "pfximport/key_container.h"
#include "schema/pfx_key_bag.h"

namespace pkisdk {

namespace {

// What one bag has open, released in the order of destruction: certificate, keys, provider.
struct OpenHandles {
    ProviderContext provider;
    ProviderKey sessionKey;
    ProviderKey key;
    CertContext certificate;

    // An exception leaves them open: the accepted price of a malformed document, whose bag may
    // stand half imported.
    void Abandon() {
        provider.release();
        sessionKey.release();
        key.release();
        certificate.release();
    }
};

// A record for CERT_KEY_PROV_INFO_PROP_ID, and the texts that it points to.
struct KeyPlace {
    KeyPlace(const std::string& containerName, bool isMachineKey) {
        AnsiToWide(containerName, &container);
        AnsiToWide(kProviderName, &provider);
        info.pwszContainerName = container.data();
        info.pwszProvName = provider.data();
        info.dwProvType = kProviderType;
        info.dwFlags = isMachineKey ? CRYPT_MACHINE_KEYSET : 0;
        info.dwKeySpec = AT_KEYEXCHANGE;
    }
    KeyPlace(const KeyPlace&) = delete;
    KeyPlace& operator=(const KeyPlace&) = delete;

    std::wstring container;
    std::wstring provider;
    CRYPT_KEY_PROV_INFO info{};
};

// Ties the first certificate of the store that is the same as `certificate` to the container.
void TieToContainer(HCERTSTORE store, PCCERT_CONTEXT certificate, const KeyPlace& place) {
    PCCERT_CONTEXT candidate = nullptr;
    while ((candidate = CertEnumCertificatesInStore(store, candidate)) != nullptr) {
        if (CertCompareCertificate(kCertificateEncoding, candidate->pCertInfo,
                                   certificate->pCertInfo)) {
            const CertContext found(candidate);
            CertSetCertificateContextProperty(found.Get(), CERT_KEY_PROV_INFO_PROP_ID, 0,
                                              &place.info);
            return;
        }
    }
}

// What the provider takes for an encrypted private key: a BLOBHEADER, whose algorithm it does not
// look at, before the document's bytes.
std::vector<BYTE> MakeKeyBlob(const Blob& encryptedKey) {
    constexpr BYTE kHeader[] = {PRIVATEKEYBLOB, 0x11, 0, 0, 0, 0, 0, 0};
    std::vector<BYTE> blob(std::begin(kHeader), std::end(kHeader));
    const auto octets = encryptedKey.Bytes();
    blob.insert(blob.end(), octets.begin(), octets.end());
    return blob;
}

class KeyImport {
  public:
    KeyImport(const char* password, HCERTSTORE store, const DerList& certificates,
              std::uint32_t flags, bool isSilent)
        : password_(password),
          store_(store),
          certificates_(certificates),
          isExportable_((flags & CRYPT_EXPORTABLE) != 0),
          isMachineKey_((flags & CRYPT_MACHINE_KEYSET) != 0),
          isSilent_(isSilent) {}

    // Answer the error word.
    DWORD ImportAll(const DerList& document);

  private:
    DWORD ImportBag(const DerList& bag);
    DWORD ImportBag(const DerList& bag, OpenHandles* open);
    DWORD ImportKey(const PfxKeyBag& bag, OpenHandles* open);
    bool UnwrapKey(const PfxKeyBag& bag, const BagEncryption& encryption, OpenHandles* open);
    void TieCertificate(OpenHandles* open);

    const char* password_;
    HCERTSTORE store_;
    const DerList& certificates_;
    bool isExportable_;
    bool isMachineKey_;
    bool isSilent_;

    // Made when the first key looks for its certificate.
    std::optional<CertificateBags> bags_;
    // Counts the bags, whether or not they hold a key.
    std::uint32_t ordinal_ = 1;
    // These go from bag to bag: a bag without a name finds the name of the one before, which exists
    // by then and gives way to a random one.
    std::string containerName_;
    Blob localKeyId_;
};

DWORD KeyImport::ImportAll(const DerList& document) {
    BagWalk walk(document, kShroudedKeyBagOid);
    DerList bag;
    DWORD error = 0;
    while (error == 0 && walk.Next(&bag)) {
        error = ImportBag(bag);
        ++ordinal_;
    }
    return error;
}

DWORD KeyImport::ImportBag(const DerList& bag) {
    OpenHandles open;
    try {
        return ImportBag(bag, &open);
    } catch (...) {
        open.Abandon();
        throw;
    }
}

DWORD KeyImport::ImportBag(const DerList& bag, OpenHandles* open) {
    constexpr std::uint32_t kKeyInfoIndex = 2;
    DerList keyInfo;
    Blob bytes;
    if (ParseSubtree(bag, kKeyInfoIndex, &keyInfo) != 0 && FlattenSubtree(bag, 0, &bytes) != 0) {
        PfxKeyBag keyBag;
        keyBag.DeserializeFromAsnObject(asn::AsnObjectReadable::FromBlob(bytes),
                                        "AddPfxKeysToCSP.KeyInfo");
        const DWORD error = ImportKey(keyBag, open);
        open->sessionKey.Reset();
        if (error != 0) {
            return error;
        }
    }
    TieCertificate(open);
    return 0;
}

// An attribute without its value ends the restore, but not before its key is in its container.
DWORD KeyImport::ImportKey(const PfxKeyBag& bag, OpenHandles* open) {
    BagEncryption encryption;
    const DWORD unknown = ReadBagEncryption(bag.pfxKeyInfo.PBES2Sheme, &encryption);
    if (unknown != 0) {
        return unknown;
    }
    BagAttributes attributes;
    const DWORD missing = ReadBagAttributes(bag.atributes, &attributes);
    localKeyId_ = attributes.localKeyId;
    isMachineKey_ = isMachineKey_ || attributes.isMachineKey;
    if (attributes.containerName) {
        containerName_ = *attributes.containerName;
    }
    ChooseContainerName(isMachineKey_, &containerName_);
    if (!CreateContainer(password_, {isMachineKey_, isSilent_}, &containerName_, &open->provider)) {
        return GetLastError();
    }
    return UnwrapKey(bag, encryption, open) ? missing : GetLastError();
}

// False with the reason in the last error.
bool KeyImport::UnwrapKey(const PfxKeyBag& bag, const BagEncryption& encryption,
                          OpenHandles* open) {
    if (!MakeBagKey(password_, open->provider.Get(), encryption, &open->sessionKey)) {
        return false;
    }
    const std::vector<BYTE> blob = MakeKeyBlob(bag.pfxKeyInfo.encrKey);
    return CryptImportKey(open->provider.Get(), blob.data(), static_cast<DWORD>(blob.size()),
                          open->sessionKey.Get(), isExportable_ ? CRYPT_EXPORTABLE : 0,
                          open->key.Put()) != FALSE;
}

// A key that no certificate belongs to is no error, and neither is one that can't be tied.
void KeyImport::TieCertificate(OpenHandles* open) {
    if (!bags_) {
        bags_.emplace(certificates_);
    }
    open->certificate = bags_->FindForKey(localKeyId_, ordinal_);
    if (open->certificate && CryptSetKeyParam(open->key.Get(), KP_CERTIFICATE,
                                              open->certificate.Get()->pbCertEncoded, 0)) {
        TieToContainer(store_, open->certificate.Get(), KeyPlace(containerName_, isMachineKey_));
    }
}

bool HasTwoDataContents(DerList* document) {
    DerList second;
    return FindNthByOid(document, kDataOid, 2, &second) != 0;
}

}  // namespace

int AddPfxKeysToCSP(const char* password, [[maybe_unused]] const char* providerName,
                    DerList document, HCERTSTORE store, DerList certificates, std::uint32_t flags,
                    std::uint8_t isSilent) {
    DWORD error = 0;
    try {
        if (!HasTwoDataContents(&document) || store == nullptr) {
            error = static_cast<DWORD>(NTE_BAD_DATA);
        } else {
            KeyImport import(password, store, certificates, flags, isSilent != 0);
            error = import.ImportAll(document);
        }
    } catch (const std::exception&) {
        error = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
    }
    SetLastError(error);
    return error == 0 ? 1 : 0;
}

}  // namespace pkisdk
