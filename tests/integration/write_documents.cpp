// Makes one document of each family of keys, under salts that are told, and writes it into a folder
// with all that it was made from: write_documents FOLDER. A program of its own, so that another one
// can make the same documents from that by other means.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "mvlpfx/mvlpfx.h"
#include "support/export_salts.h"
#include "support/key_store.h"

namespace {

using test_support::CertificateBytes;

constexpr char kPassword[] = "Пароль 1";
constexpr wchar_t kWidePassword[] = L"Пароль 1";
constexpr DWORD kWithNames = 0x10;

void Write(const std::filesystem::path& path, const std::vector<BYTE>& bytes) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

std::vector<BYTE> Create(HCERTSTORE store, DWORD flags) {
    PfxBlob pfx{0, nullptr};
    if (!UzCreatePFX(store, &pfx, kWidePassword, flags)) {
        return {};
    }
    std::vector<BYTE> document(pfx.cbData);
    pfx.pbData = document.data();
    return UzCreatePFX(store, &pfx, kWidePassword, flags) ? document : std::vector<BYTE>{};
}

// A certificate without a key, two keys, and a certificate again. False where nothing was made.
bool WriteDocument(const std::filesystem::path& folder, ALG_ID algorithm, DWORD flags) {
    std::filesystem::create_directories(folder);
    const test_support::KeyStore store;
    store.Add(test_support::Chain().root);
    store.AddKey("first", algorithm);
    store.AddKey("Второй", algorithm);
    store.Add(test_support::Chain().issuer);
    const std::vector<CertificateBytes> certificates = store.Store().All();
    const test_support::ExportSalts salts(0x51);
    const std::vector<BYTE> document = Create(store.Get(), flags);
    Write(folder / "document.pfx", document);
    std::ofstream facts(folder / "facts.txt");
    facts << "password " << kPassword << "\nsalt_octet " << int{salts.Octet()} << '\n';
    for (std::size_t i = 0; i < certificates.size(); ++i) {
        const bool isKeys = i == 1 || i == 2;
        const std::string file = std::to_string(i) + ".der";
        Write(folder / file, certificates[i]);
        facts << (isKeys ? "key_certificate " : "certificate ") << file << '\n';
    }
    if ((flags & kWithNames) != 0) {
        facts << "provider_name " << test_support::kProviderName
              << "\nfriendly_name first\nfriendly_name Второй\n";
    }
    return !document.empty();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: write_documents FOLDER\n";
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    const bool areMade = WriteDocument(folder / "2001", 0x2E23, 0) &&
                         WriteDocument(folder / "2012-256", 0x2E49, kWithNames) &&
                         WriteDocument(folder / "2012-512", 0x2E3D, 0);
    if (!areMade) {
        std::cerr << "no document: last error 0x" << std::hex << GetLastError() << '\n';
    }
    return areMade ? 0 : 1;
}
