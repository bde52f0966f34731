#include "capi/certificate_folder.h"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "capi/calls.h"

namespace capi {

namespace {

// Far above any certificate with its properties.
constexpr off_t kLargestFile = off_t{16} << 20;
constexpr char kHexDigits[] = "0123456789ABCDEF";

bool IsName(const std::string& name) {
    return name.size() == 2 * Sha1().size() && name.find_first_not_of(kHexDigits) == name.npos;
}

}  // namespace

CertificateFolder::CertificateFolder(std::filesystem::path path, bool isPrivate)
    : path_(std::move(path)), isPrivate_(isPrivate) {
    List();
}

std::string CertificateFolder::NameOf(const Sha1& thumbprint) {
    std::string name;
    for (const BYTE octet : thumbprint) {
        name += kHexDigits[octet >> 4];
        name += kHexDigits[octet & 15];
    }
    return name;
}

std::map<std::string, FileState> CertificateFolder::List() const {
    std::vector<std::string> names;
    if (!state::ListFolder(path_, &names) && errno != ENOENT) {
        const int error = errno;
        syslog(LOG_ERR, "%s: %s", path_.c_str(), std::generic_category().message(error).c_str());
        ThrowWord(WordOfErrno(error));
    }
    std::map<std::string, FileState> files;
    for (std::string& name : names) {
        if (IsName(name)) {
            if (const std::optional<FileState> state = StateOf(path_ / name)) {
                files.emplace(std::move(name), *state);
            }
        }
    }
    return files;
}

std::optional<FileState> CertificateFolder::FindState(const std::string& name) const {
    return StateOf(path_ / name);
}

std::optional<Entry> CertificateFolder::Read(const std::string& name) const {
    const std::optional<Bytes> bytes = ReadStateFile(path_ / name, kLargestFile);
    if (!bytes.has_value()) {
        return std::nullopt;
    }
    std::optional<Entry> entry = ParseEntry(*bytes);
    Require(entry.has_value() && NameOf(Sha1Of(entry->encoded)) == name, CRYPT_E_FILE_ERROR);
    return entry;
}

void CertificateFolder::TellPassedOver(const std::string& name) const {
    syslog(LOG_WARNING, "%s: cannot be read or is damaged; it is passed over",
           (path_ / name).c_str());
}

FolderLock CertificateFolder::Lock() const {
    return FolderLock(path_, isPrivate_ ? 0700 : 0755);
}

FileState CertificateFolder::Write(const FolderLock& lock, const Sha1& thumbprint,
                                   std::span<const BYTE> encoded,
                                   const Properties& properties) const {
    const std::string name = NameOf(thumbprint);
    lock.Write(name, SerializeEntry(encoded, properties), isPrivate_ ? 0600 : 0644);
    return FindState(name).value_or(FileState());
}

}  // namespace capi
