#pragma once
// First-order low-pass point filter: each output moves from the previous output toward the input by
// the factor dt / (dt + RC). dt and RC start at 0 and must be set before the second point.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include "ink/point_filter.h"

namespace marqen {

class MarqenLowpassPointFilter : public MarqenPointFilter {
public:
    MarqenLowpassPointFilter() = default;

    std::vector<CGPoint> filterPoint(CGPoint point) override;
    const std::vector<CGPoint> &filteredPoints() const override { return filteredPoints_; }

    double dt() const { return dt_; }
    void setDt(double value) { dt_ = value; }
    double RC() const { return RC_; }
    void setRC(double value) { RC_ = value; }

private:
    double dt_ = 0;
    double RC_ = 0;
    std::vector<CGPoint> filteredPoints_;
};

}  // namespace marqen
