// MarqenComposition: opening a bundle, a rich picture or a PDF, and replacing pages from a document file.
#include <set>

#include "dom/document.h"
#include "editing/composition.h"
#include "editing/composition_private.h"
#include "formats/composition_bundle.h"
#include "formats/dom_json_file.h"
#include "formats/pdf/pdf_file.h"
#include "foundation/json.h"
#include "foundation/log.h"
#include "platform/pdf_page.h"
#include "platform/poppler_document.h"

namespace marqen {

namespace fs = std::filesystem;

namespace {

bool openFailure(MarqenError *error, const std::string &message) {
    marqenLog(message);
    return marqenFail(error, MarqenCompositionErrorDomain, kMarqenCompositionErrorWriteFailed, message);
}

std::string numberText(const MarqenJSON &value) {
    return marqen_isNumber(value) ? std::to_string(marqen_doubleValue(value)) : marqen_JSONText(value);
}

}  // namespace

bool MarqenCompositionMakePDFPages(const std::shared_ptr<MarqenPDFDocument> &pdf,
                                   std::vector<std::shared_ptr<MarqenDOMDocument>> *pages) {
    pages->clear();
    for (int index = 0; index < pdf->pageCount(); ++index) {
        MarqenError error;
        auto page = MarqenPDFPage::create(pdf, index, &error);
        if (!page) {
            marqenLog("ERROR: PDF page " + std::to_string(index + 1) + " cannot be opened: " + error.description());
            return false;
        }
        pages->push_back(MarqenDOMDocument::createWithPDFPage(page, 1.0));
    }
    return true;
}

bool MarqenCompositionMatchPDFPages(const MarqenJSON &dictionary, const std::shared_ptr<MarqenPDFDocument> &pdf,
                                    std::vector<std::shared_ptr<MarqenDOMDocument>> *pages) {
    const size_t pdfPages = size_t(std::max(pdf->pageCount(), 0));
    const MarqenJSON *children = marqen_objectForKey(dictionary, "children");
    auto type = marqen_stringForKey(dictionary, "type");
    if (!dictionary.is_object() || (type && *type != "MultiPageDocument") || (children && !children->is_array())) {
        marqenLog("ERROR: could not make multipage document from pdf embedded json");
        return false;
    }
    const size_t domPages = children ? children->size() : 0;
    // The saved document lists only the pages that show something, each under its page number; pages
    // without a number can only stand for the PDF's pages in order, all of them.
    bool unnumbered = false;
    std::set<long> numbers;
    if (domPages <= pdfPages) {
        for (const auto &entry : *children) {
            const MarqenJSON *number = entry.is_object() ? marqen_objectForKey(entry, "pageNumber") : nullptr;
            if (!number || !marqen_isNumber(*number)) {
                unnumbered = true;
                continue;
            }
            double value = marqen_doubleValue(*number);
            if (!(value >= 1 && value <= double(pdfPages)) || value != double(long(value)) || !numbers.insert(long(value)).second) {
                marqenLog("ERROR: DOM page number " + numberText(*number) + " is not a page of the PDF (" +
                          std::to_string(pdfPages) + " pages)");
                return false;
            }
        }
    }
    if (domPages > pdfPages || (unnumbered && domPages != pdfPages)) {
        marqenLog("ERROR: Page count mismatch DOM (" + std::to_string(domPages) + ") != PDF (" + std::to_string(pdfPages) + ")");
        return false;
    }
    for (size_t index = 0; index < domPages; ++index) {
        const MarqenJSON &entry = (*children)[index];
        if (!entry.is_object()) {
            marqenLog("ERROR: could not make multipage document from pdf embedded json");
            return false;
        }
        const MarqenJSON *number = marqen_objectForKey(entry, "pageNumber");
        // Unnumbered pages (all of them, in order) stand for the PDF page at their position.
        const size_t pageIndex = number && marqen_isNumber(*number) ? size_t(marqen_doubleValue(*number)) - 1 : index;
        auto pdfPage = MarqenPDFPage::create(pdf, int(pageIndex));
        auto page = pdfPage ? MarqenDOMDocument::fromDictionary(entry, pdfPage) : nullptr;
        if (!page) {
            marqenLog("ERROR: could not make multipage document from pdf embedded json");
            return false;
        }
        page->setPageNumber(double(pageIndex + 1));
        (*pages)[pageIndex] = page;
    }
    return true;
}

std::shared_ptr<MarqenComposition> MarqenComposition::initWithURL(const fs::path &url, MarqenError *error) {
    return initWithRestoreURL(url, true, false, error);
}

std::shared_ptr<MarqenComposition> MarqenComposition::initWithRestoreURL(const fs::path &url, bool requireJSON,
                                                                         bool removeURLOnDealloc, MarqenError *error) {
    std::shared_ptr<MarqenComposition> composition(new MarqenComposition);
    if (!removeURLOnDealloc) composition->incomingURL_ = url;
    composition->bundle_ = MarqenCompositionBundle::initWithPath(url);
    if (!composition->bundle_) return composition;
    const auto &bundle = composition->bundle_;

    const fs::path indexURL = bundle->indexJSONFileURL();
    std::error_code ec;
    const bool hasIndex = fs::is_regular_file(indexURL, ec);
    const bool hasPDF = bundle->pdf() != nullptr;
    if (requireJSON && !hasIndex && !hasPDF) {
        openFailure(error, "Unable to fetch json index file: " + indexURL.string());
        return nullptr;
    }
    if (hasPDF) {
        composition->pdf_ = bundle->pdf();
        composition->singleFilePDF_ = bundle->marqenPDF();
        composition->pdfHasSummaryPage_ = bundle->PDFHasSummaryPage();
        if (!MarqenCompositionMakePDFPages(composition->pdf_, &composition->documents_)) {
            openFailure(error, "ERROR: could not make the pages of " + url.string());
            return nullptr;
        }
    }
    if (hasIndex) {
        std::string text;
        MarqenError readError;
        std::optional<MarqenJSON> dictionary;
        std::string reason;
        if (MarqenReadWholeFile(indexURL.string(), kMarqenDOMJSONFileMaximumSize, &text, &readError)) {
            dictionary = marqen_parseJSON(text, &reason);
        } else {
            reason = readError.localizedDescription();
        }
        if (!dictionary) {
            openFailure(error, "Unable to decode json index file: " + reason);
            return nullptr;
        }
        if (hasPDF) {
            if (!MarqenCompositionMatchPDFPages(*dictionary, composition->pdf_, &composition->documents_)) {
                marqenFail(error, MarqenCompositionErrorDomain, kMarqenCompositionErrorWriteFailed,
                           "The document hidden in the PDF does not fit its pages");
                return nullptr;
            }
        } else {
            auto page = dictionary->is_object() ? MarqenDOMDocument::fromDictionary(*dictionary) : nullptr;
            if (!page) {
                openFailure(error, "Unable to decode json index file: not a document");
                return nullptr;
            }
            composition->documents_.push_back(page);
        }
    }
    composition->commonInit();
    return composition;
}

std::shared_ptr<MarqenComposition> MarqenComposition::initWithURL(const fs::path &url, const fs::path &jsonURL,
                                                                  MarqenError *error) {
    auto composition = initWithRestoreURL(url, false, false, error);
    if (!composition || !composition->bundle_) return nullptr;
    std::string text;
    if (!MarqenReadWholeFile(jsonURL.string(), kMarqenDOMJSONFileMaximumSize, &text, error)) return nullptr;
    std::string reason;
    auto dictionary = marqen_parseJSON(text, &reason);
    if (!dictionary || !dictionary->is_object()) {
        openFailure(error, "Unable to decode json file " + jsonURL.string() + ": " + (reason.empty() ? "not a document" : reason));
        return nullptr;
    }
    std::vector<std::shared_ptr<MarqenDOMDocument>> pages;
    if (composition->pdf_) {
        if (!MarqenCompositionMakePDFPages(composition->pdf_, &pages) ||
            !MarqenCompositionMatchPDFPages(*dictionary, composition->pdf_, &pages)) {
            marqenFail(error, MarqenCompositionErrorDomain, kMarqenCompositionErrorWriteFailed,
                       "The document " + jsonURL.string() + " does not fit the PDF's pages");
            return nullptr;
        }
    } else {
        auto page = MarqenDOMDocument::fromDictionary(*dictionary);
        if (!page) {
            openFailure(error, "Unable to decode json file " + jsonURL.string() + ": not a document");
            return nullptr;
        }
        pages.push_back(page);
    }
    composition->documents_ = std::move(pages);
    composition->updateDocumentProperties();
    return composition;
}

}  // namespace marqen
