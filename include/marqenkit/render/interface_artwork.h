#pragma once
// The editing views' own artwork, drawn as vectors so that it is crisp at any size and scale factor:
// an icon for every tool, the glyphs of the tool, property and zoom buttons, and pointer cursors
// with their hot spots. Icons and glyphs are single-colour ("symbolic") in the caller's tint, so
// they follow light and dark themes; stamp icons show the stamp's own badge.
//
// Every routine draws into `rect` in a y-down space, fitted and centred, and leaves the context's
// state as it found it. Any thread, one context per thread.
#include <string>
#include <vector>

#include "../export.h"
#include "../foundation/geometry.h"
#include "../platform/graphics.h"
#include "../platform/image.h"

namespace marqen {

enum class MarqenCursorShape {
    Crosshair,          // drawing shapes, lines and arrows
    Draw,               // freehand ink: a crosshair with a dot in the ink's colour
    Text,               // an I-beam
    Move,               // four arrows: dragging the selection
    Rotate,             // a circular arrow: the rotation handle
    ResizeNorthSouth,
    ResizeEastWest,
    ResizeNorthWestSouthEast,
    ResizeNorthEastSouthWest,
};

struct MARQEN_EXPORT MarqenCursorImage {
    MarqenImageRef image;  // premultiplied ARGB at the requested scale factor
    CGPoint hotspot;       // in logical pixels from the image's top-left corner
};

class MARQEN_EXPORT MarqenInterfaceArtwork {
public:
    // Tool identifiers 0 (pan/select) to 12 (resize). For the stamp tool (9) a stamp name with
    // artwork draws that stamp's badge; otherwise a generic stamp. False, nothing drawn, for an
    // unknown tool.
    static bool drawToolIcon(int toolIdentifier, MarqenGraphicsContext &context, CGRect rect,
                             const MarqenRGBAColor &tint, const std::string &stampName = {});

    // "undo", "redo", "zoom-in", "zoom-out", "zoom-fit", "zoom-original", "delete", "rotate-canvas",
    // "expand", "check". False, nothing drawn, for another name.
    static bool drawGlyph(const std::string &name, MarqenGraphicsContext &context, CGRect rect,
                          const MarqenRGBAColor &tint);
    static const std::vector<std::string> &glyphNames();

    // A picture of `logicalSize` points at `scaleFactor` pixels per point (so 24 at 2 gives 48×48
    // pixels); null for sizes without pixels or beyond the image limits, or an unknown tool/glyph.
    static MarqenImageRef imageForToolIcon(int toolIdentifier, CGFloat logicalSize, CGFloat scaleFactor,
                                           const MarqenRGBAColor &tint, const std::string &stampName = {});
    static MarqenImageRef imageForGlyph(const std::string &name, CGFloat logicalSize, CGFloat scaleFactor,
                                        const MarqenRGBAColor &tint);

    // Black with a white outline so that it shows on any picture; `inkColor` colours the Draw cursor's dot.
    static MarqenCursorImage cursorImage(MarqenCursorShape shape, CGFloat logicalSize, CGFloat scaleFactor,
                                         const MarqenRGBAColor &inkColor = {0, 0, 0, 1});
};

}  // namespace marqen
