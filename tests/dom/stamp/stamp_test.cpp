#include <gtest/gtest.h>

#include <cmath>

#include "dom/document.h"
#include "dom/notifications.h"
#include "dom/stamp.h"
#include "dom/text.h"
#include "foundation/notification_center.h"
#include "foundation/undo_manager.h"

using namespace marqen;

namespace {

std::shared_ptr<MarqenDOMDocument> documentOfSize(CGFloat width, CGFloat height) {
    auto document = MarqenDOMDocument::createWithSize({width, height}, 1);
    document->setContentScaleFactor(1.0);
    return document;
}

std::shared_ptr<MarqenDOMStamp> placedStamp(const std::shared_ptr<MarqenDOMDocument> &document, CGPoint at) {
    auto stamp = MarqenDOMStamp::createWithStampName("com.brondale.marqen.rejected");
    document->addNode(stamp);
    stamp->beginAtPoint(at);
    return stamp;
}

CGPoint towards(CGPoint from, double degrees, double length) {
    double radians = degrees * M_PI / 180.0;
    return {from.x + length * std::cos(radians), from.y + length * std::sin(radians)};
}

// A rejected badge placed at the centre of a 1000 × 1000 page.
class MarqenDOMStampAtTheCentre : public ::testing::Test {
protected:
    std::shared_ptr<MarqenDOMDocument> document = documentOfSize(1000, 1000);
    std::shared_ptr<MarqenDOMStamp> stamp = placedStamp(document, {500, 500});
};

}  // namespace

TEST(MarqenDOMStampNames, TheTenStampsAndTheirDefaultTexts) {
    EXPECT_EQ(MarqenDOMStamp::allStampNames(),
              (std::vector<std::string>{"com.brondale.marqen.rejected", "com.brondale.marqen.exclaim",
                                        "com.brondale.marqen.question", "com.brondale.marqen.approved",
                                        "com.brondale.marqen.perfect"}));
    EXPECT_EQ(MarqenDOMStamp::allFunnyStampNames(),
              (std::vector<std::string>{"com.brondale.marqen.happy", "com.brondale.marqen.cool",
                                        "com.brondale.marqen.silly", "com.brondale.marqen.surprise",
                                        "com.brondale.marqen.angry"}));
    std::vector<std::string> texts;
    for (const auto &list : {MarqenDOMStamp::allStampNames(), MarqenDOMStamp::allFunnyStampNames()})
        for (const auto &name : list) texts.push_back(MarqenDOMStamp::createWithStampName(name)->localizedDefaultText());
    EXPECT_EQ(texts, (std::vector<std::string>{"Rejected", "Wow!", "What?", "Approved", "Perfect", "Fantastic!", "Hehe",
                                               "Kidding!", "Uh oh\u2026", "Grrr"}));
    auto unknown = MarqenDOMStamp::createWithStampName("com.example.unknown");
    EXPECT_EQ(unknown->localizedDefaultText(), "");
    EXPECT_EQ(*unknown->stampName(), "com.example.unknown");
    EXPECT_EQ(MarqenDOMStamp::create()->localizedDefaultText(), "");
}

TEST(MarqenDOMStampPlacement, BadgeSizesScaleAndRoundDown) {
    auto document = documentOfSize(1000, 1000);
    document->setContentScaleFactor(1.5);
    auto stamp = placedStamp(document, {500, 400});
    EXPECT_EQ(stamp->scaledStampSize(), CGSizeMake(150, 150));
    EXPECT_EQ(stamp->frame(), CGRectMake(425, 325, 150, 150));
    EXPECT_EQ(stamp->stampInnerCircleBounds(), CGRectMake(458, 358, 84, 84));
    document->setContentScaleFactor(0.333);
    EXPECT_EQ(stamp->scaledStampSize(), CGSizeMake(33, 33));  // 33.3 rounded down
    EXPECT_EQ(stamp->startPoint(), stamp->endPoint());
}

TEST(MarqenDOMStampPlacement, VerticalConstraintKeepsTheBadgeOnTheDocument) {
    auto document = documentOfSize(400, 300);
    auto stamp = MarqenDOMStamp::createWithStampName("com.brondale.marqen.cool");
    document->addNode(stamp);
    stamp->setKeepConstrainedVerticallyOnDocument(true);
    stamp->beginAtPoint({100, 10});
    EXPECT_EQ(stamp->startPoint(), CGPointMake(100, 50));
    stamp->beginAtPoint({100, 290});
    EXPECT_EQ(stamp->startPoint(), CGPointMake(100, 250));
    stamp->setKeepConstrainedVerticallyOnDocument(false);
    stamp->beginAtPoint({100, 290});
    EXPECT_EQ(stamp->startPoint(), CGPointMake(100, 290));
}

TEST_F(MarqenDOMStampAtTheCentre, TailAppearsAtThirtyTwoUnits) {
    stamp->appendPoint({531, 500}, {0, 0}, 0);
    EXPECT_FALSE(stamp->tailAngleInDegrees());
    stamp->appendPoint({532, 500}, {0, 0}, 0);
    EXPECT_EQ(stamp->tailAngleInDegrees(), 0);
    stamp->endAtPoint({500, 510}, {0, 0}, 0);
    EXPECT_FALSE(stamp->tailAngleInDegrees());
}

TEST_F(MarqenDOMStampAtTheCentre, TailSnapsToTheNearestMultipleOfFortyFive) {
    const std::pair<double, long> cases[] = {{30, 45},  {22, 0},    {350, 0},  {23, 45}, {90, 90},
                                             {200, 180}, {247, 225}, {338, 0}, {337, 315}};
    for (auto [degrees, expected] : cases) {
        stamp->updateTailWithPoint(towards({500, 500}, degrees, 100));
        EXPECT_EQ(stamp->tailAngleInDegrees(), expected) << degrees;
    }
}

TEST_F(MarqenDOMStampAtTheCentre, TailWithoutPermissionTheTailNeitherAppearsNorVanishes) {
    stamp->setEndPoint({600, 500});
    stamp->updateTailAngleInDegrees(false);
    EXPECT_FALSE(stamp->tailAngleInDegrees());
    stamp->updateTailAngleInDegrees(true);
    EXPECT_EQ(stamp->tailAngleInDegrees(), 0);
    stamp->setEndPoint({500, 600});
    stamp->updateTailAngleInDegrees(false);  // may turn it
    EXPECT_EQ(stamp->tailAngleInDegrees(), 90);
    stamp->setEndPoint({505, 500});
    stamp->updateTailAngleInDegrees(false);  // may not remove it
    EXPECT_EQ(stamp->tailAngleInDegrees(), 90);
}

TEST_F(MarqenDOMStampAtTheCentre, TailSettingTheAngleNotifiesRepositionsAndUndoes) {
    auto label = MarqenDOMText::attachLabelToNode(stamp, "Rejected");
    EXPECT_EQ(label->labelPosition(), MarqenDOMStampLabelPositionLeft);
    stamp->setTailAngleInDegrees(180);  // tail to the left: the label goes right
    EXPECT_EQ(label->labelPosition(), MarqenDOMStampLabelPositionRight);
    EXPECT_EQ(label->origin(), CGPointMake(520, 483));
    document->undoManager()->removeAllActions();
    std::vector<std::string> names;
    auto token = NotificationCenter::defaultCenter().addObserver("", stamp.get(), [&](const Notification &n) {
        names.push_back(n.name);
    });
    stamp->setTailAngleInDegrees(45);  // tail to the lower right: the label goes left
    EXPECT_EQ(names.front(), MarqenDOMNodeWillChange);
    EXPECT_NE(std::find(names.begin(), names.end(), MarqenDOMNodeNeedsDisplay), names.end());
    EXPECT_EQ(label->labelPosition(), MarqenDOMStampLabelPositionLeft);
    CGFloat width = label->contentBounds().size.width;
    EXPECT_EQ(label->origin(), CGPointMake(500 - (20 + width), 483));

    stamp->setTailAngleInDegrees(135);
    EXPECT_EQ(label->labelPosition(), MarqenDOMStampLabelPositionRight);
    EXPECT_EQ(label->origin(), CGPointMake(520, 483));
    stamp->setTailAngleInDegrees(90);  // straight down: the label keeps its side
    EXPECT_EQ(label->labelPosition(), MarqenDOMStampLabelPositionRight);

    document->undoManager()->undo();
    EXPECT_EQ(stamp->tailAngleInDegrees(), 135);
}

TEST(MarqenDOMStampLabels, SideFollowsTheDocumentEdges) {
    auto document = documentOfSize(600, 400);
    auto nearRight = placedStamp(document, {560, 200});
    auto label = MarqenDOMText::attachLabelToNode(nearRight, "Rejected");
    EXPECT_EQ(label->labelPosition(), MarqenDOMStampLabelPositionLeft);
    EXPECT_LT(label->contentBounds().origin.x + label->contentBounds().size.width, 560);

    auto nearLeft = placedStamp(document, {30, 200});
    auto other = MarqenDOMText::attachLabelToNode(nearLeft, "Wow!");
    EXPECT_EQ(other->labelPosition(), MarqenDOMStampLabelPositionRight);
    other->setLabelPosition(MarqenDOMStampLabelPositionLeft);
    EXPECT_EQ(nearLeft->preferredTextLabelPositionForNode(other, false), MarqenDOMStampLabelPositionRight);

    nearLeft->removeTailWithLabelPosition(MarqenDOMStampLabelPositionLeft);
    EXPECT_EQ(other->labelPosition(), MarqenDOMStampLabelPositionLeft);
    EXPECT_EQ(other->origin(), nearLeft->labelOriginForPosition(MarqenDOMStampLabelPositionLeft));
}

TEST(MarqenDOMStampLabels, TextClearsTheBadgeOnEitherSide) {
    // The plate starts under the badge; the letters begin past the badge's edge, on both sides, and
    // keep that side after a reload (when the position is known only from the origin).
    auto document = documentOfSize(600, 400);
    auto right = placedStamp(document, {100, 200});
    auto rightLabel = MarqenDOMText::attachLabelToNode(right, "Approved");
    auto left = placedStamp(document, {540, 200});
    auto leftLabel = MarqenDOMText::attachLabelToNode(left, "Approved");
    ASSERT_EQ(leftLabel->labelPosition(), MarqenDOMStampLabelPositionLeft);

    EXPECT_LT(CGRectGetMinX(rightLabel->contentBounds()), CGRectGetMaxX(right->frame()));
    EXPECT_GE(CGRectGetMinX(rightLabel->textBounds()), CGRectGetMaxX(right->frame()));
    EXPECT_GT(CGRectGetMaxX(leftLabel->contentBounds()), CGRectGetMinX(left->frame()));
    EXPECT_LE(CGRectGetMaxX(leftLabel->textBounds()), CGRectGetMinX(left->frame()));
    for (const auto &label : {rightLabel, leftLabel})
        EXPECT_TRUE(CGRectContainsRect(label->contentBounds(), label->textBounds()));

    auto reloaded = MarqenDOMDocument::fromDictionary(document->dictionaryRepresentation());
    ASSERT_TRUE(reloaded);
    auto again = std::dynamic_pointer_cast<MarqenDOMText>(reloaded->findNode(leftLabel->guid()));
    ASSERT_TRUE(again);
    EXPECT_EQ(again->textBounds(), leftLabel->textBounds());
}

TEST(MarqenDOMStampJSON, FrameNameAndTailRoundTrip) {
    auto stamp = MarqenDOMStamp::fromDictionary({{"type", "Stamp"},
                                                 {"frame", {{"x", 100}, {"y", 200}, {"width", 100}, {"height", 100}}},
                                                 {"stampName", "com.brondale.marqen.happy"},
                                                 {"tailAngleInDegrees", 90}});
    EXPECT_EQ(stamp->startPoint(), CGPointMake(150, 250));
    EXPECT_NEAR(stamp->endPoint().x, 150, 1e-9);
    EXPECT_NEAR(stamp->endPoint().y, 314, 1e-9);
    EXPECT_EQ(stamp->tailAngleInDegrees(), 90);
    MarqenJSON written = stamp->dictionaryRepresentation();
    EXPECT_EQ(written["frame"]["width"], 100);
    EXPECT_EQ(written["stampName"], "com.brondale.marqen.happy");
    EXPECT_EQ(written["tailAngleInDegrees"], 90);

    auto bare = MarqenDOMStamp::fromDictionary({{"type", "Stamp"}, {"tailAngleInDegrees", "ninety"}});
    EXPECT_FALSE(bare->tailAngleInDegrees());
    MarqenJSON bareWritten = bare->dictionaryRepresentation();
    EXPECT_FALSE(bareWritten.contains("frame"));
    EXPECT_FALSE(bareWritten.contains("stampName"));
    EXPECT_FALSE(bareWritten.contains("tailAngleInDegrees"));
    EXPECT_FALSE(MarqenDOMStamp::fromDictionary({{"tailAngleInDegrees", 1e300}})->tailAngleInDegrees());
    EXPECT_EQ(MarqenDOMStamp::fromDictionary({{"tailAngleInDegrees", -90}})->tailAngleInDegrees(), 270);

    auto resolved = MarqenDOMNode::nodeWithDictionary({{"type", "Stamp"}, {"stampName", "com.example.mystery"}});
    ASSERT_NE(resolved, nullptr);
    EXPECT_EQ(resolved->className(), "MarqenDOMStamp");
}

TEST_F(MarqenDOMStampAtTheCentre, GeometryBoundsEncloseBadgeTailAndShadow) {
    CGRect plain = stamp->contentBounds();
    EXPECT_TRUE(CGRectContainsRect(plain, stamp->frame()));
    EXPECT_TRUE(CGRectContainsRect(plain, CGRectInset(stamp->frame(), -10, -10)));  // the shadow's room
    EXPECT_EQ(stamp->tightContentBounds(), stamp->frame());
    for (long angle = 0; angle < 360; angle += 45) {
        stamp->setTailAngleInDegrees(angle);
        CGRect bounds = stamp->contentBounds();
        CGPoint tip = *stamp->tailTipPoint();
        EXPECT_NEAR(std::hypot(tip.x - 500, tip.y - 500), 64, 1e-9);
        EXPECT_TRUE(CGRectContainsRect(bounds, CGRectMake(tip.x - 10, tip.y - 10, 20, 20))) << angle;
        EXPECT_TRUE(CGRectContainsRect(bounds, stamp->frame()));
    }
}

TEST_F(MarqenDOMStampAtTheCentre, GeometryHitTestingInnerCircleLabelAndOutside) {
    auto label = MarqenDOMText::attachLabelToNode(stamp, "Rejected");
    EXPECT_EQ(stamp->hitTestWithPoint({500, 500}), stamp);
    EXPECT_EQ(stamp->hitTestWithPoint({527, 500}), stamp);      // inside the inner circle (radius 28)
    EXPECT_EQ(stamp->hitTestWithPoint({470, 500}), label);      // the label lies under the badge's left half
    EXPECT_EQ(stamp->hitTestWithPoint({530, 500}), stamp);      // outside the circle, no label on the right
    EXPECT_EQ(stamp->hitTestWithPoint({455, 455}), stamp);      // badge corner, no label there
    EXPECT_EQ(stamp->hitTestWithPoint({800, 800}), nullptr);
    EXPECT_EQ(stamp->hitTestWithRect(CGRectMake(540, 540, 5, 5)), stamp);
    EXPECT_EQ(stamp->hitTestWithRect(CGRectMake(700, 700, 5, 5)), nullptr);
}

TEST_F(MarqenDOMStampAtTheCentre, GeometryMovingKeepsTheBadgeSizeAndCarriesTheLabel) {
    auto label = MarqenDOMText::attachLabelToNode(stamp, "Rejected");
    stamp->applyTransform(CGAffineTransformMakeScale(0.5, 0.5));
    EXPECT_EQ(stamp->startPoint(), CGPointMake(250, 250));
    EXPECT_EQ(stamp->frame(), CGRectMake(200, 200, 100, 100));
    EXPECT_EQ(label->origin(), CGPointMake(250 - 20 - label->contentBounds().size.width, 233));
    auto geometry = std::any_cast<MarqenDOMStampGeometry>(stamp->elementGeometry());
    EXPECT_EQ(geometry.labelNodeLabelPosition, MarqenDOMStampLabelPositionLeft);
}
