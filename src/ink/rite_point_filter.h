#pragma once
// Smoothing and thinning filter of every freehand ink stroke. It works in 9-fold fixed point, puts three
// smoothed samples between consecutive inputs, and keeps a sample only when it lies at least a
// city-block distance of 2 units from the last kept one. Emitted coordinates are whole units.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include "ink/point_filter.h"

namespace marqen {

class MarqenRitePointFilter : public MarqenPointFilter {
public:
    MarqenRitePointFilter() = default;

    std::vector<CGPoint> filterPoint(CGPoint point) override;
    const std::vector<CGPoint> &filteredPoints() const override { return filteredPoints_; }
    std::vector<CGPoint> &filteredPoints() { return filteredPoints_; }

    // The last three samples in fixed point (input units × 9).
    double x1pt() const { return x1pt_; }
    double x2pt() const { return x2pt_; }
    double x3pt() const { return x3pt_; }
    double y1pt() const { return y1pt_; }
    double y2pt() const { return y2pt_; }
    double y3pt() const { return y3pt_; }
    void setX1pt(double value) { x1pt_ = value; }
    void setX2pt(double value) { x2pt_ = value; }
    void setX3pt(double value) { x3pt_ = value; }
    void setY1pt(double value) { y1pt_ = value; }
    void setY2pt(double value) { y2pt_ = value; }
    void setY3pt(double value) { y3pt_ = value; }
    // The last emitted point in input units.
    double xLast() const { return xLast_; }
    double yLast() const { return yLast_; }
    void setXLast(double value) { xLast_ = value; }
    void setYLast(double value) { yLast_ = value; }

private:
    double x1pt_ = 0, x2pt_ = 0, x3pt_ = 0;
    double y1pt_ = 0, y2pt_ = 0, y3pt_ = 0;
    double xLast_ = 0, yLast_ = 0;
    std::vector<CGPoint> filteredPoints_;
};

}  // namespace marqen
