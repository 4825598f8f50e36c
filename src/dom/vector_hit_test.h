#pragma once
// Whether an outline's ink touches a rectangle: the outline stroked one unit wide and, for filled
// shapes, its inside. Answers from the geometry itself, so it costs the same at any zoom.
#include "foundation/bezier_path.h"

namespace marqen {

// Empty rectangle: false. Path bounds outside the rectangle: false; inside it: true. Otherwise true
// when a segment of the flattened outline, widened by half a unit, crosses the rectangle, or, when
// `filled`, when the rectangle's centre or a corner lies inside the outline.
bool MarqenDOMVectorPathIntersectsRect(const MarqenBezierPath &path, CGRect rect, bool filled);

}  // namespace marqen
