#include "foundation/bezier_path.h"

#include <algorithm>
#include <cmath>

namespace marqen {

namespace {

constexpr CGFloat kKappa = 0.5522847498307936;  // 4/3·(√2 − 1): a quarter circle as one cubic

CGPoint cubicAt(CGPoint p0, CGPoint p1, CGPoint p2, CGPoint p3, CGFloat t) {
    CGFloat mt = 1 - t;
    CGFloat a = mt * mt * mt, b = 3 * mt * mt * t, c = 3 * mt * t * t, d = t * t * t;
    return {a * p0.x + b * p1.x + c * p2.x + d * p3.x, a * p0.y + b * p1.y + c * p2.y + d * p3.y};
}

CGPoint quadAt(CGPoint p0, CGPoint p1, CGPoint p2, CGFloat t) {
    CGFloat mt = 1 - t;
    return {mt * mt * p0.x + 2 * mt * t * p1.x + t * t * p2.x, mt * mt * p0.y + 2 * mt * t * p1.y + t * t * p2.y};
}

// Parameters in (0, 1) where one coordinate of a cubic has a local extremum.
void cubicExtrema(CGFloat p0, CGFloat p1, CGFloat p2, CGFloat p3, std::vector<CGFloat> &out) {
    // derivative / 3: a t² + b t + c
    CGFloat a = -p0 + 3 * p1 - 3 * p2 + p3;
    CGFloat b = 2 * (p0 - 2 * p1 + p2);
    CGFloat c = p1 - p0;
    auto keep = [&](CGFloat t) {
        if (t > 0 && t < 1) out.push_back(t);
    };
    if (std::fabs(a) < 1e-12) {
        if (std::fabs(b) > 1e-12) keep(-c / b);
        return;
    }
    CGFloat disc = b * b - 4 * a * c;
    if (disc < 0) return;
    CGFloat root = std::sqrt(disc);
    keep((-b + root) / (2 * a));
    keep((-b - root) / (2 * a));
}

void includePoint(CGFloat &minX, CGFloat &minY, CGFloat &maxX, CGFloat &maxY, CGPoint p) {
    minX = std::min(minX, p.x);
    minY = std::min(minY, p.y);
    maxX = std::max(maxX, p.x);
    maxY = std::max(maxY, p.y);
}

CGFloat distanceToChord(CGPoint p, CGPoint a, CGPoint b) {
    CGFloat dx = b.x - a.x, dy = b.y - a.y;
    CGFloat length = std::hypot(dx, dy);
    if (length == 0) return std::hypot(p.x - a.x, p.y - a.y);
    return std::fabs((p.x - a.x) * dy - (p.y - a.y) * dx) / length;
}

}  // namespace

int MarqenPathElement::pointCount() const {
    switch (type) {
        case MarqenPathElementType::MoveToPoint:
        case MarqenPathElementType::AddLineToPoint: return 1;
        case MarqenPathElementType::AddQuadCurveToPoint: return 2;
        case MarqenPathElementType::AddCurveToPoint: return 3;
        case MarqenPathElementType::CloseSubpath: return 0;
    }
    return 0;
}

CGPoint MarqenPathElement::endPoint() const {
    int count = pointCount();
    return count == 0 ? CGPointZero : points[count - 1];
}

bool operator==(const MarqenPathElement &a, const MarqenPathElement &b) {
    if (a.type != b.type) return false;
    for (int i = 0; i < a.pointCount(); ++i)
        if (!(a.points[i] == b.points[i])) return false;
    return true;
}

bool operator==(const MarqenBezierPath &a, const MarqenBezierPath &b) {
    return a.windingRule_ == b.windingRule_ && a.elements_ == b.elements_;
}

MarqenBezierPath MarqenBezierPath::pathWithRect(CGRect rect) {
    MarqenBezierPath path;
    path.addRect(rect);
    return path;
}

MarqenBezierPath MarqenBezierPath::pathWithOvalInRect(CGRect rect) {
    MarqenBezierPath path;
    path.addEllipseInRect(rect);
    return path;
}

MarqenBezierPath MarqenBezierPath::pathWithRoundedRect(CGRect rect, CGFloat xRadius, CGFloat yRadius) {
    MarqenBezierPath path;
    rect = CGRectStandardize(rect);
    xRadius = std::clamp(xRadius, 0.0, rect.size.width / 2);
    yRadius = std::clamp(yRadius, 0.0, rect.size.height / 2);
    if (xRadius <= 0 || yRadius <= 0) {
        path.addRect(rect);
        return path;
    }
    CGFloat minX = CGRectGetMinX(rect), maxX = CGRectGetMaxX(rect);
    CGFloat minY = CGRectGetMinY(rect), maxY = CGRectGetMaxY(rect);
    CGFloat kx = xRadius * kKappa, ky = yRadius * kKappa;
    path.moveToPoint({minX + xRadius, minY});
    path.addLineToPoint({maxX - xRadius, minY});
    path.addCurveToPoint({maxX - xRadius + kx, minY}, {maxX, minY + yRadius - ky}, {maxX, minY + yRadius});
    path.addLineToPoint({maxX, maxY - yRadius});
    path.addCurveToPoint({maxX, maxY - yRadius + ky}, {maxX - xRadius + kx, maxY}, {maxX - xRadius, maxY});
    path.addLineToPoint({minX + xRadius, maxY});
    path.addCurveToPoint({minX + xRadius - kx, maxY}, {minX, maxY - yRadius + ky}, {minX, maxY - yRadius});
    path.addLineToPoint({minX, minY + yRadius});
    path.addCurveToPoint({minX, minY + yRadius - ky}, {minX + xRadius - kx, minY}, {minX + xRadius, minY});
    path.closeSubpath();
    return path;
}

void MarqenBezierPath::PolylineExtent::include(CGPoint p) { includePoint(minX, minY, maxX, maxY, p); }

void MarqenBezierPath::recomputePolylineExtent() {
    polylineExtent_ = PolylineExtent{};
    for (const auto &element : elements_) {
        if (element.type == MarqenPathElementType::AddQuadCurveToPoint ||
            element.type == MarqenPathElementType::AddCurveToPoint) {
            polylineExtent_.hasCurves = true;
            return;
        }
        if (element.type != MarqenPathElementType::CloseSubpath) polylineExtent_.include(element.points[0]);
    }
}

void MarqenBezierPath::moveToPoint(CGPoint p) {
    elements_.push_back({MarqenPathElementType::MoveToPoint, {p, {}, {}}});
    polylineExtent_.include(p);
    currentPoint_ = subpathStart_ = p;
    hasCurrentPoint_ = true;
}

void MarqenBezierPath::addLineToPoint(CGPoint p) {
    if (!hasCurrentPoint_) {
        moveToPoint(p);
        return;
    }
    elements_.push_back({MarqenPathElementType::AddLineToPoint, {p, {}, {}}});
    polylineExtent_.include(p);
    currentPoint_ = p;
}

void MarqenBezierPath::addQuadCurveToPoint(CGPoint control, CGPoint end) {
    if (!hasCurrentPoint_) moveToPoint(control);
    elements_.push_back({MarqenPathElementType::AddQuadCurveToPoint, {control, end, {}}});
    polylineExtent_.hasCurves = true;
    currentPoint_ = end;
}

void MarqenBezierPath::addCurveToPoint(CGPoint control1, CGPoint control2, CGPoint end) {
    if (!hasCurrentPoint_) moveToPoint(control1);
    elements_.push_back({MarqenPathElementType::AddCurveToPoint, {control1, control2, end}});
    polylineExtent_.hasCurves = true;
    currentPoint_ = end;
}

void MarqenBezierPath::closeSubpath() {
    if (!hasCurrentPoint_) return;
    elements_.push_back({MarqenPathElementType::CloseSubpath, {{}, {}, {}}});
    currentPoint_ = subpathStart_;
}

void MarqenBezierPath::addArc(CGPoint center, CGFloat radius, CGFloat startAngle, CGFloat endAngle, bool clockwise) {
    constexpr CGFloat twoPi = 2 * M_PI;
    CGFloat delta = endAngle - startAngle;
    if (clockwise) {
        if (delta > 0) delta = std::fmod(delta, twoPi) - twoPi;
        if (delta < -twoPi) delta = -twoPi;
        if (delta == 0 && endAngle != startAngle) delta = -twoPi;
    } else {
        if (delta < 0) delta = std::fmod(delta, twoPi) + twoPi;
        if (delta > twoPi) delta = twoPi;
        if (delta == 0 && endAngle != startAngle) delta = twoPi;
    }
    if (!std::isfinite(delta) || !std::isfinite(radius)) return;
    CGPoint start{center.x + radius * std::cos(startAngle), center.y + radius * std::sin(startAngle)};
    if (hasCurrentPoint_)
        addLineToPoint(start);
    else
        moveToPoint(start);
    int segments = std::max(1, static_cast<int>(std::ceil(std::fabs(delta) / (M_PI / 2) - 1e-12)));
    if (delta == 0) return;
    CGFloat step = delta / segments;
    CGFloat k = 4.0 / 3.0 * std::tan(step / 4);
    CGFloat angle = startAngle;
    for (int i = 0; i < segments; ++i) {
        CGFloat next = angle + step;
        CGFloat c0 = std::cos(angle), s0 = std::sin(angle), c1 = std::cos(next), s1 = std::sin(next);
        CGPoint p1{center.x + radius * (c0 - k * s0), center.y + radius * (s0 + k * c0)};
        CGPoint p2{center.x + radius * (c1 + k * s1), center.y + radius * (s1 - k * c1)};
        CGPoint p3{center.x + radius * c1, center.y + radius * s1};
        addCurveToPoint(p1, p2, p3);
        angle = next;
    }
}

void MarqenBezierPath::addRect(CGRect rect) {
    rect = CGRectStandardize(rect);
    moveToPoint({CGRectGetMinX(rect), CGRectGetMinY(rect)});
    addLineToPoint({CGRectGetMaxX(rect), CGRectGetMinY(rect)});
    addLineToPoint({CGRectGetMaxX(rect), CGRectGetMaxY(rect)});
    addLineToPoint({CGRectGetMinX(rect), CGRectGetMaxY(rect)});
    closeSubpath();
}

void MarqenBezierPath::addEllipseInRect(CGRect rect) {
    rect = CGRectStandardize(rect);
    CGFloat rx = rect.size.width / 2, ry = rect.size.height / 2;
    CGFloat cx = rect.origin.x + rx, cy = rect.origin.y + ry;
    CGFloat kx = rx * kKappa, ky = ry * kKappa;
    moveToPoint({cx + rx, cy});
    addCurveToPoint({cx + rx, cy + ky}, {cx + kx, cy + ry}, {cx, cy + ry});
    addCurveToPoint({cx - kx, cy + ry}, {cx - rx, cy + ky}, {cx - rx, cy});
    addCurveToPoint({cx - rx, cy - ky}, {cx - kx, cy - ry}, {cx, cy - ry});
    addCurveToPoint({cx + kx, cy - ry}, {cx + rx, cy - ky}, {cx + rx, cy});
    closeSubpath();
}

void MarqenBezierPath::appendPath(const MarqenBezierPath &other) {
    for (const auto &element : other.elements_) {
        switch (element.type) {
            case MarqenPathElementType::MoveToPoint: moveToPoint(element.points[0]); break;
            case MarqenPathElementType::AddLineToPoint: addLineToPoint(element.points[0]); break;
            case MarqenPathElementType::AddQuadCurveToPoint:
                addQuadCurveToPoint(element.points[0], element.points[1]);
                break;
            case MarqenPathElementType::AddCurveToPoint:
                addCurveToPoint(element.points[0], element.points[1], element.points[2]);
                break;
            case MarqenPathElementType::CloseSubpath: closeSubpath(); break;
        }
    }
}

void MarqenBezierPath::removeAllPoints() {
    elements_.clear();
    polylineExtent_ = PolylineExtent{};
    hasCurrentPoint_ = false;
    currentPoint_ = subpathStart_ = CGPointZero;
}

void MarqenBezierPath::apply(const std::function<void(const MarqenPathElement &)> &visitor) const {
    for (const auto &element : elements_) visitor(element);
}

void MarqenBezierPath::applyTransform(const CGAffineTransform &t) {
    for (auto &element : elements_)
        for (int i = 0; i < element.pointCount(); ++i) element.points[i] = CGPointApplyAffineTransform(element.points[i], t);
    currentPoint_ = CGPointApplyAffineTransform(currentPoint_, t);
    subpathStart_ = CGPointApplyAffineTransform(subpathStart_, t);
    recomputePolylineExtent();
}

MarqenBezierPath MarqenBezierPath::transformed(const CGAffineTransform &t) const {
    MarqenBezierPath copy = *this;
    copy.applyTransform(t);
    return copy;
}

CGRect MarqenBezierPath::controlPointBounds() const {
    CGFloat minX = INFINITY, minY = INFINITY, maxX = -INFINITY, maxY = -INFINITY;
    bool any = false;
    for (const auto &element : elements_)
        for (int i = 0; i < element.pointCount(); ++i) {
            includePoint(minX, minY, maxX, maxY, element.points[i]);
            any = true;
        }
    if (!any) return CGRectNull;
    return CGRectMake(minX, minY, maxX - minX, maxY - minY);
}

CGRect MarqenBezierPath::bounds() const {
    if (!polylineExtent_.hasCurves) {
        if (elements_.empty()) return CGRectNull;
        const PolylineExtent &e = polylineExtent_;
        return CGRectMake(e.minX, e.minY, e.maxX - e.minX, e.maxY - e.minY);
    }
    CGFloat minX = INFINITY, minY = INFINITY, maxX = -INFINITY, maxY = -INFINITY;
    bool any = false;
    CGPoint current{}, start{};
    std::vector<CGFloat> ts;
    for (const auto &element : elements_) {
        switch (element.type) {
            case MarqenPathElementType::MoveToPoint:
                current = start = element.points[0];
                includePoint(minX, minY, maxX, maxY, current);
                any = true;
                break;
            case MarqenPathElementType::AddLineToPoint:
                current = element.points[0];
                includePoint(minX, minY, maxX, maxY, current);
                any = true;
                break;
            case MarqenPathElementType::AddQuadCurveToPoint: {
                CGPoint c = element.points[0], e = element.points[1];
                includePoint(minX, minY, maxX, maxY, e);
                for (int axis = 0; axis < 2; ++axis) {
                    CGFloat p0 = axis ? current.y : current.x, p1 = axis ? c.y : c.x, p2 = axis ? e.y : e.x;
                    CGFloat denominator = p0 - 2 * p1 + p2;
                    if (denominator != 0) {
                        CGFloat t = (p0 - p1) / denominator;
                        if (t > 0 && t < 1) includePoint(minX, minY, maxX, maxY, quadAt(current, c, e, t));
                    }
                }
                current = e;
                any = true;
                break;
            }
            case MarqenPathElementType::AddCurveToPoint: {
                CGPoint c1 = element.points[0], c2 = element.points[1], e = element.points[2];
                includePoint(minX, minY, maxX, maxY, e);
                ts.clear();
                cubicExtrema(current.x, c1.x, c2.x, e.x, ts);
                cubicExtrema(current.y, c1.y, c2.y, e.y, ts);
                for (CGFloat t : ts) includePoint(minX, minY, maxX, maxY, cubicAt(current, c1, c2, e, t));
                current = e;
                any = true;
                break;
            }
            case MarqenPathElementType::CloseSubpath: current = start; break;
        }
    }
    if (!any) return CGRectNull;
    return CGRectMake(minX, minY, maxX - minX, maxY - minY);
}

std::vector<std::vector<CGPoint>> MarqenBezierPath::flattened(CGFloat tolerance) const {
    std::vector<std::vector<CGPoint>> polylines;
    CGPoint current{}, start{};
    auto ensure = [&]() -> std::vector<CGPoint> & {
        if (polylines.empty()) polylines.push_back({current});
        return polylines.back();
    };
    // Subdivision depth is bounded so that huge or non-finite coordinates cannot run away.
    auto segmentsFor = [&](CGFloat flatness) {
        if (!std::isfinite(flatness) || flatness <= tolerance) return 1;
        return static_cast<int>(std::min(256.0, std::ceil(std::sqrt(flatness / tolerance))));
    };
    for (const auto &element : elements_) {
        switch (element.type) {
            case MarqenPathElementType::MoveToPoint:
                current = start = element.points[0];
                polylines.push_back({current});
                break;
            case MarqenPathElementType::AddLineToPoint:
                current = element.points[0];
                ensure().push_back(current);
                break;
            case MarqenPathElementType::AddQuadCurveToPoint: {
                CGPoint c = element.points[0], e = element.points[1];
                int n = segmentsFor(distanceToChord(c, current, e));
                auto &line = ensure();
                for (int i = 1; i <= n; ++i) line.push_back(quadAt(current, c, e, static_cast<CGFloat>(i) / n));
                current = e;
                break;
            }
            case MarqenPathElementType::AddCurveToPoint: {
                CGPoint c1 = element.points[0], c2 = element.points[1], e = element.points[2];
                int n = segmentsFor(std::max(distanceToChord(c1, current, e), distanceToChord(c2, current, e)));
                auto &line = ensure();
                for (int i = 1; i <= n; ++i) line.push_back(cubicAt(current, c1, c2, e, static_cast<CGFloat>(i) / n));
                current = e;
                break;
            }
            case MarqenPathElementType::CloseSubpath:
                if (!polylines.empty() && !(polylines.back().back() == start)) polylines.back().push_back(start);
                current = start;
                break;
        }
    }
    return polylines;
}

bool MarqenBezierPath::containsPoint(CGPoint p) const { return containsPoint(p, windingRule_); }

bool MarqenBezierPath::containsPoint(CGPoint p, MarqenWindingRule rule) const {
    int winding = 0;
    for (const auto &polyline : flattened(0.05)) {
        size_t n = polyline.size();
        if (n < 2) continue;
        for (size_t i = 0; i < n; ++i) {
            CGPoint a = polyline[i], b = polyline[(i + 1) % n];  // implicitly closed
            if (a.y <= p.y) {
                if (b.y > p.y && (b.x - a.x) * (p.y - a.y) - (p.x - a.x) * (b.y - a.y) > 0) ++winding;
            } else if (b.y <= p.y && (b.x - a.x) * (p.y - a.y) - (p.x - a.x) * (b.y - a.y) < 0) {
                --winding;
            }
        }
    }
    return rule == MarqenWindingRule::EvenOdd ? (winding % 2 != 0) : winding != 0;
}

}  // namespace marqen
