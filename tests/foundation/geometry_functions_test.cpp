#include <gtest/gtest.h>

#include "foundation/edge_insets.h"
#include "foundation/geometry_functions.h"

using namespace marqen;

TEST(GeometryFunctions, RectWithSizeAndCenterGrowsToIntegerEdges) {
    EXPECT_EQ(CGRectMakeWithSizeAndCenter({10, 5}, {3, 3}), CGRectMake(-2, 0, 10, 6));
    EXPECT_EQ(CGRectMakeWithSizeAndCenter({4, 4}, {10, 10}), CGRectMake(8, 8, 4, 4));
}

TEST(GeometryFunctions, NormalizeWithAspect) {
    // A wide aspect takes the full width even when the height overflows the rectangle.
    EXPECT_EQ(CGRectNormalizeWithAspect(CGRectMake(0, 0, 100, 10), 2), CGRectMake(0, -20, 100, 50));
    // A tall aspect fits the height and is centred horizontally.
    EXPECT_EQ(CGRectNormalizeWithAspect(CGRectMake(0, 0, 100, 10), 0.5), CGRectMake(47.5, 0, 5, 10));
    // Aspect 1 counts as narrow: both sides are limited.
    EXPECT_EQ(CGRectNormalizeWithAspect(CGRectMake(0, 0, 100, 10), 1), CGRectMake(45, 0, 10, 10));
    EXPECT_EQ(CGRectNormalizeWithAspect(CGRectMake(10, 20, 30, 100), 1), CGRectMake(10, 55, 30, 30));
    EXPECT_EQ(CGRectNormalizeWithAspect(CGRectMake(10, 20, 30, 100), 0.5), CGRectMake(10, 40, 30, 60));
}

TEST(GeometryFunctions, AspectFitScale) {
    EXPECT_EQ(CGSizeGetAspectFitScale({0, 10}, {100, 100}), 1.0);
    EXPECT_EQ(CGSizeGetAspectFitScale({10, 0}, {100, 100}), 1.0);
    EXPECT_EQ(CGSizeGetAspectFitScale({50, 25}, {100, 100}), 2.0);  // small sizes scale up
    EXPECT_EQ(CGSizeGetAspectFitScale({10, 40}, {100, 100}), 2.5);
    EXPECT_EQ(CGSizeGetAspectFitScale({400, 100}, {100, 100}), 0.25);
    EXPECT_EQ(CGSizeGetAspectFitScale({100, 100}, {300, 200}), 2.0);  // equal ratios use the heights
    EXPECT_EQ(CGSizeScaleAspectFit({50, 25}, {100, 100}), CGSizeMake(100, 50));
    EXPECT_EQ(CGSizeScaleAspectFit({0, 25}, {100, 100}), CGSizeMake(0, 25));
}

TEST(GeometryFunctions, RotateAroundCenterOfFrameIgnoresTheOrigin) {
    CGAffineTransform t = CGAffineTransformRotateAroundCenterOfFrame(M_PI / 2, CGRectMake(100, 100, 10, 20));
    EXPECT_EQ(t, CGAffineTransformRotateAroundCenterOfFrame(M_PI / 2, CGRectMake(0, 0, 10, 20)));
    // The translations wrap the rotation in call order: a point p maps to R(p + c) − c with c = (5, 10).
    for (auto [from, to] : {std::pair<CGPoint, CGPoint>{{0, 0}, {-15, -5}}, {{-5, -10}, {-5, -10}}}) {
        EXPECT_NEAR(CGPointApplyAffineTransform(from, t).x, to.x, 1e-12);
        EXPECT_NEAR(CGPointApplyAffineTransform(from, t).y, to.y, 1e-12);
    }
    EXPECT_EQ(CGAffineTransformRotateAroundCenterOfFrame(0, CGRectMake(0, 0, 10, 20)), CGAffineTransformIdentity);
}

TEST(GeometryFunctions, AlignMidpointKeepsTheSize) {
    EXPECT_EQ(MarqenRectAlignMidpoint(CGRectMake(0, 0, 100, 50), CGRectMake(7, 9, 10, 20)), CGRectMake(45, 15, 10, 20));
    // A negative width centres by its magnitude and is kept as given.
    EXPECT_EQ(MarqenRectAlignMidpoint(CGRectMake(0, 0, 100, 50), CGRectMake(7, 9, -10, 20)),
              CGRectMake(45, 15, -10, 20));
}

TEST(EdgeInsets, InsetRect) {
    EXPECT_EQ(MarqenEdgeInsetsInsetRect(CGRectMake(10, 20, 100, 50), MarqenEdgeInsetsMake(1, 2, 3, 4)),
              CGRectMake(12, 21, 94, 46));
    EXPECT_EQ(MarqenEdgeInsetsInsetRect(CGRectMake(0, 0, 10, 10), MarqenEdgeInsetsMake(-5, -5, -5, -5)),
              CGRectMake(-5, -5, 20, 20));
}
