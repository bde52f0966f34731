#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "mvlpfx/certificate_walk.h"
#include "mvlpfx/container_names.h"
#include "support/container_home.h"
#include "windows/console_program.h"
#include "windows/keys_and_documents.h"

namespace windows_tests {
namespace {

constexpr DWORD kEndedByCtrlC = static_cast<DWORD>(STATUS_CONTROL_C_EXIT);
constexpr char kRestoredSubject[] = "CN=key-2012-512";

std::string ContentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The certificates of "MY" with that subject.
std::vector<mvlpfx::OwnedCertificate> CertificatesOf(const std::string& subject) {
    const mvlpfx::OwnedStore my = mvlpfx::OpenSystemStore("MY", false);
    std::vector<mvlpfx::OwnedCertificate> found;
    mvlpfx::ForEachCertificate(my.Get(), "MY", [&](PCCERT_CONTEXT certificate) {
        if (mvlpfx::SubjectText(certificate) == subject) {
            found.emplace_back(CertDuplicateCertificateContext(certificate));
        }
    });
    return found;
}

// From the registry, since what Wine deletes from a store is there again in the next process.
void ForgetCertificatesOf(const std::string& subject) {
    constexpr char kPlace[] = "Software\\Microsoft\\SystemCertificates\\MY\\Certificates\\";
    for (const mvlpfx::OwnedCertificate& certificate : CertificatesOf(subject)) {
        const std::string key = kPlace + mvlpfx::Thumbprint(certificate.Get());
        EXPECT_EQ(RegDeleteKeyA(HKEY_CURRENT_USER, key.c_str()), ERROR_SUCCESS) << key;
    }
}

class WindowsInterruption : public testing::Test {
  protected:
    void SetUp() override { ForgetCertificates(); }
    void TearDown() override { ForgetCertificates(); }

    test_support::ScopedFolder folder_;
    test_support::ContainerHome home_;

  private:
    static void ForgetCertificates() {
        for (const char* const subject : {"CN=undisturbed", "CN=disturbed", kRestoredSubject}) {
            ForgetCertificatesOf(subject);
        }
    }
};

TEST_F(WindowsInterruption, WithoutASignalTheCommandGoesOnToItsEnd) {
    const ConsoleProgram program("interrupted_command.exe", "show");
    EXPECT_EQ(program.Wait(), 0U);
    EXPECT_EQ(program.Output(), "waits: 0\ngoes on\nnothing to deliver\n");
}

// 2 is SIGINT.
TEST_F(WindowsInterruption, SignalWaitsAndIsToldAndEndsTheProcessWithWhatItPrinted) {
    const ConsoleProgram program("interrupted_command.exe", "pressed show");
    EXPECT_EQ(program.Wait(), kEndedByCtrlC);
    EXPECT_EQ(program.Output(), "waits: 2\ninterrupted: 2\n");
}

TEST_F(WindowsInterruption, NewMakesItsContainerWithoutASignal) {
    const ConsoleProgram program("interrupted_command.exe", "new undisturbed");
    EXPECT_EQ(program.Wait(), 0U);
    EXPECT_EQ(mvlpfx::ContainerNames(false), std::vector<std::string>{"undisturbed"});
    EXPECT_EQ(CertificatesOf("CN=undisturbed").size(), 1U);
}

TEST_F(WindowsInterruption, NewTakesItsContainerBack) {
    const ConsoleProgram program("interrupted_command.exe", "pressed new disturbed");
    EXPECT_EQ(program.Wait(), kEndedByCtrlC);
    EXPECT_EQ(program.Output(), "interrupted: 2\n");
    // There was one.
    EXPECT_TRUE(std::filesystem::exists(home_.UserKeys() / ".lock"));
    EXPECT_EQ(home_.FilesOfUser(), std::vector<std::string>{});
    EXPECT_TRUE(CertificatesOf("CN=disturbed").empty());
}

TEST_F(WindowsInterruption, FileIsReplacedWithoutASignal) {
    const std::filesystem::path path = folder_ / "out.pfx";
    std::ofstream(path) << "old";
    const ConsoleProgram program("interrupted_command.exe", "write \"" + path.string() + "\"");
    EXPECT_EQ(program.Wait(), 0U);
    EXPECT_EQ(ContentOf(path), "new");
}

TEST_F(WindowsInterruption, FileStaysAndNoneIsLeftBesideIt) {
    const std::filesystem::path path = folder_ / "out.pfx";
    std::ofstream(path) << "old";
    const ConsoleProgram program("interrupted_command.exe",
                                 "pressed write \"" + path.string() + "\"");
    EXPECT_EQ(program.Wait(), kEndedByCtrlC);
    EXPECT_EQ(program.Output(), "interrupted: 2\n");
    EXPECT_EQ(ContentOf(path), "old");
    const std::filesystem::directory_iterator files(path.parent_path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

TEST_F(WindowsInterruption, PromptGivesTheConsoleItsEchoBack) {
    const ConsoleProgram verify("mvlpfx.exe",
                                "verify \"" MVLPFX_TEST_DATA "/peers/openssl-one-iteration.pfx\"");
    const ConsoleProgram press("interrupted_command.exe", "prompt " + std::to_string(verify.Id()));
    EXPECT_EQ(press.Wait(), 0U);
    EXPECT_EQ(press.Output(), "echo at the prompt: off\necho behind it: on\n");
    EXPECT_EQ(verify.Output(), "");
}

// The tool itself: it waits for the lock, with the key derived and no container made, when the key
// is pressed; what it says of that tells that the signal came.
class InterruptedRestore : public WindowsInterruption {
  protected:
    // What it prints in all.
    void Interrupt(const std::string& options, std::string* printed) {
        { const KeyContainer makesTheFolder("first", 0x2E49); }
        HeldContainerLock lock(home_.UserKeys());
        const ConsoleProgram restore("mvlpfx.exe", std::string("restore \"") + kDocument +
                                                       ".pfx\" --pass-file \"" + kDocument +
                                                       ".password\" " + options);
        ASSERT_TRUE(WaitUntil([&] { return restore.HasOpen(lock.Path()); }))
            << restore.Complaints();
        const ConsoleProgram press("interrupted_command.exe",
                                   "press " + std::to_string(restore.Id()));
        EXPECT_EQ(press.Wait(), 0U) << press.Output();
        ASSERT_TRUE(WaitUntil([&] {
            return restore.Complaints() == "mvlpfx: interrupted; what is begun is ended first\n";
        })) << restore.Complaints();
        EXPECT_EQ(restore.Output(), "");
        lock.Release();
        EXPECT_EQ(restore.Wait(), kEndedByCtrlC);
        *printed = restore.Output();
    }

  private:
    static constexpr char kDocument[] = MVLPFX_TEST_DATA "/peers/openssl-one-iteration";
};

TEST_F(InterruptedRestore, IsEndedAndToldBeforeTheProcessEnds) {
    std::string printed;
    Interrupt("", &printed);
    const std::vector<std::string> names = mvlpfx::ContainerNames(false);
    ASSERT_EQ(names.size(), 1U);
    const std::vector<mvlpfx::OwnedCertificate> certificates = CertificatesOf(kRestoredSubject);
    ASSERT_EQ(certificates.size(), 1U);
    EXPECT_FALSE(PublicKeyBehind(certificates[0].Get()).empty());
    EXPECT_EQ(printed, "container    " + names[0] + "\ncertificate  " +
                           mvlpfx::Thumbprint(certificates[0].Get()) + "  key  MY        " +
                           kRestoredSubject + "\n");
}

TEST_F(InterruptedRestore, ReportHasTheSignalAsOnLinux) {
    std::string printed;
    Interrupt("--json --keys-only", &printed);
    const std::vector<std::string> names = mvlpfx::ContainerNames(false);
    ASSERT_EQ(names.size(), 1U);
    const auto report = nlohmann::json::parse(printed);
    EXPECT_EQ(report["exitCode"], 130);
    EXPECT_EQ(report["containers"], nlohmann::json(names));
    EXPECT_TRUE(CertificatesOf(kRestoredSubject).empty());
}

}  // namespace
}  // namespace windows_tests
