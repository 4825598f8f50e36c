#pragma once
// Moments of a run of pieces that all start at one point: sums of the powers of the running sums of
// origin distances, plain and weighted by each point's offset from the first point, summed in double a
// stride of points at a time and across strides in extended precision, kept every stride. With them the least-squares curve of any such piece comes from a
// few dozen operations instead of a pass over its points: the sums give the curve's two control-point
// distances together with a bound of how far they, and the ones the pass would compute, can lie from
// the exact values; only when every control point rounds to the same float across that whole range is
// the result taken, so it is the curve generateBezier gives, bit for bit. Otherwise the caller runs
// generateBezier.
//
// Threads: belongs to one thread at a time.
#include <vector>

#include "ink/path_fitter_bezier.h"

namespace marqen {

class PathFitterMoments {
public:
    // Moments of the points s .. s+count of pts, whose running sums of origin distances from s are
    // sums[0 .. count] (sums[0] = 0). The points must not change while the moments are used.
    void build(const float *pts, int s, const double *sums, int count);
    void reset();

    // Whether pieces (s, e) of pts can be asked for.
    bool covers(const float *pts, int s, int e) const {
        return pts == pts_ && s == start_ && e > s && e - s <= count_;
    }

    // The least-squares curve of the piece (s, e) that covers() accepts, with the first round's
    // parameters sums[k] / sums[e - s] and the given tangents, exactly as generateBezier computes it.
    // Returns false when it cannot be sure of every bit (or of the branch generateBezier takes).
    // The tangents are unit vectors (or zero); others are refused.
    bool fitCurve(const float *pts, int e, const double *sums, double t1x, double t1y, double t2x, double t2y,
                  OstwickPathFitterBezier *curve) const;

    static constexpr int kStride = 64;

private:
    // Sums over k = 0 .. K of R^j (j = 1..6), and of (x_k − x_s)·R^j, (y_k − y_s)·R^j (j = 1..3), with
    // R the running sum at k, and of the squared offsets; and the largest |x_k| + |y_k|, |x_k − x_s|,
    // |y_k − y_s| so far.
    struct Sums {
        long double r[6] = {};
        long double dx[3] = {}, dy[3] = {};
        long double d2 = 0;
        double maxAbs = 0, maxDx = 0, maxDy = 0;
    };
    // Adds to sums the terms of the points first .. first+count-1 (count ≤ kStride) of the piece starting
    // at s: each stride's terms are summed in double and the stride's sums then added in extended precision.
    static void addStride(Sums &sums, const float *pts, int s, const double *runningSums, int first, int count);

    const float *pts_ = nullptr;
    int start_ = -1, count_ = -1;
    std::vector<Sums> checkpoints_;  // checkpoint c holds the sums over k = 0 .. c·kStride
};

}  // namespace marqen
