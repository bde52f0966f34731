#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/blob.h"
#include "foundation/wide_to_ansi.h"
#include "mvlpfx/mvlpfx.h"
#include "pfxcrypto/pfx_constants.h"
#include "pfxexport/export_pfx.h"
#include "pfximport/import_control_flags.h"
#include "pfximport/restore.h"
#include "pfximport/system_stores.h"
#include "pfximport/verify_password.h"

namespace {

std::string AnsiPassword(LPCWSTR password) {
    std::string ansi;
    pkisdk::WideToAnsi(password, &ansi);
    return ansi;
}

HCERTSTORE Restore(const PfxBlob* pfx, LPCWSTR password, DWORD flags) {
    const std::string ansi = AnsiPassword(password);
    const pkisdk::Blob document(pfx->pbData, pfx->cbData);
    return pkisdk::RestorePfxToMemoryStore(ansi.c_str(), &document, pkisdk::kProviderName, flags);
}

}  // namespace

extern "C" BOOL UzCreatePFX(HCERTSTORE store, PfxBlob* pfx, LPCWSTR password, DWORD flags) {
    const std::string ansi = AnsiPassword(password);
    std::vector<std::uint8_t> document;
    if (pkisdk::ExportPfxFromStore(ansi.c_str(), nullptr, nullptr, store, flags,
                                   pfx->pbData == nullptr ? 1 : 0, &document) == 0) {
        // A failure without a word is read as none.
        return GetLastError() == 0;
    }
    const bool isTooSmall = pfx->pbData != nullptr && pfx->cbData < std::uint64_t{document.size()};
    pfx->cbData = static_cast<DWORD>(document.size());
    if (pfx->pbData != nullptr && !isTooSmall) {
        std::copy(document.begin(), document.end(), pfx->pbData);
    }
    SetLastError(isTooSmall ? ERROR_MORE_DATA : 0);
    return !isTooSmall;
}

extern "C" HCERTSTORE UzRestorePFX(const PfxBlob* pfx, LPCWSTR password, DWORD flags) {
    return Restore(pfx, password, flags);
}

extern "C" HCERTSTORE UzRestorePFXToSystemStorage(const PfxBlob* pfx, LPCWSTR password,
                                                  DWORD flags) {
    const HCERTSTORE store = Restore(pfx, password, flags);
    if (store != nullptr) {
        pkisdk::PlaceCertsInSystemStores(store, flags);
    }
    return store;
}

extern "C" BOOL UzVerifyPswPFX(const PfxBlob* pfx, LPCWSTR password) {
    const std::string ansi = AnsiPassword(password);
    const pkisdk::Blob document(pfx->pbData, pfx->cbData);
    return pkisdk::VerifyPfxPassword(ansi.c_str(), &document, pkisdk::kProviderName);
}

extern "C" void UzSetImportPfxControlFlags(DWORD flags) {
    pkisdk::ImportControlFlags = flags;
}
