#pragma once
// Fitting a finished freehand stroke: the curve fit runs on the shared thread pool and its result is
// handed to the main queue, which alone touches the model.
#include <functional>
#include <optional>
#include <vector>

#include "foundation/bezier_path.h"

namespace marqen {

// Fits the filtered points of a stroke with the line width as the small-trace size and calls
// `install` with the curve on the main queue. Points that are not finite are left out; with fewer
// than two usable points there is nothing to fit and `install` is never called.
void MarqenDOMVectorFitStrokeAsync(std::vector<CGPoint> filteredPoints, float smallTraceSize,
                                   std::function<void(MarqenBezierPath)> install);

// The fit itself, synchronous (what the thread pool runs). Absent when there is nothing to fit.
std::optional<MarqenBezierPath> MarqenDOMVectorFitStroke(const std::vector<CGPoint> &filteredPoints,
                                                         float smallTraceSize);

}  // namespace marqen
