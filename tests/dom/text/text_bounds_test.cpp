// Texts are rendered the way the renderer lays them out (measured with the wrap width, drawn in
// textBounds) and every inked pixel must lie inside contentBounds.
#include <gtest/gtest.h>

#include <cmath>

#include "dom/document.h"
#include "dom/stamp.h"
#include "dom/text.h"
#include "platform/graphics.h"
#include "platform/image_io.h"
#include "platform/text_layout.h"

using namespace marqen;

namespace {

struct InkReport {
    int inked = 0;
    int outside = 0;
    CGRect inkBounds = CGRectNull;
};

// Draws the text as a renderer does (bubble text filled and outlined with its line width) onto a canvas
// with room around the content bounds, and compares the ink with the bounds.
InkReport render(const MarqenDOMText &text, const char *saveAs = nullptr) {
    CGRect bounds = text.contentBounds();
    const int margin = 64;
    auto image = MarqenImage::create(static_cast<int>(std::ceil(bounds.size.width)) + 2 * margin,
                                     static_cast<int>(std::ceil(bounds.size.height)) + 2 * margin);
    auto context = MarqenGraphicsContext::createForImage(image);
    CGPoint shift = CGPointMake(margin - std::floor(bounds.origin.x), margin - std::floor(bounds.origin.y));
    auto attributes = text.stringAttributes();
    MarqenTextAttributes layoutAttributes;
    layoutAttributes.fontName = text.displayFontName();
    layoutAttributes.fontSize = text.displayFontSize();
    layoutAttributes.lineHeightMultiple = 1.1;
    layoutAttributes.alignment = text.alignment() == MarqenDOMTextAlignmentRight    ? MarqenTextAlignment::Right
                                 : text.alignment() == MarqenDOMTextAlignmentCenter ? MarqenTextAlignment::Center
                                                                                    : MarqenTextAlignment::Left;
    bool label = text.textBlockStyle() == MarqenDOMTextBlockStyleLabel;
    MarqenTextLayout layout(text.text().value_or(""), layoutAttributes, label ? 0 : text.wrapWidth());
    CGRect frame = CGRectOffset(text.textBounds(), shift.x, shift.y);
    bool bubble = text.textBlockStyle() == MarqenDOMTextBlockStyleBubble;
    layout.draw(context->cairoContext(), frame, true,
                bubble ? MarqenTextDrawingMode::FillStroke : MarqenTextDrawingMode::Fill, text.lineWidth(),
                {1, 1, 1, 1});
    EXPECT_TRUE(attributes || !bubble);
    context.reset();
    if (saveAs) MarqenImageWriteToFile(*image, saveAs, MarqenImageFormat::PNG);
    InkReport report;
    // A pixel the bounds' edge passes through may carry antialiased ink from inside.
    CGRect allowed = CGRectIntegral(CGRectOffset(bounds, shift.x, shift.y));
    for (int y = 0; y < image->height(); ++y)
        for (int x = 0; x < image->width(); ++x) {
            if ((image->pixelAt(x, y) >> 24) == 0) continue;
            ++report.inked;
            report.inkBounds = CGRectUnion(report.inkBounds, CGRectMake(x, y, 1, 1));
            if (!CGRectContainsRect(allowed, CGRectMake(x, y, 1, 1))) ++report.outside;
        }
    return report;
}

std::shared_ptr<MarqenDOMText> makeText(MarqenDOMTextBlockStyle style, const std::string &string,
                                        const std::string &font = "Helvetica-Bold", CGFloat size = 36,
                                        CGFloat wrapWidth = 0) {
    auto text = MarqenDOMText::create();
    text->setTextBlockStyle(style);
    text->setFont(MarqenDOMFont(font, size));
    text->setToolColor(MarqenDOMColor(200, 30, 30, 1));
    text->setText(string);
    text->setOrigin({17.25, 9.5});
    text->setWrapWidth(wrapWidth);
    text->updateLineWidth();
    return text;
}

std::string longLine() {
    std::string text;
    for (int i = 0; i < 40; ++i) text += "Annotate everything, quickly! ";
    return text;
}

const std::vector<std::string> &strings() {
    static const std::vector<std::string> list{
        "Hello",
        longLine(),
        "First line\nSecond, longer line\n\nFourth after an empty one",
        "\u05e9\u05dc\u05d5\u05dd \u05e2\u05d5\u05dc\u05dd \u2014 \u05d8\u05e7\u05e1\u05d8 \u05d0\u05e8\u05d5\u05da \u05de\u05d9\u05de\u05d9\u05df \u05dc\u05e9\u05de\u05d0\u05dc",
        "\u0645\u0631\u062d\u0628\u0627 \u0628\u0627\u0644\u0639\u0627\u0644\u0645\n\u0633\u0637\u0631 \u062b\u0627\u0646\u064d",
        "Mixed \u05e2\u05d1\u05e8\u05d9\u05ea and English \u00c5ngstr\u00f6m \u00c9\u00c7 fjord gypsy",
        "Supercalifragilisticexpialidocious-without-any-break-opportunity-at-all-in-this-very-long-word",
    };
    return list;
}

}  // namespace

TEST(MarqenDOMTextBounds, EveryStyleKeepsItsInkInsideForLongMultiLineAndRightToLeftText) {
    for (auto style : {MarqenDOMTextBlockStyleBubble, MarqenDOMTextBlockStyleParagraph}) {
        for (const auto &string : strings()) {
            for (CGFloat wrap : {0.0, 180.0}) {
                auto text = makeText(style, string, style == MarqenDOMTextBlockStyleBubble ? "Helvetica-Bold" : "Helvetica",
                                     36, wrap);
                InkReport report = render(*text, wrap > 0 ? getenv("MARQEN_SAVE_TEXT") : nullptr);
                EXPECT_GT(report.inked, 0) << string;
                CGRect b = text->contentBounds();
                EXPECT_EQ(report.outside, 0) << "style " << style << " wrap " << wrap << ": " << string << " ink " << report.inkBounds.origin.x << "," << report.inkBounds.origin.y << " " << report.inkBounds.size.width << "x" << report.inkBounds.size.height << " bounds " << b.size.width << "x" << b.size.height;
            }
        }
    }
}

TEST(MarqenDOMTextBounds, LabelsKeepTheirInkInside) {
    auto document = MarqenDOMDocument::createWithSize({4000, 1000}, 1);
    document->setContentScaleFactor(1.5);
    auto stamp = MarqenDOMStamp::createWithStampName("com.brondale.marqen.approved");
    document->addNode(stamp);
    stamp->beginAtPoint({2000, 500});
    for (const auto &string : strings()) {
        auto label = MarqenDOMText::attachLabelToNode(stamp, string);
        InkReport report = render(*label, getenv("MARQEN_SAVE_LABEL"));
        EXPECT_GT(report.inked, 0) << string;
        EXPECT_EQ(report.outside, 0) << string;
        label->setEditingInProgress(true);
        EXPECT_GE(label->contentBounds().size.width, label->tightContentBounds().size.width);
        EXPECT_EQ(render(*label).outside, 0) << string;
        label->removeFromParent();
    }
}

TEST(MarqenDOMTextBounds, AlignmentsFontsAndSizes) {
    for (const char *font : {"Helvetica", "Times-Italic", "Courier-BoldOblique", "NoSuchFont-Regular", ""}) {
        for (CGFloat size : {8.0, 24.0, 130.0}) {
            for (auto alignment : {MarqenDOMTextAlignmentLeft, MarqenDOMTextAlignmentCenter, MarqenDOMTextAlignmentRight}) {
                auto text = makeText(MarqenDOMTextBlockStyleParagraph, "Wrapped text: jumpy f\u0192 italic glyphs overhang", font,
                                     size, 4 * size);
                text->setAlignment(alignment);
                InkReport report = render(*text);
                EXPECT_GT(report.inked, 0);
                CGRect b = text->contentBounds();
                EXPECT_EQ(report.outside, 0) << font << " " << size << " alignment " << alignment << " ink " << report.inkBounds.origin.x << "," << report.inkBounds.origin.y << " " << report.inkBounds.size.width << "x" << report.inkBounds.size.height << " bounds " << b.size.width << "x" << b.size.height;
            }
        }
    }
}

TEST(MarqenDOMTextBounds, EmptyAndEnormousTexts) {
    auto empty = makeText(MarqenDOMTextBlockStyleParagraph, "");
    CGRect bounds = empty->contentBounds();
    EXPECT_GT(bounds.size.height, 0);  // a line to type on
    EXPECT_EQ(render(*empty).inked, 0);
    empty->setEditingInProgress(true);
    EXPECT_GT(empty->contentBounds().size.width, bounds.size.width);

    std::string big;
    for (int i = 0; i < 20000; ++i) big += "word ";
    auto enormous = makeText(MarqenDOMTextBlockStyleParagraph, big, "Helvetica", 12, 2000);
    CGRect large = enormous->contentBounds();
    EXPECT_GT(large.size.height, 1000);
    EXPECT_LE(large.size.width, 2000 + 2 * 0.15 * 12 + 1e-6);
    EXPECT_EQ(enormous->contentBounds(), large);  // measured once, then cached
    MarqenJSON written = enormous->dictionaryRepresentation();
    EXPECT_EQ(written["text"].get<std::string>().size(), big.size());  // nothing lost
}

TEST(MarqenDOMTextBounds, BoundsFollowTheTextAndAreHitTested) {
    auto text = makeText(MarqenDOMTextBlockStyleBubble, "Hi");
    CGRect small = text->contentBounds();
    text->setText("Hi there, a longer text");
    CGRect large = text->contentBounds();
    EXPECT_GT(large.size.width, small.size.width);
    EXPECT_EQ(large.origin, text->origin());
    EXPECT_EQ(text->hitTestWithPoint({large.origin.x + 1, large.origin.y + 1}), text);
    EXPECT_EQ(text->hitTestWithPoint({large.origin.x - 1, large.origin.y}), nullptr);
    EXPECT_EQ(text->hitTestWithRect(CGRectMake(CGRectGetMaxX(large) - 1, 0, 10, 100)), text);
    EXPECT_EQ(text->hitTestWithRect(CGRectMake(CGRectGetMaxX(large) + 1, 0, 10, 100)), nullptr);
    EXPECT_TRUE(CGRectContainsRect(large, text->textBounds()));
}
