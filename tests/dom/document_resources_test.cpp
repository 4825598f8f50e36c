#include <gtest/gtest.h>

#include "dom/bitmap.h"
#include "dom/document.h"
#include "dom/notifications.h"
#include "foundation/notification_center.h"
#include "foundation/queues.h"
#include "platform/image_io.h"
#include "support/delayed_resource_coordinator.h"
#include "support/test_support.h"

using namespace marqen;
using marqen::test::DelayedResourceCoordinator;
using marqen::test::TempDir;

namespace {

// Three bitmaps whose pixels (of widths 3, 4 and 5) wait in a directory; the JSON names them.
struct StoredBitmaps {
    TempDir directory;
    std::vector<std::string> uris;
    MarqenJSON dictionary;

    StoredBitmaps() {
        MarqenJSON bitmaps = MarqenJSON::array();
        for (int width = 3; width <= 5; ++width) {
            std::string uri = MarqenDOMBitmap::marqenDOMBitmapCreateUri();
            auto image = MarqenImage::create(width, 2);
            EXPECT_TRUE(MarqenImageWriteToFile(
                *image, directory / uri.substr(std::string(MarqenDOMBitmapURIPrefix).size()), MarqenImageFormat::PNG));
            uris.push_back(uri);
            bitmaps.push_back({{"type", "Bitmap"},
                               {"uri", uri},
                               {"frame", {{"x", 0}, {"y", 0}, {"width", width}, {"height", 2}}}});
        }
        dictionary = {{"type", "Document"},
                      {"frame", {{"x", 0}, {"y", 0}, {"width", 20}, {"height", 20}}},
                      {"children", {{{"type", "Layer"}, {"children", bitmaps}}}}};
    }
};

std::vector<int> imageWidths(const MarqenDOMDocument &document) {
    std::vector<int> widths;
    for (const auto &bitmap : document.allBitmaps()) widths.push_back(bitmap->image() ? bitmap->image()->width() : 0);
    return widths;
}

}  // namespace

TEST(MarqenDOMDocumentResources, AttachingACoordinatorAndWaitingLoadsEveryBitmapOnTheMainThread) {
    StoredBitmaps stored;
    auto document = MarqenDOMDocument::fromDictionary(stored.dictionary);
    ASSERT_EQ(imageWidths(*document), (std::vector<int>{0, 0, 0}));
    int offMain = 0, changes = 0;
    auto token = NotificationCenter::defaultCenter().addObserver(MarqenDOMNodeDidChange, nullptr,
                                                                 [&](const Notification &) {
                                                                     ++changes;
                                                                     if (!MainQueue::isMainThread()) ++offMain;
                                                                 });
    auto coordinator = std::make_shared<DelayedResourceCoordinator>(stored.directory.path());
    document->setResourceCoordinator(coordinator);
    EXPECT_EQ(coordinator->loads(), 3);
    EXPECT_EQ(imageWidths(*document), (std::vector<int>{0, 0, 0}));  // on their way
    document->waitForOperationsToFinish();
    EXPECT_EQ(imageWidths(*document), (std::vector<int>{3, 4, 5}));
    EXPECT_GE(changes, 3);
    EXPECT_EQ(offMain, 0);
    EXPECT_EQ(coordinator->workOnMainThread(), 0);
}

TEST(MarqenDOMDocumentResources, ACopyMadeWhileLoadsAreUnderWayHasThePixels) {
    StoredBitmaps stored;
    auto document = MarqenDOMDocument::fromDictionary(stored.dictionary);
    auto coordinator = std::make_shared<DelayedResourceCoordinator>(stored.directory.path());
    document->setResourceCoordinator(coordinator);
    auto copy = document->copyDocument();  // the source's loads have not arrived yet
    EXPECT_EQ(imageWidths(*copy), (std::vector<int>{3, 4, 5}));
    EXPECT_EQ(copy->resourceCoordinatorShared(), coordinator);
    document->waitForOperationsToFinish();
    EXPECT_EQ(imageWidths(*document), (std::vector<int>{3, 4, 5}));
}
