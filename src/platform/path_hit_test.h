#pragma once
// Whether a path's ink touches a rectangle (used to select annotations with a marquee).
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include "foundation/bezier_path.h"
#include "foundation/geometry.h"

namespace marqen {

// Empty rectangle: false. Bounding box of the path outside the rectangle: false; inside it: true.
// Otherwise the rectangle is rasterised at 10 × 10 pixels without anti-aliasing, the path filled
// (when `filled`) and stroked with a line width of 1 path unit, and any inked pixel means true.
bool MarqenCGPathIntersectsRect(const MarqenBezierPath &path, CGRect rect, bool filled);

}  // namespace marqen
