#include "render/artwork/stamp_artwork.h"

#include <cmath>
#include <functional>
#include <map>

#include "render/artwork/artwork_strokes.h"

namespace marqen {

using artwork::circle;
using artwork::fill;
using artwork::polyline;
using artwork::rgb;
using artwork::stroke;

namespace {

// The artwork is designed on a 100 × 100 square, centre (50, 50).
constexpr CGFloat kDesign = 100;
constexpr CGPoint kCentre{50, 50};
constexpr CGFloat kRimRadius = 44;    // the white sticker edge
constexpr CGFloat kBodyRadius = 40;   // the coloured disc
constexpr CGFloat kTailTip = 64;      // the tail's point, from the centre (as the stamp's bounds expect)
constexpr CGFloat kTailHalfAngle = 25 * M_PI / 180;  // where the tail leaves the rim
// Below this badge size in device pixels the fine details would only blur, so they are left out.
constexpr CGFloat kDetailMinimumPixels = 40;

const MarqenRGBAColor kWhite = rgb(255, 255, 255);
const MarqenRGBAColor kFaceYellow = rgb(255, 202, 40);
const MarqenRGBAColor kFaceEdge = rgb(224, 150, 20);
const MarqenRGBAColor kFeature = rgb(92, 52, 24);
const MarqenRGBAColor kMouthRed = rgb(214, 69, 80);
const MarqenRGBAColor kTonguePink = rgb(244, 112, 140);
const MarqenRGBAColor kCheekPink = rgb(255, 120, 120, 0.35);

struct Badge {
    MarqenRGBAColor body;
    MarqenRGBAColor edge;  // a darker ring just inside the rim
};

CGPoint polar(CGFloat radius, CGFloat angle) {
    return CGPointMake(kCentre.x + radius * std::cos(angle), kCentre.y + radius * std::sin(angle));
}

MarqenBezierPath oval(CGFloat cx, CGFloat cy, CGFloat width, CGFloat height) {
    return MarqenBezierPath::pathWithOvalInRect(CGRectMake(cx - width / 2, cy - height / 2, width, height));
}

// A triangle from the rim (or body) edge to the point: the two base corners lie on the circle.
MarqenBezierPath tailPath(CGFloat radius, CGFloat tip, CGFloat angle) {
    MarqenBezierPath path;
    path.moveToPoint(polar(radius, angle - kTailHalfAngle));
    path.addLineToPoint(polar(tip, angle));
    path.addLineToPoint(polar(radius, angle + kTailHalfAngle));
    path.addLineToPoint(kCentre);
    path.closeSubpath();
    return path;
}

MarqenBezierPath curve(CGPoint start, CGPoint c1, CGPoint c2, CGPoint end) {
    MarqenBezierPath path;
    path.moveToPoint(start);
    path.addCurveToPoint(c1, c2, end);
    return path;
}

CGFloat devicePixelsPerUnit(const MarqenGraphicsContext &context) {
    CGAffineTransform ctm = context.getCTM();
    return std::sqrt(std::fabs(ctm.a * ctm.d - ctm.b * ctm.c));
}

// The shared badge: shadow, white rim with its tail, coloured disc with its tail, a darker edge, a
// gloss over the upper half, then the symbol drawn by `symbol` in design units.
void drawBadge(MarqenGraphicsContext &context, CGRect rect, std::optional<long> tailAngleInDegrees, bool flipShadow,
               const Badge &badge, bool sealRing, const std::function<void(MarqenGraphicsContext &, bool)> &symbol) {
    rect = CGRectStandardize(rect);
    if (CGRectIsEmpty(rect) || !std::isfinite(rect.origin.x) || !std::isfinite(rect.origin.y) ||
        !std::isfinite(rect.size.width) || !std::isfinite(rect.size.height))
        return;
    context.saveGState();
    context.translateCTM(rect.origin.x, rect.origin.y);
    context.scaleCTM(rect.size.width / kDesign, rect.size.height / kDesign);
    const CGFloat pixelsPerUnit = devicePixelsPerUnit(context);
    const bool detailed = pixelsPerUnit * kDesign >= kDetailMinimumPixels;

    // One soft shadow for the whole badge, a little below it.
    const CGFloat drop = std::max(0.5, 2.5 * pixelsPerUnit);
    context.setShadow(CGSizeMake(0, flipShadow ? drop : -drop), std::max(1.0, 7 * pixelsPerUnit), rgb(0, 0, 0, 0.38));
    context.beginTransparencyLayer();

    std::optional<CGFloat> tail;
    if (tailAngleInDegrees) tail = static_cast<CGFloat>(*tailAngleInDegrees % 360) * M_PI / 180;

    fill(context, circle(kCentre, kRimRadius), kWhite);
    if (tail) fill(context, tailPath(kRimRadius, kTailTip, *tail), kWhite);

    // The coloured tail keeps the rim's width along its sides.
    const CGFloat rimWidth = kRimRadius - kBodyRadius;
    const CGFloat baseHalf = kRimRadius * std::sin(kTailHalfAngle);
    const CGFloat tipHalfAngle = std::atan2(baseHalf, kTailTip - kRimRadius * std::cos(kTailHalfAngle));
    fill(context, circle(kCentre, kBodyRadius), badge.body);
    // The darker edge goes under the coloured tail, so that the tail flows out of the disc.
    if (detailed) stroke(context, circle(kCentre, kBodyRadius - 0.8), badge.edge, 1.6);
    if (tail) fill(context, tailPath(kBodyRadius, kTailTip - rimWidth / std::sin(tipHalfAngle), *tail), badge.body);

    if (detailed) {
        // Gloss: a soft light over the upper half of the disc.
        context.saveGState();
        context.clipToPath(circle(kCentre, kBodyRadius - 1.6));
        fill(context, oval(50, 26, 88, 52), rgb(255, 255, 255, 0.16));
        context.restoreGState();
        if (sealRing) {
            context.saveGState();
            context.setLineDash(0, {2.2, 2.6});
            context.setStrokeColor(rgb(255, 255, 255, 0.7));
            context.setLineWidth(1.4);
            context.setLineCap(MarqenLineCap::Butt);
            context.strokePath(circle(kCentre, 34));
            context.restoreGState();
        }
    }
    symbol(context, detailed);

    context.endTransparencyLayer();
    context.restoreGState();
}

// Seal symbols are white with a faint darker echo below them, so they stand off the disc.
void drawSealSymbol(MarqenGraphicsContext &context, bool detailed, const MarqenRGBAColor &echo,
                    const std::function<void(MarqenGraphicsContext &, const MarqenRGBAColor &)> &shape) {
    if (detailed) {
        context.saveGState();
        context.translateCTM(0, 1.6);
        shape(context, echo);
        context.restoreGState();
    }
    shape(context, kWhite);
}

void drawSeal(MarqenGraphicsContext &context, CGRect rect, std::optional<long> tail, bool flipShadow, const Badge &badge,
              const std::function<void(MarqenGraphicsContext &, const MarqenRGBAColor &)> &shape) {
    MarqenRGBAColor echo = badge.edge;
    echo.alpha = 0.55;
    drawBadge(context, rect, tail, flipShadow, badge, true,
              [&](MarqenGraphicsContext &c, bool detailed) { drawSealSymbol(c, detailed, echo, shape); });
}

void drawFace(MarqenGraphicsContext &context, CGRect rect, std::optional<long> tail, bool flipShadow,
              const std::function<void(MarqenGraphicsContext &, bool)> &features,
              const Badge &badge = {kFaceYellow, kFaceEdge}) {
    drawBadge(context, rect, tail, flipShadow, badge, false, features);
}

void eyes(MarqenGraphicsContext &context, CGFloat y, CGFloat width, CGFloat height) {
    fill(context, oval(38, y, width, height), kFeature);
    fill(context, oval(62, y, width, height), kFeature);
}

void eyeGlints(MarqenGraphicsContext &context, CGFloat y, bool detailed) {
    if (!detailed) return;
    fill(context, circle(CGPointMake(39.3, y - 2), 1.4), rgb(255, 255, 255, 0.9));
    fill(context, circle(CGPointMake(63.3, y - 2), 1.4), rgb(255, 255, 255, 0.9));
}

void cheeks(MarqenGraphicsContext &context, bool detailed) {
    if (!detailed) return;
    fill(context, oval(27, 56, 9, 6), kCheekPink);
    fill(context, oval(73, 56, 9, 6), kCheekPink);
}

}  // namespace

void MarqenPaintCode::drawRedStamp(MarqenGraphicsContext &context, CGRect rect, std::optional<long> tail,
                                   bool flipShadow) {
    drawSeal(context, rect, tail, flipShadow, {rgb(229, 57, 53), rgb(183, 28, 28)},
             [](MarqenGraphicsContext &c, const MarqenRGBAColor &color) {
                 stroke(c, polyline({{36, 36}, {64, 64}}), color, 10);
                 stroke(c, polyline({{64, 36}, {36, 64}}), color, 10);
             });
}

void MarqenPaintCode::drawOrangeStamp(MarqenGraphicsContext &context, CGRect rect, std::optional<long> tail,
                                      bool flipShadow) {
    drawSeal(context, rect, tail, flipShadow, {rgb(251, 140, 0), rgb(214, 96, 0)},
             [](MarqenGraphicsContext &c, const MarqenRGBAColor &color) {
                 stroke(c, polyline({{50, 29}, {50, 55}}), color, 11);
                 fill(c, circle(CGPointMake(50, 70), 6.2), color);
             });
}

void MarqenPaintCode::drawBlueStamp(MarqenGraphicsContext &context, CGRect rect, std::optional<long> tail,
                                    bool flipShadow) {
    drawSeal(context, rect, tail, flipShadow, {rgb(30, 136, 229), rgb(13, 71, 161)},
             [](MarqenGraphicsContext &c, const MarqenRGBAColor &color) {
                 MarqenBezierPath hook;
                 hook.moveToPoint(CGPointMake(38, 40));
                 hook.addCurveToPoint(CGPointMake(38, 25), CGPointMake(62, 25), CGPointMake(62, 39));
                 hook.addCurveToPoint(CGPointMake(62, 49), CGPointMake(50, 49), CGPointMake(50, 58));
                 stroke(c, hook, color, 9);
                 fill(c, circle(CGPointMake(50, 71), 5.6), color);
             });
}

void MarqenPaintCode::drawGreenStamp(MarqenGraphicsContext &context, CGRect rect, std::optional<long> tail,
                                     bool flipShadow) {
    drawSeal(context, rect, tail, flipShadow, {rgb(67, 160, 71), rgb(27, 94, 32)},
             [](MarqenGraphicsContext &c, const MarqenRGBAColor &color) {
                 stroke(c, polyline({{33, 51}, {45, 63}, {68, 37}}), color, 10);
             });
}

void MarqenPaintCode::drawPinkStamp(MarqenGraphicsContext &context, CGRect rect, std::optional<long> tail,
                                    bool flipShadow) {
    drawSeal(context, rect, tail, flipShadow, {rgb(236, 64, 122), rgb(173, 20, 87)},
             [](MarqenGraphicsContext &c, const MarqenRGBAColor &color) {
                 MarqenBezierPath heart;
                 heart.moveToPoint(CGPointMake(50, 70));
                 heart.addCurveToPoint(CGPointMake(20, 52), CGPointMake(28, 24), CGPointMake(50, 37));
                 heart.addCurveToPoint(CGPointMake(72, 24), CGPointMake(80, 52), CGPointMake(50, 70));
                 heart.closeSubpath();
                 fill(c, heart, color);
             });
}

void MarqenPaintCode::drawHappyStamp(MarqenGraphicsContext &context, CGRect rect, std::optional<long> tail,
                                     bool flipShadow) {
    drawFace(context, rect, tail, flipShadow, [](MarqenGraphicsContext &c, bool detailed) {
        eyes(c, 39, 8, 12);
        eyeGlints(c, 39, detailed);
        cheeks(c, detailed);
        MarqenBezierPath mouth;
        mouth.moveToPoint(CGPointMake(29, 53));
        mouth.addCurveToPoint(CGPointMake(31, 77), CGPointMake(69, 77), CGPointMake(71, 53));
        mouth.closeSubpath();
        fill(c, mouth, kFeature);
        c.saveGState();
        c.clipToPath(mouth);
        fill(c, oval(50, 72, 26, 14), kMouthRed);
        if (detailed) fill(c, MarqenBezierPath::pathWithRect(CGRectMake(28, 52, 44, 5)), kWhite);
        c.restoreGState();
    });
}

void MarqenPaintCode::drawCoolStamp(MarqenGraphicsContext &context, CGRect rect, std::optional<long> tail,
                                    bool flipShadow) {
    drawFace(context, rect, tail, flipShadow, [](MarqenGraphicsContext &c, bool detailed) {
        const MarqenRGBAColor glass = rgb(33, 33, 40);
        auto lens = [&](CGFloat x0, CGFloat x1) {
            MarqenBezierPath path;
            path.moveToPoint(CGPointMake(x0, 34));
            path.addLineToPoint(CGPointMake(x1, 34));
            path.addCurveToPoint(CGPointMake(x1, 46), CGPointMake(x1 - 4, 51), CGPointMake((x0 + x1) / 2, 51));
            path.addCurveToPoint(CGPointMake(x0 + 4, 51), CGPointMake(x0, 46), CGPointMake(x0, 34));
            path.closeSubpath();
            return path;
        };
        stroke(c, polyline({{20, 37}, {80, 37}}), glass, 3);
        fill(c, lens(26, 47), glass);
        fill(c, lens(53, 74), glass);
        if (detailed) {
            stroke(c, polyline({{31, 38}, {36, 44}}), rgb(255, 255, 255, 0.55), 2);
            stroke(c, polyline({{58, 38}, {63, 44}}), rgb(255, 255, 255, 0.55), 2);
        }
        stroke(c, curve({38, 65}, {46, 71}, {57, 70}, {65, 61}), kFeature, 4.2);
    });
}

void MarqenPaintCode::drawSillyStamp(MarqenGraphicsContext &context, CGRect rect, std::optional<long> tail,
                                     bool flipShadow) {
    drawFace(context, rect, tail, flipShadow, [](MarqenGraphicsContext &c, bool detailed) {
        // A wink on the left, an open eye on the right.
        stroke(c, curve({32, 41}, {35, 36}, {41, 36}, {44, 41}), kFeature, 3.6);
        fill(c, oval(62, 39, 8, 12), kFeature);
        if (detailed) fill(c, circle(CGPointMake(63.3, 37), 1.4), rgb(255, 255, 255, 0.9));
        cheeks(c, detailed);
        MarqenBezierPath tongue;
        tongue.moveToPoint(CGPointMake(42, 59));
        tongue.addCurveToPoint(CGPointMake(41, 78), CGPointMake(59, 78), CGPointMake(58, 59));
        tongue.closeSubpath();
        fill(c, tongue, kTonguePink);
        if (detailed) stroke(c, polyline({{50, 63}, {50, 70}}), rgb(200, 70, 100), 1.6);
        stroke(c, curve({31, 55}, {40, 64}, {60, 64}, {69, 55}), kFeature, 4);
    });
}

void MarqenPaintCode::drawSurpriseStamp(MarqenGraphicsContext &context, CGRect rect, std::optional<long> tail,
                                        bool flipShadow) {
    drawFace(context, rect, tail, flipShadow, [](MarqenGraphicsContext &c, bool detailed) {
        stroke(c, curve({31, 29}, {34, 24}, {41, 23}, {45, 26}), kFeature, 3.2);
        stroke(c, curve({55, 26}, {59, 23}, {66, 24}, {69, 29}), kFeature, 3.2);
        eyes(c, 41, 9, 13);
        eyeGlints(c, 41, detailed);
        fill(c, oval(50, 66, 15, 19), kFeature);
        if (detailed) fill(c, oval(50, 69, 9, 9), kMouthRed);
    });
}

void MarqenPaintCode::drawAngryStamp(MarqenGraphicsContext &context, CGRect rect, std::optional<long> tail,
                                     bool flipShadow) {
    drawFace(
        context, rect, tail, flipShadow,
        [](MarqenGraphicsContext &c, bool detailed) {
            stroke(c, polyline({{29, 32}, {45, 40}}), kFeature, 5);
            stroke(c, polyline({{71, 32}, {55, 40}}), kFeature, 5);
            eyes(c, 47, 8, 9);
            eyeGlints(c, 47, detailed);
            stroke(c, curve({36, 69}, {43, 60}, {57, 60}, {64, 69}), kFeature, 4.5);
        },
        {rgb(244, 81, 30), rgb(191, 54, 12)});
}

namespace {

using StampRoutine = void (*)(MarqenGraphicsContext &, CGRect, std::optional<long>, bool);

const std::map<std::string, StampRoutine> &stampRoutines() {
    static const std::map<std::string, StampRoutine> routines = {
        {"com.brondale.marqen.approved", &MarqenPaintCode::drawGreenStamp},
        {"com.brondale.marqen.question", &MarqenPaintCode::drawBlueStamp},
        {"com.brondale.marqen.exclaim", &MarqenPaintCode::drawOrangeStamp},
        {"com.brondale.marqen.rejected", &MarqenPaintCode::drawRedStamp},
        {"com.brondale.marqen.perfect", &MarqenPaintCode::drawPinkStamp},
        {"com.brondale.marqen.angry", &MarqenPaintCode::drawAngryStamp},
        {"com.brondale.marqen.cool", &MarqenPaintCode::drawCoolStamp},
        {"com.brondale.marqen.happy", &MarqenPaintCode::drawHappyStamp},
        {"com.brondale.marqen.silly", &MarqenPaintCode::drawSillyStamp},
        {"com.brondale.marqen.surprise", &MarqenPaintCode::drawSurpriseStamp},
    };
    return routines;
}

}  // namespace

bool MarqenPaintCode::drawStampNamed(const std::string &stampName, MarqenGraphicsContext &context, CGRect rect,
                                     std::optional<long> tailAngleInDegrees, bool flipShadow) {
    auto it = stampRoutines().find(stampName);
    if (it == stampRoutines().end()) return false;
    it->second(context, rect, tailAngleInDegrees, flipShadow);
    return true;
}

MarqenImageRef MarqenPaintCode::imageForStampNamed(const std::string &stampName, CGSize size) {
    if (!(size.width >= 1 && size.height >= 1 && size.width <= MarqenImage::kMaximumDimension &&
          size.height <= MarqenImage::kMaximumDimension))
        return nullptr;
    auto image = MarqenImage::create(static_cast<int>(std::ceil(size.width)), static_cast<int>(std::ceil(size.height)));
    if (!image) return nullptr;
    auto context = MarqenGraphicsContext::createForImage(image);
    if (!context) return nullptr;
    // The whole sticker shows, nothing cut off: the tail reaches out to the left, the shadow below.
    // In design units the artwork spans 120 across from a little before the tail's point to past the
    // rim's shadow, and as much down, centred a little below the disc's centre.
    const CGRect artwork = CGRectMake(50 - kTailTip - 5, 52 - 60, 120, 120);
    const CGFloat scale = std::min(size.width / artwork.size.width, size.height / artwork.size.height);
    const CGFloat x = (size.width - artwork.size.width * scale) / 2 - artwork.origin.x * scale;
    const CGFloat y = (size.height - artwork.size.height * scale) / 2 - artwork.origin.y * scale;
    // An image context is y-down already.
    drawStampNamed(stampName, *context, CGRectMake(x, y, kDesign * scale, kDesign * scale), 180, false);
    context.reset();
    return image;
}

}  // namespace marqen
