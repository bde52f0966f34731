#include "mvlpfx/self_signed.h"

namespace mvlpfx {

OwnedCertificate SignOwnCertificate(HCRYPTPROV context, CertificateContent content) {
    CERT_NAME_BLOB name{static_cast<DWORD>(content.name.size()), content.name.data()};
    CRYPT_KEY_PROV_INFO info{};
    info.dwKeySpec = AT_SIGNATURE;
    OwnedCertificate certificate(CertCreateSelfSignCertificate(
        context, &name, 0, &info, nullptr, nullptr, &content.end, &content.extensions));
    RequireCall(certificate ? TRUE : FALSE, "can't make the certificate");
    return certificate;
}

}  // namespace mvlpfx
