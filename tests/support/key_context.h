// Contexts, keys and blobs of the provider's own entry points, for tests of keys in containers.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "csp.h"
#include "support/container_home.h"
#include "support/csp_guards.h"

namespace test_support {

// Released at the end. All calls expect success; what is expected to fail is called by itself.
class KeyContext {
  public:
    explicit KeyContext(const char* container, DWORD flags = 0) {
        VTableProvStruc caller{};
        EXPECT_TRUE(CPAcquireContext(&handle_, container, flags, &caller))
            << std::hex << GetLastError();
    }
    ~KeyContext() { CPReleaseContext(handle_, 0); }
    KeyContext(const KeyContext&) = delete;
    KeyContext& operator=(const KeyContext&) = delete;

    HCRYPTPROV Get() const { return handle_; }

    HCRYPTKEY Generate(ALG_ID algorithm, DWORD flags = 0) const {
        HCRYPTKEY key = 0;
        EXPECT_TRUE(CPGenKey(handle_, algorithm, flags, &key)) << std::hex << GetLastError();
        return key;
    }
    HCRYPTKEY UserKey(DWORD keySpec) const {
        HCRYPTKEY key = 0;
        EXPECT_TRUE(CPGetUserKey(handle_, keySpec, &key)) << std::hex << GetLastError();
        return key;
    }
    // With a value of its own.
    HCRYPTKEY SessionKey(BYTE fill = 0x42) const {
        const HCRYPTKEY key = Generate(kGost28147);
        std::array<BYTE, 32> value{};
        value.fill(fill);
        EXPECT_TRUE(CPSetKeyParam(handle_, key, KP_KEYVAL, value.data(), 0));
        return key;
    }
    void Set(DWORD parameter, const std::string& text) const {
        EXPECT_TRUE(
            CPSetProvParam(handle_, parameter, reinterpret_cast<const BYTE*>(text.c_str()), 0))
            << std::hex << GetLastError();
    }
    std::vector<BYTE> Parameter(HCRYPTKEY key, DWORD parameter) const {
        DWORD size = 0;
        EXPECT_TRUE(CPGetKeyParam(handle_, key, parameter, nullptr, &size, 0))
            << std::hex << GetLastError();
        std::vector<BYTE> value(size);
        EXPECT_TRUE(CPGetKeyParam(handle_, key, parameter, value.data(), &size, 0));
        return value;
    }
    DWORD Number(HCRYPTKEY key, DWORD parameter) const {
        const std::vector<BYTE> value = Parameter(key, parameter);
        EXPECT_EQ(value.size(), 4U);
        DWORD number = 0;
        for (std::size_t i = value.size(); i-- != 0;) {
            number = number << 8 | value[i];
        }
        return number;
    }
    std::vector<BYTE> Export(HCRYPTKEY key, HCRYPTKEY wrapping, DWORD blobType, DWORD flags) const {
        DWORD size = 0;
        EXPECT_TRUE(CPExportKey(handle_, key, wrapping, blobType, flags, nullptr, &size))
            << std::hex << GetLastError();
        std::vector<BYTE> blob(size);
        EXPECT_TRUE(CPExportKey(handle_, key, wrapping, blobType, flags, blob.data(), &size))
            << std::hex << GetLastError();
        EXPECT_EQ(size, blob.size());
        return blob;
    }
    std::vector<BYTE> ExportPublic(HCRYPTKEY key) const { return Export(key, 0, PUBLICKEYBLOB, 0); }
    std::vector<BYTE> ExportPrivate(HCRYPTKEY key, HCRYPTKEY wrapping) const {
        return Export(key, wrapping, PRIVATEKEYBLOB, 0x1000);
    }
    HCRYPTKEY Import(const std::vector<BYTE>& blob, HCRYPTKEY wrapping, DWORD flags = 0) const {
        HCRYPTKEY key = 0;
        EXPECT_TRUE(CPImportKey(handle_, blob.data(), static_cast<DWORD>(blob.size()), wrapping,
                                flags, &key))
            << std::hex << GetLastError();
        return key;
    }
    // A blob around a PrivateKeyInfo, or whatever it is.
    std::vector<BYTE> WrapKey(std::vector<BYTE> info, HCRYPTKEY wrapping) const {
        auto size = static_cast<DWORD>(info.size());
        EXPECT_TRUE(CPEncrypt(handle_, wrapping, 0, TRUE, 0, info.data(), &size, size));
        info.insert(info.begin(), {7, 0x11, 0, 0, 0, 0, 0, 0});
        return info;
    }
    // What is in such a blob.
    std::vector<BYTE> UnwrapKey(std::vector<BYTE> blob, HCRYPTKEY wrapping) const {
        blob.erase(blob.begin(), blob.begin() + 8);
        auto size = static_cast<DWORD>(blob.size());
        EXPECT_TRUE(CPDecrypt(handle_, wrapping, 0, TRUE, 0, blob.data(), &size));
        return blob;
    }
    HCRYPTHASH HashOf(ALG_ID algorithm, const std::string& message) const {
        HCRYPTHASH hash = 0;
        EXPECT_TRUE(CPCreateHash(handle_, algorithm, 0, 0, &hash));
        EXPECT_TRUE(CPHashData(handle_, hash, reinterpret_cast<const BYTE*>(message.data()),
                               static_cast<DWORD>(message.size()), 0));
        return hash;
    }
    std::vector<BYTE> Sign(HCRYPTHASH hash, DWORD keySpec) const {
        DWORD size = 0;
        EXPECT_TRUE(CPSignHash(handle_, hash, keySpec, nullptr, 0, nullptr, &size))
            << std::hex << GetLastError();
        std::vector<BYTE> signature(size);
        EXPECT_TRUE(CPSignHash(handle_, hash, keySpec, nullptr, 0, signature.data(), &size))
            << std::hex << GetLastError();
        return signature;
    }
    BOOL Verify(HCRYPTHASH hash, const std::vector<BYTE>& signature, HCRYPTKEY key) const {
        return CPVerifySignature(handle_, hash, signature.data(),
                                 static_cast<DWORD>(signature.size()), key, nullptr, 0);
    }

  private:
    HCRYPTPROV handle_ = 0;
};

}  // namespace test_support
