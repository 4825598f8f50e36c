#include <gtest/gtest.h>

#include <cmath>

#include "dom/vector.h"
#include "dom/vector_stroke_fitting.h"
#include "foundation/queues.h"
#include "support/test_support.h"
#include "vector_test_support.h"

using namespace marqen;
using marqen::test::documentHolding;
using marqen::test::readAs;

namespace {

MarqenBezierPath polyline(std::initializer_list<CGPoint> points) {
    MarqenBezierPath path;
    for (CGPoint p : points) {
        if (path.isEmpty())
            path.moveToPoint(p);
        else
            path.addLineToPoint(p);
    }
    return path;
}

std::shared_ptr<MarqenDOMVector> strokeWithPath(const MarqenBezierPath &path, CGFloat lineWidth = 2) {
    auto vector = MarqenDOMVector::create();
    vector->setBezierPath(path);
    vector->setLineWidth(lineWidth);
    return vector;
}

bool hasCurve(const MarqenBezierPath &path) {
    for (const auto &element : path.elements())
        if (element.type == MarqenPathElementType::AddCurveToPoint) return true;
    return false;
}

}  // namespace

TEST(MarqenDOMVectorStroke, DrawsAPolylineThenInstallsTheFittedCurveWithoutUndo) {
    auto vector = MarqenDOMVector::create();
    vector->setLineWidth(4);
    auto document = documentHolding(vector);
    vector->beginAtPoint({10, 10});
    for (int i = 1; i <= 60; ++i) vector->appendPoint({10.0 + 4 * i, 10 + 40 * std::sin(i / 10.0)}, {}, 0);
    ASSERT_TRUE(vector->bezierPath());
    EXPECT_FALSE(hasCurve(*vector->bezierPath()));
    EXPECT_GT(vector->bezierPath()->elementCount(), 10u);
    EXPECT_EQ(vector->originalPoints().size(), 61u);
    EXPECT_TRUE(document->needsSave());

    test::SenderNotifications notes(vector.get());
    vector->endAtPoint({250, 10}, {}, 0);
    auto polylinePath = *vector->bezierPath();
    ASSERT_TRUE(MainQueue::shared().drainUntil([&] { return hasCurve(*vector->bezierPath()); }, 10));
    EXPECT_NE(*vector->bezierPath(), polylinePath);
    EXPECT_GE(notes.count(MarqenDOMNodeWillChange), 1u);
    EXPECT_GE(notes.count(MarqenDOMNodeContentBoundsDidChange), 1u);
    EXPECT_FALSE(document->undoManager()->canUndo());  // neither the drawing nor the fit is an undo step
}

TEST(MarqenDOMVectorStroke, EmptyAndOnePointStrokesAreHandled) {
    auto vector = MarqenDOMVector::create();
    vector->endAtPoint({5, 5}, {}, 0);  // no begin: the end starts and finishes the stroke
    auto dot = MarqenDOMVector::create();
    dot->beginAtPoint({7, 7});
    dot->endAtPoint({7, 7}, {}, 0);
    ThreadPool::shared().waitIdle();
    MainQueue::shared().drain();
    ASSERT_TRUE(vector->bezierPath());
    EXPECT_EQ(vector->bezierPath()->elementAtIndex(0).points[0], CGPointMake(5, 5));
    MainQueue::shared().drain();
    ASSERT_TRUE(dot->bezierPath());
    EXPECT_FALSE(dot->bezierPath()->isEmpty());
    EXPECT_FALSE(MarqenDOMVectorFitStroke({}, 2));
    EXPECT_FALSE(MarqenDOMVectorFitStroke({{1, 1}}, 2));
}

TEST(MarqenDOMVectorStroke, NonFinitePointsDoNotReachTheFitter) {
    std::vector<CGPoint> points;
    for (int i = 0; i < 40; ++i) points.push_back({i * 3.0, i % 5 * 2.0});
    points.insert(points.begin() + 10, CGPoint{NAN, 4});
    points.insert(points.begin() + 20, CGPoint{INFINITY, -INFINITY});
    points.push_back({1e300, 1e300});  // not finite once narrowed to single precision
    auto fitted = MarqenDOMVectorFitStroke(points, NAN);
    ASSERT_TRUE(fitted);
    // The finite points still make the stroke: it runs from x 0 to 117 over y 0 to 8.
    CGRect bounds = fitted->bounds();
    EXPECT_NEAR(bounds.origin.x, 0, 1);
    EXPECT_NEAR(bounds.origin.x + bounds.size.width, 117, 1);
    EXPECT_GT(bounds.size.height, 4);
    EXPECT_LT(bounds.origin.y + bounds.size.height, 12);
}

TEST(MarqenDOMVectorStroke, ALateFitOfAnEarlierStrokeIsDropped) {
    auto vector = MarqenDOMVector::create();
    vector->beginAtPoint({0, 0});
    for (int i = 1; i < 30; ++i) vector->appendPoint({i * 5.0, i * 2.0}, {}, 0);
    vector->endAtPoint({150, 60}, {}, 0);
    ThreadPool::shared().waitIdle();
    vector->beginAtPoint({500, 500});  // a new stroke before the main queue ran
    MainQueue::shared().drain();
    EXPECT_EQ(vector->bezierPath()->elementCount(), 1u);
    EXPECT_EQ(vector->bezierPath()->elementAtIndex(0).points[0], CGPointMake(500, 500));
}

TEST(MarqenDOMVectorBounds, ContentBoundsHaveAGenerousMarginAndTightBoundsHalfTheStroke) {
    auto vector = strokeWithPath(polyline({{10, 20}, {110, 70}}), 4);
    auto style = std::make_shared<MarqenDOMStyle>();
    style->setShadowRadius(3);
    style->setShadowOffset({-1, 2});
    vector->setStyle(style);
    // x − 2·4 − 2·(3 + 1), y − 8 − 2·(3 + 2), w + 16 + 4·4, h + 16 + 4·5
    EXPECT_EQ(vector->contentBounds(), CGRectMake(-6, 2, 132, 86));
    EXPECT_EQ(vector->tightContentBounds(), CGRectMake(8, 18, 104, 54));
    EXPECT_EQ(MarqenDOMVector::create()->contentBounds(), CGRectZero);
    EXPECT_EQ(strokeWithPath(MarqenBezierPath())->tightContentBounds(), CGRectZero);
}

TEST(MarqenDOMVectorHitTest, StrokeAndFill) {
    auto stroke = strokeWithPath(polyline({{0, 0}, {100, 0}}), 4);
    EXPECT_EQ(stroke->hitTestWithPoint({50, 1}), stroke);
    EXPECT_EQ(stroke->hitTestWithPoint({50, 10}), nullptr);
    EXPECT_EQ(stroke->hitTestWithRect(CGRectMake(40, -5, 10, 10)), stroke);
    EXPECT_EQ(stroke->hitTestWithRect(CGRectMake(40, 5, 10, 10)), nullptr);

    MarqenBezierPath square = polyline({{0, 0}, {100, 0}, {100, 100}, {0, 100}});
    square.closeSubpath();
    auto outline = strokeWithPath(square, 2);
    EXPECT_EQ(outline->hitTestWithPoint({50, 50}), nullptr);  // inside an unfilled outline
    outline->setFillColor(MarqenDOMColor(255, 255, 0, 1));
    EXPECT_EQ(outline->hitTestWithPoint({50, 50}), outline);
    EXPECT_EQ(outline->hitTestWithPoint({150, 50}), nullptr);
    EXPECT_EQ(MarqenDOMVector::create()->hitTestWithPoint({0, 0}), nullptr);

    // A rectangle meets the outline's ink, or its fill once it has one.
    MarqenBezierPath ring;
    ring.addEllipseInRect(CGRectMake(0, 0, 100, 100));
    auto vector = strokeWithPath(ring, 2);
    CGRect inside = CGRectMake(45, 45, 10, 10);
    EXPECT_EQ(vector->hitTestWithRect(inside), nullptr);
    EXPECT_EQ(vector->hitTestWithRect(CGRectMake(95, 45, 10, 10)), vector);
    EXPECT_EQ(vector->hitTestWithRect(CGRectMake(-10, -10, 200, 200)), vector);  // the whole path inside
    EXPECT_EQ(vector->hitTestWithRect(CGRectMake(300, 0, 10, 10)), nullptr);
    vector->setFillColor(MarqenDOMColor(0, 0, 0, 1));
    EXPECT_EQ(vector->hitTestWithRect(inside), vector);
}

TEST(MarqenDOMVectorTransforms, PathAndLineWidthFollowTheTransform) {
    auto vector = strokeWithPath(polyline({{0, 0}, {10, 0}}), 4);
    auto document = documentHolding(vector);
    vector->scale({3, 1}, {0, 0});  // a freehand stroke scales proportionally only
    EXPECT_EQ(vector->bezierPath()->elementAtIndex(1).points[0], CGPointMake(30, 0));
    EXPECT_EQ(vector->lineWidth(), 12);
    vector->translate({5, 5});
    EXPECT_EQ(vector->bezierPath()->elementAtIndex(0).points[0], CGPointMake(5, 5));
    vector->rotate(M_PI / 4, {5, 5});
    EXPECT_EQ(vector->lineWidth(), 12);
    vector->applyTransform(CGAffineTransformMakeRotation(M_PI / 4));
    EXPECT_NEAR(vector->lineWidth(), 0, 1e-12);  // |cos·w − sin·w|
    EXPECT_TRUE(vector->isAspectLocked());
    document->undoManager()->undo();
    EXPECT_EQ(vector->lineWidth(), 12);
}

TEST(MarqenDOMVectorTool, SizeConversionsAndClamping) {
    EXPECT_EQ(MarqenDOMVector::toolSizeAbsoluteForRelative(0.2, 1, 1), 1);
    EXPECT_EQ(MarqenDOMVector::toolSizeAbsoluteForRelative(0.4, 1, 1), 3);
    EXPECT_EQ(MarqenDOMVector::toolSizeAbsoluteForRelative(0.6, 2, 1), 14);
    EXPECT_EQ(MarqenDOMVector::toolSizeAbsoluteForRelative(0.8, 1, 2), 30);
    EXPECT_EQ(MarqenDOMVector::toolSizeAbsoluteForRelative(0.9, 1, 1), 31);
    EXPECT_EQ(MarqenDOMVector::toolSizeRelativeForAbsolute(14, 2, 1), 0.6);
    EXPECT_EQ(MarqenDOMVector::toolSizeRelativeForAbsolute(1.005, 1, 1), 0.2);
    EXPECT_EQ(MarqenDOMVector::toolSizeRelativeForAbsolute(31, 1, 1), 1.0);

    auto highlighter = strokeWithPath(polyline({{0, 0}, {10, 0}}));
    highlighter->setStrokeColor(MarqenDOMColor(255, 255, 0, 0.5));
    auto document = documentHolding(highlighter);
    document->setContentScaleFactor(2);
    EXPECT_EQ(highlighter->absoluteToolSizeScale(), 2.0);
    highlighter->setToolSizeRelative(0.8);
    EXPECT_EQ(highlighter->lineWidth(), 60);
    EXPECT_EQ(highlighter->toolSizeRelative(), 0.8);
    test::SenderNotifications notes(highlighter.get());
    highlighter->setToolSizeAbsolute(1000);
    EXPECT_EQ(highlighter->lineWidth(), 256);
    EXPECT_EQ(notes.count(MarqenDOMNodeNeedsDisplay), 1u);
    highlighter->setToolSizeAbsolute(0.1);
    EXPECT_EQ(highlighter->lineWidth(), 1);
    highlighter->setToolSizeAbsolute(NAN);
    EXPECT_TRUE(std::isnan(highlighter->lineWidth()));
}

TEST(MarqenDOMVectorTool, ToolColourKeepsTheHighlightersAlpha) {
    auto highlighter = strokeWithPath(polyline({{0, 0}, {10, 0}}));
    highlighter->setStrokeColor(MarqenDOMColor(255, 255, 0, 0.5));
    highlighter->setFillColor(MarqenDOMColor(1, 1, 1, 1));
    auto document = documentHolding(highlighter);
    test::SenderNotifications notes(highlighter.get());
    highlighter->setToolColor(MarqenDOMColor(0, 0, 255, 1));
    EXPECT_EQ(highlighter->strokeColor(), MarqenDOMColor(0, 0, 255, 0.5));
    EXPECT_FALSE(highlighter->fillColor());
    EXPECT_EQ(notes.count(MarqenDOMNodeNeedsDisplay), 1u);
    EXPECT_TRUE(document->needsSave());
    document->undoManager()->undo();
    EXPECT_EQ(highlighter->strokeColor(), MarqenDOMColor(255, 255, 0, 0.5));

    auto fresh = MarqenDOMVector::create();  // no tool colour yet: the colour keeps its own alpha
    fresh->setToolColor(MarqenDOMColor(0, 0, 255, 0.25));
    EXPECT_EQ(fresh->toolColor(), MarqenDOMColor(0, 0, 255, 0.25));
}

TEST(MarqenDOMVectorJSON, RoundTripAndTheInkStyleFallback) {
    auto vector = strokeWithPath(polyline({{0, 0}, {10.5, 20.25}}), 5);
    vector->setStrokeColor(MarqenDOMColor(255, 0, 0, 0.5));
    MarqenJSON dictionary = vector->dictionaryRepresentation();
    EXPECT_EQ(dictionary["type"], "Vector");
    EXPECT_EQ(dictionary["path"], "M0.000,0.000L10.500,20.250");
    EXPECT_EQ(dictionary["lineWidth"], 5.0);
    EXPECT_FALSE(dictionary.contains("fillColor"));
    EXPECT_FALSE(dictionary.contains("extension"));
    auto read = readAs<MarqenDOMVector>(dictionary);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->className(), "MarqenDOMVector");
    EXPECT_EQ(read->dictionaryRepresentation(), dictionary);

    MarqenJSON older = MarqenJSON::parse(R"({"type": "com.brondale.marqen.element.type.vector", "path": "M1,1L5,5",
        "inkStyle": {"strokeColor": {"red": 1, "green": 2, "blue": 3, "alpha": 1},
                     "fillColor": {"red": 4, "green": 5, "blue": 6, "alpha": 1}, "lineWidth": 9},
        "strokeColor": {"red": 7, "green": 8, "blue": 9, "alpha": 1}})");
    read = readAs<MarqenDOMVector>(older);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->className(), "MarqenDOMVector");
    EXPECT_EQ(read->strokeColor(), MarqenDOMColor(7, 8, 9, 1));  // the top-level key wins
    EXPECT_EQ(read->fillColor(), MarqenDOMColor(4, 5, 6, 1));
    EXPECT_EQ(read->lineWidth(), 9);

    // Without a path nothing of the vector is written, and without "lineWidth" the width stays.
    EXPECT_FALSE(MarqenDOMVector::create()->dictionaryRepresentation().contains("lineWidth"));
    read = readAs<MarqenDOMVector>({{"type", "Vector"}, {"lineWidth", nullptr}});
    EXPECT_EQ(read->lineWidth(), 1);
    EXPECT_FALSE(read->bezierPath());
}

TEST(MarqenDOMVectorJSON, ElementGeometryAndCopy) {
    auto vector = strokeWithPath(polyline({{0, 0}, {10, 0}}), 3);
    std::any saved = vector->elementGeometry();
    vector->setBezierPath(polyline({{5, 5}, {6, 6}}));
    vector->setLineWidth(8);
    vector->setElementGeometry(saved);
    EXPECT_EQ(*vector->bezierPath(), polyline({{0, 0}, {10, 0}}));
    EXPECT_EQ(vector->lineWidth(), 3);
    auto copy = std::dynamic_pointer_cast<MarqenDOMVector>(vector->copy());
    ASSERT_TRUE(copy);
    EXPECT_EQ(*copy->bezierPath(), *vector->bezierPath());
    EXPECT_EQ(copy->lineWidth(), 3);
    EXPECT_EQ(copy->bezierPathString(), "M0.000,0.000L10.000,0.000");
}
