#include "dom/rectangle.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "dom/change_protocol.h"
#include "dom/node_class.h"
#include "foundation/value_encoding.h"
#include "foundation/vector_math.h"

namespace marqen {

const MarqenDOMNodeClass &MarqenDOMRectangle::classDescriptor() {
    static const MarqenDOMNodeClass descriptor{"MarqenDOMRectangle", "Vector.Polygon.Rectangle",
                                               [] { return create(); }, nullptr, &MarqenDOMPolygon::classDescriptor};
    return descriptor;
}

std::shared_ptr<MarqenDOMRectangle> MarqenDOMRectangle::create() { return MarqenMakeNode<MarqenDOMRectangle>(); }

void MarqenDOMRectangle::setCornerRadius(CGFloat radius) {
    MarqenDOMChangeProtocol::set(*this, cornerRadius_, radius, &MarqenDOMRectangle::setCornerRadius, {},
                                 [this] { updateBezierPath(); });
}

void MarqenDOMRectangle::setTopLeft(CGPoint tl, CGPoint br) {
    setVertices({{tl.x, tl.y}, {br.x, tl.y}, {br.x, br.y}, {tl.x, br.y}});
}

void MarqenDOMRectangle::moveTopLeftToPoint(CGPoint p) {
    CGPoint br = bottomRight();
    setVertices({p, {br.x, p.y}, br, {p.x, br.y}});
}

void MarqenDOMRectangle::moveTopRightToPoint(CGPoint p) {
    CGPoint bl = bottomLeft();
    setVertices({{bl.x, p.y}, p, {p.x, bl.y}, bl});
}

void MarqenDOMRectangle::moveBottomRightToPoint(CGPoint p) {
    CGPoint tl = topLeft();
    setVertices({tl, {p.x, tl.y}, p, {tl.x, p.y}});
}

void MarqenDOMRectangle::moveBottomLeftToPoint(CGPoint p) {
    CGPoint tr = topRight();
    setVertices({{p.x, tr.y}, tr, {tr.x, p.y}, p});
}

// Drawing protocol

void MarqenDOMRectangle::beginAtPoint(CGPoint point) {
    startPoint_ = point;
    appendPoint({point.x + 2 * cornerRadius_, point.y + 2 * cornerRadius_}, CGPointZero, 0);
}

void MarqenDOMRectangle::appendPoint(CGPoint point, CGPoint, MarqenVectorDrawingOptions options) {
    if (MarqenVectorDrawingIsConstrained(options)) point = squareEndPointFromStart(startPoint_, point);
    CGFloat x1 = std::min(startPoint_.x, point.x), x2 = std::max(startPoint_.x, point.x);
    CGFloat y1 = std::min(startPoint_.y, point.y), y2 = std::max(startPoint_.y, point.y);
    setVertices({{x1, y1}, {x2, y1}, {x2, y2}, {x1, y2}});
}

void MarqenDOMRectangle::endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options) {
    appendPoint(point, velocity, options);
    enforceMinimumSize();
}

void MarqenDOMRectangle::endAtPoint(CGPoint point, CGPoint velocity, MarqenVectorDrawingOptions options,
                                    const CGAffineTransform &viewModelTransform) {
    appendPoint(point, velocity, options);
    CGPoint size = bottomRight() - topLeft();
    if (size.x < 2.0 && size.y < 2.0) {
        CGFloat side = MarqenViewUnitsInModelUnits(viewModelTransform, 200);
        moveBottomRightToPoint({topLeft().x + side, bottomRight().y});
        moveBottomRightToPoint({bottomRight().x, topLeft().y + side});
    }
}

// Outline

MarqenBezierPath MarqenDOMRectangle::roundedRectanglePath(const std::vector<CGPoint> &vertices, CGFloat r,
                                                          bool aligned) {
    CGPoint p0 = vertices[0], p1 = vertices[1], p2 = vertices[2], p3 = vertices[3];
    CGFloat e = std::min({r, MarqenGetLineLength(p0, p1) / 2, MarqenGetLineLength(p1, p2) / 2});
    CGFloat theta = MarqenVectorGetAngle(p1 - p0);
    CGFloat c = std::cos(theta), s = std::sin(theta);
    CGFloat ox = e * c - e * s, oy = e * s + e * c;
    // A rectangle whose corners run the other way round (after a mirroring transform) is walked backwards.
    CGAffineTransform unrotate = CGAffineTransformMakeRotation(-theta);
    CGPoint r0 = CGPointApplyAffineTransform(p0, unrotate), r2 = CGPointApplyAffineTransform(p2, unrotate);
    bool mirrored = r0.x > r2.x || r0.y > r2.y;
    CGPoint a = mirrored ? p3 : p0, b = mirrored ? p2 : p1, cc = mirrored ? p1 : p2, d = mirrored ? p0 : p3;
    auto centre = [aligned](CGFloat x, CGFloat y) {
        return aligned ? CGPoint{std::floor(x), std::floor(y)} : CGPoint{x, y};
    };
    MarqenBezierPath path;
    path.addArc(centre(a.x + ox, a.y + oy), e, theta + M_PI, theta + 3 * M_PI / 2, false);
    path.addArc(centre(b.x - oy, b.y + ox), e, theta + 3 * M_PI / 2, theta + 2 * M_PI, false);
    path.addArc(centre(cc.x - ox, cc.y - oy), e, theta + 2 * M_PI, theta + 5 * M_PI / 2, false);
    path.addArc(centre(d.x + oy, d.y - ox), e, theta + 5 * M_PI / 2, theta + 3 * M_PI, false);
    path.closeSubpath();
    return path;
}

void MarqenDOMRectangle::updateBezierPath() {
    const auto &corners = vertices();
    if (corners.size() != 4) return;
    if (cornerRadius_ < DBL_EPSILON) {
        MarqenBezierPath aligned;
        for (size_t i = 0; i < 4; ++i) {
            CGPoint p{std::floor(corners[i].x), std::floor(corners[i].y)};
            if (i == 0)
                aligned.moveToPoint(p);
            else
                aligned.addLineToPoint(p);
        }
        aligned.closeSubpath();
        setAlignedBezierPath(aligned);
        setBezierPathWithoutUndo(polygonPath(corners));
        return;
    }
    setAlignedBezierPath(roundedRectanglePath(corners, cornerRadius_, true));
    setBezierPathWithoutUndo(roundedRectanglePath(corners, cornerRadius_, false));
}

// Transforms

void MarqenDOMRectangle::applyTransform(const CGAffineTransform &t) {
    MarqenDOMPolygon::applyTransform(t);
    CGFloat r = cornerRadius_;
    setCornerRadius(std::min(std::fabs(t.a * r + t.c * r), std::fabs(t.b * r + t.d * r)));
}

void MarqenDOMRectangle::rotate(CGFloat angle, CGPoint aroundPoint) {
    CGFloat radius = cornerRadius_;
    MarqenDOMPolygon::rotate(angle, aroundPoint);
    setCornerRadius(radius);
}

void MarqenDOMRectangle::scale(CGSize factors, CGPoint aroundPoint) {
    CGFloat radius = cornerRadius_;
    MarqenDOMPolygon::scale(factors, aroundPoint);
    setCornerRadius(radius);
}

std::any MarqenDOMRectangle::elementGeometry() const {
    return MarqenDOMRectangleGeometry{vertices(), cornerRadius_, lineWidth()};
}

void MarqenDOMRectangle::setElementGeometry(const std::any &geometry) {
    const auto *value = std::any_cast<MarqenDOMRectangleGeometry>(&geometry);
    if (!value) return;
    setVertices(value->vertices);
    setCornerRadius(value->cornerRadius);
    setLineWidth(value->lineWidth);
}

// JSON

void MarqenDOMRectangle::initWithDictionary(const MarqenJSON &dictionary) {
    MarqenDOMPolygon::initWithDictionary(dictionary);
    const MarqenJSON *radius = marqen_valueForKeyPath(dictionary, "extension.extension.cornerRadius");
    if (radius && marqen_isNumber(*radius)) setCornerRadius(CGFloatFromNumber(*radius));
}

void MarqenDOMRectangle::writeExtensionMembers(MarqenJSONWriter &writer) const {
    writer.key("extension");
    writer.beginObject();
    writer.stringMember("type", "Rectangle");
    if (cornerRadius_ != 0) writer.numberMember("cornerRadius", cornerRadius_);
    writer.endObject();
}

void MarqenDOMRectangle::copyStateTo(MarqenDOMNode &target) const {
    MarqenDOMPolygon::copyStateTo(target);
    auto &rectangle = static_cast<MarqenDOMRectangle &>(target);
    rectangle.cornerRadius_ = cornerRadius_;
    rectangle.startPoint_ = startPoint_;
}

}  // namespace marqen
