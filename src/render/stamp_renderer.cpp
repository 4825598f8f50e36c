#include "render/stamp_renderer.h"

#include "dom/stamp.h"
#include "render/document_renderer.h"
#include "render/artwork/stamp_artwork.h"

namespace marqen {

bool MarqenDOMStampRenderer::drawStampName(const std::string &stampName, MarqenGraphicsContext &context, CGRect rect,
                                           std::optional<long> tailAngleInDegrees, bool flipShadow) {
    return MarqenPaintCode::drawStampNamed(stampName, context, rect, tailAngleInDegrees, flipShadow);
}

MarqenImageRef MarqenDOMStampRenderer::imageForStampName(const std::string &stampName, CGSize size) {
    return MarqenPaintCode::imageForStampNamed(stampName, size);
}

void MarqenDOMStampRenderer::drawRect(CGRect, MarqenGraphicsContext &context) {
    auto stamp = std::dynamic_pointer_cast<MarqenDOMStamp>(node());
    if (!stamp || !shouldRender() || !stamp->stampName()) return;
    auto *document = documentRenderer();
    // A stamp is drawn straight into its frame: no transform of its own, no state saved here.
    drawStampName(*stamp->stampName(), context, stamp->frame(), stamp->tailAngleInDegrees(),
                  document && document->isFlipped());
}

}  // namespace marqen
