#include "mvlpfx/certificate_choice.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>
#include <set>

#include "mvlpfx/certificate_walk.h"
#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

namespace {

// A container as people know it, and as certificates record it.
struct Container {
    std::string name;
    std::string uniqueName;
    bool machine;
};

OwnedContext OpenContainer(const std::string& name, bool machine) {
    OwnedContext context;
    RequireCall(AcquireContext(name.c_str(), 0, machine, &context),
                "can't open the container '" + name + "'");
    return context;
}

Container FindContainer(const std::string& name, bool machine) {
    const OwnedContext context = OpenContainer(name, machine);
    return {name, TextParameter(context.Get(), PP_UNIQUE_CONTAINER), machine};
}

// The container that a certificate records for its key.
struct RecordedContainer {
    std::string name;  // or its unique name; empty where none is recorded
    bool machine = false;
};

RecordedContainer ContainerOf(PCCERT_CONTEXT certificate) {
    const std::vector<BYTE> record = KeyProvInfo(certificate);
    if (record.empty()) {
        return {};
    }
    const auto* const info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(record.data());
    return {info->pwszContainerName == nullptr ? "" : ToNarrow(info->pwszContainerName),
            (info->dwFlags & CRYPT_MACHINE_KEYSET) != 0};
}

// One of the user and one of the machine may have the same name.
bool HasKeyIn(PCCERT_CONTEXT certificate, const Container& container) {
    const RecordedContainer recorded = ContainerOf(certificate);
    return !recorded.name.empty() && recorded.machine == container.machine &&
           (recorded.name == container.uniqueName || recorded.name == container.name);
}

// What names certificates of "MY", and whether it has met one.
struct Selector {
    std::string text;  // as it was given
    std::function<bool(PCCERT_CONTEXT)> means;
    std::optional<Container> container;  // that it names
    bool isMet = false;
};

// No text would be in every subject.
Selector OfSubject(const std::string& text) {
    if (text.empty()) {
        throw ToolError(ExitCode::kUsage, "--subject has no text");
    }
    return {"--subject '" + text + "'",
            [text](PCCERT_CONTEXT certificate) { return SubjectContains(certificate, text); },
            std::nullopt};
}

Selector OfThumbprint(const std::string& given) {
    return {"--thumbprint '" + given + "'",
            [thumbprint = ParseThumbprint(given)](PCCERT_CONTEXT certificate) {
                return Thumbprint(certificate) == thumbprint;
            },
            std::nullopt};
}

Selector OfContainer(const std::string& name, bool machine) {
    const Container container = FindContainer(name, machine);
    return {"--container '" + name + "'",
            [container](PCCERT_CONTEXT certificate) { return HasKeyIn(certificate, container); },
            container};
}

std::vector<Selector> SelectorsOf(const CreateOptions& options) {
    std::vector<Selector> selectors;
    std::ranges::transform(options.subjects, std::back_inserter(selectors), OfSubject);
    std::ranges::transform(options.thumbprints, std::back_inserter(selectors), OfThumbprint);
    std::ranges::transform(
        options.containers, std::back_inserter(selectors),
        [&](const std::string& name) { return OfContainer(name, options.machine); });
    return selectors;
}

// All are meant unless something names some.
bool IsMeant(PCCERT_CONTEXT certificate, std::vector<Selector>* selectors) {
    bool isMeant = selectors->empty();
    for (Selector& selector : *selectors) {
        const bool isMet = selector.means(certificate);
        selector.isMet = selector.isMet || isMet;
        isMeant = isMeant || isMet;
    }
    return isMeant;
}

// For messages.
std::string NameOfMy(bool machine) {
    return machine ? "the machine's MY" : "MY";
}

[[noreturn]] void ThrowNotThere(const std::string& message, bool machine) {
    const std::string naming = "name one with --subject, --thumbprint or --container";
    throw ToolError(ExitCode::kOther, message, 0,
                    machine ? "'mvlpfx certs --machine' lists them; " + naming +
                                  ", or make one with 'mvlpfx new --machine'"
                            : "'mvlpfx certs' lists them; " + naming +
                                  ", make one with 'mvlpfx new', or take the machine's with "
                                  "--machine");
}

// The issuers of a certificate, from "CA" and "ROOT", as far up as they are there.
void AddIssuers(HCERTSTORE gathered, PCCERT_CONTEXT certificate, bool machine) {
    const OwnedStore ca = OpenSystemStore("CA", machine);
    const OwnedStore root = OpenSystemStore("ROOT", machine);
    std::set<std::string> passed;
    OwnedCertificate subject(CertDuplicateCertificateContext(certificate));
    while (passed.insert(Thumbprint(subject.Get())).second) {
        DWORD flags = 0;
        OwnedCertificate issuer(
            CertGetIssuerCertificateFromStore(ca.Get(), subject.Get(), nullptr, &flags));
        if (!issuer) {
            flags = 0;
            issuer = OwnedCertificate(
                CertGetIssuerCertificateFromStore(root.Get(), subject.Get(), nullptr, &flags));
        }
        if (!issuer) {
            return;
        }
        AddTo(gathered, issuer.Get());
        subject = std::move(issuer);
    }
}

// Of a copy in memory.
void Tie(PCCERT_CONTEXT certificate, const Container& container, DWORD keySpec) {
    std::wstring containerName = ToWide(container.uniqueName);
    std::wstring providerName = ToWide(kProviderName);
    CRYPT_KEY_PROV_INFO info{};
    info.pwszContainerName = containerName.data();
    info.pwszProvName = providerName.data();
    info.dwProvType = kProviderType;
    info.dwFlags = container.machine ? CRYPT_MACHINE_KEYSET : 0;
    info.dwKeySpec = keySpec;
    RequireCall(
        CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, &info),
        "can't gather the certificates");
}

// A certificate is tied to one container, which a restore beside it makes another. The key that is
// named has it still.
OwnedCertificate AddCertificateBeside(HCERTSTORE gathered, const Container& container) {
    const OwnedContext context = OpenContainer(container.name, container.machine);
    for (const DWORD keySpec : {DWORD{AT_KEYEXCHANGE}, DWORD{AT_SIGNATURE}}) {
        OwnedKey key;
        if (CryptGetUserKey(context.Get(), keySpec, key.Fill()) == FALSE) {
            continue;
        }
        if (const OwnedCertificate beside = CertificateBeside(key.Get())) {
            OwnedCertificate added = AddTo(gathered, beside.Get());
            Tie(added.Get(), container, keySpec);
            return added;
        }
    }
    throw ToolError(ExitCode::kOther,
                    "no certificate of " + NameOfMy(container.machine) +
                        " has its key in the container '" + container.name +
                        "', and none lies beside a key there",
                    0,
                    std::string(container.machine ? "'mvlpfx keys --machine'" : "'mvlpfx keys'") +
                        " shows the certificate beside each key; name another container, or "
                        "certificates with --subject or --thumbprint");
}

}  // namespace

std::string KnownContainerOf(PCCERT_CONTEXT certificate) {
    const RecordedContainer recorded = ContainerOf(certificate);
    if (recorded.name.empty()) {
        return {};
    }
    OwnedContext context;
    const bool isOpen = AcquireContext(recorded.name.c_str(), 0, recorded.machine, &context);
    const std::string known = isOpen ? TextParameter(context.Get(), PP_CONTAINER) : "";
    return known.empty() ? recorded.name : known;
}

std::string CertificateLine(const std::string& thumbprint, const std::string& subject,
                            const std::string& container) {
    return thumbprint + " " + subject + (container.empty() ? "" : ", container " + container);
}

OwnedCertificate AddTo(HCERTSTORE store, PCCERT_CONTEXT certificate) {
    PCCERT_CONTEXT added = nullptr;
    RequireCall(
        CertAddCertificateContextToStore(store, certificate, CERT_STORE_ADD_USE_EXISTING, &added),
        "can't gather the certificates");
    return OwnedCertificate(added);
}

OwnedStore GatherCertificates(const CreateOptions& options) {
    std::vector<Selector> selectors = SelectorsOf(options);
    const OwnedStore my = OpenSystemStore("MY", options.machine);
    OwnedStore gathered(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    RequireCall(gathered ? TRUE : FALSE, "can't gather the certificates");
    bool isEmpty = true;
    const auto take = [&](const OwnedCertificate& certificate) {
        isEmpty = false;
        if (options.chain) {
            AddIssuers(gathered.Get(), certificate.Get(), options.machine);
        }
    };
    ForEachCertificate(my.Get(), "MY", [&](PCCERT_CONTEXT certificate) {
        if (IsMeant(certificate, &selectors)) {
            take(AddTo(gathered.Get(), certificate));
        }
    });
    for (const Selector& selector : selectors) {
        if (!selector.isMet && selector.container) {
            take(AddCertificateBeside(gathered.Get(), *selector.container));
        } else if (!selector.isMet) {
            ThrowNotThere(
                "no certificate of " + NameOfMy(options.machine) + " is meant by " + selector.text,
                options.machine);
        }
    }
    if (isEmpty) {
        ThrowNotThere("there is no certificate in " + NameOfMy(options.machine), options.machine);
    }
    return gathered;
}

}  // namespace mvlpfx
