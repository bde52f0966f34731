#include "provider/container_files.h"

#include <gtest/gtest.h>

// It needs windows.h, which the header above has, before it.
#include <aclapi.h>
#include <sddl.h>

#include <atomic>
#include <thread>

#include "provider/container_image.h"
#include "provider/container_names.h"
#include "state/state_folders.h"
#include "support/container_home.h"

namespace {

using provider::ContainerFolder;
using provider::ContainerScope;

constexpr ContainerScope kUser = ContainerScope::kUser;

class ContainerFilesWindows : public ::testing::Test {
  protected:
    HRESULT Create(const std::vector<BYTE>& bytes) {
        return Change([&](ContainerFolder* folder) { return folder->Create(name_, bytes); });
    }
    HRESULT Replace(const std::vector<BYTE>& bytes) {
        return Change([&](ContainerFolder* folder) { return folder->Replace(name_, bytes); });
    }
    HRESULT Remove() {
        return Change([&](ContainerFolder* folder) { return folder->Remove(name_); });
    }
    HRESULT Read(std::vector<BYTE>* bytes) {
        return provider::ReadContainerFile(kUser, name_, bytes);
    }
    static HRESULT Change(const std::function<HRESULT(ContainerFolder*)>& change) {
        return provider::ChangeContainerFiles(kUser, change);
    }
    std::filesystem::path Path() const { return home_.UserKeys() / name_; }

    // Gives everybody `rights` beside what there is.
    static void Open(const std::filesystem::path& path, DWORD rights) {
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        PACL before = nullptr;
        ASSERT_EQ(GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                        nullptr, nullptr, &before, nullptr, &descriptor),
                  DWORD{ERROR_SUCCESS});
        EXPLICIT_ACCESS_W everybody{};
        std::wstring name = L"EVERYONE";
        BuildExplicitAccessWithNameW(&everybody, name.data(), rights, GRANT_ACCESS, NO_INHERITANCE);
        PACL after = nullptr;
        ASSERT_EQ(SetEntriesInAclW(1, &everybody, before, &after), DWORD{ERROR_SUCCESS});
        std::wstring text = path.wstring();
        EXPECT_EQ(SetNamedSecurityInfoW(text.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                        nullptr, nullptr, after, nullptr),
                  DWORD{ERROR_SUCCESS});
        LocalFree(after);
        LocalFree(descriptor);
    }

    test_support::ContainerHome home_;
    std::string name_ = provider::ContainerFileName("a container");
    std::vector<BYTE> bytes_;
};

TEST_F(ContainerFilesWindows, NewFileIsReadBackAndNeverReplacesAnother) {
    EXPECT_EQ(Read(&bytes_), NTE_BAD_KEYSET);
    ASSERT_EQ(Create({1, 2, 3}), S_OK);
    EXPECT_EQ(Create({4}), NTE_EXISTS);
    EXPECT_EQ(Read(&bytes_), S_OK);
    EXPECT_EQ(bytes_, (std::vector<BYTE>{1, 2, 3}));
    EXPECT_EQ(home_.FilesOfUser(), std::vector<std::string>{name_});
}

TEST_F(ContainerFilesWindows, ReplacementTakesTheNameWhole) {
    ASSERT_EQ(Create(std::vector<BYTE>(1000, 1)), S_OK);
    EXPECT_EQ(Replace({2}), S_OK);
    EXPECT_EQ(Read(&bytes_), S_OK);
    EXPECT_EQ(bytes_, std::vector<BYTE>{2});
}

TEST_F(ContainerFilesWindows, RemovedFileIsGone) {
    ASSERT_EQ(Create({1}), S_OK);
    EXPECT_EQ(Remove(), S_OK);
    EXPECT_EQ(Remove(), NTE_BAD_KEYSET);
    EXPECT_EQ(Read(&bytes_), NTE_BAD_KEYSET);
}

TEST_F(ContainerFilesWindows, ListHasContainersAlone) {
    std::vector<std::string> names{"something"};
    EXPECT_EQ(provider::ListContainerFiles(kUser, &names), S_OK);
    EXPECT_TRUE(names.empty());
    ASSERT_EQ(Create({1}), S_OK);
    test_support::OverwriteFile(home_.UserKeys() / "README.txt", {1});
    EXPECT_EQ(provider::ListContainerFiles(kUser, &names), S_OK);
    EXPECT_EQ(names, std::vector<std::string>{name_});
}

TEST_F(ContainerFilesWindows, WhatAKilledWriterLeftIsRemoved) {
    ASSERT_EQ(Create({1}), S_OK);
    test_support::OverwriteFile(home_.UserKeys() / ".unfinished", {9, 9});
    EXPECT_EQ(Replace({2}), S_OK);
    EXPECT_EQ(home_.FilesOfUser(), std::vector<std::string>{name_});
}

TEST_F(ContainerFilesWindows, FolderAndTooLargeFileAreNoContainers) {
    ASSERT_EQ(Create({1}), S_OK);
    test_support::OverwriteFile(Path(), std::vector<BYTE>(provider::kLargestContainerFile));
    EXPECT_EQ(Read(&bytes_), S_OK);
    test_support::OverwriteFile(Path(), std::vector<BYTE>(provider::kLargestContainerFile + 1));
    EXPECT_EQ(Read(&bytes_), NTE_KEYSET_ENTRY_BAD);
    ASSERT_TRUE(std::filesystem::remove(Path()));
    ASSERT_TRUE(std::filesystem::create_directory(Path()));
    EXPECT_EQ(Read(&bytes_), NTE_KEYSET_ENTRY_BAD);
}

TEST_F(ContainerFilesWindows, FileThatOthersMayReadIsNotTrusted) {
    ASSERT_EQ(Create({1}), S_OK);
    Open(Path(), GENERIC_READ);
    EXPECT_EQ(Read(&bytes_), NTE_PERM);
}

TEST_F(ContainerFilesWindows, FolderThatOthersMayWriteInIsNotTrusted) {
    ASSERT_EQ(Create({1}), S_OK);
    Open(home_.UserKeys(), GENERIC_ALL);
    EXPECT_EQ(Read(&bytes_), NTE_PERM);
    EXPECT_EQ(Create({1}), NTE_PERM);
    std::vector<std::string> names;
    EXPECT_EQ(provider::ListContainerFiles(kUser, &names), NTE_PERM);
}

TEST_F(ContainerFilesWindows, FileInTheFoldersPlaceIsNoFolder) {
    ASSERT_TRUE(std::filesystem::create_directories(home_.User()));
    test_support::OverwriteFile(home_.UserKeys(), {1});
    EXPECT_EQ(Read(&bytes_), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(Create({1}), ERROR_PATH_NOT_FOUND);
}

TEST_F(ContainerFilesWindows, ReadersSeeOldOrNewWhileThreadsReplace) {
    constexpr int kRounds = 100;
    ASSERT_EQ(Create(std::vector<BYTE>(500, 0)), S_OK);
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (BYTE fill = 1; fill <= 2; ++fill) {
        threads.emplace_back([&, fill] {
            for (int i = 0; i != kRounds; ++i) {
                wrong += Replace(std::vector<BYTE>(500, fill)) != S_OK;
            }
        });
        threads.emplace_back([&] {
            std::vector<BYTE> bytes;
            for (int i = 0; i != kRounds; ++i) {
                const bool isRead = Read(&bytes) == S_OK && bytes.size() == 500;
                wrong += !isRead || bytes != std::vector<BYTE>(500, bytes[0]);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

TEST_F(ContainerFilesWindows, FoldersAreThoseOfTheSystemWhereNoneIsNamed) {
    const test_support::ScopedVariable user("VELMORIX_HOME", "relative\\folder");
    const test_support::ScopedVariable machine("VELMORIX_MACHINE_HOME", std::nullopt);
    const auto named = [](const char* variable) {
        return std::filesystem::path(std::getenv(variable)) / "Velmorix";
    };
    EXPECT_EQ(state::UserFolder(), named("LOCALAPPDATA"));
    EXPECT_EQ(state::MachineFolder(), named("PROGRAMDATA"));
}

}  // namespace
