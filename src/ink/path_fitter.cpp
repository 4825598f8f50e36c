#include "ink/path_fitter.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ink/path_fitter_rounds.h"
#include "ink/path_fitter_wide_vectors.h"
#include "ink/path_fitter_worst_point.h"
#include "ink/precondition.h"

namespace marqen {

namespace {

// The difference of two stored points, taken in single precision and then widened.
MarqenPathFitterVector difference(const float *pts, int a, int b) {
    float dx = pts[2 * a] - pts[2 * b];
    float dy = pts[2 * a + 1] - pts[2 * b + 1];
    return {dx, dy};
}

double length(MarqenPathFitterVector v) { return std::sqrt(v.x * v.x + v.y * v.y); }


int32_t saturatingTrunc(double value) {
    if (std::isnan(value)) return 0;
    if (value >= 2147483647.0) return std::numeric_limits<int32_t>::max();
    if (value <= -2147483648.0) return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(value);
}

struct FitTask {
    int iStart, iEnd;
    MarqenPathFitterVector tangentStart, tangentEnd;
    int depth;
};

}  // namespace

MarqenPathFitter::MarqenPathFitter(const float *points, int32_t nPts, float smallTraceSize) {
    MARQEN_PRECONDITION(nPts > 0);
    nPts_ = nPts;
    pts_.assign(points, points + 2 * static_cast<size_t>(nPts));
    bCorner_.assign(static_cast<size_t>(nPts), false);
    vIters_.assign(static_cast<size_t>(nPts), 0);
    kDencityBase_ = smallTraceSize;
    kCornerDetectionVectorLength_ = static_cast<float>(smallTraceSize * 0.5);
    kPrecision_ = static_cast<float>(std::sqrt(smallTraceSize / 5.0));
}

MarqenBezierPath MarqenPathFitter::pathForStroke(const std::vector<CGPoint> &points, float smallTraceSize) {
    if (points.empty()) return MarqenBezierPath();
    std::vector<float> interleaved;
    interleaved.reserve(points.size() * 2);
    for (const CGPoint &p : points) {
        interleaved.push_back(static_cast<float>(p.x));
        interleaved.push_back(static_cast<float>(p.y));
    }
    size_t count = std::min(points.size(), static_cast<size_t>(std::numeric_limits<int32_t>::max()));
    MarqenPathFitter fitter(interleaved.data(), static_cast<int32_t>(count), smallTraceSize);
    return fitter.path();
}

MarqenBezierPath MarqenPathFitter::path() {
    detectCorners();
    std::vector<OstwickPathFitterBezier> curves;
    int i = 0;
    do {
        int k = i + 1;
        while (k < nPts_ && !bCorner_[k]) ++k;
        if (k < nPts_) {
            filterPoints(pts_.data(), i, k, kIterations_, false);
            fitBeziers(curves, pts_.data(), i, k, kPrecision_);
            i = k;
        } else {
            int end = std::max(nPts_, i + 1) - 1;
            fitBeziers(curves, pts_.data(), i, end, kPrecision_);
            i = end;
        }
    } while (i < nPts_ - 1);
    return pathFromCurves(curves);
}

MarqenBezierPath MarqenPathFitter::pathFromCurves(const std::vector<OstwickPathFitterBezier> &curves) const {
    MarqenBezierPath path;
    if (!curves.empty()) {
        path.moveToPoint({curves.front()._fromX, curves.front()._fromY});
        for (const OstwickPathFitterBezier &curve : curves)
            path.addCurveToPoint({curve._tanFromX, curve._tanFromY}, {curve._tanToX, curve._tanToY},
                                 {curve._toX, curve._toY});
        return path;
    }
    // No curves: a dot for the first point, then halfway curves through the points.
    for (int k = 0; k < nPts_; ++k) {
        CGPoint p{pts_[2 * k], pts_[2 * k + 1]};
        if (k == 0) {
            path.moveToPoint(p);
            path.addLineToPoint({p.x + 0.01, p.y});
            path.addLineToPoint(p);
            continue;
        }
        CGPoint q{pts_[2 * k - 2], pts_[2 * k - 1]};
        CGPoint m{(q.x + p.x) * 0.5, (q.y + p.y) * 0.5};
        path.addCurveToPoint(q, q, m);
        path.addCurveToPoint(m, m, p);
    }
    return path;
}

int MarqenPathFitter::detectCorners() {
    const int n = nPts_;
    std::vector<float> dx(n, 0.0f), dy(n, 0.0f), len(n, 0.0f);
    for (int k = 1; k < n; ++k) {
        dx[k] = pts_[2 * k] - pts_[2 * k - 2];
        dy[k] = pts_[2 * k + 1] - pts_[2 * k - 1];
        len[k] = std::sqrt(dx[k] * dx[k] + dy[k] * dy[k]);
        bCorner_[k] = false;
    }
    bCorner_[0] = true;
    bCorner_[n - 1] = true;
    if (n < 3) {
        maxIters_ = 0;
        return 2;
    }

    const double L = kCornerDetectionVectorLength_;
    double prevAngle = 0;
    int candidate = -1;
    int corners = 2;
    // A length that is not a number is never reached: then no point is measured at all.
    const bool measurable = !std::isnan(L);
    for (int i = 1; measurable && i <= n - 2; ++i) {
        // Incoming direction over the last L of path length. A running length that is not a number
        // never reaches L, so the walk can stop there with the same outcome.
        float bx = 0, by = 0;
        double run = 0;
        bool reached = false;
        for (int k = i; k >= 1 && !std::isnan(run); --k) {
            run += len[k];
            bx += dx[k];
            by += dy[k];
            if (run >= L) {
                reached = true;
                break;
            }
        }
        if (!reached) continue;
        // Outgoing direction over the next L.
        float fx = 0, fy = 0;
        run = 0;
        reached = false;
        for (int k = i + 1; k < n && !std::isnan(run); ++k) {
            run += len[k];
            fx += dx[k];
            fy += dy[k];
            if (run >= L) {
                reached = true;
                break;
            }
        }
        if (!reached) continue;

        float dotBF = bx * fx + by * fy;
        float normB = bx * bx + by * by;
        float normF = fx * fx + fy * fy;
        const double cosine = dotBF / (std::sqrt(static_cast<double>(normB)) * std::sqrt(static_cast<double>(normF)));
        // A cosine clearly above zero is a turn clearly below 90 degrees (whatever acos's last bit), never a
        // corner when the least corner angle is 90 degrees or more: the arc cosine, the slowest step here,
        // is then not needed to decide.
        const bool clearlyNoCorner = cosine > 1e-6 && kMinCornerAngle_ >= 90.0f;
        double angle = clearlyNoCorner ? 0.0 : std::acos(cosine) / M_PI * 180.0;
        // Within a run of sharp turns the largest one becomes the corner, marked when the run ends.
        if (!(angle > kMinCornerAngle_)) {
            angle = 0;
            if (candidate >= 0) {
                bCorner_[candidate] = true;
                ++corners;
                candidate = -1;
            }
        } else if (angle > prevAngle) {
            candidate = i;
        } else {
            angle = prevAngle;
        }
        prevAngle = angle;
    }

    maxIters_ = 0;
    for (int k = 1; k <= n - 2; ++k) {
        int64_t iterations = kIterations_;
        if (bUseIndividualIterations_) iterations += 2 * static_cast<int64_t>(saturatingTrunc(kDencityBase_ / len[k]));
        vIters_[k] = static_cast<int32_t>(std::clamp<int64_t>(iterations, std::numeric_limits<int32_t>::min(),
                                                              std::numeric_limits<int32_t>::max()));
        maxIters_ = std::max(maxIters_, vIters_[k]);
    }
    return corners;
}

void MarqenPathFitter::filterPoints(float *pts, int iStart, int iEnd, int iterations, bool closed) {
    const int s = iStart, e = iEnd;
    if (e - s < 3 || iterations < 1) return;
    for (int it = iterations; it >= 1; --it) {
        const float ox = pts[2 * s], oy = pts[2 * s + 1];
        if (closed) {
            pts[2 * s] = 0.5f * pts[2 * s] + 0.25f * pts[2 * e] + 0.25f * pts[2 * s + 2];
            pts[2 * s + 1] = 0.5f * pts[2 * s + 1] + 0.25f * pts[2 * e + 1] + 0.25f * pts[2 * s + 3];
        }
        // Each point reads its left neighbour's value from before this pass.
        float prevX = ox, prevY = oy;
        for (int k = s + 1; k <= e - 1; ++k) {
            if (!(vIters_[k] > it)) continue;
            const float oldX = pts[2 * k], oldY = pts[2 * k + 1];
            pts[2 * k] = 0.25f * pts[2 * k + 2] + 0.25f * prevX + 0.5f * oldX;
            pts[2 * k + 1] = 0.25f * pts[2 * k + 3] + 0.25f * prevY + 0.5f * oldY;
            prevX = oldX;
            prevY = oldY;
        }
        if (closed) {
            pts[2 * e] = 0.25f * ox + 0.25f * prevX + 0.5f * pts[2 * e];
            pts[2 * e + 1] = 0.25f * oy + 0.25f * prevY + 0.5f * pts[2 * e + 1];
        }
    }
}

void MarqenPathFitter::fitBeziers(std::vector<OstwickPathFitterBezier> &curves, const float *pts, int iStart,
                                  int iEnd, float error) {
    MarqenPathFitterVector t1, t2;
    if (iEnd > iStart) {
        t1 = difference(pts, iStart + 1, iStart);
        normalize(t1);
        t2 = difference(pts, iEnd - 1, iEnd);
        normalize(t2);
    }
    recrFit(curves, pts, iStart, iEnd, t1, t2, error * error, 0);
}

void MarqenPathFitter::recrFit(std::vector<OstwickPathFitterBezier> &curves, const float *pts, int iStart, int iEnd,
                               MarqenPathFitterVector tangentStart, MarqenPathFitterVector tangentEnd, float error,
                               int depth) {
    // The halves are fitted depth first, the first half before the second, on an explicit stack so that
    // long strokes cannot exhaust the thread's stack.
    std::vector<FitTask> tasks{{iStart, iEnd, tangentStart, tangentEnd, depth}};
    worstPoint_.preparePoints(pts, iStart, iEnd);
    // The running sums of origin distances from a piece's first point, kept while pieces start there: the
    // first half of a split starts where its whole did and is fitted next, so a long run of uneven splits
    // computes them once. A piece's parameters are these sums over its last one, as parameterizePoints
    // gives them.
    std::vector<double> &sums = runningSums_;
    int sumsStart = -1, sumsEnd = -1;
    std::vector<double> &u = parameters_;
    // Moments of a long run of pieces that start at one point give their first curve without a pass
    // over the points (see PathFitterMoments); they are gathered once such a run shows, on its second piece.
    constexpr int kMomentsMinimum = 1024;
    constexpr int kPrunedSearchMinimum = 2048;
    moments_.reset();
    while (!tasks.empty()) {
        const FitTask task = tasks.back();
        tasks.pop_back();
        const int s = task.iStart, e = task.iEnd;
        const MarqenPathFitterVector t1 = task.tangentStart, t2 = task.tangentEnd;
        if (e - s <= 1) {
            double d = length(difference(pts, e, s)) / 3;
            curves.emplace_back(pts[2 * s], pts[2 * s + 1], static_cast<float>(pts[2 * s] + d * t1.x),
                                static_cast<float>(pts[2 * s + 1] + d * t1.y), static_cast<float>(pts[2 * e] + d * t2.x),
                                static_cast<float>(pts[2 * e + 1] + d * t2.y), pts[2 * e], pts[2 * e + 1]);
            continue;
        }
        if (sumsStart != s || sumsEnd < e) {
            sums.resize(static_cast<size_t>(e - s + 1));
            pathFitterRunningSums(pts, s, e, sums.data());
            sumsStart = s;
            sumsEnd = e;
        } else if (e - s >= kMomentsMinimum && !moments_.covers(pts, s, e)) {
            moments_.build(pts, s, sums.data(), e - s);
        }
        const double total = sums[e - s];
        // The parameters, needed by calcMaxError and the later rounds, are only written out when those need
        // them: a long piece is usually split after round 0, measured by the pruned search, which works from
        // the running sums (the parameters being the running sums over their total).
        const bool prune = e - s >= kPrunedSearchMinimum;
        bool haveParameters = false;
        auto needParameters = [&] {
            if (haveParameters) return;
            u.resize(static_cast<size_t>(e - s + 1));
            pathFitterFirstParameters(sums.data(), e - s, total, u.data());
            haveParameters = true;
        };
        int split = 0;
        // Round 0: the curve from the moments when they are sure of it, the worst point by the pruned search
        // when it applies. A short piece is measured whole (that is quicker), its parameters filled in by
        // the pass that fits its curve.
        OstwickPathFitterBezier bez;
        bool fromMoments = moments_.covers(pts, s, e) && moments_.fitCurve(pts, e, sums.data(), t1.x, t1.y, t2.x, t2.y, &bez);
        if (!fromMoments) {
            if (!prune) u.resize(static_cast<size_t>(e - s + 1));
            const PathFitterQuickSums leastSquares = pathFitterFirstParametersAndSums(
                pts, s, e, sums.data(), total, prune ? nullptr : u.data(), t1.x, t1.y, t2.x, t2.y);
            haveParameters = !prune;
            bez = pathFitterNextCurve(pts, s, e, leastSquares, prune ? nullptr : u.data(), sums.data(), total, t1.x,
                                      t1.y, t2.x, t2.y);
        }
        float err = 0;
        if (!(prune || fromMoments) || !worstPoint_.find(pts, s, e, bez, sums.data(), total, &err, &split)) {
            needParameters();
            err = calcMaxError(pts, s, e, bez, u, &split);
        }
        // Rounds 1 to 9. Round r's curve is measured, and the parameters moved, in the one pass that also
        // gathers round r + 1's least-squares sums (the pass after round 0's check only moves and gathers,
        // round 0 being measured already). The last round's parameters would never be used, so round 9 is
        // only measured.
        bool fitted = false;
        PathFitterQuickSums nextSums;
        for (int round = 0;; ++round) {
            if (round > 0) {
                if (round < 9) {
                    err = pathFitterMeasureAndImprove(pts, s, e, bez, u.data(), true, &split, t1.x, t1.y, t2.x, t2.y,
                                                      &nextSums);
                } else {
                    err = calcMaxError(pts, s, e, bez, u, &split);
                }
            }
            if (err <= error) {
                curves.push_back(bez);
                fitted = true;
                break;
            }
            if (err > 10.0 * error || round == 9) break;
            if (round == 0) {
                needParameters();
                pathFitterMeasureAndImprove(pts, s, e, bez, u.data(), false, &split, t1.x, t1.y, t2.x, t2.y,
                                            &nextSums);
            }
            bez = pathFitterNextCurve(pts, s, e, nextSums, u.data(), nullptr, 0, t1.x, t1.y, t2.x, t2.y);
        }
        if (fitted) continue;
        // When no point could be measured (errors that are not numbers) the worst index is a count, not
        // a point of this piece; split such a piece in its middle so that the fit always ends.
        if (split <= s || split >= e) split = s + (e - s) / 2;
        MarqenPathFitterVector tc = middleTangent(pts, split);
        tasks.push_back({split, e, {-tc.x, -tc.y}, t2, task.depth + 1});
        tasks.push_back({s, split, t1, tc, task.depth + 1});
    }
}

std::vector<double> MarqenPathFitter::parameterizePoints(const float *pts, int iStart, int iEnd) {
    MARQEN_PRECONDITION((iEnd - iStart + 1) > 0);
    std::vector<double> u(static_cast<size_t>(iEnd - iStart + 1), 0.0);
    if (iEnd <= iStart) return u;
    const int count = iEnd - iStart;
    // Spaced by each point's distance from the coordinate origin, not from its predecessor.
    for (int k = 1; k <= count; ++k) u[k] = u[k - 1] + pathFitterOriginDistance(pts, iStart + k);
    const double total = u[count];
    for (int k = 1; k <= count; ++k) u[k] /= total;
    return u;
}

OstwickPathFitterBezier MarqenPathFitter::generateBezier(const float *pts, int iStart, int iEnd,
                                                         const std::vector<double> &u,
                                                         MarqenPathFitterVector tangentStart,
                                                         MarqenPathFitterVector tangentEnd) {
    const MarqenPathFitterVector t1 = tangentStart, t2 = tangentEnd;
    const PathFitterLeastSquaresSums sums = pathFitterLeastSquaresSums(pts, iStart, iEnd, u.data(), t1.x, t1.y, t2.x, t2.y);
    return pathFitterCurveFromSums(pts, iStart, iEnd, sums, t1.x, t1.y, t2.x, t2.y);
}

float MarqenPathFitter::calcMaxError(const float *pts, int iStart, int iEnd, const OstwickPathFitterBezier &bez,
                                     const std::vector<double> &u, int *maxIndex) {
    return pathFitterMaxError(pts, iStart, iEnd, bez, u.data(), maxIndex);
}

MARQEN_WIDE_VECTORS void MarqenPathFitter::improveParameters(const float *pts, int iStart, int iEnd, std::vector<double> &u,
                                         const OstwickPathFitterBezier &bez) {
    const PathFitterDerivatives derivatives(bez);
    double *values = u.data();
    const float *points = pts + 2 * iStart;
    for (int k = 0; k <= iEnd - iStart; ++k) {
        const CGPoint q = bez.evaluatePoint(values[k]);
        values[k] = pathFitterNewtonStep(derivatives, q.x, q.y, points[2 * k], points[2 * k + 1], values[k]);
    }
    const double a = u[0], b = u[iEnd - iStart];
    for (double &value : u) value = (value - a) / (b - a);
}

double MarqenPathFitter::newtonRhapson(const OstwickPathFitterBezier &bez, double Px, double Py, double u,
                                       double Q1_0x, double Q1_0y, double Q1_1x, double Q1_1y, double Q1_2x,
                                       double Q1_2y, double Q2_0x, double Q2_0y, double Q2_1x, double Q2_1y) {
    const CGPoint q = bez.evaluatePoint(u);
    return pathFitterNewtonStep({Q1_0x, Q1_0y, Q1_1x, Q1_1y, Q1_2x, Q1_2y, Q2_0x, Q2_0y, Q2_1x, Q2_1y}, q.x, q.y, Px,
                                Py, u);
}

MarqenPathFitterVector MarqenPathFitter::middleTangent(const float *pts, int index) {
    MarqenPathFitterVector incoming = difference(pts, index - 1, index);
    MarqenPathFitterVector outgoing = difference(pts, index, index + 1);
    normalize(incoming);
    normalize(outgoing);
    MarqenPathFitterVector sum{incoming.x + outgoing.x, incoming.y + outgoing.y};
    normalize(sum);
    return sum;
}

void MarqenPathFitter::normalize(MarqenPathFitterVector &vector) {
    double squared = vector.x * vector.x + vector.y * vector.y;
    if (squared > 0) {
        double factor = 1 / std::sqrt(squared);
        vector.x *= factor;
        vector.y *= factor;
    } else {
        vector.x = vector.y = 0;
    }
}

}  // namespace marqen
