#include "render/interface_artwork.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>

#include "render/artwork/artwork_strokes.h"
#include "render/artwork/stamp_artwork.h"

namespace marqen {

using artwork::circle;
using artwork::fill;
using artwork::polyline;
using artwork::stroke;

namespace {

// Icons and glyphs are designed on a 24 × 24 grid (y down), with strokes of this width.
constexpr CGFloat kGrid = 24;
constexpr CGFloat kLine = 2;

MarqenRGBAColor withAlpha(MarqenRGBAColor color, CGFloat alpha) {
    color.alpha *= alpha;
    return color;
}

// Runs `draw` in grid units, the grid fitted and centred in rect.
void inGrid(MarqenGraphicsContext &context, CGRect rect, const std::function<void()> &draw) {
    const CGFloat scale = std::min(rect.size.width, rect.size.height) / kGrid;
    context.saveGState();
    context.translateCTM(rect.origin.x + (rect.size.width - kGrid * scale) / 2,
                         rect.origin.y + (rect.size.height - kGrid * scale) / 2);
    context.scaleCTM(scale, scale);
    draw();
    context.restoreGState();
}

MarqenBezierPath rotated(MarqenBezierPath path, CGPoint centre, CGFloat degrees) {
    CGAffineTransform t = CGAffineTransformMakeTranslation(centre.x, centre.y);
    t = CGAffineTransformRotate(t, degrees * M_PI / 180);
    t = CGAffineTransformTranslate(t, -centre.x, -centre.y);
    path.applyTransform(t);
    return path;
}

// A solid arrow head with its tip at `tip`, pointing along `angle` (radians, y down).
MarqenBezierPath arrowHead(CGPoint tip, CGFloat angle, CGFloat length, CGFloat halfWidth) {
    const CGFloat bx = tip.x - length * std::cos(angle), by = tip.y - length * std::sin(angle);
    const CGFloat nx = -std::sin(angle) * halfWidth, ny = std::cos(angle) * halfWidth;
    return polyline({tip, CGPointMake(bx + nx, by + ny), CGPointMake(bx - nx, by - ny)}, true);
}

// A felt pen lying at 45°, its tip at the lower left; `chisel` gives the highlighter's flat tip.
void drawPen(MarqenGraphicsContext &context, const MarqenRGBAColor &tint, bool chisel) {
    const CGPoint centre = CGPointMake(15.5, 8.5);
    MarqenBezierPath body = MarqenBezierPath::pathWithRoundedRect(CGRectMake(11, 6, 11, 5), 1.2, 1.2);
    stroke(context, rotated(body, centre, -45), tint, 1.6);
    // The cap's band.
    stroke(context, rotated(polyline({CGPointMake(14.5, 6), CGPointMake(14.5, 11)}), centre, -45), tint, 1.6);
    MarqenBezierPath nib = chisel ? polyline({CGPointMake(11, 6.6), CGPointMake(7.6, 7.4), CGPointMake(7.6, 9.6),
                                              CGPointMake(11, 10.4)}, true)
                                  : polyline({CGPointMake(11, 6.8), CGPointMake(7.8, 8.5), CGPointMake(11, 10.2)}, true);
    fill(context, rotated(nib, centre, -45), tint);
}

void drawStampOutline(MarqenGraphicsContext &context, const MarqenRGBAColor &tint) {
    stroke(context, circle(CGPointMake(12, 6), 3), tint, 1.8);
    stroke(context, polyline({CGPointMake(10.5, 9), CGPointMake(10, 13), CGPointMake(14, 13), CGPointMake(13.5, 9)}), tint,
           1.8);
    fill(context, MarqenBezierPath::pathWithRoundedRect(CGRectMake(4.5, 13, 15, 4.5), 1.2, 1.2), tint);
    stroke(context, polyline({CGPointMake(5, 20.5), CGPointMake(19, 20.5)}), tint, 1.8);
}

using IconDrawing = std::function<void(MarqenGraphicsContext &, const MarqenRGBAColor &)>;

const std::map<int, IconDrawing> &toolIcons() {
    static const std::map<int, IconDrawing> icons = {
        {0, [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // pan and select: the pointer
             auto pointer = polyline({CGPointMake(6, 3), CGPointMake(6, 19), CGPointMake(10.2, 15.2), CGPointMake(13.2, 21.3),
                                      CGPointMake(15.8, 20), CGPointMake(12.9, 14.2), CGPointMake(18.4, 14.2)},
                                     true);
             fill(c, pointer, t);
         }},
        {1, [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // arrow
             stroke(c, polyline({CGPointMake(4.5, 19.5), CGPointMake(15, 9)}), t, 2.4);
             fill(c, arrowHead(CGPointMake(19.5, 4.5), -M_PI / 4, 9, 4.6), t);
         }},
        {2, [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // text: a T
             stroke(c, polyline({CGPointMake(5, 7.5), CGPointMake(5, 4.5), CGPointMake(19, 4.5), CGPointMake(19, 7.5)}), t, 2.2);
             stroke(c, polyline({CGPointMake(12, 4.5), CGPointMake(12, 19.5)}), t, 2.4);
             stroke(c, polyline({CGPointMake(9, 19.5), CGPointMake(15, 19.5)}), t, 2.2);
         }},
        {3, [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // rectangle
             stroke(c, MarqenBezierPath::pathWithRect(CGRectMake(4, 6, 16, 12)), t, kLine);
         }},
        {4, [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // rounded rectangle
             stroke(c, MarqenBezierPath::pathWithRoundedRect(CGRectMake(4, 6, 16, 12), 4, 4), t, kLine);
         }},
        {5, [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // ellipse
             stroke(c, MarqenBezierPath::pathWithOvalInRect(CGRectMake(3.5, 5.5, 17, 13)), t, kLine);
         }},
        {6, [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // line with its two end points
             stroke(c, polyline({CGPointMake(6, 18), CGPointMake(18, 6)}), t, kLine);
             fill(c, circle(CGPointMake(5, 19), 2.4), t);
             fill(c, circle(CGPointMake(19, 5), 2.4), t);
         }},
        {7, [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // marker: pen and a squiggle
             drawPen(c, t, false);
             MarqenBezierPath squiggle;
             squiggle.moveToPoint(CGPointMake(3, 20.5));
             squiggle.addCurveToPoint(CGPointMake(5, 16.5), CGPointMake(7, 16.5), CGPointMake(8, 19));
             squiggle.addCurveToPoint(CGPointMake(9, 21.5), CGPointMake(11, 21.5), CGPointMake(13, 18.5));
             stroke(c, squiggle, t, 1.8);
         }},
        {8, [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // highlighter: chisel pen and a bar
             fill(c, MarqenBezierPath::pathWithRoundedRect(CGRectMake(2.5, 16.5, 15, 5), 1, 1), withAlpha(t, 0.45));
             drawPen(c, t, true);
         }},
        {10, [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // pixelate: a 3 × 3 mosaic
             static const CGFloat shades[3][3] = {{1, 0.45, 0.75}, {0.45, 0.9, 0.3}, {0.75, 0.3, 0.6}};
             for (int row = 0; row < 3; ++row)
                 for (int column = 0; column < 3; ++column)
                     fill(c, MarqenBezierPath::pathWithRoundedRect(CGRectMake(4 + column * 5.6, 4 + row * 5.6, 4.8, 4.8), 0.8, 0.8),
                          withAlpha(t, shades[row][column]));
         }},
        {11, [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // crop: two corner brackets
             stroke(c, polyline({CGPointMake(7, 3), CGPointMake(7, 17), CGPointMake(21, 17)}), t, kLine);
             stroke(c, polyline({CGPointMake(3, 7), CGPointMake(17, 7), CGPointMake(17, 21)}), t, kLine);
         }},
        {12, [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // resize: a box and an arrow out of it
             stroke(c, MarqenBezierPath::pathWithRoundedRect(CGRectMake(3.5, 12.5, 8, 8), 1, 1), t, kLine);
             stroke(c, polyline({CGPointMake(13, 11), CGPointMake(20, 4)}), t, kLine);
             stroke(c, polyline({CGPointMake(14, 4), CGPointMake(20, 4), CGPointMake(20, 10)}), t, kLine);
         }},
    };
    return icons;
}

// A curved arrow for undo (pointing left) or redo (mirrored).
void drawTurnArrow(MarqenGraphicsContext &context, const MarqenRGBAColor &tint, bool redo) {
    context.saveGState();
    if (redo) {
        context.translateCTM(kGrid, 0);
        context.scaleCTM(-1, 1);
    }
    MarqenBezierPath bend;
    bend.moveToPoint(CGPointMake(8, 9));
    bend.addLineToPoint(CGPointMake(14, 9));
    bend.addCurveToPoint(CGPointMake(21, 9), CGPointMake(21, 19), CGPointMake(14, 19));
    bend.addLineToPoint(CGPointMake(9, 19));
    stroke(context, bend, tint, kLine);
    fill(context, arrowHead(CGPointMake(3, 9), M_PI, 6.5, 4.5), tint);
    context.restoreGState();
}

void drawMagnifier(MarqenGraphicsContext &context, const MarqenRGBAColor &tint) {
    stroke(context, circle(CGPointMake(10, 10), 6.2), tint, kLine);
    stroke(context, polyline({CGPointMake(14.6, 14.6), CGPointMake(20.5, 20.5)}), tint, 2.8);
}

const std::map<std::string, IconDrawing> &glyphs() {
    static const std::map<std::string, IconDrawing> drawings = {
        {"undo", [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) { drawTurnArrow(c, t, false); }},
        {"redo", [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) { drawTurnArrow(c, t, true); }},
        {"zoom-in", [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {
             drawMagnifier(c, t);
             stroke(c, polyline({CGPointMake(7, 10), CGPointMake(13, 10)}), t, 1.8);
             stroke(c, polyline({CGPointMake(10, 7), CGPointMake(10, 13)}), t, 1.8);
         }},
        {"zoom-out", [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {
             drawMagnifier(c, t);
             stroke(c, polyline({CGPointMake(7, 10), CGPointMake(13, 10)}), t, 1.8);
         }},
        {"zoom-fit", [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // four corners closing in
             stroke(c, polyline({CGPointMake(4, 9), CGPointMake(4, 4), CGPointMake(9, 4)}), t, kLine);
             stroke(c, polyline({CGPointMake(15, 4), CGPointMake(20, 4), CGPointMake(20, 9)}), t, kLine);
             stroke(c, polyline({CGPointMake(20, 15), CGPointMake(20, 20), CGPointMake(15, 20)}), t, kLine);
             stroke(c, polyline({CGPointMake(9, 20), CGPointMake(4, 20), CGPointMake(4, 15)}), t, kLine);
             fill(c, MarqenBezierPath::pathWithRoundedRect(CGRectMake(8.5, 8.5, 7, 7), 1, 1), withAlpha(t, 0.5));
         }},
        {"zoom-original", [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // 1:1
             stroke(c, polyline({CGPointMake(4.5, 8), CGPointMake(7, 6), CGPointMake(7, 18)}), t, kLine);
             stroke(c, polyline({CGPointMake(15, 8), CGPointMake(17.5, 6), CGPointMake(17.5, 18)}), t, kLine);
             fill(c, circle(CGPointMake(12, 9.5), 1.3), t);
             fill(c, circle(CGPointMake(12, 15), 1.3), t);
         }},
        {"delete", [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // a bin
             stroke(c, polyline({CGPointMake(4, 6.5), CGPointMake(20, 6.5)}), t, kLine);
             stroke(c, polyline({CGPointMake(9, 6.5), CGPointMake(9.5, 3.5), CGPointMake(14.5, 3.5), CGPointMake(15, 6.5)}), t,
                    1.8);
             stroke(c, polyline({CGPointMake(6, 6.5), CGPointMake(7, 20.5), CGPointMake(17, 20.5), CGPointMake(18, 6.5)}), t,
                    kLine);
             stroke(c, polyline({CGPointMake(10.3, 10), CGPointMake(10.5, 17)}), t, 1.6);
             stroke(c, polyline({CGPointMake(13.7, 10), CGPointMake(13.5, 17)}), t, 1.6);
         }},
        {"rotate-canvas", [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {
             stroke(c, MarqenBezierPath::pathWithRoundedRect(CGRectMake(9, 9, 11, 11), 1.2, 1.2), t, kLine);
             MarqenBezierPath turn;
             turn.moveToPoint(CGPointMake(4, 12));
             turn.addCurveToPoint(CGPointMake(4, 6.5), CGPointMake(7, 4), CGPointMake(12, 4));
             stroke(c, turn, t, kLine);
             fill(c, arrowHead(CGPointMake(16.5, 4), 0, 5, 3.5), t);
         }},
        {"expand", [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {  // a chevron pointing down
             stroke(c, polyline({CGPointMake(6, 9.5), CGPointMake(12, 15.5), CGPointMake(18, 9.5)}), t, 2.2);
         }},
        {"check", [](MarqenGraphicsContext &c, const MarqenRGBAColor &t) {
             stroke(c, polyline({CGPointMake(4.5, 12.5), CGPointMake(9.5, 17.5), CGPointMake(19.5, 6.5)}), t, 2.4);
         }},
    };
    return drawings;
}

MarqenImageRef pictureOf(CGFloat logicalSize, CGFloat scaleFactor,
                         const std::function<bool(MarqenGraphicsContext &, CGRect)> &draw) {
    const CGFloat pixels = std::ceil(logicalSize * scaleFactor);
    if (!(logicalSize > 0 && scaleFactor > 0 && pixels >= 1 && pixels <= MarqenImage::kMaximumDimension)) return nullptr;
    auto image = MarqenImage::create(static_cast<int>(pixels), static_cast<int>(pixels));
    if (!image) return nullptr;
    auto context = MarqenGraphicsContext::createForImage(image);
    if (!context) return nullptr;
    context->scaleCTM(scaleFactor, scaleFactor);
    if (!draw(*context, CGRectMake(0, 0, logicalSize, logicalSize))) return nullptr;
    return image;
}

// Cursors are designed on a 32 × 32 grid: the body in black over a white outline.
constexpr CGFloat kCursorGrid = 32;
const MarqenRGBAColor kCursorInk{0, 0, 0, 1};
const MarqenRGBAColor kCursorHalo{1, 1, 1, 1};

void haloStroke(MarqenGraphicsContext &context, const MarqenBezierPath &path, CGFloat width) {
    stroke(context, path, kCursorHalo, width + 2.5);
    stroke(context, path, kCursorInk, width);
}

void haloFill(MarqenGraphicsContext &context, const MarqenBezierPath &path) {
    stroke(context, path, kCursorHalo, 2.5);
    fill(context, path, kCursorInk);
}

// Double-headed arrows through the centre along each of `degrees`: all outlines first, then all
// bodies, so that crossing arrows do not cut into each other.
void drawDoubleArrows(MarqenGraphicsContext &context, std::initializer_list<CGFloat> degrees) {
    const CGPoint centre = CGPointMake(16, 16);
    MarqenBezierPath shafts, heads;
    for (CGFloat angle : degrees) {
        shafts.appendPath(rotated(polyline({CGPointMake(10, 16), CGPointMake(22, 16)}), centre, angle));
        heads.appendPath(rotated(arrowHead(CGPointMake(27, 16), 0, 7, 5), centre, angle));
        heads.appendPath(rotated(arrowHead(CGPointMake(5, 16), M_PI, 7, 5), centre, angle));
    }
    stroke(context, shafts, kCursorHalo, 4.5);
    stroke(context, heads, kCursorHalo, 2.5);
    stroke(context, shafts, kCursorInk, 2);
    fill(context, heads, kCursorInk);
}

void drawCrosshair(MarqenGraphicsContext &context) {
    MarqenBezierPath hairs = polyline({CGPointMake(16, 5), CGPointMake(16, 13)});
    hairs.appendPath(polyline({CGPointMake(16, 19), CGPointMake(16, 27)}));
    hairs.appendPath(polyline({CGPointMake(5, 16), CGPointMake(13, 16)}));
    hairs.appendPath(polyline({CGPointMake(19, 16), CGPointMake(27, 16)}));
    haloStroke(context, hairs, 1.6);
}

void drawCursorShape(MarqenGraphicsContext &context, MarqenCursorShape shape, const MarqenRGBAColor &inkColor) {
    switch (shape) {
    case MarqenCursorShape::Crosshair:
        drawCrosshair(context);
        break;
    case MarqenCursorShape::Draw: {
        drawCrosshair(context);
        MarqenRGBAColor dot = inkColor;
        dot.alpha = 1;
        stroke(context, circle(CGPointMake(16, 16), 2.6), kCursorHalo, 1.6);
        fill(context, circle(CGPointMake(16, 16), 2.2), dot);
        break;
    }
    case MarqenCursorShape::Text: {
        MarqenBezierPath beam = polyline({CGPointMake(16, 7), CGPointMake(16, 25)});
        beam.appendPath(polyline({CGPointMake(12, 6), CGPointMake(14.5, 7), CGPointMake(17.5, 7), CGPointMake(20, 6)}));
        beam.appendPath(polyline({CGPointMake(12, 26), CGPointMake(14.5, 25), CGPointMake(17.5, 25), CGPointMake(20, 26)}));
        haloStroke(context, beam, 1.6);
        break;
    }
    case MarqenCursorShape::Move:
        drawDoubleArrows(context, {0, 90});
        break;
    case MarqenCursorShape::Rotate: {
        MarqenBezierPath turn;
        turn.addArc(CGPointMake(16, 16), 9, M_PI * 0.05, M_PI * 1.55, false);
        stroke(context, turn, kCursorHalo, 4.5);
        haloFill(context, arrowHead(CGPointMake(25.6, 17.8), M_PI / 2 + 0.25, 7, 4.8));
        stroke(context, turn, kCursorInk, 2);
        break;
    }
    case MarqenCursorShape::ResizeNorthSouth:
        drawDoubleArrows(context, {90});
        break;
    case MarqenCursorShape::ResizeEastWest:
        drawDoubleArrows(context, {0});
        break;
    case MarqenCursorShape::ResizeNorthWestSouthEast:
        drawDoubleArrows(context, {45});
        break;
    case MarqenCursorShape::ResizeNorthEastSouthWest:
        drawDoubleArrows(context, {-45});
        break;
    }
}

}  // namespace

bool MarqenInterfaceArtwork::drawToolIcon(int toolIdentifier, MarqenGraphicsContext &context, CGRect rect,
                                          const MarqenRGBAColor &tint, const std::string &stampName) {
    if (toolIdentifier == 9) {
        if (!stampName.empty()) {
            // The badge with its shadow fills the icon's square a little past its disc.
            const CGFloat side = std::min(rect.size.width, rect.size.height) * 0.84;
            const CGRect badge = CGRectMake(CGRectGetMidX(rect) - side / 2, CGRectGetMidY(rect) - side / 2 - side * 0.02, side, side);
            context.saveGState();
            const bool drawn = MarqenPaintCode::drawStampNamed(stampName, context, badge, std::nullopt, false);
            context.restoreGState();
            if (drawn) return true;
        }
        inGrid(context, rect, [&] { drawStampOutline(context, tint); });
        return true;
    }
    const auto found = toolIcons().find(toolIdentifier);
    if (found == toolIcons().end()) return false;
    inGrid(context, rect, [&] { found->second(context, tint); });
    return true;
}

bool MarqenInterfaceArtwork::drawGlyph(const std::string &name, MarqenGraphicsContext &context, CGRect rect,
                                       const MarqenRGBAColor &tint) {
    const auto found = glyphs().find(name);
    if (found == glyphs().end()) return false;
    inGrid(context, rect, [&] { found->second(context, tint); });
    return true;
}

const std::vector<std::string> &MarqenInterfaceArtwork::glyphNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const auto &[name, drawing] : glyphs()) all.push_back(name);
        return all;
    }();
    return names;
}

MarqenImageRef MarqenInterfaceArtwork::imageForToolIcon(int toolIdentifier, CGFloat logicalSize, CGFloat scaleFactor,
                                                       const MarqenRGBAColor &tint, const std::string &stampName) {
    return pictureOf(logicalSize, scaleFactor, [&](MarqenGraphicsContext &context, CGRect rect) {
        return drawToolIcon(toolIdentifier, context, rect, tint, stampName);
    });
}

MarqenImageRef MarqenInterfaceArtwork::imageForGlyph(const std::string &name, CGFloat logicalSize, CGFloat scaleFactor,
                                                    const MarqenRGBAColor &tint) {
    return pictureOf(logicalSize, scaleFactor, [&](MarqenGraphicsContext &context, CGRect rect) {
        return drawGlyph(name, context, rect, tint);
    });
}

MarqenCursorImage MarqenInterfaceArtwork::cursorImage(MarqenCursorShape shape, CGFloat logicalSize, CGFloat scaleFactor,
                                                      const MarqenRGBAColor &inkColor) {
    MarqenCursorImage cursor;
    cursor.image = pictureOf(logicalSize, scaleFactor, [&](MarqenGraphicsContext &context, CGRect rect) {
        const CGFloat scale = rect.size.width / kCursorGrid;
        context.scaleCTM(scale, scale);
        drawCursorShape(context, shape, inkColor);
        return true;
    });
    // Every cursor acts at its centre.
    cursor.hotspot = CGPointMake(logicalSize / 2, logicalSize / 2);
    return cursor;
}

}  // namespace marqen
