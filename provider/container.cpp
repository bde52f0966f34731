#include "provider/container.h"

#include <utility>

#include "provider/container_files.h"
#include "provider/container_image.h"
#include "provider/container_names.h"
#include "provider/container_seal.h"
#include "provider/container_store.h"
#include "provider/random.h"

namespace provider {

namespace {

bool IsKeySpec(DWORD keySpec) {
    return keySpec == AT_KEYEXCHANGE || keySpec == AT_SIGNATURE;
}

template <typename Image>
auto& SlotOf(Image& image, DWORD keySpec) {
    return image.keys[keySpec == AT_KEYEXCHANGE ? 0 : 1];
}

HRESULT WriteImage(ContainerFolder* folder, const std::string& fileName, ContainerImage* image,
                   const SealKeys& keys) {
    image->mac = ComputeMac(keys, *image);
    const std::optional<std::vector<BYTE>> file = SerializeContainer(*image);
    return file.has_value() ? folder->Replace(fileName, *file) : NTE_BAD_LEN;
}

}  // namespace

Container::Container(ContainerScope scope, std::string name, const ContainerIdentity& identity,
                     bool isSilent)
    : scope_(scope),
      name_(std::move(name)),
      identity_(identity),
      uniqueName_(UniqueContainerName(name_, identity)),
      fileName_(ContainerFileName(name_)),
      isSilent_(isSilent) {}

Container::~Container() = default;

HRESULT Container::ReadKey(DWORD keySpec, KeyRecord* record) const {
    if (!IsKeySpec(keySpec)) {
        return NTE_BAD_KEY;
    }
    ContainerImage image;
    if (const HRESULT status = Load(&image); status != S_OK) {
        return status;
    }
    KeyRecord& found = SlotOf(image, keySpec).record;
    if (found.algorithm == 0) {
        return NTE_NO_KEY;
    }
    *record = std::move(found);
    return S_OK;
}

HRESULT Container::ReadPrivateKey(DWORD keySpec, SecretBytes* privateKeyInfo) const {
    if (!IsKeySpec(keySpec)) {
        return NTE_BAD_KEY;
    }
    ContainerImage image;
    std::shared_ptr<const SealKeys> keys;
    if (const HRESULT status = LoadWithKeys(&image, &keys); status != S_OK) {
        return status;
    }
    const StoredKey& slot = SlotOf(image, keySpec);
    if (slot.record.algorithm == 0) {
        return NTE_NO_KEY;
    }
    *privateKeyInfo = Unseal(*keys, slot.sealed);
    return S_OK;
}

HRESULT Container::WriteKey(DWORD keySpec, const KeyRecord& record,
                            std::span<const BYTE> privateKeyInfo) {
    if (!IsKeySpec(keySpec)) {
        return NTE_BAD_KEY;
    }
    if (privateKeyInfo.empty() || privateKeyInfo.size() > kLongestPrivateKey) {
        return NTE_BAD_LEN;
    }
    if (record.algorithm == 0) {
        return NTE_BAD_ALGID;
    }
    return Modify([&](ContainerImage* image, const SealKeys& keys) -> HRESULT {
        SlotOf(*image, keySpec) = {record, Seal(keys, privateKeyInfo)};
        return S_OK;
    });
}

HRESULT Container::WriteCertificate(DWORD keySpec, std::span<const BYTE> certificate) {
    if (!IsKeySpec(keySpec)) {
        return NTE_BAD_KEY;
    }
    return Modify([&](ContainerImage* image, const SealKeys&) -> HRESULT {
        KeyRecord& record = SlotOf(*image, keySpec).record;
        record.certificate.assign(certificate.begin(), certificate.end());
        return record.algorithm == 0 ? NTE_NO_KEY : S_OK;
    });
}

HRESULT Container::NarrowPermissions(DWORD keySpec, DWORD permissions) {
    if (!IsKeySpec(keySpec)) {
        return NTE_BAD_KEY;
    }
    return Modify([&](ContainerImage* image, const SealKeys&) -> HRESULT {
        KeyRecord& record = SlotOf(*image, keySpec).record;
        if (record.algorithm == 0) {
            return NTE_NO_KEY;
        }
        if ((permissions & ~record.permissions) != 0) {
            return NTE_PERM;
        }
        record.permissions = permissions;
        return S_OK;
    });
}

HRESULT Container::PresentPin(std::span<const BYTE> pin) {
    if (pin.empty() || pin.size() > kLongestPin) {
        return NTE_BAD_LEN;
    }
    ContainerImage image;
    if (const HRESULT status = Load(&image); status != S_OK) {
        return status;
    }
    if (!image.hasPin) {
        ContainerSalt salt{};
        FillRandom(salt);
        // The derivation takes its time, so that it is done before the folder is locked.
        const auto keys =
            std::make_shared<const SealKeys>(DeriveSealKeys(pin, salt, kNewPinIterations));
        if (const HRESULT status = SetPin(keys); status != NTE_EXISTS) {
            return status;
        }
        // Another was faster, and its PIN counts.
        if (const HRESULT status = Load(&image); status != S_OK) {
            return status;
        }
    }
    return CheckPin(image, pin);
}

HRESULT Container::Load(ContainerImage* image) const {
    const HRESULT status = ReadContainerImage(scope_, fileName_, image);
    return status == S_OK && image->identity != identity_ ? NTE_BAD_KEYSET : status;
}

HRESULT Container::LoadWithKeys(ContainerImage* image,
                                std::shared_ptr<const SealKeys>* keys) const {
    // Before the file is read: a PIN that is presented meanwhile says nothing about what was read.
    *keys = Presented();
    if (const HRESULT status = Load(image); status != S_OK) {
        return status;
    }
    if (*keys == nullptr) {
        *keys = image->hasPin ? Presented()
                              : std::make_shared<const SealKeys>(
                                    DeriveSealKeys({}, image->salt, image->iterations));
    }
    if (*keys == nullptr) {
        return isSilent_ ? NTE_SILENT_CONTEXT : SCARD_W_CARD_NOT_AUTHENTICATED;
    }
    // So a PIN that was presented is not taken away by whoever can write the file.
    if (!HasMac(**keys, *image)) {
        ReportContainerFile(scope_, fileName_, "was changed by somebody who did not have its key");
        return NTE_KEYSET_ENTRY_BAD;
    }
    return S_OK;
}

std::shared_ptr<const SealKeys> Container::Presented() const {
    const std::lock_guard lock(mutex_);
    return presented_;
}

template <typename Change>
HRESULT Container::Modify(Change change) {
    return ChangeContainerFiles(scope_, [&](ContainerFolder* folder) {
        ContainerImage image;
        std::shared_ptr<const SealKeys> keys;
        HRESULT status = LoadWithKeys(&image, &keys);
        if (status == S_OK) {
            status = change(&image, *keys);
        }
        return status == S_OK ? WriteImage(folder, fileName_, &image, *keys) : status;
    });
}

HRESULT Container::CheckPin(const ContainerImage& image, std::span<const BYTE> pin) {
    auto keys = std::make_shared<const SealKeys>(DeriveSealKeys(pin, image.salt, image.iterations));
    if (!HasMac(*keys, image)) {
        return SCARD_W_WRONG_CHV;
    }
    Remember(std::move(keys));
    return S_OK;
}

// NTE_EXISTS where there is a PIN by now.
HRESULT Container::SetPin(const std::shared_ptr<const SealKeys>& keys) {
    const HRESULT status = ChangeContainerFiles(scope_, [&](ContainerFolder* folder) -> HRESULT {
        ContainerImage image;
        std::shared_ptr<const SealKeys> oldKeys;
        const HRESULT loaded = LoadWithKeys(&image, &oldKeys);
        if (image.hasPin) {
            return NTE_EXISTS;
        }
        if (loaded != S_OK) {
            return loaded;
        }
        for (StoredKey& slot : image.keys) {
            if (slot.record.algorithm != 0) {
                slot.sealed = Seal(*keys, Unseal(*oldKeys, slot.sealed).View());
            }
        }
        image.hasPin = true;
        image.iterations = kNewPinIterations;
        image.salt = keys->salt;
        return WriteImage(folder, fileName_, &image, *keys);
    });
    if (status == S_OK) {
        Remember(keys);
    }
    return status;
}

void Container::Remember(std::shared_ptr<const SealKeys> keys) {
    const std::lock_guard lock(mutex_);
    presented_ = std::move(keys);
}

}  // namespace provider
