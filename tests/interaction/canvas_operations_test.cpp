#include <gtest/gtest.h>

#include <cmath>

#include "dom/bitmap.h"
#include "dom/line.h"
#include "editing/analytics.h"
#include "foundation/notification_center.h"
#include "foundation/resource_budget.h"
#include "formats/directory_resource_coordinator.h"
#include "interaction/page_view.h"
#include "support/test_support.h"

using namespace marqen;
using marqen::test::TempDir;

namespace {

// Every pixel of the picture is different: red counts columns, green counts rows.
uint32_t gradientPixel(int x, int y) { return 0xFF000080u | (uint32_t(x * 6) << 16) | (uint32_t(y * 8) << 8); }

MarqenImageRef gradientImage(int width, int height) {
    auto image = MarqenImage::create(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image->setPixelAt(x, y, gradientPixel(x, y));
    return image;
}

// A 40 × 30 page over a gradient picture, with a line, a directory for the pictures' resources, and undo.
class CanvasOperationsTest : public testing::Test, public test::PageView {
protected:
    CanvasOperationsTest() : PageView({40, 30}) {}
    void SetUp() override {
        coordinator = MarqenDirectoryResourceCoordinator::create(directory.path());
        document->setResourceCoordinator(coordinator);
        document->addBackgroundImage(gradientImage(40, 30), 0, MarqenJSON::object());
        line = MarqenDOMLine::create();
        document->addNode(line);
        line->beginAtPoint({5, 5});
        line->endAtPoint({15, 5}, {0, 0}, 0);
        document->waitForOperationsToFinish();
        undo->removeAllActions();
        start = json();
    }
    void TearDown() override { document->waitForOperationsToFinish(); }
    std::shared_ptr<MarqenDOMBitmap> background() const { return document->backgroundLayer()->primaryBitmap(); }

    TempDir directory;
    std::shared_ptr<MarqenDirectoryResourceCoordinator> coordinator;
    std::shared_ptr<MarqenDOMLine> line;
};

}  // namespace

TEST_F(CanvasOperationsTest, PixelateReplacesThePixelsUnderTheDraggedRectangleForGood) {
    std::vector<std::string> analytics;
    auto token = NotificationCenter::defaultCenter().addObserver(
        kMarqenAnalyticsInterestingEventDidOccur, nullptr, [&](const Notification &notification) {
            if (auto label = notification.value<std::string>(kMarqenAnalyticsLabelKey)) analytics.push_back(*label);
        });
    std::string originalUri = background()->uri();
    tools.setAllowPixelateTool(true);
    tool(MarqenToolIDPixelate);
    drag({2, 3}, {13, 11});  // over the line too: the line is not a picture and stays
    EXPECT_FALSE(view.pendingRect());
    document->waitForOperationsToFinish();

    auto bitmap = background();
    ASSERT_TRUE(bitmap && bitmap->image());
    EXPECT_NE(bitmap->uri(), originalUri);
    for (const auto &uri : document->resourceURIs()) EXPECT_NE(uri, originalUri);
    const MarqenImage &image = *bitmap->image();
    // Blocks of 4 pixels from the rectangle's corner (2, 3): the first covers x 2…5, y 3…6 and holds the
    // average of those sixteen gradient pixels: red 6·3.5 = 21, green 8·4.5 = 36.
    for (int y = 3; y <= 6; ++y)
        for (int x = 2; x <= 5; ++x) EXPECT_EQ(image.pixelAt(x, y), 0xFF152480u) << x << "," << y;
    // The last column of blocks is cut at the rectangle's edge x = 13: x 10…12, red 6·11 = 66.
    EXPECT_EQ(image.pixelAt(12, 3), 0xFF422480u);
    // Outside the rectangle nothing changed.
    EXPECT_EQ(image.pixelAt(13, 3), gradientPixel(13, 3));
    EXPECT_EQ(image.pixelAt(1, 3), gradientPixel(1, 3));
    EXPECT_EQ(image.pixelAt(2, 11), gradientPixel(2, 11));
    // No pixel in the rectangle keeps its original value.
    for (int y = 3; y < 11; ++y)
        for (int x = 2; x < 13; ++x)
            if (image.pixelAt(x, y) == gradientPixel(x, y)) ADD_FAILURE() << "kept " << x << "," << y;
    EXPECT_EQ(line->startPoint(), (CGPoint{5, 5}));
    EXPECT_EQ(analytics, (std::vector<std::string>{"pixel"}));
    expectLastStep("Pixelate", start);
    view.undo();
    document->waitForOperationsToFinish();
    EXPECT_EQ(background()->uri(), originalUri);
    ASSERT_TRUE(background()->image());
    EXPECT_EQ(background()->image()->pixelAt(3, 4), gradientPixel(3, 4));
}

TEST_F(CanvasOperationsTest, PixelateNeedsAPictureAndAResourceCoordinator) {
    MarqenError error;
    EXPECT_FALSE(view.pixelateRect(CGRectMake(100, 100, 10, 10), &error));  // off the page
    EXPECT_FALSE(view.pixelateRect(CGRectMake(NAN, 0, 10, 10), &error));
    document->setResourceCoordinator(nullptr);
    EXPECT_FALSE(view.pixelateRect(CGRectMake(0, 0, 10, 10), &error));
    EXPECT_EQ(error.domain, kMarqenDocumentViewErrorDomain);
    EXPECT_EQ(json(), start);
    EXPECT_EQ(undo->undoCount(), 0u);
}

TEST_F(CanvasOperationsTest, RotateCanvasTurnsPageAndEverythingOnItClockwise) {
    ASSERT_TRUE(view.rotateCanvas(true));
    document->waitForOperationsToFinish();
    EXPECT_EQ(document->frame(), CGRectMake(0, 0, 30, 40));
    // The centre (20, 15) turns a quarter clockwise as seen, then the frame goes back to the origin:
    // (5, 5) → (25, 5), (15, 5) → (25, 15).
    EXPECT_NEAR(line->startPoint().x, 25, 1e-9);
    EXPECT_NEAR(line->startPoint().y, 5, 1e-9);
    EXPECT_NEAR(line->endPoint().x, 25, 1e-9);
    EXPECT_NEAR(line->endPoint().y, 15, 1e-9);
    auto bitmap = background();
    ASSERT_TRUE(bitmap && bitmap->image());
    EXPECT_EQ(bitmap->frame(), CGRectMake(0, 0, 30, 40));
    // The picture's top left corner is now at its top right.
    ASSERT_EQ(bitmap->image()->width(), 30);
    EXPECT_EQ(bitmap->image()->pixelAt(29, 0), gradientPixel(0, 0));
    EXPECT_EQ(bitmap->image()->pixelAt(0, 0), gradientPixel(0, 29));
    expectLastStep("Rotate Canvas", start);

    // Four turns anticlockwise after the one clockwise bring the page back where it was turned to.
    std::string once = json();
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(view.rotateCanvas(false));
    document->waitForOperationsToFinish();
    EXPECT_EQ(document->frame(), CGRectMake(0, 0, 30, 40));
    EXPECT_NEAR(line->startPoint().x, 25, 1e-9);
    EXPECT_NEAR(line->startPoint().y, 5, 1e-9);
    EXPECT_EQ(undo->undoActionName(), "Rotate Canvas");
    for (int i = 0; i < 4; ++i) view.undo();
    document->waitForOperationsToFinish();
    EXPECT_EQ(json(), once);
}

TEST_F(CanvasOperationsTest, CropByDragAndReturnKeepsThePartChosen) {
    tools.setAllowCropAndResizeTools(true);
    tool(MarqenToolIDCrop);
    drag({30.4, 25}, {10, 4.6});  // any corner first; whole units are kept
    ASSERT_TRUE(view.pendingRect());
    EXPECT_EQ(json(), start);  // nothing yet: Return applies it
    EXPECT_TRUE(view.keyPressed({"Return"}));
    EXPECT_FALSE(view.pendingRect());
    EXPECT_EQ(document->frame(), CGRectMake(0, 0, 21, 21));  // x 10…31 and y 4…25 as whole units
    EXPECT_EQ(line->startPoint(), (CGPoint{-5, 1}));
    EXPECT_EQ(background()->frame(), CGRectMake(-10, -4, 40, 30));
    expectLastStep("Crop", start);

    // Escape drops a chosen rectangle; a crop under 10 × 10 is refused.
    drag({0, 0}, {15, 15});
    EXPECT_TRUE(view.keyPressed({"Escape"}));
    EXPECT_FALSE(view.pendingRect());
    std::string cropped = json();
    MarqenError error;
    EXPECT_FALSE(view.cropToRect(CGRectMake(0, 0, 9, 30), &error));
    EXPECT_FALSE(view.cropToRect(CGRectMake(0, 0, INFINITY, 30), &error));
    EXPECT_EQ(json(), cropped);
}

TEST_F(CanvasOperationsTest, ResizeCanvasScalesEverythingWithinTheLimits) {
    ASSERT_TRUE(view.resizeCanvas(0.5));
    document->waitForOperationsToFinish();
    EXPECT_EQ(document->frame(), CGRectMake(0, 0, 20, 15));
    EXPECT_NEAR(line->startPoint().x, 2.5, 1e-9);
    EXPECT_NEAR(line->endPoint().x, 7.5, 1e-9);
    EXPECT_EQ(background()->frame(), CGRectMake(0, 0, 20, 15));
    ASSERT_TRUE(background()->image());
    EXPECT_EQ(background()->image()->width(), 20);
    expectLastStep("Resize Canvas", start);

    MarqenError error;
    std::string before = json();
    EXPECT_FALSE(view.resizeCanvas(0.3, &error));   // 6 × 5 (after the first resize: 20 × 15 → 6 × 4.5)
    EXPECT_FALSE(view.resizeCanvas(5000, &error));  // 100000 units wide
    EXPECT_FALSE(view.resizeCanvas(0, &error));
    EXPECT_FALSE(view.resizeCanvas(NAN, &error));
    EXPECT_EQ(json(), before);
}

// Enlarging resamples the pictures: the result must fit the decoded pixels budget, checked before any work.
TEST_F(CanvasOperationsTest, ResizeCanvasKeepsThePicturesWithinTheDecodedPixelsBudget) {
    // The 40 x 30 picture may double its sides, no more.
    marqen::test::DecodedPixelsBudgetInForce budget(40 * 30 * 4);
    MarqenError error;
    const std::string before = json();
    EXPECT_FALSE(view.resizeCanvas(2.5, &error));
    EXPECT_EQ(error.localizedDescription(),
              "the resized pictures' 7500 pixels exceeds the decoded pixels per document budget (4800)");
    EXPECT_EQ(json(), before);
    EXPECT_TRUE(view.resizeCanvas(2, &error));
    document->waitForOperationsToFinish();
    EXPECT_EQ(background()->image()->width(), 80);
}
