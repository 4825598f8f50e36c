#include <gtest/gtest.h>

#include <cmath>

#include "dom/bitmap.h"
#include "dom/rectangle.h"
#include "dom/stamp.h"
#include "dom/text.h"
#include "formats/directory_resource_coordinator.h"
#include "interaction/clipboard_payload.h"
#include "interaction/page_view.h"
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

class HandlesAndInsertTest : public test::PageViewTest {
protected:
    // Presses a handle (found by kind in the view) and drags it to a page point.
    void dragHandle(MarqenHandleKind kind, CGPoint to, MarqenModifierFlags modifiers = 0) {
        auto handles = view.handles();
        if (auto rotation = view.rotationHandle()) handles.push_back(*rotation);
        for (const auto &handle : handles) {
            if (handle.kind != kind) continue;
            view.pointerPressed({{CGRectGetMidX(handle.viewRect), CGRectGetMidY(handle.viewRect)}});
            EXPECT_TRUE(view.handles().empty());
            view.pointerMoved(at(to, modifiers));
            view.pointerReleased(at(to, modifiers));
            return;
        }
        ADD_FAILURE() << "no handle of that kind";
    }
};

}  // namespace

TEST_F(HandlesAndInsertTest, RotationHandleTurnsARectangleAboutItsCentreInOneStep) {
    tool(MarqenToolIDRectangle);
    drag({100, 100}, {300, 200});
    auto rectangle = annotation<MarqenDOMRectangle>(0);
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
    expectLastStep("Rotate", drawn);

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
    expectLastStep("Rotate", turned);
}

TEST_F(HandlesAndInsertTest, StampsGetTheirLabelAndATailFromTheirHandle) {
    tools.chooseTool(MarqenTool(MarqenToolIDStamp, "com.brondale.marqen.perfect"));
    click({300, 300});
    auto stamp = selected<MarqenDOMStamp>(0);
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
    expectLastStep("Stamp Tail", placed);

    // Moving the stamp takes its label along, and selecting all does not pick the label on its own.
    CGPoint labelBefore = label->origin();
    tool(MarqenToolIDArrow);
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

    test::PageView other;
    ASSERT_TRUE(other.view.paste(payload));
    ASSERT_EQ(other.document->textLayer()->children().size(), 2u);
    ASSERT_EQ(other.view.selectedElements().size(), 1u);  // the stamp; its label comes with it
    auto stamp = other.selected<MarqenDOMStamp>();
    ASSERT_TRUE(stamp);
    auto label = std::dynamic_pointer_cast<MarqenDOMText>(stamp->labelNode());
    ASSERT_TRUE(label);
    EXPECT_EQ(label->labelParentNode(), stamp);
    EXPECT_EQ(label->text(), "Approved");
    other.expectLastStep("Paste", other.start);
    EXPECT_EQ(stamp->labelNode(), label);

    // A payload with a label whose element is missing pastes nothing of it.
    MarqenJSON broken = MarqenJSON::parse(payload);
    broken["nodes"].erase(broken["nodes"].size() - 1);  // the stamp is the last node
    MarqenError error;
    EXPECT_FALSE(other.view.paste(broken.dump(), &error));
}

TEST_F(HandlesAndInsertTest, WrapWidthHandleOfAParagraph) {
    tool(MarqenToolIDText);
    view.setTextBlockStyle(MarqenDOMTextBlockStyleParagraph);
    click({100, 100});
    view.insertText("one two three four five six seven");
    view.keyPressed({"Escape"});
    auto text = selected<MarqenDOMText>(0);
    ASSERT_TRUE(text);
    std::string typed = json();
    auto handles = view.handles();
    ASSERT_EQ(handles.size(), 1u);
    EXPECT_EQ(handles[0].kind, MarqenHandleKind::WrapWidth);
    dragHandle(MarqenHandleKind::WrapWidth, {220, 110});
    EXPECT_NEAR(text->wrapWidth(), 220 - text->textBounds().origin.x, 1e-9);
    expectLastStep("Wrap Width", typed);
    // Never narrower than 20 units.
    dragHandle(MarqenHandleKind::WrapWidth, {-500, 110});
    EXPECT_DOUBLE_EQ(text->wrapWidth(), 20);
}

TEST_F(HandlesAndInsertTest, PastedPictureIsASelectableBitmapWithResizeHandles) {
    view.setViewportSize({400, 300});  // the picture lands in the middle of the visible area
    ASSERT_TRUE(view.pasteImage(solidImage(100, 60, 0xFF00FF00)));
    auto bitmap = selected<MarqenDOMBitmap>(0);
    ASSERT_TRUE(bitmap);
    EXPECT_EQ(bitmap->parent(), document->annotationLayer());
    EXPECT_EQ(bitmap->frame(), CGRectMake(150, 120, 100, 60));
    EXPECT_EQ(undo->undoActionName(), "Paste");
    EXPECT_EQ(view.handles().size(), 8u);
    EXPECT_TRUE(view.rotationHandle());
    std::string pasted = json();
    dragHandle(MarqenHandleKind::BottomRight, {300, 210});
    EXPECT_EQ(bitmap->frame(), CGRectMake(150, 120, 150, 90));
    expectLastStep("Resize", pasted);
    // Moved by dragging its middle, as one step.
    std::string resized = json();
    drag({200, 150}, {220, 170});
    EXPECT_EQ(bitmap->frame(), CGRectMake(170, 140, 150, 90));
    expectLastStep("Move", resized);
    MarqenError error;
    EXPECT_FALSE(view.pasteImage(nullptr, &error));
}

TEST_F(HandlesAndInsertTest, PastedTextAndDroppedImagesLandInsideThePage) {
    ASSERT_TRUE(view.pasteText("Hello there"));
    auto text = selected<MarqenDOMText>(0);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->text(), "Hello there");
    CGRect bounds = text->contentBounds();
    EXPECT_NEAR(CGRectGetMidX(bounds), 400, 1);  // the page's middle, while the view's size is unknown
    EXPECT_NEAR(CGRectGetMidY(bounds), 300, 1);
    expectLastStep("Paste", start);
    MarqenError error;
    EXPECT_FALSE(view.pasteText("", &error));
    EXPECT_FALSE(view.pasteText(std::string(2 << 20, 'x'), &error));

    TempDir directory;
    // Larger than the page: scaled down to fit, and moved inside although dropped at the corner.
    ASSERT_TRUE(MarqenImageWriteToFile(*solidImage(1600, 600, 0xFF0000FF), directory / "wide.png", MarqenImageFormat::PNG));
    std::string before = json();
    ASSERT_TRUE(view.dropImageFile(directory / "wide.png", view.viewPointForModelPoint({790, 590})));
    auto bitmap = selected<MarqenDOMBitmap>(0);
    ASSERT_TRUE(bitmap);
    EXPECT_EQ(bitmap->frame(), CGRectMake(0, 300, 800, 300));
    expectLastStep("Drop", before);

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
    auto bitmap = selected<MarqenDOMBitmap>(0);
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
    expectLastStep("Rotate", pasted);
    view.undo();
    document->waitForOperationsToFinish();
    ASSERT_TRUE(bitmap->image());
    EXPECT_EQ(bitmap->image()->width(), 100);  // the pixels before the turn came back
}
