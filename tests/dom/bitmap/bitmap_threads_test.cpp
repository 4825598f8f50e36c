#include <gtest/gtest.h>

#include <thread>

#include "bitmap_test_support.h"
#include "dom/notifications.h"
#include "foundation/notification_center.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"

using namespace marqen;
using marqen::test::BitmapDocument;

namespace {

MarqenImageRef blankImage(int width, int height) { return test::solidImage(width, height, 0xFF204060); }

// Records on which thread every change notification of one node arrives.
class ChangeThreads {
public:
    explicit ChangeThreads(const MarqenDOMNode &node)
        : token_(NotificationCenter::defaultCenter().addObserver(MarqenDOMNodeDidChange, &node,
                                                                 [this](const Notification &) {
                                                                     ++changes;
                                                                     if (!MainQueue::isMainThread()) ++offMain;
                                                                 })) {}
    int changes = 0, offMain = 0;

private:
    NotificationToken token_;
};

// Answers nothing: every completion is dropped unrun.
class SilentCoordinator : public MarqenDOMDocumentResourceCoordinator {
public:
    void loadResourceWithURI(const std::string &, Completion) override {}
    void storeResourceWithURI(const std::string &, const MarqenImageRef &, unsigned long, const MarqenJSON &,
                              Completion) override {}
};

}  // namespace

TEST(MarqenDOMBitmapThreads, LoadedPixelsArriveOnTheMainThreadForTheLatestURIOnly) {
    BitmapDocument fixture;
    auto &[directory, coordinator, document] = fixture;
    auto bitmap = MarqenDOMBitmap::create();
    fixture.add(bitmap);
    std::string slow = fixture.storeFile(blankImage(7, 3)), fast = fixture.storeFile(blankImage(5, 2));

    ChangeThreads threads(*bitmap);
    // The first URI's answer comes last: it must not replace the pixels of the URI that followed it.
    coordinator->setDelay(std::chrono::milliseconds(80));
    bitmap->setUri(slow);
    coordinator->setDelay(std::chrono::milliseconds(0));
    bitmap->setUri(fast);
    document->waitForOperationsToFinish();
    EXPECT_EQ(coordinator->loads(), 3);
    EXPECT_EQ(bitmap->uri(), fast);
    ASSERT_NE(bitmap->image(), nullptr);
    EXPECT_EQ(bitmap->image()->width(), 5);
    EXPECT_GT(threads.changes, 2);  // two URI changes and the installed pixels
    EXPECT_EQ(threads.offMain, 0);

    // Undo goes back to the first URI, and its pixels follow through the same path.
    document->undoManager()->undo();
    EXPECT_EQ(bitmap->image()->width(), 5);
    document->waitForOperationsToFinish();
    EXPECT_EQ(bitmap->image()->width(), 7);
    EXPECT_EQ(threads.offMain, 0);
}

TEST(MarqenDOMBitmapThreads, ABitmapGoneBeforeItsPixelsArriveIsLeftAlone) {
    BitmapDocument fixture;
    auto &[directory, coordinator, document] = fixture;
    std::string uri = fixture.storeFile(blankImage(4, 4));
    std::weak_ptr<MarqenDOMBitmap> gone;
    {
        auto bitmap = MarqenDOMBitmap::create();
        document->addNode(bitmap);
        bitmap->setUri(uri);
        bitmap->removeFromParent();
        document->undoManager()->removeAllActions();  // undoing the removal would hold it
        gone = bitmap;
    }
    EXPECT_TRUE(gone.expired());  // nothing in flight holds the bitmap
    document->waitForOperationsToFinish();
    EXPECT_TRUE(gone.expired());
}

TEST(MarqenDOMBitmapThreads, AFailedStoreLeavesTheBitmapAsItWas) {
    BitmapDocument fixture;
    auto &[directory, coordinator, document] = fixture;
    auto bitmap = document->addBackgroundImage(blankImage(40, 30), 0, MarqenJSON::object());
    document->waitForOperationsToFinish();
    document->undoManager()->removeAllActions();
    std::string uri = bitmap->uri();

    coordinator->failNextStore();
    MarqenError error;
    EXPECT_FALSE(bitmap->rotate90Degrees(true, &error));
    EXPECT_EQ(error.domain, MarqenDOMDocumentResourceCoordinatorErrorDomain);
    EXPECT_EQ(error.code, MarqenResourceErrorWriteFailed);
    EXPECT_NE(error.description().find("the disk is full"), std::string::npos) << error.description();
    EXPECT_EQ(bitmap->uri(), uri);
    EXPECT_EQ(bitmap->frame(), CGRectMake(0, 0, 40, 30));
    EXPECT_EQ(bitmap->image()->width(), 40);
    EXPECT_FALSE(document->undoManager()->canUndo());

    // The next edit goes through and waits for its store.
    ASSERT_TRUE(bitmap->rotate90Degrees(true, &error)) << error.description();
    EXPECT_NE(bitmap->uri(), uri);
    EXPECT_TRUE(std::filesystem::exists(directory / test::resourceFileName(bitmap->uri())));
    EXPECT_EQ(coordinator->stores(), 2);
}

TEST(MarqenDOMBitmapThreads, ACompletionDroppedUnrunFailsTheSaveInsteadOfHanging) {
    auto coordinator = std::make_shared<SilentCoordinator>();
    auto document = MarqenDOMDocument::createWithSize({10, 10}, 1);
    document->setResourceCoordinator(coordinator);
    auto bitmap = document->addBackgroundImage(blankImage(10, 10), 0, MarqenJSON::object());
    document->waitForOperationsToFinish();  // the dropped load counts as finished too
    MarqenError error;
    ASSERT_FALSE(bitmap->prepareForSaveSynchronous(&error));
    EXPECT_EQ(error.code, MarqenResourceErrorWriteFailed);
    EXPECT_EQ(error.description(), "MarqenDOMDocumentResourceCoordinatorErrorDomain (4): The resource coordinator "
                                    "dropped a store unanswered");
    EXPECT_FALSE(bitmap->replaceImageWithCropRect(CGRectMake(0, 0, 5, 5)));
}

TEST(MarqenDOMBitmapThreads, OpacityWorkedOutElsewhereIsKeptOnlyForItsImage) {
    auto bitmap = MarqenDOMBitmap::create();
    auto opaque = blankImage(3, 3), other = blankImage(3, 3);
    bitmap->setImage(opaque);
    bitmap->rememberOpacity(other, false);  // not this bitmap's image: ignored
    EXPECT_TRUE(bitmap->isOpaque());
    bitmap->setImage(other);
    bitmap->rememberOpacity(other, false);  // kept as told, without looking at the pixels again
    EXPECT_FALSE(bitmap->isOpaque());
    bitmap->setImage(opaque);
    EXPECT_TRUE(bitmap->isOpaque());
}
