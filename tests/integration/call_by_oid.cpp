// A program that knows of the module nothing but the names of three sets and an identifier:
// call_by_oid DOCUMENT PASSWORD OUTPUT checks the password, restores the document and writes a new
// one of what was restored.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "platform/cryptoapi.h"

namespace {

// Its layout is that of the published records.
using Document = CRYPT_DATA_BLOB;

[[noreturn]] void Fail(const char* what) {
    std::fprintf(stderr, "%s: last error 0x%08x\n", what, static_cast<unsigned>(GetLastError()));
    std::exit(1);
}

template <typename Function>
class OidFunction {
  public:
    explicit OidFunction(const char* set) {
        void* address = nullptr;
        if (!CryptGetOIDFunctionAddress(CryptInitOIDFunctionSet(set, 0), X509_ASN_ENCODING,
                                        "1.2.643.2.4.12.2.1", 0, &address, &handle_)) {
            Fail(set);
        }
        function_ = reinterpret_cast<Function>(address);
    }
    ~OidFunction() { CryptFreeOIDFunctionAddress(handle_, 0); }
    OidFunction(const OidFunction&) = delete;
    OidFunction& operator=(const OidFunction&) = delete;

    // By which it is called.
    operator Function() const { return function_; }

  private:
    HCRYPTOIDFUNCADDR handle_ = nullptr;
    Function function_ = nullptr;
};

int CountCertificates(HCERTSTORE store) {
    int count = 0;
    PCCERT_CONTEXT certificate = nullptr;
    while ((certificate = CertEnumCertificatesInStore(store, certificate)) != nullptr) {
        ++count;
    }
    return count;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    std::ifstream input(argv[1], std::ios::binary);
    std::vector<char> bytes{std::istreambuf_iterator<char>(input), {}};
    Document document{static_cast<DWORD>(bytes.size()), reinterpret_cast<BYTE*>(bytes.data())};
    std::wstring password(64, L'\0');
    if (MultiByteToWideChar(CP_ACP, 0, argv[2], -1, password.data(), 64) == 0) {
        Fail("password");
    }

    const OidFunction<BOOL (*)(const Document*, LPCWSTR)> verify("CryptVLXVerifyPswPFX");
    if (!verify(&document, password.c_str()) || verify(&document, L"wrong")) {
        Fail("verify");
    }
    const OidFunction<HCERTSTORE (*)(const Document*, LPCWSTR, DWORD)> restore(
        "CryptVLXRestorePFX");
    const HCERTSTORE store = restore(&document, password.c_str(), CRYPT_EXPORTABLE);
    if (store == nullptr) {
        Fail("restore");
    }
    const OidFunction<BOOL (*)(HCERTSTORE, Document*, LPCWSTR, DWORD)> create("CryptVLXExportPFX");
    Document made{0, nullptr};
    if (!create(store, &made, password.c_str(), 0)) {
        Fail("size");
    }
    std::vector<BYTE> out(made.cbData);
    made.pbData = out.data();
    if (!create(store, &made, password.c_str(), 0) || !verify(&made, password.c_str())) {
        Fail("create");
    }
    std::ofstream(argv[3], std::ios::binary)
        .write(reinterpret_cast<const char*>(out.data()), static_cast<std::streamsize>(out.size()));
    std::printf("%d certificates\n", CountCertificates(store));
    CertCloseStore(store, 0);
}
