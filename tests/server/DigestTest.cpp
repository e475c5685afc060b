// MD5 and base64 as the website computes them, from whichever cryptography
// the system has: the published test vectors, and every byte value.
#include <gtest/gtest.h>

#include <string>

#include "CClientInterface.h"
#include "CDigest.h"

namespace {

TEST(DigestTest, Md5_matchesThePublishedVectors) {
    const struct {
        const char* text;
        const char* hex;
    } cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CClientInterface::md5Hex(c.text, std::string(c.text).size()), c.hex) << c.text;
    }
    // The digest covers the bytes given, a NUL among them.
    EXPECT_EQ(CClientInterface::md5Hex("a\0b", 3), CClientInterface::md5Hex("a\0b", 3));
    EXPECT_NE(CClientInterface::md5Hex("a\0b", 3), CClientInterface::md5Hex("a", 1));
}

TEST(DigestTest, Base64_matchesThePublishedVectors_andRoundTripsEveryByte) {
    const struct {
        const char* bytes;
        const char* text;
    } cases[] = {{"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},
                 {"foo", "Zm9v"},  {"foob", "Zm9vYg=="},  {"fooba", "Zm9vYmE="},
                 {"foobar", "Zm9vYmFy"}};
    for (const auto& c : cases) {
        const std::string bytes = c.bytes;
        EXPECT_EQ(CDigest::base64Encode(bytes.data(), bytes.size()), c.text);
        std::string decoded = "left over";
        EXPECT_TRUE(CDigest::base64Decode(c.text, decoded)) << c.text;
        EXPECT_EQ(decoded, bytes);
    }
    std::string all;
    for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
    for (std::size_t length : {253u, 254u, 255u, 256u}) {
        const std::string bytes = all.substr(0, length);
        const std::string text = CDigest::base64Encode(bytes.data(), bytes.size());
        EXPECT_EQ(text.size(), 4 * ((length + 2) / 3));
        EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos) << "no line breaks";
        std::string decoded;
        ASSERT_TRUE(CDigest::base64Decode(text, decoded));
        EXPECT_EQ(decoded, bytes) << length;
    }
}

TEST(DigestTest, Base64Decode_refusesTextThatIsNoWholeGroups) {
    std::string decoded;
    EXPECT_FALSE(CDigest::base64Decode("Zm9", decoded));
    EXPECT_FALSE(CDigest::base64Decode("Zm9vY", decoded));
}

}  // namespace
