#pragma once
// The drawing protocol shared by the vector element kinds: the option bits a tool passes while
// a shape is dragged out, and the squaring rule of the constrained rectangle and ellipse.
//
// Threads: main thread only, like every node (see node.h).
#include "../export.h"
#include "../foundation/geometry.h"

namespace marqen {

using MarqenVectorDrawingOptions = unsigned;

// Bit 0: the constrain modifier (square or circle for rectangles and ellipses, angle snap for lines and arrows).
inline constexpr MarqenVectorDrawingOptions MarqenVectorDrawingOptionConstrain = 1u << 0;

inline bool MarqenVectorDrawingIsConstrained(MarqenVectorDrawingOptions options) {
    return (options & MarqenVectorDrawingOptionConstrain) != 0;
}

// The end point that makes start→end a square, taking the shorter side: the longer delta is cut to
// the length of the shorter one, keeping its sign (a zero delta counts as positive).
MARQEN_EXPORT CGPoint squareEndPointFromStart(CGPoint start, CGPoint end);

// The length of 200 (or any other number of) view units in model units, through the view-to-model
// transform: the x part of the transform applied to (units, units).
inline CGFloat MarqenViewUnitsInModelUnits(const CGAffineTransform &viewModelTransform, CGFloat units) {
    return viewModelTransform.a * units + viewModelTransform.c * units;
}

}  // namespace marqen
