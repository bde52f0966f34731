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

// A container is named as people know it; certificates record its unique name.
std::vector<std::string> UniqueNames(const std::vector<std::string>& containers) {
    std::vector<std::string> names;
    for (const std::string& container : containers) {
        OwnedContext context;
        RequireCall(AcquireContext(container.c_str(), 0, false, &context),
                    "can't open the container '" + container + "'");
        names.push_back(TextParameter(context.Get(), PP_UNIQUE_CONTAINER));
    }
    return names;
}

// Which certificates of "MY" are meant: all, unless something names some.
class Selection {
  public:
    explicit Selection(const CreateOptions& options)
        : options_(options), containers_(UniqueNames(options.containers)) {
        for (const std::string& thumbprint : options.thumbprints) {
            thumbprints_.push_back(ParseThumbprint(thumbprint));
        }
    }

    bool Takes(PCCERT_CONTEXT certificate) const {
        const bool takesAll =
            options_.subjects.empty() && thumbprints_.empty() && containers_.empty();
        const std::string container = ContainerOf(certificate);
        return takesAll || Contains(thumbprints_, Thumbprint(certificate)) ||
               std::ranges::any_of(
                   options_.subjects,
                   [&](const std::string& text) { return SubjectContains(certificate, text); }) ||
               (!container.empty() &&
                (Contains(containers_, container) || Contains(options_.containers, container)));
    }

  private:
    const CreateOptions& options_;
    std::vector<std::string> containers_;
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
    const Selection selection(options);
    const OwnedStore my = OpenSystemStore("MY", false);
    OwnedStore gathered(CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr));
    RequireCall(gathered ? TRUE : FALSE, "can't gather the certificates");
    std::size_t count = 0;
    ForEachCertificate(my.Get(), "MY", [&](PCCERT_CONTEXT certificate) {
        if (!selection.Takes(certificate)) {
            return;
        }
        ++count;
        AddTo(gathered.Get(), certificate);
        if (options.chain) {
            AddIssuers(gathered.Get(), certificate);
        }
    });
    if (count == 0) {
        throw ToolError(ExitCode::kOther, "no certificate of MY is meant by this", 0,
                        "'mvlpfx certs' lists them; name one with --subject, --thumbprint or "
                        "--container, or make one with 'mvlpfx new'");
    }
    return gathered;
}

}  // namespace mvlpfx
