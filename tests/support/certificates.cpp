#include "support/certificates.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "support/reference_der_list.h"

namespace test_support {

namespace {

CertificateBytes FromPem(const CertificateBytes& text) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> input(
        BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), &BIO_free);
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* data = nullptr;
    long size = 0;
    CertificateBytes bytes;
    if (PEM_read_bio(input.get(), &name, &header, &data, &size) == 1) {
        bytes.assign(data, data + size);
    }
    OPENSSL_free(name);
    OPENSSL_free(header);
    OPENSSL_free(data);
    return bytes;
}

CertificateBytes ReadData(const std::string& name) {
    return ReadCertificate(std::filesystem::path(MVLPFX_TEST_DATA) / "certificates" /
                           (name + ".der"));
}

}  // namespace

CertificateBytes ReadCertificate(const std::filesystem::path& file) {
    std::ifstream input(file, std::ios::binary);
    const CertificateBytes bytes{std::istreambuf_iterator<char>(input), {}};
    constexpr BYTE kSequence = 0x30;
    return !bytes.empty() && bytes[0] == kSequence ? bytes : FromPem(bytes);
}

const TestChain& Chain() {
    static const TestChain chain{ReadData("root"), ReadData("issuer"), ReadData("leaf"),
                                 ReadData("other_leaf"), ReadData("newer_leaf")};
    return chain;
}

bool ComesBackFromReading(const CertificateBytes& certificate) {
    reference::List list;
    if (reference::ParseDerList(certificate.data(), static_cast<std::int32_t>(certificate.size()),
                                &list) == 0) {
        return false;
    }
    reference::Bytes written;
    for (auto node = list.cbegin(); node != list.cend();) {
        reference::WriteDerNode(node, &written);
    }
    return written == certificate;
}

std::vector<CertificateBytes> GostCertificates() {
    std::vector<CertificateBytes> certificates;
    for (const char* const name :
         {"openssl_gost2001", "openssl_gost2012_256", "openssl_gost2012_512", "certtool_gost12_256",
          "certtool_gost12_512"}) {
        certificates.push_back(ReadData(name));
    }
    return certificates;
}

}  // namespace test_support
