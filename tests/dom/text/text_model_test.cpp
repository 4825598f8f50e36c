#include <gtest/gtest.h>

#include "dom/document.h"
#include "dom/notifications.h"
#include "dom/text.h"
#include "foundation/notification_center.h"
#include "foundation/undo_manager.h"

using namespace marqen;

namespace {

std::vector<std::string> namesPostedFor(const void *sender, const std::function<void()> &action) {
    std::vector<std::string> names;
    auto token = NotificationCenter::defaultCenter().addObserver("", sender, [&](const Notification &n) {
        names.push_back(n.name);
    });
    action();
    return names;
}

std::shared_ptr<MarqenDOMText> textInDocument(const std::shared_ptr<MarqenDOMDocument> &document) {
    auto text = MarqenDOMText::create();
    document->addNode(text);
    document->undoManager()->removeAllActions();
    return text;
}

// A text added to a 400 × 300 page, with no undo history.
struct TextOnAPage : ::testing::Test {
    std::shared_ptr<MarqenDOMDocument> document = MarqenDOMDocument::createWithSize({400, 300}, 1);
    std::shared_ptr<MarqenDOMText> text = textInDocument(document);
    UndoManager *undo = document->undoManager();
};

}  // namespace

TEST(MarqenDOMTextEnums, WrittenAndReadForms) {
    EXPECT_EQ(NSStringFromMarqenDOMTextAlignment(MarqenDOMTextAlignmentRight), "right");
    EXPECT_EQ(NSStringFromMarqenDOMTextAlignment(static_cast<MarqenDOMTextAlignment>(4)), "left");
    EXPECT_EQ(NSStringFromMarqenDOMTextDirection(MarqenDOMTextDirectionBottomUp), "bottomUp");
    EXPECT_EQ(NSStringFromMarqenDOMTextDirection(static_cast<MarqenDOMTextDirection>(~0UL)), "leftToRight");
    EXPECT_EQ(NSStringFromMarqenDOMTextBlockStyle(MarqenDOMTextBlockStyleLabel), "labelText");
    EXPECT_EQ(NSStringFromMarqenDOMTextBlockStyle(static_cast<MarqenDOMTextBlockStyle>(9)), "bubbleText");

    EXPECT_EQ(MarqenDOMTextAlignmentFromNSString("com.brondale.marqen.text.alignment.center"), MarqenDOMTextAlignmentCenter);
    EXPECT_EQ(MarqenDOMTextAlignmentFromNSString("right"), MarqenDOMTextAlignmentRight);
    EXPECT_EQ(MarqenDOMTextAlignmentFromNSString("justified"), MarqenDOMTextAlignmentLeft);
    EXPECT_EQ(MarqenDOMTextDirectionFromNSString("com.brondale.marqen.text.direction.ltr"), MarqenDOMTextDirectionLeftToRight);
    EXPECT_EQ(MarqenDOMTextDirectionFromNSString("topDown"), MarqenDOMTextDirectionTopDown);
    EXPECT_EQ(MarqenDOMTextDirectionFromNSString("com.brondale.marqen.text.direction.rtl"), 0u);
    EXPECT_EQ(MarqenDOMTextBlockStyleFromNSString("paragraphText"), MarqenDOMTextBlockStyleParagraph);
    EXPECT_EQ(MarqenDOMTextBlockStyleFromNSString(""), MarqenDOMTextBlockStyleBubble);
}

TEST(MarqenDOMTextJSON, MissingEnumerationsStayUnsetAndWriteTheirFirstNames) {
    auto text = MarqenDOMText::fromDictionary({{"type", "Text"}, {"text", "Hello"}});
    EXPECT_EQ(text->alignment(), 4u);
    EXPECT_EQ(text->direction(), ~0UL);
    EXPECT_EQ(text->textBlockStyle(), MarqenDOMTextBlockStyleBubble);
    MarqenJSON written = text->dictionaryRepresentation();
    EXPECT_EQ(written["alignment"], "left");
    EXPECT_EQ(written["direction"], "leftToRight");
    EXPECT_EQ(written["textStyle"], "bubbleText");
    EXPECT_FALSE(written.contains("origin"));
    EXPECT_FALSE(written.contains("wrapWidth"));
    EXPECT_FALSE(written.contains("labelParent"));
    EXPECT_EQ(written["lineWidth"], 0.0);
}

TEST(MarqenDOMTextJSON, RoundTripAndOlderInkStyleKeys) {
    MarqenJSON dictionary = {
        {"type", "Text"},
        {"guid", "6F9619FF-8B86-D011-B42D-00C04FC964FF"},
        {"text", "Caf\u00e9\n\u05e9\u05dc\u05d5\u05dd"},
        {"origin", {{"x", 10}, {"y", 20.5}}},
        {"wrapWidth", 300},
        {"font", {{"name", "Helvetica"}, {"size", 30}}},
        {"inkStyle", {{"strokeColor", {{"red", 255}, {"green", 255}, {"blue", 255}, {"alpha", 1}}},
                      {"fillColor", {{"red", 10}, {"green", 20}, {"blue", 30}, {"alpha", 0.5}}},
                      {"lineWidth", 4}}},
        {"alignment", "com.brondale.marqen.text.alignment.right"},
        {"direction", "rightToLeft"},
        {"textStyle", "paragraphText"},
        {"labelParent", "ABC"},
    };
    auto text = MarqenDOMText::fromDictionary(dictionary);
    EXPECT_EQ(*text->text(), "Caf\u00e9\n\u05e9\u05dc\u05d5\u05dd");
    EXPECT_EQ(text->origin(), CGPointMake(10, 20.5));
    EXPECT_EQ(text->wrapWidth(), 300);
    EXPECT_EQ(text->font()->name(), "Helvetica");
    EXPECT_EQ(text->strokeColor(), MarqenDOMColor(255, 255, 255, 1));
    EXPECT_EQ(text->fillColor(), MarqenDOMColor(10, 20, 30, 0.5));
    EXPECT_EQ(text->lineWidth(), 4);
    EXPECT_EQ(text->alignment(), MarqenDOMTextAlignmentRight);
    EXPECT_EQ(text->direction(), MarqenDOMTextDirectionRightToLeft);
    EXPECT_EQ(text->labelParentGUID(), "ABC");

    MarqenJSON written = text->dictionaryRepresentation();
    EXPECT_EQ(written["strokeColor"]["red"], 255);
    EXPECT_EQ(written["alignment"], "right");
    EXPECT_EQ(written["textStyle"], "paragraphText");
    EXPECT_EQ(written["labelParent"], "ABC");
    EXPECT_FALSE(written.contains("inkStyle"));
    auto again = MarqenDOMText::fromDictionary(written);
    EXPECT_EQ(again->dictionaryRepresentation(), written);
}

TEST(MarqenDOMTextJSON, TypeResolutionIncludingTheOlderIdentifier) {
    auto node = MarqenDOMNode::nodeWithDictionary({{"type", "com.brondale.marqen.element.type.text"}, {"text", "x"}});
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->className(), "MarqenDOMText");
    EXPECT_EQ(MarqenDOMNode::nodeWithDictionary({{"type", "Text"}})->jsonType(), "Text");
}

TEST_F(TextOnAPage, SettersChangeProtocolAndDeliberateExceptions) {

    auto names = namesPostedFor(text.get(), [&] { text->setAlignment(MarqenDOMTextAlignmentCenter); });
    EXPECT_TRUE(names.empty());
    EXPECT_EQ(undo->undoCount(), 0u);

    names = namesPostedFor(text.get(), [&] { text->setDirection(text->direction()); });
    EXPECT_EQ(names, (std::vector<std::string>{MarqenDOMNodeWillChange, MarqenDOMNodeDidChange}));
    EXPECT_EQ(undo->undoCount(), 0u);

    text->setLabelPosition(2);
    EXPECT_EQ(undo->undoCount(), 1u);
    undo->undo();
    EXPECT_EQ(text->labelPosition(), 0u);

    names = namesPostedFor(text.get(), [&] { text->setWrapWidth(0); });
    EXPECT_TRUE(names.empty());  // unchanged
    text->setWrapWidth(120);
    undo->undo();
    EXPECT_EQ(text->wrapWidth(), 0);
}

TEST_F(TextOnAPage, SettersFirstTypingIsNotUndoneToAnEmptyString) {
    text->setText("Hello");
    EXPECT_EQ(undo->undoCount(), 0u);
    text->setText("Hello");  // unchanged: nothing
    text->setText("Hello world");
    EXPECT_EQ(undo->undoCount(), 1u);
    undo->undo();
    EXPECT_EQ(*text->text(), "Hello");

    document->setNeedsSave(false);
    auto names = namesPostedFor(text.get(), [&] { text->setText("quiet", true); });
    EXPECT_TRUE(names.empty());
    EXPECT_EQ(*text->text(), "quiet");
    EXPECT_FALSE(document->needsSave());
}

TEST(MarqenDOMTextSetters, ALabelStaysALabel) {
    auto text = MarqenDOMText::create();
    text->setTextBlockStyle(MarqenDOMTextBlockStyleParagraph);
    EXPECT_EQ(text->textBlockStyle(), MarqenDOMTextBlockStyleParagraph);
    text->setTextBlockStyle(MarqenDOMTextBlockStyleLabel);
    text->setTextBlockStyle(MarqenDOMTextBlockStyleBubble);
    EXPECT_EQ(text->textBlockStyle(), MarqenDOMTextBlockStyleLabel);
    EXPECT_FALSE(text->allowsScaling());
}

TEST(MarqenDOMTextDisplay, BubbleLineWidthAndLabelValues) {
    auto text = MarqenDOMText::create();
    text->setFont(MarqenDOMFont("Helvetica-Bold", 24));
    text->updateLineWidth();
    EXPECT_NEAR(text->lineWidth(), 6.72, 1e-12);
    EXPECT_NEAR(MarqenDOMText::bubbleStrokeWidthFromFontSize(50), 14, 1e-12);

    text->setFillColor(MarqenDOMColor(255, 0, 0, 1));
    EXPECT_EQ(text->displayTextColor(), MarqenDOMColor(255, 0, 0, 1));
    EXPECT_EQ(text->displayFontName(), "Helvetica-Bold");

    auto document = MarqenDOMDocument::createWithSize({400, 300}, 1);
    document->setContentScaleFactor(2.0);
    auto label = textInDocument(document);
    label->setTextBlockStyle(MarqenDOMTextBlockStyleLabel);
    EXPECT_EQ(label->displayFontName(), "HelveticaNeue-Medium");
    EXPECT_EQ(label->displayFontSize(), 30);
    EXPECT_EQ(label->displayTextColor(), MarqenDOMColor::whiteColor());
    EXPECT_NEAR(label->bubbleStrokeWidth(), 0.28 * 48, 1e-12);
}

TEST(MarqenDOMTextDisplay, StringAttributesNeedFontAndBothColoursForBubbles) {
    auto text = MarqenDOMText::create();
    EXPECT_FALSE(text->stringAttributes());
    text->setFillColor(MarqenDOMColor(0, 0, 0, 1));
    EXPECT_FALSE(text->stringAttributes());
    text->setStrokeColor(MarqenDOMColor::whiteColor());
    auto attributes = text->stringAttributes();
    ASSERT_TRUE(attributes);
    EXPECT_EQ(attributes->fontSize, 24);
    EXPECT_EQ(attributes->lineHeightMultiple, 1.1);
    auto paragraph = MarqenDOMText::create();
    paragraph->setTextBlockStyle(MarqenDOMTextBlockStyleParagraph);
    EXPECT_TRUE(paragraph->stringAttributes());
}

TEST(MarqenDOMTextToolSize, ClampsConvertsAndIgnoresLabels) {
    auto text = MarqenDOMText::create();
    text->setToolSizeAbsolute(4);
    EXPECT_EQ(text->font()->size(), 8);
    text->setToolSizeAbsolute(2000);
    EXPECT_EQ(text->font()->size(), 1024);
    EXPECT_EQ(text->font()->name(), "Helvetica-Bold");

    EXPECT_EQ(text->convertToolSizeRelativeToToolSizeAbsolute(0.2, 1, 1), 12);
    EXPECT_EQ(text->convertToolSizeRelativeToToolSizeAbsolute(0.5, 1, 2), 48);
    EXPECT_EQ(text->convertToolSizeRelativeToToolSizeAbsolute(0.8, 0.5, 1), 18);
    EXPECT_EQ(text->convertToolSizeRelativeToToolSizeAbsolute(1.0, 1, 1), 48);
    EXPECT_EQ(text->convertToolSizeAbsoluteToToolSizeRelative(12.005, 1, 1), 0.2);
    EXPECT_EQ(text->convertToolSizeAbsoluteToToolSizeRelative(36, 1, 1), 0.6 + 0.2);
    EXPECT_EQ(text->convertToolSizeAbsoluteToToolSizeRelative(72, 1, 2), 0.8);
    EXPECT_EQ(text->convertToolSizeAbsoluteToToolSizeRelative(49, 1, 1), 1.0);

    auto label = MarqenDOMText::create();
    label->setTextBlockStyle(MarqenDOMTextBlockStyleLabel);
    label->setToolSizeAbsolute(60);
    EXPECT_EQ(label->font()->size(), 24);
}

TEST_F(TextOnAPage, ToolColorSetsFillAndContrastingStrokeWithUndoOnlyAfterAColour) {
    auto names = namesPostedFor(text.get(), [&] { text->setToolColor(MarqenDOMColor(0, 0, 128, 1)); });
    EXPECT_EQ(names.back(), MarqenDOMNodeNeedsDisplay);
    EXPECT_EQ(text->fillColor(), MarqenDOMColor(0, 0, 128, 1));
    EXPECT_EQ(text->strokeColor(), MarqenDOMColor::whiteColor());
    EXPECT_EQ(text->toolColor(), MarqenDOMColor(0, 0, 128, 1));
    EXPECT_EQ(undo->undoCount(), 0u);  // there was no colour before

    text->setToolColor(MarqenDOMColor(255, 255, 0, 1));
    EXPECT_EQ(text->strokeColor(), MarqenDOMColor(0, 0, 0, 1));
    EXPECT_EQ(undo->undoCount(), 1u);
    undo->undo();
    EXPECT_EQ(text->fillColor(), MarqenDOMColor(0, 0, 128, 1));
    EXPECT_EQ(text->strokeColor(), MarqenDOMColor::whiteColor());
}

TEST(MarqenDOMTextTransforms, ScalingFollowsTheVerticalFactorAboutTheOrigin) {
    auto text = MarqenDOMText::create();
    text->setOrigin({50, 60});
    text->setFont(MarqenDOMFont("Helvetica", 20));
    text->setWrapWidth(100);
    text->scale({3, 2}, {0, 0});
    EXPECT_EQ(text->font()->size(), 40);
    EXPECT_EQ(text->wrapWidth(), 200);
    EXPECT_EQ(text->origin(), CGPointMake(50, 60));

    text->translate({5, -5});
    EXPECT_EQ(text->origin(), CGPointMake(55, 55));
    text->applyTransform(CGAffineTransformMakeScale(0.5, 0.5));
    EXPECT_EQ(text->origin(), CGPointMake(27.5, 27.5));
    EXPECT_EQ(text->font()->size(), 20);
}

TEST(MarqenDOMTextUpgrade, ParagraphTextTakesHelveticaAtSevenEighthsAndBlack) {
    auto paragraph = MarqenDOMText::create();
    paragraph->setTextBlockStyle(MarqenDOMTextBlockStyleParagraph);
    paragraph->setFont(MarqenDOMFont("Georgia", 48));
    paragraph->setFillColor(MarqenDOMColor(255, 0, 0, 1));
    paragraph->upgradeParagraphTextToRespectColorAndFont();
    EXPECT_EQ(*paragraph->font(), MarqenDOMFont("Helvetica", 42));
    EXPECT_EQ(paragraph->fillColor(), MarqenDOMColor());

    auto bubble = MarqenDOMText::create();
    bubble->setFont(MarqenDOMFont("Georgia", 48));
    bubble->upgradeParagraphTextToRespectColorAndFont();
    EXPECT_EQ(bubble->font()->name(), "Georgia");
}

TEST(MarqenDOMTextUpgrade, DocumentVersionDecidesWhetherTextsAreUpgraded) {
    auto make = [](const char *version) {
        return MarqenJSON{
            {"type", "Document"},
            {"metadata", {{"version", version}}},
            {"frame", {{"x", 0}, {"y", 0}, {"width", 100}, {"height", 100}}},
            {"children",
             {{{"type", "Layer"}, {"layerId", "__text__"},
               {"children", {{{"type", "Text"}, {"textStyle", "paragraphText"}, {"font", {{"name", "Georgia"}, {"size", 48}}}}}}}}}};
    };
    auto old = MarqenDOMDocument::fromDictionary(make("1.1"));
    auto text = std::dynamic_pointer_cast<MarqenDOMText>(old->allTextElements().at(0));
    EXPECT_EQ(*text->font(), MarqenDOMFont("Helvetica", 42));
    auto current = MarqenDOMDocument::fromDictionary(make("1.2"));
    text = std::dynamic_pointer_cast<MarqenDOMText>(current->allTextElements().at(0));
    EXPECT_EQ(*text->font(), MarqenDOMFont("Georgia", 48));
    EXPECT_EQ(current->textStrings().size(), 0u);  // a text without a string has none to give
}
