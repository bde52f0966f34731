#include "support/peer_openssl.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace test_support {

namespace {

constexpr char kConfiguration[] = R"(openssl_conf = init
[init]
engines = engines
[engines]
gost = gost
[gost]
engine_id = gost
default_algorithms = ALL
[req]
distinguished_name = name
[name]
)";

}  // namespace

PeerOpenssl::PeerOpenssl() {
    UseCipherParameters("id-Gost28147-89-CryptoPro-A-ParamSet");
    isMissing_ = Run("engine gost") != 0;
}

void PeerOpenssl::UseCipherParameters(const std::string& name) {
    const std::string sectionStart = "engine_id = gost\n";
    std::string text = kConfiguration;
    text.insert(text.find(sectionStart) + sectionStart.size(), "CRYPT_PARAMS = " + name + "\n");
    std::ofstream(folder_ / "openssl.cnf") << text;
}

void PeerOpenssl::Write(const std::string& file, std::span<const std::uint8_t> octets) const {
    std::ofstream(folder_ / file, std::ios::binary)
        .write(reinterpret_cast<const char*>(octets.data()),
               static_cast<std::streamsize>(octets.size()));
}

std::vector<std::uint8_t> PeerOpenssl::Read(const std::string& file) const {
    std::ifstream in(folder_ / file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

int PeerOpenssl::Run(const std::string& arguments) {
    const std::string command = "cd '" + (folder_ / "").string() +
                                "' && OPENSSL_CONF=openssl.cnf openssl " + arguments +
                                " >output.txt 2>&1";
    const int code = std::system(command.c_str());
    const std::vector<std::uint8_t> said = Read("output.txt");
    output_.assign(said.begin(), said.end());
    return code;
}

}  // namespace test_support
