#pragma once
// Putting separately drawn summary pages in front of the pages of the PDF being updated, with link
// annotations that jump to the pages they list. Main thread or any one thread per migrator.
#include <vector>

#include "formats/pdf/pdf_migrator.h"
#include "foundation/geometry.h"

namespace marqen {

// A link area (PDF user space of summary page summaryPageIndex) to page targetPageIndex of the untouched
// target PDF, counted from 0.
struct MarqenPDFSummaryLink {
    size_t summaryPageIndex = 0;
    CGRect rect = CGRectZero;
    size_t targetPageIndex = 0;
};

// Adds to the migrator every page of summaryPDF, in order, as the first pages of the target's page tree
// (the root page node is stored again with the new kids first and its count raised), each with the links
// that name it. The summary pages carry their own box, resources and rotation, so nothing the root node
// passes down changes them. Links to pages the target does not have are left out and logged. Pages of
// the target are read from the untouched PDF, so a file that had summary pages before gets new ones
// instead of more. False with *error (domain "MarqenPDF", code -1) when either tree cannot be read.
bool MarqenPDFPrependSummaryPages(MarqenPDF &summaryPDF, MarqenPDFMigratorSourceMap &sourceMap,
                                  MarqenPDFMigrator &migrator, const std::vector<MarqenPDFSummaryLink> &links,
                                  MarqenError *error);

}  // namespace marqen
