// MD5 as the website computes it, from whichever cryptography the system
// has: the published test vectors. base64 has its own file (Base64Test.cpp).
#include <gtest/gtest.h>

#include <string>

#include "CClientInterface.h"

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

}  // namespace
