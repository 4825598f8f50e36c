#pragma once
// One cubic curve produced by the path fitter, in single precision.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include "foundation/geometry.h"

namespace marqen {

struct OstwickPathFitterBezier {
    float _fromX = 0, _fromY = 0;
    float _tanFromX = 0, _tanFromY = 0;  // first control point (a position, not a direction)
    float _tanToX = 0, _tanToY = 0;      // second control point
    float _toX = 0, _toY = 0;

    OstwickPathFitterBezier() = default;
    OstwickPathFitterBezier(float fromX, float fromY, float tanFromX, float tanFromY, float tanToX, float tanToY,
                            float toX, float toY)
        : _fromX(fromX), _fromY(fromY), _tanFromX(tanFromX), _tanFromY(tanFromY), _tanToX(tanToX),
          _tanToY(tanToY), _toX(toX), _toY(toY) {}

    // The curve's point at t, evaluated in double.
    CGPoint evaluatePoint(double t) const {
        double mt = 1 - t;
        double b0 = mt * mt * mt, b1 = 3 * mt * mt * t, b2 = 3 * mt * t * t, b3 = t * t * t;
        return {b0 * _fromX + b1 * _tanFromX + b2 * _tanToX + b3 * _toX,
                b0 * _fromY + b1 * _tanFromY + b2 * _tanToY + b3 * _toY};
    }
};

}  // namespace marqen
