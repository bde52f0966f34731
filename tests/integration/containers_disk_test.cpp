// Containers on a disk that is full, or that may only be read: a small file system of the test's
// own.
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <memory>
#include <string_view>

#include "provider/container_store.h"
#include "support/container_home.h"
#include "support/small_disk.h"

namespace {

using provider::Container;
using provider::ContainerScope;
using provider::KeyRecord;
using provider::SecretBytes;
using test_support::ContainerHome;

std::span<const BYTE> OctetsOf(std::string_view text) {
    return {reinterpret_cast<const BYTE*>(text.data()), text.size()};
}

class ContainersOnADisk : public testing::Test {
  protected:
    // Runs `work` with 64 KiB of disk where the user's state lies.
    void OnASmallDisk(const std::function<void()>& work) const {
        std::filesystem::create_directory(home_.User());
        test_support::OnASmallDisk(home_.User(), work);
    }
    void Fill() const { std::ofstream(home_.User() / "filler") << std::string(1 << 20, 'f'); }
    static HRESULT Create(const char* name) {
        std::shared_ptr<Container> made;
        return provider::CreateContainer(ContainerScope::kUser, name, true, &made);
    }
    static std::shared_ptr<Container> Open(const char* name) {
        std::shared_ptr<Container> opened;
        EXPECT_EQ(provider::OpenContainer(ContainerScope::kUser, name, true, &opened), S_OK);
        return opened;
    }
    static void ExpectKey(const Container& container, std::string_view key) {
        SecretBytes secret;
        EXPECT_EQ(container.ReadPrivateKey(AT_SIGNATURE, &secret), S_OK);
        EXPECT_TRUE(std::ranges::equal(secret.View(), OctetsOf(key)));
    }

    ContainerHome home_;
};

const KeyRecord kRecord = {0x2E49, 7, {1}, {}};

TEST_F(ContainersOnADisk, ThatIsFullStayAsTheyWere) {
    OnASmallDisk([this] {
        ASSERT_EQ(Create("mine"), S_OK);
        const auto container = Open("mine");
        ASSERT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, OctetsOf("old")), S_OK);
        Fill();
        EXPECT_EQ(Create("other"), HRESULT{ERROR_DISK_FULL});
        EXPECT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, OctetsOf("new")),
                  HRESULT{ERROR_DISK_FULL});
        EXPECT_EQ(container->PresentPin(OctetsOf("1234")), HRESULT{ERROR_DISK_FULL});
        ExpectKey(*Open("mine"), "old");
        EXPECT_EQ(home_.FilesOfUser().size(), 1U);
        // A deletion needs no room, and what it frees can be used.
        EXPECT_EQ(provider::DeleteContainer(ContainerScope::kUser, "mine"), S_OK);
        EXPECT_EQ(Create("other"), S_OK);
    });
}

TEST_F(ContainersOnADisk, ThatMayOnlyBeReadAreRead) {
    OnASmallDisk([this] {
        ASSERT_EQ(Create("mine"), S_OK);
        ASSERT_EQ(Open("mine")->WriteKey(AT_SIGNATURE, kRecord, OctetsOf("old")), S_OK);
        ASSERT_EQ(mount("tmpfs", home_.User().c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, ""), 0);
        const auto container = Open("mine");
        ExpectKey(*container, "old");
        provider::ContainerListing listing;
        EXPECT_EQ(provider::ListContainers(ContainerScope::kUser, &listing), S_OK);
        EXPECT_EQ(listing.names, std::vector<std::string>{"mine"});
        EXPECT_EQ(Create("other"), HRESULT{ERROR_WRITE_PROTECT});
        EXPECT_EQ(container->WriteKey(AT_SIGNATURE, kRecord, OctetsOf("new")),
                  HRESULT{ERROR_WRITE_PROTECT});
        EXPECT_EQ(container->PresentPin(OctetsOf("1234")), HRESULT{ERROR_WRITE_PROTECT});
        EXPECT_EQ(provider::DeleteContainer(ContainerScope::kUser, "mine"),
                  HRESULT{ERROR_WRITE_PROTECT});
        ExpectKey(*Open("mine"), "old");
    });
}

TEST_F(ContainersOnADisk, ThatMayOnlyBeReadAreNotMade) {
    OnASmallDisk([this] {
        ASSERT_EQ(mount("tmpfs", home_.User().c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, ""), 0);
        EXPECT_EQ(Create("mine"), HRESULT{ERROR_WRITE_PROTECT});
        EXPECT_FALSE(std::filesystem::exists(home_.UserKeys()));
    });
}

}  // namespace
