#pragma once
// Two-dimensional vector arithmetic on points, and the intersection of two infinite lines.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include "../export.h"
#include "geometry.h"

namespace marqen {

MARQEN_EXPORT CGFloat MarqenVectorGetMagnitude(CGPoint v);
// v / |v|; the zero vector for a zero-length input.
MARQEN_EXPORT CGPoint MarqenVectorGetNormalized(CGPoint v);
// The cosine of the angle between a and b (their normalised dot product); 0 when either is zero.
MARQEN_EXPORT CGFloat MarqenVectorDotProduct(CGPoint a, CGPoint b);
// b − a: the vector from the first point to the second.
MARQEN_EXPORT CGPoint MarqenVectorGetDifference(CGPoint a, CGPoint b);
// (y, −x) when clockwise, (−y, x) otherwise.
MARQEN_EXPORT CGPoint MarqenVectorGetPerpendicular(bool clockwise, CGPoint v);
// The direction of v in [0, 2π), measured from +x towards +y; 0 for the zero vector.
MARQEN_EXPORT CGFloat MarqenVectorGetAngle(CGPoint v);

MARQEN_EXPORT CGFloat MarqenGetLineLength(CGPoint p, CGPoint q);

struct MARQEN_EXPORT MarqenLineIntersection {
    bool found = false;
    CGPoint point;  // meaningful only when found
};

// Where the infinite lines p1p2 and p3p4 meet (not the segments). Not found when either line is
// degenerate (its two points are equal) or the lines are parallel.
MARQEN_EXPORT MarqenLineIntersection MarqenGetLineIntersection(CGPoint p1, CGPoint p2, CGPoint p3, CGPoint p4);

}  // namespace marqen
