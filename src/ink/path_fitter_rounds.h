#pragma once
// The per-point arithmetic of the path fitter's fitting rounds, shared by its single steps
// (generateBezier, calcMaxError, improveParameters) and by the joined pass that a round of a long piece
// makes over its points: one pass measures the round's curve, moves every parameter by a Newton step and
// gathers the least-squares sums of the next round's curve. Every point's values are computed by the
// same operations in the same order as the single steps compute them, so errors and parameters are the
// single steps' bit for bit. The passes add the sums' terms in eight lanes rather than in index order
// (one after another, they would take most of the pass's time) and keep a bound of how far the in-order
// sums can lie from them; the next curve is then taken from them only when that bound leaves no doubt
// of it, and otherwise from the sums added again in index order (PathFitterQuickSums).
//
// Threads: plain functions of their arguments; safe on any thread.
#include "ink/path_fitter_bezier.h"

namespace marqen {

// The five least-squares sums of generateBezier over a piece's points.
struct PathFitterLeastSquaresSums {
    double C00 = 0, C01 = 0, C11 = 0, X0 = 0, X1 = 0;
};

// The least-squares sums of a piece's points added in some other order than the index order, with the
// sums of the absolute values of the terms that can be negative (C00's and C11's never are) and the
// number of terms. Both ways of adding the same terms lie within γ(n)·Σ|term| of the exact sum (n the
// number of terms, γ(n) = n·u / (1 − n·u), u the unit roundoff of double), whatever the order.
// Short pieces' passes add in index order (the check of the bound would cost more than it saves); their
// quick sums say so and are the in-order sums themselves.
struct PathFitterQuickSums {
    PathFitterLeastSquaresSums sums;
    double mass01 = 0, massX0 = 0, massX1 = 0;
    int terms = 0;
    bool inIndexOrder = false;
};

// Whether the passes over the points s..e add their sums in lanes.
inline bool pathFitterAddsInLanes(int s, int e) {
    constexpr int kLanesMinimum = 64;
    return e - s + 1 >= kLanesMinimum;
}

// The first and second derivatives' control polygons of a curve, as improveParameters takes them:
// differences in single precision, then scaled in double.
struct PathFitterDerivatives {
    double Q1_0x, Q1_0y, Q1_1x, Q1_1y, Q1_2x, Q1_2y, Q2_0x, Q2_0y, Q2_1x, Q2_1y;
    explicit PathFitterDerivatives(const OstwickPathFitterBezier &bez)
        : Q1_0x(3.0 * static_cast<double>(bez._tanFromX - bez._fromX)),
          Q1_0y(3.0 * static_cast<double>(bez._tanFromY - bez._fromY)),
          Q1_1x(3.0 * static_cast<double>(bez._tanToX - bez._tanFromX)),
          Q1_1y(3.0 * static_cast<double>(bez._tanToY - bez._tanFromY)),
          Q1_2x(3.0 * static_cast<double>(bez._toX - bez._tanToX)),
          Q1_2y(3.0 * static_cast<double>(bez._toY - bez._tanToY)),
          Q2_0x(2.0 * (Q1_1x - Q1_0x)), Q2_0y(2.0 * (Q1_1y - Q1_0y)), Q2_1x(2.0 * (Q1_2x - Q1_1x)),
          Q2_1y(2.0 * (Q1_2y - Q1_1y)) {}
    PathFitterDerivatives(double q10x, double q10y, double q11x, double q11y, double q12x, double q12y, double q20x,
                          double q20y, double q21x, double q21y)
        : Q1_0x(q10x), Q1_0y(q10y), Q1_1x(q11x), Q1_1y(q11y), Q1_2x(q12x), Q1_2y(q12y), Q2_0x(q20x), Q2_0y(q20y),
          Q2_1x(q21x), Q2_1y(q21y) {}
};

// One Newton–Raphson step of a point's parameter towards the curve's nearest point, given the curve's
// point q at u (OstwickPathFitterBezier::evaluatePoint). Both outcomes are computed and one is chosen, so
// that a loop over points runs several at once.
inline double pathFitterNewtonStep(const PathFitterDerivatives &d, double qx, double qy, double Px, double Py,
                                   double u) {
    double mt = 1 - u;
    double q1x = mt * mt * d.Q1_0x + 2 * u * mt * d.Q1_1x + u * u * d.Q1_2x;
    double q1y = mt * mt * d.Q1_0y + 2 * u * mt * d.Q1_1y + u * u * d.Q1_2y;
    double q2x = mt * d.Q2_0x + u * d.Q2_1x;
    double q2y = mt * d.Q2_0y + u * d.Q2_1y;
    double ex = qx - Px, ey = qy - Py;
    double numerator = ex * q1x + ey * q1y;
    double denominator = q1x * q1x + q1y * q1y + ex * q2x + ey * q2y;
    double stepped = u - numerator / denominator;
    bool flat = !(denominator > 1e-8) && !(denominator < -1e-8);
    return flat ? u : stepped;
}

// The least-squares sums of generateBezier for the points s..e of pts with parameters u[0 .. e-s] and
// tangent directions (t1x, t1y), (t2x, t2y).
PathFitterLeastSquaresSums pathFitterLeastSquaresSums(const float *pts, int s, int e, const double *u, double t1x,
                                                      double t1y, double t2x, double t2y);

// The running sums of origin distances of the points s..e (e ≥ s): runningSums[0] = 0 and
// runningSums[k] = runningSums[k − 1] + pathFitterOriginDistance(point s + k), added in that order.
void pathFitterRunningSums(const float *pts, int s, int e, double *runningSums);

// The first round's parameters of the points s..e: u[0] = 0 and u[k] = runningSums[k] / total.
void pathFitterFirstParameters(const double *runningSums, int count, double total, double *u);

// pathFitterFirstParameters (writing u[0 .. e-s], unless u is null) and then the least-squares sums of
// those parameters, in one pass.
PathFitterQuickSums pathFitterFirstParametersAndSums(const float *pts, int s, int e, const double *runningSums,
                                                     double total, double *u, double t1x, double t1y, double t2x,
                                                     double t2y);

// calcMaxError: the largest error of the interior points of s..e against bez at parameters u[0 .. e-s],
// and in *maxIndex the worst point (the earliest of equal ones), or the offset count (e − s + 1) / 2 when
// none is above zero.
float pathFitterMaxError(const float *pts, int s, int e, const OstwickPathFitterBezier &bez, const double *u,
                         int *maxIndex);

// generateBezier's curve from its sums: the two control-point distances, with its fallbacks.
OstwickPathFitterBezier pathFitterCurveFromSums(const float *pts, int s, int e, const PathFitterLeastSquaresSums &sums,
                                                double t1x, double t1y, double t2x, double t2y);

// One joined pass of a round over the points s..e (e ≥ s + 1) with parameters u[0 .. e-s] and the round's
// curve bez. When `measure` is set it returns calcMaxError's result (the largest error of the interior
// points, and in *maxIndex the worst point, or the offset count when none is above zero); otherwise it
// returns 0 and leaves *maxIndex alone. In every case it replaces u by improveParameters' result and
// writes into *next the least-squares sums of those new parameters (tangents as for
// pathFitterLeastSquaresSums).
float pathFitterMeasureAndImprove(const float *pts, int s, int e, const OstwickPathFitterBezier &bez, double *u,
                                  bool measure, int *maxIndex, double t1x, double t1y, double t2x, double t2y,
                                  PathFitterQuickSums *next);

// generateBezier's curve of the points s..e from quick sums, when their bound makes it certain: true and
// the curve, or false.
bool pathFitterCurveFromQuickSums(const float *pts, int s, int e, const PathFitterQuickSums &quick, double t1x,
                                  double t1y, double t2x, double t2y, OstwickPathFitterBezier *curve);

// generateBezier's curve of the points s..e with the parameters the quick sums were gathered for: from
// the quick sums when certain, otherwise from the sums added again in index order, of u[0 .. e-s], or,
// with u null, of runningSums[k] / total (0 for k = 0) as pathFitterFirstParametersAndSums takes them.
OstwickPathFitterBezier pathFitterNextCurve(const float *pts, int s, int e, const PathFitterQuickSums &quick,
                                            const double *u, const double *runningSums, double total, double t1x,
                                            double t1y, double t2x, double t2y);

}  // namespace marqen
