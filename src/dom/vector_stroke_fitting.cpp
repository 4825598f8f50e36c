#include "dom/vector_stroke_fitting.h"

#include <cfloat>
#include <cmath>
#include <optional>

#include "foundation/queues.h"
#include "ink/path_fitter.h"

namespace marqen {

std::optional<MarqenBezierPath> MarqenDOMVectorFitStroke(const std::vector<CGPoint> &filteredPoints,
                                                         float smallTraceSize) {
    std::vector<float> pairs;
    pairs.reserve(filteredPoints.size() * 2);
    // Only values that single precision can hold are narrowed (anything else would not be finite).
    auto fitsFloat = [](double value) { return std::isfinite(value) && std::fabs(value) <= FLT_MAX; };
    for (CGPoint point : filteredPoints) {
        if (!fitsFloat(point.x) || !fitsFloat(point.y)) continue;
        pairs.push_back(static_cast<float>(point.x));
        pairs.push_back(static_cast<float>(point.y));
    }
    if (pairs.size() < 4) return std::nullopt;
    // The fitter's tolerances scale with the trace size; a broken line width must not blow them up.
    if (!std::isfinite(smallTraceSize) || smallTraceSize <= 0) smallTraceSize = 1;
    MarqenPathFitter fitter(pairs.data(), static_cast<int32_t>(pairs.size() / 2), smallTraceSize);
    return fitter.path();
}

void MarqenDOMVectorFitStrokeAsync(std::vector<CGPoint> filteredPoints, float smallTraceSize,
                                   std::function<void(MarqenBezierPath)> install) {
    ThreadPool::shared().async([points = std::move(filteredPoints), smallTraceSize, install = std::move(install)] {
        auto path = MarqenDOMVectorFitStroke(points, smallTraceSize);
        if (!path) return;
        MainQueue::shared().async([install, fitted = std::move(*path)]() mutable { install(std::move(fitted)); });
    });
}

}  // namespace marqen
