#pragma once
// The protocol of the filters that turn a freehand stroke's raw pointer positions, fed one at a time,
// into the points the stroke keeps.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <vector>

#include "foundation/geometry.h"

namespace marqen {

class MarqenPointFilter {
public:
    virtual ~MarqenPointFilter() = default;

    // The points emitted for this input (possibly none); each is also appended to filteredPoints().
    virtual std::vector<CGPoint> filterPoint(CGPoint point) = 0;

    // Every point emitted since the filter was created, in order.
    virtual const std::vector<CGPoint> &filteredPoints() const = 0;
};

}  // namespace marqen
