#pragma once
// Reading PDF documents for display: page count, page boxes and rotation, and drawing a page into a
// Cairo context. Damaged files are reported as errors, never crashes.
//
// Threads: a document may be shared; its calls into poppler take the document's lock, because
// poppler documents are not safe to use from several threads at once.
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "foundation/error.h"
#include "foundation/geometry.h"

typedef struct _cairo cairo_t;

namespace marqen {

inline constexpr const char *kMarqenPDFDocumentErrorDomain = "MarqenPDFDocumentErrorDomain";

enum MarqenPDFDocumentErrorCode : long {
    MarqenPDFDocumentErrorDamaged = 1,           // not a PDF, or too broken to read
    MarqenPDFDocumentErrorPasswordRequired = 2,  // encrypted and the password does not open it
    MarqenPDFDocumentErrorPageOutOfRange = 3,
    MarqenPDFDocumentErrorFileAccess = 4,
    MarqenPDFDocumentErrorDrawingFailed = 5,
};

class MarqenPDFDocument {
public:
    static std::shared_ptr<MarqenPDFDocument> openFile(const std::filesystem::path &path, MarqenError *error = nullptr,
                                                       const std::string &password = "");
    static std::shared_ptr<MarqenPDFDocument> openData(std::vector<uint8_t> bytes, MarqenError *error = nullptr,
                                                       const std::string &password = "");
    ~MarqenPDFDocument();
    MarqenPDFDocument(const MarqenPDFDocument &) = delete;
    MarqenPDFDocument &operator=(const MarqenPDFDocument &) = delete;

    int pageCount() const;
    // Boxes in PDF user space (y up) as the page dictionary states them; CGRectNull for a page index
    // out of range. The crop box defaults to the media box.
    CGRect mediaBox(int pageIndex) const;
    CGRect cropBox(int pageIndex) const;
    // The page's /Rotate normalised to 0, 90, 180 or 270 (clockwise); 0 out of range.
    int rotation(int pageIndex) const;
    // The crop box's size as displayed, i.e. with width and height swapped for 90 and 270.
    CGSize displaySize(int pageIndex) const;

    // Draws the page in points with its rotation applied: the displayed page's top-left corner at
    // the user-space origin, x to the right and y downwards, covering (0, 0, displaySize).
    bool drawPage(int pageIndex, cairo_t *context, MarqenError *error = nullptr) const;

private:
    struct Impl;
    explicit MarqenPDFDocument(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace marqen
