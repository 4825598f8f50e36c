#include <gtest/gtest.h>

#include "foundation/snapping.h"

using namespace marqen;

TEST(SnapAt45Degrees, StraightensOrMakesDiagonal) {
    EXPECT_EQ(MarqenSnapEndpointAt45Degrees({0, 0}, {10, 4}), (CGPoint{10, 0}));
    EXPECT_EQ(MarqenSnapEndpointAt45Degrees({0, 0}, {10, 6}), (CGPoint{10, 10}));
    EXPECT_EQ(MarqenSnapEndpointAt45Degrees({0, 0}, {-3, -8}), (CGPoint{0, -8}));
    EXPECT_EQ(MarqenSnapEndpointAt45Degrees({0, 0}, {-4, 10}), (CGPoint{0, 10}));
    EXPECT_EQ(MarqenSnapEndpointAt45Degrees({0, 0}, {-6, -5}), (CGPoint{-6, -6}));
    EXPECT_EQ(MarqenSnapEndpointAt45Degrees({0, 0}, {-5, 6}), (CGPoint{-6, 6}));
    EXPECT_EQ(MarqenSnapEndpointAt45Degrees({10, 10}, {14, 2}), (CGPoint{18, 2}));
}

TEST(SnapAt45Degrees, TheFactorTwoBoundaryIsDiagonal) {
    // dx = 2·dy is not "more than twice": the line becomes diagonal with the longer leg.
    EXPECT_EQ(MarqenSnapEndpointAt45Degrees({0, 0}, {10, 5}), (CGPoint{10, 10}));
    EXPECT_EQ(MarqenSnapEndpointAt45Degrees({0, 0}, {5, -10}), (CGPoint{10, -10}));
    EXPECT_EQ(MarqenSnapEndpointAt45Degrees({0, 0}, {10.001, 5}), (CGPoint{10.001, 0}));
    // Equal legs take the vertical leg's branch.
    EXPECT_EQ(MarqenSnapEndpointAt45Degrees({0, 0}, {-5, 5}), (CGPoint{-5, 5}));
    EXPECT_EQ(MarqenSnapEndpointAt45Degrees({1, 1}, {1, 1}), (CGPoint{1, 1}));
}

TEST(SnapNear90Degrees, OnlyNearlyAxisAlignedLinesSnap) {
    // Just right of +y: left alone. Just left of +y: snapped, with the tiny x of len·cos(π/2).
    EXPECT_EQ(MarqenSnapEndpointNear90Degrees({0, 0}, {3, 100}), (CGPoint{3, 100}));
    EXPECT_EQ(MarqenSnapEndpointNear90Degrees({0, 0}, {-3, 100}), (CGPoint{6.125988831336238e-15, 100.04498987955368}));
    EXPECT_EQ(MarqenSnapEndpointNear90Degrees({0, 0}, {100, 3}), (CGPoint{100.04498987955368, -2.4503955325344953e-14}));
    EXPECT_EQ(MarqenSnapEndpointNear90Degrees({0, 0}, {3, -100}), (CGPoint{-1.8377966494008712e-14, -100.04498987955368}));
    EXPECT_EQ(MarqenSnapEndpointNear90Degrees({0, 0}, {-100, -3}), (CGPoint{-100.04498987955368, 1.2251977662672477e-14}));

    EXPECT_EQ(MarqenSnapEndpointNear90Degrees({0, 0}, {30, 100}), (CGPoint{30, 100}));
    EXPECT_EQ(MarqenSnapEndpointNear90Degrees({0, 0}, {-10, -10}), (CGPoint{-10, -10}));
}

TEST(SnapNear90Degrees, ToleranceIsAboutFiveDegrees) {
    // 0.08 rad off the axis snaps, 0.095 rad does not.
    CGPoint inside{100 * std::sin(0.08), 100 * std::cos(0.08)};
    EXPECT_NE(MarqenSnapEndpointNear90Degrees({0, 0}, {-inside.x, inside.y}), (CGPoint{-inside.x, inside.y}));
    CGPoint outside{100 * std::sin(0.095), 100 * std::cos(0.095)};
    EXPECT_EQ(MarqenSnapEndpointNear90Degrees({0, 0}, {-outside.x, outside.y}), (CGPoint{-outside.x, outside.y}));
    EXPECT_NE(MarqenSnapEndpointNear90Degrees({0, 0}, {inside.y, inside.x}), (CGPoint{inside.y, inside.x}));
    EXPECT_EQ(MarqenSnapEndpointNear90Degrees({0, 0}, {outside.y, outside.x}), (CGPoint{outside.y, outside.x}));
}

TEST(SnapNear90Degrees, ClampedAngleAndUnclampedLength) {
    // Unclamped this line is 0.04 rad from horizontal; clamped to 300 it measures 0.13 rad and is left alone.
    EXPECT_EQ(MarqenSnapEndpointNear90Degrees({0, 0}, {1000, 40}), (CGPoint{1000, 40}));
    // A long line that stays within tolerance after clamping keeps its full length.
    CGPoint longLine = MarqenSnapEndpointNear90Degrees({10, 20}, {10 + 1000, 20 + 10});
    EXPECT_EQ(longLine.x, 10 + std::sqrt(1000.0 * 1000.0 + 10.0 * 10.0));
    EXPECT_NEAR(longLine.y, 20, 1e-12);
}
