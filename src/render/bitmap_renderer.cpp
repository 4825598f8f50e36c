#include "render/bitmap_renderer.h"

#include "dom/bitmap.h"
#include "foundation/log.h"
#include "platform/graphics.h"
#include "render/document_renderer.h"

namespace marqen {

void MarqenDOMBitmapRenderer::drawRect(CGRect, MarqenGraphicsContext &context) {
    auto bitmap = std::dynamic_pointer_cast<MarqenDOMBitmap>(node());
    if (!bitmap || !shouldRender()) return;
    MarqenImageRef image = bitmap->image();
    if (!image) {
        // An image still loading, or one that failed to load (logged by the element), draws nothing.
        if (!reportedMissingImage_) marqenLog("Bitmap " + bitmap->uri() + " has no image to draw");
        reportedMissingImage_ = true;
        return;
    }
    reportedMissingImage_ = false;
    auto *document = documentRenderer();
    const bool flipped = document && document->isFlipped();
    context.saveGState();
    context.concatCTM(bitmap->transform());
    if (!CGRectIsEmpty(bitmap->cropRect())) context.clipToRect(bitmap->cropRect());
    context.setInterpolationQuality(MarqenInterpolationQuality::High);
    // Document space runs opposite to the target's: upright in the picture means first row at the
    // frame's minimum y in an unflipped target.
    context.drawImage(*image, bitmap->frame(), !flipped);
    context.restoreGState();
}

}  // namespace marqen
