#include <gtest/gtest.h>

#include "foundation/vector_math.h"

using namespace marqen;

TEST(VectorMath, MagnitudeNormalizedAndDotProduct) {
    EXPECT_EQ(MarqenVectorGetMagnitude({3, 4}), 5);
    EXPECT_EQ(MarqenVectorGetNormalized({3, 4}), (CGPoint{0.6, 0.8}));
    EXPECT_EQ(MarqenVectorGetNormalized({0, 0}), CGPointZero);
    EXPECT_EQ(MarqenVectorDotProduct({1, 0}, {0, 5}), 0);
    EXPECT_EQ(MarqenVectorDotProduct({2, 0}, {-3, 0}), -1);  // normalised: the cosine, not 2 · −3
    EXPECT_EQ(MarqenVectorDotProduct({3, 4}, {6, 8}), 1);
    EXPECT_EQ(MarqenVectorDotProduct({1, 1}, {0, 0}), 0);
}

TEST(VectorMath, DifferenceAndPerpendicular) {
    EXPECT_EQ(MarqenVectorGetDifference({1, 2}, {4, 7}), (CGPoint{3, 5}));  // second minus first
    EXPECT_EQ(MarqenVectorGetPerpendicular(true, {1, 2}), (CGPoint{2, -1}));
    EXPECT_EQ(MarqenVectorGetPerpendicular(false, {1, 2}), (CGPoint{-2, 1}));
    EXPECT_EQ(MarqenGetLineLength({0, 0}, {3, 4}), 5);
    EXPECT_EQ(MarqenGetLineLength({3, 4}, {0, 0}), 5);
}

TEST(VectorMath, AngleCoversEveryQuadrant) {
    EXPECT_EQ(MarqenVectorGetAngle({0, 0}), 0);
    EXPECT_EQ(MarqenVectorGetAngle({1, 0}), 0);
    EXPECT_EQ(MarqenVectorGetAngle({0, 1}), M_PI / 2);
    EXPECT_EQ(MarqenVectorGetAngle({-1, 0}), M_PI);
    EXPECT_EQ(MarqenVectorGetAngle({0, -1}), 3 * M_PI / 2);
    EXPECT_DOUBLE_EQ(MarqenVectorGetAngle({1, -1}), 7 * M_PI / 4);
    EXPECT_DOUBLE_EQ(MarqenVectorGetAngle({-1, 1}), 3 * M_PI / 4);
    EXPECT_DOUBLE_EQ(MarqenVectorGetAngle({-1, -1}), 5 * M_PI / 4);
    EXPECT_DOUBLE_EQ(MarqenVectorGetAngle({1, 1}), M_PI / 4);
    // Just below the +x axis the angle stays under 2π.
    CGFloat nearlyFull = MarqenVectorGetAngle({1, -1e-9});
    EXPECT_LT(nearlyFull, 2 * M_PI);
    EXPECT_GT(nearlyFull, 2 * M_PI - 1e-8);
}

TEST(LineIntersection, InfiniteLines) {
    MarqenLineIntersection crossing = MarqenGetLineIntersection({0, 0}, {10, 0}, {5, -5}, {5, 5});
    EXPECT_TRUE(crossing.found);
    EXPECT_EQ(crossing.point, (CGPoint{5, 0}));

    // The lines meet beyond both segments.
    MarqenLineIntersection outside = MarqenGetLineIntersection({0, 0}, {1, 1}, {10, 0}, {9, 1});
    EXPECT_TRUE(outside.found);
    EXPECT_NEAR(outside.point.x, 5, 1e-12);
    EXPECT_NEAR(outside.point.y, 5, 1e-12);
}

TEST(LineIntersection, ParallelAndDegenerateLinesAreNotFound) {
    EXPECT_FALSE(MarqenGetLineIntersection({0, 0}, {10, 0}, {0, 1}, {10, 1}).found);
    EXPECT_FALSE(MarqenGetLineIntersection({0, 0}, {10, 0}, {20, 0}, {30, 0}).found);  // the same line
    EXPECT_FALSE(MarqenGetLineIntersection({3, 3}, {3, 3}, {5, -5}, {5, 5}).found);
    EXPECT_FALSE(MarqenGetLineIntersection({0, 0}, {10, 0}, {5, 5}, {5, 5}).found);
}
