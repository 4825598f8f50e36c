#pragma once
// Flattened pictures of a document: images at any size or of a region, the background colour an
// export needs, PNG, JPEG and vector PDF representations, and the thumbnail and caption helpers.
//
// Threads: main thread (they read the document's nodes); the pictures they return are plain
// values another thread may encode.
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "../export.h"
#include "../dom/document.h"
#include "../foundation/error.h"
#include "../platform/graphics.h"
#include "../platform/image.h"

namespace marqen {

class MarqenPDFDocument;

// Renders above this many pixels are refused with kMarqenDOMDocumentRenderErrorTooLarge.
inline constexpr uint64_t kMarqenDOMDocumentMaximumImagePixels = 256'000'000;
inline constexpr const char *kMarqenDOMDocumentRenderErrorDomain = "MarqenDOMDocumentRenderErrorDomain";
enum MarqenDOMDocumentRenderErrorCode : long {
    MarqenDOMDocumentRenderErrorInvalidSize = 1,    // zero, negative or non-finite output size
    MarqenDOMDocumentRenderErrorTooLarge = 2,       // above kMarqenDOMDocumentMaximumImagePixels
    MarqenDOMDocumentRenderErrorInvalidDocument = 3,  // no document, or a frame that is not finite
    MarqenDOMDocumentRenderErrorEncodeFailed = 4,
    MarqenDOMDocumentRenderErrorBufferFailed = 5,   // the pixel buffer could not be made
};

// Type identifiers understood by CopyMarqenDOMDocumentBackgroundColorForDocument.
inline constexpr const char *kMarqenTypeIdentifierPNG = "public.png";
inline constexpr const char *kMarqenTypeIdentifierJPEG = "public.jpeg";
inline constexpr const char *kMarqenTypeIdentifierPDF = "com.adobe.pdf";

// The whole document fitted into an image of `size` pixels (rounded to whole pixels), over
// backgroundColor (transparent where there is nothing without one). With memoryMapFile the pixels
// are drawn into that file (raw premultiplied ARGB32 rows), which stays behind with them.
MARQEN_EXPORT MarqenImageRef MarqenDOMDocumentCreateImageWithSize(const std::shared_ptr<MarqenDOMDocument> &document,
                                                                  const std::optional<MarqenRGBAColor> &backgroundColor,
                                                                  const std::optional<std::filesystem::path> &memoryMapFile,
                                                                  CGSize size, MarqenError *error = nullptr);
// The part `region` (document coordinates) of the document, scaled to `size` pixels.
MARQEN_EXPORT MarqenImageRef MarqenDOMDocumentCreateImageWithSizeOfRegion(const std::shared_ptr<MarqenDOMDocument> &document,
                                                                          const std::optional<MarqenRGBAColor> &backgroundColor,
                                                                          CGSize size, CGRect region, MarqenError *error = nullptr);
// Only the document's bitmaps (no annotations, no background colour) at the frame's size, e.g. to
// merge several pictures into one.
MARQEN_EXPORT MarqenImageRef MarqenDOMDocumentCreateImageByFlatteningBitmaps(const std::shared_ptr<MarqenDOMDocument> &document,
                                                                             MarqenError *error = nullptr);

// The bitmap that alone makes up an image of the document `size` pixels large (rounded to whole pixels
// as MarqenDOMDocumentCreateImageWithSize does): the document has no PDF page and nothing to draw but
// this one bitmap, alone in its background layer; every transform on the way is the identity; the bitmap
// has no crop; and its frame, the document's frame, covers the whole image exactly. A picture of exactly
// that many pixels is then drawn one picture pixel onto one image pixel, so a picture without alpha is
// the image, pixel for pixel, whatever the background colour. Null when any of this does not hold.
MARQEN_EXPORT std::shared_ptr<MarqenDOMBitmap> MarqenDOMDocumentBitmapFillingImage(
    const std::shared_ptr<MarqenDOMDocument> &document, CGSize size);

// White, or none (keep transparency) when the document does not force an opaque background, the
// type is neither PDF nor JPEG (no type: the document is not a PDF page), the document has no
// preferred image profile, and its background picture exists and lets the background through.
MARQEN_EXPORT std::optional<MarqenRGBAColor> CopyMarqenDOMDocumentBackgroundColorForDocument(
                  const MarqenDOMDocument &document, const std::optional<std::string> &typeIdentifier);

// At the frame's size (with limitSize, fitted into 1024 × 1024 when larger), encoded as PNG.
MARQEN_EXPORT std::optional<std::vector<uint8_t>> MarqenDOMDocumentPNGRepresentation(const std::shared_ptr<MarqenDOMDocument> &document, bool limitSize,
                                                                                     MarqenError *error = nullptr);
// At the frame's size over the JPEG background colour, encoded at quality 0.8.
MARQEN_EXPORT std::optional<std::vector<uint8_t>> MarqenDOMDocumentJPEGRepresentation(const std::shared_ptr<MarqenDOMDocument> &document,
                                                                                      MarqenError *error = nullptr);
// A one-page PDF of the frame's size holding the annotations as vectors (paths stay paths, text
// stays text); bitmaps and the background are left out unless includeBackground, so that the page
// can be laid over the original PDF page.
MARQEN_EXPORT std::optional<std::vector<uint8_t>> MarqenDOMDocumentPDFRepresentation(const std::shared_ptr<MarqenDOMDocument> &document,
                                                                                     bool includeBackground = false,
                                                                                     MarqenError *error = nullptr);

// A thumbnail rectangle of `size` centred on a document point, kept on the document where it fits.
MARQEN_EXPORT CGRect MarqenDOMDocumentSmartThumbnailRect(const MarqenDOMDocument &document, CGPoint point, CGSize size);
// The caption, shortened with "…" when it would not fit beside a small picture of the PDF's first page.
MARQEN_EXPORT std::string MarqenDOMDocumentLimitCaptionLength(const MarqenDOMDocument &document, const std::string &caption,
                                                              const MarqenPDFDocument &pdfDocument, CGFloat availableWidth);

}  // namespace marqen
