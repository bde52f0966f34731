#include <array>
#include <cstdio>
#include <ctime>
#include <optional>

#include "derlist/round_trip.h"
#include "mvlpfx/commands.h"
#include "mvlpfx/container_names.h"
#include "mvlpfx/error_words.h"
#include "mvlpfx/exit_codes.h"
#include "mvlpfx/handles.h"
#include "mvlpfx/interruption.h"
#include "mvlpfx/key_algorithms.h"
#include "mvlpfx/report.h"
#include "mvlpfx/self_signed.h"
#include "platform/csp_parameters.h"

namespace mvlpfx {

namespace {

std::vector<BYTE> EncodeSubject(const std::string& subject) {
    // The empty name is one, but no issuer's.
    if (subject.find_first_not_of(' ') == subject.npos) {
        throw ToolError(ExitCode::kUsage, "the subject is empty", 0,
                        "name it as \"CN=Ivan Petrov, C=RU\"");
    }
    DWORD size = 0;
    LPCSTR stop = nullptr;
    if (CertStrToNameA(X509_ASN_ENCODING, subject.c_str(), CERT_X500_NAME_STR, nullptr, nullptr,
                       &size, &stop) == FALSE) {
        const std::string place = stop == nullptr ? "" : std::string(" at \"") + stop + "\"";
        throw ToolError(ExitCode::kUsage,
                        "the subject is no name like \"CN=Ivan Petrov, C=RU\"" + place);
    }
    std::vector<BYTE> name(size);
    RequireCall(CertStrToNameA(X509_ASN_ENCODING, subject.c_str(), CERT_X500_NAME_STR, nullptr,
                               name.data(), &size, nullptr),
                "can't encode the subject");
    return name;
}

std::string RandomName(bool machine) {
    OwnedContext context;
    std::array<BYTE, 8> random{};
    RequireCall(AcquireContext(nullptr, CRYPT_VERIFYCONTEXT, machine, &context) &&
                    CryptGenRandom(context.Get(), random.size(), random.data()) != FALSE,
                "can't draw a name for the container");
    std::string name = "key-";
    for (const BYTE octet : random) {
        constexpr char kDigits[] = "0123456789abcdef";
        name += kDigits[octet >> 4];
        name += kDigits[octet & 15];
    }
    return name;
}

// A container that goes again unless all is done.
class NewContainer {
  public:
    NewContainer(std::string name, bool machine) : name_(std::move(name)), machine_(machine) {
        const std::string folder = ContainerFolder(machine);
        RequireCall(AcquireContext(name_.c_str(), CRYPT_NEWKEYSET, machine, &context_),
                    "can't make the container '" + name_ + "' in " + folder);
    }
    ~NewContainer() {
        if (context_) {
            context_ = OwnedContext();
            OwnedContext none;
            AcquireContext(name_.c_str(), CRYPT_DELETEKEYSET, machine_, &none);
        }
    }
    NewContainer(const NewContainer&) = delete;
    NewContainer& operator=(const NewContainer&) = delete;

    HCRYPTPROV Get() const { return context_.Get(); }
    void Keep() { CryptReleaseContext(context_.Leave(), 0); }

  private:
    std::string name_;
    bool machine_;
    OwnedContext context_;
};

void SetPin(HCRYPTPROV context, const Secret<char>& pin) {
    RequireCall(CryptSetProvParam(context, PP_SIGNATURE_PIN,
                                  reinterpret_cast<const BYTE*>(pin.Text().c_str()), 0),
                "can't set the container's PIN");
}

OwnedKey GenerateKey(HCRYPTPROV context, const NewOptions& options, const KeyAlgorithm& algorithm) {
    if (!options.curve.empty()) {
        RequireCall(CryptSetProvParam(context, PP_SIGNATURE_CURVE,
                                      reinterpret_cast<const BYTE*>(options.curve.c_str()), 0),
                    "can't use the curve " + options.curve);
    }
    OwnedKey key;
    RequireCall(
        CryptGenKey(context, algorithm.id, options.exportable ? CRYPT_EXPORTABLE : 0, key.Fill()),
        "can't make a key");
    return key;
}

SYSTEMTIME DaysFromNow(unsigned days) {
    SYSTEMTIME now{};
    GetSystemTime(&now);
    FILETIME time{};
    constexpr ULONGLONG kUnitsPerDay = 864'000'000'000;
    SystemTimeToFileTime(&now, &time);
    const ULONGLONG units =
        (ULONGLONG{time.dwHighDateTime} << 32 | time.dwLowDateTime) + kUnitsPerDay * days;
    time = {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
    SYSTEMTIME end{};
    FileTimeToSystemTime(&time, &end);
    return end;
}

OwnedCertificate SignCertificate(HCRYPTPROV context, const NewOptions& options,
                                 const std::vector<BYTE>& subject) {
    // A certificate that signs itself is an authority, if of itself alone; readers insist on that.
    // BasicConstraints: SEQUENCE { cA TRUE, pathLenConstraint 0 }. KeyUsage: digitalSignature,
    // nonRepudiation, keyEncipherment, dataEncipherment, keyAgreement, keyCertSign.
    std::array<BYTE, 8> constraints{0x30, 0x06, 0x01, 0x01, 0xFF, 0x02, 0x01, 0x00};
    std::array<BYTE, 4> usage{0x03, 0x02, 0x02, 0xFC};
    std::string constraintsOid = "2.5.29.19";
    std::string usageOid = "2.5.29.15";
    std::array<CERT_EXTENSION, 2> list{
        {{constraintsOid.data(), TRUE, {constraints.size(), constraints.data()}},
         {usageOid.data(), TRUE, {usage.size(), usage.data()}}}};
    return SignOwnCertificate(context,
                              {subject, DaysFromNow(options.days), {list.size(), list.data()}});
}

bool FitsDocument(PCCERT_CONTEXT certificate) {
    return pkisdk::ComesOutUnchanged({certificate->pbCertEncoded, certificate->cbCertEncoded});
}

struct SignedKey {
    OwnedKey key;
    OwnedCertificate certificate;
};

// One certificate in some ten thousand has a key or a signature whose octets the reader of
// documents would change, so that no document could hold it: then another key is drawn. One that
// never fits has something else in it that does not, and serves as what it is.
SignedKey DrawKey(HCRYPTPROV context, const NewOptions& options, const KeyAlgorithm& algorithm,
                  const std::vector<BYTE>& subject) {
    constexpr int kDraws = 8;
    for (int draw = 1;; ++draw) {
        OwnedKey key = GenerateKey(context, options, algorithm);
        OwnedCertificate certificate = SignCertificate(context, options, subject);
        if (draw == kDraws || FitsDocument(certificate.Get())) {
            return {std::move(key), std::move(certificate)};
        }
    }
}

}  // namespace

void RunNew(const NewOptions& options) {
    const KeyAlgorithm& algorithm = FindKeyAlgorithm(options.algorithm);
    const std::vector<BYTE> subject = EncodeSubject(options.subject);
    const OwnedStore store = OpenSystemStore("MY", options.machine);
    const std::string name =
        options.container.empty() ? RandomName(options.machine) : options.container;
    std::optional<Secret<char>> pin;
    if (options.pin.IsNamed()) {
        pin.emplace(ReadPin(options.pin));
    }
    DeferSignals();
    NewContainer container(name, options.machine);
    if (pin) {
        SetPin(container.Get(), *pin);
    }
    const SignedKey drawn = DrawKey(container.Get(), options, algorithm, subject);
    PCCERT_CONTEXT const certificate = drawn.certificate.Get();
    RequireCall(CryptSetKeyParam(drawn.key.Get(), KP_CERTIFICATE, certificate->pbCertEncoded, 0),
                "can't put the certificate beside the key");
    ThrowIfInterrupted();
    RequireCall(
        CertAddCertificateContextToStore(store.Get(), certificate, CERT_STORE_ADD_NEW, nullptr),
        "can't put the certificate into MY");
    container.Keep();

    const std::string thumbprint = Thumbprint(certificate);
    if (options.common.json) {
        auto report = JsonSuccess("new", name);
        report["container"] = name;
        report["algorithm"] = algorithm.name;
        report["thumbprint"] = thumbprint;
        PrintJson(report);
    } else if (IsTold(options.common.quiet)) {
        std::printf("%s\n", thumbprint.c_str());
    }
}

}  // namespace mvlpfx
