#include "pfxexport/key_safe_bag.h"

#include <exception>
#include <list>

#include "asn/primitive_serializable.h"
#include "foundation/wide_to_ansi.h"
#include "pfxexport/bag_encryption_choice.h"
#include "pfxexport/export_constants.h"
#include "pfxexport/local_key_id.h"
#include "schema/attributes_set.h"
#include "schema/pfx_key_bag.h"

namespace pkisdk {

namespace {

Blob Encode(const asn::IAsnSerializable& object) {
    Blob bytes;
    object.SerializeToAsnNode({})->Serialize(&bytes);
    return bytes;
}

void AddAttribute(const char* oid, const asn::IAsnSerializable& value, std::list<Blob>* list) {
    asn::AttributesSet attribute;
    attribute.oid.SetText(oid);
    attribute.values.push_back(Encode(value));
    list->push_back(Encode(attribute));
}

void AddLocalKeyId(std::uint32_t keyIndex, std::list<Blob>* list) {
    const Blob id = LocalKeyId(keyIndex);
    AddAttribute(kLocalKeyIdOid, asn::readable::OctetStringMember("", &id), list);
}

// Under tag 19 and in the user's locale, where others write a BMPString.
void AddText(const char* oid, const std::wstring& text, std::list<Blob>* list) {
    AddAttribute(oid, asn::readable::ByteStringMember("", &text), list);
}

void AddAttributes(std::uint32_t keyIndex, DWORD flags, const CRYPT_KEY_PROV_INFO* info,
                   const std::string& friendlyName, std::list<Blob>* list) {
    if (keyIndex != 0) {
        AddLocalKeyId(keyIndex, list);
    }
    if ((flags & kWithNames) == 0 || info == nullptr) {
        return;
    }
    if (info->pwszProvName != nullptr) {
        AddText(kProviderNameOid, info->pwszProvName, list);
    }
    std::wstring wideName;
    AnsiToWide(friendlyName, &wideName);
    AddText(kFriendlyNameOid, wideName, list);
}

}  // namespace

int BuildKeySafeBag(IBlob* bag, std::uint32_t keyIndex, const Blob& wrappedKey, const Blob& salt,
                    const Blob& initialVector, const CRYPT_KEY_PROV_INFO* info,
                    const std::string& friendlyName, [[maybe_unused]] ALG_ID keyAlgorithm,
                    ALG_ID hashAlgorithm, DWORD flags, [[maybe_unused]] const Blob& thumbprint,
                    std::uint32_t iterations) {
    bag->Clear();
    DWORD error = static_cast<DWORD>(NTE_BAD_ALGID);
    const EncryptionOids* const oids = FindEncryptionOids(hashAlgorithm);
    if (oids != nullptr) {
        try {
            std::string cipherOid;
            if (FindCipherOid(&cipherOid)) {
                PfxKeyBag keyBag;
                FillScheme({*oids, cipherOid, salt, initialVector, iterations},
                           &keyBag.pfxKeyInfo.PBES2Sheme);
                keyBag.pfxKeyInfo.encrKey = wrappedKey;
                AddAttributes(keyIndex, flags, info, friendlyName, &keyBag.atributes);
                const Blob bytes = Encode(keyBag);
                bag->Assign(bytes.GetData(), bytes.GetSize());
                error = 0;
            }
        } catch (const std::exception&) {
            error = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
        }
    }
    SetLastError(error);
    return bag->IsEmpty() ? 0 : 1;
}

}  // namespace pkisdk
