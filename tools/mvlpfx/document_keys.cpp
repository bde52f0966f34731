#include "mvlpfx/document_keys.h"

#include <exception>

#include "asn/asn_object_readable.h"
#include "asn/primitive_serializable.h"
#include "derlist/der_parser.h"
#include "derlist/der_queries.h"
#include "foundation/exception.h"
#include "mvlpfx/document_outline.h"
#include "pfxcrypto/pfx_constants.h"
#include "pfximport/bag_attributes.h"
#include "pfximport/bag_identifiers.h"
#include "pfximport/bag_walk.h"
#include "schema/attributes_set.h"
#include "schema/encr_content.h"
#include "schema/pfx_key_bag.h"

namespace mvlpfx {

namespace {

namespace asn = pkisdk::asn;

pkisdk::DerList Parse(std::span<const std::uint8_t> document) {
    pkisdk::DerList list;
    pkisdk::ParseDerList(document.data(), static_cast<std::int32_t>(document.size()), &list);
    return list;
}

// False where there is no encrypted content.
bool ReadEncryptedContent(const pkisdk::DerList& document, EncrContent* content) {
    constexpr std::int32_t kEncryptedDataIndex = 3;
    pkisdk::DerList contentInfo;
    pkisdk::Blob bytes;
    if (pkisdk::FindByOid(&document, pkisdk::kEncryptedDataOid, &contentInfo) == 0 ||
        pkisdk::FlattenSubtree(contentInfo, kEncryptedDataIndex, &bytes) == 0) {
        return false;
    }
    content->DeserializeFromAsnObject(asn::AsnObjectReadable::FromBlob(bytes), "encrypted content");
    return true;
}

std::uint64_t IterationsOf(const asn::PBES2AlgIdentifier& scheme) {
    return IterationsRun(scheme.KezDeriv.additionalInfo.IterCount);
}

std::uint64_t MacIterations(std::span<const std::uint8_t> document) {
    return IterationsRun(OutlineMac(document).iterations);
}

// Throws what the schema throws.
std::uint64_t ContentIterations(const pkisdk::DerList& document) {
    EncrContent content;
    return ReadEncryptedContent(document, &content)
               ? IterationsOf(content.encrContentInfo.PBES2Sheme)
               : 0;
}

// Throws where the restore finds a key's bag malformed.
void ReadKey(const PfxKeyBag& bag) {
    pkisdk::BagAttributes attributes;
    if (pkisdk::ReadBagAttributes(bag.atributes, &attributes) != 0) {
        throw pkisdk::Exception(0, "a key's identifier or friendly name has no value");
    }
}

void CollectNumbers(const PfxKeyBag& bag, std::set<std::uint32_t>* numbers) {
    for (const pkisdk::Blob& encoded : bag.atributes) {
        asn::AttributesSet attribute;
        attribute.DeserializeFromAsnObject(asn::AsnObjectReadable::FromBlob(encoded), "attribute");
        std::string oid;
        attribute.oid.GetText(&oid);
        if (oid == pkisdk::kLocalKeyIdOid && !attribute.values.empty()) {
            pkisdk::Blob id;
            asn::OctetStringMember(".localKeyId", &id)
                .DeserializeFromAsnObject(
                    asn::AsnObjectReadable::FromBlob(attribute.values.front()), "attribute");
            std::uint32_t number = 0;
            for (std::size_t i = id.GetSize(); i-- > 0;) {
                number = number << 8 | id.Bytes()[i];
            }
            numbers->insert(number);
        }
    }
}

}  // namespace

std::uint64_t IterationsRun(std::uint64_t count) {
    return count == 0 ? pkisdk::kDefaultIterations : count;
}

void ForEachKeyBag(const pkisdk::DerList& document,
                   const std::function<void(const PfxKeyBag&, std::uint32_t)>& take) {
    constexpr std::uint32_t kKeyInfoIndex = 2;
    pkisdk::BagWalk bags(document, pkisdk::kShroudedKeyBagOid);
    pkisdk::DerList structure;
    for (std::uint32_t ordinal = 1; bags.Next(&structure); ++ordinal) {
        pkisdk::DerList keyInfo;
        pkisdk::Blob bytes;
        if (pkisdk::ParseSubtree(structure, kKeyInfoIndex, &keyInfo) != 0 &&
            pkisdk::FlattenSubtree(structure, 0, &bytes) != 0) {
            PfxKeyBag bag;
            bag.DeserializeFromAsnObject(asn::AsnObjectReadable::FromBlob(bytes), "key bag");
            take(bag, ordinal);
        }
    }
}

std::set<std::uint32_t> KeyNumbers(std::span<const std::uint8_t> document) {
    std::set<std::uint32_t> numbers;
    ForEachKeyBag(Parse(document),
                  [&](const PfxKeyBag& bag, std::uint32_t) { CollectNumbers(bag, &numbers); });
    return numbers;
}

std::uint64_t CountIterations(std::span<const std::uint8_t> document) {
    const pkisdk::DerList list = Parse(document);
    std::uint64_t count = 2 * MacIterations(document);
    try {
        count += ContentIterations(list);
        ForEachKeyBag(list, [&](const PfxKeyBag& bag, std::uint32_t) {
            count += IterationsOf(bag.pfxKeyInfo.PBES2Sheme);
        });
    } catch (const std::exception&) {
        // What throws here throws in the restore too, which ends there.
    }
    return count;
}

std::uint64_t CountContentIterations(std::span<const std::uint8_t> document) {
    std::uint64_t count = MacIterations(document);
    try {
        count += ContentIterations(Parse(document));
    } catch (const std::exception&) {
        // Nor will it be decrypted then.
    }
    return count;
}

std::string FindMalformedPart(std::span<const std::uint8_t> document) {
    const pkisdk::DerList list = Parse(document);
    try {
        EncrContent content;
        ReadEncryptedContent(list, &content);
        ForEachKeyBag(list, [](const PfxKeyBag& bag, std::uint32_t) { ReadKey(bag); });
    } catch (const std::exception& error) {
        return error.what();
    }
    return {};
}

}  // namespace mvlpfx
