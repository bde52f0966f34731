#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "support/certificates.h"
#include "support/last_error.h"
#include "support/scoped_environment.h"

namespace {

using test_support::Certificate;
using test_support::CertificateBytes;
using test_support::Chain;
using test_support::OpenStore;

class SystemStore : public testing::Test {
  protected:
    // Read here, so that no child process reads them.
    void SetUp() override { Chain(); }

    std::filesystem::path Folder() const { return home_ / "stores" / "MY"; }
    std::vector<std::filesystem::path> Files() const {
        std::vector<std::filesystem::path> files;
        for (const auto& file : std::filesystem::directory_iterator(Folder())) {
            if (file.path().filename() != ".lock") {
                files.push_back(file.path());
            }
        }
        return files;
    }
    // Runs in a process of its own; answers what `work` does, 1000 where it does not end by itself.
    static int InProcess(const std::function<int()>& work) {
        const pid_t child = fork();
        if (child == 0) {
            _exit(work());
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1000;
    }
    static void SetName(PCCERT_CONTEXT context, std::string text, DWORD flags = 0) {
        CRYPT_DATA_BLOB blob{static_cast<DWORD>(text.size()), reinterpret_cast<BYTE*>(text.data())};
        ASSERT_TRUE(
            CertSetCertificateContextProperty(context, CERT_FRIENDLY_NAME_PROP_ID, flags, &blob));
    }
    static std::string NameOf(PCCERT_CONTEXT context) {
        std::string text(64, '\0');
        auto size = static_cast<DWORD>(text.size());
        const BOOL has = CertGetCertificateContextProperty(context, CERT_FRIENDLY_NAME_PROP_ID,
                                                           text.data(), &size);
        return has ? text.substr(0, size) : "(none)";
    }

    test_support::ScopedFolder folder_;
    std::filesystem::path home_ = folder_ / "home";
    test_support::ScopedVariable user_{"VELMORIX_HOME", home_.string()};
    test_support::ScopedVariable machine_{"VELMORIX_MACHINE_HOME", (folder_ / "machine").string()};
};

TEST_F(SystemStore, KeepsCertificatesForTheNextOpening) {
    {
        const OpenStore store(L"MY");
        EXPECT_EQ(store.All(), std::vector<CertificateBytes>{});
        ASSERT_TRUE(store.Add(Chain().leaf));
        // Files that are written within a tick of the clock have no order.
        using Clock = std::filesystem::file_time_type::clock;
        std::filesystem::last_write_time(Files().at(0), Clock::now() - std::chrono::hours(1));
        ASSERT_TRUE(store.Add(Chain().root));
        EXPECT_FAILS_WITH(CRYPT_E_EXISTS, store.Add(Chain().leaf));
    }
    const OpenStore store(L"my");
    EXPECT_EQ(store.All(), (std::vector<CertificateBytes>{Chain().leaf, Chain().root}));
    EXPECT_EQ(OpenStore(L"CA").All().size(), 0u);
    EXPECT_EQ(OpenStore(L"MY", CERT_SYSTEM_STORE_LOCAL_MACHINE).All().size(), 0u);
}

TEST_F(SystemStore, IsOpenedUnderEachOfItsNames) {
    ASSERT_TRUE(OpenStore(L"Root").Add(Chain().root));
    const auto count = [](HCERTSTORE store) { return OpenStore(store).All().size(); };
    constexpr DWORD kUser = CERT_SYSTEM_STORE_CURRENT_USER;
    EXPECT_EQ(count(CertOpenSystemStoreA(0, "ROOT")), 1u);
    EXPECT_EQ(count(CertOpenStore(CERT_STORE_PROV_SYSTEM_A, 0, 0, kUser, "root")), 1u);
    EXPECT_EQ(count(CertOpenStore(sz_CERT_STORE_PROV_SYSTEM, 0, 0, kUser, L"ROOT")), 1u);
    EXPECT_EQ(count(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                                  kUser | CERT_STORE_OPEN_EXISTING_FLAG, L"ROOT")),
              1u);
}

TEST_F(SystemStore, RefusesWhatItCannotOpen) {
    const auto open = [](DWORD flags, const wchar_t* name) {
        return CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, flags, name);
    };
    EXPECT_FAILS_WITH(ERROR_FILE_NOT_FOUND, open(CERT_SYSTEM_STORE_CURRENT_USER, L"../MY"));
    EXPECT_FAILS_WITH(E_INVALIDARG, open(CERT_SYSTEM_STORE_CURRENT_USER, nullptr));
    EXPECT_FAILS_WITH(E_INVALIDARG, open(0, L"MY"));
    EXPECT_FAILS_WITH(E_INVALIDARG,
                      open(CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_DELETE_FLAG, L"MY"));
    EXPECT_FAILS_WITH(ERROR_FILE_EXISTS,
                      open(CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_CREATE_NEW_FLAG, L"MY"));
}

TEST_F(SystemStore, GuardsTheUsersFilesByTheirMode) {
    ASSERT_TRUE(OpenStore(L"MY").Add(Chain().leaf));
    struct stat status {};
    ASSERT_EQ(stat(Folder().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0700u);
    ASSERT_EQ(stat(Files().at(0).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);
    EXPECT_EQ(Files().at(0).filename().string().size(), 40u);
}

TEST_F(SystemStore, KeepsPropertiesButNoPin) {
    std::string pin = "PIN-31415926";
    std::wstring container = L"box \u0416";
    CRYPT_KEY_PROV_PARAM parameters[] = {
        {PP_SIGNATURE_PIN, reinterpret_cast<BYTE*>(pin.data()), 13, 0},
        {CERT_FIRST_USER_PROP_ID, reinterpret_cast<BYTE*>(container.data()), 4, 1}};
    CRYPT_KEY_PROV_INFO info{container.data(), nullptr, 2, 32, 2, parameters, AT_KEYEXCHANGE};
    {
        const OpenStore store(L"MY");
        ASSERT_TRUE(store.Add(Chain().leaf));
        const Certificate leaf(store.First());
        ASSERT_TRUE(
            CertSetCertificateContextProperty(leaf.Get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &info));
        SetName(leaf.Get(), "in memory", CERT_SET_PROPERTY_INHIBIT_PERSIST_FLAG);
    }
    const OpenStore store(L"MY");
    const Certificate leaf(store.First());
    alignas(CRYPT_KEY_PROV_INFO) BYTE block[500];
    DWORD size = sizeof(block);
    ASSERT_TRUE(
        CertGetCertificateContextProperty(leaf.Get(), CERT_KEY_PROV_INFO_PROP_ID, block, &size));
    const auto* const read = reinterpret_cast<const CRYPT_KEY_PROV_INFO*>(block);
    EXPECT_STREQ(read->pwszContainerName, L"box \u0416");
    EXPECT_EQ(read->pwszProvName, nullptr);
    EXPECT_EQ(read->dwProvType, 2u);
    EXPECT_EQ(read->dwFlags, 32u);
    EXPECT_EQ(read->dwKeySpec, DWORD{AT_KEYEXCHANGE});
    ASSERT_EQ(read->cProvParam, 1u);
    EXPECT_EQ(read->rgProvParam->dwParam, DWORD{CERT_FIRST_USER_PROP_ID});
    EXPECT_EQ(NameOf(leaf.Get()), "(none)");
    std::ifstream file(Files().at(0), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(text.find("31415926"), std::string::npos);
}

TEST_F(SystemStore, ShowsWhatAnotherHandleChanges) {
    const OpenStore one(L"MY");
    const OpenStore two(L"MY");
    ASSERT_TRUE(one.Add(Chain().leaf));
    const Certificate leaf(two.First());
    ASSERT_NE(leaf.Get(), nullptr);
    const Certificate same(one.First());
    SetName(same.Get(), "named");
    const Certificate again(two.First());
    EXPECT_EQ(again.Get(), leaf.Get());
    EXPECT_EQ(NameOf(leaf.Get()), "named");
    ASSERT_TRUE(CertDeleteCertificateFromStore(CertDuplicateCertificateContext(leaf.Get())));
    EXPECT_EQ(one.All().size(), 0u);
    EXPECT_TRUE(Files().empty());
}

TEST_F(SystemStore, KeepsWhatAnotherHandleSetBeforeAPropertyOfItsOwn) {
    ASSERT_TRUE(OpenStore(L"MY").Add(Chain().leaf));
    const OpenStore one(L"MY");
    const OpenStore two(L"MY");
    const Certificate mine(one.First());
    const Certificate theirs(two.First());
    SetName(theirs.Get(), "theirs");
    std::string text = "mine";
    CRYPT_DATA_BLOB blob{static_cast<DWORD>(text.size()), reinterpret_cast<BYTE*>(text.data())};
    ASSERT_TRUE(CertSetCertificateContextProperty(mine.Get(), CERT_DESCRIPTION_PROP_ID, 0, &blob));
    EXPECT_EQ(NameOf(Certificate(one.First()).Get()), "theirs");

    const Certificate added(Chain().leaf);
    ASSERT_TRUE(CertSetCertificateContextProperty(added.Get(), CERT_FIRST_USER_PROP_ID, 0, &blob));
    ASSERT_TRUE(CertAddCertificateContextToStore(one.Get(), added.Get(),
                                                 CERT_STORE_ADD_USE_EXISTING, nullptr));
    EXPECT_EQ(NameOf(Certificate(OpenStore(L"MY").First()).Get()), "theirs");
}

TEST_F(SystemStore, ReplacesWithAlwaysAndWithNewer) {
    const OpenStore store(L"MY");
    ASSERT_TRUE(store.Add(Chain().leaf));
    ASSERT_TRUE(store.Add(Chain().leaf, CERT_STORE_ADD_ALWAYS));
    EXPECT_EQ(store.All().size(), 1u);
    ASSERT_TRUE(store.Add(Chain().newerLeaf, CERT_STORE_ADD_NEWER));
    EXPECT_EQ(store.All(), (std::vector<CertificateBytes>{Chain().newerLeaf}));
    EXPECT_EQ(OpenStore(L"MY").All(), (std::vector<CertificateBytes>{Chain().newerLeaf}));
    EXPECT_EQ(Files().size(), 1u);
}

TEST_F(SystemStore, PassesADamagedFileOverAndKeepsIt) {
    ASSERT_TRUE(OpenStore(L"MY").Add(Chain().leaf));
    const std::filesystem::path file = Files().at(0);
    std::filesystem::resize_file(file, std::filesystem::file_size(file) - 1);
    const OpenStore store(L"MY");
    EXPECT_FAILS_WITH(CRYPT_E_FILE_ERROR, store.First());
    EXPECT_FAILS_WITH(CRYPT_E_FILE_ERROR, store.Add(Chain().leaf, CERT_STORE_ADD_NEW));
    EXPECT_FAILS_WITH(CRYPT_E_FILE_ERROR, store.Add(Chain().leaf, CERT_STORE_ADD_USE_EXISTING));
    ASSERT_TRUE(store.Add(Chain().root));
    EXPECT_EQ(store.All(), (std::vector<CertificateBytes>{Chain().root}));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_FILE_ERROR));
    ASSERT_TRUE(store.Add(Chain().leaf, CERT_STORE_ADD_REPLACE_EXISTING));
    EXPECT_EQ(store.All().size(), 2u);
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_NOT_FOUND));
}

TEST_F(SystemStore, RefusesEveryCutAndEveryDamagedByteOfAFileOrReadsItsCertificate) {
    ASSERT_TRUE(OpenStore(L"MY").Add(Chain().leaf));
    const std::filesystem::path file = Files().at(0);
    std::ifstream input(file, std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(input), {}};
    for (std::size_t at = 0; at < whole.size(); at += 7) {
        for (const bool isCut : {false, true}) {
            std::string damaged = isCut ? whole.substr(0, at) : whole;
            if (!isCut) {
                damaged[at] = static_cast<char>(damaged[at] ^ 0x41);
            }
            std::ofstream(file, std::ios::binary) << damaged;
            for (const CertificateBytes& bytes : OpenStore(L"MY").All()) {
                EXPECT_EQ(bytes, Chain().leaf);
            }
        }
    }
}

TEST_F(SystemStore, WritesNothingWhenOpenedForReading) {
    ASSERT_TRUE(OpenStore(L"MY").Add(Chain().leaf));
    {
        const OpenStore store(L"MY", CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG);
        EXPECT_FAILS_WITH(ERROR_ACCESS_DENIED, store.Add(Chain().root));
        EXPECT_FAILS_WITH(ERROR_ACCESS_DENIED, CertDeleteCertificateFromStore(store.First()));
        const Certificate leaf(store.First());
        SetName(leaf.Get(), "for now");
        EXPECT_EQ(NameOf(leaf.Get()), "for now");
    }
    const OpenStore store(L"MY");
    const Certificate leaf(store.First());
    EXPECT_EQ(NameOf(leaf.Get()), "(none)");
}

TEST_F(SystemStore, LeavesNothingBehindOnAFullDisk) {
    ASSERT_TRUE(OpenStore(L"MY").Add(Chain().leaf));
    const int word = InProcess([] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{100, 100};
        setrlimit(RLIMIT_FSIZE, &limit);
        const OpenStore store(L"MY");
        return store.Add(Chain().root) ? 0 : static_cast<int>(GetLastError());
    });
    EXPECT_EQ(word, ERROR_DISK_FULL);
    EXPECT_EQ(Files().size(), 1u);
    EXPECT_EQ(OpenStore(L"MY").All(), (std::vector<CertificateBytes>{Chain().leaf}));
}

TEST_F(SystemStore, KeepsAPropertyAsItWasOnAFullDiskUnlessToldToIgnoreIt) {
    ASSERT_TRUE(OpenStore(L"MY").Add(Chain().leaf));
    const int answer = InProcess([] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{100, 100};
        setrlimit(RLIMIT_FSIZE, &limit);
        const OpenStore store(L"MY");
        const Certificate leaf(store.First());
        BYTE text[] = "text";
        CRYPT_DATA_BLOB blob{4, text};
        const BOOL isSet =
            CertSetCertificateContextProperty(leaf.Get(), CERT_FRIENDLY_NAME_PROP_ID, 0, &blob);
        if (isSet || GetLastError() != ERROR_DISK_FULL || NameOf(leaf.Get()) != "(none)") {
            return 1;
        }
        SetName(leaf.Get(), "text", CERT_SET_PROPERTY_IGNORE_PERSIST_ERROR_FLAG);
        return NameOf(leaf.Get()) == "text" ? 0 : 2;
    });
    EXPECT_EQ(answer, 0);
}

TEST_F(SystemStore, TellsThatItMayNotWriteOrRead) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become somebody else";
    }
    ASSERT_TRUE(OpenStore(L"MY").Add(Chain().leaf));
    constexpr uid_t kNobody = 65534;
    const auto asNobody = [](bool reads) {
        return InProcess([reads] {
            if (setuid(kNobody) != 0) {
                return 1;
            }
            HCERTSTORE const store = CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                                                   CERT_SYSTEM_STORE_CURRENT_USER, L"MY");
            if (!reads || store == nullptr) {
                return store == nullptr ? static_cast<int>(GetLastError()) : 2;
            }
            return OpenStore(store).Add(Chain().root) ? 0 : static_cast<int>(GetLastError());
        });
    };
    std::filesystem::permissions(home_.parent_path(), std::filesystem::perms(0755));
    EXPECT_EQ(asNobody(false), ERROR_ACCESS_DENIED);
    for (const auto& folder : {home_, home_ / "stores", Folder()}) {
        std::filesystem::permissions(folder, std::filesystem::perms(0755));
    }
    EXPECT_EQ(asNobody(true), ERROR_ACCESS_DENIED);
    EXPECT_EQ(Files().size(), 1u);
}

TEST_F(SystemStore, LetsOneOfManyProcessesAddACertificate) {
    constexpr int kProcesses = 8;
    std::vector<pid_t> children;
    for (int i = 0; i < kProcesses; ++i) {
        children.push_back(fork());
        if (children.back() == 0) {
            const OpenStore store(L"MY");
            const bool isAdded = store.Add(Chain().leaf) != FALSE;
            _exit(isAdded ? 0 : GetLastError() == static_cast<DWORD>(CRYPT_E_EXISTS) ? 1 : 2);
        }
    }
    std::vector<int> answers;
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        answers.push_back(WEXITSTATUS(status));
    }
    EXPECT_EQ(std::ranges::count(answers, 0), 1);
    EXPECT_EQ(std::ranges::count(answers, 1), kProcesses - 1);
    EXPECT_EQ(OpenStore(L"MY").All().size(), 1u);
}

TEST_F(SystemStore, KeepsThePropertiesThatTwoProcessesSet) {
    ASSERT_TRUE(OpenStore(L"MY").Add(Chain().leaf));
    constexpr DWORD kEach = 10;
    const auto set = [](DWORD first) {
        const OpenStore store(L"MY");
        const Certificate leaf(store.First());
        for (DWORD number = first; number < first + kEach; ++number) {
            BYTE value = 1;
            CRYPT_DATA_BLOB blob{1, &value};
            if (!CertSetCertificateContextProperty(leaf.Get(), number, 0, &blob)) {
                return 1;
            }
        }
        return 0;
    };
    const pid_t child = fork();
    if (child == 0) {
        _exit(set(CERT_FIRST_USER_PROP_ID));
    }
    EXPECT_EQ(set(CERT_FIRST_USER_PROP_ID + kEach), 0);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    const OpenStore store(L"MY");
    const Certificate leaf(store.First());
    DWORD count = 0;
    for (DWORD n = 0; (n = CertEnumCertificateContextProperties(leaf.Get(), n)) != 0;) {
        ++count;
    }
    EXPECT_EQ(count, 2 * kEach);
}

TEST_F(SystemStore, HoldsWholeFilesAloneWhenItsWriterIsKilled) {
    ASSERT_TRUE(OpenStore(L"MY").Add(Chain().root));
    std::vector<CertificateBytes> both{Chain().root, Chain().leaf};
    std::ranges::sort(both);
    for (int done = 1; done <= 24; ++done) {
        int pipes[2];
        ASSERT_EQ(pipe(pipes), 0);
        const pid_t child = fork();
        if (child == 0) {
            const OpenStore store(L"MY");
            for (;;) {
                store.Add(Chain().leaf, CERT_STORE_ADD_REPLACE_EXISTING);
                if (write(pipes[1], "", 1) != 1) {
                    _exit(1);
                }
                const Certificate first(store.First());
                SetName(first.Get(), "name");
            }
        }
        char byte = 0;
        for (int i = 0; i < done; ++i) {
            ASSERT_EQ(read(pipes[0], &byte, 1), 1);
        }
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        close(pipes[0]);
        close(pipes[1]);
        const OpenStore store(L"MY");
        std::vector<CertificateBytes> left = store.All();
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(CRYPT_E_NOT_FOUND));
        std::ranges::sort(left);
        EXPECT_EQ(left, both) << done;
        // The next writer clears up and is not kept waiting.
        ASSERT_TRUE(store.Add(Chain().root, CERT_STORE_ADD_REPLACE_EXISTING));
        EXPECT_EQ(Files().size(), 2u);
    }
}

void ExpectInAndOut(const std::vector<CertificateBytes>& certificates) {
    const OpenStore memory;
    const OpenStore files(L"CA");
    for (const CertificateBytes& bytes : certificates) {
        EXPECT_TRUE(memory.Add(bytes)) << std::hex << GetLastError();
        EXPECT_TRUE(files.Add(bytes)) << std::hex << GetLastError();
    }
    EXPECT_EQ(memory.All(), certificates);
    EXPECT_EQ(files.All(), certificates);
    std::vector<CertificateBytes> again = OpenStore(L"CA").All();
    std::vector<CertificateBytes> expected = certificates;
    std::ranges::sort(again);
    std::ranges::sort(expected);
    EXPECT_EQ(again, expected);
}

TEST_F(SystemStore, GivesEveryRootOfTheSystemBackByteForByte) {
    const std::filesystem::path folder = "/usr/share/ca-certificates/mozilla";
    if (!std::filesystem::is_directory(folder)) {
        GTEST_SKIP() << "the package ca-certificates is not there";
    }
    std::vector<CertificateBytes> certificates;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        certificates.push_back(test_support::ReadCertificate(file.path()));
    }
    EXPECT_GT(certificates.size(), 100u);
    ExpectInAndOut(certificates);
}

TEST_F(SystemStore, GivesGostCertificatesOfPeersBackByteForByte) {
    const std::vector<CertificateBytes> certificates = test_support::GostCertificates();
    EXPECT_EQ(certificates.size(), 5u);
    ExpectInAndOut(certificates);
    const OpenStore store(L"CA");
    const Certificate found(CertFindCertificateInStore(
        store.Get(), X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_STR_W, L"gost2012_512", nullptr));
    ASSERT_NE(found.Get(), nullptr);
    EXPECT_STREQ(found->pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId, "1.2.643.7.1.1.1.2");
}

}  // namespace
