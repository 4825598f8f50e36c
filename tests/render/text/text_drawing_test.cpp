#include <gtest/gtest.h>

#include "dom/document.h"
#include "dom/layer.h"
#include "dom/text.h"
#include "platform/graphics.h"
#include "render/document_images.h"

namespace marqen::test {
namespace {

using Json = nlohmann::ordered_json;

Json color(int r, int g, int b) { return {{"red", r}, {"green", g}, {"blue", b}, {"alpha", 1}}; }

std::shared_ptr<MarqenDOMDocument> documentWithText(const Json &text, double width = 400, double height = 200) {
    Json document = {{"type", "Document"},
                     {"frame", {{"x", 0}, {"y", 0}, {"width", width}, {"height", height}}},
                     {"children",
                      {{{"type", "Layer"}, {"layerId", "__background__"}},
                       {{"type", "Layer"}, {"layerId", "__annotation__"}},
                       {{"type", "Layer"}, {"layerId", "__text__"}, {"children", {text}}}}}};
    return MarqenDOMDocument::fromDictionary(document);
}

struct Ink {
    int pixels = 0;
    CGRect bounds = CGRectNull;
    long red = 0, green = 0, blue = 0;  // sums over fully opaque pixels
    int opaque = 0;
};

Ink inkOf(const MarqenImage &image) {
    Ink ink;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            uint8_t c[4];
            MarqenImageUnpremultiply(image.pixelAt(x, y), c);
            if (c[0] == 0) continue;
            ++ink.pixels;
            ink.bounds = CGRectUnion(ink.bounds, CGRectMake(x, y, 1, 1));
            if (c[0] == 255) {
                ++ink.opaque;
                ink.red += c[1];
                ink.green += c[2];
                ink.blue += c[3];
            }
        }
    return ink;
}

MarqenImageRef renderText(const std::shared_ptr<MarqenDOMDocument> &document) {
    CGSize size = document->frame().size;
    return MarqenDOMDocumentCreateImageWithSize(document, std::nullopt, std::nullopt, size);
}

std::shared_ptr<MarqenDOMText> textOf(const MarqenDOMDocument &document) {
    return std::dynamic_pointer_cast<MarqenDOMText>(document.textLayer()->childAtIndex(0));
}

TEST(TextDrawing, BubbleTextIsOutlinedAndStaysInsideItsBounds) {
    auto document = documentWithText({{"type", "Text"},
                                      {"text", "Hello"},
                                      {"origin", {{"x", 20}, {"y", 30}}},
                                      {"font", {{"name", "Helvetica-Bold"}, {"size", 48}}},
                                      {"strokeColor", color(255, 255, 255)},
                                      {"fillColor", color(255, 0, 0)},
                                      {"textStyle", "bubbleText"}});
    auto image = renderText(document);
    Ink ink = inkOf(*image);
    ASSERT_GT(ink.pixels, 500);
    CGRect bounds = textOf(*document)->contentBounds();
    EXPECT_TRUE(CGRectContainsRect(CGRectInset(bounds, -1, -1), ink.bounds))
        << "ink " << ink.bounds.origin.x << "," << ink.bounds.origin.y << " " << ink.bounds.size.width << "x"
        << ink.bounds.size.height;
    // Red letters and a white outline: both colours are there in quantity.
    int red = 0, white = 0;
    for (int y = 0; y < image->height(); ++y)
        for (int x = 0; x < image->width(); ++x) {
            uint8_t c[4];
            MarqenImageUnpremultiply(image->pixelAt(x, y), c);
            if (c[0] < 255) continue;
            if (c[1] > 240 && c[2] < 20) ++red;
            if (c[1] > 240 && c[2] > 240 && c[3] > 240) ++white;
        }
    EXPECT_GT(red, 200);
    EXPECT_GT(white, 200);
}

TEST(TextDrawing, ParagraphTextIsPlainAndWraps) {
    Json text = {{"type", "Text"},
                 {"text", "one two three four five six seven eight nine ten"},
                 {"origin", {{"x", 10}, {"y", 10}}},
                 {"wrapWidth", 120},
                 {"font", {{"name", "Helvetica"}, {"size", 20}}},
                 {"fillColor", color(0, 0, 255)},
                 {"textStyle", "paragraphText"}};
    auto document = documentWithText(text);
    auto image = renderText(document);
    Ink ink = inkOf(*image);
    ASSERT_GT(ink.opaque, 50);
    // Wrapped: several lines, no wider than the wrap width.
    EXPECT_LE(ink.bounds.size.width, 121);
    EXPECT_GT(ink.bounds.size.height, 60);
    // Only the text colour: no outline.
    EXPECT_EQ(ink.red, 0);
    EXPECT_EQ(ink.blue, 255L * ink.opaque);
    EXPECT_TRUE(CGRectContainsRect(CGRectInset(textOf(*document)->contentBounds(), -1, -1), ink.bounds));
}

TEST(TextDrawing, LabelTextIsWhiteOnADarkPlate) {
    Json text = {{"type", "Text"},
                 {"text", "Label"},
                 {"origin", {{"x", 40}, {"y", 40}}},
                 {"fillColor", color(255, 0, 0)},
                 {"textStyle", "labelText"}};
    auto document = documentWithText(text);
    auto image = renderText(document);
    CGRect plate = textOf(*document)->contentBounds();
    Ink ink = inkOf(*image);
    ASSERT_GT(ink.pixels, 100);
    EXPECT_TRUE(CGRectContainsRect(CGRectInset(plate, -1, -1), ink.bounds));
    // The plate's inside near its left edge is dark, and white letters are on it.
    uint8_t c[4];
    MarqenImageUnpremultiply(image->pixelAt(static_cast<int>(plate.origin.x + 3), static_cast<int>(CGRectGetMidY(plate))), c);
    EXPECT_GT(c[0], 180);
    EXPECT_LT(c[1], 60);
    int white = 0;
    for (int y = 0; y < image->height(); ++y)
        for (int x = 0; x < image->width(); ++x) {
            MarqenImageUnpremultiply(image->pixelAt(x, y), c);
            if (c[1] > 240 && c[2] > 240 && c[3] > 240) ++white;
        }
    EXPECT_GT(white, 30);
}

TEST(TextDrawing, RightToLeftTextDraws) {
    Json text = {{"type", "Text"},
                 {"text", "שלום עולם"},
                 {"origin", {{"x", 10}, {"y", 10}}},
                 {"font", {{"name", "Helvetica"}, {"size", 30}}},
                 {"fillColor", color(0, 0, 0)},
                 {"textStyle", "paragraphText"}};
    auto document = documentWithText(text);
    Ink ink = inkOf(*renderText(document));
    EXPECT_GT(ink.opaque, 30);
    EXPECT_TRUE(CGRectContainsRect(CGRectInset(textOf(*document)->contentBounds(), -1, -1), ink.bounds));
}

// The widest run of empty columns inside the ink's horizontal extent, as its centre x; -1 when none.
double widestGapCentre(const MarqenImage &image, const CGRect &bounds) {
    int bestStart = -1, bestLength = 0, start = -1;
    for (int x = static_cast<int>(bounds.origin.x); x <= static_cast<int>(CGRectGetMaxX(bounds)); ++x) {
        bool empty = true;
        for (int y = 0; y < image.height() && empty; ++y) empty = (image.pixelAt(x, y) >> 24) == 0;
        if (empty && start < 0) start = x;
        if (!empty && start >= 0) {
            if (x - start > bestLength) bestStart = start, bestLength = x - start;
            start = -1;
        }
    }
    return bestStart < 0 ? -1 : bestStart + bestLength / 2.0;
}

TEST(TextDrawing, RightToLeftWordsRunFromTheRight) {
    // A one-letter word, then a long word: read from the right, the gap between them lies near the
    // right end of the line; drawn left to right it would lie near the left end.
    struct Line {
        const char *words;
        bool shortWordFirst;
    };
    for (const Line &line : {Line{"ש שלוםשלוםשלום", true}, Line{"שלוםשלוםשלום ש", false}}) {
        SCOPED_TRACE(line.words);
        Json text = {{"type", "Text"},
                     {"text", line.words},
                     {"origin", {{"x", 10}, {"y", 10}}},
                     {"font", {{"name", "Helvetica"}, {"size", 30}}},
                     {"fillColor", color(0, 0, 0)},
                     {"textStyle", "paragraphText"}};
        auto image = renderText(documentWithText(text, 600, 100));
        Ink ink = inkOf(*image);
        ASSERT_GT(ink.pixels, 100);
        double gap = widestGapCentre(*image, ink.bounds);
        ASSERT_GE(gap, 0);
        double fraction = (gap - ink.bounds.origin.x) / ink.bounds.size.width;
        if (line.shortWordFirst)  // it stands at the right
            EXPECT_GT(fraction, 0.75);
        else
            EXPECT_LT(fraction, 0.25);
    }
}

}  // namespace
}  // namespace marqen::test
