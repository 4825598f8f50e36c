#pragma once
// The summary pages put at the front of an annotated PDF: a title, the author and the date, then one
// row per annotated page with a picture of its annotated region, the page number and the texts of its
// text annotations. Rows that do not fit continue on further summary pages. Each row is a link target
// area; the caller turns the returned areas into PDF links to the pages they name.
//
// Any thread (draws only into its own Cairo PDF surface); inputs are values.
#include <filesystem>
#include <string>
#include <vector>

#include "foundation/error.h"
#include "foundation/geometry.h"
#include "platform/image.h"

namespace marqen {

struct MarqenSummaryEntry {
    size_t pageIndex = 0;            // the original page the row links to, counted from 0 (summary pages not counted)
    std::string pageLabel;           // what the row calls the page, e.g. "Page 3"
    MarqenImageRef thumbnail;        // the annotated region; none draws a plain frame
    std::vector<std::string> texts;  // the page's text annotations, in order
};

struct MarqenSummaryContent {
    std::string title;
    std::string author;  // left out when empty
    std::string date;    // already formatted; left out when empty
    std::vector<MarqenSummaryEntry> entries;
};

// One row's link area on a summary page, in PDF user space of that page (origin bottom-left).
struct MarqenSummaryLink {
    size_t summaryPageIndex = 0;
    CGRect rect = CGRectZero;
    size_t targetPageIndex = 0;
};

// Where each row goes: the summary page it lands on and its area in the page's top-down layout space.
struct MarqenSummaryRowPlacement {
    size_t summaryPageIndex = 0;
    CGRect rowRect = CGRectZero;  // top-left origin, y down, in page points
};

struct MarqenSummaryLayout {
    size_t pageCount = 1;
    CGFloat scale = 1;  // page points per layout unit (the layout is designed on a 612-unit-wide page)
    std::vector<MarqenSummaryRowPlacement> rows;
};

// Shorter texts keep every line; at most this many texts are listed per row (the rest are counted).
inline constexpr size_t kMarqenSummaryMaximumTextsPerRow = 6;

// Places the rows on pages of `pageSize` points (the first page's frame); a page size that is not
// positive and finite falls back to US Letter.
MarqenSummaryLayout MarqenSummaryLayoutRows(const MarqenSummaryContent &content, CGSize pageSize);

// Draws the summary pages into a new PDF at `url` (overwritten; the caller chooses a private temporary
// path). False with *error when the surface cannot be made or written.
bool MarqenSummaryWritePDF(const MarqenSummaryContent &content, CGSize pageSize, const std::filesystem::path &url,
                           std::vector<MarqenSummaryLink> *links, MarqenError *error = nullptr);

}  // namespace marqen
