#include "platform/pdf_drawing.h"

#include <cairo-pdf.h>
#include <cairo.h>

#include <cmath>
#include <string>

namespace marqen {

namespace {

constexpr const char *kPDFDrawingErrorDomain = "MarqenPDFDrawingErrorDomain";
// Cairo's own limit for a PDF page side, in points.
constexpr double kMaximumPageSide = 14400;

cairo_status_t appendBytes(void *closure, const unsigned char *data, unsigned int length) {
    auto *bytes = static_cast<std::vector<uint8_t> *>(closure);
    bytes->insert(bytes->end(), data, data + length);
    return CAIRO_STATUS_SUCCESS;
}

}  // namespace

std::optional<std::vector<uint8_t>> MarqenPDFDrawingCreateData(CGSize pageSize,
                                                               const std::function<void(MarqenGraphicsContext &)> &draw,
                                                               MarqenError *error) {
    if (!(std::isfinite(pageSize.width) && std::isfinite(pageSize.height) && pageSize.width > 0 &&
          pageSize.height > 0)) {
        marqenFail(error, kPDFDrawingErrorDomain, 1, "The PDF page size must be positive.");
        return std::nullopt;
    }
    // Larger pages are written at a reduced unit so that every reader can show them.
    double unit = std::min(1.0, kMaximumPageSide / std::max(pageSize.width, pageSize.height));
    std::vector<uint8_t> bytes;
    cairo_surface_t *surface =
        cairo_pdf_surface_create_for_stream(appendBytes, &bytes, pageSize.width * unit, pageSize.height * unit);
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        marqenFail(error, kPDFDrawingErrorDomain, 2,
                   std::string("Cannot create the PDF: ") + cairo_status_to_string(cairo_surface_status(surface)) + ".");
        cairo_surface_destroy(surface);
        return std::nullopt;
    }
    cairo_pdf_surface_set_metadata(surface, CAIRO_PDF_METADATA_CREATOR, "MarqenKit");
    cairo_t *cr = cairo_create(surface);
    cairo_scale(cr, unit, unit);
    {
        MarqenGraphicsContext context(cr);
        draw(context);
    }
    cairo_status_t status = cairo_status(cr);
    cairo_destroy(cr);
    cairo_surface_finish(surface);
    if (status == CAIRO_STATUS_SUCCESS) status = cairo_surface_status(surface);
    cairo_surface_destroy(surface);
    if (status != CAIRO_STATUS_SUCCESS) {
        marqenFail(error, kPDFDrawingErrorDomain, 3, std::string("Writing the PDF failed: ") + cairo_status_to_string(status) + ".");
        return std::nullopt;
    }
    return bytes;
}

}  // namespace marqen
