#include "ink/path_fitter_moments.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ink/path_fitter_sum_ranges.h"
#include "ink/path_fitter_wide_vectors.h"

namespace marqen {

namespace {

using Wide = long double;
using Range = PathFitterRange;

// A range holding value ± error, and also the rounding of those ends to double.
Range around(Wide value, Wide error) {
    error *= 2;  // also covers the rounding of value ± error
    return {pathFitterBelow(static_cast<double>(value - error)), pathFitterAbove(static_cast<double>(value + error))};
}

}  // namespace

namespace {

// Lanes of the stride sums: lane j adds the terms of the points j, j + kLanes, ... of the stride in order,
// then the lanes are added in order, so a term goes through at most kStride / kLanes + kLanes − 1
// additions in double.
constexpr int kLanes = 4;

}  // namespace

MARQEN_WIDE_VECTORS void PathFitterMoments::addStride(Sums &sums, const float *pts, int s, const double *runningSums,
                                                      int first, int count) {
    const double x0 = pts[2 * s], y0 = pts[2 * s + 1];
    const double *r = runningSums + first;
    const float *p = pts + 2 * (s + first);
    // Each loop keeps its few lanes in registers.
    double r1[kLanes] = {}, r2[kLanes] = {}, r3[kLanes] = {}, r4[kLanes] = {}, r5[kLanes] = {}, r6[kLanes] = {};
    double a1[kLanes] = {}, a2[kLanes] = {}, a3[kLanes] = {}, b1[kLanes] = {}, b2[kLanes] = {}, b3[kLanes] = {};
    double d2[kLanes] = {};
    double maxAbs = sums.maxAbs, maxDx = sums.maxDx, maxDy = sums.maxDy;
    const int whole = count / kLanes * kLanes;
    for (int k = 0; k < whole; k += kLanes) {
        for (int j = 0; j < kLanes; ++j) {
            const double v = r[k + j], v2 = v * v, v3 = v2 * v, v4 = v3 * v, v5 = v4 * v, v6 = v5 * v;
            r1[j] += v, r2[j] += v2, r3[j] += v3, r4[j] += v4, r5[j] += v5, r6[j] += v6;
        }
    }
    for (int k = 0; k < whole; k += kLanes) {
        for (int j = 0; j < kLanes; ++j) {
            const double v = r[k + j], v2 = v * v, v3 = v2 * v, dx = p[2 * (k + j)] - x0, dy = p[2 * (k + j) + 1] - y0;
            a1[j] += dx * v, a2[j] += dx * v2, a3[j] += dx * v3;
            b1[j] += dy * v, b2[j] += dy * v2, b3[j] += dy * v3;
        }
    }
    for (int k = 0; k < whole; k += kLanes) {
        for (int j = 0; j < kLanes; ++j) {
            const double dx = p[2 * (k + j)] - x0, dy = p[2 * (k + j) + 1] - y0;
            d2[j] += dx * dx + dy * dy;
        }
    }
    // The remaining points go to the first lanes.
    for (int k = whole; k < count; ++k) {
        const int j = k - whole;
        const double v = r[k], v2 = v * v, v3 = v2 * v, v4 = v3 * v, v5 = v4 * v, v6 = v5 * v;
        const double dx = p[2 * k] - x0, dy = p[2 * k + 1] - y0;
        r1[j] += v, r2[j] += v2, r3[j] += v3, r4[j] += v4, r5[j] += v5, r6[j] += v6;
        a1[j] += dx * v, a2[j] += dx * v2, a3[j] += dx * v3;
        b1[j] += dy * v, b2[j] += dy * v2, b3[j] += dy * v3;
        d2[j] += dx * dx + dy * dy;
    }
    for (int k = 0; k < count; ++k) {
        const double x = p[2 * k], y = p[2 * k + 1];
        maxAbs = std::max(maxAbs, std::abs(x) + std::abs(y));
        maxDx = std::max(maxDx, std::abs(x - x0));
        maxDy = std::max(maxDy, std::abs(y - y0));
    }
    auto total = [](const double (&lanes)[kLanes]) {
        double sum = lanes[0];
        for (int j = 1; j < kLanes; ++j) sum += lanes[j];
        return static_cast<Wide>(sum);
    };
    sums.r[0] += total(r1), sums.r[1] += total(r2), sums.r[2] += total(r3);
    sums.r[3] += total(r4), sums.r[4] += total(r5), sums.r[5] += total(r6);
    sums.dx[0] += total(a1), sums.dx[1] += total(a2), sums.dx[2] += total(a3);
    sums.dy[0] += total(b1), sums.dy[1] += total(b2), sums.dy[2] += total(b3);
    sums.d2 += total(d2);
    sums.maxAbs = maxAbs, sums.maxDx = maxDx, sums.maxDy = maxDy;
}

void PathFitterMoments::reset() {
    pts_ = nullptr;
    start_ = count_ = -1;
    checkpoints_.clear();
}

void PathFitterMoments::build(const float *pts, int s, const double *sums, int count) {
    pts_ = pts;
    start_ = s;
    count_ = count;
    checkpoints_.clear();
    checkpoints_.reserve(static_cast<size_t>(count / kStride) + 1);
    // The first point adds nothing but its coordinates' size (its running sum and offsets are 0).
    Sums acc;
    acc.maxAbs = std::abs(static_cast<double>(pts[2 * s])) + std::abs(static_cast<double>(pts[2 * s + 1]));
    checkpoints_.push_back(acc);
    for (int first = 1; first + kStride - 1 <= count; first += kStride) {
        addStride(acc, pts, s, sums, first, kStride);
        checkpoints_.push_back(acc);
    }
}

// How the result is made sure of. generateBezier sums, over the piece's m + 1 points with parameters
// t = fl(R/T), the terms of C00, C01, C11, X0 and X1. In exact arithmetic, with t = R/T exactly and
// B0 + B1 + B2 + B3 = 1 (so that the residual is (P − Ps) − (Pe − Ps)·(B2 + B3)), those sums are
// polynomials in the moments S_j = Σ R^j / T^j and D_j = Σ (P − Ps)·R^j / T^j:
//   Σ B1² = 9 Σ t²(1−t)⁴, Σ B1·B2 = 9 Σ t³(1−t)³, Σ B2² = 9 Σ t⁴(1−t)², Σ B1·(P − Ps) = 3 Σ (t − 2t² + t³)(P − Ps),
//   Σ B2·(P − Ps) = 3 Σ (t² − t³)(P − Ps), Σ B1·(B2 + B3) = Σ 9t³ − 24t⁴ + 21t⁵ − 6t⁶,
//   Σ B2·(B2 + B3) = Σ 9t⁴ − 15t⁵ + 6t⁶.
// Two errors separate the value computed here from the one generateBezier computes:
// - ours: every moment is a sum of nonnegative powers (or of powers times offsets, bounded by the
//   largest offset times the plain sum). A term is computed in double after at most 5 roundings (a power
//   R^j takes j − 1, an offset 1 and its product 1 more) and goes through at most 19 additions in double
//   within its stride (16 in its lane, 3 joining the lanes), then the strides' sums go through at most
//   m / kStride + 2 additions in extended precision (unit u_L), so a moment errs by at most
//   24·u + (m / kStride + 40)·u_L relatively to that bound (the 1% and the 40 cover second-order terms);
//   combining them errs by at most that relative amount of the sum of the absolute values of the
//   combined terms ("mass"), plus a few u_L of it;
// - generateBezier's: with unit u of double, each of its terms lies within 100u (C terms) or 100u·Q
//   (X terms, Q = max(|x| + |y|) + |xs| + |ys| + |xe| + |ye|) of the exact term (t within u of R/T, 1 − t
//   within 2u, each B within 30u, products and sums a few u more), and summing m + 1 terms in order adds
//   at most γ(m+1)·Σ|term| (γ(n) = n·u / (1 − n·u)), and Σ|term| is at most Σ|exact term| plus m + 1 times
//   a term's error. The exact terms of a C sum all have one sign (0 ≤ R/T ≤ 1 makes B1 and B2 nonnegative,
//   and the tangent products are one number per sum), so Σ|exact term| is |that sum|, for example
//   Σ B1² = 9 Σ t²(1−t)⁴, at most our value plus our error. For the X sums Σ|term| ≤ |t|·(Σ B²)^½·(Σ|r|²)^½
//   (Cauchy–Schwarz), with Σ|r|² = Σ|P − Ps|² − 2 (Pe − Ps)·Σ (P − Ps)(3t² − 2t³) + |Pe − Ps|² Σ (3t² − 2t³)².
// The sums are then carried as ranges through generateBezier's own formulas (see Range), and the curve
// is taken only when the branch it takes is certain and every control point is the same float at both
// ends of its alpha's range.
bool PathFitterMoments::fitCurve(const float *pts, int e, const double *sums, double t1x, double t1y, double t2x,
                                 double t2y, OstwickPathFitterBezier *curve) const {
    if (!covers(pts, start_, e)) return false;
    const int s = start_, m = e - s;
    const Wide n1 = static_cast<Wide>(t1x) * t1x + static_cast<Wide>(t1y) * t1y;
    const Wide n2 = static_cast<Wide>(t2x) * t2x + static_cast<Wide>(t2y) * t2y;
    if (!(n1 <= 1 + 1e-12L) || !(n2 <= 1 + 1e-12L)) return false;
    const double total = sums[m];
    if (!(total > 0) || !std::isfinite(total)) return false;

    Sums acc = checkpoints_[static_cast<size_t>(m / kStride)];
    const int tail = (m / kStride) * kStride + 1;
    if (tail <= m) addStride(acc, pts, s, sums, tail, m - tail + 1);

    Wide S[7], DX[4], DY[4], power = 1;
    for (int j = 1; j <= 6; ++j) {
        power *= static_cast<Wide>(total);
        S[j] = acc.r[j - 1] / power;
        if (j <= 3) {
            DX[j] = acc.dx[j - 1] / power;
            DY[j] = acc.dy[j - 1] / power;
        }
    }
    for (int j = 1; j <= 6; ++j)
        if (!std::isfinite(S[j]) || (j <= 3 && (!std::isfinite(DX[j]) || !std::isfinite(DY[j])))) return false;

    const Wide N = static_cast<Wide>(m) + 1;
    const Wide uL = std::numeric_limits<Wide>::epsilon() / 2;
    const Wide u = std::numeric_limits<double>::epsilon() / 2;
    if (!(N * u < 1e-3L)) return false;
    const Wide gamma = N * u / (1 - N * u);
    const Wide ours = 24 * 1.01L * u + ((static_cast<Wide>(m) / kStride + 40) * 1.01L + 64) * uL;

    const double xs = pts[2 * s], ys = pts[2 * s + 1], xe = pts[2 * e], ye = pts[2 * e + 1];
    const Wide Ex = static_cast<Wide>(xe) - xs, Ey = static_cast<Wide>(ye) - ys;
    const Wide Q = (static_cast<Wide>(acc.maxAbs) + std::abs(xs) + std::abs(ys) + std::abs(xe) + std::abs(ye)) * 1.01L;
    const Wide dxMax = static_cast<Wide>(acc.maxDx) * 1.01L, dyMax = static_cast<Wide>(acc.maxDy) * 1.01L;
    const Wide d12 = static_cast<Wide>(t1x) * t2x + static_cast<Wide>(t1y) * t2y;

    const Wide P00 = S[2] - 4 * S[3] + 6 * S[4] - 4 * S[5] + S[6], A00 = S[2] + 4 * S[3] + 6 * S[4] + 4 * S[5] + S[6];
    const Wide P01 = S[3] - 3 * S[4] + 3 * S[5] - S[6], A01 = S[3] + 3 * S[4] + 3 * S[5] + S[6];
    const Wide P11 = S[4] - 2 * S[5] + S[6], A11 = S[4] + 2 * S[5] + S[6];
    const Wide V1 = 9 * S[3] - 24 * S[4] + 21 * S[5] - 6 * S[6], AV1 = 9 * S[3] + 24 * S[4] + 21 * S[5] + 6 * S[6];
    const Wide V2 = 9 * S[4] - 15 * S[5] + 6 * S[6], AV2 = 9 * S[4] + 15 * S[5] + 6 * S[6];
    const Wide W1 = S[1] + 2 * S[2] + S[3], W2 = S[2] + S[3];  // masses of Σ B1 and Σ B2 over 3

    // Value, our error, and generateBezier's error of each sum.
    auto range = [&](Wide value, Wide mass, Wide absolute, Wide termError) {
        const Wide theirs = N * termError * (1 + gamma) + gamma * (absolute * 1.01L + N * termError);
        return around(value, ours * mass * 1.01L + theirs);
    };
    const Wide cTerm = 100 * u, xTerm = 100 * u * Q;
    // The exact terms of each C sum share one sign (see above), so their absolute values add up to the
    // sum's own size: our value plus our error.
    const Range C00 = range(9 * n1 * P00, 9 * n1 * A00, 9 * n1 * (P00 + ours * A00 * 1.01L), cTerm);
    const Range C01 =
        range(9 * d12 * P01, 9 * std::abs(d12) * A01, 9 * std::abs(d12) * (P01 + ours * A01 * 1.01L), cTerm);
    const Range C11 = range(9 * n2 * P11, 9 * n2 * A11, 9 * n2 * (P11 + ours * A11 * 1.01L), cTerm);
    const Wide X0 = 3 * (t1x * (DX[1] - 2 * DX[2] + DX[3]) + t1y * (DY[1] - 2 * DY[2] + DY[3])) - (t1x * Ex + t1y * Ey) * V1;
    const Wide X0mass = 3 * (std::abs(t1x) * dxMax + std::abs(t1y) * dyMax) * W1 +
                        (std::abs(t1x) * std::abs(Ex) + std::abs(t1y) * std::abs(Ey)) * AV1;
    const Wide X1 = 3 * (t2x * (DX[2] - DX[3]) + t2y * (DY[2] - DY[3])) - (t2x * Ex + t2y * Ey) * V2;
    const Wide X1mass = 3 * (std::abs(t2x) * dxMax + std::abs(t2y) * dyMax) * W2 +
                        (std::abs(t2x) * std::abs(Ex) + std::abs(t2y) * std::abs(Ey)) * AV2;
    // Upper bounds of Σ B1², Σ B2² and Σ|r|² (see above), each our value plus our error.
    const Wide B1squares = 9 * (P00 + ours * A00 * 1.01L), B2squares = 9 * (P11 + ours * A11 * 1.01L);
    const Wide residuals = acc.d2 - 2 * (Ex * (3 * DX[2] - 2 * DX[3]) + Ey * (3 * DY[2] - 2 * DY[3])) +
                           (Ex * Ex + Ey * Ey) * (9 * S[4] - 12 * S[5] + 4 * S[6]);
    const Wide residualsMass = acc.d2 + 2 * (std::abs(Ex) * dxMax + std::abs(Ey) * dyMax) * (3 * S[2] + 2 * S[3]) +
                               (Ex * Ex + Ey * Ey) * (9 * S[4] + 12 * S[5] + 4 * S[6]);
    const Wide residualsUp = std::max<Wide>(0, residuals + ours * residualsMass * 1.01L);
    const Range rX0 = range(X0, X0mass, std::sqrt(n1 * std::max<Wide>(0, B1squares) * residualsUp) * 1.01L, xTerm);
    const Range rX1 = range(X1, X1mass, std::sqrt(n2 * std::max<Wide>(0, B2squares) * residualsUp) * 1.01L, xTerm);
    return pathFitterCurveFromSumRanges(pts, s, e, C00, C01, C11, rX0, rX1, t1x, t1y, t2x, t2y, curve);
}

}  // namespace marqen
