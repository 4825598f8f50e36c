// The change protocol of the model's setters: what each setter posts, in which order, and whether the
// undo action is registered before or after the document is marked as needing save.
#include <gtest/gtest.h>

#include <cmath>

#include "dom/document.h"
#include "dom/notifications.h"
#include "dom/polygon.h"
#include "dom/rectangle.h"
#include "dom/stamp.h"
#include "foundation/notification_center.h"
#include "foundation/undo_manager.h"

using namespace marqen;

namespace {

// Records, in order, the node notifications of every sender and, for each time the document becomes
// dirty, how many undo groups it held at that moment.
struct ChangeLog {
    explicit ChangeLog(const std::shared_ptr<MarqenDOMDocument> &document) : document_(document) {
        token_ = NotificationCenter::defaultCenter().addObserver("", nullptr, [this](const Notification &n) {
            if (n.name.rfind("MarqenDOM", 0) != 0) return;
            std::string who = n.object == document_.get() ? "document" : "node";
            events.push_back(who + ":" + n.name);
            if (n.name == MarqenDOMDocumentDidBecomeDirty) undoCountsWhenDirty.push_back(document_->undoManager()->undoCount());
        });
    }
    std::vector<std::string> events;
    std::vector<size_t> undoCountsWhenDirty;

private:
    std::shared_ptr<MarqenDOMDocument> document_;
    NotificationToken token_;
};

std::shared_ptr<MarqenDOMDocument> documentWith(const MarqenDOMNodePtr &node) {
    auto document = MarqenDOMDocument::createWithSize({400, 300}, 1);
    document->setContentScaleFactor(1.0);
    document->addNode(node);
    document->undoManager()->removeAllActions();
    return document;
}

}  // namespace

TEST(MarqenDOMChangeProtocol, ToolColourRegistersUndoBeforeTheSaveMarkAndPostsNeedsDisplayLast) {
    auto element = MarqenDOMLayer::create();
    auto document = documentWith(element);
    ChangeLog log(document);
    element->setToolColor(MarqenDOMColor(10, 20, 30, 1));
    EXPECT_EQ(log.events, (std::vector<std::string>{"node:MarqenDOMNodeWillChange", "node:MarqenDOMNodeDidChange",
                                                    "document:MarqenDOMNodeWillChange",
                                                    "document:MarqenDOMNodeDidChange",
                                                    "document:MarqenDOMDocumentDidBecomeDirty",
                                                    "node:MarqenDOMNodeNeedsDisplay"}));
    EXPECT_EQ(log.undoCountsWhenDirty, std::vector<size_t>{1});  // the undo action came first
    // The same colour again: nothing at all.
    log.events.clear();
    element->setToolColor(MarqenDOMColor(10, 20, 30, 1));
    EXPECT_TRUE(log.events.empty());
    EXPECT_EQ(document->undoManager()->undoCount(), 1u);
    document->undoManager()->undo();
    EXPECT_FALSE(element->toolColor());
}

TEST(MarqenDOMChangeProtocol, StampPlacementMarksTheDocumentBeforeRegisteringUndo) {
    auto stamp = MarqenDOMStamp::createWithStampName("com.brondale.marqen.approved");
    auto document = documentWith(stamp);
    ChangeLog log(document);
    stamp->setStartPoint({40, 50});
    stamp->setEndPoint({90, 50});
    EXPECT_EQ(log.undoCountsWhenDirty, (std::vector<size_t>{0, 1}));
    EXPECT_EQ(document->undoManager()->undoCount(), 2u);
    document->undoManager()->undo();
    document->undoManager()->undo();
    EXPECT_EQ(stamp->startPoint(), CGPointZero);
    EXPECT_EQ(stamp->endPoint(), CGPointZero);
}

TEST(MarqenDOMChangeProtocol, VerticesRegisterUndoWithoutMarkingTheDocumentThemselves) {
    auto polygon = MarqenDOMPolygon::create();
    auto document = documentWith(polygon);
    ChangeLog log(document);
    polygon->setVertices({{0, 0}, {10, 0}, {10, 10}});
    // The vertices' own pair, then the rebuilt outline's pair; the outline is no undo step of its own.
    ASSERT_GE(log.events.size(), 4u);
    EXPECT_EQ(std::vector<std::string>(log.events.begin(), log.events.begin() + 4),
              (std::vector<std::string>{"node:MarqenDOMNodeWillChange", "node:MarqenDOMNodeDidChange",
                                        "node:MarqenDOMNodeWillChange", "node:MarqenDOMNodeDidChange"}));
    EXPECT_TRUE(log.undoCountsWhenDirty.empty());
    EXPECT_EQ(document->undoManager()->undoCount(), 1u);
    EXPECT_TRUE(polygon->bezierPath());
    document->undoManager()->undo();
    EXPECT_TRUE(polygon->vertices().empty());
    EXPECT_FALSE(polygon->bezierPath());
}

TEST(MarqenDOMChangeProtocol, NaNOverNaNIsNoChangeAndBoundsAreReportedOnlyForBoundsValues) {
    auto rectangle = MarqenDOMRectangle::create();
    auto document = documentWith(rectangle);
    rectangle->setLineWidth(NAN);
    size_t undoCount = document->undoManager()->undoCount();
    ChangeLog log(document);
    rectangle->setLineWidth(NAN);
    EXPECT_TRUE(log.events.empty());
    EXPECT_EQ(document->undoManager()->undoCount(), undoCount);

    rectangle->setVertices({{0, 0}, {10, 0}, {10, 10}, {0, 10}});
    rectangle->setLineWidth(2);
    std::vector<CGRect> reported;
    auto token = NotificationCenter::defaultCenter().addObserver(
        MarqenDOMNodeContentBoundsDidChange, rectangle.get(), [&](const Notification &n) {
            reported.push_back(std::any_cast<CGRect>(n.userInfo.at(MarqenKeyValueChangeOldKey)));
            reported.push_back(std::any_cast<CGRect>(n.userInfo.at(MarqenKeyValueChangeNewKey)));
        });
    rectangle->setLineWidth(3);
    // The outline 0..10 grown by twice the width on each side: from -4..14 to -6..16.
    ASSERT_EQ(reported.size(), 2u);
    EXPECT_EQ(reported[0], CGRectMake(-4, -4, 18, 18));
    EXPECT_EQ(reported[1], CGRectMake(-6, -6, 22, 22));
    reported.clear();
    rectangle->setCornerRadius(1);  // the radius changes the outline, which reports for itself
    rectangle->setStrokeColor(MarqenDOMColor(1, 2, 3, 1));
    EXPECT_EQ(reported.size(), 4u);
}

TEST(MarqenDOMChangeProtocol, DocumentFrameIsAnnouncedAndUndoableEvenWhenUnchanged) {
    auto document = MarqenDOMDocument::createWithSize({100, 100}, 1);
    ChangeLog log(document);
    document->setFrame(CGRectMake(0, 0, 100, 100));
    EXPECT_EQ(log.events.front(), "document:MarqenDOMNodeWillChange");
    EXPECT_EQ(log.undoCountsWhenDirty, std::vector<size_t>{0});  // marked before its undo action
    EXPECT_EQ(document->undoManager()->undoCount(), 1u);
    // Scale values are announced but neither undoable nor a reason to save.
    log.events.clear();
    document->setDeviceScale(2);
    EXPECT_EQ(log.events, (std::vector<std::string>{"document:MarqenDOMNodeWillChange",
                                                    "document:MarqenDOMNodeDidChange"}));
    EXPECT_EQ(document->undoManager()->undoCount(), 1u);
}
