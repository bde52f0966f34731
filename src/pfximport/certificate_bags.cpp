#include "pfximport/certificate_bags.h"

#include <algorithm>
#include <iterator>

#include "derlist/der_queries.h"
#include "pfximport/bag_identifiers.h"

namespace pkisdk {

namespace {

std::string ToKey(const Blob& id) {
    const auto octets = id.Bytes();
    return {octets.begin(), octets.end()};
}

std::string ToKey(std::uint32_t ordinal) {
    std::string key;
    for (int shift = 0; shift < 32; shift += 8) {
        key.push_back(static_cast<char>(ordinal >> shift));
    }
    return key;
}

// The value of an attribute's structure: its last node.
bool FindLocalKeyId(const DerList& bag, std::string* id) {
    DerList attribute;
    if (FindByOid(&bag, kLocalKeyIdOid, &attribute) == 0) {
        return false;
    }
    Blob content;
    GetLastNodeContent(attribute, &content);
    *id = ToKey(content);
    return true;
}

bool IsHashOf(const CERT_CONTEXT& certificate, const Blob& hash) {
    constexpr DWORD kSha1Size = 20;
    Blob found(kSha1Size);
    DWORD size = kSha1Size;
    return CryptHashCertificate(0, CALG_SHA1, 0, certificate.pbCertEncoded,
                                certificate.cbCertEncoded, found.GetData(), &size) != FALSE &&
           found == hash;
}

}  // namespace

void GetLastNodeContent(const DerList& list, Blob* content) {
    if (list.empty()) {
        content->Clear();
    } else {
        *content = list.back().content;
    }
}

CertificateBags::CertificateBags(const DerList& content) {
    OidMatchCursor cursor(content, kCertBagOid);
    DerList structure;
    while (cursor.MoveNext() && cursor.GetStructure(&structure) != 0) {
        Bag bag;
        if (!FindLocalKeyId(structure, &bag.localKeyId)) {
            continue;
        }
        ExtractBagCertificate(structure, &bag.certificate);
        byLocalKeyId_[bag.localKeyId].push_back(bags_.size());
        bags_.push_back(std::move(bag));
    }
}

const std::vector<std::size_t>* CertificateBags::BagsWith(const std::string& localKeyId) const {
    static const std::vector<std::size_t> none;
    const auto found = byLocalKeyId_.find(localKeyId);
    return found == byLocalKeyId_.end() ? &none : &found->second;
}

CertContext CertificateBags::FindForKey(const Blob& localKeyId, std::uint32_t ordinal) const {
    const std::string wanted = ToKey(localKeyId);
    const auto* const byId = BagsWith(wanted);
    const auto* const byNumber = BagsWith(ToKey(ordinal));
    std::vector<std::size_t> candidates;
    std::ranges::set_union(*byId, *byNumber, std::back_inserter(candidates));
    for (const std::size_t place : candidates) {
        const Blob& encoded = bags_[place].certificate;
        CertContext certificate(encoded.IsEmpty() ? nullptr
                                                  : CertCreateCertificateContext(
                                                        kCertificateEncoding, encoded.GetData(),
                                                        static_cast<DWORD>(encoded.GetSize())));
        if (certificate) {
            const bool fits =
                bags_[place].localKeyId == wanted || IsHashOf(*certificate.Get(), localKeyId);
            return fits ? std::move(certificate) : CertContext();
        }
    }
    return {};
}

}  // namespace pkisdk
