// Writes the certificates of "MY" and their keys to a document, and restores it into memory to see
// that they all come back: backup FILE, with the password in the variable PFX_PASSWORD.
#include <mvlpfx/mvlpfx.h>

#include <clocale>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace {

struct CloseStore {
    void operator()(HCERTSTORE store) const { CertCloseStore(store, 0); }
};
using Store = std::unique_ptr<std::remove_pointer_t<HCERTSTORE>, CloseStore>;

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what + ": error " + std::to_string(GetLastError()));
}

std::wstring PasswordFromEnvironment() {
    const char* const text = std::getenv("PFX_PASSWORD");
    if (text == nullptr) {
        throw std::runtime_error("PFX_PASSWORD is not set");
    }
    std::wstring wide(std::string(text).size(), L'\0');
    const std::size_t length = std::mbstowcs(wide.data(), text, wide.size());
    wide.resize(length == static_cast<std::size_t>(-1) ? 0 : length);
    return wide;
}

std::vector<BYTE> MakeDocument(HCERTSTORE store, const std::wstring& password) {
    // Asking for the size first would do the whole work twice.
    std::vector<BYTE> document(1U << 20);
    PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    while (!UzCreatePFX(store, &pfx, password.c_str(), 0)) {
        if (GetLastError() != ERROR_MORE_DATA) {
            Fail("no document");
        }
        document.resize(pfx.cbData);
        pfx.pbData = document.data();
    }
    document.resize(pfx.cbData);
    return document;
}

int Count(HCERTSTORE store) {
    int count = 0;
    PCCERT_CONTEXT at = nullptr;
    while ((at = CertEnumCertificatesInStore(store, at)) != nullptr) {
        ++count;
    }
    return count;
}

void Backup(const std::string& path) {
    const std::wstring password = PasswordFromEnvironment();
    const Store my(CertOpenStore(CERT_STORE_PROV_SYSTEM_A, 0, 0,
                                 CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG, "MY"));
    if (!my) {
        Fail("MY can't be opened");
    }
    std::vector<BYTE> document = MakeDocument(my.get(), password);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(document.data()),
               static_cast<std::streamsize>(document.size()));

    // This makes new containers for the keys, as any restore does.
    const PfxBlob pfx{static_cast<DWORD>(document.size()), document.data()};
    const Store restored(UzRestorePFX(&pfx, password.c_str(), 0));
    if (!restored) {
        Fail("the document does not restore");
    }
    std::cout << Count(my.get()) << " certificates written, " << Count(restored.get())
              << " restored\n";
}

}  // namespace

int main(int argc, char** argv) {
    std::setlocale(LC_ALL, "");
    if (argc != 2) {
        std::cerr << "usage: PFX_PASSWORD=... backup FILE\n";
        return 2;
    }
    try {
        Backup(argv[1]);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    return 0;
}
