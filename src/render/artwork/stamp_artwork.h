#pragma once
// The stamp badges, drawn as vectors at any size: five seals with a white symbol and five faces.
// Each routine draws into `rect` (the stamp's square) with an optional pointed tail in the direction
// tailAngleInDegrees (0 along +x, 90 along +y of the drawing space) and a soft shadow below the
// badge; flipShadow mirrors the shadow's vertical offset for targets whose device space runs upwards.
// The artwork is laid out for a space whose y axis points down the picture.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <optional>
#include <string>

#include "foundation/geometry.h"
#include "platform/graphics.h"
#include "platform/image.h"

namespace marqen {

class MarqenPaintCode {
public:
    // Draws the badge of a stamp name ("com.brondale.marqen.approved", ...) into rect; false, and
    // nothing drawn, for a name without artwork.
    static bool drawStampNamed(const std::string &stampName, MarqenGraphicsContext &context, CGRect rect,
                               std::optional<long> tailAngleInDegrees, bool flipShadow);
    // A picture of the whole badge, its tail to the left, fitted into an image of `size` (y down), for
    // menus and tool buttons. Null for a size without pixels or beyond the image limits; a name without
    // artwork gives a transparent picture.
    static MarqenImageRef imageForStampNamed(const std::string &stampName, CGSize size);

    // One routine a badge; each draws into rect as drawStampNamed does.
    using StampDrawing = void(MarqenGraphicsContext &context, CGRect rect, std::optional<long> tailAngleInDegrees,
                              bool flipShadow);
    static StampDrawing drawRedStamp, drawOrangeStamp, drawBlueStamp, drawGreenStamp, drawPinkStamp;
    static StampDrawing drawHappyStamp, drawCoolStamp, drawSillyStamp, drawSurpriseStamp, drawAngryStamp;
};

}  // namespace marqen
