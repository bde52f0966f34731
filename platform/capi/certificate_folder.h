// The folder behind a system store: one file for each certificate.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "capi/properties.h"
#include "capi/state_files.h"

namespace capi {

class CertificateFolder {
  public:
    // `isPrivate`: for the owner's eyes alone. Throws where the folder is there and cannot be read.
    CertificateFolder(std::filesystem::path path, bool isPrivate);

    static std::string NameOf(const Sha1& thumbprint);

    // The certificates' files, by name; none where there is no folder.
    std::map<std::string, FileState> List() const;
    // Nothing where the file is not there.
    std::optional<FileState> FindState(const std::string& name) const;
    // Nothing where the file is not there. Throws for one that is damaged or cannot be read, also
    // where its certificate is not the one that its name says.
    std::optional<Entry> Read(const std::string& name) const;
    // Tells syslog that a file gave no certificate.
    void TellPassedOver(const std::string& name) const;

    FolderLock Lock() const;
    // Answers the file's new state.
    FileState Write(const FolderLock& lock, const Sha1& thumbprint, std::span<const BYTE> encoded,
                    const Properties& properties) const;

  private:
    std::filesystem::path path_;
    bool isPrivate_;
};

}  // namespace capi
