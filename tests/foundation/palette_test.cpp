#include <gtest/gtest.h>

#include "foundation/palette.h"

using namespace marqen;

TEST(Palette, ColorFromRGB) {
    EXPECT_EQ(marqenColorFromRGB(0xFF8017), (MarqenColor{1, 128 / 255.0, 23 / 255.0, 1}));
    EXPECT_EQ(marqenColorFromRGB(0xFF8017, 50).alpha, 0.5);
    EXPECT_EQ(marqenColorFromRGB(0xFF8017, 150).alpha, 1.0);  // capped at 100 %
    EXPECT_EQ(marqenColorFromRGB(0xFF8017, 0).alpha, 0.0);
    EXPECT_EQ(marqenColorFromRGB(0x12FF0000), marqenColorFromRGB(0xFF0000));  // bits above 24 ignored
}

TEST(Palette, NamedColours) {
    EXPECT_EQ(MarqenColor::marqenYellow(), (MarqenColor{1, 247 / 255.0, 0, 1}));
    EXPECT_EQ(MarqenColor::marqenOrange(), marqenColorFromRGB(0xFF8017));
    EXPECT_EQ(MarqenColor::marqenGreen(), (MarqenColor{0, 232 / 255.0, 0, 1}));
    EXPECT_EQ(MarqenColor::marqenBlack(), (MarqenColor{0, 0, 0, 1}));
    EXPECT_EQ(MarqenColor::marqenBlue(), (MarqenColor{25 / 255.0, 119 / 255.0, 1, 1}));
    EXPECT_EQ(MarqenColor::marqenPink(), (MarqenColor{252 / 255.0, 12 / 255.0, 89 / 255.0, 1}));
    EXPECT_EQ(MarqenColor::marqenRed(), (MarqenColor{1, 0, 0, 1}));
    EXPECT_EQ(MarqenColor::marqenWhite(), (MarqenColor{1, 1, 1, 1}));
}

TEST(Palette, DarknessAndEquality) {
    EXPECT_TRUE(MarqenColor::marqenBlack().isDarkColor());
    EXPECT_TRUE(MarqenColor::marqenRed().isDarkColor());   // luma 0.299
    EXPECT_TRUE(MarqenColor::marqenBlue().isDarkColor());  // luma 0.417
    EXPECT_TRUE(MarqenColor::marqenPink().isDarkColor());
    EXPECT_FALSE(MarqenColor::marqenGreen().isDarkColor());  // luma 0.534
    EXPECT_FALSE(MarqenColor::marqenOrange().isDarkColor());
    EXPECT_FALSE(MarqenColor::marqenYellow().isDarkColor());
    EXPECT_FALSE(MarqenColor::marqenWhite().isDarkColor());
    EXPECT_TRUE(MarqenColor::marqenRed().isMarqenColorEqual(marqenColorFromRGB(0xFF0000)));
    EXPECT_FALSE(MarqenColor::marqenRed().isMarqenColorEqual(marqenColorFromRGB(0xFF0000, 99)));
}
