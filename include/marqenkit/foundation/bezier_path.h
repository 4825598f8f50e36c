#pragma once
// The one path type of the library: a list of move, line, quadratic, cubic and close elements
// with a winding rule, in the manner of CGPath / NSBezierPath.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cmath>
#include <functional>
#include <vector>

#include "../export.h"
#include "geometry.h"

namespace marqen {

enum class MarqenPathElementType { MoveToPoint, AddLineToPoint, AddQuadCurveToPoint, AddCurveToPoint, CloseSubpath };

enum class MarqenWindingRule { NonZero, EvenOdd };

struct MARQEN_EXPORT MarqenPathElement {
    MarqenPathElementType type;
    // Move and line: points[0]. Quadratic: control, end. Cubic: control 1, control 2, end.
    CGPoint points[3];
    int pointCount() const;
    CGPoint endPoint() const;  // the last point of the element (a close has none: the zero point)
};

class MARQEN_EXPORT MarqenBezierPath {
public:
    MarqenBezierPath() = default;

    static MarqenBezierPath pathWithRect(CGRect rect);
    static MarqenBezierPath pathWithOvalInRect(CGRect rect);
    static MarqenBezierPath pathWithRoundedRect(CGRect rect, CGFloat xRadius, CGFloat yRadius);

    void moveToPoint(CGPoint p);
    void addLineToPoint(CGPoint p);
    void addQuadCurveToPoint(CGPoint control, CGPoint end);
    void addCurveToPoint(CGPoint control1, CGPoint control2, CGPoint end);
    void closeSubpath();
    // CGPathAddArc: a line to the arc's start when the path has a current point (a move otherwise),
    // then the arc in cubic segments of at most a quarter turn. `clockwise` means decreasing angles.
    void addArc(CGPoint center, CGFloat radius, CGFloat startAngle, CGFloat endAngle, bool clockwise);
    void addRect(CGRect rect);
    void addEllipseInRect(CGRect rect);
    void appendPath(const MarqenBezierPath &other);
    void removeAllPoints();

    bool isEmpty() const { return elements_.empty(); }
    size_t elementCount() const { return elements_.size(); }
    const std::vector<MarqenPathElement> &elements() const { return elements_; }
    const MarqenPathElement &elementAtIndex(size_t index) const { return elements_.at(index); }
    void apply(const std::function<void(const MarqenPathElement &)> &visitor) const;
    bool hasCurrentPoint() const { return hasCurrentPoint_; }
    CGPoint currentPoint() const { return currentPoint_; }

    MarqenWindingRule windingRule() const { return windingRule_; }
    void setWindingRule(MarqenWindingRule rule) { windingRule_ = rule; }

    void applyTransform(const CGAffineTransform &t);
    MarqenBezierPath transformed(const CGAffineTransform &t) const;

    // CGPathGetBoundingBox: every point including control points. CGRectNull for an empty path.
    CGRect controlPointBounds() const;
    // CGPathGetPathBoundingBox: the tight box of the curves themselves.
    CGRect bounds() const;
    // Containment under the path's winding rule (or the given one); open subpaths are closed implicitly.
    bool containsPoint(CGPoint p) const;
    bool containsPoint(CGPoint p, MarqenWindingRule rule) const;
    // The path as polylines (one per subpath), curves split to within `tolerance`.
    std::vector<std::vector<CGPoint>> flattened(CGFloat tolerance = 0.1) const;

    friend bool operator==(const MarqenBezierPath &a, const MarqenBezierPath &b);

private:
    // The box of a path made only of moves and lines is the box of its points, kept as they are added:
    // a drawn stroke grows by a line per point and is asked for its bounds far more often than that.
    struct PolylineExtent {
        CGFloat minX = INFINITY, minY = INFINITY, maxX = -INFINITY, maxY = -INFINITY;
        bool hasCurves = false;
        void include(CGPoint p);
    };
    void recomputePolylineExtent();

    std::vector<MarqenPathElement> elements_;
    PolylineExtent polylineExtent_;
    MarqenWindingRule windingRule_ = MarqenWindingRule::NonZero;
    CGPoint currentPoint_{};
    CGPoint subpathStart_{};
    bool hasCurrentPoint_ = false;
};

bool operator==(const MarqenPathElement &a, const MarqenPathElement &b);

}  // namespace marqen
