// Whole numbers from doubles: the cut toward zero where an int holds the
// result, and no conversion at all where a cast would be undefined.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

#include "CNumberText.h"

namespace {

TEST(NumberTextTest, TruncateToInt_cutsTowardZeroUpToIntsEdges) {
    struct Case {
        double value;
        int whole;
    };
    const Case cases[] = {{0.0, 0},
                          {2.9, 2},
                          {-2.9, -2},
                          {2147483647.0, INT_MAX},
                          {2147483647.9, INT_MAX},
                          {-2147483648.0, INT_MIN},
                          {-2147483648.9, INT_MIN}};
    for (const Case& c : cases) {
        int out = 12345;
        EXPECT_TRUE(CNumberText::truncateToInt(c.value, out)) << c.value;
        EXPECT_EQ(out, c.whole) << c.value;
    }
}

TEST(NumberTextTest, TruncateToInt_refusesWhatNoIntHolds_andLeavesTheOutputAlone) {
    const double values[] = {2147483648.0,
                             -2147483649.0,
                             1e300,
                             -1e300,
                             std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::infinity(),
                             std::nan("")};
    for (const double value : values) {
        int out = 12345;
        EXPECT_FALSE(CNumberText::truncateToInt(value, out)) << value;
        EXPECT_EQ(out, 12345) << value;
    }
}

}  // namespace
