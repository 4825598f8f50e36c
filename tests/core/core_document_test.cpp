#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "support/composition_test_support.h"
#include "core/core_document.h"
#include "dom/bitmap.h"
#include "dom/document.h"
#include "editing/analytics.h"
#include "editing/composition.h"
#include "foundation/notification_center.h"
#include "formats/pdf/pdf_file.h"
#include "platform/image_io.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;
namespace fs = std::filesystem;

namespace {

MarqenExportFormat formatOf(const std::string &identifier) {
    auto format = MarqenExportFormat::initWithFormatIdentifier(identifier);
    EXPECT_TRUE(format) << identifier;
    return *format;
}

void writePicture(const fs::path &path, MarqenImageFormat format, double dpi, const std::vector<uint8_t> &icc = {}) {
    MarqenImageEncodeOptions options;
    options.dpiWidth = options.dpiHeight = dpi;
    options.iccProfile = icc;
    MarqenError error;
    ASSERT_TRUE(MarqenImageWriteToFile(*makePicture(240, 160), path, format, options, &error)) << error.description();
}

std::shared_ptr<CoreMarqenDocument> open(const fs::path &path, std::optional<MarqenExportFormat> *format = nullptr) {
    MarqenError error;
    auto document = CoreMarqenDocument::initWithURL(path, format, &error);
    EXPECT_TRUE(document) << path << ": " << error.description();
    return document;
}

std::shared_ptr<MarqenDOMDocument> page(const std::shared_ptr<CoreMarqenDocument> &document, size_t index = 0) {
    return document->documentComposition()->documents().at(index);
}

// in.png (a 240 × 160 picture) opened, with annotate's red bar and the text.
std::shared_ptr<CoreMarqenDocument> openAnnotatedPicture(const TempDir &dir, const std::string &text) {
    writePicture(dir / "in.png", MarqenImageFormat::PNG, 72);
    auto document = open(dir / "in.png");
    if (document) annotate(*page(document), text);
    return document;
}

const std::string kEmbeddedPNG = "com.brondale.marqen:dom.embedded:public.png";

}  // namespace

TEST(CoreMarqenDocumentOpening, PictureResolutionAndColourProfileChooseScaleAndStorage) {
    TempDir dir;
    writePicture(dir / "hidpi.jpg", MarqenImageFormat::JPEG, 144);
    writePicture(dir / "plain.jpg", MarqenImageFormat::JPEG, 72);
    std::optional<MarqenExportFormat> format;
    auto hidpi = open(dir / "hidpi.jpg", &format);
    ASSERT_TRUE(hidpi);
    EXPECT_EQ(page(hidpi)->deviceScale(), 2);
    EXPECT_EQ(hidpi->documentComposition()->size().width, 120);
    // Kept losslessly (no colour profile): its preferred format and the format reported are PNG.
    ASSERT_TRUE(format);
    EXPECT_EQ(format->uti(), "public.png");
    auto plain = open(dir / "plain.jpg");
    ASSERT_TRUE(plain);
    EXPECT_EQ(page(plain)->deviceScale(), 1);

    const fs::path icc = "/usr/share/color/icc/ghostscript/srgb.icc";
    if (!fs::exists(icc)) GTEST_SKIP() << "no colour profile to embed";
    std::string profile = readFile(icc);
    writePicture(dir / "photo.jpg", MarqenImageFormat::JPEG, 144, std::vector<uint8_t>(profile.begin(), profile.end()));
    EXPECT_EQ(MarqenImageFileURLProfile(dir / "photo.jpg"), std::optional<unsigned long>(1));
    auto photo = open(dir / "photo.jpg", &format);
    ASSERT_TRUE(photo);
    EXPECT_EQ(page(photo)->deviceScale(), 1);  // lossy pictures open at scale 1
    EXPECT_EQ(format->uti(), "public.jpeg");
}

TEST(CoreMarqenDocumentOpening, NewDocumentsHaveOneOfTheTwoScales) {
    auto document = CoreMarqenDocument::initWithSize({300, 200}, 1.5);
    ASSERT_TRUE(document);
    EXPECT_EQ(page(document)->deviceScale(), 2);
    EXPECT_EQ(page(CoreMarqenDocument::initWithSize({300, 200}, 1.0))->deviceScale(), 1);
    auto lossy = CoreMarqenDocument::initWithBackgroundImage(makePicture(50, 40), 2, {{"DPIWidth", 144}}, true);
    EXPECT_EQ(page(lossy)->deviceScale(), 1);
    EXPECT_EQ(lossy->documentComposition()->preferredFlattenedFormat(), "public.jpeg");
    auto lossless = CoreMarqenDocument::initWithBackgroundImage(makePicture(50, 40), 2, MarqenJSON::object(), false);
    EXPECT_EQ(page(lossless)->deviceScale(), 2);
    EXPECT_EQ(lossless->documentComposition()->size().width, 25);
}

TEST(CoreMarqenDocumentOpening, BadFilesGiveTheFacadeErrorAndLeaveNothingBehind) {
    TempDir dir;
    PrivateTemporaryFolder temporary;
    LogCapture log;
    writeFile(dir / "empty.png", "");
    writeFile(dir / "text.txt", "just some words\n");
    writePicture(dir / "whole.png", MarqenImageFormat::PNG, 72);
    writeFile(dir / "truncated.png", readFile(dir / "whole.png").substr(0, 300));
    writeFile(dir / "notxml.marqen", "<<<< not xml at all");
    for (const char *name : {"empty.png", "text.txt", "truncated.png", "missing.png", "notxml.marqen"}) {
        MarqenError error;
        EXPECT_FALSE(CoreMarqenDocument::initWithURL(dir / name, nullptr, &error)) << name;
        EXPECT_FALSE(error.domain.empty()) << name;
        if (std::string(name) != "notxml.marqen") {
            EXPECT_EQ(error.domain, "CoreMarqen") << name;
            EXPECT_EQ(error.code, -1) << name;
            EXPECT_EQ(error.localizedDescription(), "Unable to read document.") << name;
        }
    }
    MarqenError error;
    std::optional<MarqenExportFormat> format;
    EXPECT_FALSE(CoreMarqenDocument::initWithURL(dir / "text.txt", &format, &error));
    EXPECT_EQ(error.domain, "CoreMarqen");
    EXPECT_EQ(temporary.entryCount(), 0u);
}

TEST(CoreMarqenDocumentOpening, AnEncryptedPDFCannotBeAnnotated) {
    TempDir dir;
    makeCairoPDF(dir / "plain.pdf", 2, 300, 400);
    ASSERT_EQ(runTool("qpdf --encrypt user owner 256 -- '" + (dir / "plain.pdf").string() + "' '" +
                      (dir / "locked.pdf").string() + "'"),
              0);
    LogCapture log;
    MarqenError error;
    EXPECT_FALSE(CoreMarqenDocument::initWithURL(dir / "locked.pdf", nullptr, &error));
    EXPECT_EQ(error.domain, "CoreMarqen");
    EXPECT_EQ(error.code, -1);
    EXPECT_EQ(error.localizedDescription(), "Unable to annotate this PDF");
    EXPECT_EQ(error.userInfo[kMarqenLocalizedRecoverySuggestionKey],
              "This PDF may be corrupt and cannot be annotated. We recommend re-saving the document in a PDF editing "
              "application and try annotating again.");
    EXPECT_TRUE(log.contains("Failed to read PDF at " + (dir / "locked.pdf").string()));
}

// PNG, JPEG and HEIC inputs save editable into each of the three; the other picture types (where this
// installation writes them) open as lossless pictures, which save as PNG.
TEST(CoreMarqenDocumentWriting, EveryPictureInputSavesEditableAndReopensWithItsAnnotations) {
    TempDir dir;
    const std::pair<const char *, MarqenImageFormat> inputs[] = {
        {"in.png", MarqenImageFormat::PNG},   {"in.jpg", MarqenImageFormat::JPEG}, {"in.heic", MarqenImageFormat::HEIC},
        {"in.tiff", MarqenImageFormat::TIFF}, {"in.gif", MarqenImageFormat::GIF},  {"in.bmp", MarqenImageFormat::BMP},
        {"in.jp2", MarqenImageFormat::JPEG2000}};
    for (const auto &[input, format] : inputs) {
        SCOPED_TRACE(input);
        const bool other = format != MarqenImageFormat::PNG && format != MarqenImageFormat::JPEG && format != MarqenImageFormat::HEIC;
        if (!other) writePicture(dir / input, format, 72);
        else if (!MarqenImageWriteToFile(*makePicture(240, 160), dir / input, format, {})) continue;
        for (const char *type : {"public.png", "public.jpeg", "public.heic"}) {
            if (other && std::string(type) != "public.png") continue;
            std::optional<MarqenExportFormat> opened;
            auto document = open(dir / input, &opened);
            ASSERT_TRUE(document && opened);
            if (other) EXPECT_EQ(opened->uti(), "public.png");
            EXPECT_FALSE(opened->isDOMEmbedded());
            annotate(*page(document), std::string("from ") + input);
            const fs::path output = dir / (std::string("out-") + input + "." + MarqenExportFormat::initWithUTI(type)->fileExtension());
            MarqenError error;
            ASSERT_TRUE(document->writeToURL(output, formatOf(std::string(kMarqenExportFormatDOMEmbeddedPrefix) + type),
                                             MarqenJSON::object(), &error))
                << output << ": " << error.description();
            EXPECT_GT(redShareOfPicture(output), 0.12) << output;
            std::optional<MarqenExportFormat> found;
            auto reopened = open(output, &found);
            ASSERT_TRUE(reopened && found);
            EXPECT_TRUE(found->isDOMEmbedded()) << output;
            EXPECT_EQ(elementCount(*page(reopened)), 2u) << output;
            EXPECT_EQ(page(reopened)->textStrings(), std::vector<std::string>{std::string("from ") + input});
        }
    }
}

TEST(CoreMarqenDocumentWriting, FlatPicturesCarryNoDocument) {
    TempDir dir;
    auto document = openAnnotatedPicture(dir, "flat");
    for (const char *type : {"public.png", "public.tiff", "com.compuserve.gif", "com.microsoft.bmp", "public.jpeg-2000"}) {
        auto format = *MarqenExportFormat::initWithUTI(type);
        if (!format.isFormatWritable()) continue;
        const fs::path output = dir / ("flat." + format.fileExtension());
        MarqenError error;
        ASSERT_TRUE(document->writeToURL(output, format, MarqenJSON::object(), &error)) << type << ": " << error.description();
        MarqenImageProperties properties;
        ASSERT_TRUE(MarqenImageDecodeFile(output, &properties)) << type;
        EXPECT_EQ(properties.pixelWidth(), 240) << type;
        EXPECT_GT(redShareOfPicture(output), 0.12) << type;
        LogCapture log;
        EXPECT_FALSE(MarqenComposition::initWithURL(output)) << type;  // no document inside
    }
}

TEST(CoreMarqenDocumentWriting, APDFFormatWithoutDocumentWritesAFlatOnePagePDFOfAPicture) {
    TempDir dir;
    auto document = openAnnotatedPicture(dir, "as pdf");
    MarqenError error;
    ASSERT_TRUE(document->writeToURL(dir / "out.pdf", *MarqenExportFormat::initWithUTI("com.adobe.pdf"), MarqenJSON::object(), &error))
        << error.description();
    EXPECT_EQ(qpdfCheck(dir / "out.pdf"), 0);
    EXPECT_EQ(popplerPageCount(dir / "out.pdf"), 1);
    EXPECT_GT(redShareOfPage(dir / "out.pdf", 1), 0.12);
    EXPECT_NE(pdfText(dir / "out.pdf", 1).find("as pdf"), std::string::npos);
}

TEST(CoreMarqenDocumentWriting, APDFWithSummaryReopensEditableAndGivesBackTheUntouchedPDF) {
    TempDir dir;
    makeCairoPDF(dir / "in.pdf", 4, 300, 400);
    std::optional<MarqenExportFormat> found;
    auto document = open(dir / "in.pdf", &found);
    ASSERT_TRUE(document);
    EXPECT_EQ(found->formatIdentifier(), "com.adobe.pdf");
    annotate(*page(document, 1), "Check the figure");
    annotate(*page(document, 3), "And this table");
    MarqenJSON options = {{CoreMarqenDocumentOptionPDFAuthor, "Ada Lovelace"}, {CoreMarqenDocumentOptionPDFSummaryTitle, "Review"}};
    const auto summaryFormat = formatOf(MarqenExportFormat::pdfWithSummaryFormatIdentifierWithDOMEmbedded(true));
    MarqenError error;
    ASSERT_TRUE(document->writeToURL(dir / "out.pdf", summaryFormat, options, &error)) << error.description();
    EXPECT_EQ(qpdfCheck(dir / "out.pdf"), 0);
    EXPECT_EQ(popplerPageCount(dir / "out.pdf"), 5);
    const std::string summary = pdfText(dir / "out.pdf", 1);
    for (const char *text : {"Review", "Ada Lovelace", "Page 2", "Check the figure", "Page 4", "And this table"})
        EXPECT_NE(summary.find(text), std::string::npos) << text;
    EXPECT_GT(redShareOfPage(dir / "out.pdf", 3), 0.1);
    EXPECT_LT(redShareOfPage(dir / "out.pdf", 2), 0.01);
    // Each listed page is a link to its page (the annotated pages are output pages 3 and 5).
    std::string objects;
    ASSERT_EQ(runTool("qpdf --qdf --object-streams=disable '" + (dir / "out.pdf").string() + "' -", &objects), 0);
    size_t links = 0;
    for (size_t at = objects.find("/Subtype /Link"); at != std::string::npos; at = objects.find("/Subtype /Link", at + 1)) ++links;
    EXPECT_GE(links, 2u);

    auto reopened = open(dir / "out.pdf", &found);
    ASSERT_TRUE(reopened);
    EXPECT_TRUE(found->isDOMEmbedded());
    EXPECT_TRUE(found->isPDFWithSummary());
    EXPECT_TRUE(reopened->documentComposition()->pdfHasSummaryPage());
    ASSERT_EQ(reopened->pageCount(), 4u);
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(elementCount(*page(reopened, i)), i % 2 ? 2u : 0u);
    ASSERT_TRUE(reopened->writeCleanUnannotatedToURL(dir / "clean.pdf", &error)) << error.description();
    EXPECT_EQ(readFile(dir / "clean.pdf"), readFile(dir / "in.pdf"));

    // Saved onto itself twice, the file still holds one update over the untouched PDF.
    ASSERT_TRUE(reopened->writeToURL(dir / "out.pdf", summaryFormat, options, &error));
    const auto once = fs::file_size(dir / "out.pdf");
    auto again = open(dir / "out.pdf");
    ASSERT_TRUE(again->writeToURL(dir / "out.pdf", summaryFormat, options, &error));
    EXPECT_LE(fs::file_size(dir / "out.pdf"), once + 64);
    auto pdf = MarqenPDF::initWithContentsOfFile((dir / "out.pdf").string());
    ASSERT_TRUE(pdf);
    EXPECT_EQ(pdf->originalEOF(), fs::file_size(dir / "in.pdf"));
}

TEST(CoreMarqenDocumentWriting, PageImagesClampTheIndexAndRefuseEditableFormats) {
    TempDir dir;
    makeCairoPDF(dir / "in.pdf", 3, 200, 100);
    auto document = open(dir / "in.pdf");
    annotate(*page(document, 2), "last");
    auto png = *MarqenExportFormat::initWithUTI("public.png");
    auto last = document->imageRepresentationWithFormat(png, {{CoreMarqenDocumentOptionPDFPageIndex, 99}});
    ASSERT_TRUE(last);
    writeFile(dir / "last.png", std::string(last->begin(), last->end()));
    EXPECT_GT(redShareOfPicture(dir / "last.png"), 0.1);
    auto first = document->imageRepresentationWithFormat(png, MarqenJSON::object());
    ASSERT_TRUE(first);
    writeFile(dir / "first.png", std::string(first->begin(), first->end()));
    EXPECT_LT(redShareOfPicture(dir / "first.png"), 0.01);
    EXPECT_FALSE(document->imageRepresentationWithFormat(formatOf(kEmbeddedPNG), {}));
    EXPECT_FALSE(document->imageRepresentationWithFormat(*MarqenExportFormat::initWithUTI("com.adobe.pdf"), {}));
}

TEST(CoreMarqenDocumentWriting, AFailedSaveLeavesTheOldFileAndNoTemporaryFile) {
    TempDir dir;
    writePicture(dir / "in.png", MarqenImageFormat::PNG, 72);
    auto document = open(dir / "in.png");
    fs::create_directories(dir / "folder.png");
    MarqenError error;
    EXPECT_FALSE(document->writeToURL(dir / "folder.png", formatOf(kEmbeddedPNG), {}, &error));
    EXPECT_FALSE(error.domain.empty());
    EXPECT_TRUE(fs::is_directory(dir / "folder.png"));
    // A picture too large to draw fails before anything is written over the old file.
    writeFile(dir / "old.png", "old bytes");
    auto huge = CoreMarqenDocument::initWithSize({40000, 40000}, 1);
    error = {};
    EXPECT_FALSE(huge->writeToURL(dir / "old.png", *MarqenExportFormat::initWithUTI("public.png"), {}, &error));
    EXPECT_EQ(error.domain, "MarqenErrorDomain");
    EXPECT_EQ(readFile(dir / "old.png"), "old bytes");
    size_t entries = 0;
    for ([[maybe_unused]] const auto &entry : fs::directory_iterator(dir.path())) ++entries;
    EXPECT_EQ(entries, 3u);  // in.png, folder.png and old.png: no temporary file
}

TEST(CoreMarqenDocumentWriting, TheCleanFileOfAPictureIsItsBackground) {
    TempDir dir;
    auto document = openAnnotatedPicture(dir, "hidden in the clean file");
    MarqenError error;
    ASSERT_TRUE(document->writeCleanUnannotatedToURL(dir / "clean.png", &error)) << error.description();
    EXPECT_LT(redShareOfPicture(dir / "clean.png"), 0.001);
    auto clean = MarqenImageDecodeFile(dir / "clean.png");
    auto original = MarqenImageDecodeFile(dir / "in.png");
    ASSERT_TRUE(clean && original);
    EXPECT_EQ(clean->width(), original->width());
    EXPECT_EQ(clean->pixelAt(17, 33), original->pixelAt(17, 33));
}

TEST(CoreMarqenDocumentOpening, LegacyDocumentsAndBundlesOpenThroughTheFacade) {
    TempDir dir;
    std::optional<MarqenExportFormat> format;
    auto legacy = open(sourceDir() / "samples/legacy/shapes.marqen", &format);
    ASSERT_TRUE(legacy);
    EXPECT_EQ(format->uti(), "public.png");
    EXPECT_EQ(elementCount(*page(legacy)), 2u);
    MarqenError error;
    ASSERT_TRUE(legacy->writeToURL(dir / "legacy.png", formatOf(kEmbeddedPNG), {}, &error))
        << error.description();
    auto again = open(dir / "legacy.png");
    ASSERT_TRUE(again);
    EXPECT_EQ(elementCount(*page(again)), 2u);

    writeFile(dir / "shapes.svg", readFile(sourceDir() / "samples/legacy/shapes.marqen"));
    EXPECT_FALSE(CoreMarqenDocument::initWithURL(dir / "shapes.svg", nullptr, &error));
}

TEST(CoreMarqenDocumentEvents, OpeningAndSavingPostUsageEvents) {
    TempDir dir;
    writePicture(dir / "in.png", MarqenImageFormat::PNG, 72);
    std::vector<std::string> events;
    auto token = NotificationCenter::defaultCenter().addObserver(
        kMarqenAnalyticsInterestingEventDidOccur, nullptr, [&](const Notification &notification) {
            auto text = [&](const char *key) {
                const std::string *value = notification.value<std::string>(key);
                return value ? *value : std::string("?");
            };
            events.push_back(text(kMarqenAnalyticsCategoryKey) + "/" + text(kMarqenAnalyticsActionKey) + "/" +
                             text(kMarqenAnalyticsLabelKey));
        });
    auto document = open(dir / "in.png");
    ASSERT_TRUE(document->writeToURL(dir / "out.png", formatOf(kEmbeddedPNG), {}));
    EXPECT_FALSE(document->writeToURL(dir / "missing/out.png", formatOf("public.png"), {}));
    EXPECT_EQ(events, (std::vector<std::string>{"Document/Open/public.png", "Document/Save/com.brondale.marqen:dom.embedded:public.png"}));
}

