// The files of containers. Everything that the provider asks of the file system for them stands
// behind this header, so that another implementation can be linked in its place.
//
// What is answered is S_OK or an error word: ERROR_DISK_FULL, ERROR_ACCESS_DENIED,
// ERROR_WRITE_PROTECT, ERROR_PATH_NOT_FOUND (also where there is no folder in the folder's place),
// ERROR_TOO_MANY_OPEN_FILES, CRYPT_E_FILE_ERROR; NTE_PERM for a file or folder that is another
// user's or that others may write, and for a file that others may read or that is a symbolic link.
// std::bad_alloc may be thrown.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "provider/container.h"

namespace provider {

// NTE_BAD_KEYSET where there is no such file, NTE_KEYSET_ENTRY_BAD where it is none of ours: no
// regular file, or larger than kLargestContainerFile.
HRESULT ReadContainerFile(ContainerScope scope, const std::string& fileName,
                          std::vector<BYTE>* bytes);

// The names of the files that could be containers, in no order; none where there is no folder.
HRESULT ListContainerFiles(ContainerScope scope, std::vector<std::string>* fileNames);

// What may be done to the files by the one who has the folder to himself. Each is done whole and
// on the disk, or not at all, wherever the process is killed.
class ContainerFolder {
  public:
    // NTE_EXISTS where there is a file of that name.
    virtual HRESULT Create(const std::string& fileName, std::span<const BYTE> bytes) = 0;
    virtual HRESULT Replace(const std::string& fileName, std::span<const BYTE> bytes) = 0;
    // NTE_BAD_KEYSET where there is no such file.
    virtual HRESULT Remove(const std::string& fileName) = 0;

  protected:
    ~ContainerFolder() = default;
};

// Runs `change` while no other thread or process changes containers of that scope, and answers what
// it answers. The folder is made where it is not there, and what a killed process left unfinished
// is removed.
HRESULT ChangeContainerFiles(ContainerScope scope,
                             const std::function<HRESULT(ContainerFolder*)>& change);

// ERROR_PATH_NOT_FOUND where no home folder is known.
HRESULT ContainerFolderPath(ContainerScope scope, std::string* path);

// Tells the administrator's log, with the file's path.
void ReportContainerFile(ContainerScope scope, const std::string& fileName, const char* what);

// The name of the container that is opened where none is named: the user's login name, or the
// user's number where that has none.
std::string DefaultContainerName();

}  // namespace provider
