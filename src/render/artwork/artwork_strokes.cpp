#include "render/artwork/artwork_strokes.h"

namespace marqen::artwork {

MarqenBezierPath circle(CGPoint centre, CGFloat radius) {
    return MarqenBezierPath::pathWithOvalInRect(CGRectMake(centre.x - radius, centre.y - radius, 2 * radius, 2 * radius));
}

MarqenBezierPath polyline(std::initializer_list<CGPoint> points, bool closed) {
    MarqenBezierPath path;
    bool first = true;
    for (CGPoint p : points) {
        if (first) path.moveToPoint(p);
        else path.addLineToPoint(p);
        first = false;
    }
    if (closed && !first) path.closeSubpath();
    return path;
}

void fill(MarqenGraphicsContext &context, const MarqenBezierPath &path, const MarqenRGBAColor &color) {
    context.setFillColor(color);
    context.fillPath(path);
}

void stroke(MarqenGraphicsContext &context, const MarqenBezierPath &path, const MarqenRGBAColor &color, CGFloat width) {
    context.setStrokeColor(color);
    context.setLineWidth(width);
    context.setLineCap(MarqenLineCap::Round);
    context.setLineJoin(MarqenLineJoin::Round);
    context.strokePath(path);
}

}  // namespace marqen::artwork
