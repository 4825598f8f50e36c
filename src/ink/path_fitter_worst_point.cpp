#include "ink/path_fitter_worst_point.h"

#include <algorithm>
#include <cfloat>
#include <iterator>
#include <limits>

namespace marqen {

// Why the bounds hold. Point i (parameter u_i) has the squared error f_i = fl(fl(dx²) + fl(dy²)) with
// dx = fl32(q̂x(u_i) − x_i), where q̂ is the curve evaluated in double. For a run of points whose
// parameters lie in [ua, ub] (the parameters grow with the index, so the run's first and last point give
// that interval) and whose coordinates lie in a box, and for um in [ua, ub]:
// - the exact curve moves by at most 3·max|c[j+1] − c[j]| per unit of parameter along each axis (its
//   derivative is a Bernstein combination of those differences), so |qx(u_i) − qx(um)| ≤ slopeX·w with
//   w = max(um − ua, ub − um);
// - hence |qx(u_i) − x_i| ≤ max(|qx(um) − minX|, |qx(um) − maxX|) + slopeX·w;
// - evaluating in double errs by less than 60 ε·max|c| (ε the double epsilon), in the search's own
//   evaluation at um as in the measured one at u_i, which `slack_` (1e-12·max|c|) covers many times over;
// - narrowing to single precision, squaring and summing in single precision multiply by at most
//   (1 + 2^-24) each (four times in all, below 1 + 2.4e-7) and add at most 2^-148 absolutely
//   (underflow); the bound's own double arithmetic errs by a few ε relatively.
// So (bx² + by²)·(1 + 1e-6) + 1e-43, with bx, by the axis bounds plus 1e-40, is never below any f_i of
// the run. A bound that is not a finite float is taken as infinite and never lets a run be skipped.
double PathFitterWorstPointSearch::boundOver(const Box &box, int first, int last) const {
    const double ua = runningSums_[first - s_] / total_, ub = runningSums_[last - s_] / total_;
    const double um = std::clamp(0.5 * (ua + ub), ua, ub);
    const double w = std::max(um - ua, ub - um);
    const CGPoint q = bez_->evaluatePoint(um);
    const double bx = std::max(std::abs(q.x - box.minX), std::abs(q.x - box.maxX)) + slopeX_ * w + slack_ + 1e-40;
    const double by = std::max(std::abs(q.y - box.minY), std::abs(q.y - box.maxY)) + slopeY_ * w + slack_ + 1e-40;
    const double bound = (bx * bx + by * by) * (1 + 1e-6) + 1e-43;
    return bound < static_cast<double>(FLT_MAX) ? bound : std::numeric_limits<double>::infinity();
}

namespace {

// Largest bound first; of equal bounds the earlier run first (it may win a tie).
struct LowerPriority {
    template <typename C>
    bool operator()(const C &a, const C &b) const {
        return a.bound < b.bound || (a.bound == b.bound && a.first > b.first);
    }
};

// Whether no point of a run with this bound, starting at `first`, can become the answer once the worst
// point so far has the squared error bestF at bestIndex (bestIndex < 0 while no error is above zero).
bool cannotWin(double bound, int first, float bestF, int bestIndex) {
    return bound < bestF || (bound == bestF && (bestIndex < 0 || first > bestIndex));
}

}  // namespace

int PathFitterWorstPointSearch::nodePoints(int level) const {
    int points = kBlockPoints;
    for (int l = 0; l < level; ++l) points *= kFanOut;
    return points;
}

bool PathFitterWorstPointSearch::nodeCandidate(int level, int index, int lo, int hi, Candidate *candidate) const {
    const int size = nodePoints(level);
    const int first = std::max(lo, iStart_ + index * size);
    const int last = std::min(hi, iStart_ + (index + 1) * size - 1);
    if (first > last) return false;
    *candidate = {boundOver(levels_[static_cast<size_t>(level)][static_cast<size_t>(index)], first, last), first, last,
                  level, index};
    return true;
}

void PathFitterWorstPointSearch::pushNodes(int level, int from, int to, int lo, int hi, float bestF, int bestIndex) {
    // The bounds first, then the pushes: the bounds do not depend on one another, so they are computed
    // side by side rather than each waiting for the heap's comparisons of the one before. A run that
    // cannot win already would only be popped and left out: it is not pushed.
    Candidate made[2 * kFanOut + 2];
    int count = 0;
    const int nodes = static_cast<int>(levels_[static_cast<size_t>(level)].size());
    for (int n = from; n <= std::min(to, nodes - 1); ++n) {
        if (count == static_cast<int>(std::size(made))) {
            for (int k = 0; k < count; ++k)
                if (!cannotWin(made[k].bound, made[k].first, bestF, bestIndex)) push(made[k]);
            count = 0;
        }
        if (nodeCandidate(level, n, lo, hi, &made[count])) ++count;
    }
    for (int k = 0; k < count; ++k)
        if (!cannotWin(made[k].bound, made[k].first, bestF, bestIndex)) push(made[k]);
}

void PathFitterWorstPointSearch::push(const Candidate &candidate) {
    heap_.push_back(candidate);
    std::push_heap(heap_.begin(), heap_.end(), LowerPriority{});
}

void PathFitterWorstPointSearch::preparePoints(const float *pts, int iStart, int iEnd) {
    pts_ = pts;
    iStart_ = iStart;
    iEnd_ = iEnd;
    levelCount_ = 0;
    built_ = false;
}

void PathFitterWorstPointSearch::buildLevels() {
    built_ = true;
    const float *pts = pts_;
    const int iStart = iStart_, iEnd = iEnd_;
    if (iEnd < iStart) return;
    // A box holding a coordinate that is not a number is made of such values: its bound is then infinite.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    auto widen = [nan](Box &box, float x0, float y0, float x1, float y1) {
        if (std::isnan(x0) || std::isnan(y0) || std::isnan(x1) || std::isnan(y1) || std::isnan(box.minX)) {
            box = {nan, nan, nan, nan};
            return;
        }
        box = {std::min(box.minX, x0), std::min(box.minY, y0), std::max(box.maxX, x1), std::max(box.maxY, y1)};
    };
    const float inf = std::numeric_limits<float>::infinity();
    // The levels' storage is kept from search to search.
    auto nextLevel = [this]() -> std::vector<Box> & {
        if (levels_.size() <= static_cast<size_t>(levelCount_)) levels_.emplace_back();
        std::vector<Box> &level = levels_[static_cast<size_t>(levelCount_++)];
        level.clear();
        return level;
    };
    std::vector<Box> &blocks = nextLevel();
    for (int first = iStart; first <= iEnd; first += kBlockPoints) {
        Box box{inf, inf, -inf, -inf};
        for (int i = first; i <= std::min(iEnd, first + kBlockPoints - 1); ++i)
            widen(box, pts[2 * i], pts[2 * i + 1], pts[2 * i], pts[2 * i + 1]);
        blocks.push_back(box);
    }
    while (levels_[static_cast<size_t>(levelCount_ - 1)].size() > 1) {
        std::vector<Box> &above = nextLevel();
        const std::vector<Box> &below = levels_[static_cast<size_t>(levelCount_ - 2)];
        for (size_t b = 0; b < below.size(); b += kFanOut) {
            Box box{inf, inf, -inf, -inf};
            for (size_t k = b; k < std::min(below.size(), b + kFanOut); ++k)
                widen(box, below[k].minX, below[k].minY, below[k].maxX, below[k].maxY);
            above.push_back(box);
        }
    }
}

bool PathFitterWorstPointSearch::find(const float *pts, int s, int e, const OstwickPathFitterBezier &bez,
                                      const double *runningSums, double total, float *error, int *maxIndex) {
    if (pts != pts_ || s < iStart_ || e > iEnd_ || s + 1 >= e) return false;
    if (!(total > 0) || !std::isfinite(total)) return false;
    if (!built_) buildLevels();
    const float c[8] = {bez._fromX, bez._fromY, bez._tanFromX, bez._tanFromY,
                        bez._tanToX, bez._tanToY, bez._toX, bez._toY};
    double magnitude = 0;
    for (float value : c) {
        if (!std::isfinite(value)) return false;
        magnitude = std::max(magnitude, std::abs(static_cast<double>(value)));
    }
    bez_ = &bez;
    runningSums_ = runningSums;
    total_ = total;
    s_ = s;
    slack_ = 1e-12 * magnitude;
    slopeX_ = 3 * std::max({std::abs(static_cast<double>(c[2]) - c[0]), std::abs(static_cast<double>(c[4]) - c[2]),
                            std::abs(static_cast<double>(c[6]) - c[4])});
    slopeY_ = 3 * std::max({std::abs(static_cast<double>(c[3]) - c[1]), std::abs(static_cast<double>(c[5]) - c[3]),
                            std::abs(static_cast<double>(c[7]) - c[5])});

    const int lo = s + 1, hi = e - 1;
    heap_.clear();
    // The searched points are first covered by a few runs of the lowest level that needs few.
    int level = 0;
    while (level + 1 < levelCount_ &&
           (hi - iStart_) / nodePoints(level) - (lo - iStart_) / nodePoints(level) >= 2 * kFanOut)
        ++level;
    pushNodes(level, (lo - iStart_) / nodePoints(level), (hi - iStart_) / nodePoints(level), lo, hi, 0, -1);

    // Invariant: bestF and bestIndex are the largest squared error above zero among the points measured
    // so far and the earliest point that has it (bestIndex < 0 while none is above zero). A run is left
    // out only when every point of it has an error below bestF, or equal to it but lies after bestIndex;
    // bestF never decreases and bestIndex only moves earlier while bestF stays, so such a point can never
    // become the answer. Runs come largest bound first, so once a bound is below bestF all others are.
    float bestF = 0;
    int bestIndex = -1;
    while (!heap_.empty()) {
        std::pop_heap(heap_.begin(), heap_.end(), LowerPriority{});
        const Candidate run = heap_.back();
        heap_.pop_back();
        if (run.bound < bestF) break;
        if (cannotWin(run.bound, run.first, bestF, bestIndex)) continue;
        if (run.level > 0) {
            pushNodes(run.level - 1, run.index * kFanOut, (run.index + 1) * kFanOut - 1, run.first, run.last, bestF,
                      bestIndex);
            continue;
        }
        // The block's squared errors first (several at once), then the comparisons in order.
        float squares[kBlockPoints];
        const int count = run.last - run.first + 1;
        for (int k = 0; k < count; ++k)
            squares[k] = pathFitterSquaredError(bez, runningSums[run.first + k - s] / total, pts, run.first + k);
        for (int k = 0; k < count; ++k) {
            const float f = squares[k];
            const int i = run.first + k;
            if (f > bestF || (f == bestF && bestIndex >= 0 && i < bestIndex)) {
                bestF = f;
                bestIndex = i;
            }
        }
    }
    if (bestIndex < 0) {
        *maxIndex = (e - s + 1) / 2;
        *error = 0;
    } else {
        *maxIndex = bestIndex;
        *error = static_cast<float>(std::sqrt(static_cast<double>(bestF)));
    }
    return true;
}

}  // namespace marqen
