#include "ink/lowpass_point_filter.h"

#include <cmath>

namespace marqen {

std::vector<CGPoint> MarqenLowpassPointFilter::filterPoint(CGPoint point) {
    CGPoint out = point;
    if (!filteredPoints_.empty()) {
        double alpha = dt_ / (dt_ + RC_);
        CGPoint last = filteredPoints_.back();
        out = {std::fma(alpha, point.x - last.x, last.x), std::fma(alpha, point.y - last.y, last.y)};
    }
    filteredPoints_.push_back(out);
    return {out};
}

}  // namespace marqen
