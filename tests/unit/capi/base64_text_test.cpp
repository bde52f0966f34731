#include <gtest/gtest.h>

#include <string>

#include "platform/cryptoapi.h"
#include "support/last_error.h"

namespace {

struct Result {
    std::string data;
    DWORD skipped = 77;
    DWORD form = 77;
};

Result Decoded(const std::string& text, DWORD flags) {
    Result result;
    DWORD size = 0;
    const auto length = static_cast<DWORD>(text.size());
    EXPECT_TRUE(CryptStringToBinaryA(text.data(), length, flags, nullptr, &size, nullptr, nullptr))
        << text;
    result.data.resize(size);
    EXPECT_TRUE(CryptStringToBinaryA(text.data(), length, flags,
                                     reinterpret_cast<BYTE*>(result.data.data()), &size,
                                     &result.skipped, &result.form));
    return result;
}

void ExpectRefused(const std::string& text, DWORD flags) {
    DWORD size = 0;
    EXPECT_FAILS_WITH(ERROR_INVALID_DATA,
                      CryptStringToBinaryA(text.data(), static_cast<DWORD>(text.size()), flags,
                                           nullptr, &size, nullptr, nullptr))
        << text;
}

constexpr char kArmoured[] =
    "before\n-----BEGIN THING-----\nZm9v\r\nYmFy\n-----END THING-----\nafter";

// The examples of RFC 4648.
TEST(CryptStringToBinary, ReadsBase64Alone) {
    EXPECT_EQ(Decoded("Zg==", CRYPT_STRING_BASE64).data, "f");
    EXPECT_EQ(Decoded("Zm8=", CRYPT_STRING_BASE64).data, "fo");
    EXPECT_EQ(Decoded("Zm9v", CRYPT_STRING_BASE64).data, "foo");
    EXPECT_EQ(Decoded(" Zm9v\r\nYg==\n", CRYPT_STRING_BASE64).data, "foob");
}

TEST(CryptStringToBinary, ReadsBetweenTheFirstHeaderAndItsFooter) {
    const Result result = Decoded(kArmoured, CRYPT_STRING_BASE64HEADER);
    EXPECT_EQ(result.data, "foobar");
    EXPECT_EQ(result.skipped, 7U);
    EXPECT_EQ(result.form, DWORD{CRYPT_STRING_BASE64HEADER});
}

TEST(CryptStringToBinary, TellsTheFormItFound) {
    EXPECT_EQ(Decoded(kArmoured, CRYPT_STRING_ANY).data, "foobar");
    EXPECT_EQ(Decoded("Zm9v", CRYPT_STRING_BASE64_ANY).form, DWORD{CRYPT_STRING_BASE64});
    const Result plain = Decoded(std::string("\x30\x00", 2), CRYPT_STRING_ANY);
    EXPECT_EQ(plain.data, std::string("\x30\x00", 2));
    EXPECT_EQ(plain.form, DWORD{CRYPT_STRING_BINARY});
    EXPECT_EQ(plain.skipped, 0U);
}

TEST(CryptStringToBinary, TakesLinesOfAnyLength) {
    const std::string text(4000, 'A');
    EXPECT_EQ(Decoded(text, CRYPT_STRING_BASE64).data, std::string(3000, '\0'));
}

TEST(CryptStringToBinary, RefusesOtherForms) {
    ExpectRefused("", CRYPT_STRING_BASE64);
    ExpectRefused("Zm9", CRYPT_STRING_BASE64);
    ExpectRefused("Zm9v!", CRYPT_STRING_BASE64_ANY);
    ExpectRefused("Zm9v", CRYPT_STRING_BASE64HEADER);
    ExpectRefused("-----BEGIN THING-----\nZm9v\n", CRYPT_STRING_BASE64_ANY);
    ExpectRefused("-----BEGIN THING-----", CRYPT_STRING_BASE64HEADER);
}

TEST(CryptStringToBinary, TakesATextToItsTerminatorWhereNoLengthIsGiven) {
    DWORD size = 0;
    EXPECT_TRUE(
        CryptStringToBinaryA("Zm9v", 0, CRYPT_STRING_BASE64, nullptr, &size, nullptr, nullptr));
    EXPECT_EQ(size, 3U);
}

TEST(CryptStringToBinary, RefusesMissingPointersUnknownFormsAndShortBuffers) {
    DWORD size = 0;
    BYTE room[2];
    EXPECT_FAILS_WITH(
        ERROR_INVALID_PARAMETER,
        CryptStringToBinaryA(nullptr, 0, CRYPT_STRING_BASE64, nullptr, &size, nullptr, nullptr));
    EXPECT_FAILS_WITH(
        ERROR_INVALID_PARAMETER,
        CryptStringToBinaryA("Zm9v", 0, CRYPT_STRING_BASE64, nullptr, nullptr, nullptr, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CryptStringToBinaryA("Zm9v", 0, 3, nullptr, &size, nullptr, nullptr));
    size = sizeof(room);
    EXPECT_FAILS_WITH(ERROR_MORE_DATA, CryptStringToBinaryA("Zm9v", 0, CRYPT_STRING_BASE64, room,
                                                            &size, nullptr, nullptr));
    EXPECT_EQ(size, 3U);
}

std::string Encoded(const std::string& data, DWORD flags) {
    DWORD size = 0;
    const auto* const octets = reinterpret_cast<const BYTE*>(data.data());
    const auto length = static_cast<DWORD>(data.size());
    EXPECT_TRUE(CryptBinaryToStringA(octets, length, flags, nullptr, &size));
    std::string text(size, 'x');
    EXPECT_TRUE(CryptBinaryToStringA(octets, length, flags, text.data(), &size));
    EXPECT_EQ(text.size(), size + 1);
    EXPECT_EQ(text.back(), '\0');
    text.pop_back();
    return text;
}

TEST(CryptBinaryToString, WritesBase64InLines) {
    EXPECT_EQ(Encoded("foob", CRYPT_STRING_BASE64), "Zm9vYg==\r\n");
    EXPECT_EQ(Encoded("fo", CRYPT_STRING_BASE64 | CRYPT_STRING_NOCR), "Zm8=\n");
    EXPECT_EQ(Encoded("foo", CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF), "Zm9v");
    EXPECT_EQ(Encoded("", CRYPT_STRING_BASE64), "");
    EXPECT_EQ(Encoded(std::string(49, '\0'), CRYPT_STRING_BASE64 | CRYPT_STRING_NOCR),
              std::string(64, 'A') + "\nAA==\n");
}

TEST(CryptBinaryToString, RefusesMissingPointersOtherFormsAndShortBuffers) {
    DWORD size = 0;
    char room[4];
    const BYTE data[3] = {};
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CryptBinaryToStringA(nullptr, 3, CRYPT_STRING_BASE64, nullptr, &size));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CryptBinaryToStringA(data, 3, CRYPT_STRING_BASE64, nullptr, nullptr));
    EXPECT_FAILS_WITH(ERROR_INVALID_PARAMETER,
                      CryptBinaryToStringA(data, 3, CRYPT_STRING_BINARY, nullptr, &size));
    size = sizeof(room);
    EXPECT_FAILS_WITH(
        ERROR_MORE_DATA,
        CryptBinaryToStringA(data, 3, CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF, room, &size));
    EXPECT_EQ(size, 5U);
}

}  // namespace
