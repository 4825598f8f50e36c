#pragma once
// Draws a stamp element: the badge artwork named by its stamp name, straight into its frame.
//
// Threads: main thread, with the nodes it draws.
#include <optional>
#include <string>

#include "platform/graphics.h"
#include "render/node_renderer.h"

namespace marqen {

class MarqenDOMStampRenderer : public MarqenDOMNodeRenderer {
public:
    // Draws the named badge into rect; false (and nothing drawn) for an unknown name.
    static bool drawStampName(const std::string &stampName, MarqenGraphicsContext &context, CGRect rect,
                              std::optional<long> tailAngleInDegrees, bool flipShadow);
    // A picture of the stamp for menus and tool buttons: the badge filling the image, its tail to the
    // left, drawn y-down. Null for a size without pixels or beyond the image limits; an unknown name
    // gives a transparent picture.
    static MarqenImageRef imageForStampName(const std::string &stampName, CGSize size);

    void drawRect(CGRect rect, MarqenGraphicsContext &context) override;

protected:
    MarqenDOMStampRenderer() = default;
};

}  // namespace marqen
