// Every call on a file fails in turn, once, and then with all after it: the disk is full, a quota
// is used up, the file system may only be read, permission is lost, the device fails; calls are
// interrupted, and do less than they were asked for. MVLPFX_FAULT_STRIDE=1 tries every call, and
// not one in seven.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "integration/fault_document.h"
#include "integration/fault_tally.h"
#include "mvlpfx/mvlpfx.h"
#include "support/file_faults.h"
#include "support/key_store.h"
#include "support/store_content.h"

namespace {

using file_faults::Fault;
using test_support::ContainerHome;
using test_support::StoreContent;

struct Outcome {
    bool isDone = false;
    DWORD error = 0;
    HCERTSTORE store = nullptr;
};

// What a disk's refusal is told by; the same words for containers and for stores.
const std::map<int, DWORD> kWords = {{ENOSPC, ERROR_DISK_FULL},
                                     {EDQUOT, ERROR_DISK_FULL},
                                     {EROFS, ERROR_WRITE_PROTECT},
                                     {EACCES, ERROR_ACCESS_DENIED},
                                     {EIO, static_cast<DWORD>(CRYPT_E_FILE_ERROR)}};
const std::map<int, const char*> kNames = {{ENOSPC, "ENOSPC"}, {EDQUOT, "EDQUOT"}, {EROFS, "EROFS"},
                                           {EACCES, "EACCES"}, {EIO, "EIO"},       {EINTR, "EINTR"},
                                           {0, "a short call"}};

// Whatever waits for a call that is always interrupted waits for ever, so that it is once alone.
std::vector<Fault> AllFaults() {
    std::vector<Fault> faults = {{EINTR, false}, {0, false}, {0, true}};
    for (const auto& [error, word] : kWords) {
        faults.push_back({error, false});
        faults.push_back({error, true});
    }
    return faults;
}

// Whether the call is made good for by doing it again.
bool IsHarmless(const Fault& fault) {
    return fault.error == EINTR || fault.IsShort();
}

// That of the fault, or of a provider whose library is not found any more.
bool IsWordOf(const Fault& fault, DWORD error) {
    return error == kWords.at(fault.error) ||
           (fault.stays && error == static_cast<DWORD>(NTE_PROV_DLL_NOT_FOUND));
}

bool IsOf(std::initializer_list<const char*> functions) {
    const std::vector<std::string> callers = file_faults::LastCallers();
    return std::ranges::any_of(functions, [&callers](const char* function) {
        return std::ranges::find(callers, function) != callers.end();
    });
}

std::ptrdiff_t OpenFiles() {
    return std::ranges::distance(std::filesystem::directory_iterator("/proc/self/fd"));
}

class FileFaults : public testing::Test {
  protected:
    using Step = std::function<void()>;
    using Run = std::function<Outcome()>;
    using Check = std::function<void(const Outcome&, const Fault&)>;

    void TryAll(const char* name, const Step& prepare, const Run& run, const Check& check) {
        for (const Fault& fault : AllFaults()) {
            const std::string title =
                std::string(kNames.at(fault.error)) + (fault.stays ? " from one on" : " once");
            test_support::FaultTally tally("files of " + std::string(name) + ", " + title);
            for (std::size_t number = 1;; number += stride_) {
                SCOPED_TRACE("call " + std::to_string(number) + ": " + title);
                prepare();
                const std::ptrdiff_t openBefore = OpenFiles();
                Outcome outcome;
                bool happened = false;
                {
                    const file_faults::Fail fail(number, fault);
                    outcome = run();
                    happened = fail.Happened();
                }
                EXPECT_EQ(OpenFiles(), openBefore);
                SCOPED_TRACE(file_faults::LastCall() + " of " +
                             testing::PrintToString(file_faults::LastCallers()));
                if (happened) {
                    tally.Add(file_faults::LastCall(), outcome.isDone ? "done" : "refused");
                    EXPECT_TRUE(outcome.isDone || !IsHarmless(fault));
                    check(outcome, fault);
                } else {
                    EXPECT_TRUE(outcome.isDone);
                }
                CertCloseStore(outcome.store, 0);
                if (!happened || HasFailure()) {
                    break;
                }
            }
            if (HasFailure()) {
                return;
            }
        }
    }

  private:
    const std::size_t stride_ = static_cast<std::size_t>(test_support::FaultStride(7));
};

class RestoreOnABadDisk : public FileFaults {
  protected:
    using Function = HCERTSTORE (*)(const PfxBlob*, LPCWSTR, DWORD);

    void TryRestores(const char* name, Function function) {
        NewHome();
        const Outcome whole = Restore(function);
        ASSERT_TRUE(whole.isDone) << std::hex << whole.error;
        content_ = test_support::ReadStore(whole.store);
        CertCloseStore(whole.store, 0);
        TryAll(
            name, [this] { NewHome(); }, [=, this] { return Restore(function); },
            [=, this](const Outcome& outcome, const Fault& fault) {
                ExpectWord(outcome, fault);
                test_support::ExpectRemainsOpen();
                if (outcome.isDone) {
                    ExpectStore(outcome, fault);
                }
                ExpectNextRestoreWorks(function);
            });
    }

  private:
    void NewHome() {
        // The old home's variables go before the new one's come.
        home_.reset();
        home_ = std::make_unique<ContainerHome>();
    }

    Outcome Restore(Function function) const {
        HCERTSTORE const store =
            function(pfx_.Get(), test_support::kFaultPassword, CRYPT_EXPORTABLE);
        return {store != nullptr, GetLastError(), store};
    }

    // That of the fault, or where the restore goes on none, or that of a system store.
    static void ExpectWord(const Outcome& outcome, const Fault& fault) {
        if (outcome.isDone) {
            EXPECT_TRUE(outcome.error == 0 || outcome.error == static_cast<DWORD>(NTE_FAIL))
                << std::hex << outcome.error;
        } else {
            EXPECT_TRUE(IsWordOf(fault, outcome.error)) << std::hex << outcome.error;
        }
    }

    // Keys in their containers and every certificate; one whose container could not be written
    // again is not tied to it.
    void ExpectStore(const Outcome& outcome, const Fault& fault) const {
        const StoreContent restored = test_support::ReadStore(outcome.store);
        EXPECT_EQ(test_support::CountContainers().withKey, test_support::kFaultKeys);
        ASSERT_EQ(restored.size(), content_.size());
        test_support::ExpectNoOtherRoot();
        const bool mayLackKey = !IsHarmless(fault) && (fault.stays || IsOf({"CryptSetKeyParam"}));
        for (const auto& [certificate, key] : restored) {
            EXPECT_TRUE(key == content_.at(certificate) || (!key && mayLackKey));
        }
    }

    void ExpectNextRestoreWorks(Function function) const {
        const std::size_t before = test_support::CountContainers().withKey;
        const Outcome next = Restore(function);
        EXPECT_TRUE(next.isDone);
        EXPECT_EQ(next.error, 0U) << std::hex << next.error;
        EXPECT_EQ(test_support::ReadStore(next.store), content_);
        CertCloseStore(next.store, 0);
        EXPECT_EQ(test_support::CountContainers().withKey, before + test_support::kFaultKeys);
        EXPECT_FALSE(std::filesystem::exists(home_->UserKeys() / ".unfinished"));
    }

    test_support::FaultPfx pfx_;
    std::unique_ptr<ContainerHome> home_;
    StoreContent content_;
};

TEST_F(RestoreOnABadDisk, LeavesContainersThatOpenAndTellsWhy) {
    TryRestores("UzRestorePFX", UzRestorePFX);
}

TEST_F(RestoreOnABadDisk, IntoSystemStoresLeavesWholeEntries) {
    TryRestores("UzRestorePFXToSystemStorage", UzRestorePFXToSystemStorage);
}

TEST_F(FileFaults, OfAVerificationNeverMakeItAnswerWrongly) {
    const test_support::FaultPfx pfx;
    const ContainerHome home;
    TryAll(
        "UzVerifyPswPFX", [] {},
        [&pfx]() -> Outcome {
            const BOOL fits = UzVerifyPswPFX(pfx.Get(), test_support::kFaultPassword);
            return {fits != FALSE, GetLastError(), nullptr};
        },
        [](const Outcome& outcome, const Fault& fault) {
            EXPECT_TRUE(outcome.isDone ? outcome.error == 0 : IsWordOf(fault, outcome.error))
                << std::hex << outcome.error;
        });
}

class CreateOnABadDisk : public FileFaults {
  protected:
    static constexpr DWORD kRoom = 8000;

    CreateOnABadDisk() {
        store_.Add(test_support::MakeCertificate("ca", "ca", 9));
        store_.AddKey("first", 0x2E23);
        store_.AddKey("second", 0x2E49);
        content_ = test_support::ReadStore(store_.Get());
    }

    Outcome Create() {
        PfxBlob pfx{kRoom, buffer_.data()};
        const BOOL isDone = UzCreatePFX(store_.Get(), &pfx, test_support::kFaultPassword, 0);
        size_ = pfx.cbData;
        return {isDone != FALSE, GetLastError(), nullptr};
    }

    // A key that can't be reached is left out without a word.
    void ExpectDocument(const Fault& fault) {
        const ContainerHome home;
        const PfxBlob pfx{size_, buffer_.data()};
        const test_support::OpenStore store(
            UzRestorePFX(&pfx, test_support::kFaultPassword, CRYPT_EXPORTABLE));
        ASSERT_NE(store.Get(), nullptr) << std::hex << GetLastError();
        const StoreContent restored = test_support::ReadStore(store.Get());
        ASSERT_EQ(restored.size(), content_.size());
        const bool mayLackKey =
            !IsHarmless(fault) &&
            (fault.stays || IsOf({"CryptAcquireCertificatePrivateKey", "CryptGetUserKey"}));
        for (const auto& [certificate, key] : restored) {
            EXPECT_TRUE(key == content_.at(certificate) || (!key && mayLackKey));
        }
    }

    test_support::KeyStore store_;
    StoreContent content_;
    std::vector<BYTE> buffer_ = std::vector<BYTE>(kRoom);
    DWORD size_ = 0;
};

TEST_F(CreateOnABadDisk, IsRefusedOrWritesWhatItWouldHave) {
    TryAll(
        "UzCreatePFX", [] {}, [this] { return Create(); },
        [this](const Outcome& outcome, const Fault& fault) {
            if (outcome.isDone) {
                EXPECT_EQ(outcome.error, 0U);
                ExpectDocument(fault);
                return;
            }
            // A key whose algorithm can't be read has a word of its own.
            EXPECT_TRUE(IsWordOf(fault, outcome.error) ||
                        (outcome.error == static_cast<DWORD>(NTE_BAD_KEY) &&
                         (fault.stays || IsOf({"CryptGetKeyParam"}))))
                << std::hex << outcome.error;
        });
}

}  // namespace
