#include <gtest/gtest.h>

#include <cmath>

#include "dom/rectangle.h"
#include "foundation/svg_path/svg_path_writer.h"
#include "vector_test_support.h"

using namespace marqen;
using marqen::test::describePath;
using marqen::test::documentHolding;
using marqen::test::expectPointNear;
using marqen::test::readAs;

namespace {

std::shared_ptr<MarqenDOMRectangle> rectangle(CGPoint tl, CGPoint br, CGFloat radius = 0) {
    auto shape = MarqenDOMRectangle::create();
    shape->setTopLeft(tl, br);
    shape->setCornerRadius(radius);
    return shape;
}

}  // namespace

TEST(MarqenDOMPolygon, PathRepeatsTheFirstVertexAndClosesAndVerticesUndoWithoutMarkingTheDocument) {
    auto polygon = MarqenDOMPolygon::create();
    polygon->setVertices({{0, 0}, {10, 0}, {5, 8}});
    EXPECT_EQ(describePath(*polygon->bezierPath(), 0), "M0,0 L0,0 L10,0 L5,8 Z");
    auto document = documentHolding(polygon);
    polygon->setVertices({});
    EXPECT_FALSE(polygon->bezierPath());
    EXPECT_EQ(polygon->contentBounds(), CGRectZero);
    EXPECT_EQ(polygon->pointAtIndex(7), CGPointZero);
    EXPECT_FALSE(document->needsSave());
    document->undoManager()->undo();
    EXPECT_EQ(polygon->vertices(), (std::vector<CGPoint>{{0, 0}, {10, 0}, {5, 8}}));
}

TEST(MarqenDOMPolygon, JSONRoundTripAndWrongKindOfVertices) {
    auto polygon = MarqenDOMPolygon::create();
    polygon->setVertices({{0, 0}, {10, 0}, {5, 8}});
    polygon->setStrokeColor(MarqenDOMColor(0, 0, 255, 1));
    MarqenJSON dictionary = polygon->dictionaryRepresentation();
    EXPECT_EQ(dictionary["extension"]["type"], "Polygon");
    EXPECT_EQ(dictionary["extension"]["vertices"].size(), 3u);
    auto read = readAs<MarqenDOMPolygon>(dictionary);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->className(), "MarqenDOMPolygon");
    EXPECT_EQ(read->vertices(), polygon->vertices());
    EXPECT_EQ(read->dictionaryRepresentation(), dictionary);
    dictionary["extension"]["vertices"] = "not a list";
    read = readAs<MarqenDOMPolygon>(dictionary);
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->vertices().empty());
    EXPECT_TRUE(read->bezierPath());  // the saved outline stays
}

TEST(MarqenDOMRectangle, ConstrainedDragMakesTheSquareOfTheShorterSide) {
    auto shape = MarqenDOMRectangle::create();
    shape->beginAtPoint({0, 0});
    shape->appendPoint({10, 4}, {}, MarqenVectorDrawingOptionConstrain);
    EXPECT_EQ(shape->vertices(), (std::vector<CGPoint>{{0, 0}, {4, 0}, {4, 4}, {0, 4}}));
    shape->endAtPoint({-10, 4}, {}, MarqenVectorDrawingOptionConstrain);
    EXPECT_EQ(shape->topLeft(), CGPointMake(-4, 0));
    EXPECT_EQ(shape->bottomRight(), CGPointMake(0, 4));
    EXPECT_EQ(squareEndPointFromStart({0, 0}, {-3, -10}), CGPointMake(-3, -3));
    EXPECT_EQ(squareEndPointFromStart({0, 0}, {10, -4}), CGPointMake(4, -4));
    EXPECT_EQ(squareEndPointFromStart({0, 0}, {3, 0}), CGPointMake(0, 0));  // a flat drag has no square
}

TEST(MarqenDOMRectangle, ClickWithoutDragMakesA200UnitSquareInViewUnitsAndBeginAccountsForTheRadius) {
    auto shape = MarqenDOMRectangle::create();
    shape->beginAtPoint({50, 60});
    shape->endAtPoint({51, 60.5}, {}, 0, CGAffineTransformMakeScale(0.5, 0.5));
    EXPECT_EQ(shape->topLeft(), CGPointMake(50, 60));
    EXPECT_EQ(shape->bottomRight(), CGPointMake(150, 160));
    // A real drag keeps its size.
    shape->beginAtPoint({0, 0});
    shape->endAtPoint({30, 1}, {}, 0, CGAffineTransformIdentity);
    EXPECT_EQ(shape->bottomRight(), CGPointMake(30, 1));
    shape->setCornerRadius(5);
    shape->beginAtPoint({10, 10});
    EXPECT_EQ(shape->bottomRight(), CGPointMake(20, 20));
}

TEST(MarqenDOMRectangle, CornerMovesKeepTheOppositeCorner) {
    auto shape = rectangle({0, 0}, {10, 20});
    shape->moveTopRightToPoint({15, -5});
    EXPECT_EQ(shape->vertices(), (std::vector<CGPoint>{{0, -5}, {15, -5}, {15, 20}, {0, 20}}));
    shape->moveBottomLeftToPoint({-3, 30});
    EXPECT_EQ(shape->vertices(), (std::vector<CGPoint>{{-3, -5}, {15, -5}, {15, 30}, {-3, 30}}));
    shape->moveTopLeftToPoint({1, 2});
    EXPECT_EQ(shape->bottomRight(), CGPointMake(15, 30));
    shape->moveBottomRightToPoint({4, 5});
    EXPECT_EQ(shape->vertices(), (std::vector<CGPoint>{{1, 2}, {4, 2}, {4, 5}, {1, 5}}));
}

TEST(MarqenDOMRectangle, SquareCornersHaveAnAlignedTwin) {
    auto shape = rectangle({0.5, 0.25}, {10.75, 20.9});
    EXPECT_EQ(describePath(*shape->bezierPath(), 2), "M0.50,0.25 L0.50,0.25 L10.75,0.25 L10.75,20.90 L0.50,20.90 Z");
    EXPECT_EQ(describePath(*shape->alignedBezierPath(), 0), "M0,0 L10,0 L10,20 L0,20 Z");
}

TEST(MarqenDOMRectangle, RoundedCornersUseTheEffectiveRadius) {
    // cornerRadius 50 on a 40×20 rectangle: arcs of radius 10.
    auto shape = rectangle({0, 0}, {40, 20}, 50);
    MarqenBezierPath expected;
    expected.addArc({10, 10}, 10, M_PI, 3 * M_PI / 2, false);
    expected.addArc({30, 10}, 10, 3 * M_PI / 2, 2 * M_PI, false);
    expected.addArc({30, 10}, 10, 2 * M_PI, 5 * M_PI / 2, false);
    expected.addArc({10, 10}, 10, 5 * M_PI / 2, 3 * M_PI, false);
    expected.closeSubpath();
    EXPECT_EQ(describePath(*shape->bezierPath(), 9), describePath(expected, 9));
    CGRect bounds = shape->bezierPath()->bounds();
    EXPECT_NEAR(bounds.origin.x, 0, 1e-9);
    EXPECT_NEAR(bounds.size.width, 40, 1e-9);
    EXPECT_NEAR(bounds.size.height, 20, 1e-9);
    // The first arc starts at (0, 10): the left edge, a radius below the top.
    expectPointNear(shape->bezierPath()->elements()[0].points[0], {0, 10});
    EXPECT_EQ(shape->dictionaryRepresentation()["extension"]["extension"],
              (MarqenJSON{{"type", "Rectangle"}, {"cornerRadius", 50.0}}));
}

TEST(MarqenDOMRectangle, RoundedAlignedPathFloorsTheArcCentres) {
    auto shape = rectangle({0.5, 0.5}, {40.5, 20.5}, 4);
    // Centre (4.5, 4.5) floors to (4, 4): the first arc starts at (0, 4).
    expectPointNear(shape->alignedBezierPath()->elements()[0].points[0], {0, 4});
    expectPointNear(shape->bezierPath()->elements()[0].points[0], {0.5, 4.5});
}

TEST(MarqenDOMRectangle, RotatedAndMirroredRectanglesKeepTheirArcsInside) {
    auto shape = rectangle({0, 0}, {40, 20}, 5);
    shape->rotate(M_PI / 6, {20, 10});
    EXPECT_EQ(shape->cornerRadius(), 5);
    // Every point of the rounded outline lies within the rotated rectangle's corners' hull.
    CGRect cornersBox = CGRectNull;
    for (CGPoint corner : shape->vertices()) cornersBox = CGRectUnion(cornersBox, {corner, {0, 0}});
    CGRect pathBox = shape->bezierPath()->bounds();
    EXPECT_GE(pathBox.origin.x, cornersBox.origin.x - 1e-9);
    EXPECT_LE(CGRectGetMaxX(pathBox), CGRectGetMaxX(cornersBox) + 1e-9);

    auto mirrored = rectangle({0, 0}, {40, 20}, 5);
    mirrored->applyTransform(CGAffineTransformMakeScale(1, -1));
    CGRect box = mirrored->bezierPath()->bounds();
    EXPECT_NEAR(box.origin.y, -20, 1e-9);
    EXPECT_NEAR(box.size.height, 20, 1e-9);
    EXPECT_NEAR(box.size.width, 40, 1e-9);
}

TEST(MarqenDOMRectangle, TransformsAndTheCornerRadius) {
    auto shape = rectangle({0, 0}, {40, 20}, 6);
    shape->scale({3, 3}, {0, 0});
    EXPECT_EQ(shape->cornerRadius(), 6);  // scaling keeps the radius
    EXPECT_EQ(shape->bottomRight(), CGPointMake(120, 60));
    shape->applyTransform(CGAffineTransformMakeScale(3, 2));
    EXPECT_EQ(shape->cornerRadius(), 12);  // the smaller scaled value
    shape->rotate(0.3, {0, 0});
    EXPECT_EQ(shape->cornerRadius(), 12);
}

TEST(MarqenDOMRectangle, JSONRoundTrip) {
    auto shape = rectangle({10, 20}, {110, 70}, 8);
    shape->setStrokeColor(MarqenDOMColor(255, 0, 0, 1));
    shape->setLineWidth(4);
    MarqenJSON dictionary = shape->dictionaryRepresentation();
    EXPECT_EQ(dictionary["type"], "Vector");
    EXPECT_EQ(dictionary["lineWidth"], 4.0);
    EXPECT_EQ(dictionary["extension"]["type"], "Polygon");
    auto read = readAs<MarqenDOMRectangle>(dictionary);
    ASSERT_TRUE(read);
    EXPECT_EQ(*read->bezierPath(), *shape->bezierPath());
    EXPECT_EQ(read->dictionaryRepresentation(), dictionary);
    // Square corners write no radius.
    EXPECT_EQ(rectangle({0, 0}, {1, 1})->dictionaryRepresentation()["extension"]["extension"],
              (MarqenJSON{{"type", "Rectangle"}}));
}

TEST(MarqenDOMRectangle, ElementGeometryRestoresTheShape) {
    auto shape = rectangle({0, 0}, {40, 20}, 3);
    auto document = documentHolding(shape);
    std::any saved = shape->elementGeometry();
    shape->moveBottomRightToPoint({90, 90});
    shape->setCornerRadius(9);
    shape->setElementGeometry(saved);
    EXPECT_EQ(shape->bottomRight(), CGPointMake(40, 20));
    EXPECT_EQ(shape->cornerRadius(), 3);
    shape->setElementGeometry(std::any(42));  // another kind's value is ignored
    EXPECT_EQ(shape->cornerRadius(), 3);
}
