#pragma once
// One page of an open PDF document: what a DOM document annotates when it stands for a PDF page.
// The page keeps its document open for as long as it is held.
//
// Threads: as for its document (poppler_document.h): shared, with calls serialised by its lock.
#include <memory>

#include "foundation/error.h"
#include "foundation/geometry.h"
#include "platform/poppler_document.h"

typedef struct _cairo cairo_t;

namespace marqen {

class MarqenPDFPage {
public:
    // pageIndex counts from 0. Null (with an error) for an index outside the document.
    static std::shared_ptr<MarqenPDFPage> create(std::shared_ptr<MarqenPDFDocument> document, int pageIndex,
                                                 MarqenError *error = nullptr);

    const std::shared_ptr<MarqenPDFDocument> &pdfDocument() const { return document_; }
    int pageIndex() const { return pageIndex_; }
    int pageNumber() const { return pageIndex_ + 1; }  // counted from 1, as documents number their pages
    CGRect cropBox() const { return document_->cropBox(pageIndex_); }
    int rotation() const { return document_->rotation(pageIndex_); }
    // The crop box as displayed (width and height swapped for quarter turns).
    CGSize displaySize() const { return document_->displaySize(pageIndex_); }
    // Draws the displayed page with its top-left corner at the origin, y downwards, in points.
    bool draw(cairo_t *context, MarqenError *error = nullptr) const { return document_->drawPage(pageIndex_, context, error); }

private:
    MarqenPDFPage(std::shared_ptr<MarqenPDFDocument> document, int pageIndex)
        : document_(std::move(document)), pageIndex_(pageIndex) {}
    std::shared_ptr<MarqenPDFDocument> document_;
    int pageIndex_;
};

}  // namespace marqen
