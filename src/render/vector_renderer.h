#pragma once
// Draws the vector kinds (freehand strokes, polygons, rectangles, ellipses, lines, arrows): one
// outline stroked and/or filled, with the element's shadow.
//
// Threads: main thread, with the nodes it draws.
#include "dom/vector.h"
#include "render/node_renderer.h"

namespace marqen {

class MarqenDOMVectorRenderer : public MarqenDOMNodeRenderer {
public:
    // Draws one vector node in its own coordinates (the caller has applied the node's transform).
    // Also used for previews while a shape is being dragged out.
    static void drawVector(const MarqenDOMVector &vector, MarqenGraphicsContext &context, bool isFlipped,
                           bool alignNodesToPixelGrid);
    // The stroke width drawn for a line width: 0 counts as 1; on the pixel grid the width is
    // rounded and made odd, so that lines on half-pixel centres stay sharp.
    static CGFloat strokeWidthForLineWidth(CGFloat lineWidth, bool aligned);

    void drawRect(CGRect rect, MarqenGraphicsContext &context) override;

protected:
    MarqenDOMVectorRenderer() = default;
};

}  // namespace marqen
