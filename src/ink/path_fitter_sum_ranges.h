#pragma once
// generateBezier's curve from least-squares sums that are known only to lie within ranges (sums added in
// another order than generateBezier's, or gathered from moments): the ranges are carried through its
// formulas, and the curve is given only when the branch it takes is certain and every control point is
// the same float at both ends of its range, so that it is the curve the exact sums give, bit for bit.
//
// Threads: plain functions of their arguments; safe on any thread.
#include <cmath>

#include "ink/path_fitter_bezier.h"

namespace marqen {

// A closed range holding a value that generateBezier computes. Each operation widens its result by at
// least one unit in the last place on both sides, so the range holds the exact result of any operands
// inside the ranges and therefore also its rounded value (rounding is monotone).
struct PathFitterRange {
    double lo, hi;
};

// A double at least one unit in the last place below value (above, for pathFitterAbove), for widening a
// range outwards without a library call or a branch. Subtracting |value|·2^-52 (at least the spacing of
// doubles at value) plus the least subnormal moves below value − ulp(value), which is a double below
// value, so rounding cannot bring the result back. Infinities give values that are not numbers, which
// callers refuse as they refuse infinite ranges; values that are not numbers stay so.
inline double pathFitterBelow(double value) { return value - (std::fabs(value) * 0x1p-52 + 0x1p-1074); }
inline double pathFitterAbove(double value) { return value + (std::fabs(value) * 0x1p-52 + 0x1p-1074); }

// The range [value − error, value + error], widened outwards.
inline PathFitterRange pathFitterRangeAround(double value, double error) {
    return {pathFitterBelow(value - error), pathFitterAbove(value + error)};
}

// generateBezier's curve for the piece s..e of pts from its two control-point distances, known to lie in
// alphaL and alphaR: true and the curve when the fallback to a third of the chord is certainly taken or
// certainly not, and each control point (monotone in its distance) is the same float at both ends of its
// range; false otherwise, also for ranges or tangents that are not finite.
bool pathFitterCurveFromDistanceRanges(const float *pts, int s, int e, PathFitterRange alphaL, PathFitterRange alphaR,
                                       double t1x, double t1y, double t2x, double t2y, OstwickPathFitterBezier *curve);

// generateBezier's curve for the piece s..e of pts with tangents (t1x, t1y), (t2x, t2y), when its five
// sums lie in the given ranges: true and the curve when that curve is certain, false otherwise (also for
// ranges that are not finite, and for the near-singular branch, which is left to the caller).
bool pathFitterCurveFromSumRanges(const float *pts, int s, int e, PathFitterRange C00, PathFitterRange C01,
                                  PathFitterRange C11, PathFitterRange X0, PathFitterRange X1, double t1x, double t1y,
                                  double t2x, double t2y, OstwickPathFitterBezier *curve);

}  // namespace marqen
