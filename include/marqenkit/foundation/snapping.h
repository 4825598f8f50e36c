#pragma once
// End-point snapping for lines and arrows dragged with the constraint modifier.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include "../export.h"
#include "geometry.h"

namespace marqen {

// Straightens start→end to horizontal, vertical or a 45° diagonal. A line within about 26.57° of an
// axis becomes straight; otherwise it becomes diagonal, keeping its longer leg.
MARQEN_EXPORT CGPoint MarqenSnapEndpointAt45Degrees(CGPoint start, CGPoint end);

// A gentle snap: only a line within 0.0873 rad (about 5°) of an axis is straightened, keeping its
// full length; anything else comes back unchanged. The angle is measured from +y from deltas clamped
// to ±300, and a line just right of +y is deliberately left alone while one just left of it snaps.
MARQEN_EXPORT CGPoint MarqenSnapEndpointNear90Degrees(CGPoint start, CGPoint end);

}  // namespace marqen
