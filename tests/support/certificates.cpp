#include "support/certificates.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "support/reference_der_list.h"
#include "support/scoped_environment.h"

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

void Run(const std::string& command) {
    if (std::system((command + " >/dev/null 2>&1").c_str()) != 0) {
        throw std::runtime_error(command);
    }
}

constexpr char kMakeChain[] = R"(set -e; cd "$0"
openssl ecparam -name prime256v1 -genkey -noout -out k.pem
printf 'basicConstraints=critical,CA:TRUE\nsubjectKeyIdentifier=hash\n' > ca.ext
printf 'subjectKeyIdentifier=hash\n' > leaf.ext
sign() { openssl x509 -req -in $1.csr -CA $2.pem -CAkey k.pem -set_serial $3 $4 -extfile $5 \
    -out $1.pem; }
openssl req -new -x509 -key k.pem -subj "/O=Test/CN=Root" -days 3650 -out root.pem
openssl req -new -key k.pem -subj "/O=Test/CN=Issuer" -out issuer.csr
openssl req -new -key k.pem -subj "/C=RU/O=Test/CN=Leaf One/emailAddress=leaf@example.org" \
    -out leaf.csr
cp leaf.csr newer.csr
openssl req -new -key k.pem -subj "/O=Test/CN=Leaf Two" -out other.csr
sign issuer root 2 "-days 3650" ca.ext
sign leaf issuer 0xFEDCBA9876543210 "-days 3650" leaf.ext
sign other issuer 7 "-days 3650" leaf.ext
sleep 1
sleep 1
sign newer issuer 0xFEDCBA9876543210 "-days 3651" leaf.ext
)";

// The engine's private keys of each kind, and GnuTLS's.
constexpr char kMakeGost[] = R"(set -e; cd "$0"
printf 'openssl_conf=a\n[a]\nengines=b\n[b]\ngost=c\n[c]\nengine_id=gost\n' > gost.cnf
printf 'default_algorithms=ALL\n[req]\ndistinguished_name=d\n[d]\n' >> gost.cnf
n=0
for alg in gost2001 gost2012_256 gost2012_512; do n=$((n+1))
  OPENSSL_CONF=gost.cnf openssl req -x509 -newkey $alg -pkeyopt paramset:A -nodes \
      -keyout k$n.key -subj "/CN=$alg" -out o$n.pem
done
n=0
for curve in 256-B 512-A; do n=$((n+1)); bits=${curve%-*}
  printf 'cn = "gost12-%s"\nexpiration_days = 365\n' $bits > t.cfg
  certtool --generate-privkey --key-type gost12-$bits --curve TC26-$curve \
      --outfile g$n.key
  certtool --generate-self-signed --load-privkey g$n.key --template t.cfg --outfile g$n.pem
done
)";

void MakeIn(const ScopedFolder& folder, const std::string& script) {
    std::ofstream(folder / "make.sh") << script;
    const std::string path = (folder / "make.sh").string();
    Run("sh -c '. " + path + "' '" + (folder / "").string() + "'");
}

TestChain MakeChain() {
    const ScopedFolder folder;
    MakeIn(folder, kMakeChain);
    return {ReadCertificate(folder / "root.pem"), ReadCertificate(folder / "issuer.pem"),
            ReadCertificate(folder / "leaf.pem"), ReadCertificate(folder / "other.pem"),
            ReadCertificate(folder / "newer.pem")};
}

}  // namespace

CertificateBytes ReadCertificate(const std::filesystem::path& file) {
    std::ifstream input(file, std::ios::binary);
    const CertificateBytes bytes{std::istreambuf_iterator<char>(input), {}};
    constexpr BYTE kSequence = 0x30;
    return !bytes.empty() && bytes[0] == kSequence ? bytes : FromPem(bytes);
}

const TestChain& Chain() {
    static const TestChain chain = MakeChain();
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
    const ScopedFolder folder;
    MakeIn(folder, kMakeGost);
    std::vector<CertificateBytes> certificates;
    for (const char* const name : {"o1.pem", "o2.pem", "o3.pem", "g1.pem", "g2.pem"}) {
        certificates.push_back(ReadCertificate(folder / name));
    }
    return certificates;
}

}  // namespace test_support
