#include <gtest/gtest.h>

#include <filesystem>

#include "formats/composition_bundle.h"
#include "formats/pdf/pdf_test_helpers.h"
#include "formats/pdf/pdf_file.h"
#include "platform/poppler_document.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;
namespace fs = std::filesystem;

namespace {

const std::string kUUID = "abcdef01-2345-6789-abcd-ef0123456789";

std::vector<std::string> resourceNames(const MarqenCompositionBundle &bundle) {
    std::vector<std::string> names;
    for (const auto &resource : bundle.resources()) names.push_back(resource.resourceURI + " " + resource.dataURL.filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

TEST(CompositionBundle, LayoutAndIndexFallback) {
    auto bundle = MarqenCompositionBundle::init();
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->URL().parent_path(), fs::temp_directory_path());
    EXPECT_TRUE(fs::is_directory(bundle->URL() / "Contents" / "Resources"));
    const fs::path resources = bundle->resourcesURL();
    EXPECT_EQ(bundle->previewURL(), resources / "preview.png");
    EXPECT_EQ(bundle->originalPDFFileURL(), resources / "original.pdf");
    EXPECT_EQ(bundle->indexJSONFileURL(), resources / "index.json");
    writeFile(resources / "document.marqen", "older");
    EXPECT_EQ(bundle->indexJSONFileURL(), resources / "document.marqen");
    ASSERT_TRUE(bundle->writeDataForIndexJSONFile("{\"v\":1}", nullptr));  // written under the older name
    EXPECT_EQ(readFile(resources / "document.marqen"), "{\"v\":1}");
    writeFile(resources / "index.json", "new");
    EXPECT_EQ(bundle->indexJSONFileURL(), resources / "index.json");
    fs::remove_all(bundle->URL());
}

TEST(CompositionBundle, ResourcesAreNamesWithExactlyOneUUID) {
    TempDir dir;
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(dir.path());
    ASSERT_TRUE(bundle);
    const fs::path resources = bundle->resourcesURL();
    for (const char *name : {"index.json", "preview.png", "original.pdf", "ABCDEF01-2345-6789-ABCD-EF0123456789.png",
                             "11111111-2222-3333-4444-555555555555",
                             "11111111-2222-3333-4444-555555555555-66666666-7777-8888-9999-000000000000"})
        writeFile(resources / name, "x");
    fs::create_directory(resources / "22222222-2222-3333-4444-555555555555");
    fs::create_symlink("/etc/passwd", resources / "33333333-2222-3333-4444-555555555555");
    LogCapture log;
    EXPECT_EQ(resourceNames(*bundle),
              (std::vector<std::string>{
                  "marqen+uuid:///11111111-2222-3333-4444-555555555555 11111111-2222-3333-4444-555555555555",
                  "marqen+uuid:///abcdef01-2345-6789-abcd-ef0123456789.png ABCDEF01-2345-6789-ABCD-EF0123456789.png"}));
    EXPECT_TRUE(log.contains("Skipped resource 33333333-2222-3333-4444-555555555555: not a regular file"));
    // Locating the listed URI gives the lower-case name.
    auto located = bundle->resourceURLForResourceURI("marqen+uuid:///" + kUUID + ".png", nullptr);
    ASSERT_TRUE(located);
    EXPECT_EQ(*located, resources / (kUUID + ".png"));
}

TEST(CompositionBundle, URIsAndTheirErrors) {
    MarqenError error;
    EXPECT_EQ(MarqenCompositionBundle::uuidFromURI("marqen+uuid:///./ABCDEF01-2345-6789-ABCD-EF0123456789/", &error), kUUID);
    EXPECT_EQ(MarqenCompositionBundle::uuidFromURI("MARQEN+UUID:///x-" + kUUID + ".png", &error), "x-" + kUUID + ".png");
    EXPECT_FALSE(MarqenCompositionBundle::uuidFromURI("", &error));

    EXPECT_FALSE(MarqenCompositionBundle::uuidFromURI("http://host/" + kUUID, &error));
    EXPECT_EQ(error.domain, "MarqenCompositionBundleErrorDomain");
    EXPECT_EQ(error.code, 0);
    EXPECT_EQ(error.userInfo, (nlohmann::ordered_json{{"uri", "http://host/" + kUUID}, {"http://host/" + kUUID, "http"}}));
    EXPECT_FALSE(MarqenCompositionBundle::uuidFromURI("no-scheme", &error));
    EXPECT_TRUE(error.userInfo["no-scheme"].is_null());

    EXPECT_FALSE(MarqenCompositionBundle::uuidFromURI("marqen+uuid:///./not-a-uuid/", &error));
    EXPECT_EQ(error.code, 1);
    EXPECT_EQ(error.userInfo, (nlohmann::ordered_json{{"uri", "marqen+uuid:///./not-a-uuid/"}, {"uuid", "not-a-uuid"}}));

    EXPECT_EQ(MarqenCompositionBundle::URIFromUuid("ABCDEF01-2345-6789-ABCD-EF0123456789"), "marqen+uuid:///" + kUUID);
    EXPECT_TRUE(MarqenCompositionBundle::URIisUUIDURI("Marqen+UUID:///" + kUUID));
    EXPECT_FALSE(MarqenCompositionBundle::URIisUUIDURI("file:///" + kUUID));
    EXPECT_EQ(MarqenCompositionBundle::sanitizedURIForURI("marqen+uuid:///" + kUUID), "marqen+uuid:///" + kUUID);
    std::string fresh = MarqenCompositionBundle::sanitizedURIForURI("file:///tmp/x.png");
    EXPECT_TRUE(MarqenCompositionBundle::URIisUUIDURI(fresh));
    EXPECT_EQ(fresh.substr(0, 15), "marqen+uuid:///");
}

TEST(CompositionBundle, OlderResourceNamesAndConfinement) {
    TempDir dir;
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(dir.path());
    const fs::path resources = bundle->resourcesURL();
    writeFile(resources / "OLDNAME.png", "old");
    MarqenError error;
    auto found = bundle->resourceURLForResourceURI("marqen+uuid:///oldname.png", &error);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->filename(), "OLDNAME.png");
    EXPECT_TRUE(error.domain.empty());  // cleared
    EXPECT_FALSE(bundle->resourceURLForResourceURI("marqen+uuid:///oldname.png", nullptr));
    EXPECT_FALSE(bundle->resourceURLForResourceURI("marqen+uuid:///missing.png", &error));
    EXPECT_EQ(error.code, 1);

    // Names that would leave the directory are refused, and nothing is written outside.
    writeFile(dir / "source", "data");
    LogCapture log;
    const std::string escaping = "marqen+uuid:///sub/../../../" + kUUID;
    EXPECT_FALSE(bundle->writeDataFromURL(dir / "source", escaping, &error));
    EXPECT_EQ(error.code, 2);
    EXPECT_FALSE(fs::exists(dir / kUUID));
    EXPECT_TRUE(log.contains("it would leave the bundle"));
    // A resource that is a symbolic link is neither followed nor replaced.
    writeFile(dir / "outside", "keep");
    fs::create_symlink(dir / "outside", resources / kUUID);
    EXPECT_FALSE(bundle->writeDataFromURL(dir / "source", "marqen+uuid:///" + kUUID, &error));
    EXPECT_EQ(readFile(dir / "outside"), "keep");
    EXPECT_FALSE(bundle->resourceURLForResourceURI("marqen+uuid:///" + kUUID, nullptr));
    // The index is not written through a link either.
    fs::create_symlink(dir / "outside", resources / "index.json");
    EXPECT_FALSE(bundle->writeDataForIndexJSONFile("{}", &error));
    EXPECT_EQ(readFile(dir / "outside"), "keep");

    fs::remove(resources / kUUID);
    ASSERT_TRUE(bundle->writeDataFromURL(dir / "source", "marqen+uuid:///" + kUUID, &error));
    EXPECT_EQ(readFile(resources / kUUID), "data");
}

TEST(CompositionBundle, OpeningURLs) {
    TempDir dir;
    EXPECT_FALSE(MarqenCompositionBundle::initWithURL("http://example.com/x.png"));
    EXPECT_FALSE(MarqenCompositionBundle::initWithURL("file://" + (dir / "missing").string()));
    EXPECT_FALSE(MarqenCompositionBundle::initWithURL((dir / "relative").string()));
    // A file that is neither PDF nor rich image still gives a bundle; the failure is logged.
    writeFile(dir / "note.txt", "hello");
    LogCapture log;
    auto bundle = MarqenCompositionBundle::initWithURL("file://" + (dir / "note.txt").string());
    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle->URL().extension(), ".marqen");
    EXPECT_TRUE(log.contains("MarqenPNGImageErrorDomain (2)"));
    fs::remove_all(bundle->URL());
    // A directory is used as it stands.
    auto existing = MarqenCompositionBundle::initWithURL("FILE://" + dir.path().string());
    ASSERT_TRUE(existing);
    EXPECT_EQ(existing->URL(), dir.path());
}

TEST(CompositionBundle, PlainAndRichPDFs) {
    TempDir dir;
    makeCairoPDF(dir / "plain.pdf", 2, 200, 100);
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(dir / "b1");
    ASSERT_TRUE(bundle->extractPDF(dir / "plain.pdf"));
    EXPECT_EQ(readFile(bundle->originalPDFFileURL()), readFile(dir / "plain.pdf"));
    EXPECT_FALSE(fs::exists(bundle->indexJSONFileURL()));
    EXPECT_EQ(bundle->pdf()->pageCount(), 2);
    EXPECT_FALSE(bundle->PDFHasSummaryPage());
    // Reopening the bundle directory opens its original.pdf in place.
    auto reopened = MarqenCompositionBundle::initWithPath(dir / "b1");
    ASSERT_TRUE(reopened);
    ASSERT_TRUE(reopened->pdf());

    auto pdf = MarqenPDF::initWithContentsOfFile((dir / "plain.pdf").string());
    ASSERT_TRUE(pdf->writeModifiedPDFToURL((dir / "rich.pdf").string(), {}, std::string("{\"type\":\"Document\"}"), nullptr));
    auto rich = MarqenCompositionBundle::bundleAtDirectory(dir / "b2");
    ASSERT_TRUE(rich->extractContentsIntoBundle(dir / "rich.pdf"));
    EXPECT_EQ(readFile(rich->indexJSONFileURL()), "{\"type\":\"Document\"}");
    EXPECT_EQ(readFile(rich->originalPDFFileURL()), readFile(dir / "plain.pdf"));
    EXPECT_TRUE(rich->marqenPDF()->isRichPDF());

    // A damaged PDF is refused.
    writeFile(dir / "broken.pdf", "%PDF-1.4\nnothing else");
    auto broken = MarqenCompositionBundle::bundleAtDirectory(dir / "b3");
    EXPECT_FALSE(broken->extractPDF(dir / "broken.pdf"));
}

namespace {
// A one-page PDF with the catalog as 1, the page tree as 2, the page as 3 and its content as 4.
std::string onePagePDF() { return PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R"); }

MarqenPDFObject parsedObject(const std::string &text) {
    size_t next = 0;
    return *MarqenPDF::makeObjectFromOffset(0, text, &next);
}
}  // namespace

TEST(CompositionBundle, RichPDFWithAnAddedPageHasASummaryPage) {
    TempDir dir;
    writeFile(dir / "plain.pdf", onePagePDF());
    auto pdf = MarqenPDF::initWithContentsOfFile((dir / "plain.pdf").string());
    ASSERT_TRUE(pdf);
    std::vector<MarqenPDFAppendedObject> added = {
        {MarqenPDFObject(MarqenPDFIndirectReference{5, 0}), parsedObject("<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] >>")},
        {MarqenPDFObject(MarqenPDFIndirectReference{2, 0}), parsedObject("<< /Type /Pages /Kids [3 0 R 5 0 R] /Count 2 >>")},
    };
    ASSERT_TRUE(pdf->writeModifiedPDFToURL((dir / "rich.pdf").string(), added, std::string("{}"), nullptr));
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(dir / "b");
    ASSERT_TRUE(bundle->extractPDF(dir / "rich.pdf"));
    EXPECT_TRUE(bundle->PDFHasSummaryPage());
    EXPECT_EQ(bundle->pdf()->pageCount(), 1);  // reopened from the original
    EXPECT_EQ(readFile(bundle->originalPDFFileURL()), onePagePDF());
}
