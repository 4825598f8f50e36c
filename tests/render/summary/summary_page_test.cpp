#include <gtest/gtest.h>

#include <poppler/cpp/poppler-document.h>
#include <poppler/cpp/poppler-page.h>

#include <cmath>
#include <cstdio>
#include <memory>

#include "render/summary_page.h"
#include "support/test_support.h"

using namespace marqen;
using marqen::test::TempDir;

namespace {

MarqenImageRef checkerboard(int width, int height) {
    auto image = MarqenImage::create(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image->setPixelAt(x, y, ((x / 8 + y / 8) % 2) ? 0xFFE03020u : 0xFFFFFFFFu);
    return image;
}

MarqenSummaryContent content(size_t entries) {
    MarqenSummaryContent summary;
    summary.title = "Contract review";
    summary.author = "Grace Hopper";
    summary.date = "2 March 2026";
    for (size_t i = 0; i < entries; ++i) {
        MarqenSummaryEntry entry;
        entry.pageIndex = 2 * i + 1;
        entry.pageLabel = "Page " + std::to_string(2 * i + 2);
        entry.thumbnail = checkerboard(64, 48);
        if (i % 2 == 0) entry.texts = {"Clause " + std::to_string(i) + " needs a date"};
        summary.entries.push_back(entry);
    }
    return summary;
}

std::string pageText(const poppler::document &document, int index) {
    std::unique_ptr<poppler::page> page(document.create_page(index));
    auto bytes = page->text().to_utf8();
    return std::string(bytes.begin(), bytes.end());
}

int qpdfCheck(const std::filesystem::path &path) {
    return std::system(("qpdf --check '" + path.string() + "' >/dev/null 2>&1").c_str());
}

}  // namespace

TEST(SummaryLayout, RowsFillPagesInOrderWithoutOverlap) {
    for (size_t count : {size_t(0), size_t(1), size_t(4), size_t(14), size_t(40)}) {
        auto layout = MarqenSummaryLayoutRows(content(count), {612, 792});
        ASSERT_EQ(layout.rows.size(), count);
        EXPECT_DOUBLE_EQ(layout.scale, 1.0);
        for (size_t i = 0; i < layout.rows.size(); ++i) {
            const auto &row = layout.rows[i];
            EXPECT_LT(row.summaryPageIndex, layout.pageCount);
            EXPECT_LE(row.rowRect.origin.y + row.rowRect.size.height, 792 - 36) << count << " rows, row " << i;
            if (i == 0) continue;
            const auto &previous = layout.rows[i - 1];
            ASSERT_GE(row.summaryPageIndex, previous.summaryPageIndex);
            EXPECT_LE(row.summaryPageIndex, previous.summaryPageIndex + 1);
            if (row.summaryPageIndex == previous.summaryPageIndex) {
                EXPECT_GE(row.rowRect.origin.y, previous.rowRect.origin.y + previous.rowRect.size.height - 1e-9);
            }
        }
        if (count > 0) {
            EXPECT_EQ(layout.rows.back().summaryPageIndex + 1, layout.pageCount);
        }
    }
    EXPECT_EQ(MarqenSummaryLayoutRows(content(0), {612, 792}).pageCount, 1u);
    EXPECT_EQ(MarqenSummaryLayoutRows(content(4), {612, 792}).pageCount, 1u);
    EXPECT_GE(MarqenSummaryLayoutRows(content(40), {612, 792}).pageCount, 5u);
}

TEST(SummaryLayout, PageSizesScaleTheDesignAndBadSizesFallBackToLetter) {
    // A4 landscape is still tall enough to scale by its width; a banner-shaped page scales by height.
    EXPECT_NEAR(MarqenSummaryLayoutRows(content(3), {842, 595}).scale, 842.0 / 612.0, 1e-9);
    auto banner = MarqenSummaryLayoutRows(content(3), {1600, 600});
    EXPECT_NEAR(banner.scale, 600.0 / 360.0, 1e-9);
    for (const auto &row : banner.rows) EXPECT_LE(row.rowRect.origin.y + row.rowRect.size.height, 360 - 36);
    auto halfLetter = MarqenSummaryLayoutRows(content(3), {306, 396});
    EXPECT_NEAR(halfLetter.scale, 0.5, 1e-9);
    for (CGSize bad : {CGSize{0, 0}, CGSize{-5, 100}, CGSize{NAN, 792}, CGSize{612, INFINITY}}) {
        auto layout = MarqenSummaryLayoutRows(content(3), bad);
        EXPECT_DOUBLE_EQ(layout.scale, 1.0);
        EXPECT_EQ(layout.pageCount, 1u);
    }
}

TEST(SummaryPDF, TextIsExtractableAndEveryRowLinksToItsPage) {
    TempDir dir;
    auto summary = content(14);
    std::vector<MarqenSummaryLink> links;
    MarqenError error;
    ASSERT_TRUE(MarqenSummaryWritePDF(summary, {612, 792}, dir / "summary.pdf", &links, &error)) << error.description();
    EXPECT_EQ(qpdfCheck(dir / "summary.pdf"), 0);

    auto layout = MarqenSummaryLayoutRows(summary, {612, 792});
    std::unique_ptr<poppler::document> pdf(poppler::document::load_from_file((dir / "summary.pdf").string()));
    ASSERT_TRUE(pdf);
    ASSERT_EQ(pdf->pages(), static_cast<int>(layout.pageCount));
    ASSERT_GE(layout.pageCount, 2u);

    std::string first = pageText(*pdf, 0);
    EXPECT_NE(first.find("Contract review"), std::string::npos);
    EXPECT_NE(first.find("Grace Hopper"), std::string::npos);
    EXPECT_NE(first.find("2 March 2026"), std::string::npos);
    EXPECT_NE(first.find("Page 2"), std::string::npos);
    EXPECT_NE(first.find("Clause 0 needs a date"), std::string::npos);
    EXPECT_NE(first.find("Drawn annotations only"), std::string::npos);
    EXPECT_NE(first.find("Summary 1 of " + std::to_string(layout.pageCount)), std::string::npos);
    std::string last = pageText(*pdf, pdf->pages() - 1);
    EXPECT_NE(last.find("Page 28"), std::string::npos);
    EXPECT_EQ(last.find("Grace Hopper"), std::string::npos);

    ASSERT_EQ(links.size(), summary.entries.size());
    for (size_t i = 0; i < links.size(); ++i) {
        EXPECT_EQ(links[i].targetPageIndex, summary.entries[i].pageIndex);
        EXPECT_EQ(links[i].summaryPageIndex, layout.rows[i].summaryPageIndex);
        // The link covers the row: PDF space is the layout flipped on the page height.
        EXPECT_DOUBLE_EQ(links[i].rect.origin.x, layout.rows[i].rowRect.origin.x);
        EXPECT_DOUBLE_EQ(links[i].rect.origin.y,
                         792 - layout.rows[i].rowRect.origin.y - layout.rows[i].rowRect.size.height);
        EXPECT_GT(links[i].rect.size.height, 90);
        EXPECT_GE(links[i].rect.origin.y, 0);
        EXPECT_LE(links[i].rect.origin.y + links[i].rect.size.height, 792);
    }
}

TEST(SummaryPDF, LongAndManyTextsAreShortened) {
    TempDir dir;
    MarqenSummaryContent summary;
    summary.title = "Notes";
    MarqenSummaryEntry entry;
    entry.pageIndex = 0;
    entry.pageLabel = "Page 1";
    for (int i = 0; i < 9; ++i) entry.texts.push_back("note " + std::to_string(i));
    entry.texts.push_back("   ");  // blank texts are not listed
    MarqenSummaryEntry longEntry;
    longEntry.pageIndex = 1;
    longEntry.pageLabel = "Page 2";
    longEntry.texts = {std::string(2000, 'x') + "TAIL"};
    summary.entries = {entry, longEntry};
    ASSERT_TRUE(MarqenSummaryWritePDF(summary, {612, 792}, dir / "s.pdf", nullptr));
    std::unique_ptr<poppler::document> pdf(poppler::document::load_from_file((dir / "s.pdf").string()));
    ASSERT_TRUE(pdf);
    std::string text;
    for (int i = 0; i < pdf->pages(); ++i) text += pageText(*pdf, i);
    EXPECT_NE(text.find("note 5"), std::string::npos);
    EXPECT_EQ(text.find("note 6"), std::string::npos);
    EXPECT_NE(text.find("and 3 more"), std::string::npos);
    EXPECT_EQ(text.find("TAIL"), std::string::npos);
    // Without author and date no separator line is drawn.
    EXPECT_EQ(text.find("\u00b7"), std::string::npos);
}

TEST(SummaryPDF, UnwritablePlaceIsAnError) {
    TempDir dir;
    MarqenError error;
    EXPECT_FALSE(MarqenSummaryWritePDF(content(1), {612, 792}, dir / "missing" / "s.pdf", nullptr, &error));
    EXPECT_EQ(error.domain, "MarqenCompositionErrorDomain");
    EXPECT_EQ(error.code, 0);
    EXPECT_FALSE(std::filesystem::exists(dir / "missing"));
}
