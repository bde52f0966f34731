#include "pfximport/certificate_bags.h"

#include <utility>

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
bool FindLocalKeyId(const DerSpans& bag, std::string* id) {
    DerSpans attribute;
    if (!bag.FindByOid(kLocalKeyIdOid, &attribute)) {
        return false;
    }
    Blob content;
    GetLastNodeContent(attribute, &content);
    *id = ToKey(content);
    return true;
}

CertContext Decode(const Blob& encoded) {
    return CertContext(encoded.IsEmpty()
                           ? nullptr
                           : CertCreateCertificateContext(kCertificateEncoding, encoded.GetData(),
                                                          static_cast<DWORD>(encoded.GetSize())));
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

void GetLastNodeContent(const DerSpans& list, Blob* content) {
    content->Clear();
    if (!list.Nodes().empty()) {
        const auto last = list.Nodes().back().content;
        content->Assign(last.data(), last.size());
    }
}

CertificateBags::CertificateBags(const DerList& content) : walk_(content, kCertBagOid) {}

// False where there is no bag any more.
bool CertificateBags::IndexNext() {
    DerSpans structure;
    isAtEnd_ = isAtEnd_ || !walk_.Next(&structure);
    if (isAtEnd_) {
        return false;
    }
    std::string localKeyId;
    if (FindLocalKeyId(structure, &localKeyId)) {
        Bag bag{passed_, {}};
        ExtractBagCertificate(structure, &bag.certificate);
        byLocalKeyId_[localKeyId].push_back(std::move(bag));
    }
    ++passed_;
    return true;
}

CertificateBags::Bags* CertificateBags::BagsWith(const std::string& localKeyId) {
    const auto found = byLocalKeyId_.find(localKeyId);
    return found == byLocalKeyId_.end() || found->second.empty() ? nullptr : &found->second;
}

CertContext CertificateBags::FindForKey(const Blob& localKeyId, std::uint32_t ordinal) {
    const std::string wanted = ToKey(localKeyId);
    const std::string number = ToKey(ordinal);
    for (;;) {
        Bags* const byId = BagsWith(wanted);
        Bags* const byNumber = BagsWith(number);
        if (byId == nullptr && byNumber == nullptr) {
            if (!IndexNext()) {
                return {};
            }
            continue;
        }
        const bool isById = byNumber == nullptr ||
                            (byId != nullptr && byId->front().place <= byNumber->front().place);
        Bags* const first = isById ? byId : byNumber;
        CertContext certificate = Decode(first->front().certificate);
        if (certificate) {
            const bool fits = isById || IsHashOf(*certificate.Get(), localKeyId);
            return fits ? std::move(certificate) : CertContext();
        }
        first->pop_front();
    }
}

}  // namespace pkisdk
