// Numbers read from text whole or not at all, and whole numbers from doubles:
// the cut toward zero where an int holds the result, and no conversion at all
// where a cast would be undefined.
#include <gtest/gtest.h>

#include <clocale>
#include <climits>
#include <cstdio>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>

#include "CNumberText.h"

namespace {

TEST(NumberTextTest, TruncateToInt_cutsTowardZeroUpToIntsEdges_andRefusesWhatNoIntHolds) {
    constexpr double kInf = std::numeric_limits<double>::infinity();
    constexpr int kUntouched = 12345;
    const struct {
        double value;
        bool held;
        int whole;
    } cases[] = {
        {0.0, true, 0},
        {2.9, true, 2},
        {-2.9, true, -2},
        {2147483647.0, true, INT_MAX},
        {2147483647.9, true, INT_MAX},
        {-2147483648.0, true, INT_MIN},
        {-2147483648.9, true, INT_MIN},
        // Refused: the output keeps what it held.
        {2147483648.0, false, kUntouched},
        {-2147483649.0, false, kUntouched},
        {1e300, false, kUntouched},
        {-1e300, false, kUntouched},
        {kInf, false, kUntouched},
        {-kInf, false, kUntouched},
        {std::nan(""), false, kUntouched},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.value);
        int out = kUntouched;
        EXPECT_EQ(CNumberText::truncateToInt(c.value, out), c.held);
        EXPECT_EQ(out, c.whole);
    }
}

TEST(NumberTextTest, ToDoubleWhole_takesOnlyATextThatIsOneNumber) {
    constexpr double kUntouched = 12345.0;
    const struct {
        const char* text;
        bool taken;
        double value;
    } cases[] = {
        {"250", true, 250.0},
        {"-1000", true, -1000.0},
        {"+5", true, 5.0},
        {"0.5", true, 0.5},
        {".5", true, 0.5},
        {"5.", true, 5.0},
        {"+.5", true, 0.5},
        {"00012", true, 12.0},
        {"1e3", true, 1000.0},
        {"1E-2", true, 0.01},
        {"-.5e1", true, -5.0},
        {"1e-400", true, 0.0},
        // Refused: the value keeps what it held.
        {"", false, kUntouched},
        {" 250", false, kUntouched},
        {"250 ", false, kUntouched},
        {"1000ft", false, kUntouched},
        {"1,5", false, kUntouched},
        {"1e", false, kUntouched},
        {"1.5e+", false, kUntouched},
        {"0x10", false, kUntouched},
        {"--1", false, kUntouched},
        {"+-1", false, kUntouched},
        {"++1", false, kUntouched},
        {"+", false, kUntouched},
        {".", false, kUntouched},
        {"1..2", false, kUntouched},
        {"1e400", false, kUntouched},
        {"inf", false, kUntouched},
        {"-INF", false, kUntouched},
        {"nan", false, kUntouched},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string("text \"") + c.text + "\"");
        double value = kUntouched;
        EXPECT_EQ(CNumberText::toDoubleWhole(c.text, value), c.taken);
        EXPECT_EQ(value, c.value);
    }
    double value = kUntouched;
    EXPECT_FALSE(CNumberText::toDoubleWhole(std::string_view("12\0", 3), value))
        << "a NUL is not the text's end";
}

// The simulator may run in a locale with a decimal comma; the client reads
// and writes numbers with a point all the same, and leaves the locale as it
// found it.
TEST(NumberTextTest, CommaLocale_numbersStillReadAndFormatWithAPoint) {
    const char* chosen = nullptr;
    for (const char* name : {"de_DE.UTF-8", "de-DE", "German_Germany.1252"}) {
        if (std::setlocale(LC_ALL, name) != nullptr) {
            chosen = name;
            break;
        }
    }
    if (chosen == nullptr) {
        GTEST_SKIP() << "this machine has no German locale";
    }
    const auto formatted = [] {
        char text[32];
        std::snprintf(text, sizeof(text), "%.2f", 1.25);
        return std::string(text);
    };
    ASSERT_EQ(formatted(), "1,25") << chosen << " has no decimal comma";
    EXPECT_DOUBLE_EQ(CNumberText::toDouble("1.25"), 1.25);
    EXPECT_DOUBLE_EQ(CNumberText::toDouble(" -0.5e1xyz"), -5.0);
    EXPECT_EQ(CNumberText::toInt("  42.9"), 42);
    double whole = 0.0;
    EXPECT_TRUE(CNumberText::toDoubleWhole("1.25", whole));
    EXPECT_DOUBLE_EQ(whole, 1.25);
    EXPECT_FALSE(CNumberText::toDoubleWhole("1,25", whole));
    {
        CNumberText::CClassicFormatting classic;
        EXPECT_EQ(formatted(), "1.25");
    }
    EXPECT_EQ(formatted(), "1,25") << "the locale is given back";
    std::setlocale(LC_ALL, "C");
}

}  // namespace
