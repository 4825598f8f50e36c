#include <gtest/gtest.h>

#include <cmath>

#include "dom/ellipse.h"
#include "vector_test_support.h"

using namespace marqen;
using marqen::test::documentHolding;
using marqen::test::expectPointNear;
using marqen::test::readAs;

namespace {

std::shared_ptr<MarqenDOMEllipse> ellipse(CGPoint center, CGFloat xr, CGFloat yr, CGFloat theta = 0) {
    auto shape = MarqenDOMEllipse::create();
    shape->setCenter(center);
    shape->setXradius(xr);
    shape->setYradius(yr);
    shape->setTheta(theta);
    return shape;
}

}  // namespace

TEST(MarqenDOMEllipse, DragSpansTheBoundingRectangleWithSignedRadii) {
    auto shape = MarqenDOMEllipse::create();
    shape->beginAtPoint({100, 100});
    shape->appendPoint({60, 130}, {}, 0);
    EXPECT_EQ(shape->xradius(), -20);
    EXPECT_EQ(shape->yradius(), 15);
    EXPECT_EQ(shape->center(), CGPointMake(80, 115));
    shape->appendPoint({60, 130}, {}, MarqenVectorDrawingOptionConstrain);  // a circle of the shorter side
    EXPECT_EQ(shape->xradius(), -15);
    EXPECT_EQ(shape->yradius(), 15);
    CGRect box = shape->bezierPath()->bounds();
    EXPECT_NEAR(box.size.width, 30, 1e-9);
    EXPECT_NEAR(box.origin.x, 70, 1e-9);
}

TEST(MarqenDOMEllipse, MinimumSizeAndClickDefault) {
    auto shape = MarqenDOMEllipse::create();
    shape->beginAtPoint({10, 10});
    shape->endAtPoint({9.6, 12}, {}, 0);
    EXPECT_EQ(shape->xradius(), 0.5);  // −0.2 is below 0.5 in magnitude
    EXPECT_EQ(shape->yradius(), 1);
    shape->beginAtPoint({0, 0});
    shape->endAtPoint({-3, 0}, {}, 0);
    EXPECT_EQ(shape->xradius(), -1.5);  // a negative radius of magnitude ≥ 0.5 stays

    shape->beginAtPoint({10, 10});
    shape->endAtPoint({10.5, 11}, {}, 0, CGAffineTransformMakeScale(2, 2));
    EXPECT_EQ(shape->xradius(), 200);
    EXPECT_EQ(shape->yradius(), 200);
}

TEST(MarqenDOMEllipse, PathIsRotatedAboutTheCentre) {
    auto shape = ellipse({50, 50}, 20, 10, M_PI / 2);
    CGRect box = shape->bezierPath()->bounds();
    EXPECT_NEAR(box.origin.x, 40, 1e-9);
    EXPECT_NEAR(box.origin.y, 30, 1e-9);
    EXPECT_NEAR(box.size.width, 20, 1e-9);
    EXPECT_NEAR(box.size.height, 40, 1e-9);
    expectPointNear(shape->topLeft(), {60, 30});
    expectPointNear(shape->bottomRight(), {40, 70});
}

TEST(MarqenDOMEllipse, CornerMovesTreatRotatedCornersAsExtremes) {
    auto shape = ellipse({50, 50}, 20, 10);
    shape->moveBottomRightToPoint({90, 80});
    EXPECT_EQ(shape->xradius(), 30);
    EXPECT_EQ(shape->yradius(), 20);
    EXPECT_EQ(shape->center(), CGPointMake(60, 60));
    shape->moveTopRightToPoint({100, 30});  // ((topLeft.x, 30), (100, bottomRight.y))
    EXPECT_EQ(shape->xradius(), 35);
    EXPECT_EQ(shape->yradius(), 25);
    EXPECT_EQ(shape->center(), CGPointMake(65, 55));
}

TEST(MarqenDOMEllipse, ThetaIsTransformedLikeALength) {
    auto shape = ellipse({0, 0}, 20, 10, 0.5);
    shape->applyTransform(CGAffineTransformMakeTranslation(5, 5));
    EXPECT_EQ(shape->theta(), 0.5);
    EXPECT_EQ(shape->center(), CGPointMake(5, 5));
    shape->applyTransform(CGAffineTransformMakeScale(3, 3));
    EXPECT_DOUBLE_EQ(shape->theta(), 1.5);  // |s·θ|, the deliberate quirk
    EXPECT_EQ(shape->xradius(), 60);
    EXPECT_EQ(shape->yradius(), 30);
    EXPECT_EQ(shape->lineWidth(), 3);
}

TEST(MarqenDOMEllipse, RotateKeepsTheRadiiAndAddsTheAngle) {
    auto shape = ellipse({10, 0}, 20, 10, 0.25);
    shape->setLineWidth(4);
    test::SenderNotifications notes(shape.get());
    shape->rotate(M_PI / 2, {0, 0});
    EXPECT_EQ(shape->xradius(), 20);
    EXPECT_EQ(shape->yradius(), 10);
    EXPECT_DOUBLE_EQ(shape->theta(), 0.25 + M_PI / 2);
    EXPECT_EQ(shape->lineWidth(), 4);
    expectPointNear(shape->center(), {0, 10});
    EXPECT_EQ(notes.count(MarqenDOMNodeWillChange), notes.count(MarqenDOMNodeDidChange));
    // applyTransform is bracketed by one outer pair.
    notes.clear();
    shape->applyTransform(CGAffineTransformMakeScale(2, 2));
    ASSERT_FALSE(notes.names().empty());
    EXPECT_EQ(notes.names().front(), MarqenDOMNodeWillChange);
    EXPECT_EQ(notes.names().back(), MarqenDOMNodeDidChange);
}

TEST(MarqenDOMEllipse, SettersUndoAndStartEndDoNot) {
    auto shape = ellipse({0, 0}, 20, 10);
    auto document = documentHolding(shape);
    shape->setStart({4, 4});
    shape->setEnd({8, 8});
    EXPECT_FALSE(document->undoManager()->canUndo());
    shape->setXradius(33);
    EXPECT_TRUE(document->needsSave());
    document->undoManager()->undo();
    EXPECT_EQ(shape->xradius(), 20);
}

TEST(MarqenDOMEllipse, JSONRoundTripAndZeroSizeRefusal) {
    auto shape = ellipse({30, 40}, 20, 10, 0.75);
    shape->setFillColor(MarqenDOMColor(0, 255, 0, 0.5));
    MarqenJSON dictionary = shape->dictionaryRepresentation();
    EXPECT_EQ(dictionary["extension"], (MarqenJSON{{"type", "Ellipse"},
                                                   {"center", {{"x", 30.0}, {"y", 40.0}}},
                                                   {"xradius", 20.0},
                                                   {"yradius", 10.0},
                                                   {"theta", 0.75}}));
    auto read = readAs<MarqenDOMEllipse>(dictionary);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->fillColor(), MarqenDOMColor(0, 255, 0, 0.5));
    EXPECT_EQ(read->dictionaryRepresentation(), dictionary);
    // An ellipse never drawn has no outline and zero bounds: it is not written.
    EXPECT_TRUE(MarqenDOMEllipse::create()->dictionaryRepresentation().is_null());
}
