#pragma once
// Finds the point of largest error of a fitted piece without measuring every point: bounds of the error
// over runs of consecutive points (a tree: blocks of points, runs of a few blocks, runs of a few of
// those, and so on) are visited largest first, a run is split into its parts when visited, and a run
// whose bound cannot beat the worst point found so far is never split or measured. The answer is the one a plain scan over every point
// gives, ties included (the earliest of equally bad points wins).
//
// Threads: a search belongs to one thread at a time (it keeps its scratch space between calls).
#include <cmath>
#include <cstdint>
#include <vector>

#include "ink/path_fitter_bezier.h"

namespace marqen {

// Distance of point i from the coordinate origin: the squares summed in single precision, the root in
// double. The fitter's parameters are spaced by these distances.
inline double pathFitterOriginDistance(const float *pts, int i) {
    float x = pts[2 * i], y = pts[2 * i + 1];
    return std::sqrt(static_cast<double>(x * x + y * y));
}

// The squared error of point i against the curve at parameter u: the differences narrowed to single
// precision and their squares summed in single precision. Its root, taken in double, is the distance
// the fitter compares; roots of different floats are different doubles, so comparing these squares
// orders the points exactly as comparing the distances does.
inline float pathFitterSquaredError(const OstwickPathFitterBezier &bez, double u, const float *pts, int i) {
    CGPoint q = bez.evaluatePoint(u);
    float dx = static_cast<float>(q.x - pts[2 * i]);
    float dy = static_cast<float>(q.y - pts[2 * i + 1]);
    return dx * dx + dy * dy;
}

class PathFitterWorstPointSearch {
public:
    // Searches will be over the points iStart..iEnd of pts, which must not change while searches use them.
    // Their bounds are gathered by the first search that needs them.
    void preparePoints(const float *pts, int iStart, int iEnd);

    // The largest error of the points s+1 .. e-1 against bez, the parameter of point s+k being
    // runningSums[k] / total (runningSums[0 .. e-s] nondecreasing, total > 0 and finite, as the running
    // sums of origin distances from s are). Writes the error (the root of the largest squared error, as
    // a float) and the worst point's index, or, when no point has an error above zero, 0 and the offset
    // count (e - s + 1) / 2, as the plain scan does. Returns false without writing anything when it cannot
    // bound the errors (parameters or curve not finite, or s..e outside the prepared points); the caller
    // then scans every point.
    bool find(const float *pts, int s, int e, const OstwickPathFitterBezier &bez, const double *runningSums,
              double total, float *error, int *maxIndex);

    static constexpr int kBlockPoints = 32;
    static constexpr int kFanOut = 4;  // parts of a run of the tree above the blocks

private:
    struct Box {
        float minX, minY, maxX, maxY;
    };
    struct Candidate {
        double bound;
        int first, last;  // point indices, clamped to the searched points
        int level, index;  // the run's place in the tree (level 0: the blocks)
    };

    void buildLevels();
    double boundOver(const Box &box, int first, int last) const;
    // Node `index` of `level` clamped to the points lo..hi, with its bound; false when none of its points
    // lie there.
    bool nodeCandidate(int level, int index, int lo, int hi, Candidate *candidate) const;
    // Pushes the nodes from..to of `level` (those that exist) clamped to lo..hi, but not those that cannot
    // beat the worst point so far (squared error bestF at bestIndex, or bestIndex < 0 for none).
    void pushNodes(int level, int from, int to, int lo, int hi, float bestF, int bestIndex);
    void push(const Candidate &candidate);
    int nodePoints(int level) const;

    const float *pts_ = nullptr;
    int iStart_ = 0, iEnd_ = -1;
    // levels_[0]: the blocks; each further level merges kFanOut nodes of the one below. Only the first
    // levelCount_ levels belong to the prepared points.
    std::vector<std::vector<Box>> levels_;
    int levelCount_ = 0;
    bool built_ = false;
    std::vector<Candidate> heap_;

    // Per search.
    const OstwickPathFitterBezier *bez_ = nullptr;
    const double *runningSums_ = nullptr;
    double total_ = 1;
    int s_ = 0;
    double slopeX_ = 0, slopeY_ = 0, slack_ = 0;
};

}  // namespace marqen
