// Whole numbers from doubles: the cut toward zero where an int holds the
// result, and no conversion at all where a cast would be undefined.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

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

}  // namespace
