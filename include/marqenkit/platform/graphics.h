#pragma once
// A drawing context in the manner of CGContext, over a Cairo context: graphics-state stack, CTM,
// clipping, separate fill and stroke colours, line attributes, MarqenBezierPath filling and
// stroking, global alpha, transparency layers and CGContextSetShadowWithColor-style shadows.
//
// The raw cairo_t stays reachable (cairoContext()) for the code that draws text, PDF pages and
// patterns; only the opaque Cairo types are named here, so including this header does not pull in
// cairo.h.
//
// Threads: a context belongs to one thread at a time.
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "../export.h"
#include "../foundation/bezier_path.h"
#include "../foundation/error.h"
#include "../foundation/geometry.h"
#include "image.h"

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;

namespace marqen {

struct MARQEN_EXPORT MarqenRGBAColor {
    CGFloat red = 0, green = 0, blue = 0, alpha = 1;  // each 0..1
    friend bool operator==(const MarqenRGBAColor &, const MarqenRGBAColor &) = default;
};

enum class MarqenLineCap { Butt, Round, Square };
enum class MarqenLineJoin { Miter, Round, Bevel };
enum class MarqenPathDrawingMode { Fill, EOFill, Stroke, FillStroke, EOFillStroke };
enum class MarqenInterpolationQuality { None, Low, Default, High };

struct MARQEN_EXPORT MarqenShadow {
    CGSize offset;      // in device units, y up as on the platform: a negative height moves the shadow down
    CGFloat blur = 0;   // blur radius in device units; the Gaussian's sigma is half of it
    MarqenRGBAColor color{0, 0, 0, 1.0 / 3.0};
};

class MARQEN_EXPORT MarqenGraphicsContext {
public:
    // Wraps an existing context; takes its own reference and leaves the caller's alone.
    explicit MarqenGraphicsContext(cairo_t *context);
    // Draws straight into the image's pixels (identity CTM: y down, one unit per pixel). The context
    // keeps the image alive.
    static std::unique_ptr<MarqenGraphicsContext> createForImage(const MarqenImageRef &image,
                                                                 MarqenError *error = nullptr);
    ~MarqenGraphicsContext();
    MarqenGraphicsContext(const MarqenGraphicsContext &) = delete;
    MarqenGraphicsContext &operator=(const MarqenGraphicsContext &) = delete;

    cairo_t *cairoContext() const { return context_; }

    // Graphics state (CTM, clip, colours, line attributes, alpha, shadow). Unbalanced restores are ignored.
    void saveGState();
    void restoreGState();

    void concatCTM(const CGAffineTransform &transform);
    void translateCTM(CGFloat tx, CGFloat ty);
    void scaleCTM(CGFloat sx, CGFloat sy);
    void rotateCTM(CGFloat angle);
    CGAffineTransform getCTM() const;

    void clipToRect(CGRect rect);
    void clipToPath(const MarqenBezierPath &path);  // with the path's winding rule
    CGRect clipBoundingBox() const;                 // in user space

    void setFillColor(const MarqenRGBAColor &color);
    void setStrokeColor(const MarqenRGBAColor &color);
    MarqenRGBAColor fillColor() const;
    MarqenRGBAColor strokeColor() const;
    void setAlpha(CGFloat alpha);  // multiplies everything drawn afterwards
    void setLineWidth(CGFloat width);
    void setLineCap(MarqenLineCap cap);
    void setLineJoin(MarqenLineJoin join);
    void setMiterLimit(CGFloat limit);
    void setLineDash(CGFloat phase, const std::vector<CGFloat> &lengths);  // empty: solid
    void setShouldAntialias(bool antialias);
    void setInterpolationQuality(MarqenInterpolationQuality quality);

    // The current path. Fill and stroke consume it, as on the platform.
    void beginPath();
    void addPath(const MarqenBezierPath &path);
    void addRect(CGRect rect);
    void fillPath(MarqenWindingRule rule = MarqenWindingRule::NonZero);
    void strokePath();
    void drawPath(MarqenPathDrawingMode mode);

    // Conveniences that leave the current path alone.
    void fillPath(const MarqenBezierPath &path);  // with the path's winding rule
    void strokePath(const MarqenBezierPath &path);
    void fillRect(CGRect rect);
    void strokeRect(CGRect rect);
    void clearRect(CGRect rect);  // makes the rectangle transparent

    // Draws the image into rect the way CGContextDrawImage does: the image's first row at the
    // rectangle's maximum y (upright in a y-up space). `flipped` puts the first row at minimum y instead.
    void drawImage(const MarqenImage &image, CGRect rect, bool flipped = false);

    // Everything drawn between begin and end is composited as one picture with the alpha and the
    // shadow in effect at begin; inside, alpha starts at 1 and there is no shadow.
    void beginTransparencyLayer();
    void endTransparencyLayer();
    // The same for drawing that stays inside `bounds` (user space): the layer keeps the pixels there
    // only (with one to spare), and is composited under the clip as it was, so a shadow may reach
    // past `bounds`. Spares the work of a layer as large as the clip; drawing outside is lost.
    void beginTransparencyLayer(CGRect bounds);

    // Like CGContextSetShadowWithColor: every later drawing operation (or transparency layer) casts
    // this shadow. A zero blur and zero offset, or a transparent colour, turns it off.
    void setShadow(CGSize offset, CGFloat blur, const MarqenRGBAColor &color);
    void setShadow(CGSize offset, CGFloat blur);  // the platform's default: black at one third alpha
    void clearShadow();
    std::optional<MarqenShadow> shadow() const;

    // Runs raw Cairo drawing (text, PDF pages) under the current alpha and shadow. Drawing through the
    // raw context leaves its clip as it found it (cairo_save and cairo_restore around its own clips).
    void drawWithCairo(const std::function<void(cairo_t *)> &draw);

private:
    struct State {
        MarqenRGBAColor fill{0, 0, 0, 1};
        MarqenRGBAColor stroke{0, 0, 0, 1};
        CGFloat alpha = 1;
        std::optional<MarqenShadow> shadow;
        MarqenInterpolationQuality interpolation = MarqenInterpolationQuality::Default;
        // The clip in device space while it is known to be exactly an axis-aligned rectangle.
        std::optional<CGRect> deviceClip;
    };
    struct Layer {
        State saved;
        size_t stateDepth;
        bool bounded = false;  // a Cairo state with the layer's own clip lies under the group
    };

    State &state() { return states_.back(); }
    const State &state() const { return states_.back(); }
    void setSource(const MarqenRGBAColor &color);
    void beginLayer(const CGRect *bounds);
    // Runs one drawing operation, as its own group when a shadow is in effect.
    void perform(const std::function<void()> &draw);
    void compositeGroup(void *pattern, CGFloat alpha, const std::optional<MarqenShadow> &shadow);
    // The clip as a device-space rectangle when it is known to be one and Cairo's clip agrees.
    std::optional<CGRect> knownDeviceClip() const;
    // False (and a logged skip) when a path of this many points would exceed the path budgets.
    bool admitPathPoints(uint64_t points);
    void strokeLongPath(const void *path);

    cairo_t *context_;
    uint64_t pathPointsDrawn_ = 0;  // all paths drawn through this context, for the per-document budget
    cairo_surface_t *ownedSurface_ = nullptr;
    std::vector<State> states_{State{}};
    std::vector<Layer> layers_;
};

// A Cairo image surface over the image's pixels (no copy); the surface keeps the image alive.
// The caller owns the returned surface (cairo_surface_destroy).
MARQEN_EXPORT cairo_surface_t *MarqenImageCreateCairoSurface(const MarqenImageRef &image);
// A copy of an image surface's pixels (ARGB32 or RGB24; other surfaces give null and an error).
MARQEN_EXPORT MarqenImageRef MarqenImageCreateFromCairoSurface(cairo_surface_t *surface, MarqenError *error = nullptr);

}  // namespace marqen
