#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "dom/tool_size_steps.h"

using namespace marqen;

namespace {

constexpr MarqenToolSizeSteps kSteps{{2, 5, 9, 14, 20}};
constexpr CGFloat kNaN = std::numeric_limits<CGFloat>::quiet_NaN();

}  // namespace

TEST(MarqenToolSizeSteps, RelativeBoundsAllowRoundingOnlyJustAboveThem) {
    EXPECT_EQ(kSteps.absoluteForRelative(0, 1, 1), 2);
    EXPECT_EQ(kSteps.absoluteForRelative(std::nextafter(0.4, 1.0), 1, 1), 5);  // one rounding step above 0.4
    EXPECT_EQ(kSteps.absoluteForRelative(0.4 + 1e-15, 1, 1), 9);
    EXPECT_EQ(kSteps.absoluteForRelative(0.8, 1, 1), 14);
    EXPECT_EQ(kSteps.absoluteForRelative(0.81, 1, 1), 20);
    EXPECT_EQ(kSteps.absoluteForRelative(7, 1, 1), 20);
    // Both scales multiply the step.
    EXPECT_EQ(kSteps.absoluteForRelative(0.6, 3, 2), 54);
    // A NaN compares false with every bound and takes the last step.
    EXPECT_EQ(kSteps.absoluteForRelative(kNaN, 1, 1), 20);
}

TEST(MarqenToolSizeSteps, AbsoluteSizesMapBackWithinAHundredth) {
    EXPECT_EQ(kSteps.relativeForAbsolute(-3, 1, 1), 0.2);
    EXPECT_EQ(kSteps.relativeForAbsolute(5.01, 1, 1), 0.4);
    EXPECT_EQ(kSteps.relativeForAbsolute(5.02, 1, 1), 0.6);
    EXPECT_EQ(kSteps.relativeForAbsolute(28, 2, 1), 0.8);  // 14 once the scales are divided out
    EXPECT_EQ(kSteps.relativeForAbsolute(14.5, 1, 1), 1.0);
    // Sizes that no scale makes sense of land on the largest step.
    EXPECT_EQ(kSteps.relativeForAbsolute(kNaN, 1, 1), 1.0);
    EXPECT_EQ(kSteps.relativeForAbsolute(4, 0, 1), 1.0);
}
