#include <gtest/gtest.h>

#include <cmath>

#include "dom/bitmap.h"
#include "dom/document.h"
#include "dom/layer.h"
#include "dom/rectangle.h"
#include "dom/stamp.h"
#include "dom/text.h"
#include "editing/tools_model.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "formats/directory_resource_coordinator.h"
#include "interaction/clipboard_payload.h"
#include "interaction/document_view.h"
#include "interaction/preferences.h"
#include "platform/image_io.h"
#include "support/test_support.h"

using namespace marqen;
using marqen::test::TempDir;

namespace {

MarqenImageRef solidImage(int width, int height, uint32_t argb) {
    auto image = MarqenImage::create(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image->setPixelAt(x, y, argb);
    return image;
}

class HandlesAndInsertTest : public testing::Test {
protected:
    void SetUp() override {
        document->setUndoManager(undo);
        start = json();
    }
    void TearDown() override {
        document->waitForOperationsToFinish();
        MainQueue::shared().drain();
    }
    std::string json() const { return document->dictionaryRepresentation().dump(); }
    MarqenPointerEvent at(CGPoint model) const { return {view.viewPointForModelPoint(model)}; }
    void click(CGPoint model) {
        view.pointerPressed(at(model));
        view.pointerReleased(at(model));
    }
    void drag(CGPoint from, CGPoint to) {
        view.pointerPressed(at(from));
        view.pointerMoved(at({(from.x + to.x) / 2, (from.y + to.y) / 2}));
        view.pointerReleased(at(to));
    }
    // Presses a handle (found by kind in the view) and drags it to a page point.
    void dragHandle(MarqenHandleKind kind, CGPoint to, MarqenModifierFlags modifiers = 0) {
        auto handles = view.handles();
        if (auto rotation = view.rotationHandle()) handles.push_back(*rotation);
        for (const auto &handle : handles) {
            if (handle.kind != kind) continue;
            view.pointerPressed({{CGRectGetMidX(handle.viewRect), CGRectGetMidY(handle.viewRect)}});
            EXPECT_TRUE(view.handles().empty());
            MarqenPointerEvent event = at(to);
            event.modifiers = modifiers;
            view.pointerMoved(event);
            view.pointerReleased(event);
            return;
        }
        ADD_FAILURE() << "no handle of that kind";
    }
    void expectUndoRedo(const std::string &name, const std::string &before) {
        EXPECT_EQ(undo->undoActionName(), name);
        std::string after = json();
        view.undo();
        document->waitForOperationsToFinish();
        EXPECT_EQ(json(), before);
        view.redo();
        document->waitForOperationsToFinish();
        EXPECT_EQ(json(), after);
    }

    std::shared_ptr<MarqenDOMDocument> document = MarqenDOMDocument::createWithSize({800, 600}, 1);
    std::shared_ptr<UndoManager> undo = std::make_shared<UndoManager>();
    MarqenToolsModel tools;
    MarqenPreferences preferences{std::make_shared<MarqenMemoryPreferencesStore>()};
    MarqenDocumentView view{document, &tools, &preferences};
    std::string start;
};

}  // namespace

TEST_F(HandlesAndInsertTest, RotationHandleTurnsARectangleAboutItsCentreInOneStep) {
    tools.chooseTool(MarqenTool(MarqenToolIDRectangle));
    drag({100, 100}, {300, 200});
    auto rectangle = std::dynamic_pointer_cast<MarqenDOMRectangle>(document->annotationLayer()->childAtIndex(0));
    ASSERT_TRUE(rectangle);
    std::string drawn = json();
    // The handle sits 24 view pixels above the top edge's middle: (200, 76) at zoom 1.
    ASSERT_TRUE(view.rotationHandle());
    MarqenHandle rotation = *view.rotationHandle();
    EXPECT_EQ(rotation.kind, MarqenHandleKind::Rotation);
    EXPECT_DOUBLE_EQ(CGRectGetMidX(rotation.viewRect), 200);
    EXPECT_DOUBLE_EQ(CGRectGetMidY(rotation.viewRect), 76);
    // From straight above the centre (200, 150) to straight right of it: a quarter turn, which takes the
    // first corner (100, 100) to (250, 50).
    dragHandle(MarqenHandleKind::Rotation, {260, 150});
    EXPECT_NEAR(rectangle->topLeft().x, 250, 1e-9);
    EXPECT_NEAR(rectangle->topLeft().y, 50, 1e-9);
    CGRect box = rectangle->bezierPath()->bounds();
    EXPECT_NEAR(box.size.width, 100, 1e-9);
    EXPECT_NEAR(box.size.height, 200, 1e-9);
    EXPECT_EQ(undo->undoCount(), 2u);
    expectUndoRedo("Rotate", drawn);

    // Shift snaps to 15° steps: from straight above the centre to 40° below its right, 130°, gives 135°.
    std::string turned = json();
    CGPoint center{200, 150};
    auto cornerAngle = [&] {
        CGPoint corner = rectangle->topLeft();
        return std::atan2(corner.y - center.y, corner.x - center.x) * 180 / M_PI;
    };
    double before = cornerAngle();
    CGFloat angle = 40 * M_PI / 180;
    dragHandle(MarqenHandleKind::Rotation, {center.x + 80 * std::cos(angle), center.y + 80 * std::sin(angle)},
               MarqenModifierShift);
    EXPECT_NEAR(std::remainder(cornerAngle() - before - 135, 360), 0, 1e-6);
    expectUndoRedo("Rotate", turned);
}

TEST_F(HandlesAndInsertTest, StampsGetTheirLabelAndATailFromTheirHandle) {
    tools.chooseTool(MarqenTool(MarqenToolIDStamp, "com.brondale.marqen.perfect"));
    click({300, 300});
    auto stamp = std::dynamic_pointer_cast<MarqenDOMStamp>(view.selectedElements().at(0));
    ASSERT_TRUE(stamp);
    auto label = std::dynamic_pointer_cast<MarqenDOMText>(stamp->labelNode());
    ASSERT_TRUE(label);
    EXPECT_EQ(label->text(), "Perfect");
    EXPECT_FALSE(stamp->tailAngleInDegrees());
    EXPECT_EQ(undo->undoCount(), 1u);
    EXPECT_EQ(undo->undoActionName(), "Add Stamp");
    std::string placed = json();

    auto handles = view.handles();
    ASSERT_EQ(handles.size(), 1u);
    EXPECT_EQ(handles[0].kind, MarqenHandleKind::StampTail);
    EXPECT_DOUBLE_EQ(CGRectGetMidX(handles[0].viewRect), 350);  // the badge's right edge
    dragHandle(MarqenHandleKind::StampTail, {300, 380});        // straight down the page: 90°
    ASSERT_TRUE(stamp->tailAngleInDegrees());
    EXPECT_EQ(*stamp->tailAngleInDegrees(), 90);
    expectUndoRedo("Stamp Tail", placed);

    // Moving the stamp takes its label along, and selecting all does not pick the label on its own.
    CGPoint labelBefore = label->origin();
    tools.chooseTool(MarqenTool(MarqenToolIDArrow));
    view.keyPressed({"Escape"});
    view.keyPressed({"a", MarqenModifierControl});
    ASSERT_EQ(view.selectedElements().size(), 1u);
    view.keyPressed({"Right", MarqenModifierShift});
    EXPECT_DOUBLE_EQ(label->origin().x, labelBefore.x + 10);
    EXPECT_EQ(undo->undoActionName(), "Nudge");
    // Deleting it removes the label too, and undo brings both back linked.
    std::string nudged = json();
    view.keyPressed({"Delete"});
    EXPECT_TRUE(document->textLayer()->children().empty());
    view.undo();
    EXPECT_EQ(json(), nudged);
    EXPECT_EQ(stamp->labelNode(), label);
}

TEST_F(HandlesAndInsertTest, StampAndLabelPasteIntoAnotherPageLinked) {
    tools.chooseTool(MarqenTool(MarqenToolIDStamp, "com.brondale.marqen.approved"));
    click({300, 300});
    std::string payload = view.copySelection();

    auto other = MarqenDOMDocument::createWithSize({800, 600}, 1);
    auto otherUndo = std::make_shared<UndoManager>();
    other->setUndoManager(otherUndo);
    MarqenDocumentView target(other, &tools, &preferences);
    std::string empty = other->dictionaryRepresentation().dump();
    ASSERT_TRUE(target.paste(payload));
    ASSERT_EQ(other->textLayer()->children().size(), 2u);
    ASSERT_EQ(target.selectedElements().size(), 1u);  // the stamp; its label comes with it
    auto stamp = std::dynamic_pointer_cast<MarqenDOMStamp>(target.selectedElements()[0]);
    ASSERT_TRUE(stamp);
    auto label = std::dynamic_pointer_cast<MarqenDOMText>(stamp->labelNode());
    ASSERT_TRUE(label);
    EXPECT_EQ(label->labelParentNode(), stamp);
    EXPECT_EQ(label->text(), "Approved");
    std::string pasted = other->dictionaryRepresentation().dump();
    target.undo();
    EXPECT_EQ(other->dictionaryRepresentation().dump(), empty);
    target.redo();
    EXPECT_EQ(other->dictionaryRepresentation().dump(), pasted);
    EXPECT_EQ(stamp->labelNode(), label);

    // A payload with a label whose element is missing pastes nothing of it.
    MarqenJSON broken = MarqenJSON::parse(payload);
    broken["nodes"].erase(broken["nodes"].size() - 1);  // the stamp is the last node
    MarqenError error;
    EXPECT_FALSE(target.paste(broken.dump(), &error));
}

TEST_F(HandlesAndInsertTest, WrapWidthHandleOfAParagraph) {
    tools.chooseTool(MarqenTool(MarqenToolIDText));
    view.setTextBlockStyle(MarqenDOMTextBlockStyleParagraph);
    click({100, 100});
    view.insertText("one two three four five six seven");
    view.keyPressed({"Escape"});
    auto text = std::dynamic_pointer_cast<MarqenDOMText>(view.selectedElements().at(0));
    ASSERT_TRUE(text);
    std::string typed = json();
    auto handles = view.handles();
    ASSERT_EQ(handles.size(), 1u);
    EXPECT_EQ(handles[0].kind, MarqenHandleKind::WrapWidth);
    dragHandle(MarqenHandleKind::WrapWidth, {220, 110});
    EXPECT_NEAR(text->wrapWidth(), 220 - text->textBounds().origin.x, 1e-9);
    expectUndoRedo("Wrap Width", typed);
    // Never narrower than 20 units.
    dragHandle(MarqenHandleKind::WrapWidth, {-500, 110});
    EXPECT_DOUBLE_EQ(text->wrapWidth(), 20);
}

TEST_F(HandlesAndInsertTest, PastedPictureIsASelectableBitmapWithResizeHandles) {
    view.setViewportSize({400, 300});  // the picture lands in the middle of the visible area
    ASSERT_TRUE(view.pasteImage(solidImage(100, 60, 0xFF00FF00)));
    auto bitmap = std::dynamic_pointer_cast<MarqenDOMBitmap>(view.selectedElements().at(0));
    ASSERT_TRUE(bitmap);
    EXPECT_EQ(bitmap->parent(), document->annotationLayer());
    EXPECT_EQ(bitmap->frame(), CGRectMake(150, 120, 100, 60));
    EXPECT_EQ(undo->undoActionName(), "Paste");
    EXPECT_EQ(view.handles().size(), 8u);
    EXPECT_TRUE(view.rotationHandle());
    std::string pasted = json();
    dragHandle(MarqenHandleKind::BottomRight, {300, 210});
    EXPECT_EQ(bitmap->frame(), CGRectMake(150, 120, 150, 90));
    expectUndoRedo("Resize", pasted);
    // Moved by dragging its middle, as one step.
    std::string resized = json();
    drag({200, 150}, {220, 170});
    EXPECT_EQ(bitmap->frame(), CGRectMake(170, 140, 150, 90));
    expectUndoRedo("Move", resized);
    MarqenError error;
    EXPECT_FALSE(view.pasteImage(nullptr, &error));
}

TEST_F(HandlesAndInsertTest, PastedTextAndDroppedImagesLandInsideThePage) {
    ASSERT_TRUE(view.pasteText("Hello there"));
    auto text = std::dynamic_pointer_cast<MarqenDOMText>(view.selectedElements().at(0));
    ASSERT_TRUE(text);
    EXPECT_EQ(text->text(), "Hello there");
    CGRect bounds = text->contentBounds();
    EXPECT_NEAR(CGRectGetMidX(bounds), 400, 1);  // the page's middle, while the view's size is unknown
    EXPECT_NEAR(CGRectGetMidY(bounds), 300, 1);
    EXPECT_EQ(undo->undoActionName(), "Paste");
    expectUndoRedo("Paste", start);
    MarqenError error;
    EXPECT_FALSE(view.pasteText("", &error));
    EXPECT_FALSE(view.pasteText(std::string(2 << 20, 'x'), &error));

    TempDir directory;
    // Larger than the page: scaled down to fit, and moved inside although dropped at the corner.
    ASSERT_TRUE(MarqenImageWriteToFile(*solidImage(1600, 600, 0xFF0000FF), directory / "wide.png", MarqenImageFormat::PNG));
    std::string before = json();
    ASSERT_TRUE(view.dropImageFile(directory / "wide.png", view.viewPointForModelPoint({790, 590})));
    auto bitmap = std::dynamic_pointer_cast<MarqenDOMBitmap>(view.selectedElements().at(0));
    ASSERT_TRUE(bitmap);
    EXPECT_EQ(bitmap->frame(), CGRectMake(0, 300, 800, 300));
    EXPECT_EQ(undo->undoActionName(), "Drop");
    expectUndoRedo("Drop", before);

    // What is not an image file is refused and changes nothing.
    test::writeFile(directory / "notes.txt", "not a picture");
    std::string dropped = json();
    EXPECT_FALSE(view.dropImageFile(directory / "notes.txt", {10, 10}, &error));
    EXPECT_FALSE(view.dropImageFile(directory / "missing.png", {10, 10}, &error));
    EXPECT_FALSE(view.dropImageFile(directory.path(), {10, 10}, &error));
    EXPECT_FALSE(view.dropImageFile(directory / "wide.png", {NAN, 10}, &error));
    EXPECT_EQ(json(), dropped);
}

TEST_F(HandlesAndInsertTest, BitmapRotationHandleTurnsThePixelsOnceAtTheEnd) {
    TempDir directory;
    auto coordinator = MarqenDirectoryResourceCoordinator::create(directory.path());
    document->setResourceCoordinator(coordinator);
    ASSERT_TRUE(view.pasteImage(solidImage(100, 50, 0xFFFF0000)));
    auto bitmap = std::dynamic_pointer_cast<MarqenDOMBitmap>(view.selectedElements().at(0));
    ASSERT_TRUE(bitmap);
    std::string pasted = json();
    std::string uri = bitmap->uri();
    dragHandle(MarqenHandleKind::Rotation, {500, 300});  // from above the centre (400, 300) to its right
    document->waitForOperationsToFinish();
    EXPECT_NE(bitmap->uri(), uri);
    EXPECT_TRUE(CGAffineTransformIsIdentity(bitmap->transform()));
    EXPECT_NEAR(bitmap->frame().size.width, 50, 1);
    EXPECT_NEAR(bitmap->frame().size.height, 100, 1);
    ASSERT_TRUE(bitmap->image());
    EXPECT_EQ(bitmap->image()->height(), 100);
    expectUndoRedo("Rotate", pasted);
    view.undo();
    document->waitForOperationsToFinish();
    ASSERT_TRUE(bitmap->image());
    EXPECT_EQ(bitmap->image()->width(), 100);  // the pixels before the turn came back
}
