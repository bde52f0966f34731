#include "mvlpfx/certificate_choice.h"

#include <algorithm>
#include <set>

#include "mvlpfx/certificate_walk.h"
#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

namespace {

bool Contains(const std::vector<std::string>& texts, const std::string& text) {
    return std::ranges::find(texts, text) != texts.end();
}

// A container as people know it, and as certificates record it.
struct Container {
    std::string name;
    std::string uniqueName;
};

OwnedContext OpenContainer(const std::string& name) {
    OwnedContext context;
    RequireCall(AcquireContext(name.c_str(), 0, false, &context),
                "can't open the container '" + name + "'");
    return context;
}

std::vector<Container> FindContainers(const std::vector<std::string>& names) {
    std::vector<Container> containers;
    for (const std::string& name : names) {
        const OwnedContext context = OpenContainer(name);
        containers.push_back({name, TextParameter(context.Get(), PP_UNIQUE_CONTAINER)});
    }
    return containers;
}

bool HasKeyIn(PCCERT_CONTEXT certificate, const Container& container) {
    const std::string recorded = ContainerOf(certificate);
    return !recorded.empty() && (recorded == container.uniqueName || recorded == container.name);
}

// Which certificates of "MY" are meant: all, unless something names some.
class Selection {
  public:
    Selection(const CreateOptions& options, const std::vector<Container>& containers)
        : options_(options), containers_(containers) {
        for (const std::string& thumbprint : options.thumbprints) {
            thumbprints_.push_back(ParseThumbprint(thumbprint));
        }
    }

    bool Takes(PCCERT_CONTEXT certificate) const {
        const bool takesAll =
            options_.subjects.empty() && thumbprints_.empty() && containers_.empty();
        return takesAll || Contains(thumbprints_, Thumbprint(certificate)) ||
               std::ranges::any_of(
                   options_.subjects,
                   [&](const std::string& text) { return SubjectContains(certificate, text); }) ||
               std::ranges::any_of(containers_, [&](const Container& container) {
                   return HasKeyIn(certificate, container);
               });
    }

  private:
    const CreateOptions& options_;
    const std::vector<Container>& containers_;
    std::vector<std::string> thumbprints_;
};

// The issuers of a certificate, from "CA" and "ROOT", as far up as they are there.
void AddIssuers(HCERTSTORE gathered, PCCERT_CONTEXT certificate) {
    const OwnedStore ca = OpenSystemStore("CA", false);
    const OwnedStore root = OpenSystemStore("ROOT", false);
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
    info.dwKeySpec = keySpec;
    RequireCall(
        CertSetCertificateContextProperty(certificate, CERT_KEY_PROV_INFO_PROP_ID, 0, &info),
        "can't gather the certificates");
}

// A certificate is tied to one container, which a restore beside it makes another. The key that is
// named has it still.
OwnedCertificate AddCertificateBeside(HCERTSTORE gathered, const Container& container) {
    const OwnedContext context = OpenContainer(container.name);
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
                    "no certificate of MY has its key in the container '" + container.name +
                        "', and none lies beside a key there",
                    0,
                    "'mvlpfx keys' shows the certificate beside each key; name another "
                    "container, or certificates with --subject or --thumbprint");
}

}  // namespace

std::string ContainerOf(PCCERT_CONTEXT certificate) {
    const std::vector<BYTE> record = KeyProvInfo(certificate);
    if (record.empty()) {
        return {};
    }
    const auto* const info = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(record.data());
    return info->pwszContainerName == nullptr ? "" : ToNarrow(info->pwszContainerName);
}

OwnedCertificate AddTo(HCERTSTORE store, PCCERT_CONTEXT certificate) {
    PCCERT_CONTEXT added = nullptr;
    RequireCall(
        CertAddCertificateContextToStore(store, certificate, CERT_STORE_ADD_USE_EXISTING, &added),
        "can't gather the certificates");
    return OwnedCertificate(added);
}

OwnedStore GatherCertificates(const CreateOptions& options) {
    const std::vector<Container> containers = FindContainers(options.containers);
    const Selection selection(options, containers);
    const OwnedStore my = OpenSystemStore("MY", false);
    OwnedStore gathered(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    RequireCall(gathered ? TRUE : FALSE, "can't gather the certificates");
    std::size_t count = 0;
    const auto take = [&](PCCERT_CONTEXT certificate) {
        ++count;
        if (options.chain) {
            AddIssuers(gathered.Get(), certificate);
        }
    };
    std::set<std::string> met;
    ForEachCertificate(my.Get(), "MY", [&](PCCERT_CONTEXT certificate) {
        if (!selection.Takes(certificate)) {
            return;
        }
        take(AddTo(gathered.Get(), certificate).Get());
        for (const Container& container : containers) {
            if (HasKeyIn(certificate, container)) {
                met.insert(container.uniqueName);
            }
        }
    });
    for (const Container& container : containers) {
        if (!met.contains(container.uniqueName)) {
            take(AddCertificateBeside(gathered.Get(), container).Get());
        }
    }
    if (count == 0) {
        throw ToolError(ExitCode::kOther, "no certificate of MY is meant by this", 0,
                        "'mvlpfx certs' lists them; name one with --subject, --thumbprint or "
                        "--container, or make one with 'mvlpfx new'");
    }
    return gathered;
}

}  // namespace mvlpfx
