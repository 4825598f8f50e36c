#pragma once
// A ready-made renderer delegate that lets only bitmaps through: draws a document's pictures
// without its annotations.
//
// Threads: main thread, with the renderers it filters.
#include "render/document_renderer.h"

namespace marqen {

class MarqenDOMDocumentRendererBitmapFilter : public MarqenDOMDocumentRendererDelegate {
public:
    bool rendererShouldRenderNode(const MarqenDOMDocumentRenderer &renderer, const MarqenDOMNodePtr &node) override;
};

}  // namespace marqen
