// Bitmaps of one document that show the same file share one decoded image, counted once against the
// decoded-pixels budget, and released with the last bitmap holding it.
#include <gtest/gtest.h>

#include "bitmap_test_support.h"
#include "dom/resource_image_cache.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"

using namespace marqen;
using marqen::test::LogCapture;

namespace {

struct SharedDecodeFixture : ::testing::Test, test::BitmapDocument {
    SharedDecodeFixture() : BitmapDocument({400, 100}) {}
    std::string storeFile(int width, int height, uint32_t argb = 0xFF336699) {
        return BitmapDocument::storeFile(test::solidImage(width, height, argb));
    }

    std::shared_ptr<MarqenDOMBitmap> addBitmap(const std::string &uri) {
        auto bitmap = MarqenDOMBitmap::create();
        bitmap->setURIQuietly(uri);
        bitmap->setFrameQuietly(CGRectMake(0, 0, 100, 100));
        document->addNode(bitmap);
        return bitmap;
    }
    MarqenDOMResourceImageCache &cache() { return *document->resourceImageCache(); }
    // Adds bitmaps for the URIs while the document's queue is held, so that every one of them asks the
    // cache before the first read starts; then lets the queue go and waits for the pixels.
    std::vector<std::shared_ptr<MarqenDOMBitmap>> addBitmapsTogether(const std::vector<std::string> &uris) {
        std::vector<std::shared_ptr<MarqenDOMBitmap>> added;
        document->suspendOperations();
        for (const auto &uri : uris) added.push_back(addBitmap(uri));
        EXPECT_TRUE(MainQueue::shared().drainUntil([&] { return cache().deliveriesWaiting() == uris.size(); }, 10));
        document->resumeOperations();
        document->waitForOperationsToFinish();
        return added;
    }
};

}  // namespace

TEST_F(SharedDecodeFixture, FourBitmapsOverOneFileShareOneDecodeUntilTheLastLetsGo) {
    const std::string uri = storeFile(60, 40);
    // Two ask while the first decode is under way, two after it ended.
    std::vector<std::shared_ptr<MarqenDOMBitmap>> bitmaps = addBitmapsTogether({uri, uri});
    bitmaps.push_back(addBitmap(uri));
    bitmaps.push_back(addBitmap(uri));
    document->waitForOperationsToFinish();

    EXPECT_EQ(coordinator->loads(), 4);
    EXPECT_EQ(cache().decodesStarted(), 1u);
    ASSERT_NE(bitmaps[0]->image(), nullptr);
    for (const auto &bitmap : bitmaps) EXPECT_EQ(bitmap->image(), bitmaps[0]->image());
    EXPECT_EQ(bitmaps[0]->image()->width(), 60);
    EXPECT_EQ(bitmaps[0]->imageProperties().value("PixelHeight", 0), 40);
    EXPECT_EQ(cache().countedPixels(), 2400u);  // once, not four times

    // The pixels stay counted while any bitmap shows them, and go with the last one.
    std::weak_ptr<MarqenImage> decoded = bitmaps[0]->image();
    for (size_t i = 0; i < 3; ++i) bitmaps[i]->removeFromParent();
    document->undoManager()->removeAllActions();
    bitmaps.erase(bitmaps.begin(), bitmaps.begin() + 3);
    EXPECT_FALSE(decoded.expired());
    EXPECT_EQ(cache().countedPixels(), 2400u);
    bitmaps[0]->removeFromParent();
    document->undoManager()->removeAllActions();
    bitmaps.clear();
    EXPECT_TRUE(decoded.expired());
    EXPECT_EQ(cache().countedPixels(), 0u);

    // Shown again later, the file is decoded again.
    auto again = addBitmap(uri);
    document->waitForOperationsToFinish();
    ASSERT_NE(again->image(), nullptr);
    EXPECT_EQ(cache().decodesStarted(), 2u);
}

TEST_F(SharedDecodeFixture, AFileStoredAgainIsDecodedAgainAndOtherDocumentsDecodeTheirOwn) {
    const std::string uri = storeFile(8, 8, 0xFFFF0000);
    auto first = addBitmap(uri);
    document->waitForOperationsToFinish();
    ASSERT_NE(first->image(), nullptr);
    // The same resource written anew (replaced by rename, as every store does), with other pixels.
    ASSERT_TRUE(MarqenImageWriteToFile(*test::solidImage(8, 8, 0xFF0000FF), directory / test::resourceFileName(uri),
                                       MarqenImageFormat::PNG));
    auto second = addBitmap(uri);
    document->waitForOperationsToFinish();
    ASSERT_NE(second->image(), nullptr);
    EXPECT_NE(second->image(), first->image());
    EXPECT_EQ(second->image()->pixelAt(3, 3), 0xFF0000FFu);
    EXPECT_EQ(first->image()->pixelAt(3, 3), 0xFFFF0000u);
    EXPECT_EQ(cache().countedPixels(), 128u);  // two files alive, 64 pixels each

    auto other = MarqenDOMDocument::createWithSize({100, 100}, 1);
    other->setResourceCoordinator(coordinator);
    auto elsewhere = MarqenDOMBitmap::create();
    elsewhere->setURIQuietly(uri);
    other->addNode(elsewhere);
    other->waitForOperationsToFinish();
    ASSERT_NE(elsewhere->image(), nullptr);
    EXPECT_NE(elsewhere->image(), second->image());
    EXPECT_EQ(other->resourceImageCache()->countedPixels(), 64u);
}

TEST_F(SharedDecodeFixture, AFileBeyondTheDecodedPixelBudgetIsLeftOutAndLogged) {
    marqen::test::DecodedPixelsBudgetInForce budget(1000);
    LogCapture log;
    const std::string fits = storeFile(30, 30), beyond = storeFile(20, 20);
    auto shown = addBitmap(fits), twice = addBitmap(fits);
    document->waitForOperationsToFinish();
    ASSERT_NE(shown->image(), nullptr);
    EXPECT_EQ(cache().countedPixels(), 900u);  // two bitmaps, one file: 900 of 1000

    auto leftOut = addBitmap(beyond);
    document->waitForOperationsToFinish();
    EXPECT_EQ(leftOut->image(), nullptr);
    EXPECT_TRUE(log.contains("ERROR: Left out the image of resource " + beyond +
                             ": its 400 pixels with the 900 decoded before exceeds the decoded pixels per document "
                             "budget (1000)"))
        << ::testing::PrintToString(log.lines());
    EXPECT_TRUE(log.contains("ERROR: Unable to load resource with URI " + beyond));
    EXPECT_EQ(cache().countedPixels(), 900u);  // nothing counted for what was left out

    // Once the other file is let go, the same bitmap loads.
    shown->removeFromParent();
    twice->removeFromParent();
    document->undoManager()->removeAllActions();
    shown.reset();
    twice.reset();
    leftOut->reloadWithResourceCoordinator();
    document->waitForOperationsToFinish();
    ASSERT_NE(leftOut->image(), nullptr);
    EXPECT_EQ(leftOut->image()->width(), 20);
    EXPECT_EQ(cache().countedPixels(), 400u);
}

TEST_F(SharedDecodeFixture, ADamagedFileFailsEveryBitmapWaitingForItAndIsTriedAgainLater) {
    LogCapture log;
    const std::string uri = storeFile(50, 50);
    const auto file = directory / test::resourceFileName(uri);
    const std::string whole = test::readFile(file);
    test::writeFile(file, whole.substr(0, whole.size() / 2));  // the header reads, the pixels do not
    auto together = addBitmapsTogether({uri, uri});
    auto one = together[0], two = together[1];
    EXPECT_EQ(one->image(), nullptr);
    EXPECT_EQ(two->image(), nullptr);
    EXPECT_EQ(cache().decodesStarted(), 1u);
    EXPECT_EQ(cache().countedPixels(), 0u);
    size_t failures = 0;
    for (const auto &line : log.lines())
        if (line.rfind("ERROR: Unable to load resource with URI " + uri, 0) == 0) ++failures;
    EXPECT_EQ(failures, 2u);

    // A failure is not remembered: the file mended, the next load decodes it.
    test::writeFile(file, whole);
    one->reloadWithResourceCoordinator();
    document->waitForOperationsToFinish();
    ASSERT_NE(one->image(), nullptr);
    EXPECT_EQ(cache().decodesStarted(), 2u);
}
