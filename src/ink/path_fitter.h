#pragma once
// Turns the thinned points of a finished freehand stroke into a smooth path of cubic curves: the stroke
// is split at corners, each piece between corners is smoothed in place and then fitted by least squares
// with Newton–Raphson reparameterisation, splitting recursively at the point of largest error.
// Tolerances scale with the stroke's line width (the small trace size). Point data is single precision;
// vectors, tangents and parameters are double.
//
// Threads: a fitter belongs to one thread at a time; fitting runs on background threads, each with
// its own fitter and its own copy of the points.
#include <cstdint>
#include <vector>

#include "foundation/bezier_path.h"
#include "ink/path_fitter_bezier.h"
#include "ink/path_fitter_moments.h"
#include "ink/path_fitter_worst_point.h"

namespace marqen {

struct MarqenPathFitterVector {
    double x = 0;
    double y = 0;
};

class MarqenPathFitter {
public:
    // `points` holds nPts interleaved (x, y) pairs and is copied. nPts must be at least 1 (a broken
    // precondition ends the process).
    MarqenPathFitter(const float *points, int32_t nPts, float smallTraceSize);

    // Fits a stroke's points, narrowed to single precision; no points give an empty path.
    static MarqenBezierPath pathForStroke(const std::vector<CGPoint> &points, float smallTraceSize);

    // Runs the whole fit. It smooths the fitter's own points, so it is meant to be called once.
    MarqenBezierPath path();

    // The steps of the fit. `pts` is an interleaved (x, y) float array; indices are point indices.
    int detectCorners();  // returns the number of corners, the two end points included
    void filterPoints(float *pts, int iStart, int iEnd, int iterations, bool closed);
    void fitBeziers(std::vector<OstwickPathFitterBezier> &curves, const float *pts, int iStart, int iEnd,
                    float error);
    void recrFit(std::vector<OstwickPathFitterBezier> &curves, const float *pts, int iStart, int iEnd,
                 MarqenPathFitterVector tangentStart, MarqenPathFitterVector tangentEnd, float error, int depth);
    std::vector<double> parameterizePoints(const float *pts, int iStart, int iEnd);
    OstwickPathFitterBezier generateBezier(const float *pts, int iStart, int iEnd, const std::vector<double> &u,
                                           MarqenPathFitterVector tangentStart, MarqenPathFitterVector tangentEnd);
    float calcMaxError(const float *pts, int iStart, int iEnd, const OstwickPathFitterBezier &bez,
                       const std::vector<double> &u, int *maxIndex);
    void improveParameters(const float *pts, int iStart, int iEnd, std::vector<double> &u,
                           const OstwickPathFitterBezier &bez);
    double newtonRhapson(const OstwickPathFitterBezier &bez, double Px, double Py, double u, double Q1_0x,
                         double Q1_0y, double Q1_1x, double Q1_1y, double Q1_2x, double Q1_2y, double Q2_0x,
                         double Q2_0y, double Q2_1x, double Q2_1y);
    MarqenPathFitterVector middleTangent(const float *pts, int index);
    static void normalize(MarqenPathFitterVector &vector);

    const std::vector<float> &pts() const { return pts_; }
    int32_t nPts() const { return nPts_; }
    const std::vector<bool> &bCorner() const { return bCorner_; }
    const std::vector<int32_t> &vIters() const { return vIters_; }
    int32_t maxIters() const { return maxIters_; }

    float kDencityBase() const { return kDencityBase_; }
    void setKDencityBase(float value) { kDencityBase_ = value; }
    float kCornerDetectionVectorLength() const { return kCornerDetectionVectorLength_; }
    void setKCornerDetectionVectorLength(float value) { kCornerDetectionVectorLength_ = value; }
    float kMinCornerAngle() const { return kMinCornerAngle_; }
    void setKMinCornerAngle(float value) { kMinCornerAngle_ = value; }
    float kPrecision() const { return kPrecision_; }
    void setKPrecision(float value) { kPrecision_ = value; }
    int32_t kIterations() const { return kIterations_; }
    void setKIterations(int32_t value) { kIterations_ = value; }
    bool bUseIndividualIterations() const { return bUseIndividualIterations_; }
    void setBUseIndividualIterations(bool value) { bUseIndividualIterations_ = value; }

private:
    MarqenBezierPath pathFromCurves(const std::vector<OstwickPathFitterBezier> &curves) const;

    std::vector<float> pts_;
    int32_t nPts_ = 0;
    std::vector<bool> bCorner_;
    std::vector<int32_t> vIters_;
    int32_t maxIters_ = 0;
    float kDencityBase_ = 20.0f;
    float kCornerDetectionVectorLength_ = 10.0f;
    float kMinCornerAngle_ = 90.0f;
    float kPrecision_ = 1.5f;
    int32_t kIterations_ = 4;
    bool bUseIndividualIterations_ = false;

    // Scratch space of recrFit, kept so that its pieces allocate nothing.
    PathFitterWorstPointSearch worstPoint_;
    PathFitterMoments moments_;
    std::vector<double> runningSums_, parameters_;
};

}  // namespace marqen
