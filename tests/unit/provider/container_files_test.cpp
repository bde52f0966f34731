// The files of containers: where they lie, whose they are, and what is refused.
#include "provider/container_files.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "provider/container_image.h"
#include "support/container_home.h"

namespace {

using provider::ContainerFolder;
using provider::ContainerScope;
using test_support::ContainerHome;
using test_support::ScopedVariable;
using Bytes = std::vector<BYTE>;

const std::string kFile = std::string(64, 'a') + ".key";
const Bytes kContent = {1, 2, 3};

HRESULT Create(const std::string& name = kFile, const Bytes& bytes = kContent,
               ContainerScope scope = ContainerScope::kUser) {
    return provider::ChangeContainerFiles(
        scope, [&](ContainerFolder* folder) { return folder->Create(name, bytes); });
}

HRESULT Replace(const Bytes& bytes) {
    return provider::ChangeContainerFiles(ContainerScope::kUser, [&](ContainerFolder* folder) {
        return folder->Replace(kFile, bytes);
    });
}

HRESULT Remove() {
    return provider::ChangeContainerFiles(
        ContainerScope::kUser, [](ContainerFolder* folder) { return folder->Remove(kFile); });
}

HRESULT Read(Bytes* bytes, ContainerScope scope = ContainerScope::kUser) {
    return provider::ReadContainerFile(scope, kFile, bytes);
}

std::string FolderPath(ContainerScope scope = ContainerScope::kUser) {
    std::string path;
    EXPECT_EQ(provider::ContainerFolderPath(scope, &path), S_OK);
    return path;
}

mode_t ModeOf(const std::filesystem::path& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

// In a process of its own; answers what `work` does.
HRESULT InProcess(const std::function<HRESULT()>& work) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        const HRESULT status = work();
        _exit(write(ends[1], &status, sizeof(status)) == sizeof(status) ? 0 : 1);
    }
    close(ends[1]);
    HRESULT status = E_FAIL;
    EXPECT_EQ(read(ends[0], &status, sizeof(status)), ssize_t{sizeof(status)});
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return status;
}

class ContainerFiles : public testing::Test {
  protected:
    std::filesystem::path Path() const { return home_.UserKeys() / kFile; }

    ContainerHome home_;
    Bytes bytes_;
};

TEST_F(ContainerFiles, AreCreatedReplacedAndRemovedWhole) {
    EXPECT_EQ(Read(&bytes_), NTE_BAD_KEYSET);
    EXPECT_EQ(Create(), S_OK);
    EXPECT_EQ(Read(&bytes_), S_OK);
    EXPECT_EQ(bytes_, kContent);
    EXPECT_EQ(Create(kFile, {9}), NTE_EXISTS);
    EXPECT_EQ(Read(&bytes_), S_OK);
    EXPECT_EQ(bytes_, kContent);
    const Bytes longer(100'000, 7);
    EXPECT_EQ(Replace(longer), S_OK);
    EXPECT_EQ(Read(&bytes_), S_OK);
    EXPECT_EQ(bytes_, longer);
    EXPECT_EQ(home_.FilesOfUser(), std::vector<std::string>{kFile});
    EXPECT_EQ(Remove(), S_OK);
    EXPECT_EQ(Remove(), NTE_BAD_KEYSET);
    EXPECT_EQ(Read(&bytes_), NTE_BAD_KEYSET);
    EXPECT_TRUE(home_.FilesOfUser().empty());
}

TEST_F(ContainerFiles, AreForTheirOwnersEyesAlone) {
    const mode_t before = umask(0);
    EXPECT_EQ(Create(), S_OK);
    EXPECT_EQ(Create(kFile, kContent, ContainerScope::kMachine), S_OK);
    umask(before);
    EXPECT_EQ(ModeOf(Path()), 0600U);
    EXPECT_EQ(ModeOf(home_.UserKeys()), 0700U);
    EXPECT_EQ(ModeOf(home_.User()), 0700U);
    EXPECT_EQ(ModeOf(home_.MachineKeys() / kFile), 0600U);
    EXPECT_EQ(ModeOf(home_.MachineKeys()), 0700U);
    EXPECT_EQ(ModeOf(home_.Machine()), 0755U);
}

TEST_F(ContainerFiles, LieWhereTheEnvironmentSays) {
    EXPECT_EQ(FolderPath(), home_.UserKeys().string());
    EXPECT_EQ(FolderPath(ContainerScope::kMachine), home_.MachineKeys().string());
    const ScopedVariable noHome("VELMORIX_HOME", std::nullopt);
    const ScopedVariable noMachineHome("VELMORIX_MACHINE_HOME", std::nullopt);
    EXPECT_EQ(FolderPath(ContainerScope::kMachine), "/var/lib/velmorix/keys");
    {
        const ScopedVariable data("XDG_DATA_HOME", "/some/data");
        EXPECT_EQ(FolderPath(), "/some/data/velmorix/keys");
        const ScopedVariable relative("VELMORIX_HOME", "relative");
        EXPECT_EQ(FolderPath(), "/some/data/velmorix/keys");
    }
    const ScopedVariable noData("XDG_DATA_HOME", std::nullopt);
    const ScopedVariable userHome("HOME", "/some/home");
    EXPECT_EQ(FolderPath(), "/some/home/.local/share/velmorix/keys");
}

TEST_F(ContainerFiles, AreListedWithoutWhatElseIsThere) {
    std::vector<std::string> names = {"left over"};
    EXPECT_EQ(provider::ListContainerFiles(ContainerScope::kUser, &names), S_OK);
    EXPECT_TRUE(names.empty());
    EXPECT_EQ(Create(), S_OK);
    test_support::OverwriteFile(home_.UserKeys() / "note.txt", kContent);
    test_support::OverwriteFile(home_.UserKeys() / (kFile + "~"), kContent);
    EXPECT_EQ(provider::ListContainerFiles(ContainerScope::kUser, &names), S_OK);
    EXPECT_EQ(names, std::vector<std::string>{kFile});
}

TEST_F(ContainerFiles, ThatAKilledWriterLeftAreRemovedByTheNext) {
    EXPECT_EQ(Create(), S_OK);
    const auto unfinished = home_.UserKeys() / ".unfinished";
    test_support::OverwriteFile(unfinished, {9, 9});
    EXPECT_EQ(Read(&bytes_), S_OK);
    EXPECT_TRUE(std::filesystem::exists(unfinished));
    EXPECT_EQ(Replace({4}), S_OK);
    EXPECT_FALSE(std::filesystem::exists(unfinished));
    // As between the two steps of a creation.
    std::filesystem::create_hard_link(Path(), unfinished);
    const std::string other = std::string(64, 'b') + ".key";
    EXPECT_EQ(Create(other), S_OK);
    EXPECT_FALSE(std::filesystem::exists(unfinished));
    EXPECT_EQ(Read(&bytes_), S_OK);
    EXPECT_EQ(bytes_, Bytes{4});
}

TEST_F(ContainerFiles, OpenToOthersAreNotTrusted) {
    EXPECT_EQ(Create(), S_OK);
    for (const mode_t mode : {0640U, 0604U, 0620U, 0601U, 0777U}) {
        ASSERT_EQ(chmod(Path().c_str(), mode), 0);
        EXPECT_EQ(Read(&bytes_), NTE_PERM) << std::oct << mode;
    }
    ASSERT_EQ(chmod(Path().c_str(), 0400), 0);
    EXPECT_EQ(Read(&bytes_), S_OK);
}

TEST_F(ContainerFiles, InAFolderThatOthersWriteInAreNotTrusted) {
    EXPECT_EQ(Create(), S_OK);
    for (const mode_t mode : {0720U, 0702U}) {
        ASSERT_EQ(chmod(home_.UserKeys().c_str(), mode), 0);
        EXPECT_EQ(Read(&bytes_), NTE_PERM);
        EXPECT_EQ(Replace({1}), NTE_PERM);
        std::vector<std::string> names;
        EXPECT_EQ(provider::ListContainerFiles(ContainerScope::kUser, &names), NTE_PERM);
    }
    ASSERT_EQ(chmod(home_.UserKeys().c_str(), 0755), 0);
    EXPECT_EQ(Read(&bytes_), S_OK);
}

TEST_F(ContainerFiles, OfAnotherUserAreNotTrusted) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file to another user";
    }
    constexpr uid_t kOther = 65534;
    EXPECT_EQ(Create(), S_OK);
    ASSERT_EQ(chown(Path().c_str(), kOther, kOther), 0);
    EXPECT_EQ(Read(&bytes_), NTE_PERM);
    ASSERT_EQ(chown(Path().c_str(), 0, 0), 0);
    ASSERT_EQ(chown(home_.UserKeys().c_str(), kOther, kOther), 0);
    EXPECT_EQ(Read(&bytes_), NTE_PERM);
    EXPECT_EQ(Create(), NTE_PERM);
}

TEST_F(ContainerFiles, ThatTheSystemRefusesSaySo) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    EXPECT_EQ(Create(kFile, kContent, ContainerScope::kMachine), S_OK);
    std::filesystem::permissions(home_.User().parent_path(), std::filesystem::perms(0755));
    const auto asOther = [](const std::function<HRESULT()>& work) {
        return InProcess([&] { return setuid(65534) == 0 ? work() : E_FAIL; });
    };
    Bytes bytes;
    EXPECT_EQ(asOther([&] { return Read(&bytes, ContainerScope::kMachine); }),
              HRESULT{ERROR_ACCESS_DENIED});
    EXPECT_EQ(asOther([] { return Create(kFile, kContent, ContainerScope::kMachine); }),
              HRESULT{ERROR_ACCESS_DENIED});
    EXPECT_EQ(asOther([] { return Create(); }), HRESULT{ERROR_ACCESS_DENIED});
    EXPECT_FALSE(std::filesystem::exists(home_.User()));
    // The machine's are root's, and others may trust them where they are let in.
    ASSERT_EQ(chmod(home_.MachineKeys().c_str(), 0755), 0);
    EXPECT_EQ(asOther([&] { return Read(&bytes, ContainerScope::kMachine); }),
              HRESULT{ERROR_ACCESS_DENIED});
}

TEST_F(ContainerFiles, AreNotFollowedThroughLinks) {
    EXPECT_EQ(Create(), S_OK);
    const auto elsewhere = home_.User() / "elsewhere";
    std::filesystem::rename(Path(), elsewhere);
    std::filesystem::create_symlink(elsewhere, Path());
    EXPECT_EQ(Read(&bytes_), NTE_PERM);
    EXPECT_EQ(Create(), NTE_EXISTS);
    // What is replaced is the link.
    EXPECT_EQ(Replace({8}), S_OK);
    EXPECT_EQ(test_support::ReadFile(elsewhere), kContent);
    EXPECT_EQ(Read(&bytes_), S_OK);
    EXPECT_EQ(bytes_, Bytes{8});
    const auto keys = home_.User() / "keys elsewhere";
    std::filesystem::rename(home_.UserKeys(), keys);
    std::filesystem::create_directory_symlink(keys, home_.UserKeys());
    EXPECT_EQ(Read(&bytes_), HRESULT{ERROR_PATH_NOT_FOUND});
    EXPECT_EQ(Replace({9}), HRESULT{ERROR_PATH_NOT_FOUND});
}

TEST_F(ContainerFiles, ThatAreNoRegularFilesOrTooLargeAreDamaged) {
    EXPECT_EQ(Create(kFile, Bytes(provider::kLargestContainerFile)), S_OK);
    EXPECT_EQ(Read(&bytes_), S_OK);
    std::filesystem::resize_file(Path(), provider::kLargestContainerFile + 1);
    EXPECT_EQ(Read(&bytes_), NTE_KEYSET_ENTRY_BAD);
    std::filesystem::remove(Path());
    ASSERT_EQ(mkfifo(Path().c_str(), 0600), 0);
    EXPECT_EQ(Read(&bytes_), NTE_KEYSET_ENTRY_BAD);
    std::filesystem::remove(Path());
    std::filesystem::create_directory(Path());
    EXPECT_EQ(Read(&bytes_), NTE_KEYSET_ENTRY_BAD);
}

TEST_F(ContainerFiles, NeedAFolderInTheFoldersPlace) {
    std::filesystem::create_directory(home_.User());
    test_support::OverwriteFile(home_.UserKeys(), kContent);
    EXPECT_EQ(Create(), HRESULT{ERROR_PATH_NOT_FOUND});
    EXPECT_EQ(Read(&bytes_), HRESULT{ERROR_PATH_NOT_FOUND});
    EXPECT_EQ(test_support::ReadFile(home_.UserKeys()), kContent);
    std::filesystem::remove_all(home_.User());
    test_support::OverwriteFile(home_.User(), kContent);
    EXPECT_EQ(Create(), HRESULT{ERROR_PATH_NOT_FOUND});
}

TEST_F(ContainerFiles, LeaveNothingHalfWhereNoMoreCanBeWritten) {
    EXPECT_EQ(Create(), S_OK);
    const auto limited = [](const std::function<HRESULT()>& work) {
        return InProcess([&] {
            signal(SIGXFSZ, SIG_IGN);
            const rlimit limit{1000, 1000};
            return setrlimit(RLIMIT_FSIZE, &limit) == 0 ? work() : E_FAIL;
        });
    };
    const std::string other = std::string(64, 'b') + ".key";
    EXPECT_EQ(limited([&] { return Create(other, Bytes(1001)); }), HRESULT{ERROR_DISK_FULL});
    EXPECT_EQ(limited([] { return Replace(Bytes(5000)); }), HRESULT{ERROR_DISK_FULL});
    EXPECT_EQ(home_.FilesOfUser(), std::vector<std::string>{kFile});
    EXPECT_EQ(Read(&bytes_), S_OK);
    EXPECT_EQ(bytes_, kContent);
    EXPECT_EQ(limited([] { return Replace(Bytes(1000)); }), S_OK);
}

TEST_F(ContainerFiles, SayWhereThereAreTooManyFilesOpen) {
    EXPECT_EQ(Create(), S_OK);
    const auto limited = [](const std::function<HRESULT()>& work) {
        return InProcess([&] {
            // The other limit is not a test's to lower under valgrind.
            rlimit limit{};
            const bool isKnown = getrlimit(RLIMIT_NOFILE, &limit) == 0;
            limit.rlim_cur = 0;
            return isKnown && setrlimit(RLIMIT_NOFILE, &limit) == 0 ? work() : E_FAIL;
        });
    };
    // A sanitizer looks at this test's own object with files that it opens.
    Bytes bytes;
    EXPECT_EQ(limited([&bytes] { return Read(&bytes); }), HRESULT{ERROR_TOO_MANY_OPEN_FILES});
    EXPECT_EQ(limited([] { return Replace({1}); }), HRESULT{ERROR_TOO_MANY_OPEN_FILES});
}

}  // namespace
