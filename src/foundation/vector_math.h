#pragma once
// Two-dimensional vector arithmetic on points, and the intersection of two infinite lines.
#include "foundation/geometry.h"

namespace marqen {

CGFloat MarqenVectorGetMagnitude(CGPoint v);
// v / |v|; the zero vector for a zero-length input.
CGPoint MarqenVectorGetNormalized(CGPoint v);
// The cosine of the angle between a and b (their normalised dot product); 0 when either is zero.
CGFloat MarqenVectorDotProduct(CGPoint a, CGPoint b);
// b − a: the vector from the first point to the second.
CGPoint MarqenVectorGetDifference(CGPoint a, CGPoint b);
// (y, −x) when clockwise, (−y, x) otherwise.
CGPoint MarqenVectorGetPerpendicular(bool clockwise, CGPoint v);
// The direction of v in [0, 2π), measured from +x towards +y; 0 for the zero vector.
CGFloat MarqenVectorGetAngle(CGPoint v);

CGFloat MarqenGetLineLength(CGPoint p, CGPoint q);

struct MarqenLineIntersection {
    bool found = false;
    CGPoint point;  // meaningful only when found
};

// Where the infinite lines p1p2 and p3p4 meet (not the segments). Not found when either line is
// degenerate (its two points are equal) or the lines are parallel.
MarqenLineIntersection MarqenGetLineIntersection(CGPoint p1, CGPoint p2, CGPoint p3, CGPoint p4);

}  // namespace marqen
