#pragma once
// Draws a bitmap element: its whole image stretched over its frame, clipped to the crop rectangle.
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
