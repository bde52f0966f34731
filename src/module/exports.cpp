#include <string>

#include "foundation/blob.h"
#include "foundation/wide_to_ansi.h"
#include "mvlpfx/mvlpfx.h"
#include "pfxcrypto/pfx_constants.h"
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
