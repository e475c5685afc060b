// base64 as the website reads it, from whichever implementation the system
// has: the published test vectors, every byte value, and what is refused.
// The cases need nothing but the digest, so that an implementation of
// another system can be built here against them alone.
#include <gtest/gtest.h>

#include <string>

#include "CDigest.h"

namespace {

TEST(Base64Test, Base64_matchesThePublishedVectors_andRoundTripsEveryByte) {
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

TEST(Base64Test, Base64Decode_refusesTextThatIsNoWholeGroups) {
    std::string decoded;
    EXPECT_FALSE(CDigest::base64Decode("Zm9", decoded));
    EXPECT_FALSE(CDigest::base64Decode("Zm9vY", decoded));
}

TEST(Base64Test, Base64Decode_refusesACharacterOutsideTheAlphabet) {
    std::string decoded;
    EXPECT_FALSE(CDigest::base64Decode("Zm!v", decoded));
    EXPECT_FALSE(CDigest::base64Decode("Zm9v\x80m9v", decoded));
}

}  // namespace
