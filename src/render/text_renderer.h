#pragma once
// Draws a text element in its block style: bubble text as outlined lettering, paragraph text
// plainly, label text in white on a rounded dark plate. Everything stays inside contentBounds.
//
// Threads: main thread, with the nodes it draws.
#include "dom/text.h"
#include "render/node_renderer.h"

namespace marqen {

class MarqenDOMTextRenderer : public MarqenDOMNodeRenderer {
public:
    // Draws one text node in its own coordinates (the caller has applied the node's transform).
    static void drawText(const MarqenDOMText &text, MarqenGraphicsContext &context, bool isFlipped);

    void drawRect(CGRect rect, MarqenGraphicsContext &context) override;

protected:
    MarqenDOMTextRenderer() = default;
};

}  // namespace marqen
