#include "render/bitmap_filter.h"

namespace marqen {

bool MarqenDOMDocumentRendererBitmapFilter::rendererShouldRenderNode(const MarqenDOMDocumentRenderer &,
                                                                   const MarqenDOMNodePtr &node) {
    return node && node->isKindOfClass("MarqenDOMBitmap");
}

}  // namespace marqen
