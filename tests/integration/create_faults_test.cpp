// Every call that an export makes of its platform is made to fail: once, and from there on.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "integration/fault_tally.h"
#include "mvlpfx/mvlpfx.h"
#include "support/export_salts.h"
#include "support/key_calls.h"
#include "support/key_store.h"
#include "support/platform_calls.h"

namespace {

using test_support::KeyCalls;
using test_support::PlatformCalls;

constexpr DWORD kInjected = 0xE0001234;
constexpr DWORD kWithNames = 0x10;
constexpr std::size_t kRoom = 8000;
constexpr BYTE kUntouched = 0xC5;
constexpr std::optional<DWORD> kTolerated = std::nullopt;

constexpr DWORD kFriendlyName = 220;
bool IsDerivationStep(const std::string& name) {
    return name == "CryptCreateHash" || name == "CryptSetHashParam" || name == "CryptHashData" ||
           name == "CryptGetHashParam";
}

bool IsText(const std::string& name) {
    return name == "HeapAlloc" || name == "MultiByteToWideChar" || name == "WideCharToMultiByte";
}

// A call of the export, in the order of its run without failures.
struct Call {
    std::string name;
    // Which of its calls of that name it is, from 1.
    int number = 0;
    test_support::CallDetail detail = {};
};

class CreateFaults : public ::testing::Test {
  protected:
    CreateFaults() {
        store_.Add(test_support::Chain().root);
        store_.AddKey("first", 0x2E23);
        store_.AddKey("second", 0x2E49);
        // Under salts with which the document is made once.
        do {
            Reset();
            ++firstSalt_;
            std::vector<BYTE> buffer(kRoom);
            DWORD count = kRoom;
            EXPECT_TRUE(Create(&buffer, &count));
        } while (Calls().Count("CryptEncrypt") > 2);
        std::map<std::string, int> numbers;
        for (std::size_t i = 0; i < Calls().Log().size(); ++i) {
            const std::string& name = Calls().Log()[i];
            run_.push_back({name, ++numbers[name], Calls().Details()[i]});
        }
    }
    ~CreateFaults() override { Reset(); }

    static PlatformCalls& Calls() { return PlatformCalls::Get(); }
    static void Reset() {
        Calls().Reset();
        KeyCalls::Get().Reset();
    }
    // Draws the same each time.
    BOOL Create(std::vector<BYTE>* buffer, DWORD* count) {
        const test_support::ExportSalts salts(firstSalt_);
        Calls().ReplaceRuntimeRandom(
            [random = std::minstd_rand()]() mutable { return static_cast<int>(random()); });
        PfxBlob pfx{*count, buffer->data()};
        const BOOL answer = UzCreatePFX(store_.Get(), &pfx, L"Password1", kWithNames);
        *count = pfx.cbData;
        return answer;
    }

    // All calls but for the thousands inside the derivations: of those the first and the last of
    // each run, and some between.
    std::vector<std::size_t> ChooseCalls() const {
        constexpr std::size_t kEdge = 9;
        constexpr std::size_t kStride = 4999;
        std::vector<std::size_t> chosen;
        std::size_t start = 0;
        for (std::size_t i = 0; i < run_.size(); ++i) {
            if (!IsDerivationStep(run_[i].name)) {
                start = i + 1;
            }
            const bool isLast = i + kEdge >= run_.size() || !IsDerivationStep(run_[i + kEdge].name);
            if (i < start + kEdge || isLast || i % kStride == 0) {
                chosen.push_back(i);
            }
        }
        return chosen;
    }

    // The word that the failure of this call alone leaves, or nothing where the export goes on.
    std::optional<DWORD> WordOf(std::size_t position) const;
    std::optional<DWORD> WordOfText(std::size_t position) const;
    // The same where every later call fails too.
    DWORD WordOfAllFrom(std::size_t position) const;
    void FailAt(std::size_t position, bool stay);
    void ExpectDocument(const std::vector<BYTE>& buffer, DWORD count, int keys);

    test_support::KeyStore store_;
    BYTE firstSalt_ = 0;
    std::vector<Call> run_;
};

std::optional<DWORD> CreateFaults::WordOf(std::size_t position) const {
    const auto& [name, number, detail] = run_[position];
    if (IsText(name)) {
        return WordOfText(position);
    }
    if (name == "CertEnumCertificatesInStore" && number == 1) {
        return static_cast<DWORD>(NTE_INVALID_PARAMETER);
    }
    // Keys that can't be reached are left out, and what the store does not show is not missed.
    static const std::set<std::string> tolerated = {
        "CertEnumCertificatesInStore", "CertGetCertificateContextProperty", "CryptHashCertificate",
        "CryptAcquireCertificatePrivateKey", "CryptGetUserKey"};
    const bool isNameLength =
        name == "CryptGetProvParam" && detail.parameter == kFriendlyName && !detail.hasBuffer;
    const bool isPermission = name == "CryptGetKeyParam" && detail.parameter == KP_PERMISSIONS;
    // A session key takes its value by another parameter then; the keys of HMACs do not.
    const bool isSessionKey = name == "CryptSetKeyParam" && detail.parameter == KP_KEYVAL &&
                              position + 1 < run_.size() &&
                              run_[position + 1].name == "CryptSetKeyParam";
    if (tolerated.contains(name) || isNameLength || isPermission || isSessionKey) {
        return kTolerated;
    }
    if (name == "CryptGetKeyParam" && detail.parameter == KP_ALGID) {
        return static_cast<DWORD>(NTE_BAD_KEY);
    }
    if (name == "CryptFindOIDInfo") {
        return static_cast<DWORD>(NTE_BAD_ALGID);
    }
    return name.starts_with("Reg") ? static_cast<DWORD>(NTE_BAD_PROV_TYPE) : kInjected;
}

// A password that can't be converted is an empty one; so are names, and that is no error.
std::optional<DWORD> CreateFaults::WordOfText(std::size_t position) const {
    while (position != 0 && IsText(run_[position].name)) {
        --position;
    }
    const std::string& before = run_[position].name;
    const bool isName = before == "CryptHashCertificate" || before == "CryptFindOIDInfo";
    return isName ? kTolerated : std::optional<DWORD>(ERROR_INVALID_PASSWORD);
}

DWORD CreateFaults::WordOfAllFrom(std::size_t position) const {
    if (position < 3) {  // the password's conversion, after which the store seems empty
        return static_cast<DWORD>(NTE_INVALID_PARAMETER);
    }
    const auto& [name, number, detail] = run_[position];
    if (name == "CryptGetProvParam" && detail.parameter == kFriendlyName && !detail.hasBuffer) {
        return static_cast<DWORD>(NTE_BAD_ALGID);  // of the look-up that comes next
    }
    // Without its type, and in the end, the provider can't be acquired.
    return name.starts_with("Reg") ? kInjected : WordOf(position).value_or(kInjected);
}

// With that many bags of keys.
void CreateFaults::ExpectDocument(const std::vector<BYTE>& buffer, DWORD count, int keys) {
    Reset();
    std::vector<BYTE> document(buffer.begin(), buffer.begin() + count);
    const std::vector<BYTE> oid = {0x06, 0x0B, 0x2A, 0x86, 0x48, 0x86, 0xF7,
                                   0x0D, 0x01, 0x0C, 0x0A, 0x01, 0x02};
    int bags = 0;
    for (auto at = document.begin();
         (at = std::search(at, document.end(), oid.begin(), oid.end())) != document.end(); ++at) {
        ++bags;
    }
    EXPECT_EQ(bags, keys);
    const PfxBlob pfx{count, document.data()};
    EXPECT_TRUE(UzVerifyPswPFX(&pfx, L"Password1")) << std::hex << GetLastError();
}

void CreateFaults::FailAt(std::size_t position, bool stay) {
    SCOPED_TRACE(run_[position].name + " " + std::to_string(run_[position].number) +
                 (stay ? " and all after it" : ""));
    Reset();
    Calls().FailFrom(static_cast<int>(position) + 1, stay, kInjected);
    std::vector<BYTE> buffer(kRoom, kUntouched);
    DWORD count = kRoom;
    const BOOL answer = Create(&buffer, &count);
    const DWORD error = GetLastError();
    ASSERT_TRUE(Calls().Failed());
    const std::optional<DWORD> word = stay ? WordOfAllFrom(position) : WordOf(position);
    EXPECT_EQ(answer, word ? FALSE : TRUE);
    EXPECT_EQ(error, word.value_or(0));
    EXPECT_EQ(Calls().OpenContexts(), 0);
    EXPECT_EQ(Calls().OpenKeys(), 0);
    EXPECT_EQ(Calls().OpenHashes(), 0);
    EXPECT_EQ(Calls().OpenRegistryKeys(), 0);
    EXPECT_EQ(Calls().OpenHeapBlocks(), 0);
    // Each selection leaves the walk's reference to its certificate.
    EXPECT_EQ(KeyCalls::Get().OpenCertificates(), Calls().Count("CryptHashCertificate"));
    if (word) {
        EXPECT_EQ(count, kRoom);
        EXPECT_EQ(buffer, std::vector<BYTE>(kRoom, kUntouched));
    } else {
        const std::string& name = run_[position].name;
        const bool isUnreachable =
            name == "CryptAcquireCertificatePrivateKey" || name == "CryptGetUserKey";
        ExpectDocument(buffer, count,
                       Calls().Count("CryptHashCertificate") - (isUnreachable ? 1 : 0));
    }
}

TEST_F(CreateFaults, EachCallFailsOnce) {
    test_support::TellPoints("calls of UzCreatePFX, one fails", ChooseCalls().size());
    for (const std::size_t position : ChooseCalls()) {
        FailAt(position, false);
    }
}

TEST_F(CreateFaults, EachCallFailsAndAllAfterIt) {
    test_support::TellPoints("calls of UzCreatePFX, all from one on fail", ChooseCalls().size());
    for (const std::size_t position : ChooseCalls()) {
        FailAt(position, true);
    }
}

// A call that the stand-ins no longer see would fail nowhere.
TEST_F(CreateFaults, EveryCallOfTheExportIsAmongThem) {
    std::set<std::string> seen;
    for (const Call& call : run_) {
        seen.insert(call.name);
    }
    for (const char* const name : {"CertEnumCertificatesInStore",
                                   "CertGetCertificateContextProperty",
                                   "CryptHashCertificate",
                                   "CryptAcquireCertificatePrivateKey",
                                   "CryptGetUserKey",
                                   "CryptGetKeyParam",
                                   "CryptSetKeyParam",
                                   "CryptGetProvParam",
                                   "CryptExportKey",
                                   "CryptAcquireContextA",
                                   "CryptEncrypt",
                                   "CryptGenKey",
                                   "CryptGenRandom",
                                   "CryptCreateHash",
                                   "CryptSetHashParam",
                                   "CryptHashData",
                                   "CryptGetHashParam",
                                   "CryptFindOIDInfo",
                                   "RegOpenKeyExA",
                                   "RegQueryInfoKeyA",
                                   "RegEnumValueA",
                                   "WideCharToMultiByte",
                                   "MultiByteToWideChar",
                                   "HeapAlloc"}) {
        EXPECT_TRUE(seen.contains(name)) << name;
    }
}

}  // namespace
