#pragma once
// Draws a bitmap element: its whole image stretched over its frame, clipped to the crop rectangle.
//
// Threads: main thread, with the nodes it draws.
#include "render/node_renderer.h"

namespace marqen {

class MarqenDOMBitmapRenderer : public MarqenDOMNodeRenderer {
public:
    void drawRect(CGRect rect, MarqenGraphicsContext &context) override;

protected:
    MarqenDOMBitmapRenderer() = default;

private:
    bool reportedMissingImage_ = false;
};

}  // namespace marqen
