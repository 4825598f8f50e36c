#include <gtest/gtest.h>

#include <cstdlib>

#include "support/composition_test_support.h"
#include "core/core_document.h"
#include "dom/bitmap.h"
#include "dom/document.h"
#include "editing/composition.h"
#include "formats/resource_uri.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;
namespace fs = std::filesystem;

namespace {

// The bundle an archive names, removed when the test ends.
struct RestoreBundle {
    fs::path path;
    ~RestoreBundle() {
        std::error_code ec;
        if (!path.empty()) fs::remove_all(path, ec);
    }
};

fs::path bundleOf(const MarqenJSON &archive) {
    return MarqenSplitURI(archive[CoreMarqenDocumentURLBookmarkKey]["url"].get<std::string>()).path;
}

}  // namespace

// Run only as the other process of RestoresEditsMadeInAnotherProcess: makes documents with unsaved edits and
// archives them to the files named by the environment.
TEST(CoreMarqenArchivingOtherProcess, DISABLED_ArchivesUnsavedEdits) {
    const char *pictureArchive = std::getenv("MARQEN_TEST_PICTURE_ARCHIVE");
    const char *pdfArchive = std::getenv("MARQEN_TEST_PDF_ARCHIVE");
    const char *pdf = std::getenv("MARQEN_TEST_PDF");
    ASSERT_TRUE(pictureArchive && pdfArchive && pdf);
    auto picture = CoreMarqenDocument::initWithBackgroundImage(makePicture(120, 90), 1, MarqenJSON::object(), false);
    annotate(*picture->documentComposition()->documents().front(), "unsaved edit");
    picture->setTitle("Kept across restarts");
    writeFile(pictureArchive, picture->encodeWithCoder().dump());
    auto document = CoreMarqenDocument::initWithURL(pdf);
    ASSERT_TRUE(document);
    annotate(*document->documentComposition()->documents()[2], "third page");
    writeFile(pdfArchive, document->encodeWithCoder().dump());
}

TEST(CoreMarqenArchiving, RestoresEditsMadeInAnotherProcess) {
    TempDir dir;
    makeCairoPDF(dir / "in.pdf", 3, 300, 400);
    const std::string command = "MARQEN_TEST_PICTURE_ARCHIVE='" + (dir / "picture.json").string() +
                                "' MARQEN_TEST_PDF_ARCHIVE='" + (dir / "pdf.json").string() + "' MARQEN_TEST_PDF='" +
                                (dir / "in.pdf").string() + "' /proc/" + std::to_string(::getpid()) +
                                "/exe --gtest_also_run_disabled_tests --gtest_filter=CoreMarqenArchivingOtherProcess.*";
    std::string output;
    ASSERT_EQ(runTool(command, &output), 0) << output;

    auto pictureArchive = MarqenJSON::parse(readFile(dir / "picture.json"));
    ASSERT_TRUE(pictureArchive.contains(CoreMarqenDocumentURLBookmarkKey)) << pictureArchive.dump();
    RestoreBundle pictureBundle{bundleOf(pictureArchive)};
    MarqenError error;
    auto picture = CoreMarqenDocument::initWithCoder(pictureArchive, &error);
    ASSERT_TRUE(picture) << error.description();
    const auto &page = picture->documentComposition()->documents().front();
    EXPECT_EQ(page->textStrings(), std::vector<std::string>{"unsaved edit"});
    EXPECT_EQ(picture->title(), std::optional<std::string>("Kept across restarts"));
    page->waitForOperationsToFinish();
    ASSERT_EQ(page->allBitmaps().size(), 1u);
    EXPECT_TRUE(page->allBitmaps().front()->image());

    auto pdfArchive = MarqenJSON::parse(readFile(dir / "pdf.json"));
    RestoreBundle pdfBundle{bundleOf(pdfArchive)};
    auto pdf = CoreMarqenDocument::initWithCoder(pdfArchive, &error);
    ASSERT_TRUE(pdf) << error.description();
    ASSERT_EQ(pdf->pageCount(), 3u);
    EXPECT_TRUE(pdf->documentComposition()->isMultiPageDocument());
    for (size_t i = 0; i < 3; ++i) EXPECT_EQ(elementCount(*pdf->documentComposition()->documents()[i]), i == 2 ? 2u : 0u);
    // Restored documents keep their bundle: it is what the next restore opens.
    pdf.reset();
    EXPECT_TRUE(fs::is_directory(pdfBundle.path));

    // Older archives name the bundle by a plain URL.
    auto older = CoreMarqenDocument::initWithCoder({{CoreMarqenDocumentCodedURL, "file://" + pdfBundle.path.string()}}, &error);
    ASSERT_TRUE(older) << error.description();
    EXPECT_EQ(older->pageCount(), 3u);
}

TEST(CoreMarqenArchiving, BookmarksThatNoLongerResolveAreLoggedAndFail) {
    TempDir dir;
    LogCapture log;
    MarqenError error;
    EXPECT_FALSE(CoreMarqenDocument::initWithCoder(
        {{CoreMarqenDocumentURLBookmarkKey, {{"url", "file://" + (dir / "gone").string()}}}}, &error));
    EXPECT_EQ(error.domain, "CoreMarqen");
    EXPECT_EQ(error.code, -1);
    EXPECT_TRUE(log.contains("Error: couldn't restore URL from bookmark: "));

    fs::create_directories(dir / "other");
    error = {};
    EXPECT_FALSE(CoreMarqenDocument::initWithCoder(
        {{CoreMarqenDocumentURLBookmarkKey, {{"url", "file://" + (dir / "other").string()}, {"device", 1}, {"inode", 1}}}}, &error));
    EXPECT_EQ(error.domain, "CoreMarqen");
    EXPECT_FALSE(CoreMarqenDocument::initWithCoder({{CoreMarqenDocumentCodedURL, "https://example.org/x"}}, &error));
    EXPECT_FALSE(CoreMarqenDocument::initWithCoder(MarqenJSON::array(), &error));
}
