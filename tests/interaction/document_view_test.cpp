#include <gtest/gtest.h>

#include <cmath>

#include "dom/arrow.h"
#include "dom/rectangle.h"
#include "dom/stamp.h"
#include "dom/text.h"
#include "dom/two_point_vector.h"
#include "dom/vector.h"
#include "interaction/page_view.h"

using namespace marqen;

namespace {

class DocumentViewTest : public test::PageViewTest {
protected:
    void SetUp() override {
        view.setDelegate({[this](CGRect) { ++redraws; }, [this](const std::string &c) { cursors.push_back(c); },
                          [this] { ++selectionChanges; }});
    }
    void click(CGFloat x, CGFloat y, MarqenModifierFlags modifiers = 0) { PageView::click({x, y}, modifiers); }
    static MarqenPointerEvent at(CGFloat x, CGFloat y, MarqenModifierFlags modifiers = 0) { return PageView::at({x, y}, modifiers); }

    int redraws = 0, selectionChanges = 0;
    std::vector<std::string> cursors;
};

}  // namespace

TEST_F(DocumentViewTest, DrawingARectangleIsOneUndoableStepAndSelectsIt) {
    tool(MarqenToolIDRectangle);
    view.setToolColor({0x19, 0x77, 0xFF, 1});
    drag({100, 100}, {300, 250});
    ASSERT_EQ(annotations(), 1u);
    auto rectangle = annotation<MarqenDOMRectangle>(0);
    ASSERT_TRUE(rectangle);
    EXPECT_EQ(rectangle->toolColor(), MarqenDOMColor(0x19, 0x77, 0xFF, 1));
    CGRect bounds = rectangle->contentBounds();
    EXPECT_NEAR(CGRectGetMidX(bounds), 200, 1e-6);
    EXPECT_NEAR(CGRectGetMidY(bounds), 175, 1e-6);
    ASSERT_EQ(view.selectedElements().size(), 1u);
    EXPECT_EQ(view.selectedElements()[0], rectangle);
    EXPECT_EQ(undo->undoCount(), 1u);
    EXPECT_EQ(undo->undoActionName(), "Add Rectangle");
    EXPECT_EQ(cursors, (std::vector<std::string>{"crosshair", "default"}));
    EXPECT_GT(redraws, 0);
    expectUndoRedoRoundTrip();
}

TEST_F(DocumentViewTest, ClickWithoutDragSizesInViewUnits) {
    tool(MarqenToolIDLine);
    auto lineLength = [this](size_t index) {
        auto line = annotation<MarqenDOMTwoPointVector>(index);
        return line ? std::hypot(line->endPoint().x - line->startPoint().x, line->endPoint().y - line->startPoint().y)
                    : 0.0;
    };
    click(100, 100);
    ASSERT_EQ(annotations(), 1u);
    EXPECT_NEAR(lineLength(0), 200, 1e-9);  // 200 view units at zoom 1
    view.setZoom(2);
    click(100, 100);
    ASSERT_EQ(annotations(), 2u);
    EXPECT_NEAR(lineLength(1), 100, 1e-9);  // the same 200 view units at zoom 2
    EXPECT_EQ(undo->undoActionName(), "Add Line");
    expectUndoRedoRoundTrip();
}

TEST_F(DocumentViewTest, ArrowsFollowTheArrowheadPreference) {
    drag({100, 100}, {300, 100});  // arrow is the first tool
    auto first = annotation<MarqenDOMArrow>(0);
    ASSERT_TRUE(first);
    EXPECT_FALSE(first->arrowheadsAtBeginningOfShape());
    preferences.setBool(kMarqenPreferenceArrowheadsAtBeginningOfShape, true);
    drag({100, 300}, {300, 300});
    auto second = annotation<MarqenDOMArrow>(1);
    ASSERT_TRUE(second);
    EXPECT_TRUE(second->arrowheadsAtBeginningOfShape());
    EXPECT_EQ(undo->undoActionName(), "Add Arrow");
    expectUndoRedoRoundTrip();
}

TEST_F(DocumentViewTest, PressingAnElementSelectsAndDragsItInOneStep) {
    tool(MarqenToolIDRectangle);
    drag({100, 100}, {300, 250});
    view.keyPressed({"Escape"});
    EXPECT_TRUE(view.selectedElements().empty());
    std::string drawn = json();
    auto rectangle = document->annotationLayer()->childAtIndex(0);
    CGRect before = rectangle->contentBounds();

    drag({100, 175}, {130, 195}, 5);  // on the left edge
    ASSERT_EQ(view.selectedElements().size(), 1u);
    CGRect after = rectangle->contentBounds();
    EXPECT_NEAR(after.origin.x - before.origin.x, 30, 1e-6);
    EXPECT_NEAR(after.origin.y - before.origin.y, 20, 1e-6);
    EXPECT_EQ(annotations(), 1u);  // moved, nothing new drawn
    EXPECT_EQ(undo->undoCount(), 2u);
    expectLastStep("Move", drawn);
}

TEST_F(DocumentViewTest, ShiftClickSelectAllAndEscape) {
    tool(MarqenToolIDRectangle);
    drag({100, 100}, {200, 200});
    drag({400, 100}, {500, 200});
    view.keyPressed({"Escape"});
    click(100, 150);
    click(400, 150, MarqenModifierShift);
    EXPECT_EQ(view.selectedElements().size(), 2u);
    click(400, 150, MarqenModifierShift);  // shift-click again takes it out
    EXPECT_EQ(view.selectedElements().size(), 1u);
    EXPECT_EQ(undo->undoCount(), 2u);  // selecting is not an edit
    view.keyPressed({"Escape"});
    EXPECT_TRUE(view.selectedElements().empty());
    EXPECT_TRUE(view.keyPressed({"a", MarqenModifierControl}));
    EXPECT_EQ(view.selectedElements().size(), 2u);
    EXPECT_GT(selectionChanges, 4);
}

TEST_F(DocumentViewTest, ArrowKeysNudgeByViewUnits) {
    tool(MarqenToolIDEllipse);
    drag({100, 100}, {200, 200});
    auto ellipse = document->annotationLayer()->childAtIndex(0);
    CGRect before = ellipse->contentBounds();
    view.setZoom(2);
    view.keyPressed({"Left", MarqenModifierShift});  // ten view units: five in the page
    view.keyPressed({"Down"});
    CGRect after = ellipse->contentBounds();
    EXPECT_NEAR(after.origin.x - before.origin.x, -5, 1e-6);
    EXPECT_NEAR(after.origin.y - before.origin.y, 0.5, 1e-6);
    EXPECT_EQ(undo->undoActionName(), "Nudge");
    EXPECT_EQ(undo->undoCount(), 3u);
    expectUndoRedoRoundTrip();
}

TEST_F(DocumentViewTest, DeleteAndBackspaceRemoveTheSelection) {
    tool(MarqenToolIDRectangle);
    drag({100, 100}, {200, 200});
    drag({300, 300}, {400, 400});
    view.keyPressed({"a", MarqenModifierControl});
    EXPECT_TRUE(view.keyPressed({"Delete"}));
    EXPECT_EQ(annotations(), 0u);
    EXPECT_TRUE(view.selectedElements().empty());
    EXPECT_EQ(undo->undoActionName(), "Delete");
    view.keyPressed({"z", MarqenModifierControl});
    EXPECT_EQ(annotations(), 2u);
    view.keyPressed({"z", MarqenModifierControl | MarqenModifierShift});
    EXPECT_EQ(annotations(), 0u);
    view.keyPressed({"z", MarqenModifierControl});
    click(150, 100);
    view.keyPressed({"BackSpace"});
    EXPECT_EQ(annotations(), 1u);
    expectUndoRedoRoundTrip();
}

TEST_F(DocumentViewTest, MarkerStrokeIsFittedInTheBackgroundAndUndoesWhole) {
    tool(MarqenToolIDMarker);
    view.pointerPressed(at(100, 100));
    for (int i = 1; i <= 60; ++i) {
        MarqenPointerEvent event = at(100 + i * 4, 100 + 40 * std::sin(i / 6.0));
        event.timestamp = i / 240.0;
        view.pointerMoved(event);
    }
    view.pointerReleased(at(340, 100));
    ThreadPool::shared().waitIdle();
    MainQueue::shared().drain();
    ASSERT_EQ(annotations(), 1u);
    auto stroke = annotation<MarqenDOMVector>(0);
    ASSERT_TRUE(stroke);
    ASSERT_TRUE(stroke->bezierPath());
    EXPECT_EQ(undo->undoCount(), 1u);
    EXPECT_EQ(undo->undoActionName(), "Add Marker");
    expectUndoRedoRoundTrip();
}

TEST_F(DocumentViewTest, HighlighterIsTranslucentAndStampsArePlacedByClick) {
    tool(MarqenToolIDHighlighter);
    drag({100, 100}, {300, 120}, 10);
    auto stroke = annotation<MarqenDOMElement>(0);
    ASSERT_TRUE(stroke && stroke->toolColor());
    EXPECT_LT(stroke->toolColor()->alpha(), 1);
    EXPECT_EQ(undo->undoActionName(), "Add Highlighter");

    tools.chooseTool(MarqenTool(MarqenToolIDStamp, "com.brondale.marqen.approved"));
    click(500, 400);
    // The stamp and its label, in one step.
    ASSERT_EQ(document->textLayer()->children().size(), 2u);
    auto stamp = std::dynamic_pointer_cast<MarqenDOMStamp>(document->textLayer()->childAtIndex(1));
    ASSERT_TRUE(stamp);
    EXPECT_EQ(stamp->stampName(), "com.brondale.marqen.approved");
    auto label = std::dynamic_pointer_cast<MarqenDOMText>(stamp->labelNode());
    ASSERT_TRUE(label);
    EXPECT_EQ(label->text(), "Approved");
    EXPECT_TRUE(label->isLabel());
    EXPECT_EQ(undo->undoCount(), 2u);
    EXPECT_NEAR(CGRectGetMidX(stamp->frame()), 500, 1e-6);
    EXPECT_EQ(undo->undoActionName(), "Add Stamp");
    ThreadPool::shared().waitIdle();
    MainQueue::shared().drain();
    expectUndoRedoRoundTrip();
}

// A label stands wherever earlier steps left it, not always where a fresh placement would put it; a
// move given up with Escape puts it back there exactly, so that the history still describes the page.
TEST_F(DocumentViewTest, AMoveGivenUpPutsAStampsLabelBackWhereItStood) {
    tools.chooseTool(MarqenTool(MarqenToolIDStamp, "com.brondale.marqen.approved"));
    click(500, 400);
    auto stamp = std::dynamic_pointer_cast<MarqenDOMStamp>(document->textLayer()->childAtIndex(1));
    ASSERT_TRUE(stamp);
    auto label = std::dynamic_pointer_cast<MarqenDOMText>(stamp->labelNode());
    ASSERT_TRUE(label);
    label->setOriginQuietly({12.5, 34.25});
    const std::string before = document->dictionaryRepresentation().dump();
    const size_t steps = undo->undoCount();

    view.pointerPressed(at(500, 400));  // on the stamp, with the stamp tool still chosen: a move
    view.pointerMoved(at(540, 430));
    EXPECT_NE(label->origin().x, 12.5);  // the label goes along while the move runs
    view.keyPressed({"Escape"});
    EXPECT_EQ(label->origin(), CGPointMake(12.5, 34.25));
    EXPECT_EQ(document->dictionaryRepresentation().dump(), before);
    EXPECT_EQ(undo->undoCount(), steps);
}

TEST_F(DocumentViewTest, ZoomAndPanMapViewToPage) {
    view.setZoom(2, {100, 100});  // the anchor keeps its page point
    EXPECT_EQ(view.zoom(), 2);
    CGPoint model = view.modelPointForViewPoint({100, 100});
    EXPECT_DOUBLE_EQ(model.x, 100);
    EXPECT_DOUBLE_EQ(model.y, 100);
    model = view.modelPointForViewPoint({300, 100});
    EXPECT_DOUBLE_EQ(model.x, 200);
    view.setZoom(0);
    view.setZoom(NAN);
    view.setZoom(-3);
    EXPECT_EQ(view.zoom(), 2);
    view.setZoom(1e9);
    EXPECT_EQ(view.zoom(), MarqenDocumentView::kMaximumZoom);
    view.setZoom(1e-9);
    EXPECT_EQ(view.zoom(), MarqenDocumentView::kMinimumZoom);

    view.setZoom(1);
    view.setPan({0, 0});
    tool(MarqenToolIDPan);
    drag({100, 100}, {150, 80});
    EXPECT_DOUBLE_EQ(view.pan().x, 50);
    EXPECT_DOUBLE_EQ(view.pan().y, -20);
    view.scrollBy({10, 10});
    EXPECT_DOUBLE_EQ(view.pan().x, 40);
    EXPECT_EQ(json(), start);
}

TEST_F(DocumentViewTest, StrangeEventSequencesChangeNothing) {
    tool(MarqenToolIDRectangle);
    view.pointerReleased(at(10, 10));  // a release with no press
    view.pointerMoved(at(20, 20));     // a move with no gesture
    view.pointerPressed(at(NAN, 5));
    view.pointerPressed(at(1e300, 5));
    view.pointerReleased(at(50, 50));
    EXPECT_FALSE(view.isGestureRunning());
    EXPECT_EQ(json(), start);
    EXPECT_EQ(undo->undoCount(), 0u);
    view.keyPressed({"Left"});  // nothing selected
    view.keyPressed({"Delete"});
    view.undo();
    view.redo();
    EXPECT_EQ(json(), start);

    // Escape during a drag drops the shape being drawn and leaves undo usable.
    view.pointerPressed(at(100, 100));
    view.pointerMoved(at(200, 200));
    EXPECT_EQ(annotations(), 1u);
    view.keyPressed({"Escape"});
    EXPECT_EQ(annotations(), 0u);
    EXPECT_TRUE(undo->isUndoRegistrationEnabled());
    view.pointerReleased(at(200, 200));
    EXPECT_EQ(json(), start);

    // A second press while drawing ends the first shape unfinished; a move to NaN is ignored.
    view.pointerPressed(at(100, 100));
    view.pointerMoved(at(NAN, NAN));
    view.pointerPressed(at(300, 300));
    view.pointerMoved(at(350, 380));
    view.pointerReleased(at(INFINITY, 0));
    EXPECT_EQ(annotations(), 1u);
    EXPECT_EQ(undo->undoCount(), 1u);
    EXPECT_TRUE(undo->isUndoRegistrationEnabled());
    expectUndoRedoRoundTrip();
}

namespace {
CGPoint handleCenter(const std::vector<MarqenHandle> &handles, MarqenHandleKind kind) {
    for (const auto &handle : handles)
        if (handle.kind == kind) return {CGRectGetMidX(handle.viewRect), CGRectGetMidY(handle.viewRect)};
    ADD_FAILURE() << "no such handle";
    return {};
}
}  // namespace

TEST_F(DocumentViewTest, LineEndPointHandleIsOneUndoableChange) {
    tool(MarqenToolIDLine);
    drag({100, 100}, {300, 100});
    auto line = annotation<MarqenDOMTwoPointVector>(0);
    ASSERT_TRUE(line);
    std::string drawn = json();
    auto handles = view.handles();
    ASSERT_EQ(handles.size(), 2u);
    EXPECT_EQ(handles[1].viewRect.size.width, MarqenDocumentView::kHandleSize);
    view.setZoom(3);
    handles = view.handles();
    EXPECT_EQ(handles[1].viewRect.size.width, MarqenDocumentView::kHandleSize);  // the same size at any zoom
    view.setZoom(1);

    CGPoint end = handleCenter(view.handles(), MarqenHandleKind::EndPoint);
    EXPECT_DOUBLE_EQ(end.x, 300);
    view.pointerPressed(at(end.x, end.y));
    view.pointerMoved(at(300, 200));
    EXPECT_TRUE(view.handles().empty());  // hidden while the drag runs
    EXPECT_FALSE(undo->isUndoRegistrationEnabled());
    view.pointerMoved(at(320, 260));
    view.pointerReleased(at(320, 260));
    EXPECT_EQ(line->endPoint(), (CGPoint{320, 260}));
    EXPECT_EQ(line->startPoint(), (CGPoint{100, 100}));
    EXPECT_EQ(annotations(), 1u);
    EXPECT_EQ(undo->undoCount(), 2u);
    EXPECT_TRUE(undo->isUndoRegistrationEnabled());
    expectLastStep("Line Endpoint", drawn);
}

TEST_F(DocumentViewTest, ArrowEndPointHandleSnapsWithShiftAndKeepsItsMinimumLength) {
    drag({100, 100}, {300, 100});
    auto arrow = annotation<MarqenDOMArrow>(0);
    ASSERT_TRUE(arrow);
    CGPoint tip = arrow->endPoint();
    CGPoint handle = handleCenter(view.handles(), MarqenHandleKind::EndPoint);
    EXPECT_DOUBLE_EQ(handle.x, tip.x);
    view.pointerPressed(at(handle.x, handle.y));
    view.pointerMoved(at(290, 270, MarqenModifierShift));
    view.pointerReleased(at(290, 270, MarqenModifierShift));
    CGPoint start = arrow->startPoint(), end = arrow->endPoint();
    double angle = std::atan2(end.y - start.y, end.x - start.x) * 180 / M_PI;
    EXPECT_NEAR(std::remainder(angle, 45.0), 0, 1e-9) << angle;
    EXPECT_FALSE(arrow->snap());
    EXPECT_EQ(undo->undoActionName(), "Arrow Endpoint");

    // Dragging the tip to 5 units from the tail is refused by the arrow.
    CGPoint before = arrow->endPoint();
    handle = handleCenter(view.handles(), MarqenHandleKind::EndPoint);
    view.pointerPressed(at(handle.x, handle.y));
    view.pointerMoved(at(start.x + 5, start.y));
    view.pointerReleased(at(start.x + 5, start.y));
    EXPECT_EQ(arrow->endPoint(), before);
    expectUndoRedoRoundTrip();
}

TEST_F(DocumentViewTest, ResizeHandlesKeepTheOppositeSide) {
    tool(MarqenToolIDRectangle);
    drag({100, 100}, {300, 250});
    auto rectangle = annotation<MarqenDOMRectangle>(0);
    ASSERT_TRUE(rectangle);
    ASSERT_EQ(view.handles().size(), 8u);  // sides and corners; the rotation handle is apart
    ASSERT_TRUE(view.rotationHandle());
    CGPoint corner = handleCenter(view.handles(), MarqenHandleKind::BottomRight);
    EXPECT_DOUBLE_EQ(corner.x, 300);
    EXPECT_DOUBLE_EQ(corner.y, 250);
    view.pointerPressed(at(corner.x, corner.y));
    view.pointerMoved(at(350, 280));
    view.pointerMoved(at(400, 300));
    view.pointerReleased(at(400, 300));
    CGRect box = rectangle->bezierPath()->bounds();
    EXPECT_NEAR(CGRectGetMinX(box), 100, 1e-6);
    EXPECT_NEAR(CGRectGetMinY(box), 100, 1e-6);
    EXPECT_NEAR(CGRectGetMaxX(box), 400, 1e-6);
    EXPECT_NEAR(CGRectGetMaxY(box), 300, 1e-6);
    EXPECT_EQ(undo->undoActionName(), "Resize");
    EXPECT_EQ(undo->undoCount(), 2u);

    CGPoint left = handleCenter(view.handles(), MarqenHandleKind::Left);
    drag(left, {150, left.y});
    box = rectangle->bezierPath()->bounds();
    EXPECT_NEAR(CGRectGetMinX(box), 150, 1e-6);
    EXPECT_NEAR(CGRectGetMaxX(box), 400, 1e-6);
    EXPECT_NEAR(CGRectGetMaxY(box), 300, 1e-6);
    expectUndoRedoRoundTrip();
}

TEST_F(DocumentViewTest, PropertyChangesApplyToTheSelectionWithTheirNames) {
    tool(MarqenToolIDRectangle);
    drag({100, 100}, {200, 200});
    drag({300, 300}, {400, 400});
    tool(MarqenToolIDStamp);
    click(600, 100);
    view.keyPressed({"a", MarqenModifierControl});
    ASSERT_EQ(view.selectedElements().size(), 3u);  // two rectangles and the stamp (its label goes with it)
    EXPECT_EQ(view.singleColorForSelectedElements(), MarqenDOMColor(0xFC, 0x0C, 0x59, 1));  // the stamp is passed over
    EXPECT_EQ(view.singleToolSizeForSelectedElements(), 0.6);
    size_t steps = undo->undoCount();

    view.setToolColorForSelectedElements({0, 0xE8, 0, 1});
    EXPECT_EQ(undo->undoActionName(), "Color Change");
    EXPECT_EQ(view.singleColorForSelectedElements(), MarqenDOMColor(0, 0xE8, 0, 1));
    view.setToolColorForSelectedElements({0, 0xE8, 0, 1});  // no change, no step
    view.setToolSizeForSelectedElements(1.0);
    EXPECT_EQ(undo->undoActionName(), "Size Change");
    EXPECT_EQ(view.singleToolSizeForSelectedElements(), 1.0);
    view.setToolSizeForSelectedElements(NAN);
    view.setTextBlockStyleForSelectedElements(MarqenDOMTextBlockStyleLabel);  // no texts: no step
    EXPECT_EQ(undo->undoCount(), steps + 2);

    view.undo();
    EXPECT_EQ(view.singleToolSizeForSelectedElements(), 0.6);
    EXPECT_EQ(undo->redoActionName(), "Size Change");
    view.redo();
    EXPECT_EQ(view.singleToolSizeForSelectedElements(), 1.0);
    expectUndoRedoRoundTrip();
}

TEST_F(DocumentViewTest, CanvasGrowsAtTheEdgesWithinTheSameStep) {
    tool(MarqenToolIDRectangle);
    drag({700, 500}, {900, 650});
    CGRect bounds = document->annotationLayer()->childAtIndex(0)->contentBounds();
    CGRect frame = document->frame();
    EXPECT_EQ(frame.origin.x, 0);
    EXPECT_EQ(frame.size.width, std::ceil(CGRectGetMaxX(bounds)));
    EXPECT_EQ(frame.size.height, std::ceil(CGRectGetMaxY(bounds)));
    EXPECT_EQ(undo->undoCount(), 1u);
    EXPECT_EQ(undo->undoActionName(), "Add Rectangle");

    // Moved past the left edge: everything shifts right and the page widens.
    view.keyPressed({"Escape"});
    drag({100, 100}, {200, 200});  // a second rectangle
    auto second = document->annotationLayer()->childAtIndex(1);
    auto first = document->annotationLayer()->childAtIndex(0);
    CGRect firstBefore = first->contentBounds();
    CGFloat widthBefore = document->frame().size.width;
    for (int i = 0; i < 14; ++i) view.keyPressed({"Left", MarqenModifierShift});  // 140 to the left
    CGRect secondAfter = second->contentBounds();
    EXPECT_GE(secondAfter.origin.x, 0);
    CGFloat shift = first->contentBounds().origin.x - firstBefore.origin.x;
    EXPECT_GT(shift, 0);
    EXPECT_EQ(document->frame().size.width, widthBefore + shift);
    EXPECT_EQ(undo->undoActionName(), "Nudge");
    expectUndoRedoRoundTrip();

    // With expansion off the page stays as it is.
    preferences.setBool(kMarqenPreferenceExpandableCanvas, false);
    const CGRect grown = document->frame();
    tool(MarqenToolIDEllipse);
    drag({50, CGRectGetMaxY(grown) - 20}, {CGRectGetMaxX(grown) + 100, CGRectGetMaxY(grown) + 50});  // from empty page
    EXPECT_EQ(undo->undoActionName(), "Add Ellipse");
    EXPECT_EQ(document->frame(), grown);
}

TEST_F(DocumentViewTest, UndoingADeletePutsElementsBackInTheirDrawingOrder) {
    tool(MarqenToolIDRectangle);
    drag({100, 100}, {200, 200});
    drag({300, 100}, {400, 200});
    drag({500, 100}, {600, 200});
    auto layer = document->annotationLayer();
    std::vector<std::string> order;
    for (const auto &child : layer->children()) order.push_back(child->guid());
    view.keyPressed({"Escape"});
    click(300, 150);  // the middle one
    view.keyPressed({"Delete"});
    ASSERT_EQ(annotations(), 2u);
    std::string deleted = json();
    view.undo();
    std::vector<std::string> back;
    for (const auto &child : layer->children()) back.push_back(child->guid());
    EXPECT_EQ(back, order);  // not moved to the front
    view.redo();
    EXPECT_EQ(json(), deleted);
    expectUndoRedoRoundTrip();
}
