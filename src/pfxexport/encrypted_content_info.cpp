#include "pfxexport/encrypted_content_info.h"

#include <exception>
#include <string>
#include <utility>

#include "pfxexport/bag_encryption_choice.h"
#include "pfxexport/failure.h"
#include "pfxexport/list_building.h"
#include "schema/encr_content.h"

namespace pkisdk {

namespace {

Failure AppendContent(DerList* list, Blob cipherText, const Blob& salt, const Blob& initialVector,
                      const EncryptionOids& oids, std::uint32_t iterations) {
    std::string cipherOid;
    if (!FindCipherOid(&cipherOid)) {
        return FailWith(NTE_BAD_ALGID);
    }
    try {
        EncrContent content;
        FillScheme({oids, cipherOid, salt, initialVector, iterations},
                   &content.encrContentInfo.PBES2Sheme);
        content.encrContentInfo.EncryptedData = std::move(cipherText);
        Blob bytes;
        content.SerializeToAsnNode({})->Serialize(&bytes);
        AppendNode(list, 1, kContext0Tag, std::move(bytes));
    } catch (const std::exception&) {
        return FailWith(CRYPT_E_ASN1_CORRUPT);
    }
    return kSuccess;
}

}  // namespace

int BuildEncryptedContentInfo(DerList* list, Blob cipherText, Blob salt, Blob initialVector,
                              [[maybe_unused]] ALG_ID keyAlgorithm, ALG_ID hashAlgorithm,
                              std::uint32_t iterations) {
    const EncryptionOids* const oids = FindEncryptionOids(hashAlgorithm);
    if (oids == nullptr) {
        return Answer(FailWith(NTE_BAD_ALGID));
    }
    if (list == nullptr) {
        return Answer(FailWith(NTE_BAD_DATA));
    }
    list->clear();
    AppendNode(list, 0, kSequenceTag);
    AppendOid(list, 1, kEncryptedDataOid);
    return Answer(
        AppendContent(list, std::move(cipherText), salt, initialVector, *oids, iterations));
}

}  // namespace pkisdk
