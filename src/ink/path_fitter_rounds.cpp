#include "ink/path_fitter_rounds.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <immintrin.h>
#endif

#include "ink/path_fitter_sum_ranges.h"
#include "ink/path_fitter_wide_vectors.h"
#include "ink/path_fitter_worst_point.h"

namespace marqen {

namespace {

// Points per block: a block's per-point values are computed first (independently, so several at once)
// and then added or compared in index order.
constexpr int kBlock = 64;

// The largest of squares[0 .. count-1] that is above `largest`, and the first place holding it; largest and
// *place are left alone when none is. Equal to comparing in index order and keeping each value above all
// before it (values that are not numbers never win either way): the largest value comes out of eight
// running maxima at once (the largest of a set is the same whatever the order), and its first place is then
// looked up.
[[gnu::always_inline]] inline void noteLargest(const float *squares, int count, int firstPlace, float &largest,
                                               int *place) {
    int k = 0;
    float top = largest;
#if defined(__SSE2__)
    // maxps(a, b) is a > b ? a : b, lane by lane.
    __m128 low = _mm_set1_ps(largest), high = low;
    for (; k + 8 <= count; k += 8) {
        low = _mm_max_ps(_mm_loadu_ps(squares + k), low);
        high = _mm_max_ps(_mm_loadu_ps(squares + k + 4), high);
    }
    float lanes[8];
    _mm_storeu_ps(lanes, low);
    _mm_storeu_ps(lanes + 4, high);
    for (float lane : lanes) top = lane > top ? lane : top;
#endif
    for (; k < count; ++k) top = squares[k] > top ? squares[k] : top;
    if (!(top > largest)) return;
    int first = 0;
    while (squares[first] != top) ++first;
    largest = top;
    *place = firstPlace + first;
}

// generateBezier's terms of one point with parameter t.
struct Terms {
    double c00, c01, c11, x0, x1;
};

[[gnu::always_inline]] inline Terms leastSquaresTerms(double t, float px, float py, double startX, double startY, double endX, double endY,
                               double t1x, double t1y, double t2x, double t2y) {
    double mt = 1 - t;
    double B0 = mt * mt * mt, B1 = 3 * t * mt * mt, B2 = 3 * mt * t * t, B3 = t * t * t;
    double A1x = t1x * B1, A1y = t1y * B1, A2x = t2x * B2, A2y = t2y * B2;
    double rx = px - (startX * (B0 + B1) + endX * (B2 + B3));
    double ry = py - (startY * (B0 + B1) + endY * (B2 + B3));
    return {A1x * A1x + A1y * A1y, A1x * A2x + A1y * A2y, A2x * A2x + A2y * A2y, A1x * rx + A1y * ry,
            A2x * rx + A2y * ry};
}

// Eight doubles, one per lane of the quick sums: each lane adds every eighth term in order.
typedef double Lanes __attribute__((vector_size(64)));
typedef int64_t LaneBits __attribute__((vector_size(64)));

// Adds the eight values at `values` to `lanes`, and their magnitudes to `magnitudes` unless it is null.
[[gnu::always_inline]] inline void addLanes(Lanes &lanes, const double *values, Lanes *magnitudes = nullptr) {
    Lanes added;
    std::memcpy(&added, values, sizeof added);
    lanes += added;
    // Clearing the sign bits (a vector cast keeps the bits).
    if (magnitudes) *magnitudes += (Lanes)((LaneBits)added & INT64_MAX);
}

// The quick sums being gathered, lane by lane, with the magnitudes of the terms that can be negative.
struct LaneSums {
    Lanes c00{}, c01{}, c11{}, x0{}, x1{}, m01{}, mx0{}, mx1{};
};

// A block's terms, one array per sum, so that they are computed several points at once.
struct TermBlock {
    double c00[kBlock], c01[kBlock], c11[kBlock], x0[kBlock], x1[kBlock];

    [[gnu::always_inline]] void put(int k, const Terms &terms) {
        c00[k] = terms.c00, c01[k] = terms.c01, c11[k] = terms.c11, x0[k] = terms.x0, x1[k] = terms.x1;
    }
    // Adds the first count terms to sums point by point, in index order.
    [[gnu::always_inline]] void addInOrder(int count, PathFitterLeastSquaresSums &sums) const {
        for (int k = 0; k < count; ++k) {
            sums.C00 += c00[k];
            sums.C01 += c01[k];
            sums.C11 += c11[k];
            sums.X0 += x0[k];
            sums.X1 += x1[k];
        }
    }
    // Adds the first count terms to the lanes, eight at a time.
    [[gnu::always_inline]] void addToLanes(int count, LaneSums &lanes) const {
        int k = 0;
        for (; k + 8 <= count; k += 8) {
            addLanes(lanes.c00, c00 + k);
            addLanes(lanes.c11, c11 + k);
            addLanes(lanes.c01, c01 + k, &lanes.m01);
            addLanes(lanes.x0, x0 + k, &lanes.mx0);
            addLanes(lanes.x1, x1 + k, &lanes.mx1);
        }
        for (int j = 0; k < count; ++k, ++j) {
            lanes.c00[j] += c00[k], lanes.c11[j] += c11[k];
            lanes.c01[j] += c01[k], lanes.x0[j] += x0[k], lanes.x1[j] += x1[k];
            lanes.m01[j] += std::fabs(c01[k]), lanes.mx0[j] += std::fabs(x0[k]), lanes.mx1[j] += std::fabs(x1[k]);
        }
    }
};

// Adds a pass's terms in index order.
struct InOrder {
    PathFitterLeastSquaresSums sums;
    [[gnu::always_inline]] void add(const TermBlock &block, int count) { block.addInOrder(count, sums); }
    PathFitterQuickSums result(int terms) const {
        PathFitterQuickSums quick;
        quick.sums = sums;
        quick.terms = terms;
        quick.inIndexOrder = true;
        return quick;
    }
};

// Adds a pass's terms in lanes.
struct InLanes {
    LaneSums lanes;
    [[gnu::always_inline]] void add(const TermBlock &block, int count) { block.addToLanes(count, lanes); }
    PathFitterQuickSums result(int terms) const {
        PathFitterQuickSums quick;
        for (int j = 0; j < 8; ++j) {
            quick.sums.C00 += lanes.c00[j], quick.sums.C01 += lanes.c01[j], quick.sums.C11 += lanes.c11[j];
            quick.sums.X0 += lanes.x0[j], quick.sums.X1 += lanes.x1[j];
            quick.mass01 += lanes.m01[j], quick.massX0 += lanes.mx0[j], quick.massX1 += lanes.mx1[j];
        }
        quick.terms = terms;
        return quick;
    }
};

// The sums of generateBezier over the points s..e; the parameter of point s + k is u[k], or, when
// runningSums is given, runningSums[k] / total (0 for k = 0), which is then written into filled[k]
// unless filled is null.
template <typename Accumulator>
[[gnu::always_inline]] inline void leastSquaresSums(const float *pts, int s, int e, const double *u, double *filled,
                                                    const double *runningSums, double total, double t1x, double t1y,
                                                    double t2x, double t2y, Accumulator &sums) {
    const double startX = pts[2 * s], startY = pts[2 * s + 1], endX = pts[2 * e], endY = pts[2 * e + 1];
    TermBlock block;
    for (int first = s; first <= e; first += kBlock) {
        const int count = std::min(kBlock, e - first + 1);
        const float *pp = pts + 2 * first;
        const double *uu;
        double local[kBlock];
        if (runningSums) {
            const double *rr = runningSums + (first - s);
            double *ff = filled ? filled + (first - s) : local;
            for (int k = 0; k < count; ++k) ff[k] = rr[k] / total;
            if (first == s) ff[0] = 0;
            uu = ff;
        } else {
            uu = u + (first - s);
        }
        for (int k = 0; k < count; ++k) {
            const Terms terms =
                leastSquaresTerms(uu[k], pp[2 * k], pp[2 * k + 1], startX, startY, endX, endY, t1x, t1y, t2x, t2y);
            block.put(k, terms);
        }
        sums.add(block, count);
    }
}

}  // namespace

MARQEN_WIDE_VECTORS PathFitterLeastSquaresSums pathFitterLeastSquaresSums(const float *pts, int s, int e,
                                                                          const double *u, double t1x, double t1y,
                                                                          double t2x, double t2y) {
    InOrder sums;
    leastSquaresSums(pts, s, e, u, nullptr, nullptr, 1, t1x, t1y, t2x, t2y, sums);
    return sums.sums;
}

MARQEN_WIDE_VECTORS void pathFitterRunningSums(const float *pts, int s, int e, double *runningSums) {
    runningSums[0] = 0;
    // The distances of a block first (several roots at once), then the additions in order.
    double distances[kBlock];
    double sum = 0;
    for (int first = 1; first <= e - s; first += kBlock) {
        const int count = std::min(kBlock, e - s - first + 1);
        for (int k = 0; k < count; ++k) distances[k] = pathFitterOriginDistance(pts, s + first + k);
        double *out = runningSums + first;
        for (int k = 0; k < count; ++k) {
            sum += distances[k];
            out[k] = sum;
        }
    }
}

MARQEN_WIDE_VECTORS void pathFitterFirstParameters(const double *runningSums, int count, double total, double *u) {
    for (int k = 0; k <= count; ++k) u[k] = runningSums[k] / total;
    u[0] = 0;
}

namespace {

// The first round's pass with the given accumulator; each is copied into each vector width below, the
// copies kept apart so that each is compiled for its own accumulator.
template <typename Accumulator>
[[gnu::always_inline]] inline PathFitterQuickSums firstParametersAndSums(const float *pts, int s, int e,
                                                                         const double *runningSums, double total,
                                                                         double *u, double t1x, double t1y,
                                                                         double t2x, double t2y) {
    Accumulator sums;
    leastSquaresSums(pts, s, e, nullptr, u, runningSums, total, t1x, t1y, t2x, t2y, sums);
    return sums.result(e - s + 1);
}

MARQEN_WIDE_VECTORS PathFitterQuickSums firstParametersAndSumsWide(const float *pts, int s, int e,
                                                                  const double *runningSums, double total, double *u,
                                                                  double t1x, double t1y, double t2x, double t2y) {
    return firstParametersAndSums<InOrder>(pts, s, e, runningSums, total, u, t1x, t1y, t2x, t2y);
}

MARQEN_WIDE_VECTORS PathFitterQuickSums firstParametersAndSumsWideInLanes(const float *pts, int s, int e,
                                                                         const double *runningSums, double total,
                                                                         double *u, double t1x, double t1y,
                                                                         double t2x, double t2y) {
    return firstParametersAndSums<InLanes>(pts, s, e, runningSums, total, u, t1x, t1y, t2x, t2y);
}

#if defined(MARQEN_AVX512_COPIES)
MARQEN_TARGET_AVX512 PathFitterQuickSums firstParametersAndSumsAvx512(const float *pts, int s, int e,
                                                                     const double *runningSums, double total,
                                                                     double *u, double t1x, double t1y, double t2x,
                                                                     double t2y) {
    return firstParametersAndSums<InOrder>(pts, s, e, runningSums, total, u, t1x, t1y, t2x, t2y);
}

MARQEN_TARGET_AVX512 PathFitterQuickSums firstParametersAndSumsAvx512InLanes(const float *pts, int s, int e,
                                                                            const double *runningSums, double total,
                                                                            double *u, double t1x, double t1y,
                                                                            double t2x, double t2y) {
    return firstParametersAndSums<InLanes>(pts, s, e, runningSums, total, u, t1x, t1y, t2x, t2y);
}
#endif

// The first round's sums in index order, for when the quick ones leave the curve in doubt.
MARQEN_WIDE_VECTORS PathFitterLeastSquaresSums firstSumsInOrder(const float *pts, int s, int e,
                                                                const double *runningSums, double total, double t1x,
                                                                double t1y, double t2x, double t2y) {
    InOrder sums;
    leastSquaresSums(pts, s, e, nullptr, nullptr, runningSums, total, t1x, t1y, t2x, t2y, sums);
    return sums.sums;
}

// calcMaxError's pass; see pathFitterMaxError.
[[gnu::always_inline]] inline float maxError(const float *pts, int iStart, int iEnd, const OstwickPathFitterBezier &bez,
                                             const double *u, int *maxIndex) {
    // An offset count, not an index of the piece; only used when no point is measured.
    *maxIndex = (iEnd - iStart + 1) / 2;
    if (iStart + 1 >= iEnd) return 0;
    // The distance is the root (in double) of the squared error; roots of different floats differ, so the
    // squares are compared instead, a block of them computed at once, and the root of the largest taken.
    float squares[kBlock];
    float largest = 0;
    for (int first = iStart + 1; first <= iEnd - 1; first += kBlock) {
        const int count = std::min(kBlock, iEnd - first);
        for (int k = 0; k < count; ++k) squares[k] = pathFitterSquaredError(bez, u[first + k - iStart], pts, first + k);
        noteLargest(squares, count, first, largest, maxIndex);
    }
    return static_cast<float>(std::sqrt(static_cast<double>(largest)));
}

MARQEN_WIDE_VECTORS float maxErrorWide(const float *pts, int iStart, int iEnd, const OstwickPathFitterBezier &bez,
                                       const double *u, int *maxIndex) {
    return maxError(pts, iStart, iEnd, bez, u, maxIndex);
}

#if defined(MARQEN_AVX512_COPIES)
MARQEN_TARGET_AVX512 float maxErrorAvx512(const float *pts, int iStart, int iEnd, const OstwickPathFitterBezier &bez,
                                          const double *u, int *maxIndex) {
    return maxError(pts, iStart, iEnd, bez, u, maxIndex);
}
#endif

}  // namespace

PathFitterQuickSums pathFitterFirstParametersAndSums(const float *pts, int s, int e, const double *runningSums,
                                                     double total, double *u, double t1x, double t1y, double t2x,
                                                     double t2y) {
    const bool lanes = pathFitterAddsInLanes(s, e);
#if defined(MARQEN_AVX512_COPIES)
    if (pathFitterPassUsesAvx512(s, e))
        return lanes ? firstParametersAndSumsAvx512InLanes(pts, s, e, runningSums, total, u, t1x, t1y, t2x, t2y)
                     : firstParametersAndSumsAvx512(pts, s, e, runningSums, total, u, t1x, t1y, t2x, t2y);
#endif
    return lanes ? firstParametersAndSumsWideInLanes(pts, s, e, runningSums, total, u, t1x, t1y, t2x, t2y)
                 : firstParametersAndSumsWide(pts, s, e, runningSums, total, u, t1x, t1y, t2x, t2y);
}

float pathFitterMaxError(const float *pts, int iStart, int iEnd, const OstwickPathFitterBezier &bez, const double *u,
                         int *maxIndex) {
#if defined(MARQEN_AVX512_COPIES)
    if (pathFitterPassUsesAvx512(iStart, iEnd)) return maxErrorAvx512(pts, iStart, iEnd, bez, u, maxIndex);
#endif
    return maxErrorWide(pts, iStart, iEnd, bez, u, maxIndex);
}

OstwickPathFitterBezier pathFitterCurveFromSums(const float *pts, int s, int e, const PathFitterLeastSquaresSums &sums,
                                                double t1x, double t1y, double t2x, double t2y) {
    const double startX = pts[2 * s], startY = pts[2 * s + 1], endX = pts[2 * e], endY = pts[2 * e + 1];
    const double C00 = sums.C00, C01 = sums.C01, C11 = sums.C11, X0 = sums.X0, X1 = sums.X1;
    double det = C00 * C11 - C01 * C01;
    double alphaL, alphaR;
    if (-1e-6 < det && det < 1e-6) {
        double c = C00 + C01;
        if (c > 1e-6 || c < -1e-6) {
            alphaL = alphaR = X0 / c;
        } else {
            double c2 = C11 + C01;
            alphaL = alphaR = (c2 > 1e-6 || c2 < -1e-6) ? X1 / c2 : 0;
        }
    } else {
        alphaL = (X0 * C11 - C01 * X1) / det;
        alphaR = (C00 * X1 - C01 * X0) / det;
    }
    // An absolute epsilon, whatever the piece's size.
    if (alphaL < 1e-6 || alphaR < 1e-6) {
        const float cx = pts[2 * e] - pts[2 * s], cy = pts[2 * e + 1] - pts[2 * s + 1];
        const double vx = cx, vy = cy;
        alphaL = alphaR = std::sqrt(vx * vx + vy * vy) / 3;
    }
    return OstwickPathFitterBezier(pts[2 * s], pts[2 * s + 1], static_cast<float>(startX + alphaL * t1x),
                                   static_cast<float>(startY + alphaL * t1y), static_cast<float>(endX + alphaR * t2x),
                                   static_cast<float>(endY + alphaR * t2y), pts[2 * e], pts[2 * e + 1]);
}

namespace {

// The joined pass, copied into each vector width below, gathering the next sums with `sums`.
template <typename Accumulator>
[[gnu::always_inline]] inline float measureAndImprove(const float *pts, int s, int e, const OstwickPathFitterBezier &bez,
                                                      double *u, bool measure, int *maxIndex, double t1x, double t1y,
                                                      double t2x, double t2y, Accumulator &sums) {
    const PathFitterDerivatives d(bez);
    const int m = e - s;
    const float *points = pts + 2 * s;
    // improveParameters re-normalises by the end points' new parameters a and b: taken from the first block's
    // steps, the last point stepped ahead when it lies in a later block.
    double a = 0, b = 1;
    bool unchanged = true;
    const double startX = pts[2 * s], startY = pts[2 * s + 1], endX = pts[2 * e], endY = pts[2 * e + 1];
    if (measure) *maxIndex = (m + 1) / 2;
    float largest = 0;
    float squares[kBlock];
    TermBlock block;
    for (int first = 0; first <= m; first += kBlock) {
        const int count = std::min(kBlock, m - first + 1);
        double *uu = u + first;
        const float *pp = points + 2 * first;
        // The steps are written over the old parameters at once (each is read first); the re-normalisation,
        // when one is needed, then rewrites them.
        for (int k = 0; k < count; ++k) {
            const double t = uu[k];
            const float px = pp[2 * k], py = pp[2 * k + 1];
            const CGPoint q = bez.evaluatePoint(t);
            // calcMaxError's squared error (pathFitterSquaredError) of the point at its old parameter.
            const float dx = static_cast<float>(q.x - px), dy = static_cast<float>(q.y - py);
            squares[k] = dx * dx + dy * dy;
            uu[k] = pathFitterNewtonStep(d, q.x, q.y, px, py, t);
        }
        if (first == 0) {
            a = uu[0];
            if (m < kBlock) {
                b = uu[m];
            } else {
                const CGPoint q = bez.evaluatePoint(u[m]);
                b = pathFitterNewtonStep(d, q.x, q.y, points[2 * m], points[2 * m + 1], u[m]);
            }
            // The end points usually stay at exactly +0 and 1 (the curve passes through them); then
            // (v − a) / (b − a) is v itself for every v (v − (+0) is v, −0 included, and dividing by 1 is
            // exact), so no division is needed.
            unchanged = a == 0 && !std::signbit(a) && b == 1;
        }
        if (unchanged) {
            for (int k = 0; k < count; ++k)
                block.put(k, leastSquaresTerms(uu[k], pp[2 * k], pp[2 * k + 1], startX, startY, endX, endY, t1x, t1y,
                                               t2x, t2y));
        } else {
            for (int k = 0; k < count; ++k) {
                const double t = (uu[k] - a) / (b - a);
                uu[k] = t;
                block.put(k, leastSquaresTerms(t, pp[2 * k], pp[2 * k + 1], startX, startY, endX, endY, t1x, t1y, t2x,
                                               t2y));
            }
        }
        if (measure) {
            // Interior points only; the earliest of equally bad points wins.
            const int lo = std::max(first, 1), hi = std::min(first + count - 1, m - 1);
            if (lo <= hi) noteLargest(squares + (lo - first), hi - lo + 1, s + lo, largest, maxIndex);
        }
        sums.add(block, count);
    }
    return measure ? static_cast<float>(std::sqrt(static_cast<double>(largest))) : 0.0f;
}

// The joined pass with the given accumulator, its sums written into *next.
template <typename Accumulator>
[[gnu::always_inline]] inline float joinedPass(const float *pts, int s, int e, const OstwickPathFitterBezier &bez,
                                               double *u, bool measure, int *maxIndex, double t1x, double t1y,
                                               double t2x, double t2y, PathFitterQuickSums *next) {
    Accumulator sums;
    const float error = measureAndImprove(pts, s, e, bez, u, measure, maxIndex, t1x, t1y, t2x, t2y, sums);
    *next = sums.result(e - s + 1);
    return error;
}

MARQEN_WIDE_VECTORS float measureAndImproveWide(const float *pts, int s, int e, const OstwickPathFitterBezier &bez,
                                                double *u, bool measure, int *maxIndex, double t1x, double t1y,
                                                double t2x, double t2y, PathFitterQuickSums *next) {
    return joinedPass<InOrder>(pts, s, e, bez, u, measure, maxIndex, t1x, t1y, t2x, t2y, next);
}

MARQEN_WIDE_VECTORS float measureAndImproveWideInLanes(const float *pts, int s, int e,
                                                       const OstwickPathFitterBezier &bez, double *u, bool measure,
                                                       int *maxIndex, double t1x, double t1y, double t2x, double t2y,
                                                       PathFitterQuickSums *next) {
    return joinedPass<InLanes>(pts, s, e, bez, u, measure, maxIndex, t1x, t1y, t2x, t2y, next);
}

#if defined(MARQEN_AVX512_COPIES)
MARQEN_TARGET_AVX512 float measureAndImproveAvx512(const float *pts, int s, int e, const OstwickPathFitterBezier &bez,
                                                   double *u, bool measure, int *maxIndex, double t1x, double t1y,
                                                   double t2x, double t2y, PathFitterQuickSums *next) {
    return joinedPass<InOrder>(pts, s, e, bez, u, measure, maxIndex, t1x, t1y, t2x, t2y, next);
}

MARQEN_TARGET_AVX512 float measureAndImproveAvx512InLanes(const float *pts, int s, int e,
                                                          const OstwickPathFitterBezier &bez, double *u, bool measure,
                                                          int *maxIndex, double t1x, double t1y, double t2x,
                                                          double t2y, PathFitterQuickSums *next) {
    return joinedPass<InLanes>(pts, s, e, bez, u, measure, maxIndex, t1x, t1y, t2x, t2y, next);
}
#endif

}  // namespace

float pathFitterMeasureAndImprove(const float *pts, int s, int e, const OstwickPathFitterBezier &bez, double *u,
                                  bool measure, int *maxIndex, double t1x, double t1y, double t2x, double t2y,
                                  PathFitterQuickSums *next) {
    const bool lanes = pathFitterAddsInLanes(s, e);
#if defined(MARQEN_AVX512_COPIES)
    if (pathFitterPassUsesAvx512(s, e))
        return lanes ? measureAndImproveAvx512InLanes(pts, s, e, bez, u, measure, maxIndex, t1x, t1y, t2x, t2y, next)
                     : measureAndImproveAvx512(pts, s, e, bez, u, measure, maxIndex, t1x, t1y, t2x, t2y, next);
#endif
    return lanes ? measureAndImproveWideInLanes(pts, s, e, bez, u, measure, maxIndex, t1x, t1y, t2x, t2y, next)
                 : measureAndImproveWide(pts, s, e, bez, u, measure, maxIndex, t1x, t1y, t2x, t2y, next);
}

// Why the curve is certain. The quick sums and the in-order sums add the same computed terms x_1 .. x_n,
// only in other orders; any order of adding n terms errs by at most γ(n)·Σ|x_i| from their exact sum,
// so the two lie within 2γ(n)·Σ|x_i| of each other. The lanes' sum M of the magnitudes (of the terms
// themselves for C00 and C11, whose terms are never negative) is at least (1 − γ(n))·Σ|x_i|, so each
// in-order sum lies within r = 2γ(n)·M / (1 − γ(n)) of the quick one.
// generateBezier then computes, from the in-order sums, det = C00·C11 − C01·C01 and the numerators
// NL = X0·C11 − C01·X1, NR = C00·X1 − C01·X0, each a difference of two rounded products, rounded. For
// a·b − c·d with a within r_a of a quick value â (and so on), and A = |â| + r_a (and so on) bounding
// the magnitudes, the exact values differ from those of the quick values by at most
// r_a·B + A·r_b + r_c·D + C·r_d, and each of the two computations (theirs and ours) rounds by at most
// 2.01u·(A·B + C·D) (u = 2^-53): together R = r_a·B + A·r_b + r_c·D + C·r_d + 4.02u·(A·B + C·D).
// With |det| − R_det above zero, a quotient N / det of values within R_N and R_det of ours lies within
// (R_N + |α|·R_det) / (|det| − R_det) of our quotient α, and each side's division rounds by u·|α| more.
// Every bound is doubled, which covers the rounding of the bounds' own arithmetic and of the
// comparisons below (each bound is at least 4u times the value it bounds), and a tiny absolute term
// covers products that underflow. The curve is given only when generateBezier's branches are certain
// (det outside (−1e-6, 1e-6), both distances at or above 1e-6 or one certainly below) and each control
// point, monotone in its distance, is the same float at both ends of the distance's range; anything not
// finite on the way is refused.
bool pathFitterCurveFromQuickSums(const float *pts, int s, int e, const PathFitterQuickSums &quick, double t1x,
                                  double t1y, double t2x, double t2y, OstwickPathFitterBezier *curve) {
    if (quick.inIndexOrder) {
        *curve = pathFitterCurveFromSums(pts, s, e, quick.sums, t1x, t1y, t2x, t2y);
        return true;
    }
    const double unit = DBL_EPSILON / 2, n = quick.terms;
    const double gamma = n * unit / (1 - n * unit);
    const double factor = 2 * gamma / (1 - gamma) * (1 + 1e-9);
    const double tiny = 1e-290;
    const double c00 = quick.sums.C00, c01 = quick.sums.C01, c11 = quick.sums.C11, x0 = quick.sums.X0,
                 x1 = quick.sums.X1;
    const double r00 = factor * c00, r01 = factor * quick.mass01, r11 = factor * c11, rx0 = factor * quick.massX0,
                 rx1 = factor * quick.massX1;
    const double a00 = std::fabs(c00) + r00, a01 = std::fabs(c01) + r01, a11 = std::fabs(c11) + r11,
                 ax0 = std::fabs(x0) + rx0, ax1 = std::fabs(x1) + rx1;
    const double rounding = 4.02 * unit;
    auto spread = [rounding, tiny](double ra, double b, double a, double rb, double rc, double d, double c, double rd) {
        return 2 * (ra * b + a * rb + rc * d + c * rd + rounding * (a * b + c * d)) + tiny;
    };
    const double det = c00 * c11 - c01 * c01;
    const double rDet = spread(r00, a11, a00, r11, r01, a01, a01, r01);
    const double numeratorL = x0 * c11 - c01 * x1;
    const double rL = spread(rx0, a11, ax0, r11, r01, ax1, a01, rx1);
    const double numeratorR = c00 * x1 - c01 * x0;
    const double rR = spread(r00, ax1, a00, rx1, r01, ax0, a01, rx0);
    const double alphaL = numeratorL / det, alphaR = numeratorR / det;
    const double margin = std::fabs(det) - rDet;
    const double rAlphaL = 2 * ((rL + std::fabs(alphaL) * rDet) / margin + 2.01 * unit * std::fabs(alphaL)) + tiny;
    const double rAlphaR = 2 * ((rR + std::fabs(alphaR) * rDet) / margin + 2.01 * unit * std::fabs(alphaR)) + tiny;
    // Any value that is not finite (inputs, bounds or results) makes this sum not finite.
    if (!std::isfinite(det + rDet + alphaL + alphaR + rAlphaL + rAlphaR + margin)) return false;
    // generateBezier's near-singular branch is left to the in-order sums.
    if (!(margin >= 1e-6)) return false;
    return pathFitterCurveFromDistanceRanges(pts, s, e, {alphaL - rAlphaL, alphaL + rAlphaL},
                                             {alphaR - rAlphaR, alphaR + rAlphaR}, t1x, t1y, t2x, t2y, curve);
}

OstwickPathFitterBezier pathFitterNextCurve(const float *pts, int s, int e, const PathFitterQuickSums &quick,
                                            const double *u, const double *runningSums, double total, double t1x,
                                            double t1y, double t2x, double t2y) {
    OstwickPathFitterBezier curve;
    if (quick.inIndexOrder) return pathFitterCurveFromSums(pts, s, e, quick.sums, t1x, t1y, t2x, t2y);
    if (pathFitterCurveFromQuickSums(pts, s, e, quick, t1x, t1y, t2x, t2y, &curve)) return curve;
    const PathFitterLeastSquaresSums inOrder = u ? pathFitterLeastSquaresSums(pts, s, e, u, t1x, t1y, t2x, t2y)
                                                 : firstSumsInOrder(pts, s, e, runningSums, total, t1x, t1y, t2x, t2y);
    return pathFitterCurveFromSums(pts, s, e, inOrder, t1x, t1y, t2x, t2y);
}

}  // namespace marqen
