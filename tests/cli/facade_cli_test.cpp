#include <cairo-pdf.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "dom/document.h"
#include "dom/layer.h"
#include "dom/multi_page_document.h"
#include "dom/vector.h"
#include "foundation/json.h"
#include "platform/image_io.h"
#include "support/test_support.h"

using namespace marqen;
using marqen::test::runCli;
namespace fs = std::filesystem;

namespace {

std::string quoted(const fs::path &path) { return "'" + path.string() + "'"; }

void makePDF(const fs::path &path, int pages) {
    cairo_surface_t *surface = cairo_pdf_surface_create(path.c_str(), 300, 400);
    cairo_t *cr = cairo_create(surface);
    for (int i = 0; i < pages; ++i) cairo_show_page(cr);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

// A document whose page `number` (none: a single document) holds one red block.
std::string annotationDocument(std::optional<int> number) {
    auto page = MarqenDOMDocument::createWithSize({300, 400}, 1);
    auto block = MarqenDOMVector::create();
    block->setBezierPath(MarqenBezierPath::pathWithRect({{10, 150}, {280, 100}}));
    block->setStrokeColor(MarqenDOMColor(255, 0, 0, 1));
    block->setFillColor(MarqenDOMColor(255, 0, 0, 1));
    page->annotationLayer()->addChild(block);
    if (!number) return page->dictionaryRepresentation().dump();
    page->setPageNumber(*number);
    return MarqenDOMMultiPageDocument({page}).dictionaryRepresentation().dump();
}

MarqenJSON openJSON(const fs::path &file) {
    std::string out, err;
    EXPECT_EQ(runCli("open " + quoted(file) + " --json", &out, &err), 0) << err;
    return MarqenJSON::parse(out, nullptr, false);
}

size_t annotationsOnPage(const MarqenJSON &multiPage, int number) {
    for (const auto &page : multiPage["children"])
        if (page.value("pageNumber", 0) == number)
            for (const auto &layer : page["children"])
                if (layer.value("layerId", "") == "__annotation__") return layer.value("children", MarqenJSON::array()).size();
    return 0;
}

}  // namespace

TEST(MarqenFacadeCli, AnnotateAPDFPageExportAndGetTheOriginalBack) {
    test::TempDir dir;
    makePDF(dir / "in.pdf", 4);
    test::writeFile(dir / "notes.json", annotationDocument(2));
    std::string out, err;
    ASSERT_EQ(runCli("annotate " + quoted(dir / "in.pdf") + " --dom " + quoted(dir / "notes.json") + " -o " +
                         quoted(dir / "out.pdf") + " --summary --author Ada --summary-title Notes",
                     &out, &err),
              0)
        << err;
    EXPECT_NE(out.find("1 annotation added"), std::string::npos) << out;
    MarqenJSON info = openJSON(dir / "out.pdf");
    EXPECT_EQ(info["format"], "com.brondale.marqen:pdf.with.dom.and.summary:com.adobe.pdf");
    EXPECT_EQ(info["pages"], 4);
    EXPECT_EQ(info["hasDom"], true);
    EXPECT_EQ(info["pdfHasSummaryPage"], true);
    EXPECT_EQ(info["size"]["height"], 1600);

    ASSERT_EQ(runCli("open " + quoted(dir / "out.pdf") + " --dom " + quoted(dir / "dom.json"), &out, &err), 0) << err;
    MarqenJSON dom = MarqenJSON::parse(test::readFile(dir / "dom.json"));
    EXPECT_EQ(dom["children"].size(), 1u);
    EXPECT_EQ(annotationsOnPage(dom, 2), 1u);

    // Annotating the annotated file again keeps what it had.
    ASSERT_EQ(runCli("annotate " + quoted(dir / "out.pdf") + " --dom " + quoted(dir / "notes.json") + " -o " +
                         quoted(dir / "twice.pdf"),
                     &out, &err),
              0)
        << err;
    ASSERT_EQ(runCli("open " + quoted(dir / "twice.pdf") + " --dom " + quoted(dir / "dom2.json"), &out, &err), 0) << err;
    EXPECT_EQ(annotationsOnPage(MarqenJSON::parse(test::readFile(dir / "dom2.json")), 2), 2u);

    ASSERT_EQ(runCli("original " + quoted(dir / "twice.pdf") + " -o " + quoted(dir / "clean.pdf"), &out, &err), 0) << err;
    EXPECT_EQ(test::readFile(dir / "clean.pdf"), test::readFile(dir / "in.pdf"));

    ASSERT_EQ(runCli("export " + quoted(dir / "out.pdf") + " -o " + quoted(dir / "page2.png") + " --page 2", &out, &err), 0) << err;
    MarqenImageProperties properties;
    ASSERT_TRUE(MarqenImageDecodeFile(dir / "page2.png", &properties));
    EXPECT_EQ(properties.pixelWidth(), 600);  // PDF pages are drawn at twice their size
    EXPECT_EQ(runCli("export " + quoted(dir / "out.pdf") + " -o " + quoted(dir / "page9.png") + " --page 9", &out, &err), 1);
    EXPECT_FALSE(fs::exists(dir / "page9.png"));
}

TEST(MarqenFacadeCli, PicturesTravelEditableOrFlatAndReplaceSwapsTheDocument) {
    test::TempDir dir;
    auto picture = MarqenImage::create(300, 400);
    for (int y = 0; y < 400; ++y) std::fill(picture->row(y), picture->row(y) + 300, 0xFF4477AAu);
    ASSERT_TRUE(MarqenImageWriteToFile(*picture, dir / "in.png", MarqenImageFormat::PNG));
    test::writeFile(dir / "notes.json", annotationDocument(std::nullopt));
    std::string out, err;
    ASSERT_EQ(runCli("annotate " + quoted(dir / "in.png") + " --dom " + quoted(dir / "notes.json") + " -o " + quoted(dir / "rich.jpg"),
                     &out, &err),
              0)
        << err;
    MarqenJSON info = openJSON(dir / "rich.jpg");
    EXPECT_EQ(info["hasDom"], true);
    EXPECT_EQ(info["size"]["width"], 300);
    for (const char *flat : {"flat.tif", "flat.gif", "flat.bmp", "flat.png"}) {
        ASSERT_EQ(runCli("export " + quoted(dir / "rich.jpg") + " -o " + quoted(dir / flat) + " --flat", &out, &err), 0) << flat << err;
        std::string openErr;
        EXPECT_EQ(runCli("open " + quoted(dir / flat) + " --json", &out, &openErr), 0) << flat;
        EXPECT_EQ(MarqenJSON::parse(out, nullptr, false)["hasDom"], false) << flat;
    }
    ASSERT_EQ(runCli("original " + quoted(dir / "rich.jpg") + " -o " + quoted(dir / "clean.png"), &out, &err), 0) << err;
    auto clean = MarqenImageDecodeFile(dir / "clean.png");
    ASSERT_TRUE(clean);
    EXPECT_EQ(clean->pixelAt(150, 200), 0xFF4477AAu);  // the red block is not in the clean file

    // --replace: the document's page takes the place of the picture's own.
    ASSERT_EQ(runCli("annotate " + quoted(dir / "rich.jpg") + " --replace --dom " + quoted(dir / "notes.json") + " -o " +
                         quoted(dir / "replaced.png"),
                     &out, &err),
              0)
        << err;
    ASSERT_EQ(runCli("open " + quoted(dir / "replaced.png") + " --dom " + quoted(dir / "replaced.json"), &out, &err), 0) << err;
    EXPECT_EQ(MarqenJSON::parse(test::readFile(dir / "replaced.json"))["children"].size(), 3u);  // the three layers
}

TEST(MarqenFacadeCli, UsageAndFailuresKeepTheirExitStatus) {
    test::TempDir dir;
    std::string out, err;
    EXPECT_EQ(runCli("open --help", &out, &err), 0);
    EXPECT_NE(out.find("usage: marqen open FILE"), std::string::npos);
    EXPECT_EQ(runCli("export --help", &out, &err), 0);
    EXPECT_NE(out.find("--watermark PDF"), std::string::npos);
    EXPECT_EQ(runCli("open", &out, &err), 2);
    EXPECT_EQ(err.rfind("marqen: ", 0), 0u);
    test::writeFile(dir / "junk.png", "not a picture at all");
    EXPECT_EQ(runCli("open " + quoted(dir / "junk.png"), &out, &err), 1);
    EXPECT_EQ(err.rfind("marqen: " + (dir / "junk.png").string() + ": Unable to read document.", 0), 0u) << err;
    auto picture = MarqenImage::create(10, 10);
    ASSERT_TRUE(MarqenImageWriteToFile(*picture, dir / "in.png", MarqenImageFormat::PNG));
    EXPECT_EQ(runCli("export " + quoted(dir / "in.png") + " -o " + quoted(dir / "out.xyz"), &out, &err), 2);
    EXPECT_EQ(runCli("export " + quoted(dir / "in.png") + " -o " + quoted(dir / "out.png") + " --quality 7", &out, &err), 2);
    EXPECT_EQ(runCli("export " + quoted(dir / "in.png") + " -o " + quoted(dir / "out.png") + " --format nonsense", &out, &err), 2);
    EXPECT_EQ(runCli("export " + quoted(dir / "in.png") + " -o " + quoted(dir / "out.png") + " --summary", &out, &err), 2);
    EXPECT_EQ(runCli("annotate " + quoted(dir / "in.png") + " -o " + quoted(dir / "out.png"), &out, &err), 2);
    EXPECT_FALSE(fs::exists(dir / "out.png"));
}

TEST(MarqenFacadeCli, TheDemoWalksTheWholeLoop) {
    test::TempDir dir;
    std::string out, err;
    ASSERT_EQ(runCli("demo -o " + quoted(dir / "out") + " --samples " + quoted(test::sourceDir() / "samples"), &out, &err), 0) << err;
    size_t same = 0;
    for (size_t at = out.find("the same as saved"); at != std::string::npos; at = out.find("the same as saved", at + 1)) ++same;
    EXPECT_EQ(same, 4u) << out;
    EXPECT_EQ(out.find("NOT"), std::string::npos) << out;
    EXPECT_NE(out.find("the untouched PDF, byte for byte"), std::string::npos) << out;
    for (const char *name : {"screenshot-annotated.png", "screenshot-annotated.jpg", "screenshot-annotated.heic"}) {
        MarqenJSON info = openJSON(dir / "out" / "loop" / name);
        EXPECT_EQ(info["hasDom"], true) << name;
        EXPECT_EQ(info["deviceScale"], 2) << name;  // the screenshot is a 144 dpi picture
        EXPECT_EQ(info["size"]["width"], 560) << name;
    }
    MarqenJSON pdf = openJSON(dir / "out" / "loop" / "pdf-review-annotated.pdf");
    EXPECT_EQ(pdf["pdfHasSummaryPage"], true);
    EXPECT_EQ(test::readFile(dir / "out" / "loop" / "pdf-review-original.pdf"), test::readFile(test::sourceDir() / "samples/pdf-review.pdf"));
}
