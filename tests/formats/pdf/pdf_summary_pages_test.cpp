#include <gtest/gtest.h>
#include <poppler.h>

#include "formats/pdf/pdf_overlay.h"
#include "formats/pdf/pdf_summary_pages.h"
#include "formats/pdf/pdf_test_helpers.h"
#include "render/summary_page.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;

namespace {

struct Prepared {
    std::shared_ptr<MarqenPDF> target;
    std::shared_ptr<MarqenPDF> summary;
    std::shared_ptr<MarqenPDFMigrator> migrator;
};

// The summary of `entries` rows linking to pages 1, 2, 0, 1, 2, ... of the target.
Prepared prepare(const TempDir &dir, const std::filesystem::path &targetPath, size_t entries,
                 std::vector<MarqenPDFSummaryLink> *pdfLinks) {
    Prepared prepared;
    prepared.target = MarqenPDF::initWithContentsOfFile(targetPath.string());
    EXPECT_TRUE(prepared.target);
    MarqenSummaryContent content;
    content.title = "Summary of changes";
    content.author = "Reviewer";
    for (size_t i = 0; i < entries; ++i) {
        MarqenSummaryEntry entry;
        entry.pageIndex = (i + 1) % 3;
        entry.pageLabel = "Page " + std::to_string(entry.pageIndex + 1);
        entry.texts = {"remark " + std::to_string(i)};
        content.entries.push_back(entry);
    }
    std::vector<MarqenSummaryLink> links;
    EXPECT_TRUE(MarqenSummaryWritePDF(content, {300, 400}, dir / "summary.pdf", &links));
    for (const auto &link : links) pdfLinks->push_back({link.summaryPageIndex, link.rect, link.targetPageIndex});
    prepared.summary = MarqenPDF::initWithContentsOfFile((dir / "summary.pdf").string());
    EXPECT_TRUE(prepared.summary);
    prepared.migrator = MarqenPDFMigrator::initWithTargetPDF(prepared.target, prepared.target->nextAvailableObjectNumber());
    return prepared;
}

// Link rectangle tops and the 0-based page numbers their destinations name, for one page, via poppler.
std::vector<int> linkTargets(const std::filesystem::path &pdf, int page) {
    GError *gerror = nullptr;
    gchar *uri = g_filename_to_uri(pdf.c_str(), nullptr, nullptr);
    PopplerDocument *document = poppler_document_new_from_file(uri, nullptr, &gerror);
    g_free(uri);
    std::vector<int> targets;
    if (!document) {
        g_clear_error(&gerror);
        return targets;
    }
    PopplerPage *popplerPage = poppler_document_get_page(document, page);
    GList *mapping = poppler_page_get_link_mapping(popplerPage);
    for (GList *item = mapping; item; item = item->next) {
        auto *link = static_cast<PopplerLinkMapping *>(item->data);
        if (link->action->type != POPPLER_ACTION_GOTO_DEST) continue;
        PopplerDest *dest = link->action->goto_dest.dest;
        targets.push_back(dest->page_num - 1);
    }
    std::sort(targets.begin(), targets.end());
    poppler_page_free_link_mapping(mapping);
    g_object_unref(popplerPage);
    g_object_unref(document);
    return targets;
}

}  // namespace

TEST(PDFSummaryPages, PrependedInFrontWithLinksToTheOriginalPages) {
    TempDir dir;
    makeCairoPDF(dir / "in.pdf", 3, 300, 400);
    std::vector<MarqenPDFSummaryLink> links;
    auto prepared = prepare(dir, dir / "in.pdf", 2, &links);
    auto sourceMap = MarqenPDFMigratorSourceMap::initWithSourcePDF(prepared.summary, prepared.target);
    MarqenError error;
    ASSERT_TRUE(MarqenPDFPrependSummaryPages(*prepared.summary, *sourceMap, *prepared.migrator, links, &error))
        << error.description();
    ASSERT_TRUE(prepared.target->writeModifiedPDFToURL((dir / "out.pdf").string(), prepared.migrator->migratedObjects(),
                                                       std::string("{}"), &error))
        << error.description();
    EXPECT_EQ(runTool("qpdf --check '" + (dir / "out.pdf").string() + "'"), 0);
    EXPECT_EQ(popplerPageCount(dir / "out.pdf"), 4);
    std::string text;
    EXPECT_EQ(runTool("pdftotext -f 1 -l 1 '" + (dir / "out.pdf").string() + "' -", &text), 0);
    EXPECT_NE(text.find("Summary of changes"), std::string::npos);
    EXPECT_NE(text.find("remark 1"), std::string::npos);
    EXPECT_EQ(runTool("pdftotext -f 2 -l 2 '" + (dir / "out.pdf").string() + "' -", &text), 0);
    EXPECT_NE(text.find("Page 1"), std::string::npos);
    // Rows for original pages 2 and 3 link to output pages 3 and 4 (0-based 2 and 3).
    EXPECT_EQ(linkTargets(dir / "out.pdf", 0), (std::vector<int>{2, 3}));
    EXPECT_TRUE(linkTargets(dir / "out.pdf", 1).empty());

    // Saving the result again starts from the untouched PDF: still one summary page.
    auto reopened = MarqenPDF::initWithContentsOfFile((dir / "out.pdf").string());
    ASSERT_TRUE(reopened);
    EXPECT_EQ(reopened->numberOfPagesInOriginalPDF(), 3u);
    EXPECT_EQ(reopened->numberOfPagesInRichPDF(), 4u);
    auto again = MarqenPDFMigrator::initWithTargetPDF(reopened, reopened->nextAvailableObjectNumber());
    auto againMap = MarqenPDFMigratorSourceMap::initWithSourcePDF(prepared.summary, reopened);
    ASSERT_TRUE(MarqenPDFPrependSummaryPages(*prepared.summary, *againMap, *again, links, &error));
    ASSERT_TRUE(reopened->writeModifiedPDFToURL((dir / "out2.pdf").string(), again->migratedObjects(), std::string("{}"), &error));
    EXPECT_EQ(runTool("qpdf --check '" + (dir / "out2.pdf").string() + "'"), 0);
    EXPECT_EQ(popplerPageCount(dir / "out2.pdf"), 4);
}

TEST(PDFSummaryPages, WorksTogetherWithAnnotatedPagesAndSeveralSummaryPages) {
    TempDir dir;
    makeCairoPDF(dir / "in.pdf", 3, 300, 400);
    makeCairoOverlay(dir / "overlay.pdf", 300, 400);
    std::vector<MarqenPDFSummaryLink> links;
    auto prepared = prepare(dir, dir / "in.pdf", 12, &links);
    auto sourceMap = MarqenPDFMigratorSourceMap::initWithSourcePDF(prepared.summary, prepared.target);
    MarqenError error;
    ASSERT_TRUE(MarqenPDFPrependSummaryPages(*prepared.summary, *sourceMap, *prepared.migrator, links, &error));
    size_t summaryPages = links.back().summaryPageIndex + 1;
    ASSERT_GE(summaryPages, 2u);
    ASSERT_TRUE(mergeAnnotationsWithOriginal(prepared.target, (dir / "overlay.pdf").string(), *prepared.migrator, 1, &error))
        << error.description();
    ASSERT_TRUE(prepared.target->writeModifiedPDFToURL((dir / "out.pdf").string(), prepared.migrator->migratedObjects(),
                                                       std::nullopt, &error));
    EXPECT_EQ(runTool("qpdf --check '" + (dir / "out.pdf").string() + "'"), 0);
    EXPECT_EQ(popplerPageCount(dir / "out.pdf"), static_cast<int>(3 + summaryPages));
    // Original page 2 (index 1) is now number summaryPages + 2 and carries the red overlay; the
    // original's first page, right after the summary, has none.
    EXPECT_GT(redShareOfPage(dir / "out.pdf", static_cast<int>(summaryPages + 2)), 0.1);
    EXPECT_LT(redShareOfPage(dir / "out.pdf", static_cast<int>(summaryPages + 1)), 0.01);
    size_t linksFound = 0;
    for (size_t page = 0; page < summaryPages; ++page) linksFound += linkTargets(dir / "out.pdf", static_cast<int>(page)).size();
    EXPECT_EQ(linksFound, 12u);
}

TEST(PDFSummaryPages, RootRotationDoesNotTurnTheSummaryAndBadLinksAreSkipped) {
    TempDir dir;
    PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    builder.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 /Rotate 90 /MediaBox [0 0 200 100] >>");
    builder.object(3, "<< /Type /Page /Parent 2 0 R /Contents 4 0 R >>");
    builder.stream(4, "<< >>", "0 0 1 rg 10 10 50 50 re f");
    writeFile(dir / "rotated.pdf", builder.finishWithTable("/Root 1 0 R"));
    std::vector<MarqenPDFSummaryLink> links;
    auto prepared = prepare(dir, dir / "rotated.pdf", 1, &links);
    // The summary's row names the original's page 2, which this one-page file lacks.
    links.push_back({0, {{10, 10}, {20, 20}}, 0});
    auto sourceMap = MarqenPDFMigratorSourceMap::initWithSourcePDF(prepared.summary, prepared.target);
    LogCapture log;
    MarqenError error;
    ASSERT_TRUE(MarqenPDFPrependSummaryPages(*prepared.summary, *sourceMap, *prepared.migrator, links, &error));
    EXPECT_TRUE(log.contains("Summary link to missing page 2 left out"));
    ASSERT_TRUE(prepared.target->writeModifiedPDFToURL((dir / "out.pdf").string(), prepared.migrator->migratedObjects(),
                                                       std::nullopt, &error));
    EXPECT_EQ(runTool("qpdf --check '" + (dir / "out.pdf").string() + "'"), 0);
    std::string info;
    runTool("pdfinfo -f 1 -l 2 '" + (dir / "out.pdf").string() + "'", &info);
    EXPECT_NE(info.find("Page    1 rot:   0"), std::string::npos) << info;
    EXPECT_NE(info.find("Page    2 rot:   90"), std::string::npos) << info;
    // The one link that names the page leads to the original's first page, now the second.
    EXPECT_EQ(linkTargets(dir / "out.pdf", 0), (std::vector<int>{1}));
}

TEST(PDFSummaryPages, RefusesPDFsWithoutAPageTreeAndForeignSourceMaps) {
    TempDir dir;
    PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    builder.object(2, "<< /Type /Pages /Count 0 >>");
    writeFile(dir / "nokids.pdf", builder.finishWithTable("/Root 1 0 R"));
    makeCairoPDF(dir / "in.pdf", 3, 300, 400);
    std::vector<MarqenPDFSummaryLink> links;
    auto prepared = prepare(dir, dir / "in.pdf", 1, &links);
    auto broken = MarqenPDF::initWithContentsOfFile((dir / "nokids.pdf").string());
    MarqenError error;
    if (broken) {
        auto migrator = MarqenPDFMigrator::initWithTargetPDF(broken, broken->nextAvailableObjectNumber());
        auto map = MarqenPDFMigratorSourceMap::initWithSourcePDF(prepared.summary, broken);
        EXPECT_FALSE(MarqenPDFPrependSummaryPages(*prepared.summary, *map, *migrator, links, &error));
        EXPECT_EQ(error.domain, "MarqenPDF");
        EXPECT_TRUE(migrator->migratedObjects().empty());
    }
    auto foreignMap = MarqenPDFMigratorSourceMap::initWithSourcePDF(prepared.summary, prepared.summary);
    EXPECT_FALSE(MarqenPDFPrependSummaryPages(*prepared.summary, *foreignMap, *prepared.migrator, links, &error));
    EXPECT_EQ(error.code, -1);
}
