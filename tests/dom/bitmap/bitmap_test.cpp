#include <gtest/gtest.h>

#include <filesystem>

#include "bitmap_test_support.h"
#include "foundation/undo_manager.h"

using namespace marqen;
using marqen::test::fillPixels;
using marqen::test::LogCapture;
using marqen::test::solidImage;
using BitmapFixture = marqen::test::BitmapDocument;

namespace {

std::string uuidOf(const std::string &uri) { return marqen::test::resourceFileName(uri); }

}  // namespace

TEST(MarqenDOMBitmapJSON, KeysDefaultsAndLowerCaseURI) {
    auto bitmap = MarqenDOMBitmap::fromDictionary({{"type", "Bitmap"},
                                                   {"frame", {{"x", 0}, {"y", 0}, {"width", 40}, {"height", 30}}},
                                                   {"uri", "MARQEN+UUID:///ABCDEF01-2345-6789-ABCD-EF0123456789"},
                                                   {"imageProfile", 1},
                                                   {"cropRect", {{"x", 0}, {"y", 0}, {"width", 0}, {"height", 0}}}});
    EXPECT_EQ(bitmap->uri(), "marqen+uuid:///abcdef01-2345-6789-abcd-ef0123456789");
    EXPECT_EQ(bitmap->imageProfile(), 1u);
    EXPECT_TRUE(bitmap->hasImageProfile());
    MarqenJSON written = bitmap->dictionaryRepresentation();
    EXPECT_FALSE(written.contains("cropRect"));
    EXPECT_FALSE(written.contains("contentMode"));
    EXPECT_EQ(written["uri"], "marqen+uuid:///abcdef01-2345-6789-abcd-ef0123456789");
    EXPECT_EQ(written["imageProfile"], 1);
    EXPECT_EQ(written["frame"]["height"], 30);

    auto fresh = MarqenDOMBitmap::create();
    EXPECT_EQ(fresh->uri().rfind(MarqenDOMBitmapURIPrefix, 0), 0u);
    EXPECT_EQ(fresh->uri(), "marqen+uuid:///" + uuidOf(fresh->uri()));
    EXPECT_NE(fresh->uri(), MarqenDOMBitmap::create()->uri());
    MarqenJSON freshWritten = fresh->dictionaryRepresentation();
    EXPECT_EQ(freshWritten["imageProfile"], 0);
    EXPECT_FALSE(freshWritten.contains("frame"));

    for (const char *type : {"Bitmap", "com.brondale.marqen.element.type.bitmap"})
        EXPECT_EQ(MarqenDOMNode::nodeWithDictionary({{"type", type}})->className(), "MarqenDOMBitmap");
}

TEST(MarqenDOMBitmapLoading, SettingTheSameURITwiceLoadsOnceWithOneUndoStep) {
    BitmapFixture fixture;
    std::string uri = fixture.storeFile(solidImage(4, 3, 0xFF336699));
    auto bitmap = MarqenDOMBitmap::create();
    fixture.add(bitmap);
    fixture.document->undoManager()->removeAllActions();
    int before = fixture.coordinator->loads();
    bitmap->setUri(uri);
    bitmap->setUri(uri);
    EXPECT_EQ(fixture.coordinator->loads(), before + 1);
    EXPECT_EQ(fixture.document->undoManager()->undoCount(), 1u);
    EXPECT_EQ(bitmap->image(), nullptr);  // the pixels are still on their way
    fixture.document->waitForOperationsToFinish();
    EXPECT_EQ(fixture.coordinator->loads(), before + 1);
    ASSERT_NE(bitmap->image(), nullptr);
    EXPECT_EQ(bitmap->image()->width(), 4);
    EXPECT_EQ(bitmap->image()->pixelAt(1, 1), 0xFF336699u);
    EXPECT_EQ(bitmap->displayImage(), bitmap->image());
    EXPECT_EQ(bitmap->imageProperties()["PixelWidth"], 4);
}

TEST(MarqenDOMBitmapLoading, FailuresAreLoggedAndLeaveNoImage) {
    BitmapFixture fixture;
    LogCapture log;
    auto bitmap = MarqenDOMBitmap::create();
    fixture.add(bitmap);
    std::string missing = "marqen+uuid:///00000000-0000-4000-8000-000000000001";
    bitmap->setUri(missing);
    fixture.document->waitForOperationsToFinish();
    EXPECT_EQ(bitmap->image(), nullptr);
    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(log.lines().back(), "ERROR: Unable to load resource with URI " + missing + " from URL " + missing +
                                      " : MarqenDOMDocumentResourceCoordinatorErrorDomain (3): No resource file for " +
                                      missing);

    std::string broken = "marqen+uuid:///00000000-0000-4000-8000-000000000002";
    test::writeFile(fixture.directory / uuidOf(broken), "\x89PNG\r\n\x1a\n truncated");
    bitmap->setUri(broken);
    fixture.document->waitForOperationsToFinish();
    EXPECT_EQ(bitmap->image(), nullptr);
    EXPECT_EQ(log.lines().back(), "ERROR: Unable to load resource with URI " + broken + " from URL file://" +
                                      (fixture.coordinator->files().directory() / uuidOf(broken)).string());
}

TEST(MarqenDOMBitmapLoading, ACoordinatorChangeOfTheOwnDocumentReloads) {
    BitmapFixture fixture;
    std::string uri = fixture.storeFile(solidImage(2, 2, 0xFF000000));
    auto bitmap = MarqenDOMBitmap::create();
    bitmap->setUri(uri);  // no document yet: nothing loads
    EXPECT_EQ(bitmap->image(), nullptr);
    auto other = MarqenDOMDocument::createWithSize({10, 10}, 1);
    other->addNode(bitmap);
    EXPECT_EQ(bitmap->image(), nullptr);
    int before = fixture.coordinator->loads();
    fixture.document->setResourceCoordinator(fixture.coordinator);  // another document: ignored
    EXPECT_EQ(fixture.coordinator->loads(), before);
    other->setResourceCoordinator(fixture.coordinator);
    EXPECT_EQ(fixture.coordinator->loads(), before + 1);
    other->waitForOperationsToFinish();
    EXPECT_NE(bitmap->image(), nullptr);
}

TEST(MarqenDOMBitmapSaving, StoresUnderItsURIAndReportsFailures) {
    BitmapFixture fixture;
    auto bitmap = fixture.document->addBackgroundImage(solidImage(40, 30, 0xFFFF0000), 0, MarqenJSON::object());
    EXPECT_EQ(fixture.document->backgroundLayer()->primaryBitmap(), bitmap);
    EXPECT_EQ(bitmap->frame(), CGRectMake(0, 0, 40, 30));
    EXPECT_TRUE(fixture.document->prepareForSaveSynchronous());
    auto stored = MarqenImageDecodeFile(fixture.directory / uuidOf(bitmap->uri()));
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(stored->pixelAt(39, 29), 0xFFFF0000u);

    auto loose = MarqenDOMBitmap::create();
    fixture.add(loose);  // no image and nothing stored
    MarqenError error;
    ASSERT_FALSE(fixture.document->prepareForSaveSynchronous(&error));
    EXPECT_EQ(error.domain, MarqenDOMDocumentResourceCoordinatorErrorDomain);
    EXPECT_EQ(error.code, MarqenResourceErrorNoImage);
    EXPECT_FALSE(fixture.document->prepareForSaveSynchronous());  // the error out is optional

    auto detached = MarqenDOMBitmap::create();
    EXPECT_TRUE(detached->prepareForSaveSynchronous());  // no coordinator: nothing to do
}

TEST(MarqenDOMBitmapOpacity, NoImageIsNotOpaqueAndANewImageClearsTheCachedAnswer) {
    EXPECT_FALSE(MarqenDOMBitmap::create()->isOpaque());
    auto holed = solidImage(16, 9, 0xFF20A040);
    holed->setPixelAt(7, 4, 0x00000000);
    auto bitmap = MarqenDOMBitmap::create();
    bitmap->setImage(solidImage(16, 9, 0xFF20A040));
    EXPECT_TRUE(bitmap->isOpaque());
    bitmap->setImage(holed);
    EXPECT_FALSE(bitmap->isOpaque());
}

TEST(MarqenDOMBitmapEdits, CropMakesANewResourceAndUndoRestoresTheURI) {
    BitmapFixture fixture;
    auto image = solidImage(40, 30, 0xFF0000FF);
    fillPixels(*image, 10, 10, 30, 20, 0xFFFFFF00);
    auto bitmap = fixture.document->addBackgroundImage(image, 0, MarqenJSON::object());
    ASSERT_TRUE(fixture.document->prepareForSaveSynchronous());
    std::string original = bitmap->uri();
    fixture.document->undoManager()->removeAllActions();

    MarqenError error;
    ASSERT_TRUE(bitmap->replaceImageWithCropRect(CGRectMake(10, 10, 20, 10), &error)) << error.description();
    EXPECT_NE(bitmap->uri(), original);
    EXPECT_TRUE(std::filesystem::exists(fixture.directory / uuidOf(bitmap->uri())));
    EXPECT_TRUE(std::filesystem::exists(fixture.directory / uuidOf(original)));
    ASSERT_EQ(bitmap->image()->width(), 20);
    EXPECT_EQ(bitmap->image()->pixelAt(0, 0), 0xFFFFFF00u);

    fixture.document->undoManager()->undo();
    EXPECT_EQ(bitmap->uri(), original);
    EXPECT_EQ(bitmap->image()->width(), 20);  // until the load of the original arrives
    fixture.document->waitForOperationsToFinish();
    ASSERT_NE(bitmap->image(), nullptr);
    EXPECT_EQ(bitmap->image()->width(), 40);  // reloaded from the original resource
    fixture.document->undoManager()->redo();
    fixture.document->waitForOperationsToFinish();
    EXPECT_EQ(bitmap->image()->width(), 20);
}

TEST(MarqenDOMBitmapEdits, RotateTurnsPixelsFrameAndCrop) {
    BitmapFixture fixture;
    auto image = solidImage(4, 2, 0xFF000000);
    image->setPixelAt(0, 0, 0xFFFF0000);  // top left red
    auto bitmap = fixture.document->addBitmapNode(image, 0, MarqenJSON::object(), CGRectMake(10, 10, 40, 20), false);
    // The crop shows the left quarter of the frame: the image's first column.
    bitmap->setCropRect(CGRectMake(10, 10, 10, 20));
    EXPECT_EQ(bitmap->visiblePixelRect(), CGRectMake(0, 0, 1, 2));
    ASSERT_TRUE(bitmap->rotate90Degrees(true));
    ASSERT_EQ(bitmap->image()->width(), 2);
    ASSERT_EQ(bitmap->image()->height(), 4);
    EXPECT_EQ(bitmap->image()->pixelAt(1, 0), 0xFFFF0000u);  // the top left went to the top right
    EXPECT_EQ(bitmap->frame(), CGRectMake(20, 0, 20, 40));
    EXPECT_EQ(bitmap->cropRect(), CGRectMake(20, 0, 20, 10));  // the first column became the top row
    EXPECT_EQ(bitmap->visiblePixelRect(), CGRectMake(0, 0, 2, 1));
    ASSERT_TRUE(bitmap->rotate90Degrees(false));
    EXPECT_EQ(bitmap->image()->pixelAt(0, 0), 0xFFFF0000u);
    EXPECT_EQ(bitmap->frame(), CGRectMake(10, 10, 40, 20));
    EXPECT_EQ(bitmap->cropRect(), CGRectMake(10, 10, 10, 20));
}

TEST(MarqenDOMBitmapEdits, EditsWithoutACoordinatorFailClearly) {
    auto document = MarqenDOMDocument::createWithSize({10, 10}, 1);
    auto bitmap = document->addBackgroundImage(solidImage(10, 10, 0xFFFFFFFF), 0, MarqenJSON::object());
    std::string uri = bitmap->uri();
    MarqenError error;
    EXPECT_FALSE(bitmap->replaceImageWithCropRect(CGRectMake(0, 0, 5, 5), &error));
    EXPECT_EQ(error.domain, MarqenDOMDocumentResourceCoordinatorErrorDomain);
    EXPECT_EQ(bitmap->uri(), uri);
    EXPECT_EQ(bitmap->image()->width(), 10);
    EXPECT_FALSE(MarqenDOMBitmap::create()->rotate90Degrees(true, &error));
    EXPECT_EQ(error.code, MarqenResourceErrorNoImage);
}

TEST(MarqenDOMBitmapEdits, AdjustmentsMergeIntoThePrimaryBitmap) {
    BitmapFixture fixture;
    auto background = fixture.document->addBackgroundImage(solidImage(40, 30, 0xFF0000FF), 0, MarqenJSON::object());
    // An adjustment of 10 by 10 pixels shown over 20 by 20 units, partly outside the background,
    // transparent in its top half.
    auto patch = solidImage(10, 10, 0xFFFF0000);
    fillPixels(*patch, 0, 0, 10, 5, 0);
    auto adjustment = fixture.document->addAdjustmentImage(patch, CGRectMake(30, 20, 20, 20));
    EXPECT_TRUE(adjustment->isAdjustment());
    EXPECT_EQ(fixture.document->resourceURIs(), std::vector<std::string>{background->uri()});
    std::string before = background->uri();

    fixture.document->applyAdjustments();
    auto layer = fixture.document->backgroundLayer();
    ASSERT_EQ(layer->childCount(), 1u);
    EXPECT_NE(background->uri(), before);
    EXPECT_EQ(background->frame(), CGRectMake(0, 0, 50, 40));
    auto merged = background->image();
    ASSERT_EQ(merged->width(), 50);
    ASSERT_EQ(merged->height(), 40);
    EXPECT_EQ(merged->pixelAt(5, 5), 0xFF0000FFu);     // the background
    EXPECT_EQ(merged->pixelAt(32, 22), 0xFF0000FFu);   // the patch's transparent half over the background
    EXPECT_EQ(merged->pixelAt(32, 37), 0xFFFF0000u);   // its opaque half
    EXPECT_EQ(merged->pixelAt(45, 37), 0xFFFF0000u);   // its opaque half, outside the background
    EXPECT_EQ(merged->pixelAt(45, 22), 0x00000000u);   // its transparent half, outside the background
    EXPECT_EQ(merged->pixelAt(45, 5), 0x00000000u);    // nothing drew there
}

TEST(MarqenDOMBitmapEdits, ResizingTheDocumentResamplesTheBackground) {
    BitmapFixture fixture;
    auto background = fixture.document->addBackgroundImage(solidImage(40, 30, 0xFF808080), 0, MarqenJSON::object());
    std::string before = background->uri();
    fixture.document->resizeToSize({20, 15});
    EXPECT_EQ(fixture.document->frame(), CGRectMake(0, 0, 20, 15));
    EXPECT_EQ(background->frame(), CGRectMake(0, 0, 20, 15));
    ASSERT_EQ(background->image()->width(), 20);
    EXPECT_EQ(background->image()->height(), 15);
    EXPECT_EQ(background->image()->pixelAt(10, 7), 0xFF808080u);  // no colour shift on a flat area
    EXPECT_NE(background->uri(), before);

    fixture.document->resizeToSize({0, 100});  // ignored
    EXPECT_EQ(fixture.document->frame().size, CGSizeMake(20, 15));
}

TEST(MarqenDOMBitmapEdits, AxisAlignedTransformsMoveTheFrameOnly) {
    BitmapFixture fixture;
    auto bitmap = fixture.document->addBitmapNode(solidImage(8, 8, 0xFF00FF00), 0, MarqenJSON::object(),
                                                  CGRectMake(0, 0, 8, 8), false);
    std::string uri = bitmap->uri();
    bitmap->applyTransform(CGAffineTransformMake(2, 0, 0, 2, 5, 5));
    EXPECT_EQ(bitmap->frame(), CGRectMake(5, 5, 16, 16));
    EXPECT_EQ(bitmap->uri(), uri);
    bitmap->translate({1, 2});
    EXPECT_EQ(bitmap->frame(), CGRectMake(6, 7, 16, 16));
    // A mirror resamples into a new resource.
    bitmap->applyTransform(CGAffineTransformMake(-1, 0, 0, 1, 0, 0));
    EXPECT_NE(bitmap->uri(), uri);
    EXPECT_EQ(bitmap->frame(), CGRectMake(-22, 7, 16, 16));
    ASSERT_EQ(bitmap->image()->width(), 8);
    EXPECT_EQ(bitmap->image()->pixelAt(0, 0), 0xFF00FF00u);
    EXPECT_EQ(bitmap->image()->pixelAt(7, 7), 0xFF00FF00u);
    EXPECT_TRUE(bitmap->isOpaque());
}

TEST(MarqenDOMBitmapEdits, TheCropIsPartOfThePageUnderTheFrame) {
    // An 8 by 4 image over 16 by 8 units, left half green, right half red; the crop shows the right half.
    BitmapFixture fixture;
    auto image = solidImage(8, 4, 0xFF00FF00);
    fillPixels(*image, 4, 0, 8, 4, 0xFFFF0000);
    auto bitmap = fixture.document->addBitmapNode(image, 0, MarqenJSON::object(), CGRectMake(0, 0, 16, 8), false);
    bitmap->setCropRect(CGRectMake(8, 0, 8, 8));
    EXPECT_EQ(bitmap->visibleFrame(), CGRectMake(8, 0, 8, 8));
    EXPECT_EQ(bitmap->visiblePixelRect(), CGRectMake(4, 0, 4, 4));

    // Moving and axis-aligned scaling carry the crop along; the pixels stay.
    bitmap->translate({2, 3});
    EXPECT_EQ(bitmap->cropRect(), CGRectMake(10, 3, 8, 8));
    bitmap->applyTransform(CGAffineTransformMake(2, 0, 0, 2, 0, 0));
    EXPECT_EQ(bitmap->frame(), CGRectMake(4, 6, 32, 16));
    EXPECT_EQ(bitmap->cropRect(), CGRectMake(20, 6, 16, 16));
    EXPECT_EQ(bitmap->visiblePixelRect(), CGRectMake(4, 0, 4, 4));

    // A mirror keeps only what showed: four red columns at the frame's density, shown where the
    // crop went, and no crop left.
    bitmap->applyTransform(CGAffineTransformMake(-1, 0, 0, 1, 0, 0));
    EXPECT_EQ(bitmap->cropRect(), CGRectZero);
    EXPECT_EQ(bitmap->frame(), CGRectMake(-36, 6, 16, 16));
    ASSERT_EQ(bitmap->image()->width(), 4);
    ASSERT_EQ(bitmap->image()->height(), 4);
    for (int x = 0; x < 4; ++x) EXPECT_EQ(bitmap->image()->pixelAt(x, 2), 0xFFFF0000u);

    // Each edit undoes in one step: pixels, crop and frame together.
    auto *undo = fixture.document->undoManager();
    undo->removeAllActions();
    bitmap->setCropRect(CGRectMake(-30, 8, 8, 8));
    bitmap->translate({1, 1});
    ASSERT_TRUE(bitmap->rotate90Degrees(true));
    EXPECT_EQ(undo->undoCount(), 3u);
    undo->undo();
    EXPECT_EQ(bitmap->frame(), CGRectMake(-35, 7, 16, 16));
    EXPECT_EQ(bitmap->cropRect(), CGRectMake(-29, 9, 8, 8));
    undo->undo();
    EXPECT_EQ(bitmap->frame(), CGRectMake(-36, 6, 16, 16));
    EXPECT_EQ(bitmap->cropRect(), CGRectMake(-30, 8, 8, 8));

    // A crop that misses the frame is ignored by pixel edits.
    bitmap->setCropRect(CGRectMake(100, 100, 5, 5));
    EXPECT_EQ(bitmap->visibleFrame(), bitmap->frame());
    EXPECT_EQ(bitmap->visiblePixelRect(), CGRectMake(0, 0, 4, 4));
}

TEST(MarqenDOMBitmapEdits, ResizingBakesTheCropIntoThePixels) {
    BitmapFixture fixture;
    auto image = solidImage(40, 30, 0xFF0000FF);
    fillPixels(*image, 0, 0, 20, 30, 0xFFFFFF00);
    auto background = fixture.document->addBackgroundImage(image, 0, MarqenJSON::object());
    background->setCropRect(CGRectMake(20, 0, 20, 30));  // the blue right half
    fixture.document->resizeToSize({20, 15});
    EXPECT_EQ(background->cropRect(), CGRectZero);
    EXPECT_EQ(background->frame(), CGRectMake(10, 0, 10, 15));
    ASSERT_EQ(background->image()->width(), 10);
    ASSERT_EQ(background->image()->height(), 15);
    EXPECT_EQ(background->image()->pixelAt(0, 7), 0xFF0000FFu);
    EXPECT_EQ(background->image()->pixelAt(9, 7), 0xFF0000FFu);
}
