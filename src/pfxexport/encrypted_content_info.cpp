#include "pfxexport/encrypted_content_info.h"

#include <exception>
#include <string>
#include <utility>

#include "pfxexport/bag_encryption_choice.h"
#include "pfxexport/list_building.h"
#include "schema/encr_content.h"

namespace pkisdk {

namespace {

// Answers the error word.
DWORD AppendContent(DerList* list, Blob cipherText, const Blob& salt, const Blob& initialVector,
                    const EncryptionOids& oids, std::uint32_t iterations) {
    std::string cipherOid;
    if (!FindCipherOid(&cipherOid)) {
        return static_cast<DWORD>(NTE_BAD_ALGID);
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
        return static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);
    }
    return 0;
}

}  // namespace

int BuildEncryptedContentInfo(DerList* list, Blob cipherText, Blob salt, Blob initialVector,
                              [[maybe_unused]] ALG_ID keyAlgorithm, ALG_ID hashAlgorithm,
                              std::uint32_t iterations) {
    DWORD error = 0;
    const EncryptionOids* const oids = FindEncryptionOids(hashAlgorithm);
    if (oids == nullptr) {
        error = static_cast<DWORD>(NTE_BAD_ALGID);
    } else if (list == nullptr) {
        error = static_cast<DWORD>(NTE_BAD_DATA);
    } else {
        list->clear();
        AppendNode(list, 0, kSequenceTag);
        AppendOid(list, 1, kEncryptedDataOid);
        error = AppendContent(list, std::move(cipherText), salt, initialVector, *oids, iterations);
    }
    SetLastError(error);
    return error == 0 ? 1 : 0;
}

}  // namespace pkisdk
