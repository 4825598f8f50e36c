#include "render/vector_renderer.h"

#include <cmath>

#include "platform/graphics.h"
#include "render/color_conversion.h"
#include "render/document_renderer.h"

namespace marqen {

CGFloat MarqenDOMVectorRenderer::strokeWidthForLineWidth(CGFloat lineWidth, bool aligned) {
    CGFloat width = lineWidth == 0 ? 1 : lineWidth;
    if (aligned) {
        width = std::round(width);
        if (std::fmod(width, 2) == 0) width += 1;
    }
    return width;
}

void MarqenDOMVectorRenderer::drawVector(const MarqenDOMVector &vector, MarqenGraphicsContext &context, bool isFlipped,
                                         bool alignNodesToPixelGrid) {
    const MarqenBezierPath *path = nullptr;
    bool aligned = false;
    if (alignNodesToPixelGrid && vector.alignedBezierPath()) {
        path = &*vector.alignedBezierPath();
        aligned = true;
    } else if (vector.bezierPath()) {
        path = &*vector.bezierPath();
    }
    if (!path) return;

    context.saveGState();
    const auto &style = vector.style();
    const bool shadow = !vector.isActive() && style && style->shadowRadius() != 0;
    if (shadow) {
        CGSize offset = style->shadowOffset();
        MarqenRGBAColor color = MarqenRGBAColorFromDOMColor(style->shadowColor().value_or(MarqenDOMColor()));
        color.alpha = style->shadowOpacity();
        context.setShadow(CGSizeMake(offset.width, isFlipped ? offset.height : -offset.height), style->shadowRadius(),
                          color);
    }
    // The clip only matters when something could reach past the bounds; skipping a clip that
    // would cut nothing saves Cairo a mask per element. With a shadow it stays: it also bounds the
    // transparency layer, and so the area the shadow is computed over.
    const CGFloat strokeWidth = vector.strokeColor() ? strokeWidthForLineWidth(vector.lineWidth(), aligned) : 0;
    const CGFloat reach = strokeWidth / 2 + (aligned ? 1 : 0);
    const CGRect bounds = vector.contentBounds();
    const CGRect ink = CGRectInset(path->bounds(), -reach, -reach);
    if (shadow || !(std::isfinite(reach) && CGRectContainsRect(bounds, ink))) context.clipToRect(bounds);
    // Stroke and fill cast one shadow together. The layer needs the inked area only (the shadow
    // is composited under the clip, wherever it reaches).
    if (shadow && std::isfinite(reach)) context.beginTransparencyLayer(ink);
    else if (shadow) context.beginTransparencyLayer();
    if (aligned) context.translateCTM(0.5, 0.5);
    if (const auto &stroke = vector.strokeColor()) {
        context.setLineWidth(strokeWidthForLineWidth(vector.lineWidth(), aligned));
        context.setLineCap(MarqenLineCap::Round);
        context.setLineJoin(MarqenLineJoin::Round);
        context.setStrokeColor(MarqenRGBAColorFromDOMColor(*stroke));
        context.beginPath();
        context.addPath(*path);
        context.strokePath();
    }
    // The fill goes over the stroke's inner half.
    if (const auto &fill = vector.fillColor()) {
        context.setFillColor(MarqenRGBAColorFromDOMColor(*fill));
        context.beginPath();
        context.addPath(*path);
        context.fillPath(MarqenWindingRule::NonZero);
    }
    if (shadow) context.endTransparencyLayer();
    context.restoreGState();
}

void MarqenDOMVectorRenderer::drawRect(CGRect, MarqenGraphicsContext &context) {
    auto vector = std::dynamic_pointer_cast<MarqenDOMVector>(node());
    if (!vector || !shouldRender()) return;
    auto *document = documentRenderer();
    context.saveGState();
    context.concatCTM(vector->transform());
    drawVector(*vector, context, document && document->isFlipped(), document && document->alignNodesToPixelGrid());
    context.restoreGState();
}

}  // namespace marqen
