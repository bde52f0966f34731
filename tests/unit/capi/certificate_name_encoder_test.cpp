#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/cryptoapi.h"
#include "support/hex.h"
#include "support/last_error.h"

namespace {

using test_support::FromHex;

std::vector<BYTE> Encoded(const std::string& text, DWORD type = CERT_X500_NAME_STR) {
    DWORD size = 0;
    EXPECT_TRUE(
        CertStrToNameA(X509_ASN_ENCODING, text.c_str(), type, nullptr, nullptr, &size, nullptr))
        << text;
    std::vector<BYTE> name(size);
    EXPECT_TRUE(
        CertStrToNameA(X509_ASN_ENCODING, text.c_str(), type, nullptr, name.data(), &size, nullptr))
        << text;
    return name;
}

std::string TextOf(std::vector<BYTE> encoded) {
    CERT_NAME_BLOB blob{static_cast<DWORD>(encoded.size()), encoded.data()};
    char text[500];
    CertNameToStrA(X509_ASN_ENCODING, &blob, CERT_X500_NAME_STR, text, sizeof(text));
    return text;
}

// Where reading stops, or -1.
std::ptrdiff_t StopOf(const std::string& text, DWORD type = CERT_X500_NAME_STR) {
    DWORD size = 0;
    LPCSTR stop = nullptr;
    EXPECT_FAILS_WITH(
        CRYPT_E_INVALID_X500_STRING,
        CertStrToNameA(X509_ASN_ENCODING, text.c_str(), type, nullptr, nullptr, &size, &stop))
        << text;
    return stop == nullptr ? -1 : stop - text.c_str();
}

// SEQUENCE { SET { SEQUENCE { OID, string } } ... }, counted out by hand.
TEST(CertStrToName, EncodesOneSetForEachAttribute) {
    EXPECT_EQ(Encoded("CN=a"), FromHex("300c310a300806035504030c0161"));
    EXPECT_EQ(Encoded("C=RU, CN=a"),
              FromHex("3019310b3009060355040613025255310a300806035504030c0161"));
}

TEST(CertStrToName, TakesIdentifiersWithAndWithoutTheirPrefix) {
    EXPECT_EQ(Encoded("2.5.4.3=a"), Encoded("CN=a"));
    EXPECT_EQ(Encoded("OID.2.5.4.3=a"), Encoded("CN=a"));
    EXPECT_EQ(Encoded("oid.2.5.4.3=a"), Encoded("CN=a"));
    EXPECT_EQ(TextOf(Encoded("1.2.643.100.1=1027700132195")), "OID.1.2.643.100.1=1027700132195");
}

TEST(CertStrToName, TakesKeywordsInAnyCaseAndByTheirOtherNames) {
    EXPECT_EQ(Encoded("cn=a"), Encoded("CN=a"));
    EXPECT_EQ(Encoded("ST=Moscow"), Encoded("S=Moscow"));
    EXPECT_EQ(Encoded("email=a@b"), Encoded("E=a@b"));
}

TEST(CertStrToName, ReadsWhatCertNameToStrWrites) {
    for (const char* const text :
         {"CN=Ivan Petrov", "CN=\"Petrov, Ivan\", O=\"A \"\"B\"\" + C\"", "CN=a + OU=b, O=c",
          "CN=\" padded \", C=RU", "CN=\"#1\"", "DC=org, DC=example, E=a@example.org",
          "CN=\xD0\x98\xD0\xB2\xD0\xB0\xD0\xBD"}) {
        EXPECT_EQ(TextOf(Encoded(text)), text);
    }
}

TEST(CertStrToName, SkipsBlanksAndEmptyPlaces) {
    EXPECT_EQ(Encoded("  CN = a ,, O=b ; "), Encoded("CN=a, O=b"));
    EXPECT_EQ(Encoded(""), FromHex("3000"));
}

TEST(CertStrToName, WritesAttributesTheOtherWayWhenAsked) {
    EXPECT_EQ(Encoded("CN=a, O=b, C=RU", CERT_X500_NAME_STR | CERT_NAME_STR_REVERSE_FLAG),
              Encoded("C=RU, O=b, CN=a"));
    EXPECT_EQ(TextOf(Encoded("CN=a + OU=b, O=c", CERT_X500_NAME_STR | CERT_NAME_STR_REVERSE_FLAG)),
              "O=c, CN=a + OU=b");
}

TEST(CertStrToName, PartsAttributesAsTheFlagsSay) {
    EXPECT_EQ(TextOf(Encoded("CN=a, b; O=c", CERT_X500_NAME_STR | CERT_NAME_STR_SEMICOLON_FLAG)),
              "CN=\"a, b\", O=c");
    EXPECT_EQ(TextOf(Encoded("CN=a; b, O=c", CERT_X500_NAME_STR | CERT_NAME_STR_COMMA_FLAG)),
              "CN=\"a; b\", O=c");
    EXPECT_EQ(TextOf(Encoded("CN=a, b\r\nO=c", CERT_X500_NAME_STR | CERT_NAME_STR_CRLF_FLAG)),
              "CN=\"a, b\", O=c");
    EXPECT_EQ(TextOf(Encoded("CN=a + O=c", CERT_X500_NAME_STR | CERT_NAME_STR_NO_PLUS_FLAG)),
              "CN=\"a + O=c\"");
    EXPECT_EQ(TextOf(Encoded("CN=\"a\"", CERT_X500_NAME_STR | CERT_NAME_STR_NO_QUOTING_FLAG)),
              "CN=\"\"\"a\"\"\"");
}

TEST(CertStrToName, TellsWhereATextIsNoName) {
    EXPECT_EQ(StopOf("CN"), 0);
    EXPECT_EQ(StopOf("CN=a, nonsense"), 6);
    EXPECT_EQ(StopOf("CN=a, NoSuchKeyword=b"), 6);
    EXPECT_EQ(StopOf("CN=\"open"), 3);
    EXPECT_EQ(StopOf("CN=\"a\" b"), 7);
    EXPECT_EQ(StopOf("CN=a +"), 6);
    EXPECT_EQ(StopOf("CN=a, C=RUS"), 6);
    EXPECT_EQ(StopOf("CN=\"\""), 0);
    EXPECT_EQ(StopOf("CN=" + std::string(65, 'a')), 0);
}

TEST(CertStrToName, ClearsThePlaceWhereItSucceeds) {
    DWORD size = 0;
    LPCWSTR stop = L"before";
    EXPECT_TRUE(CertStrToNameW(X509_ASN_ENCODING, L"CN=\x0418", CERT_X500_NAME_STR, nullptr,
                               nullptr, &size, &stop));
    EXPECT_EQ(stop, nullptr);
    EXPECT_EQ(size, 15U);
}

TEST(CertStrToName, TellsThePlaceInWideText) {
    DWORD size = 0;
    const std::wstring text = L"CN=\x0418\x0432, x";
    LPCWSTR stop = nullptr;
    EXPECT_FAILS_WITH(CRYPT_E_INVALID_X500_STRING,
                      CertStrToNameW(X509_ASN_ENCODING, text.c_str(), CERT_X500_NAME_STR, nullptr,
                                     nullptr, &size, &stop));
    EXPECT_EQ(stop - text.c_str(), 7);
}

TEST(CertStrToName, RefusesMissingPointersUnknownFormatsAndShortBuffers) {
    DWORD size = 0;
    BYTE room[3];
    EXPECT_FAILS_WITH(E_INVALIDARG, CertStrToNameA(X509_ASN_ENCODING, nullptr, 0, nullptr, nullptr,
                                                   &size, nullptr));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertStrToNameA(X509_ASN_ENCODING, "CN=a", 0, nullptr, nullptr,
                                                   nullptr, nullptr));
    EXPECT_FAILS_WITH(E_INVALIDARG, CertStrToNameA(X509_ASN_ENCODING, "CN=a", 7, nullptr, nullptr,
                                                   &size, nullptr));
    size = sizeof(room);
    EXPECT_FAILS_WITH(ERROR_MORE_DATA,
                      CertStrToNameA(X509_ASN_ENCODING, "CN=a", 0, nullptr, room, &size, nullptr));
    EXPECT_EQ(size, 14U);
}

}  // namespace
