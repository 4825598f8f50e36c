#include <gtest/gtest.h>

#include "dom/document.h"
#include "dom/stamp.h"
#include "dom/text.h"
#include "foundation/undo_manager.h"

using namespace marqen;

namespace {

struct LabelledStamp {
    std::shared_ptr<MarqenDOMDocument> document = MarqenDOMDocument::createWithSize({800, 600}, 1);
    std::shared_ptr<MarqenDOMStamp> stamp = MarqenDOMStamp::createWithStampName("com.brondale.marqen.approved");
    std::shared_ptr<MarqenDOMText> label;

    LabelledStamp() {
        document->setContentScaleFactor(1.0);
        document->addNode(stamp);
        stamp->beginAtPoint({200, 300});
        label = MarqenDOMText::attachLabelToNode(stamp, stamp->localizedDefaultText());
    }
};

}  // namespace

TEST(MarqenDOMTextLabels, AttachingLinksBothSidesAndPlacesTheLabelBehindItsNode) {
    LabelledStamp fixture;
    auto &label = fixture.label;
    auto layer = fixture.document->textLayer();
    ASSERT_EQ(layer->childCount(), 2u);
    EXPECT_EQ(layer->childAtIndex(0), label);  // in front of the stamp in the list: drawn below it
    EXPECT_EQ(layer->childAtIndex(1), fixture.stamp);
    EXPECT_EQ(*label->text(), "Approved");
    EXPECT_EQ(label->textBlockStyle(), MarqenDOMTextBlockStyleLabel);
    EXPECT_EQ(*label->font(), MarqenDOMFont("HelveticaNeue-Medium", 24));
    EXPECT_EQ(label->fillColor(), MarqenDOMColor(0, 0, 0, 1));
    EXPECT_EQ(label->labelParentNode(), fixture.stamp);
    EXPECT_EQ(label->labelParentGUID(), fixture.stamp->guid());
    EXPECT_EQ(fixture.stamp->labelNode(), label);
    EXPECT_EQ(fixture.stamp->labelGUID(), label->guid());
    EXPECT_TRUE(label->hasSuperNode());
    // A fresh label (origin left of the badge) goes left: its right end 20 units left of the badge
    // centre, centred on a 34-unit line.
    EXPECT_EQ(label->labelPosition(), MarqenDOMStampLabelPositionLeft);
    CGRect bounds = label->contentBounds();
    EXPECT_EQ(label->origin(), CGPointMake(200 - 20 - bounds.size.width, 283));
    EXPECT_EQ(CGRectGetMaxX(bounds), 180);
}

TEST(MarqenDOMTextLabels, RemovingTheLabelDetachesItAndUndoRestoresLinkAndOrder) {
    LabelledStamp fixture;
    auto &label = fixture.label;
    auto layer = fixture.document->textLayer();
    auto *undo = fixture.document->undoManager();
    undo->removeAllActions();

    layer->removeChild(label);
    EXPECT_EQ(undo->undoCount(), 1u);  // the removal and the detached links undo together
    EXPECT_EQ(label->labelParentNode(), nullptr);
    EXPECT_FALSE(label->labelParentGUID());
    EXPECT_EQ(fixture.stamp->labelNode(), nullptr);
    EXPECT_FALSE(fixture.stamp->labelGUID());
    EXPECT_FALSE(label->hasSuperNode());

    undo->undo();
    ASSERT_EQ(layer->childCount(), 2u);
    EXPECT_EQ(layer->childAtIndex(0), label);
    EXPECT_EQ(label->labelParentNode(), fixture.stamp);
    EXPECT_EQ(fixture.stamp->labelNode(), label);

    undo->redo();
    EXPECT_EQ(layer->childCount(), 1u);
    EXPECT_EQ(fixture.stamp->labelNode(), nullptr);
}

TEST(MarqenDOMTextLabels, LinksAreFoundAgainAfterReloading) {
    LabelledStamp fixture;
    MarqenJSON written = fixture.document->dictionaryRepresentation();
    auto reloaded = MarqenDOMDocument::fromDictionary(written);
    auto texts = reloaded->allTextElements();
    auto stamps = reloaded->allStampElements();
    ASSERT_EQ(texts.size(), 1u);
    ASSERT_EQ(stamps.size(), 1u);
    auto label = std::dynamic_pointer_cast<MarqenDOMText>(texts[0]);
    EXPECT_EQ(label->labelParentGUID(), fixture.stamp->guid());
    EXPECT_EQ(label->labelParentNode(), stamps[0]);
    EXPECT_EQ(stamps[0]->labelNode(), label);
    EXPECT_EQ(reloaded->textStrings(), std::vector<std::string>{"Approved"});

    // Moving the layer's content leaves the label to its stamp.
    auto stamp = std::dynamic_pointer_cast<MarqenDOMStamp>(stamps[0]);
    CGPoint before = label->origin();
    reloaded->textLayer()->translate({10, 0});
    EXPECT_EQ(stamp->startPoint(), CGPointMake(210, 300));
    EXPECT_EQ(label->origin(), CGPointMake(before.x + 10, 283));
}

TEST(MarqenDOMTextLabels, AParentGuidThatMatchesNothingLeavesTheLabelFree) {
    auto document = MarqenDOMDocument::fromDictionary(
        {{"type", "Document"},
         {"frame", {{"x", 0}, {"y", 0}, {"width", 100}, {"height", 100}}},
         {"children",
          {{{"type", "Layer"}, {"layerId", "__text__"},
            {"children",
             {{{"type", "Text"}, {"text", "orphan"}, {"textStyle", "labelText"}, {"labelParent", "NO-SUCH-GUID"},
               {"origin", {{"x", 5}, {"y", 6}}}}}}}}}});
    auto label = std::dynamic_pointer_cast<MarqenDOMText>(document->allTextElements().at(0));
    EXPECT_EQ(label->labelParentNode(), nullptr);
    EXPECT_FALSE(label->hasSuperNode());
    EXPECT_EQ(label->origin(), CGPointMake(5, 6));
    EXPECT_EQ(label->detachLabelConnection(), nullptr);
    document->textLayer()->removeChild(label);  // no crash, nothing to restore but the label
    document->undoManager()->undo();
    EXPECT_EQ(document->textLayer()->childCount(), 1u);
}

TEST(MarqenDOMTextLabels, RetypingTheLabelReplacesItWithoutUndoForThePlacement) {
    LabelledStamp fixture;
    auto &label = fixture.label;
    auto *undo = fixture.document->undoManager();
    undo->removeAllActions();
    label->setText("A much longer caption");
    EXPECT_EQ(undo->undoCount(), 1u);  // the text change only
    undo->undo();
    EXPECT_EQ(*label->text(), "Approved");
}
