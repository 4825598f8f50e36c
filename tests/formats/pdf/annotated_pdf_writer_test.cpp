#include <gtest/gtest.h>

#include "dom/document.h"
#include "dom/layer.h"
#include "dom/text.h"
#include "dom/vector.h"
#include "editing/annotated_pdf_writer.h"
#include "formats/pdf/pdf_file.h"
#include "formats/pdf/pdf_test_helpers.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;

namespace {

std::vector<std::shared_ptr<MarqenDOMDocument>> pages(size_t count) {
    std::vector<std::shared_ptr<MarqenDOMDocument>> documents;
    for (size_t i = 0; i < count; ++i) documents.push_back(MarqenDOMDocument::createWithSize({300, 400}, 1));
    return documents;
}

// A red block across the middle of the page and a text.
void annotate(MarqenDOMDocument &document, const std::string &text) {
    auto block = MarqenDOMVector::create();
    block->setBezierPath(MarqenBezierPath::pathWithRect({{0, 160}, {300, 80}}));
    block->setStrokeColor(MarqenDOMColor(255, 0, 0, 1));
    block->setFillColor(MarqenDOMColor(255, 0, 0, 1));
    document.annotationLayer()->addChild(block);
    auto label = MarqenDOMText::create();
    label->setText(text);
    label->setOrigin({20, 40});
    document.textLayer()->addChild(label);
}

int qpdfCheck(const std::filesystem::path &path) { return runTool("qpdf --check '" + path.string() + "'"); }

std::string pdfText(const std::filesystem::path &path, int page) {
    std::string text;
    runTool("pdftotext -f " + std::to_string(page) + " -l " + std::to_string(page) + " '" + path.string() + "' -", &text);
    return text;
}

size_t filesIn(const std::filesystem::path &folder) {
    size_t count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator(folder)) ++count;
    return count;
}

}  // namespace

TEST(AnnotatedPDFWriter, FourPagesAnnotatedOnPageTwoWithSummaryAndDocument) {
    TempDir dir;
    makeCairoPDF(dir / "in.pdf", 4, 300, 400);
    auto documents = pages(4);
    annotate(*documents[1], "Check this figure");
    MarqenAnnotatedPDFOptions options;
    options.domJSON = R"({"pages":4})";
    options.includeSummary = true;
    options.author = "Ada";
    options.summaryTitle = "Review notes";
    options.date = "1 April 2026";
    MarqenError error;
    ASSERT_TRUE(MarqenAnnotatedPDFWrite(dir / "in.pdf", documents, options, dir / "out.pdf", &error)) << error.description();
    EXPECT_EQ(qpdfCheck(dir / "out.pdf"), 0);
    EXPECT_EQ(popplerPageCount(dir / "out.pdf"), 5);
    std::string summary = pdfText(dir / "out.pdf", 1);
    for (const char *expected : {"Review notes", "Ada", "1 April 2026", "Page 2", "Check this figure"}) {
        EXPECT_NE(summary.find(expected), std::string::npos) << expected;
    }
    EXPECT_EQ(summary.find("Page 1\n"), std::string::npos);
    // Output page 3 is the original's page 2, with the red block; the others have none.
    EXPECT_GT(redShareOfPage(dir / "out.pdf", 3), 0.1);
    for (int page : {2, 4, 5}) EXPECT_LT(redShareOfPage(dir / "out.pdf", page), 0.01) << page;
    EXPECT_NE(pdfText(dir / "out.pdf", 3).find("Page 2"), std::string::npos);

    auto reopened = MarqenPDF::initWithContentsOfFile((dir / "out.pdf").string());
    ASSERT_TRUE(reopened);
    EXPECT_TRUE(reopened->isRichPDF());
    EXPECT_EQ(reopened->richPDFJSON(), std::optional<std::string>(R"({"pages":4})"));
    EXPECT_EQ(reopened->numberOfPagesInOriginalPDF(), 4u);
    ASSERT_TRUE(reopened->writeOriginalPDFToURL((dir / "original.pdf").string(), &error));
    EXPECT_EQ(readFile(dir / "original.pdf"), readFile(dir / "in.pdf"));
}

TEST(AnnotatedPDFWriter, SavingOntoItselfAgainNeitherGrowsNorStacksUpdates) {
    TempDir dir;
    makeCairoPDF(dir / "doc.pdf", 3, 300, 400);
    std::string original = readFile(dir / "doc.pdf");
    auto documents = pages(3);
    annotate(*documents[0], "first");
    MarqenAnnotatedPDFOptions options;
    options.domJSON = "{}";
    options.includeSummary = true;
    options.date = "today";
    MarqenError error;
    ASSERT_TRUE(MarqenAnnotatedPDFWrite(dir / "doc.pdf", documents, options, dir / "doc.pdf", &error)) << error.description();
    auto firstSize = std::filesystem::file_size(dir / "doc.pdf");
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(MarqenAnnotatedPDFWrite(dir / "doc.pdf", documents, options, dir / "doc.pdf", &error)) << error.description();
    }
    EXPECT_EQ(std::filesystem::file_size(dir / "doc.pdf"), firstSize);
    EXPECT_EQ(qpdfCheck(dir / "doc.pdf"), 0);
    EXPECT_EQ(popplerPageCount(dir / "doc.pdf"), 4);
    EXPECT_EQ(readFile(dir / "doc.pdf").substr(0, original.size()), original);
    EXPECT_EQ(filesIn(dir.path()), 1u);  // no temporary file left beside it
}

TEST(AnnotatedPDFWriter, PlainUpdateWithoutSummaryOrDocument) {
    TempDir dir;
    makeCairoPDF(dir / "in.pdf", 2, 300, 400);
    auto documents = pages(3);  // one more document than pages: ignored
    annotate(*documents[1], "x");
    annotate(*documents[2], "beyond the last page");
    MarqenAnnotatedPDFOptions options;
    options.includeSummary = true;
    options.summaryTitle = "Nothing listed twice";
    MarqenError error;
    ASSERT_TRUE(MarqenAnnotatedPDFWrite(dir / "in.pdf", documents, options, dir / "out.pdf", &error));
    EXPECT_EQ(qpdfCheck(dir / "out.pdf"), 0);
    EXPECT_EQ(popplerPageCount(dir / "out.pdf"), 3);
    EXPECT_EQ(pdfText(dir / "out.pdf", 1).find("beyond the last page"), std::string::npos);
    auto reopened = MarqenPDF::initWithContentsOfFile((dir / "out.pdf").string());
    ASSERT_TRUE(reopened);
    EXPECT_FALSE(reopened->isRichPDF());

    // No annotations at all: no summary page either.
    options.includeSummary = true;
    ASSERT_TRUE(MarqenAnnotatedPDFWrite(dir / "in.pdf", pages(2), options, dir / "bare.pdf", &error));
    EXPECT_EQ(popplerPageCount(dir / "bare.pdf"), 2);
    EXPECT_EQ(qpdfCheck(dir / "bare.pdf"), 0);
    // Nothing to draw and no document: the untouched file itself, without an empty update.
    EXPECT_EQ(readFile(dir / "bare.pdf"), readFile(dir / "in.pdf"));
}

TEST(AnnotatedPDFWriter, BadSourcesAndTargetsLeaveNothingBehind) {
    TempDir dir;
    writeFile(dir / "not.pdf", "this is no PDF at all");
    writeFile(dir / "keep.pdf", "old contents");
    LogCapture log;
    MarqenError error;
    EXPECT_FALSE(MarqenAnnotatedPDFWrite(dir / "not.pdf", pages(1), {}, dir / "keep.pdf", &error));
    EXPECT_TRUE(error.domain.empty());  // an unreadable source fails without an error object
    EXPECT_TRUE(log.contains("cannot open the PDF to annotate"));
    EXPECT_EQ(readFile(dir / "keep.pdf"), "old contents");

    makeCairoPDF(dir / "in.pdf", 1, 300, 400);
    std::filesystem::create_directory(dir / "folder.pdf");
    EXPECT_FALSE(MarqenAnnotatedPDFWrite(dir / "in.pdf", pages(1), {}, dir / "folder.pdf", &error));
    EXPECT_EQ(error.domain, "MarqenCompositionErrorDomain");
    EXPECT_FALSE(MarqenAnnotatedPDFWrite(dir / "in.pdf", pages(1), {}, dir / "missing" / "out.pdf", &error));
    EXPECT_EQ(filesIn(dir.path()), 4u);

    if (toolAvailable("qpdf")) {
        ASSERT_EQ(runTool("qpdf --encrypt '' owner 256 --modify=none -- '" + (dir / "in.pdf").string() + "' '" +
                          (dir / "locked.pdf").string() + "'"),
                  0);
        auto documents = pages(1);
        annotate(*documents[0], "x");
        error = {};
        EXPECT_FALSE(MarqenAnnotatedPDFWrite(dir / "locked.pdf", documents, {}, dir / "locked-out.pdf", &error));
        EXPECT_EQ(error.domain, "MarqenCompositionErrorDomain");
        EXPECT_EQ(error.code, 3);
        EXPECT_NE(error.localizedDescription().find("cannot be annotated"), std::string::npos);
        EXPECT_FALSE(std::filesystem::exists(dir / "locked-out.pdf"));
    }
}
