#pragma once
// Writing an annotated PDF: the untouched source PDF with one update appended that draws each page's
// annotations over it, optionally with summary pages in front and the editable document hidden inside.
// The target is replaced only by a complete file (written beside it and renamed), so saving onto the
// source file itself works and a failure leaves the old file as it was.
//
// Main thread: the documents are read (rendered) while writing.
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/error.h"
#include "render/summary_page.h"

namespace marqen {

class MarqenDOMDocument;

struct MarqenAnnotatedPDFOptions {
    std::optional<std::string> domJSON;  // hidden in the file when given
    bool includeSummary = false;
    std::string author;
    std::string summaryTitle;
    std::string date;  // as shown on the summary; empty means today's date
};

// The pages worth listing in a summary: every document with something in its annotation or text layer,
// with a picture of its annotated region and its texts. pageIndex is the document's index.
std::vector<MarqenSummaryEntry> MarqenAnnotatedPDFSummaryEntries(const std::vector<std::shared_ptr<MarqenDOMDocument>> &documents);

// documents[i] is drawn over page i of sourcePDF (documents beyond the page count are ignored). When the
// source cannot be opened as a PDF the write fails without an error object (the reason is logged); an
// encrypted PDF that does not allow annotating fails with "MarqenCompositionErrorDomain" code 3.
bool MarqenAnnotatedPDFWrite(const std::filesystem::path &sourcePDF,
                             const std::vector<std::shared_ptr<MarqenDOMDocument>> &documents,
                             const MarqenAnnotatedPDFOptions &options, const std::filesystem::path &url,
                             MarqenError *error = nullptr);

}  // namespace marqen
