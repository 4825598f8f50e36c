#include <gtest/gtest.h>

#include <cmath>

#include "dom/line.h"
#include "vector_test_support.h"

using namespace marqen;
using marqen::test::describePath;
using marqen::test::documentHolding;
using marqen::test::drag;
using marqen::test::expectPointNear;
using marqen::test::readAs;

namespace {

std::shared_ptr<MarqenDOMLine> line(CGPoint start, CGPoint end) {
    auto shape = MarqenDOMLine::create();
    shape->setStartPoint(start);
    shape->setEndPoint(end);
    return shape;
}

}  // namespace

TEST(MarqenDOMLine, PathAlignedPathAndTheMinimumLength) {
    auto shape = line({0.5, 1.5}, {10.9, -2.1});
    EXPECT_EQ(describePath(*shape->bezierPath(), 1), "M0.5,1.5 L10.9,-2.1");
    EXPECT_EQ(describePath(*shape->alignedBezierPath(), 0), "M0,1 L10,-3");
    auto degenerate = line({5, 5}, {5.5, 5});  // grows to the minimum length
    EXPECT_EQ(degenerate->endPoint(), CGPointMake(6, 5));
    degenerate->enforceMinimumLength(10);
    EXPECT_EQ(degenerate->endPoint(), CGPointMake(15, 5));
}

TEST(MarqenDOMLine, SnapUsesTheFortyFiveDegreeRule) {
    auto shape = MarqenDOMLine::create();
    shape->beginAtPoint({0, 0});
    shape->appendPoint({10, 4}, {}, MarqenVectorDrawingOptionConstrain);
    EXPECT_EQ(shape->endPoint(), CGPointMake(10, 0));
    shape->appendPoint({10, 6}, {}, MarqenVectorDrawingOptionConstrain);
    EXPECT_EQ(shape->endPoint(), CGPointMake(10, 10));
    shape->appendPoint({-4, 10}, {}, MarqenVectorDrawingOptionConstrain);
    EXPECT_EQ(shape->endPoint(), CGPointMake(0, 10));
    shape->endAtPoint({-4, 10}, {}, MarqenVectorDrawingOptionConstrain);
    EXPECT_FALSE(shape->snap());
    shape->setEndPoint({-4, 10});  // no snap after the drag
    EXPECT_EQ(shape->endPoint(), CGPointMake(-4, 10));
}

TEST(MarqenDOMLine, ClickWithoutDragMakesA200UnitLine) {
    auto shape = MarqenDOMLine::create();
    drag(*shape, {300, 200}, {300, 200}, 0, CGAffineTransformMakeScale(1.5, 1.5));
    EXPECT_EQ(shape->startPoint(), CGPointMake(300, 200));
    EXPECT_EQ(shape->endPoint(), CGPointMake(600, 200));
}

TEST(MarqenDOMLine, LineWidthUnderRotation) {
    auto shape = line({0, 0}, {100, 0});
    shape->setLineWidth(10);
    // A pure rotation through applyTransform changes the width: |cos θ·w − sin θ·w|.
    shape->applyTransform(CGAffineTransformMakeRotation(M_PI / 3));
    EXPECT_NEAR(shape->lineWidth(), std::fabs(std::cos(M_PI / 3) * 10 - std::sin(M_PI / 3) * 10), 1e-12);
    expectPointNear(shape->endPoint(), {50, 100 * std::sin(M_PI / 3)}, 1e-9);
    // rotate() keeps the width it had.
    shape->setLineWidth(10);
    shape->rotate(M_PI / 3, {0, 0});
    EXPECT_EQ(shape->lineWidth(), 10);
    expectPointNear(shape->endPoint(), {-50, 100 * std::sin(M_PI / 3)}, 1e-9);
    // A transform ignores snapping and keeps it.
    auto snapped = line({0, 0}, {100, 0});
    snapped->setSnap(true);
    snapped->applyTransform(CGAffineTransformMakeRotation(0.3));
    expectPointNear(snapped->endPoint(), {100 * std::cos(0.3), 100 * std::sin(0.3)});
    EXPECT_TRUE(snapped->snap());
}

TEST(MarqenDOMLine, SettersUndoAndMarkTheDocument) {
    auto shape = line({0, 0}, {100, 0});
    auto document = documentHolding(shape);
    shape->setEndPoint({50, 50});
    EXPECT_TRUE(document->needsSave());
    document->undoManager()->undo();
    EXPECT_EQ(shape->endPoint(), CGPointMake(100, 0));
    std::any saved = shape->elementGeometry();
    shape->setStartPoint({-9, -9});
    shape->setLineWidth(7);
    shape->setElementGeometry(saved);
    EXPECT_EQ(shape->startPoint(), CGPointMake(0, 0));
    EXPECT_EQ(shape->lineWidth(), 1);
}

TEST(MarqenDOMLine, JSONRoundTripAndZeroLengthRefusal) {
    auto shape = line({1, 2}, {30, 40});
    shape->setStrokeColor(MarqenDOMColor(10, 20, 30, 1));
    shape->setLineWidth(3);
    MarqenJSON dictionary = shape->dictionaryRepresentation();
    EXPECT_EQ(dictionary["extension"], (MarqenJSON{{"type", "Line"},
                                                   {"startPoint", {{"x", 1.0}, {"y", 2.0}}},
                                                   {"endPoint", {{"x", 30.0}, {"y", 40.0}}}}));
    auto read = readAs<MarqenDOMLine>(dictionary);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->dictionaryRepresentation(), dictionary);
    EXPECT_TRUE(MarqenDOMLine::create()->dictionaryRepresentation().is_null());
}

TEST(MarqenDOMLine, OlderMetadataFormBecomesALine) {
    MarqenJSON older = MarqenJSON::parse(R"({
        "type": "com.brondale.marqen.element.type.vector",
        "path": "M5,5L100,5",
        "inkStyle": {"strokeColor": {"red": 0, "green": 0, "blue": 255, "alpha": 1}, "lineWidth": 6},
        "metadata": {
            "com.brondale.marqen.editor": "com.brondale.marqen.editor.type.line",
            "com.brondale.marqen.element.semantics.line.start": {"x": 5, "y": 5},
            "com.brondale.marqen.element.semantics.line.end": {"x": 100, "y": 5}
        }
    })");
    EXPECT_TRUE(MarqenDOMLine::willInitializeWithDictionary(older));
    auto shape = readAs<MarqenDOMLine>(older);
    ASSERT_TRUE(shape);
    EXPECT_EQ(shape->startPoint(), CGPointMake(5, 5));
    EXPECT_EQ(shape->endPoint(), CGPointMake(100, 5));
    EXPECT_EQ(shape->lineWidth(), 6);
    EXPECT_EQ(shape->strokeColor(), MarqenDOMColor(0, 0, 255, 1));
    EXPECT_TRUE(shape->metadata().empty());
    EXPECT_FALSE(shape->dictionaryRepresentation().contains("metadata"));
    // The extension wins over the older metadata.
    older["extension"] = {{"type", "Line"}, {"startPoint", {{"x", 1}, {"y", 1}}}};
    shape = readAs<MarqenDOMLine>(older);
    EXPECT_EQ(shape->startPoint(), CGPointMake(1, 1));
    EXPECT_EQ(shape->endPoint(), CGPointMake(100, 5));
}
