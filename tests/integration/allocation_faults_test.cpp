// Every allocation of every function fails in turn, once, and then with all after it: those of the
// module, of CryptoAPI, of the provider and of the libraries beneath them. Of a restore's one in
// eleven is tried, with MVLPFX_FAULT_STRIDE=1 every one.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <vector>

#include "integration/counted_csp.h"
#include "integration/fault_document.h"
#include "integration/fault_tally.h"
#include "mvlpfx/mvlpfx.h"
#include "support/heap_faults.h"
#include "support/key_store.h"
#include "support/store_content.h"

// What a malformed or unfinished key bag leaves open is meant to stay so: among it is the
// certificate that was found for the key. The loader keeps what it knows of libraries out of sight,
// and the C library loses a name where a locale can't be made.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:pkisdk::CertificateBags::FindForKey\nleak:_dl_map_object_deps\n"
           "leak:_nl_normalize_codeset\n";
}

// What is written here need not come to a disk.
extern "C" __attribute__((visibility("default"))) int fsync(int) {
    return 0;
}

namespace {

using heap_faults::Asker;
using heap_faults::Mode;
using test_support::ContainerHome;
using test_support::StoreContent;

constexpr DWORD kCorrupt = static_cast<DWORD>(CRYPT_E_ASN1_CORRUPT);

enum class End { kDone, kRefused, kThrown };

// How a call ended.
struct Outcome {
    End end = End::kThrown;
    DWORD error = 0;
    HCERTSTORE store = nullptr;
};

std::string NameOf(const Outcome& outcome) {
    switch (outcome.end) {
        case End::kDone:
            return "done";
        case End::kRefused:
            return "refused";
        default:
            return "exception";
    }
}

// Whether one of these functions of CryptoAPI asked for the memory.
bool IsOf(const Asker& asker, std::initializer_list<const char*> functions) {
    return std::ranges::any_of(functions,
                               [&asker](const char* function) { return asker.Includes(function); });
}

// The words that a lack of memory may come to anywhere: of CryptoAPI, the provider, a text that
// could not be converted and so was no password, a type that could not be read, and an exception
// where it is caught.
bool IsWordOfMemory(DWORD error) {
    static const std::set<DWORD> words = {ERROR_NOT_ENOUGH_MEMORY,
                                          static_cast<DWORD>(NTE_NO_MEMORY), ERROR_INVALID_PASSWORD,
                                          static_cast<DWORD>(NTE_BAD_PROV_TYPE), kCorrupt};
    return words.contains(error);
}

class AllocationFaults : public testing::Test {
  protected:
    using Step = std::function<void()>;
    using Run = std::function<Outcome()>;
    using Check = std::function<void(const Outcome&, const Asker&)>;

    void SetUp() override { ASSERT_TRUE(csp_.IsLoaded()); }

    // `prepare` comes before each run, `check` after it, while its store is open.
    void TryAll(const char* name, int usualStride, const Step& prepare, const Run& run,
                const Check& check) {
        const auto stride = static_cast<std::size_t>(test_support::FaultStride(usualStride));
        // What is set up at the first use stays.
        prepare();
        Close(run());
        for (const Mode mode : {Mode::kOne, Mode::kAllFrom}) {
            const char* const title = mode == Mode::kOne ? ", one fails" : ", all from one on fail";
            test_support::FaultTally tally(std::string("allocations of ") + name + title);
            for (std::size_t number = 1;; number = failed_ + stride) {
                SCOPED_TRACE("allocation " + std::to_string(number) + title);
                prepare();
                const Outcome outcome = RunWithFault(number, mode, run);
                if (!happened_) {
                    EXPECT_EQ(NameOf(outcome), "done");
                    Close(outcome);
                    break;
                }
                const Asker asker = heap_faults::LastAsker();
                tally.Add(asker.isSecure ? "secure memory" : asker.part, NameOf(outcome));
                SCOPED_TRACE(testing::PrintToString(asker.functions));
                check(outcome, asker);
                Close(outcome);
                ExpectNoLeak(outcome, number, mode, prepare, run);
                if (HasFailure()) {
                    return;
                }
            }
        }
    }

  private:
    Outcome RunWithFault(std::size_t number, Mode mode, const Run& run) {
        Outcome outcome;
        {
            const heap_faults::Fail fail(number, mode);
            try {
                outcome = run();
            } catch (const std::bad_alloc&) {
            }
            happened_ = fail.Happened();
            failed_ = fail.Number();
        }
        // A bag of a key that ends with an exception leaves its context, its keys, or both.
        const bool mayLeave = outcome.end == End::kRefused && outcome.error == kCorrupt;
        EXPECT_LE(csp_.OpenObjects(), mayLeave ? 3 : 0);
        isLeaving_ = csp_.OpenObjects() != 0;
        if (isLeaving_) {
            csp_.ReleaseContexts();
        }
        return outcome;
    }

    // What is kept for later is kept a few times, libcrypto's texts of errors 16 times at most;
    // what leaks is lost each time.
    void ExpectNoLeak(const Outcome& outcome, std::size_t number, Mode mode, const Step& prepare,
                      const Run& run) {
        long lost = 1;
        for (int attempt = 0; attempt < 20 && lost > 0; ++attempt) {
            prepare();
            const long before = heap_faults::LiveBlocks();
            Close(RunWithFault(number, mode, run));
            lost = heap_faults::LiveBlocks() - before;
        }
        if (!isLeaving_ && !heap_faults::LastAsker().Includes("newlocale")) {
            EXPECT_LE(lost, 0) << NameOf(outcome);
        }
    }

    static void Close(const Outcome& outcome) {
        if (outcome.store != nullptr) {
            CertCloseStore(outcome.store, 0);
        }
    }

    test_support::CountedCsp csp_;
    bool happened_ = false;
    std::size_t failed_ = 0;
    bool isLeaving_ = false;
};

class CreationWithoutMemory : public AllocationFaults {
  protected:
    static constexpr DWORD kRoom = 8000;
    static constexpr BYTE kUntouched = 0xC5;
    static constexpr DWORD kWithNames = 0x10;

    CreationWithoutMemory() {
        store_.Add(test_support::MakeCertificate("ca", "ca", 9));
        store_.AddKey("clé", 0x2E23);
        store_.AddKey("ключ", 0x2E49);
        content_ = test_support::ReadStore(store_.Get());
    }

    Outcome Create() {
        PfxBlob pfx{kRoom, buffer_.data()};
        const BOOL isDone =
            UzCreatePFX(store_.Get(), &pfx, test_support::kFaultPassword, kWithNames);
        size_ = pfx.cbData;
        return {isDone ? End::kDone : End::kRefused, GetLastError(), nullptr};
    }

    void ExpectNothingWritten() const {
        EXPECT_EQ(size_, kRoom);
        EXPECT_TRUE(std::ranges::all_of(buffer_, [](BYTE octet) { return octet == kUntouched; }));
    }

    // The document has everything, but for what a creation leaves out without a word.
    void ExpectDocument(const Asker& asker) {
        const ContainerHome home;
        const PfxBlob pfx{size_, buffer_.data()};
        const test_support::OpenStore store(
            UzRestorePFX(&pfx, test_support::kFaultPassword, CRYPT_EXPORTABLE));
        ASSERT_NE(store.Get(), nullptr) << std::hex << GetLastError();
        const StoreContent restored = test_support::ReadStore(store.Get());
        // The record of a key's place is the module's own memory, and without it the walk ends.
        const bool mayLackKey =
            asker.part == "module" ||
            IsOf(asker, {"CryptAcquireCertificatePrivateKey", "CryptGetUserKey"});
        std::size_t keys = 0;
        for (const auto& [certificate, key] : restored) {
            const auto original = content_.find(certificate);
            ASSERT_NE(original, content_.end());
            EXPECT_TRUE(key == original->second || (!key && mayLackKey));
            keys += key ? 1 : 0;
        }
        EXPECT_EQ(restored.size(), content_.size());
        if (keys == 2 && !IsOf(asker, {"CryptGetProvParam", "MultiByteToWideChar"})) {
            EXPECT_EQ(CountNames(), 2);
        }
    }

    void Check(const Outcome& outcome, const Asker& asker) {
        switch (outcome.end) {
            case End::kThrown:
                ExpectNothingWritten();
                break;
            case End::kRefused:
                ExpectNothingWritten();
                EXPECT_TRUE(IsWordOfMemory(outcome.error)) << std::hex << outcome.error;
                break;
            case End::kDone:
                EXPECT_EQ(outcome.error, 0U);
                ExpectDocument(asker);
                break;
        }
    }

    // The names of the containers that stand in the document, in UTF-8 under their type.
    int CountNames() const {
        const std::string text(buffer_.begin(), buffer_.begin() + size_);
        int count = 0;
        for (const char* const name : {"\x13\x04"
                                       "clé",
                                       "\x13\x08"
                                       "ключ"}) {
            count += text.find(name) != text.npos ? 1 : 0;
        }
        return count;
    }

    test_support::KeyStore store_;
    StoreContent content_;
    std::vector<BYTE> buffer_ = std::vector<BYTE>(kRoom);
    DWORD size_ = 0;
};

TEST_F(CreationWithoutMemory, IsRefusedOrWritesWhatItWouldHave) {
    TryAll(
        "UzCreatePFX", 1,
        [this] {
            std::ranges::fill(buffer_, kUntouched);
            size_ = kRoom;
        },
        [this] { return Create(); },
        [this](const Outcome& outcome, const Asker& asker) { Check(outcome, asker); });
}

class ReadingWithoutMemory : public AllocationFaults {
  protected:
    using Function = HCERTSTORE (*)(const PfxBlob*, LPCWSTR, DWORD);

    void TryRestores(const char* name, Function function) {
        const auto restore = [this, function]() -> Outcome {
            HCERTSTORE const store =
                function(pfx_.Get(), test_support::kFaultPassword, CRYPT_EXPORTABLE);
            return {store != nullptr ? End::kDone : End::kRefused, GetLastError(), store};
        };
        NewHome();
        const Outcome whole = restore();
        ASSERT_NE(whole.store, nullptr);
        content_ = test_support::ReadStore(whole.store);
        CertCloseStore(whole.store, 0);
        TryAll(
            name, 11, [this] { NewHome(); }, restore,
            [this](const Outcome& outcome, const Asker& asker) { Check(outcome, asker); });
    }

    test_support::FaultPfx pfx_;

  private:
    void NewHome() {
        // The old home's variables go before the new one's come.
        home_.reset();
        home_ = std::make_unique<ContainerHome>();
    }

    void Check(const Outcome& outcome, const Asker& asker) const {
        switch (outcome.end) {
            case End::kThrown:
                // Nothing catches what the verification throws, which comes before all else.
                EXPECT_TRUE(home_->FilesOfUser().empty());
                break;
            case End::kRefused:
                // The look at the document has no word but that it is none.
                EXPECT_TRUE(IsWordOfMemory(outcome.error) ||
                            (outcome.error == static_cast<DWORD>(NTE_BAD_DATA) &&
                             asker.Includes("PFXIsPFXBlob")))
                    << std::hex << outcome.error;
                test_support::ExpectRemainsOpen();
                break;
            case End::kDone:
                ExpectStore(outcome, asker);
                test_support::ExpectWholeEntries();
                break;
        }
    }

    // The store has everything, but for what a restore passes over without a word.
    void ExpectStore(const Outcome& outcome, const Asker& asker) const {
        EXPECT_EQ(test_support::CountContainers().withKey, test_support::kFaultKeys);
        EXPECT_EQ(home_->FilesOfUser().size(), test_support::kFaultKeys);
        const StoreContent restored = test_support::ReadStore(outcome.store);
        const bool mayLackCertificate =
            IsOf(asker, {"CertCreateCertificateContext", "CertAddCertificateContextToStore"});
        const bool mayLackKey =
            mayLackCertificate ||
            IsOf(asker,
                 {"CryptSetKeyParam", "CertSetCertificateContextProperty", "CryptHashCertificate"});
        EXPECT_TRUE(restored.size() == content_.size() || mayLackCertificate);
        for (const auto& [certificate, key] : restored) {
            const auto original = content_.find(certificate);
            ASSERT_NE(original, content_.end());
            EXPECT_TRUE(key == original->second || (!key && mayLackKey));
        }
        if (restored.size() == content_.size()) {
            test_support::ExpectNoOtherRoot();
        }
        // Where a system store can't be opened.
        EXPECT_TRUE(outcome.error == 0 || outcome.error == static_cast<DWORD>(NTE_FAIL))
            << std::hex << outcome.error;
    }

    std::unique_ptr<ContainerHome> home_;
    StoreContent content_;
};

TEST_F(ReadingWithoutMemory, OfAPasswordNeverAnswersWrongly) {
    TryAll(
        "UzVerifyPswPFX", 1, [] {},
        [this]() -> Outcome {
            const BOOL fits = UzVerifyPswPFX(pfx_.Get(), test_support::kFaultPassword);
            return {fits ? End::kDone : End::kRefused, GetLastError(), nullptr};
        },
        [](const Outcome& outcome, const Asker&) {
            EXPECT_TRUE(outcome.end != End::kRefused || IsWordOfMemory(outcome.error))
                << std::hex << outcome.error;
            EXPECT_TRUE(outcome.end != End::kDone || outcome.error == 0);
        });
}

// A wrong password that was taken for a right one would be worse than any failure.
TEST_F(ReadingWithoutMemory, OfAWrongPasswordNeverFits) {
    for (const Mode mode : {Mode::kOne, Mode::kAllFrom}) {
        bool happened = true;
        for (std::size_t number = 1; happened; ++number) {
            BOOL fits = FALSE;
            {
                const heap_faults::Fail fail(number, mode);
                try {
                    fits = UzVerifyPswPFX(pfx_.Get(), L"Password2");
                } catch (const std::bad_alloc&) {
                }
                happened = fail.Happened();
            }
            EXPECT_FALSE(fits) << number;
        }
    }
}

TEST_F(ReadingWithoutMemory, OfADocumentIsRefusedOrRestoresWhatItWouldHave) {
    TryRestores("UzRestorePFX", UzRestorePFX);
}

TEST_F(ReadingWithoutMemory, IntoSystemStoresLeavesWholeEntries) {
    TryRestores("UzRestorePFXToSystemStorage", UzRestorePFXToSystemStorage);
}

}  // namespace
