#include <gtest/gtest.h>

#include "foundation/bezier_path.h"
#include "foundation/geometry.h"

using namespace marqen;

TEST(CGRect, NullAndEmptyFollowCoreGraphics) {
    EXPECT_TRUE(CGRectIsNull(CGRectNull));
    EXPECT_TRUE(CGRectIsEmpty(CGRectZero));
    EXPECT_FALSE(CGRectIsNull(CGRectZero));
    // A zero rectangle is not null: the union reaches back to the origin.
    EXPECT_EQ(CGRectUnion(CGRectZero, CGRectMake(10, 10, 5, 5)), CGRectMake(0, 0, 15, 15));
    EXPECT_EQ(CGRectUnion(CGRectNull, CGRectMake(10, 10, -5, 5)), CGRectMake(5, 10, 5, 5));
    EXPECT_TRUE(CGRectIsNull(CGRectIntersection(CGRectMake(0, 0, 1, 1), CGRectMake(2, 2, 1, 1))));
    EXPECT_FALSE(CGRectIntersectsRect(CGRectMake(0, 0, 1, 1), CGRectMake(1, 0, 1, 1)));
    EXPECT_FALSE(CGRectContainsPoint(CGRectMake(0, 0, 1, 1), {1, 0.5}));
    EXPECT_EQ(CGRectIntegral(CGRectMake(0.5, -0.5, 1, 1)), CGRectMake(0, -1, 2, 2));
    EXPECT_TRUE(CGRectIsNull(CGRectInset(CGRectMake(0, 0, 4, 4), 3, 0)));
}

TEST(CGAffineTransform, ConcatOrderAndInverse) {
    CGAffineTransform t = CGAffineTransformTranslate(CGAffineTransformMakeScale(2, 3), 5, 7);
    // Translate is applied first, then the scale.
    EXPECT_EQ(CGPointApplyAffineTransform({1, 1}, t), (CGPoint{12, 24}));
    CGAffineTransform inverse = CGAffineTransformInvert(t);
    CGPoint back = CGPointApplyAffineTransform({12, 24}, inverse);
    EXPECT_DOUBLE_EQ(back.x, 1);
    EXPECT_DOUBLE_EQ(back.y, 1);
    CGAffineTransform singular{0, 0, 0, 0, 3, 4};
    EXPECT_EQ(CGAffineTransformInvert(singular), singular);
}

TEST(MarqenBezierPath, TightBoundsAndContainment) {
    auto oval = MarqenBezierPath::pathWithOvalInRect(CGRectMake(0, 0, 100, 50));
    CGRect bounds = oval.bounds();
    EXPECT_NEAR(bounds.origin.x, 0, 1e-9);
    EXPECT_NEAR(bounds.size.width, 100, 1e-9);
    EXPECT_NEAR(bounds.size.height, 50, 1e-9);
    EXPECT_TRUE(oval.containsPoint({50, 25}));
    EXPECT_FALSE(oval.containsPoint({2, 2}));
    EXPECT_TRUE(CGRectIsNull(MarqenBezierPath().bounds()));

    MarqenBezierPath curve;
    curve.moveToPoint({0, 0});
    curve.addCurveToPoint({0, 100}, {100, 100}, {100, 0});
    EXPECT_NEAR(curve.bounds().size.height, 75, 1e-9);
    EXPECT_EQ(curve.controlPointBounds().size.height, 100);
}

// Polylines keep their box as points are added; every way of changing a path must keep it right.
TEST(MarqenBezierPath, PolylineBoundsFollowEveryChange) {
    MarqenBezierPath line;
    line.addLineToPoint({5, -2});  // no current point: a move
    line.addLineToPoint({-3, 7});
    line.closeSubpath();
    line.moveToPoint({40, 1});
    EXPECT_EQ(line.bounds(), CGRectMake(-3, -2, 43, 9));

    // A transform recomputes the box (a rotated box is not the box of the rotated points' old box).
    line.applyTransform(CGAffineTransformMakeRotation(M_PI / 2));
    CGRect rotated = line.bounds();
    EXPECT_NEAR(rotated.origin.x, -7, 1e-9);
    EXPECT_NEAR(rotated.origin.y, -3, 1e-9);
    EXPECT_NEAR(rotated.size.width, 9, 1e-9);
    EXPECT_NEAR(rotated.size.height, 43, 1e-9);

    // Adding a curve switches to the curves' tight box; clearing goes back to an empty polyline.
    line.addCurveToPoint({0, 100}, {100, 100}, {100, 0});
    EXPECT_GT(CGRectGetMaxY(line.bounds()), 40);
    EXPECT_LT(CGRectGetMaxY(line.bounds()), 100);
    line.removeAllPoints();
    EXPECT_TRUE(CGRectIsNull(line.bounds()));
    line.moveToPoint({1, 2});
    EXPECT_EQ(line.bounds(), CGRectMake(1, 2, 0, 0));

    // Appended and copied paths carry the same box as one built point by point; a NaN point is skipped.
    MarqenBezierPath stroke;
    for (int i = 0; i < 500; ++i) stroke.addLineToPoint({std::cos(i * 0.1) * i, std::sin(i * 0.1) * i});
    stroke.addLineToPoint({NAN, 3});
    MarqenBezierPath appended;
    appended.appendPath(stroke);
    MarqenBezierPath copy = stroke;
    const CGRect expected = stroke.transformed(CGAffineTransformIdentity).bounds();
    EXPECT_EQ(stroke.bounds(), expected);
    EXPECT_EQ(appended.bounds(), expected);
    EXPECT_EQ(copy.bounds(), expected);
    EXPECT_TRUE(std::isfinite(expected.size.width) && std::isfinite(expected.size.height));
}

TEST(MarqenBezierPath, ArcStartsWithLineWhenPathHasCurrentPoint) {
    MarqenBezierPath path;
    path.moveToPoint({0, 0});
    path.addArc({10, 10}, 10, 0, M_PI, false);
    ASSERT_EQ(path.elementCount(), 4u);  // move, line to arc start, two quarter arcs
    EXPECT_EQ(path.elementAtIndex(1).type, MarqenPathElementType::AddLineToPoint);
    EXPECT_EQ(path.elementAtIndex(1).points[0], (CGPoint{20, 10}));
    CGPoint end = path.currentPoint();
    EXPECT_NEAR(end.x, 0, 1e-9);
    EXPECT_NEAR(end.y, 10, 1e-9);
    MarqenBezierPath clockwise;
    clockwise.addArc({0, 0}, 1, 0, M_PI / 2, true);  // the long way round: three quarters
    EXPECT_EQ(clockwise.elementCount(), 4u);
}
