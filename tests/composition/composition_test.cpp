#include <gtest/gtest.h>

#include "support/composition_test_support.h"
#include "dom/bitmap.h"
#include "dom/exceptions.h"
#include "dom/layer.h"
#include "editing/composition.h"
#include "formats/composition_bundle.h"
#include "foundation/notification_center.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "platform/image_io.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;
namespace fs = std::filesystem;

namespace {

std::string exceptionReason(const std::function<void()> &call) {
    try {
        call();
    } catch (const MarqenGenericException &exception) {
        return exception.what();
    }
    return "";
}

}  // namespace

TEST(CompositionConstruction, PlainInitAndCopyAreRefusedWithTheirReasons) {
    EXPECT_EQ(exceptionReason([] { MarqenComposition::init(); }),
              "Unsupported initializer.  Use initWithSize:scale: , initWithImage:scale: or initScreenshotImage:scale:");
    auto composition = MarqenComposition::initWithSize({100, 80}, 1);
    ASSERT_TRUE(composition);
    EXPECT_EQ(exceptionReason([&] { composition->copy(); }), "Not supported.");
}

TEST(CompositionConstruction, PagesShareTheUndoManagerAndAnswerThroughTheComposition) {
    auto composition = MarqenComposition::initWithSize({800, 600}, 2);
    ASSERT_TRUE(composition);
    ASSERT_EQ(composition->documents().size(), 1u);
    const auto &page = composition->documents().front();
    EXPECT_EQ(page->deviceScale(), 2);
    EXPECT_EQ(page->undoManagerShared(), composition->undoManager());
    EXPECT_EQ(page->resourceCoordinatorShared().get(), static_cast<MarqenDOMDocumentResourceCoordinator *>(composition.get()));
    EXPECT_FALSE(composition->needsSave());
    EXPECT_FALSE(composition->isMultiPageDocument());
    EXPECT_EQ(composition->preferredFlattenedFormat(), "public.png");

    auto other = std::make_shared<UndoManager>();
    composition->setUndoManager(other);
    EXPECT_EQ(page->undoManagerShared(), other);
}

TEST(CompositionState, SizeStacksPagesAndNeedsSaveFollowsAnyPage) {
    auto composition = MarqenComposition::initWithSize({800, 600}, 1);
    ASSERT_TRUE(composition);
    int changes = 0;
    auto token = NotificationCenter::defaultCenter().addObserver(kMarqenCompositionDocumentsDidChangeNotification,
                                                                 composition.get(), [&](const Notification &) { ++changes; });
    composition->insertDocument(MarqenDOMDocument::createWithSize({1000, 400}, 1), 1);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(composition->size().width, 1000);
    EXPECT_EQ(composition->size().height, 1000);
    EXPECT_EQ(composition->documents()[1]->undoManagerShared(), composition->undoManager());

    composition->documents()[1]->setNeedsSave(true);
    EXPECT_TRUE(composition->needsSave());
    composition->markCompositionAsClean();
    EXPECT_FALSE(composition->needsSave());
    // Set on every page: the latest of the pages is the date.
    const auto date = std::chrono::system_clock::now() - std::chrono::hours(5);
    composition->setLastModified(date);
    EXPECT_EQ(composition->lastModified(), date);

    composition->deleteDocumentAtIndex(0);
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(composition->size().height, 400);
    composition->deleteDocumentAtIndex(7);
    EXPECT_EQ(changes, 2);
}

TEST(CompositionState, MarkingThePDFModifiedNotifiesAndNeedsSave) {
    TempDir dir;
    makeCairoPDF(dir / "in.pdf", 2, 300, 400);
    auto composition = MarqenComposition::initWithURL(dir / "in.pdf");
    ASSERT_TRUE(composition);
    int posted = 0;
    auto token = NotificationCenter::defaultCenter().addObserver(kMarqenCompositionDidModifyOriginalPDFNotification,
                                                                 composition.get(), [&](const Notification &) { ++posted; });
    composition->markPDFDocumentAsModified();
    EXPECT_EQ(posted, 1);
    EXPECT_TRUE(composition->needsSave());
    EXPECT_FALSE(composition->isOriginalPDFDirty());  // no modified copy of the PDF exists
    composition->setModifiedOriginalPDFURL(dir / "in.pdf");
    composition->markPDFDocumentAsModified();
    EXPECT_TRUE(composition->isOriginalPDFDirty());
}

TEST(CompositionOpening, APDFOpensAsOnePagePerPDFPage) {
    TempDir dir;
    makeCairoPDF(dir / "in.pdf", 3, 300, 400);
    auto composition = MarqenComposition::initWithURL(dir / "in.pdf");
    ASSERT_TRUE(composition);
    ASSERT_EQ(composition->documents().size(), 3u);
    EXPECT_TRUE(composition->isMultiPageDocument());
    EXPECT_FALSE(composition->pdfHasSummaryPage());
    EXPECT_EQ(composition->preferredFlattenedFormat(), "com.adobe.pdf");
    EXPECT_EQ(composition->size().width, 300);
    EXPECT_EQ(composition->size().height, 1200);
    for (const auto &page : composition->documents()) EXPECT_EQ(page->deviceScale(), 1);
}

TEST(CompositionOpening, ABundleWithoutIndexButWithAPDFOpensItsPages) {
    TempDir dir;
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(dir / "work.marqen");
    ASSERT_TRUE(bundle);
    makeCairoPDF(bundle->originalPDFFileURL(), 2, 300, 400);
    auto composition = MarqenComposition::initWithURL(dir / "work.marqen");
    ASSERT_TRUE(composition);
    EXPECT_EQ(composition->documents().size(), 2u);
    composition.reset();
    EXPECT_TRUE(fs::exists(dir / "work.marqen"));  // the directory it was opened from stays
}

// Three unnumbered pages for a four-page PDF, and pages that are no documents.
TEST(CompositionOpening, BundlesWhoseIndexDoesNotFitTheirPDFFailWithTheReasonLogged) {
    TempDir dir;
    MarqenJSON three = MarqenJSON::array();
    for (int i = 0; i < 3; ++i) three.push_back(MarqenDOMDocument::createWithSize({300, 400}, 1)->dictionaryRepresentation());
    const struct {
        int pages;
        std::string index, logged;
    } rows[] = {{4, MarqenJSON{{"type", "MultiPageDocument"}, {"children", three}}.dump(), "ERROR: Page count mismatch DOM (3) != PDF (4)"},
                {2, R"({"type":"MultiPageDocument","children":[7, 8]})", "ERROR: could not make multipage document from pdf embedded json"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.logged);
        auto bundle = MarqenCompositionBundle::bundleAtDirectory(dir / (std::to_string(row.pages) + ".marqen"));
        makeCairoPDF(bundle->originalPDFFileURL(), row.pages, 300, 400);
        ASSERT_TRUE(bundle->writeDataForIndexJSONFile(row.index, nullptr));
        LogCapture log;
        EXPECT_FALSE(MarqenComposition::initWithURL(bundle->URL()));
        EXPECT_TRUE(log.contains(row.logged));
    }
}

TEST(CompositionOpening, MissingAndBrokenIndexesAreLoggedAndLeaveNoBundleBehind) {
    TempDir dir;
    PrivateTemporaryFolder temporary;
    LogCapture log;
    auto plain = makePicture(40, 30);
    ASSERT_TRUE(MarqenImageWriteToFile(*plain, dir / "plain.png", MarqenImageFormat::PNG));
    EXPECT_FALSE(MarqenComposition::initWithURL(dir / "plain.png"));
    EXPECT_TRUE(log.contains("Unable to fetch json index file: "));

    auto bundle = MarqenCompositionBundle::bundleAtDirectory(dir / "broken.marqen");
    ASSERT_TRUE(bundle->writeDataForIndexJSONFile("{\"type\": \"Document\", ", nullptr));
    EXPECT_FALSE(MarqenComposition::initWithURL(dir / "broken.marqen"));
    EXPECT_TRUE(log.contains("Unable to decode json index file: "));
    EXPECT_EQ(temporary.entryCount(), 0u);
    EXPECT_TRUE(fs::exists(dir / "broken.marqen"));
}

TEST(CompositionSaving, ARichPNGComesBackWithItsAnnotationsAndNoResourceTwice) {
    TempDir dir;
    auto composition = MarqenComposition::initWithImage(makePicture(320, 200), 1, MarqenImageProfileNone, MarqenJSON::object());
    ASSERT_TRUE(composition);
    annotate(*composition->documents().front(), "Look here");
    MarqenError error;
    ASSERT_TRUE(composition->writeRichImageToURL((dir / "out.png").string(), kMarqenCompositionSaveFormatPreferred, &error))
        << error.description();
    MarqenImageProperties properties;
    ASSERT_TRUE(MarqenImageDecodeFile(dir / "out.png", &properties));
    EXPECT_EQ(properties.format, MarqenImageFormat::PNG);
    EXPECT_EQ(properties.pixelWidth(), 320);
    EXPECT_GT(redShareOfPicture(dir / "out.png"), 0.15);
    const auto firstSize = fs::file_size(dir / "out.png");

    auto reopened = MarqenComposition::initWithURL(dir / "out.png");
    ASSERT_TRUE(reopened);
    ASSERT_EQ(reopened->documents().size(), 1u);
    EXPECT_EQ(elementCount(*reopened->documents().front()), 2u);
    EXPECT_EQ(reopened->documents().front()->textStrings(), std::vector<std::string>{"Look here"});
    reopened->documents().front()->waitForOperationsToFinish();
    ASSERT_EQ(reopened->documents().front()->allBitmaps().size(), 1u);
    EXPECT_TRUE(reopened->documents().front()->allBitmaps().front()->image());
    // Saved again and again onto itself, the file keeps one set of chunks.
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(reopened->writeRichImageToURL((dir / "out.png").string(), 0, &error)) << error.description();
    EXPECT_LE(fs::file_size(dir / "out.png"), firstSize + 64);
}

TEST(CompositionSaving, ANonFileURLFailsWithItsSchemeAndTouchesNothing) {
    auto composition = MarqenComposition::initWithSize({50, 50}, 1);
    MarqenError error;
    EXPECT_FALSE(composition->writeRichImageToURL("https://example.org/a.png", 0, &error));
    EXPECT_EQ(error.domain, "MarqenCompositionErrorDomain");
    EXPECT_EQ(error.code, kMarqenCompositionErrorNotFileURL);
    EXPECT_EQ(error.userInfo["url"], "https://example.org/a.png");
    EXPECT_EQ(error.userInfo["scheme"], "https");
    EXPECT_FALSE(fs::exists(composition->bundle()->indexJSONFileURL()));
}

TEST(CompositionSaving, APageTwoAnnotationOfAFourPagePDFReopensOnPageTwoOnly) {
    TempDir dir;
    makeCairoPDF(dir / "in.pdf", 4, 300, 400);
    auto composition = MarqenComposition::initWithURL(dir / "in.pdf");
    ASSERT_TRUE(composition);
    annotate(*composition->documents()[1], "Second page");
    // Pages without visible elements are left out of the document.
    auto dictionary = composition->dictionaryRepresentation();
    ASSERT_TRUE(dictionary);
    EXPECT_EQ((*dictionary)["type"], "MultiPageDocument");
    ASSERT_EQ((*dictionary)["children"].size(), 1u);
    EXPECT_EQ((*dictionary)["children"][0]["pageNumber"], 2);
    MarqenError error;
    ASSERT_TRUE(composition->writeAnnotatedPDFToURL(dir / "out.pdf", true, false, "", "", &error)) << error.description();
    EXPECT_EQ(qpdfCheck(dir / "out.pdf"), 0);
    EXPECT_GT(redShareOfPage(dir / "out.pdf", 2), 0.1);
    EXPECT_LT(redShareOfPage(dir / "out.pdf", 1), 0.01);

    auto reopened = MarqenComposition::initWithURL(dir / "out.pdf");
    ASSERT_TRUE(reopened);
    ASSERT_EQ(reopened->documents().size(), 4u);
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(elementCount(*reopened->documents()[i]), i == 1 ? 2u : 0u) << i;
    EXPECT_EQ(reopened->documents()[1]->textStrings(), std::vector<std::string>{"Second page"});
}

TEST(CompositionLifetime, ThePrivateBundleGoesWithTheCompositionAndTheIncomingOneStays) {
    TempDir dir;
    auto composition = MarqenComposition::initWithImage(makePicture(40, 30), 1, MarqenImageProfileNone, MarqenJSON::object());
    ASSERT_TRUE(composition->writeRichImageToURL((dir / "in.png").string(), kMarqenCompositionSaveFormatPNG));
    const fs::path made = composition->bundle()->URL();
    composition.reset();
    EXPECT_FALSE(fs::exists(made));

    auto opened = MarqenComposition::initWithURL(dir / "in.png");
    ASSERT_TRUE(opened);
    const fs::path unpacked = opened->bundle()->URL();
    EXPECT_TRUE(fs::is_directory(unpacked));
    EXPECT_EQ(opened->incomingURL(), std::optional<fs::path>(dir / "in.png"));
    opened.reset();
    EXPECT_FALSE(fs::exists(unpacked));
    EXPECT_TRUE(fs::exists(dir / "in.png"));

    // A bundle directory restored with removeURLOnDealloc is private too.
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(dir / "restore.marqen");
    ASSERT_TRUE(bundle->writeDataForIndexJSONFile(MarqenDOMDocument::createWithSize({10, 10}, 1)->dictionaryRepresentation().dump(), nullptr));
    auto restored = MarqenComposition::initWithRestoreURL(dir / "restore.marqen", false, true);
    ASSERT_TRUE(restored);
    EXPECT_FALSE(restored->incomingURL());
    restored.reset();
    EXPECT_FALSE(fs::exists(dir / "restore.marqen"));
}

TEST(CompositionLogging, FailedWritesAreLoggedOrReported) {
    TempDir dir;
    LogCapture log;
    auto composition = MarqenComposition::initWithSize({20, 20}, 1);
    fs::create_directories(dir / "folder.png");
    EXPECT_FALSE(composition->writeFlattenedImageToURL(composition->documents().front(), dir / "folder.png", "public.png", 1, true));
    EXPECT_TRUE(log.contains("Error writing to " + (dir / "folder.png").string()));

    // The annotated PDF of a composition without a PDF is refused with code 3.
    MarqenError error;
    EXPECT_FALSE(composition->writeAnnotatedPDFToURL(dir / "out.pdf", true, false, "", "", &error));
    EXPECT_EQ(error.domain, "MarqenCompositionErrorDomain");
    EXPECT_EQ(error.code, 3);
    EXPECT_FALSE(fs::exists(dir / "out.pdf"));
    // The JSON writer reports in the composition's domain with code 0.
    EXPECT_FALSE(composition->writeJSONToURL(dir / "folder.png", &error));
    EXPECT_EQ(error.domain, "MarqenCompositionErrorDomain");
    EXPECT_EQ(error.code, 0);
}
