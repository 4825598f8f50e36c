#include "platform/pdf_page.h"

#include <string>

namespace marqen {

std::shared_ptr<MarqenPDFPage> MarqenPDFPage::create(std::shared_ptr<MarqenPDFDocument> document, int pageIndex,
                                                     MarqenError *error) {
    if (!document) {
        marqenFail(error, kMarqenPDFDocumentErrorDomain, MarqenPDFDocumentErrorDamaged, "No PDF document.");
        return nullptr;
    }
    if (pageIndex < 0 || pageIndex >= document->pageCount()) {
        marqenFail(error, kMarqenPDFDocumentErrorDomain, MarqenPDFDocumentErrorPageOutOfRange,
                   "Page " + std::to_string(pageIndex + 1) + " is not in the document (" +
                       std::to_string(document->pageCount()) + " pages).");
        return nullptr;
    }
    return std::shared_ptr<MarqenPDFPage>(new MarqenPDFPage(std::move(document), pageIndex));
}

}  // namespace marqen
