#include "foundation/path_helpers.h"

namespace marqen {

namespace {

CGPoint firstPointOfType(const MarqenBezierPath &path, MarqenPathElementType type) {
    for (const MarqenPathElement &element : path.elements())
        if (element.type == type) return element.points[0];
    return CGPointZero;
}

}  // namespace

CGPoint MarqenCGPathGetLineStartPoint(const MarqenBezierPath &path) {
    return firstPointOfType(path, MarqenPathElementType::MoveToPoint);
}

CGPoint MarqenCGPathGetLineEndPoint(const MarqenBezierPath &path) {
    return firstPointOfType(path, MarqenPathElementType::AddLineToPoint);
}

void MarqenBezierPathApplyTransform(MarqenBezierPath &path, const CGAffineTransform &transform) {
    path.applyTransform(transform);
}

void MarqenBezierPathAppendBezierPath(MarqenBezierPath &path, const MarqenBezierPath &other) {
    path.appendPath(other);
}

void MarqenBezierPathAddLineToPoint(MarqenBezierPath &path, CGPoint point) { path.addLineToPoint(point); }

bool MarqenBezierPathUsesEvenOddFillRule(const MarqenBezierPath &path) {
    return path.windingRule() == MarqenWindingRule::EvenOdd;
}

MarqenBezierPath MarqenBezierPathForRoundedRectangle(CGRect rect, CGFloat radius) {
    return MarqenBezierPath::pathWithRoundedRect(rect, radius, radius);
}

}  // namespace marqen
