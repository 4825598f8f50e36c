#include <gtest/gtest.h>

#include <cmath>

#include "dom/arrow.h"
#include "vector_test_support.h"

using namespace marqen;
using marqen::test::documentHolding;
using marqen::test::drag;
using marqen::test::expectPointNear;
using marqen::test::readAs;

namespace {

std::shared_ptr<MarqenDOMArrow> arrowFrom(CGPoint start, CGPoint end, CGFloat size = 10) {
    auto arrow = MarqenDOMArrow::create();
    arrow->setToolArrowSize(size);
    arrow->setStartPoint(start);
    arrow->setEndPoint(end);
    return arrow;
}

}  // namespace

// Outline

TEST(MarqenDOMArrowOutline, HorizontalArrowOfLength200HasTheWorkedValues) {
    // s = 10, L = 200: T = 1.5, B = 5.975, N = 176.1, K = 173.71, E = 13.145; Q1 = 3.7375, Q2 = 2.61875, M = 138.05.
    MarqenBezierPath path = MarqenDOMArrow::makeArrowPath({0, 0}, {200, 0}, 10);
    const auto &e = path.elements();
    ASSERT_EQ(e.size(), 9u);
    EXPECT_EQ(e[0].type, MarqenPathElementType::MoveToPoint);
    expectPointNear(e[0].points[0], {0, -1.5});
    EXPECT_EQ(e[1].type, MarqenPathElementType::AddCurveToPoint);
    expectPointNear(e[1].points[0], {88.05, -2.61875});
    expectPointNear(e[1].points[1], {138.05, -3.7375});
    expectPointNear(e[1].points[2], {176.1, -5.975});
    expectPointNear(e[2].points[0], {173.71, -13.145});
    expectPointNear(e[3].points[0], {200, 0});
    expectPointNear(e[4].points[0], {173.71, 13.145});
    expectPointNear(e[5].points[0], {176.1, 5.975});
    EXPECT_EQ(e[6].type, MarqenPathElementType::AddCurveToPoint);
    expectPointNear(e[6].points[0], {138.05, 3.7375});
    expectPointNear(e[6].points[1], {88.05, 2.61875});
    expectPointNear(e[6].points[2], {0, 1.5});
    // Tail cap: u = unit(−176.1, 4.475), k = 2.25.
    double length = std::hypot(176.1, 4.475), ux = -176.1 / length, uy = 4.475 / length;
    EXPECT_EQ(e[7].type, MarqenPathElementType::AddCurveToPoint);
    expectPointNear(e[7].points[0], {2.25 * ux, 1.5 - 2.25 * uy});
    expectPointNear(e[7].points[1], {2.25 * ux, -1.5 + 2.25 * uy});
    expectPointNear(e[7].points[2], {0, -1.5});
    EXPECT_EQ(e[8].type, MarqenPathElementType::CloseSubpath);
}

TEST(MarqenDOMArrowOutline, ShortArrowUsesAFifthOfItsLengthAsSize) {
    // s = 10, L = 20: S = 4, W = 7.75, H = 8, T = 1.5, B = 2, N = 12, K = 11.2, E = 4.4.
    MarqenBezierPath path = MarqenDOMArrow::makeArrowPath({0, 0}, {20, 0}, 10);
    const auto &e = path.elements();
    expectPointNear(e[1].points[2], {12, -2});
    expectPointNear(e[2].points[0], {11.2, -4.4});
    expectPointNear(e[3].points[0], {20, 0});
    expectPointNear(e[5].points[0], {12, 2});
}

TEST(MarqenDOMArrowOutline, DirectionPlacesTheTailAtTheStartAndTheTipAtTheEnd) {
    // Straight down (y decreasing) is a rotation by 270°: the tip lands on the end point.
    MarqenBezierPath down = MarqenDOMArrow::makeArrowPath({5, 5}, {5, -195}, 10);
    expectPointNear(down.elements()[3].points[0], {5, -195});
    expectPointNear(down.elements()[0].points[0], {5 - 1.5, 5});  // (0, −T) rotated by 270° is (−T, 0)
    MarqenBezierPath up = MarqenDOMArrow::makeArrowPath({0, 0}, {0, 200}, 10);
    expectPointNear(up.elements()[3].points[0], {0, 200});
    expectPointNear(up.elements()[0].points[0], {1.5, 0});
    // |dx| of 0.009 counts as vertical: the tip sits exactly above the start, not at the end point.
    MarqenBezierPath nearlyUp = MarqenDOMArrow::makeArrowPath({0, 0}, {0.009, 200}, 10);
    CGPoint tip = nearlyUp.elements()[3].points[0];
    EXPECT_NEAR(tip.x, 0, 1e-12);
    EXPECT_NEAR(tip.y, std::hypot(0.009, 200), 1e-9);
    // Leftwards adds 180°.
    MarqenBezierPath left = MarqenDOMArrow::makeArrowPath({0, 0}, {-100, -100}, 10);
    expectPointNear(left.elements()[3].points[0], {-100, -100});
}

TEST(MarqenDOMArrowOutline, CoincidentPointsGiveATailCapOnlyAndAnArrowFollowsItsOwnPointsAndSize) {
    MarqenBezierPath path = MarqenDOMArrow::makeArrowPath({3, 4}, {3, 4}, 10);
    ASSERT_FALSE(path.isEmpty());
    CGRect bounds = path.bounds();
    EXPECT_LE(bounds.size.width, 3.1);
    EXPECT_LE(bounds.size.height, 3.1);
    EXPECT_TRUE(std::isfinite(bounds.origin.x));

    auto arrow = arrowFrom({0, 0}, {200, 0});
    ASSERT_TRUE(arrow->bezierPath());
    EXPECT_EQ(*arrow->bezierPath(), MarqenDOMArrow::makeArrowPath({0, 0}, {200, 0}, 10));
    arrow->setToolArrowSize(20);
    EXPECT_EQ(*arrow->bezierPath(), MarqenDOMArrow::makeArrowPath({0, 0}, {200, 0}, 20));
}

// End points

TEST(MarqenDOMArrowEndPoints, ShorteningGuardRefusesDragsBelowTwelveUnits) {
    auto arrow = arrowFrom({0, 0}, {30, 0});
    arrow->setEndPoint({10, 0});  // shorter and below 12: ignored
    EXPECT_EQ(arrow->endPoint(), CGPointMake(30, 0));
    arrow->setEndPoint({15, 0});  // shorter but not below 12
    EXPECT_EQ(arrow->endPoint(), CGPointMake(15, 0));
    arrow->setIgnoreMinimumConstraints(true);
    arrow->setEndPoint({10, 0});
    EXPECT_EQ(arrow->endPoint(), CGPointMake(10, 0));
    arrow->setIgnoreMinimumConstraints(false);
    arrow->setEndPoint({11, 0});  // lengthening is always allowed
    EXPECT_EQ(arrow->endPoint(), CGPointMake(11, 0));
    // The start is guarded the same way, except while it is still at the origin (unset).
    arrow->setStartPoint({5, 0});
    EXPECT_EQ(arrow->startPoint(), CGPointMake(5, 0));
    arrow->setStartPoint({3, 0});  // 8 long: longer, accepted
    EXPECT_EQ(arrow->startPoint(), CGPointMake(3, 0));
    arrow->setStartPoint({7, 0});  // 4 long: refused
    EXPECT_EQ(arrow->startPoint(), CGPointMake(3, 0));
}

TEST(MarqenDOMArrowEndPoints, SnapStraightensAboutTheOtherEnd) {
    auto arrow = arrowFrom({0, 0}, {100, 0});
    arrow->setSnap(true);
    arrow->setEndPoint({100, 40});
    EXPECT_EQ(arrow->endPoint(), CGPointMake(100, 0));  // snapped back onto the stored point: no change
    arrow->setEndPoint({100, 60});
    EXPECT_EQ(arrow->endPoint(), CGPointMake(100, 100));
    arrow->setStartPoint({-4, 210});  // anchor (100, 100): dx 104, dy 110 → diagonal
    EXPECT_EQ(arrow->startPoint(), CGPointMake(-10, 210));
}

TEST(MarqenDOMArrowEndPoints, SettersNotifyAndUndoButDoNotMarkTheDocument) {
    auto arrow = arrowFrom({0, 0}, {100, 0});
    auto document = documentHolding(arrow);
    test::SenderNotifications notes(arrow.get());
    arrow->setEndPoint({150, 0});
    EXPECT_EQ(notes.count(MarqenDOMNodeWillChange), 2u);  // the point, then the rebuilt outline
    EXPECT_EQ(notes.count(MarqenDOMNodeDidChange), 2u);
    EXPECT_FALSE(document->needsSave());
    document->undoManager()->undo();
    EXPECT_EQ(arrow->endPoint(), CGPointMake(100, 0));
    EXPECT_EQ(*arrow->bezierPath(), MarqenDOMArrow::makeArrowPath({0, 0}, {100, 0}, 10));
    notes.clear();
    arrow->setEndPoint({100, 0});
    EXPECT_TRUE(notes.names().empty());
}

// Drawing

TEST(MarqenDOMArrowDrawing, DragFromAToBAndArrowheadsAtTheBeginning) {
    auto arrow = MarqenDOMArrow::create();
    arrow->beginAtPoint({100, 100});
    arrow->appendPoint({150, 100}, {}, 0);
    arrow->appendPoint({300, 180}, {}, 0);
    arrow->endAtPoint({300, 180}, {}, 0, CGAffineTransformIdentity);
    EXPECT_EQ(arrow->startPoint(), CGPointMake(100, 100));
    EXPECT_EQ(arrow->endPoint(), CGPointMake(300, 180));
    EXPECT_FALSE(arrow->snap());
    // With the arrowheads at the beginning the tip goes where the drag began.
    auto reversed = MarqenDOMArrow::create();
    reversed->setArrowheadsAtBeginningOfShape(true);
    drag(*reversed, {100, 100}, {400, 300});
    EXPECT_EQ(reversed->endPoint(), CGPointMake(100, 100));
    EXPECT_EQ(reversed->startPoint(), CGPointMake(400, 300));
}

TEST(MarqenDOMArrowDrawing, ConstrainOptionSnapsWhileDragging) {
    auto arrow = MarqenDOMArrow::create();
    arrow->beginAtPoint({0, 0});
    arrow->appendPoint({100, 30}, {}, MarqenVectorDrawingOptionConstrain);
    EXPECT_TRUE(arrow->snap());
    EXPECT_EQ(arrow->endPoint(), CGPointMake(100, 0));
    arrow->endAtPoint({100, 30}, {}, MarqenVectorDrawingOptionConstrain, CGAffineTransformIdentity);
    EXPECT_EQ(arrow->endPoint(), CGPointMake(100, 0));
    EXPECT_FALSE(arrow->snap());
}

TEST(MarqenDOMArrowDrawing, ClickMakesAStandardArrowAimedAwayFromTheCentre) {
    auto arrow = MarqenDOMArrow::create();
    auto document = documentHolding(arrow);
    ASSERT_EQ(document->frame().size, CGSizeMake(1000, 800));
    // The view shows the document at half size: 200 view units are 400 model units.
    drag(*arrow, {800, 600}, {800, 600}, 0, CGAffineTransformMakeScale(2, 2));
    EXPECT_EQ(arrow->endPoint(), CGPointMake(800, 600));
    double phi = std::atan2((600 - 400) / 800.0, (800 - 500) / 1000.0);
    expectPointNear(arrow->startPoint(), {800 - 400 * std::cos(phi), 600 - 400 * std::sin(phi)});
    EXPECT_NEAR(std::hypot(arrow->endPoint().x - arrow->startPoint().x, arrow->endPoint().y - arrow->startPoint().y),
                400, 1e-9);
}

TEST(MarqenDOMArrowDrawing, ShortDragGrowsToFortyUnitsAlongItsDirection) {
    auto arrow = MarqenDOMArrow::create();
    auto document = documentHolding(arrow);
    document->setContentScaleFactor(3.0);  // deliberately not applied to the 40 of the view variant
    drag(*arrow, {100, 100}, {103, 104});
    // The end stays; the start moves back along the direction to 40 units.
    EXPECT_EQ(arrow->endPoint(), CGPointMake(103, 104));
    expectPointNear(arrow->startPoint(), {103 - 40 * 0.6, 104 - 40 * 0.8});
}

TEST(MarqenDOMArrowDrawing, EnforceMinimumLengthUsesTheContentScaleFactor) {
    auto arrow = MarqenDOMArrow::create();
    auto document = documentHolding(arrow);
    document->setContentScaleFactor(2.0);
    arrow->setStartPoint({100, 100});
    arrow->setEndPoint({130, 100});
    arrow->enforceMinimumLength(true);  // grow from the start: the end moves
    expectPointNear(arrow->endPoint(), {180, 100});
    EXPECT_EQ(arrow->startPoint(), CGPointMake(100, 100));
}

TEST(MarqenDOMArrowDrawing, StandardPlacement) {
    CGRect frame = CGRectMake(50, 50, 1000, 800);  // only the size counts
    // 0.4 × 800, pointing straight down-screen from the centre.
    expectPointNear(MarqenDOMArrow::getStandardArrowStart({500, 800}, frame, 0, 0), {500, 800 - 320});
    expectPointNear(MarqenDOMArrow::getStandardArrowStart({500, 800}, frame, 0, 100), {500, 700});
    expectPointNear(MarqenDOMArrow::getStandardArrowStart({10, 10}, frame, 50, 0, M_PI), {60, 10});
    // Without a frame there is nothing to aim from: the arrow points right instead of going NaN.
    expectPointNear(MarqenDOMArrow::getStandardArrowStart({0, 0}, CGRectZero, 50, 0), {-50, 0});
}

// Transforms

TEST(MarqenDOMArrowTransforms, ScalingDoublesTheSizeAndRotationKeepsIt) {
    auto arrow = arrowFrom({0, 0}, {100, 0}, 12);
    arrow->scale({2, 2}, {0, 0});
    EXPECT_DOUBLE_EQ(arrow->toolArrowSize(), 24);
    expectPointNear(arrow->endPoint(), {200, 0});
    arrow->rotate(M_PI / 2, {0, 0});
    EXPECT_DOUBLE_EQ(arrow->toolArrowSize(), 24);
    expectPointNear(arrow->endPoint(), {0, 200}, 1e-9);
    // applyTransform with a pure rotation changes the size (the x part of T on (s, s)).
    arrow->applyTransform(CGAffineTransformMakeRotation(M_PI / 4));
    EXPECT_NEAR(arrow->toolArrowSize(), 0, 1e-9);
}

TEST(MarqenDOMArrowTransforms, MovesGoToTheEndsNotTheNodeTransformAndKeepSnap) {
    auto arrow = arrowFrom({0, 0}, {100, 0});
    arrow->applyTransform(CGAffineTransformMakeTranslation(5, 7));
    EXPECT_TRUE(CGAffineTransformIsIdentity(arrow->transform()));
    EXPECT_EQ(arrow->startPoint(), CGPointMake(5, 7));
    EXPECT_EQ(arrow->endPoint(), CGPointMake(105, 7));
    auto shortArrow = arrowFrom({0, 0}, {20, 0});
    shortArrow->setSnap(true);
    shortArrow->translate({15, 3});  // moving the start first would otherwise trip the shortening guard
    EXPECT_EQ(shortArrow->startPoint(), CGPointMake(15, 3));
    EXPECT_EQ(shortArrow->endPoint(), CGPointMake(35, 3));
    EXPECT_TRUE(shortArrow->snap());
}

// Tool size and colour

TEST(MarqenDOMArrowTool, SizeConversions) {
    EXPECT_EQ(MarqenDOMArrow::toolSizeAbsoluteForRelative(0.2, 1, 1), 4);
    EXPECT_EQ(MarqenDOMArrow::toolSizeAbsoluteForRelative(0.4, 1, 2), 16);
    EXPECT_EQ(MarqenDOMArrow::toolSizeAbsoluteForRelative(0.6, 2, 1), 24);
    EXPECT_EQ(MarqenDOMArrow::toolSizeAbsoluteForRelative(0.8, 1, 1), 16);
    EXPECT_EQ(MarqenDOMArrow::toolSizeAbsoluteForRelative(1.0, 1, 1), 26);
    EXPECT_EQ(MarqenDOMArrow::toolSizeAbsoluteForRelative(0.1 + 0.2 + 0.1 + 0.2, 1, 1), 12);  // rounding above 0.6
    EXPECT_EQ(MarqenDOMArrow::toolSizeRelativeForAbsolute(4, 1, 1), 0.2);
    EXPECT_EQ(MarqenDOMArrow::toolSizeRelativeForAbsolute(16, 1, 2), 0.4);
    EXPECT_EQ(MarqenDOMArrow::toolSizeRelativeForAbsolute(16.005, 1, 1), 0.8);
    EXPECT_EQ(MarqenDOMArrow::toolSizeRelativeForAbsolute(16.02, 1, 1), 1.0);

    auto arrow = arrowFrom({0, 0}, {100, 0});
    auto document = documentHolding(arrow);
    document->setContentScaleFactor(2.0);
    test::SenderNotifications notes(arrow.get());
    arrow->setToolSizeRelative(0.6);
    EXPECT_EQ(arrow->toolArrowSize(), 24);
    EXPECT_EQ(arrow->toolSizeRelative(), 0.6);
    EXPECT_EQ(notes.count(MarqenDOMNodeNeedsDisplay), 1u);
    arrow->setToolSizeAbsolute(500);  // unclamped
    EXPECT_EQ(arrow->toolSizeAbsolute(), 500);
}

TEST(MarqenDOMArrowTool, ColourIsTheFillAndUndoes) {
    auto arrow = arrowFrom({0, 0}, {100, 0});
    arrow->setStrokeColor(MarqenDOMColor(1, 2, 3, 1));
    auto document = documentHolding(arrow);
    test::SenderNotifications notes(arrow.get());
    arrow->setToolColor(MarqenDOMColor(255, 0, 0, 1));
    EXPECT_EQ(arrow->fillColor(), MarqenDOMColor(255, 0, 0, 1));
    EXPECT_FALSE(arrow->strokeColor());
    EXPECT_EQ(arrow->toolColor(), MarqenDOMColor(255, 0, 0, 1));
    EXPECT_EQ(notes.names(), (std::vector<std::string>{MarqenDOMNodeWillChange, MarqenDOMNodeDidChange,
                                                       MarqenDOMNodeNeedsDisplay}));
    arrow->setToolColor(MarqenDOMColor(0, 0, 255, 1));
    document->undoManager()->undo();
    EXPECT_EQ(arrow->fillColor(), MarqenDOMColor(255, 0, 0, 1));
}

TEST(MarqenDOMArrowTool, HitTestIsTheFilledOutline) {
    auto arrow = arrowFrom({0, 0}, {200, 0});
    arrow->setToolColor(MarqenDOMColor(255, 0, 0, 1));
    EXPECT_EQ(arrow->hitTestWithPoint({180, 3}), arrow);
    EXPECT_EQ(arrow->hitTestWithPoint({100, 8}), nullptr);
    EXPECT_EQ(arrow->hitTestWithPoint({-5, 0}), nullptr);
}

// JSON

TEST(MarqenDOMArrowJSON, RoundTripKeepsGeometryAndDefaultStyle) {
    auto arrow = arrowFrom({10, 20}, {210, 20}, 8);
    arrow->setToolColor(MarqenDOMColor(255, 0, 0, 1));
    MarqenJSON dictionary = arrow->dictionaryRepresentation();
    EXPECT_EQ(dictionary["type"], "Vector");
    EXPECT_EQ(dictionary["extension"],
              (MarqenJSON{{"type", "Arrow"},
                          {"startPoint", {{"x", 10.0}, {"y", 20.0}}},
                          {"endPoint", {{"x", 210.0}, {"y", 20.0}}},
                          {"toolArrowSize", 8.0}}));
    EXPECT_EQ(dictionary["style"]["shadowRadius"], 2.0);
    EXPECT_FALSE(dictionary.contains("strokeColor"));

    auto read = readAs<MarqenDOMArrow>(dictionary);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->fillColor(), MarqenDOMColor(255, 0, 0, 1));
    EXPECT_EQ(read->guid(), arrow->guid());
    EXPECT_EQ(read->dictionaryRepresentation(), dictionary);
    EXPECT_EQ(*read->bezierPath(), *arrow->bezierPath());

    // A copy keeps the geometry as well.
    auto copy = std::dynamic_pointer_cast<MarqenDOMArrow>(arrow->copy());
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->guid(), arrow->guid());
    EXPECT_EQ(copy->dictionaryRepresentation(), dictionary);
}

TEST(MarqenDOMArrowJSON, DefaultStyleWhenTheDictionaryHasNone) {
    auto style = MarqenDOMArrow::defaultStyle();
    EXPECT_EQ(style->dictionaryRepresentation(),
              (MarqenJSON{{"shadowColor", {{"red", 0}, {"green", 0}, {"blue", 0}, {"alpha", 1.0}}},
                          {"shadowOffset", {{"width", 0.0}, {"height", 2.0}}},
                          {"shadowOpacity", 0.35},
                          {"shadowRadius", 2.0}}));
    MarqenJSON older{{"type", "Vector"},
                     {"extension", {{"type", "Arrow"}, {"startPoint", {{"x", 0}, {"y", 0}}},
                                    {"endPoint", {{"x", 50}, {"y", 0}}}, {"toolArrowSize", 4}}}};
    auto arrow = readAs<MarqenDOMArrow>(older);
    ASSERT_TRUE(arrow);
    EXPECT_EQ(*arrow->style(), *style);
    // A dictionary with a style keeps it.
    older["style"] = MarqenJSON::object();
    EXPECT_EQ(*readAs<MarqenDOMArrow>(older)->style(), MarqenDOMStyle());
}

TEST(MarqenDOMArrowJSON, OlderMetadataFormIsReadAndRemoved) {
    MarqenJSON older = MarqenJSON::parse(R"({
        "type": "com.brondale.marqen.element.type.vector",
        "guid": "7D0B1B1C-0B7A-4E8B-9E43-8C1F4B7B0A11",
        "path": "M0,0L1,1",
        "inkStyle": {"fillColor": {"red": 255, "green": 0, "blue": 0, "alpha": 1}, "lineWidth": 3},
        "metadata": {
            "com.brondale.marqen.editor": "com.brondale.marqen.editor.type.arrow",
            "com.brondale.marqen.element.semantics.arrow.toolArrowSize": 12,
            "com.brondale.marqen.element.semantics.line.start": {"x": 20, "y": 30},
            "com.brondale.marqen.element.semantics.line.end": "{220, 130}",
            "note": "kept"
        }
    })");
    auto arrow = readAs<MarqenDOMArrow>(older);
    ASSERT_TRUE(arrow);
    EXPECT_EQ(arrow->fillColor(), MarqenDOMColor(255, 0, 0, 1));
    EXPECT_EQ(arrow->lineWidth(), 3);
    EXPECT_EQ(arrow->metadata(), (MarqenJSON{{"note", "kept"}}));
    EXPECT_EQ(*arrow->bezierPath(), MarqenDOMArrow::makeArrowPath({20, 30}, {220, 130}, 12));
    EXPECT_EQ(arrow->dictionaryRepresentation()["extension"],
              (MarqenJSON{{"type", "Arrow"}, {"startPoint", {{"x", 20.0}, {"y", 30.0}}},
                          {"endPoint", {{"x", 220.0}, {"y", 130.0}}}, {"toolArrowSize", 12.0}}));
    EXPECT_EQ(arrow->dictionaryRepresentation()["metadata"], (MarqenJSON{{"note", "kept"}}));
}

TEST(MarqenDOMArrowJSON, CoincidentEndsAreNotWritten) {
    auto arrow = MarqenDOMArrow::create();
    EXPECT_TRUE(arrow->dictionaryRepresentation().is_null());
    auto layer = MarqenDOMLayer::create();
    layer->addChild(arrow);
    layer->addChild(arrowFrom({0, 0}, {50, 0}));
    EXPECT_EQ(layer->dictionaryRepresentation()["children"].size(), 1u);
}

TEST(MarqenDOMArrowJSON, GeometryRoundTripThroughElementGeometry) {
    auto arrow = arrowFrom({0, 0}, {100, 0});
    std::any saved = arrow->elementGeometry();
    arrow->setSnap(true);
    arrow->setEndPoint({300, 20});
    arrow->setToolArrowSize(30);
    arrow->setElementGeometry(saved);
    EXPECT_EQ(arrow->endPoint(), CGPointMake(100, 0));
    EXPECT_EQ(arrow->toolArrowSize(), 10);
    EXPECT_TRUE(arrow->snap());
}
