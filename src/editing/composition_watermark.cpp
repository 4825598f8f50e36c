// The watermark of flattened output: the first page of a PDF drawn over the picture.
#include <algorithm>

#include "editing/composition_private.h"
#include "platform/graphics.h"
#include "platform/poppler_document.h"

namespace marqen {

bool MarqenCompositionDrawWatermark(const MarqenImageRef &image, const std::filesystem::path &watermarkPDF,
                                    MarqenError *error) {
    if (!image) return marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorInvalidArgument, "No picture");
    auto pdf = MarqenPDFDocument::openFile(watermarkPDF, error);
    if (!pdf) return false;
    if (pdf->pageCount() < 1)
        return marqenFail(error, kMarqenPDFDocumentErrorDomain, MarqenPDFDocumentErrorPageOutOfRange, "The watermark PDF has no page");
    const CGSize page = pdf->displaySize(0);
    if (!(page.width > 0 && page.height > 0))
        return marqenFail(error, kMarqenPDFDocumentErrorDomain, MarqenPDFDocumentErrorDamaged, "The watermark page has no size");
    auto context = MarqenGraphicsContext::createForImage(image, error);
    if (!context) return false;
    // Fitted into the picture, keeping its proportions, and centred.
    const double scale = std::min(image->width() / page.width, image->height() / page.height);
    context->translateCTM((image->width() - page.width * scale) / 2, (image->height() - page.height * scale) / 2);
    context->scaleCTM(scale, scale);
    return pdf->drawPage(0, context->cairoContext(), error);
}

}  // namespace marqen
