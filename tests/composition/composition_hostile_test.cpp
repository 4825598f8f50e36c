#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "support/composition_test_support.h"
#include "core/core_document.h"
#include "dom/bitmap.h"
#include "dom/document.h"
#include "dom/layer.h"
#include "editing/annotated_pdf_writer.h"
#include "editing/composition.h"
#include "formats/composition_bundle.h"
#include "formats/rich_image/rich_image_test_bytes.h"
#include "formats/pdf/pdf_file.h"
#include "foundation/base64.h"
#include "foundation/queues.h"
#include "platform/image_io.h"
#include "platform/poppler_document.h"
#include "render/document_images.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;
namespace fs = std::filesystem;

namespace {

// A rich PNG made of a bundle whose index is `index`.
void writeRichPNG(const fs::path &directory, const fs::path &output, const std::string &index) {
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(directory);
    ASSERT_TRUE(bundle);
    auto preview = MarqenImageEncode(*makePicture(16, 16), MarqenImageFormat::PNG);
    ASSERT_TRUE(bundle->writeDataForPreview(std::string(preview->begin(), preview->end()), nullptr));
    ASSERT_TRUE(bundle->writeDataForIndexJSONFile(index, nullptr));
    MarqenError error;
    ASSERT_TRUE(bundle->writePNGAtPath(output, &error)) << error.description();
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

TEST(CompositionHostile, RichPicturesWithHostileIndexesFailClearly) {
    TempDir dir;
    PrivateTemporaryFolder temporary;
    LogCapture log;
    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    const std::pair<const char *, std::string> indexes[] = {
        {"deep", deep},
        {"array", "[1, 2, 3]"},
        {"wrong-children", R"({"type":"Document","children":"not a list","frame":{"x":0,"y":0,"width":1e308,"height":-5}})"},
        {"truncated", R"({"type":"Document","children":[{"type":"Layer",)"},
    };
    for (const auto &[name, index] : indexes) {
        writeRichPNG(dir / (std::string(name) + ".bundle"), dir / (std::string(name) + ".png"), index);
        const auto start = std::chrono::steady_clock::now();
        MarqenError error;
        auto document = CoreMarqenDocument::initWithURL(dir / (std::string(name) + ".png"), nullptr, &error);
        EXPECT_LT(secondsSince(start), 10) << name;
        if (!document) {
            EXPECT_EQ(error.domain, "CoreMarqen") << name;
        } else {
            // Whatever opened is a usable page that saves.
            EXPECT_EQ(document->pageCount(), 1u) << name;
        }
    }
    EXPECT_TRUE(log.contains("Unable to decode json index file: "));
    EXPECT_EQ(temporary.entryCount(), 0u);
}

TEST(CompositionHostile, ARichPDFWhoseDocumentNamesTenThousandPagesIsRefusedQuickly) {
    TempDir dir;
    makeCairoPDF(dir / "in.pdf", 2, 300, 400);
    MarqenJSON children = MarqenJSON::array();
    for (int page = 1; page <= 10000; ++page) children.push_back({{"type", "Document"}, {"pageNumber", page}});
    MarqenAnnotatedPDFOptions options;
    options.domJSON = MarqenJSON{{"type", "MultiPageDocument"}, {"children", children}}.dump();
    ASSERT_TRUE(MarqenAnnotatedPDFWrite(dir / "in.pdf", {}, options, dir / "rich.pdf"));
    LogCapture log;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(MarqenComposition::initWithURL(dir / "rich.pdf"));
    EXPECT_LT(secondsSince(start), 5);
    EXPECT_TRUE(log.contains("ERROR: Page count mismatch DOM (10000) != PDF (2)"));

    // Page numbers outside the PDF are refused as well.
    options.domJSON = MarqenJSON{{"type", "MultiPageDocument"}, {"children", {{{"type", "Document"}, {"pageNumber", 7}}}}}.dump();
    ASSERT_TRUE(MarqenAnnotatedPDFWrite(dir / "in.pdf", {}, options, dir / "outside.pdf"));
    EXPECT_FALSE(MarqenComposition::initWithURL(dir / "outside.pdf"));
    EXPECT_TRUE(log.contains("ERROR: DOM page number 7"));
}

TEST(CompositionHostile, BundleResourcesThatEscapeTheirFolderAreRefused) {
    TempDir dir;
    writeFile(dir / "secret.png", readFile(sourceDir() / "samples/resources/5b0e6c1a-7d2f-4e3a-9c41-0a1b2c3d4e5f.png"));
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(dir / "work.marqen");
    const std::string linked = "11111111-2222-4333-8444-555555555555";
    fs::create_symlink(dir / "secret.png", bundle->resourcesURL() / linked);
    auto document = MarqenDOMDocument::createWithSize({100, 100}, 1);
    for (const std::string &uri : {std::string("marqen+uuid:///../../secret.png"), "marqen+uuid:///" + linked, std::string("file:///etc/passwd")}) {
        auto bitmap = MarqenDOMBitmap::create();
        bitmap->setURIQuietly(uri);
        bitmap->setFrameQuietly({{0, 0}, {100, 100}});
        document->annotationLayer()->addChild(bitmap);
    }
    ASSERT_TRUE(bundle->writeDataForIndexJSONFile(document->dictionaryRepresentation().dump(), nullptr));
    LogCapture log;
    auto composition = MarqenComposition::initWithURL(dir / "work.marqen");
    ASSERT_TRUE(composition);
    composition->documents().front()->waitForOperationsToFinish();
    for (const auto &bitmap : composition->documents().front()->allBitmaps()) EXPECT_FALSE(bitmap->image()) << bitmap->uri();
    EXPECT_TRUE(log.contains("ERROR: Unable to load resource with URI"));
    // Saving carries none of them.
    MarqenError error;
    ASSERT_TRUE(composition->writeRichImageToURL((dir / "out.png").string(), kMarqenCompositionSaveFormatPNG, &error))
        << error.description();
    EXPECT_EQ(readFile(dir / "out.png").find("root:"), std::string::npos);
    EXPECT_LT(fs::file_size(dir / "out.png"), fs::file_size(dir / "secret.png") + 4096);
}

TEST(CompositionHostile, LegacyDocumentsThatAreNotXMLOrTooDeepOrTooLargeFailClearly) {
    TempDir dir;
    PrivateTemporaryFolder temporary;
    writeFile(dir / "text.marqen", "this is not xml <<<");
    std::string deep = "<!-- Marqen 1.0 --><svg version=\"1.1\" width=\"10\" height=\"10\">";
    for (int i = 0; i < 100000; ++i) deep += "<g>";
    writeFile(dir / "deep.marqen", deep);
    // A PNG header claiming 60000 x 60000 pixels, inside the base64 image of an otherwise fine document.
    const std::string png = kPNGSignature + pngChunk("IHDR", be32(60000) + be32(60000) + std::string("\x08\x06\0\0\0", 5)) + kIEND;
    writeFile(dir / "huge.marqen", "<!-- Marqen 1.0 --><svg version=\"1.1\" width=\"40\" height=\"30\" style=\"rgb(1,2,3)\">"
                                   "<image x=\"0\" y=\"0\" xlink:href=\"data:image/png;base64," +
                                       NewBase64Encode(png.data(), png.size(), false) + "\"/></svg>");
    for (const char *name : {"text.marqen", "deep.marqen", "huge.marqen"}) {
        const auto start = std::chrono::steady_clock::now();
        MarqenError error;
        auto document = CoreMarqenDocument::initWithURL(dir / name, nullptr, &error);
        EXPECT_LT(secondsSince(start), 10) << name;
        if (document) {
            // The claimed picture is dropped: the document has the root's size and a flat background.
            EXPECT_EQ(document->documentComposition()->size().width, 40) << name;
        } else {
            EXPECT_FALSE(error.domain.empty()) << name;
        }
    }
    MarqenError error;
    EXPECT_FALSE(CoreMarqenDocument::initWithURL(dir / "text.marqen", nullptr, &error));
    EXPECT_EQ(error.domain, "MarqenXMLParserErrorDomain");
    EXPECT_EQ(temporary.entryCount(), 0u);
}

TEST(CompositionHostile, PicturesAboveThePixelLimitAreRefused) {
    TempDir dir;
    ASSERT_TRUE(MarqenImageWriteToFile(*makePicture(300, 200), dir / "big.png", MarqenImageFormat::PNG));
    const uint64_t limit = MarqenImageMaximumPixelCount();
    MarqenImageSetMaximumPixelCount(10000);
    MarqenError error;
    auto document = CoreMarqenDocument::initWithURL(dir / "big.png", nullptr, &error);
    MarqenImageSetMaximumPixelCount(limit);
    EXPECT_FALSE(document);
    EXPECT_EQ(error.domain, "CoreMarqen");
    EXPECT_EQ(error.localizedDescription(), "Unable to read document.");
}

TEST(CompositionSavingElsewhere, ARichPictureSavedFromAnotherThreadWaitsForTheMainQueue) {
    TempDir dir;
    auto composition = MarqenComposition::initWithImage(makePicture(200, 100), 1, MarqenImageProfileNone, MarqenJSON::object());
    annotate(*composition->documents().front(), "from a worker");
    std::atomic<bool> done{false}, written{false};
    std::thread worker([&] {
        MarqenError error;
        written = composition->writeRichImageToURL((dir / "out.png").string(), kMarqenCompositionSaveFormatPNG, &error);
        done = true;
    });
    EXPECT_TRUE(MainQueue::shared().drainUntil([&] { return done.load(); }, 60));
    worker.join();
    EXPECT_TRUE(written);
    auto reopened = MarqenComposition::initWithURL(dir / "out.png");
    ASSERT_TRUE(reopened);
    EXPECT_EQ(reopened->documents().front()->textStrings(), std::vector<std::string>{"from a worker"});
}

TEST(CompositionSavingElsewhere, ADocumentFileReplacesThePagesOfAPDF) {
    TempDir dir;
    makeCairoPDF(dir / "in.pdf", 3, 300, 400);
    auto page = MarqenDOMDocument::createWithSize({300, 400}, 1);
    annotate(*page, "replaced");
    page->setPageNumber(3);
    writeFile(dir / "doc.json", MarqenJSON{{"type", "MultiPageDocument"}, {"children", {page->dictionaryRepresentation()}}}.dump());
    auto composition = MarqenComposition::initWithURL(dir / "in.pdf", dir / "doc.json");
    ASSERT_TRUE(composition);
    ASSERT_EQ(composition->documents().size(), 3u);
    EXPECT_EQ(elementCount(*composition->documents()[2]), 2u);
    EXPECT_EQ(elementCount(*composition->documents()[0]), 0u);
    EXPECT_TRUE(composition->documents()[2]->pdfPage());

    // The whole composition flattened into a PDF: annotations drawn in, no document hidden.
    MarqenError error;
    ASSERT_TRUE(composition->writeFlattenedCompositionToURL(dir / "flat.pdf", "com.adobe.pdf", &error)) << error.description();
    EXPECT_EQ(qpdfCheck(dir / "flat.pdf"), 0);
    EXPECT_GT(redShareOfPage(dir / "flat.pdf", 3), 0.1);
    LogCapture log;
    auto reopened = MarqenComposition::initWithURL(dir / "flat.pdf");
    ASSERT_TRUE(reopened);
    EXPECT_EQ(elementCount(*reopened->documents()[2]), 0u);
}

TEST(CompositionSavingElsewhere, TheWatermarkIsDrawnOverFlatPictures) {
    TempDir dir;
    // A watermark page that is red all over.
    auto watermark = MarqenDOMDocument::createWithSize({100, 100}, 1);
    annotate(*watermark, "");
    auto bytes = MarqenDOMDocumentPDFRepresentation(watermark, false);
    ASSERT_TRUE(bytes);
    writeFile(dir / "mark.pdf", std::string(bytes->begin(), bytes->end()));
    auto composition = MarqenComposition::initWithImage(makePicture(200, 200), 1, MarqenImageProfileNone, MarqenJSON::object());
    const auto &page = composition->documents().front();
    ASSERT_TRUE(composition->writeFlattenedImageToURL(page, dir / "plain.png", "public.png", 1, true));
    EXPECT_LT(redShareOfPicture(dir / "plain.png"), 0.01);
    composition->setWatermarkPDF(dir / "mark.pdf");
    composition->setIncludeWatermark(true);
    ASSERT_TRUE(composition->writeFlattenedImageToURL(page, dir / "marked.png", "public.png", 1, true));
    EXPECT_GT(redShareOfPicture(dir / "marked.png"), 0.15);
}

// Cross-reference offsets shifted by a few bytes: poppler rebuilds the table and shows the page, our reader
// keeps to the table and cannot annotate the file. Opening says so instead of showing a page that could
// never be saved, and leaves nothing behind.
TEST(CompositionHostile, APDFThatPopplerShowsButOurReaderRefusesIsAClearError) {
    TempDir dir;
    PrivateTemporaryFolder temporary;
    PDFBuilder builder("%PDF-1.7\n");
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    builder.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
    builder.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>");
    for (auto &entry : builder.offsets) entry.second += 7;
    std::string pdf = builder.finishWithTable("/Root 1 0 R");
    const std::string startxref = "startxref\n" + std::to_string(builder.xrefOffset);
    pdf.replace(pdf.rfind(startxref), startxref.size(), "startxref\n" + std::to_string(builder.xrefOffset + 3));
    writeFile(dir / "shifted.pdf", pdf);
    ASSERT_TRUE(MarqenPDFDocument::openFile(dir / "shifted.pdf"));  // poppler shows it
    EXPECT_FALSE(MarqenPDF::initWithContentsOfFile((dir / "shifted.pdf").string(), {}));

    MarqenError error;
    EXPECT_FALSE(CoreMarqenDocument::initWithURL(dir / "shifted.pdf", nullptr, &error));
    EXPECT_FALSE(error.domain.empty());
    EXPECT_NE(error.localizedDescription().find("Unable to annotate this PDF"), std::string::npos)
        << error.localizedDescription();
    EXPECT_EQ(temporary.entryCount(), 0u);
    std::string err;
    EXPECT_EQ(runCli("export " + (dir / "shifted.pdf").string() + " -o " + (dir / "out.pdf").string(), nullptr, &err), 1);
    EXPECT_FALSE(fs::exists(dir / "out.pdf"));
}
