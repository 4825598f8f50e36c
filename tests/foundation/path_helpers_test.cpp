#include <gtest/gtest.h>

#include "foundation/path_helpers.h"

using namespace marqen;

TEST(PathHelpers, LineStartAndEndAreTheFirstMoveAndLine) {
    MarqenBezierPath line;
    line.moveToPoint({1, 2});
    line.addLineToPoint({3, 4});
    line.addLineToPoint({5, 6});
    line.moveToPoint({7, 8});
    line.addLineToPoint({9, 10});
    EXPECT_EQ(MarqenCGPathGetLineStartPoint(line), (CGPoint{1, 2}));
    EXPECT_EQ(MarqenCGPathGetLineEndPoint(line), (CGPoint{3, 4}));

    MarqenBezierPath curveFirst;
    curveFirst.moveToPoint({0, 0});
    curveFirst.addCurveToPoint({1, 1}, {2, 2}, {3, 3});
    curveFirst.addLineToPoint({9, 9});
    EXPECT_EQ(MarqenCGPathGetLineEndPoint(curveFirst), (CGPoint{9, 9}));

    MarqenBezierPath moveOnly;
    moveOnly.moveToPoint({4, 4});
    EXPECT_EQ(MarqenCGPathGetLineEndPoint(moveOnly), CGPointZero);
    EXPECT_EQ(MarqenCGPathGetLineStartPoint(MarqenBezierPath()), CGPointZero);
}

TEST(PathHelpers, Wrappers) {
    MarqenBezierPath path;
    MarqenBezierPathAddLineToPoint(path, {1, 1});  // no current point: starts the path
    MarqenBezierPathAddLineToPoint(path, {2, 1});
    ASSERT_EQ(path.elementCount(), 2u);
    EXPECT_EQ(path.elementAtIndex(0).type, MarqenPathElementType::MoveToPoint);
    EXPECT_EQ(path.elementAtIndex(1).type, MarqenPathElementType::AddLineToPoint);

    MarqenBezierPathApplyTransform(path, CGAffineTransformMakeTranslation(10, 20));
    EXPECT_EQ(MarqenCGPathGetLineStartPoint(path), (CGPoint{11, 21}));
    EXPECT_EQ(MarqenCGPathGetLineEndPoint(path), (CGPoint{12, 21}));

    MarqenBezierPath other = MarqenBezierPath::pathWithRect(CGRectMake(0, 0, 1, 1));
    MarqenBezierPathAppendBezierPath(path, other);
    EXPECT_EQ(path.elementCount(), 2 + other.elementCount());

    EXPECT_FALSE(MarqenBezierPathUsesEvenOddFillRule(path));
    path.setWindingRule(MarqenWindingRule::EvenOdd);
    EXPECT_TRUE(MarqenBezierPathUsesEvenOddFillRule(path));
}

TEST(PathHelpers, RoundedRectangleUsesOneRadius) {
    CGRect rect = CGRectMake(0, 0, 100, 50);
    MarqenBezierPath rounded = MarqenBezierPathForRoundedRectangle(rect, 10);
    EXPECT_EQ(rounded, MarqenBezierPath::pathWithRoundedRect(rect, 10, 10));
    EXPECT_TRUE(rounded.containsPoint({50, 25}));
    EXPECT_TRUE(rounded.containsPoint({12, 1}));
    EXPECT_FALSE(rounded.containsPoint({1, 1}));  // cut off by the corner
    CGRect bounds = rounded.bounds();
    EXPECT_NEAR(bounds.size.width, 100, 1e-9);
    EXPECT_NEAR(bounds.size.height, 50, 1e-9);
}
