#include "foundation/vector_math.h"

#include <cmath>

namespace marqen {

CGFloat MarqenVectorGetMagnitude(CGPoint v) { return std::sqrt(v.x * v.x + v.y * v.y); }

CGPoint MarqenVectorGetNormalized(CGPoint v) {
    CGFloat magnitude = MarqenVectorGetMagnitude(v);
    if (magnitude == 0) return CGPointZero;
    return {v.x / magnitude, v.y / magnitude};
}

CGFloat MarqenVectorDotProduct(CGPoint a, CGPoint b) {
    CGPoint na = MarqenVectorGetNormalized(a), nb = MarqenVectorGetNormalized(b);
    return na.x * nb.x + na.y * nb.y;
}

CGPoint MarqenVectorGetDifference(CGPoint a, CGPoint b) { return {b.x - a.x, b.y - a.y}; }

CGPoint MarqenVectorGetPerpendicular(bool clockwise, CGPoint v) {
    return clockwise ? CGPoint{v.y, -v.x} : CGPoint{-v.y, v.x};
}

CGFloat MarqenVectorGetAngle(CGPoint v) {
    CGFloat m = MarqenVectorGetMagnitude(v);
    if (m == 0) return 0;
    if (v.y >= 0) return v.x >= 0 ? std::asin(v.y / m) : std::acos(v.x / m);
    if (v.x == 0) return 3 * M_PI / 2;
    if (v.x > 0) return std::asin(v.y / m) + 2 * M_PI;
    return std::atan(v.y / v.x) + M_PI;
}

CGFloat MarqenGetLineLength(CGPoint p, CGPoint q) {
    CGFloat dx = p.x - q.x, dy = p.y - q.y;
    return std::fabs(std::sqrt(dx * dx + dy * dy));
}

MarqenLineIntersection MarqenGetLineIntersection(CGPoint p1, CGPoint p2, CGPoint p3, CGPoint p4) {
    MarqenLineIntersection result;
    if (p1 == p2 || p3 == p4) return result;
    CGPoint u = MarqenVectorGetNormalized(p2 - p1);
    // Signed distances of p3 and p4 from the first line.
    CGFloat d3 = (p3.y - p1.y) * u.x - (p3.x - p1.x) * u.y;
    CGFloat d4 = (p4.y - p1.y) * u.x - (p4.x - p1.x) * u.y;
    if (d3 == d4) return result;
    // Their positions along the first line.
    CGFloat t3 = (p3.x - p1.x) * u.x + (p3.y - p1.y) * u.y;
    CGFloat t4 = (p4.x - p1.x) * u.x + (p4.y - p1.y) * u.y;
    CGFloat t = t4 + d4 * (t3 - t4) / (d4 - d3);
    result.found = true;
    result.point = {p1.x + t * u.x, p1.y + t * u.y};
    return result;
}

}  // namespace marqen
