#include "ink/path_fitter_sum_ranges.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace marqen {

namespace {

using Range = PathFitterRange;

[[gnu::always_inline]] inline double below(double value) { return pathFitterBelow(value); }
[[gnu::always_inline]] inline double above(double value) { return pathFitterAbove(value); }

[[gnu::always_inline]] inline Range operator-(Range a, Range b) { return {below(a.lo - b.hi), above(a.hi - b.lo)}; }

[[gnu::always_inline]] inline Range operator*(Range a, Range b) {
    const double p0 = a.lo * b.lo, p1 = a.lo * b.hi, p2 = a.hi * b.lo, p3 = a.hi * b.hi;
    return {below(std::min(std::min(p0, p1), std::min(p2, p3))), above(std::max(std::max(p0, p1), std::max(p2, p3)))};
}

// The reciprocals of the values of r, which must not hold zero: a range with double ends that holds every
// exact result of an operation also holds its rounded result (rounding is monotone and keeps doubles),
// so a quotient's range may be taken as a product with the divisor's reciprocal range.
[[gnu::always_inline]] inline Range reciprocal(Range r) { return {below(1 / r.hi), above(1 / r.lo)}; }

[[gnu::always_inline]] inline bool finite(Range r) { return std::isfinite(r.lo) && std::isfinite(r.hi); }

// A control-point coordinate as generateBezier stores it: monotone in alpha, so over a range of alphas
// it takes one value exactly when both ends give it.
uint32_t controlCoordinate(double base, double alpha, double direction) {
    const float value = static_cast<float>(base + alpha * direction);
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

float fromBits(uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace

bool pathFitterCurveFromDistanceRanges(const float *pts, int s, int e, Range alphaL, Range alphaR, double t1x,
                                       double t1y, double t2x, double t2y, OstwickPathFitterBezier *curve) {
    if (!finite(alphaL) || !finite(alphaR)) return false;
    if (!std::isfinite(t1x) || !std::isfinite(t1y) || !std::isfinite(t2x) || !std::isfinite(t2y)) return false;
    double aL[2], aR[2];
    if (alphaL.lo >= 1e-6 && alphaR.lo >= 1e-6) {
        aL[0] = alphaL.lo, aL[1] = alphaL.hi, aR[0] = alphaR.lo, aR[1] = alphaR.hi;
    } else if (alphaL.hi < 1e-6 || alphaR.hi < 1e-6) {
        // Certainly the fallback to a third of the chord, computed as generateBezier does.
        const float cx = pts[2 * e] - pts[2 * s], cy = pts[2 * e + 1] - pts[2 * s + 1];
        const double vx = cx, vy = cy;
        aL[0] = aL[1] = aR[0] = aR[1] = std::sqrt(vx * vx + vy * vy) / 3;
    } else {
        return false;
    }
    const double xs = pts[2 * s], ys = pts[2 * s + 1], xe = pts[2 * e], ye = pts[2 * e + 1];
    const uint32_t c1x = controlCoordinate(xs, aL[0], t1x), c1y = controlCoordinate(ys, aL[0], t1y);
    const uint32_t c2x = controlCoordinate(xe, aR[0], t2x), c2y = controlCoordinate(ye, aR[0], t2y);
    if (c1x != controlCoordinate(xs, aL[1], t1x) || c1y != controlCoordinate(ys, aL[1], t1y) ||
        c2x != controlCoordinate(xe, aR[1], t2x) || c2y != controlCoordinate(ye, aR[1], t2y))
        return false;
    *curve = OstwickPathFitterBezier(pts[2 * s], pts[2 * s + 1], fromBits(c1x), fromBits(c1y), fromBits(c2x),
                                     fromBits(c2y), pts[2 * e], pts[2 * e + 1]);
    return true;
}

bool pathFitterCurveFromSumRanges(const float *pts, int s, int e, Range C00, Range C01, Range C11, Range X0, Range X1,
                                  double t1x, double t1y, double t2x, double t2y, OstwickPathFitterBezier *curve) {
    if (!finite(C00) || !finite(C01) || !finite(C11) || !finite(X0) || !finite(X1)) return false;
    const Range product = C00 * C11, square = C01 * C01;
    if (!finite(product) || !finite(square)) return false;
    const Range det = product - square;
    // generateBezier's near-singular branch is left to the caller.
    if (!finite(det) || !(det.lo >= 1e-6 || det.hi <= -1e-6)) return false;
    // Every range stays finite on the way (and so never holds a value that is not a number).
    const Range numeratorL = X0 * C11 - C01 * X1, numeratorR = C00 * X1 - C01 * X0;
    if (!finite(numeratorL) || !finite(numeratorR)) return false;
    const Range inverse = reciprocal(det);
    const Range alphaL = numeratorL * inverse, alphaR = numeratorR * inverse;
    return pathFitterCurveFromDistanceRanges(pts, s, e, alphaL, alphaR, t1x, t1y, t2x, t2y, curve);
}

}  // namespace marqen
