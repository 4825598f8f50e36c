#include <gtest/gtest.h>
#include <cairo.h>

#include <cstdlib>

#include "platform/graphics.h"
#include "platform/image_io.h"
#include "platform/text_layout.h"
#include "support/test_support.h"

using namespace marqen;

TEST(MarqenResolveFont, PostScriptNamesFindInstalledFaces) {
    MarqenResolvedFont bold = MarqenResolveFont("Helvetica-Bold");
    EXPECT_EQ(bold.family, "Nimbus Sans");
    EXPECT_EQ(bold.weight, 700);
    EXPECT_FALSE(bold.italic);
    EXPECT_FALSE(bold.isFallback);
    EXPECT_EQ(bold.faceDescription, "Nimbus Sans Bold");

    MarqenResolvedFont regular = MarqenResolveFont("Helvetica");
    EXPECT_EQ(regular.faceDescription, "Nimbus Sans");
    EXPECT_EQ(regular.weight, 400);

    MarqenResolvedFont oblique = MarqenResolveFont("Helvetica-BoldOblique");
    EXPECT_EQ(oblique.family, "Nimbus Sans");
    EXPECT_TRUE(oblique.italic);
    EXPECT_EQ(oblique.weight, 700);

    // No medium face exists: the closest weight of the Helvetica stand-in.
    MarqenResolvedFont medium = MarqenResolveFont("HelveticaNeue-Medium");
    EXPECT_EQ(medium.family, "Nimbus Sans");
    EXPECT_FALSE(medium.isFallback);

    EXPECT_EQ(MarqenResolveFont("NimbusSans-Bold").faceDescription, "Nimbus Sans Bold");  // an installed PostScript name
    EXPECT_EQ(MarqenResolveFont("Times-Roman").family, "Nimbus Roman");
    EXPECT_EQ(MarqenResolveFont("TimesNewRomanPSMT").family, "Nimbus Roman");

    MarqenResolvedFont unknown = MarqenResolveFont("NoSuchFamily-Bold");
    EXPECT_TRUE(unknown.isFallback);
    EXPECT_EQ(unknown.family, MarqenResolveFont("").family);  // the default font...
    EXPECT_EQ(unknown.weight, 700);                            // ...with the style kept
    EXPECT_FALSE(MarqenResolveFont("").isFallback);
    EXPECT_TRUE(MarqenResolveFont("\xff\xfe-\x01").isFallback);
}

TEST(MarqenTextLayout, MeasuresAndWraps) {
    MarqenTextAttributes attributes;
    attributes.fontName = "Helvetica";
    attributes.fontSize = 20;
    CGSize one = MarqenTextLayout("Hello", attributes).suggestedSize();
    CGSize longer = MarqenTextLayout("Hello, world", attributes).suggestedSize();
    EXPECT_GT(one.width, 20);
    EXPECT_GT(longer.width, one.width);
    EXPECT_NEAR(one.height, longer.height, 1e-9);
    EXPECT_GT(one.height, 18);
    EXPECT_LT(one.height, 30);

    attributes.fontSize = 40;  // metrics scale with the size (no hinting)
    CGSize twice = MarqenTextLayout("Hello", attributes).suggestedSize();
    EXPECT_NEAR(twice.width, 2 * one.width, 0.05);
    attributes.fontSize = 20;

    std::string sentence = "The quick brown fox jumps over the lazy dog";
    MarqenTextLayout unwrapped(sentence, attributes);
    MarqenTextLayout wrapped(sentence, attributes, 150);
    EXPECT_EQ(unwrapped.lineCount(), 1);
    EXPECT_GT(wrapped.lineCount(), 2);
    EXPECT_LE(wrapped.suggestedSize().width, 150);
    EXPECT_NEAR(wrapped.suggestedSize().height, wrapped.lineCount() * one.height, 1e-6);

    attributes.lineHeightMultiple = 2;
    MarqenTextLayout spaced(sentence, attributes, 150);
    EXPECT_EQ(spaced.lineCount(), wrapped.lineCount());
    EXPECT_GT(spaced.suggestedSize().height, 1.8 * wrapped.suggestedSize().height);

    EXPECT_EQ(MarqenTextLayout("", attributes).suggestedSize(), CGSizeZero);
    EXPECT_EQ(MarqenTextLayout("a\nb\nc", MarqenTextAttributes{}).lineCount(), 3);
    EXPECT_EQ(sizeWithFont("Hello", "Helvetica", 20), one);
}

TEST(MarqenTextLayout, RightToLeftText) {
    MarqenTextAttributes attributes;
    attributes.fontSize = 24;
    std::string hebrew = "\xd7\xa9\xd7\x9c\xd7\x95\xd7\x9d \xd7\xa2\xd7\x95\xd7\x9c\xd7\x9d";  // "shalom olam"
    MarqenTextLayout layout(hebrew, attributes);
    EXPECT_TRUE(layout.isRightToLeft());
    EXPECT_GT(layout.suggestedSize().width, 50);
    MarqenTextLayout narrow(hebrew, attributes, 60);
    EXPECT_EQ(narrow.lineCount(), 2);
    EXPECT_FALSE(MarqenTextLayout("Hello", attributes).isRightToLeft());
}

TEST(MarqenTextLayout, BadInputHasDocumentedResults) {
    test::LogCapture log;
    MarqenTextAttributes attributes;
    attributes.fontSize = -5;  // unusable sizes fall back to 12
    MarqenTextAttributes twelve;
    twelve.fontSize = 12;
    EXPECT_EQ(MarqenTextLayout("abc", attributes).suggestedSize(), MarqenTextLayout("abc", twelve).suggestedSize());
    MarqenTextLayout invalid(std::string("ab\xff\xfe" "cd"), twelve);  // invalid UTF-8 is repaired
    EXPECT_GT(invalid.suggestedSize().width, 0);

    std::string huge(MarqenTextLayout::kMaximumTextLength + 10, 'x');
    huge[MarqenTextLayout::kMaximumTextLength - 1] = '\xc3';  // a two-byte character across the cut
    huge[MarqenTextLayout::kMaximumTextLength] = '\xa9';
    MarqenTextLayout cut(huge, twelve, 400);
    EXPECT_TRUE(cut.wasTruncated());
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines()[0], "MarqenTextLayout: text of 262154 bytes cut to 262143 bytes");
}

TEST(MarqenTextLayout, DrawsFilledAndOutlinedText) {
    MarqenImageRef image = MarqenImage::create(320, 140);
    auto context = MarqenGraphicsContext::createForImage(image);
    context->setFillColor({1, 1, 1, 1});
    context->fillRect(CGRectMake(0, 0, 320, 140));
    MarqenTextAttributes attributes;
    attributes.fontName = "Helvetica-Bold";
    attributes.fontSize = 48;
    attributes.color = {0, 0, 1, 1};
    MarqenTextLayout filled("Marqen", attributes);
    CGSize size = filled.suggestedSize();
    filled.draw(context->cairoContext(), CGRectMake(10, 10, size.width, size.height), true);
    MarqenTextLayout outlined("Bubble", attributes);
    // The platform's y-up convention: flip the context, the text still reads upright.
    cairo_t *cr = context->cairoContext();
    cairo_save(cr);
    cairo_translate(cr, 0, 140);
    cairo_scale(cr, 1, -1);
    outlined.draw(cr, CGRectMake(10, 5, size.width + 40, size.height), false, MarqenTextDrawingMode::FillStroke, 3,
                  {1, 0, 0, 1});
    cairo_restore(cr);
    context.reset();
    if (const char *keep = std::getenv("MARQEN_KEEP_TEST_IMAGES")) {
        MarqenImageWriteToFile(*image, std::filesystem::path(keep) / "text.png", MarqenImageFormat::PNG);
    }
    int blue = 0, red = 0, blueInTop = 0;
    for (int y = 0; y < 140; ++y)
        for (int x = 0; x < 320; ++x) {
            uint32_t p = image->pixelAt(x, y);
            bool isBlue = (p & 0xFF) > 200 && ((p >> 16) & 0xFF) < 60;
            bool isRed = ((p >> 16) & 0xFF) > 200 && (p & 0xFF) < 60 && ((p >> 8) & 0xFF) < 60;
            blue += isBlue;
            red += isRed;
            if (isBlue && y < 70) ++blueInTop;
        }
    EXPECT_GT(blue, 1500);
    EXPECT_GT(red, 500);     // the outline
    EXPECT_GT(blueInTop, 1000);  // the flipped-space text sits at the bottom, the first at the top

    // drawAtCGPoint right-justified: the ink ends at the point.
    MarqenImageRef label = MarqenImage::create(200, 40);
    auto labelContext = MarqenGraphicsContext::createForImage(label);
    cairo_set_source_rgb(labelContext->cairoContext(), 0, 0, 0);
    drawAtCGPoint("Label", labelContext->cairoContext(), {150, 5}, "Helvetica", 20, std::nullopt, true, true);
    labelContext.reset();
    int rightmost = -1, leftmost = 1000;
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 200; ++x)
            if (label->pixelAt(x, y) >> 24) {
                rightmost = std::max(rightmost, x);
                leftmost = std::min(leftmost, x);
            }
    EXPECT_LE(rightmost, 150);
    EXPECT_GE(rightmost, 145);
    EXPECT_NEAR(leftmost, 150 - sizeWithFont("Label", "Helvetica", 20).width, 3);
}
