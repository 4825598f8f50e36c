#include <gtest/gtest.h>

#include <chrono>
#include <fstream>

#include "dom/bitmap.h"
#include "dom/document.h"
#include "dom/layer.h"
#include "dom/style.h"
#include "dom/text.h"
#include "dom/vector.h"
#include "formats/legacy_svg_import.h"
#include "foundation/base64.h"
#include "platform/image.h"
#include "platform/image_io.h"
#include "support/test_support.h"

using namespace marqen;
using marqen::test::LogCapture;
using marqen::test::TempDir;
using marqen::test::writeFile;

namespace {

std::string legacyFile(const std::string &rootAttributes, const std::string &children) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- Marqen 1.0 -->\n"
           "<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\" " +
           rootAttributes + ">\n" + children + "\n</svg>\n";
}

std::string plainRoot() { return "version=\"1.1\" width=\"200\" height=\"100\" style=\"rgb(10, 20, 30)\""; }

std::string pngDataURI(int width, int height, uint32_t argb, double dpi = 72) {
    auto image = MarqenImage::create(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image->setPixelAt(x, y, argb);
    MarqenImageEncodeOptions options;
    options.dpiWidth = dpi;
    options.dpiHeight = dpi;
    auto png = MarqenImageEncode(*image, MarqenImageFormat::PNG, options);
    return "data:image/png;base64," + NewBase64Encode(png->data(), png->size(), true);
}

struct Imported {
    std::shared_ptr<MarqenDOMDocument> document;
    MarqenError error;
};

Imported importText(const TempDir &dir, const std::string &contents, const std::string &name = "old.marqen") {
    writeFile(dir / name, contents);
    Imported result;
    result.document = MarqenLegacySVGConvertDocumentAtURL(dir / name, &result.error);
    return result;
}

MarqenImageRef backgroundImageOf(const MarqenDOMDocument &document) {
    auto bitmaps = document.allBitmaps();
    return bitmaps.empty() ? nullptr : bitmaps.front()->image();
}

void expectImportError(const Imported &imported, long code) {
    EXPECT_EQ(imported.document, nullptr);
    EXPECT_EQ(imported.error.domain, "Marqen Composition SVG Import Error");
    EXPECT_EQ(imported.error.code, code);
}

}  // namespace

TEST(LegacySVGPathData, GroupsOfMovesAndCurvesWithZAsSeparatorOnly) {
    auto path = svgImport_bezierPathFromSVGPathNodeDAttr("M 1 2 C 3 4 5 6 7 8 z M 9.5 -10");
    ASSERT_TRUE(path);
    ASSERT_EQ(path->elementCount(), 3u);
    EXPECT_EQ(path->elementAtIndex(0).type, MarqenPathElementType::MoveToPoint);
    EXPECT_EQ(path->elementAtIndex(1).type, MarqenPathElementType::AddCurveToPoint);
    EXPECT_EQ(path->elementAtIndex(1).points[0].x, 3);
    EXPECT_EQ(path->elementAtIndex(1).points[1].y, 6);
    EXPECT_EQ(path->elementAtIndex(1).points[2].x, 7);
    EXPECT_EQ(path->elementAtIndex(2).type, MarqenPathElementType::MoveToPoint);
    EXPECT_EQ(path->elementAtIndex(2).points[0].x, 9.5);
    EXPECT_EQ(path->elementAtIndex(2).points[0].y, -10);

    auto compact = svgImport_bezierPathFromSVGPathNodeDAttr("M1 2C3 4 5 6 7 8C1e1 2 3 4 5 6z");
    ASSERT_TRUE(compact);
    EXPECT_EQ(compact->elementCount(), 3u);
    EXPECT_EQ(compact->elementAtIndex(2).points[0].x, 10);

    auto empty = svgImport_bezierPathFromSVGPathNodeDAttr("   ");
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->isEmpty());
}

TEST(LegacySVGPathData, AnythingOutsideTheOldSubsetGivesNoPath) {
    for (const char *d : {"M 1", "C 1 2 3 4 5 6", "M 1 2 L 3 4", "M 1 2 C 1 2 3", "M 1 2 C 3 4 5 6 7 8 M 1 2",
                          "M 1 2 z z", "M 1 2 z 4", "M nan 2", "M 1 inf", "M 1 2 C 1 2 3 4 5 1e999", "x"}) {
        EXPECT_FALSE(svgImport_bezierPathFromSVGPathNodeDAttr(d)) << d;
    }
}

TEST(LegacySVGColors, RgbTripletsOnly) {
    auto color = svgImport_colorFromString(" rgb( 10 , 20,30 ) ");
    ASSERT_TRUE(color);
    EXPECT_EQ(*color, MarqenDOMColor(10, 20, 30, 1));
    for (const char *text : {"rgb(256,0,0)", "rgb(-1,0,0)", "#ff0000", "rgb(1,2)", "rgb(1,2,3", "rgb(1.5,2,3)", "red"}) {
        EXPECT_FALSE(svgImport_colorFromString(text)) << text;
    }
}

TEST(LegacySVGColors, OutlineIsWhiteForDarkTextAndBlackForLight) {
    EXPECT_EQ(svgImport_outlineColorForTextColor({0, 0, 0, 1}), MarqenDOMColor::whiteColor());
    EXPECT_EQ(svgImport_outlineColorForTextColor({255, 255, 255, 1}), MarqenDOMColor(0, 0, 0, 1));
    // L = 0.50196 and 0.49804: the grey values either side of the threshold.
    EXPECT_EQ(svgImport_outlineColorForTextColor({128, 128, 128, 1}), MarqenDOMColor(0, 0, 0, 1));
    EXPECT_EQ(svgImport_outlineColorForTextColor({127, 127, 127, 1}), MarqenDOMColor::whiteColor());
    // Pure green is light (0.587), pure red dark (0.299).
    EXPECT_EQ(svgImport_outlineColorForTextColor({0, 255, 0, 1}), MarqenDOMColor(0, 0, 0, 1));
    EXPECT_EQ(svgImport_outlineColorForTextColor({255, 0, 0, 1}), MarqenDOMColor::whiteColor());
}

TEST(LegacySVGImport, ShapesTextsAndFlatBackground) {
    TempDir dir;
    auto imported = importText(
        dir, legacyFile(plainRoot(),
                        "<rect fill=\"rgb(0,0,255)\" opacity=\"0.5\" width=\"200\" height=\"100\"/>"
                        "<path fill=\"rgb(255,0,0)\" opacity=\"0.25\" marqenHasShadow=\"true\" d=\"M 1 2 C 3 4 5 6 7 8 z M 9 10\"/>"
                        "<path fill=\"rgb(0,255,0)\"/>"
                        "<circle r=\"4\"/>"
                        "<g font-family=\"Noto Sans\" font-size=\"18.5\" fill=\"rgb(20,20,20)\" marqenTextX=\"12\" marqenTextY=\"34\">"
                        "<text>one</text><text>two</text><text>three</text></g>"
                        "<g><text>plain</text></g>"));
    ASSERT_TRUE(imported.document) << imported.error.description();
    auto &document = *imported.document;
    EXPECT_EQ(document.frame().size.width, 200);
    EXPECT_EQ(document.frame().size.height, 100);
    EXPECT_EQ(document.deviceScale(), 1);

    auto vectors = document.annotationLayer()->children();
    ASSERT_EQ(vectors.size(), 2u);
    auto first = std::dynamic_pointer_cast<MarqenDOMVector>(vectors[0]);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->strokeColor(), MarqenDOMColor(255, 0, 0, 0.25));
    EXPECT_EQ(first->fillColor(), MarqenDOMColor(255, 0, 0, 0.25));
    ASSERT_TRUE(first->bezierPath());
    EXPECT_EQ(first->bezierPath()->elementCount(), 3u);
    ASSERT_TRUE(first->style());
    EXPECT_EQ(first->style()->shadowColor(), MarqenDOMColor(0, 0, 0, 0.8));
    EXPECT_EQ(first->style()->shadowOffset().width, 0);
    EXPECT_EQ(first->style()->shadowOffset().height, -1);
    EXPECT_EQ(first->style()->shadowRadius(), 3.0);
    auto second = std::dynamic_pointer_cast<MarqenDOMVector>(vectors[1]);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->fillColor(), MarqenDOMColor(0, 255, 0, 1));
    EXPECT_FALSE(second->style() && second->style()->shadowColor());

    auto texts = document.textLayer()->children();
    ASSERT_EQ(texts.size(), 2u);
    auto text = std::dynamic_pointer_cast<MarqenDOMText>(texts[0]);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->text(), "one\ntwo\nthree");
    EXPECT_EQ(text->font(), MarqenDOMFont("Noto Sans", 18.5));
    EXPECT_EQ(text->fillColor(), MarqenDOMColor(20, 20, 20, 1));
    EXPECT_EQ(text->strokeColor(), MarqenDOMColor::whiteColor());
    EXPECT_EQ(text->origin().x, 12);
    EXPECT_EQ(text->origin().y, 34);
    auto plain = std::dynamic_pointer_cast<MarqenDOMText>(texts[1]);
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->text(), "plain");
    EXPECT_EQ(plain->font(), MarqenDOMFont());
    EXPECT_EQ(plain->origin().x, 0);

    // The rect's blue at half opacity replaced the root's colour: premultiplied 0x80 alpha, 0x80 blue.
    auto background = backgroundImageOf(document);
    ASSERT_TRUE(background);
    EXPECT_EQ(background->width(), 200);
    EXPECT_EQ(background->height(), 100);
    EXPECT_EQ(background->pixelAt(0, 0), 0x80000080u);
    EXPECT_EQ(background->pixelAt(199, 99), 0x80000080u);
}

TEST(LegacySVGImport, RootStyleColourOrWhite) {
    TempDir dir;
    auto styled = importText(dir, legacyFile(plainRoot(), ""));
    ASSERT_TRUE(styled.document);
    EXPECT_EQ(backgroundImageOf(*styled.document)->pixelAt(5, 5), 0xFF0A141Eu);
    auto unstyled = importText(dir, legacyFile("version=\"1.1\" width=\"20.5\" height=\"10\"", ""));
    ASSERT_TRUE(unstyled.document);
    auto background = backgroundImageOf(*unstyled.document);
    EXPECT_EQ(background->width(), 21);
    EXPECT_EQ(background->pixelAt(0, 0), 0xFFFFFFFFu);
}

// The embedded PNG becomes the background and sets the page's size in points: a picture at twice the
// resolution is scaled to its point size.
TEST(LegacySVGImport, EmbeddedPNGBecomesTheBackgroundAtItsPointSize) {
    TempDir dir;
    struct Row {
        int pixelWidth, pixelHeight;
        uint32_t argb;
        double dpi;
        int width, height;
    };
    for (const Row &row : {Row{30, 20, 0xFFFF0000, 72, 30, 20}, Row{40, 20, 0xFF00FF00, 144, 20, 10}}) {
        SCOPED_TRACE(row.dpi);
        auto imported = importText(dir, legacyFile(plainRoot(), "<image x=\"0\" y=\"0\" xlink:href=\"" +
                                                                    pngDataURI(row.pixelWidth, row.pixelHeight, row.argb, row.dpi) + "\"/>"));
        ASSERT_TRUE(imported.document) << imported.error.description();
        EXPECT_EQ(imported.document->frame().size.width, row.width);
        EXPECT_EQ(imported.document->frame().size.height, row.height);
        auto background = backgroundImageOf(*imported.document);
        ASSERT_TRUE(background);
        EXPECT_EQ(background->width(), row.width);
        EXPECT_EQ(background->height(), row.height);
        EXPECT_EQ(background->pixelAt(10, 5), row.argb);
    }
}

TEST(LegacySVGImport, ImagesThatAreNoPNGDataAreIgnored) {
    TempDir dir;
    // Only the first image counts; a JPEG reference leaves the flat colour at the root's size.
    auto imported = importText(dir, legacyFile(plainRoot(), "<image x=\"0\" y=\"0\" xlink:href=\"data:image/jpeg;base64,AAAA\"/>"
                                                            "<image x=\"0\" y=\"0\" xlink:href=\"" +
                                                                pngDataURI(30, 20, 0xFFFF0000) + "\"/>"));
    ASSERT_TRUE(imported.document);
    EXPECT_EQ(imported.document->frame().size.width, 200);
    EXPECT_EQ(backgroundImageOf(*imported.document)->pixelAt(0, 0), 0xFF0A141Eu);

    LogCapture log;
    auto garbage = importText(dir, legacyFile(plainRoot(), "<image x=\"0\" y=\"0\" xlink:href=\"data:image/png;base64,bm90IGEgcG5n\"/>"));
    ASSERT_TRUE(garbage.document);
    EXPECT_EQ(garbage.document->frame().size.width, 200);
    EXPECT_TRUE(log.contains("background image is ignored"));
}

TEST(LegacySVGImport, ImageAbovePixelLimitIsLoggedAndLeftOut) {
    TempDir dir;
    std::string png = pngDataURI(30, 20, 0xFFFF0000);
    uint64_t limit = MarqenImageMaximumPixelCount();
    MarqenImageSetMaximumPixelCount(100);
    LogCapture log;
    auto imported = importText(dir, legacyFile("version=\"1.1\" width=\"8\" height=\"8\"",
                                               "<image x=\"0\" y=\"0\" xlink:href=\"" + png + "\"/>"));
    MarqenImageSetMaximumPixelCount(limit);
    ASSERT_TRUE(imported.document);
    EXPECT_EQ(imported.document->frame().size.width, 8);
    EXPECT_TRUE(log.contains("background image is ignored"));
}

TEST(LegacySVGImport, StructuralErrors) {
    TempDir dir;
    std::string png = pngDataURI(4, 4, 0xFF000000);
    struct Case {
        const char *what;
        std::string contents;
    } cases[] = {
        {"zero width", legacyFile("version=\"1.1\" width=\"0\" height=\"10\"", "")},
        {"negative height", legacyFile("version=\"1.1\" width=\"10\" height=\"-3\"", "")},
        {"width not a number", legacyFile("version=\"1.1\" width=\"wide\" height=\"10\"", "")},
        {"infinite width", legacyFile("version=\"1.1\" width=\"1e999\" height=\"10\"", "")},
        {"undrawable width", legacyFile("version=\"1.1\" width=\"100000\" height=\"10\"", "")},
        {"missing height", legacyFile("version=\"1.1\" width=\"10\"", "")},
        {"version 1.0", legacyFile("version=\"1.0\" width=\"10\" height=\"10\"", "")},
        {"no version", legacyFile("width=\"10\" height=\"10\"", "")},
        {"no comment", "<svg version=\"1.1\" width=\"10\" height=\"10\"/>"},
        {"other comment", "<!-- Marqen 2.0 --><svg version=\"1.1\" width=\"10\" height=\"10\"/>"},
        {"comment without spaces", "<!--Marqen 1.0--><svg version=\"1.1\" width=\"10\" height=\"10\"/>"},
        {"three children", "<!-- Marqen 1.0 --><svg version=\"1.1\" width=\"10\" height=\"10\"/><!-- x -->"},
        {"image without position", legacyFile(plainRoot(), "<image x=\"0\" xlink:href=\"" + png + "\"/>")},
        {"bad path", legacyFile(plainRoot(), "<path fill=\"rgb(1,2,3)\" d=\"M 1 2 L 3 4\"/>")},
    };
    for (const auto &c : cases) {
        auto imported = importText(dir, c.contents);
        SCOPED_TRACE(c.what);
        expectImportError(imported, 2);
        EXPECT_EQ(imported.error.userInfo.size(), 1u);
        EXPECT_EQ(imported.error.localizedDescription(), "Inconsistent data error");
    }
}

TEST(LegacySVGImport, WrongFileFormatAndParserErrors) {
    TempDir dir;
    auto otherExtension = importText(dir, legacyFile(plainRoot(), ""), "old.svg");
    expectImportError(otherExtension, 1);
    EXPECT_EQ(otherExtension.error.localizedDescription(), "Wrong file format error");

    MarqenError missing;
    EXPECT_FALSE(MarqenLegacySVGConvertDocumentAtURL(dir / "absent.marqen", &missing));
    EXPECT_EQ(missing.code, 1);
    std::filesystem::create_directory(dir / "folder.marqen");
    EXPECT_FALSE(MarqenLegacySVGConvertDocumentAtURL(dir / "folder.marqen", &missing));
    EXPECT_EQ(missing.code, 1);

    for (const std::string &contents : {std::string("\x89PNG\r\n\x1a\n garbage"), std::string(""),
                                        std::string("<!-- Marqen 1.0 --><svg version=\"1.1\" width=\"10\" height=\"10\">")}) {
        auto notXML = importText(dir, contents);
        EXPECT_EQ(notXML.document, nullptr);
        EXPECT_EQ(notXML.error.domain, "MarqenXMLParserErrorDomain");
        EXPECT_FALSE(notXML.error.localizedDescription().empty());
    }
    // Without an error out the failure is still a plain null.
    writeFile(dir / "bad.marqen", "not xml <");
    EXPECT_FALSE(MarqenLegacySVGConvertDocumentAtURL(dir / "bad.marqen"));

    EXPECT_EQ(MarqenCompositionSVGImportError::unknownError().localizedDescription(),
              "MarqenKit Composition SVG Import Unknown error");
    EXPECT_EQ(MarqenCompositionSVGImportError::unknownError().code, 0);
}

TEST(LegacySVGImportHostile, HugeFileIsRefusedBeforeReading) {
    TempDir dir;
    // A sparse gigabyte that claims to be one long base64 image.
    {
        std::ofstream out(dir / "huge.marqen", std::ios::binary);
        out << "<!-- Marqen 1.0 --><svg version=\"1.1\" width=\"10\" height=\"10\"><image x=\"0\" y=\"0\" "
               "xlink:href=\"data:image/png;base64,";
    }
    std::filesystem::resize_file(dir / "huge.marqen", uintmax_t(1) << 30);
    auto start = std::chrono::steady_clock::now();
    MarqenError error;
    EXPECT_FALSE(MarqenLegacySVGConvertDocumentAtURL(dir / "huge.marqen", &error));
    EXPECT_EQ(error.domain, "Marqen Composition SVG Import Error");
    EXPECT_EQ(error.code, 2);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST(LegacySVGImportHostile, DeepNestingNeitherCrashesNorHangs) {
    TempDir dir;
    const int depth = 100000;
    std::string nested;
    nested.reserve(depth * 8);
    for (int i = 0; i < depth; ++i) nested += "<g>";
    for (int i = 0; i < depth; ++i) nested += "</g>";
    auto start = std::chrono::steady_clock::now();
    auto imported = importText(dir, legacyFile(plainRoot(), nested));
    // The outer group holds no text lines: an empty text block, the nesting inside it is ignored.
    ASSERT_TRUE(imported.document) << imported.error.description();
    EXPECT_EQ(imported.document->textLayer()->children().size(), 1u);
    // Unclosed, the same nesting is a parser error.
    std::string unclosed;
    for (int i = 0; i < depth; ++i) unclosed += "<path>";
    auto broken = importText(dir, legacyFile(plainRoot(), unclosed));
    EXPECT_EQ(broken.document, nullptr);
    EXPECT_EQ(broken.error.domain, "MarqenXMLParserErrorDomain");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(LegacySVGImport, BundledSampleImports) {
    MarqenError error;
    auto document = MarqenLegacySVGConvertDocumentAtURL(marqen::test::sourceDir() / "samples/legacy/shapes.marqen", &error);
    ASSERT_TRUE(document) << error.description();
    EXPECT_EQ(document->frame().size.width, 20);
    EXPECT_EQ(document->annotationLayer()->children().size(), 1u);
    EXPECT_EQ(document->textLayer()->children().size(), 1u);
}
