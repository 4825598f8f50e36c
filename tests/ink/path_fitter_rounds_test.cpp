// The joined pass of a fitting round (measure the curve, move every parameter, gather the next curve's
// sums) and the first round's parameters-and-sums pass, against the single steps written out plainly
// here, point by point and sum by sum in index order: errors, parameters and next curves must be the
// same bits, on random strokes and curves, exact ties, points at the origin, repeated points and values
// that are not numbers. The passes' sums, added in lanes, must lie within their stated bound of the
// in-order sums, and the curve taken from them must be the one every sum within that bound gives.
// Pieces of fewer and of more than 32 points are drawn, so the joined pass's copies for four and for eight
// lanes both run where the processor has them (sanitizer builds test the plain copy).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "ink/path_fitter.h"
#include "ink/path_fitter_rounds.h"
#include "ink/path_fitter_sum_ranges.h"

using namespace marqen;

namespace {

// Same bits, or both not numbers (which of two such values an operation passes on is not fixed).
bool same(double a, double b) {
    if (std::isnan(a) && std::isnan(b)) return true;
    return std::memcmp(&a, &b, sizeof a) == 0;
}

bool same(float a, float b) {
    if (std::isnan(a) && std::isnan(b)) return true;
    return std::memcmp(&a, &b, sizeof a) == 0;
}

bool same(const OstwickPathFitterBezier &a, const OstwickPathFitterBezier &b) {
    return same(a._fromX, b._fromX) && same(a._fromY, b._fromY) && same(a._tanFromX, b._tanFromX) &&
           same(a._tanFromY, b._tanFromY) && same(a._tanToX, b._tanToX) && same(a._tanToY, b._tanToY) &&
           same(a._toX, b._toX) && same(a._toY, b._toY);
}

// The single steps, one point at a time.
CGPoint at(const OstwickPathFitterBezier &c, double t) {
    double mt = 1 - t;
    double b0 = mt * mt * mt, b1 = 3 * mt * mt * t, b2 = 3 * mt * t * t, b3 = t * t * t;
    return {b0 * c._fromX + b1 * c._tanFromX + b2 * c._tanToX + b3 * c._toX,
            b0 * c._fromY + b1 * c._tanFromY + b2 * c._tanToY + b3 * c._toY};
}

float plainMaxError(const std::vector<float> &pts, int s, int e, const OstwickPathFitterBezier &c,
                    const std::vector<double> &u, int *maxIndex) {
    *maxIndex = (e - s + 1) / 2;
    if (s + 1 >= e) return 0;
    double largest = 0;
    for (int i = s + 1; i <= e - 1; ++i) {
        CGPoint q = at(c, u[i - s]);
        float dx = static_cast<float>(q.x - pts[2 * i]), dy = static_cast<float>(q.y - pts[2 * i + 1]);
        double distance = std::sqrt(static_cast<double>(dx * dx + dy * dy));
        if (distance > largest) {
            largest = distance;
            *maxIndex = i;
        }
    }
    return static_cast<float>(largest);
}

// Returns whether the re-normalisation moved anything (the end points' new parameters not +0 and 1).
bool plainImprove(const std::vector<float> &pts, int s, int e, std::vector<double> &u, const OstwickPathFitterBezier &c) {
    double q10x = 3.0 * static_cast<double>(c._tanFromX - c._fromX), q10y = 3.0 * static_cast<double>(c._tanFromY - c._fromY);
    double q11x = 3.0 * static_cast<double>(c._tanToX - c._tanFromX), q11y = 3.0 * static_cast<double>(c._tanToY - c._tanFromY);
    double q12x = 3.0 * static_cast<double>(c._toX - c._tanToX), q12y = 3.0 * static_cast<double>(c._toY - c._tanToY);
    double q20x = 2.0 * (q11x - q10x), q20y = 2.0 * (q11y - q10y), q21x = 2.0 * (q12x - q11x), q21y = 2.0 * (q12y - q11y);
    for (int i = s; i <= e; ++i) {
        double t = u[i - s], mt = 1 - t;
        CGPoint q = at(c, t);
        double q1x = mt * mt * q10x + 2 * t * mt * q11x + t * t * q12x;
        double q1y = mt * mt * q10y + 2 * t * mt * q11y + t * t * q12y;
        double q2x = mt * q20x + t * q21x, q2y = mt * q20y + t * q21y;
        double ex = q.x - pts[2 * i], ey = q.y - pts[2 * i + 1];
        double numerator = ex * q1x + ey * q1y;
        double denominator = q1x * q1x + q1y * q1y + ex * q2x + ey * q2y;
        if (denominator > 1e-8 || denominator < -1e-8) u[i - s] = t - numerator / denominator;
    }
    const double a = u[0], b = u[e - s];
    for (double &value : u) value = (value - a) / (b - a);
    return !(a == 0 && !std::signbit(a) && b == 1);
}

PathFitterLeastSquaresSums plainSums(const std::vector<float> &pts, int s, int e, const std::vector<double> &u,
                                     MarqenPathFitterVector t1, MarqenPathFitterVector t2) {
    PathFitterLeastSquaresSums sums;
    for (int i = s; i <= e; ++i) {
        double t = u[i - s], mt = 1 - t;
        double B0 = mt * mt * mt, B1 = 3 * t * mt * mt, B2 = 3 * mt * t * t, B3 = t * t * t;
        double A1x = t1.x * B1, A1y = t1.y * B1, A2x = t2.x * B2, A2y = t2.y * B2;
        sums.C00 += A1x * A1x + A1y * A1y;
        sums.C01 += A1x * A2x + A1y * A2y;
        sums.C11 += A2x * A2x + A2y * A2y;
        double rx = pts[2 * i] - (static_cast<double>(pts[2 * s]) * (B0 + B1) + static_cast<double>(pts[2 * e]) * (B2 + B3));
        double ry = pts[2 * i + 1] -
                    (static_cast<double>(pts[2 * s + 1]) * (B0 + B1) + static_cast<double>(pts[2 * e + 1]) * (B2 + B3));
        sums.X0 += A1x * rx + A1y * ry;
        sums.X1 += A2x * rx + A2y * ry;
    }
    return sums;
}

enum class Kind { Walk, Spiral, Grid, Repeats, Origin, Collinear, NotNumbers, Count };

std::vector<float> stroke(std::mt19937 &rng, Kind kind, int count) {
    std::normal_distribution<double> turn(0, 0.2);
    std::uniform_int_distribution<int> step(-1, 1);
    std::vector<float> pts;
    double x = 300, y = -200, angle = 0;
    for (int i = 0; i < count; ++i) {
        switch (kind) {
        case Kind::Walk:
        case Kind::NotNumbers:
            angle += turn(rng);
            x += 3 * std::cos(angle);
            y += 3 * std::sin(angle);
            break;
        case Kind::Spiral: {
            double radius = 40 + 6 / (2 * M_PI) * angle;
            x = 1000 + radius * std::cos(angle);
            y = 1000 + radius * std::sin(angle);
            angle += 2 / radius;
            break;
        }
        case Kind::Grid:  // small integer steps: many equal errors
            x += step(rng);
            y += step(rng);
            break;
        case Kind::Repeats:  // runs of one repeated point
            if (i % 5 == 0) x += 4, y += i % 3;
            break;
        case Kind::Origin:  // every other point at the origin
            x = i % 2 ? 0 : 10 + i, y = i % 2 ? 0 : -i;
            break;
        case Kind::Collinear:
            x = 2 * i, y = 3 * i;
            break;
        case Kind::Count:
            break;
        }
        pts.push_back(static_cast<float>(x));
        pts.push_back(static_cast<float>(y));
    }
    if (kind == Kind::NotNumbers) {
        pts[2 * (count / 2)] = std::numeric_limits<float>::quiet_NaN();
        pts[2 * (count / 3) + 1] = std::numeric_limits<float>::infinity();
    }
    return pts;
}

// A random stroke of the trial's kind with fewest to most points, and a piece s..e of it (e > s) that
// starts at least fewest − 1 points before the stroke's last one.
struct Piece {
    std::vector<float> pts;
    int count, s, e;
};

Piece randomPiece(std::mt19937 &rng, int trial, int fewest, int most) {
    Piece piece;
    const Kind kind = static_cast<Kind>(trial % static_cast<int>(Kind::Count));
    piece.count = std::uniform_int_distribution<int>(fewest, most)(rng);
    piece.pts = stroke(rng, kind, piece.count);
    piece.s = std::uniform_int_distribution<int>(0, piece.count - fewest)(rng);
    piece.e = std::uniform_int_distribution<int>(piece.s + 1, piece.count - 1)(rng);
    return piece;
}

// The distance that pathFitterCurveFromQuickSums allows between a quick sum and the in-order one.
double allowance(const PathFitterQuickSums &quick, double mass) {
    const double unit = std::numeric_limits<double>::epsilon() / 2, gamma = quick.terms * unit / (1 - quick.terms * unit);
    return 2 * gamma * mass / (1 - gamma);
}

// Whether every quick sum lies within its allowance of the in-order sum (both not numbers counts too).
bool withinAllowance(const PathFitterQuickSums &quick, const PathFitterLeastSquaresSums &inOrder) {
    auto near = [&](double a, double b, double mass) {
        if (std::isnan(a) || std::isnan(b) || std::isinf(a) || std::isinf(b)) return std::isnan(a) == std::isnan(b) || std::isinf(a) || std::isinf(b) || std::isnan(mass);
        return std::abs(a - b) <= allowance(quick, mass);
    };
    return near(quick.sums.C00, inOrder.C00, quick.sums.C00) && near(quick.sums.C01, inOrder.C01, quick.mass01) &&
           near(quick.sums.C11, inOrder.C11, quick.sums.C11) && near(quick.sums.X0, inOrder.X0, quick.massX0) &&
           near(quick.sums.X1, inOrder.X1, quick.massX1);
}

MarqenPathFitterVector unitTowards(const std::vector<float> &pts, int from, int to) {
    MarqenPathFitterVector v{static_cast<double>(pts[2 * to] - pts[2 * from]), static_cast<double>(pts[2 * to + 1] - pts[2 * from + 1])};
    MarqenPathFitter::normalize(v);
    return v;
}

}  // namespace

TEST(PathFitterRounds, JoinedPassGivesTheSingleStepsResults) {
    std::mt19937 rng(15);
    int generalNormalisations = 0, quickCurves = 0, laneSums = 0;
    for (int trial = 0; trial < 300; ++trial) {
        auto [pts, count, s, e] = randomPiece(rng, trial, 3, 700);
        MarqenPathFitter fitter(pts.data(), count, 5);
        MarqenPathFitterVector t1 = unitTowards(pts, s, s + 1), t2 = unitTowards(pts, e, e - 1);
        std::vector<double> u = fitter.parameterizePoints(pts.data(), s, e);
        OstwickPathFitterBezier curve = fitter.generateBezier(pts.data(), s, e, u, t1, t2);
        // Every third curve is moved off the piece's end points, so that their parameters move too.
        if (trial % 3 == 1) {
            std::normal_distribution<float> jitter(0, 5);
            curve._fromX += jitter(rng), curve._toY += jitter(rng), curve._tanToX += jitter(rng);
        }
        // A few rounds, each joined pass against the plain steps.
        for (int round = 0; round < 3; ++round) {
            SCOPED_TRACE(testing::Message() << "trial " << trial << " round " << round << " piece " << s << ".." << e);
            int plainIndex = -1, joinedIndex = -1;
            const float plainError = plainMaxError(pts, s, e, curve, u, &plainIndex);
            std::vector<double> plainU = u, joinedU = u;
            if (plainImprove(pts, s, e, plainU, curve)) ++generalNormalisations;
            const PathFitterLeastSquaresSums expected = plainSums(pts, s, e, plainU, t1, t2);
            PathFitterQuickSums next;
            const float joinedError = pathFitterMeasureAndImprove(pts.data(), s, e, curve, joinedU.data(), true,
                                                                  &joinedIndex, t1.x, t1.y, t2.x, t2.y, &next);
            ASSERT_TRUE(same(joinedError, plainError)) << joinedError << " vs " << plainError;
            ASSERT_EQ(joinedIndex, plainIndex);
            for (size_t k = 0; k < u.size(); ++k) ASSERT_TRUE(same(joinedU[k], plainU[k])) << "parameter " << k;
            ASSERT_EQ(next.terms, e - s + 1);
            ASSERT_TRUE(withinAllowance(next, expected));
            // The fitter's own steps give the same too.
            int stepIndex = -1;
            std::vector<double> stepU = u;
            ASSERT_TRUE(same(fitter.calcMaxError(pts.data(), s, e, curve, u, &stepIndex), plainError));
            ASSERT_EQ(stepIndex, plainIndex);
            fitter.improveParameters(pts.data(), s, e, stepU, curve);
            for (size_t k = 0; k < u.size(); ++k) ASSERT_TRUE(same(stepU[k], plainU[k])) << "parameter " << k;

            // Without measuring: the index is left alone, the rest is the same.
            int untouched = -9;
            std::vector<double> quietU = u;
            PathFitterQuickSums quiet;
            EXPECT_EQ(pathFitterMeasureAndImprove(pts.data(), s, e, curve, quietU.data(), false, &untouched, t1.x,
                                                  t1.y, t2.x, t2.y, &quiet),
                      0.0f);
            EXPECT_EQ(untouched, -9);
            ASSERT_TRUE(same(quiet.sums.C00, next.sums.C00) && same(quiet.sums.X1, next.sums.X1));

            OstwickPathFitterBezier following = fitter.generateBezier(pts.data(), s, e, plainU, t1, t2);
            ASSERT_TRUE(same(pathFitterNextCurve(pts.data(), s, e, next, joinedU.data(), nullptr, 0, t1.x, t1.y, t2.x,
                                                 t2.y),
                             following));
            // Short pieces add in index order (their sums are then the in-order ones); longer ones in lanes.
            ASSERT_EQ(next.inIndexOrder, !pathFitterAddsInLanes(s, e));
            if (next.inIndexOrder) {
                ASSERT_TRUE(same(next.sums.C00, expected.C00) && same(next.sums.C01, expected.C01) &&
                            same(next.sums.C11, expected.C11) && same(next.sums.X0, expected.X0) &&
                            same(next.sums.X1, expected.X1));
            }
            OstwickPathFitterBezier quick;
            laneSums += !next.inIndexOrder;
            if (pathFitterCurveFromQuickSums(pts.data(), s, e, next, t1.x, t1.y, t2.x, t2.y, &quick)) {
                quickCurves += !next.inIndexOrder;
                ASSERT_TRUE(same(quick, following));
            }
            u = plainU;
            curve = following;
        }
    }
    // Both ways of re-normalising were taken, and the quick sums decided most curves.
    EXPECT_GT(generalNormalisations, 20);
    EXPECT_GT(laneSums, 100);
    EXPECT_GT(quickCurves, laneSums / 2);
}

TEST(PathFitterRounds, FirstParametersAndSumsMatchParameterizeAndGenerate) {
    std::mt19937 rng(16);
    for (int trial = 0; trial < 120; ++trial) {
        auto [pts, count, s, e] = randomPiece(rng, trial, 2, 400);
        SCOPED_TRACE(testing::Message() << "trial " << trial << " piece " << s << ".." << e);
        MarqenPathFitter fitter(pts.data(), count, 5);
        std::vector<double> sums(static_cast<size_t>(e - s + 1), 0.0);
        for (int k = 1; k <= e - s; ++k) sums[k] = sums[k - 1] + pathFitterOriginDistance(pts.data(), s + k);
        MarqenPathFitterVector t1 = unitTowards(pts, s, s + 1), t2 = unitTowards(pts, e, e - 1);
        // The blocked running sums add the same distances in the same order.
        std::vector<double> blockSums(sums.size(), -1.0);
        pathFitterRunningSums(pts.data(), s, e, blockSums.data());
        for (size_t k = 0; k < sums.size(); ++k) ASSERT_TRUE(same(blockSums[k], sums[k])) << "running sum " << k;

        std::vector<double> expectedU = fitter.parameterizePoints(pts.data(), s, e);
        std::vector<double> u(expectedU.size(), -1.0), filled(expectedU.size(), -1.0);
        const PathFitterQuickSums joined =
            pathFitterFirstParametersAndSums(pts.data(), s, e, sums.data(), sums[e - s], u.data(), t1.x, t1.y, t2.x, t2.y);
        pathFitterFirstParameters(sums.data(), e - s, sums[e - s], filled.data());
        for (size_t k = 0; k < u.size(); ++k) {
            ASSERT_TRUE(same(u[k], expectedU[k])) << "parameter " << k;
            ASSERT_TRUE(same(filled[k], expectedU[k])) << "parameter " << k;
        }
        const PathFitterLeastSquaresSums expected = plainSums(pts, s, e, expectedU, t1, t2);
        ASSERT_EQ(joined.terms, e - s + 1);
        ASSERT_TRUE(withinAllowance(joined, expected));
        // Without a place for the parameters the sums are the same.
        const PathFitterQuickSums unwritten =
            pathFitterFirstParametersAndSums(pts.data(), s, e, sums.data(), sums[e - s], nullptr, t1.x, t1.y, t2.x, t2.y);
        ASSERT_TRUE(same(unwritten.sums.C00, joined.sums.C00) && same(unwritten.sums.C01, joined.sums.C01) &&
                    same(unwritten.sums.C11, joined.sums.C11) && same(unwritten.sums.X0, joined.sums.X0) &&
                    same(unwritten.sums.X1, joined.sums.X1) && same(unwritten.massX1, joined.massX1));
        const OstwickPathFitterBezier generated = fitter.generateBezier(pts.data(), s, e, expectedU, t1, t2);
        ASSERT_TRUE(same(pathFitterNextCurve(pts.data(), s, e, joined, u.data(), nullptr, 0, t1.x, t1.y, t2.x, t2.y),
                         generated));
        ASSERT_TRUE(same(pathFitterNextCurve(pts.data(), s, e, unwritten, nullptr, sums.data(), sums[e - s], t1.x,
                                             t1.y, t2.x, t2.y),
                         generated));
        // Quick sums that decide nothing (a mass that is not a number) fall back to the sums in index order,
        // from the parameters or from the running sums.
        PathFitterQuickSums undecided = joined;
        undecided.mass01 = std::numeric_limits<double>::quiet_NaN();
        undecided.inIndexOrder = false;
        OstwickPathFitterBezier unused;
        ASSERT_FALSE(pathFitterCurveFromQuickSums(pts.data(), s, e, undecided, t1.x, t1.y, t2.x, t2.y, &unused));
        ASSERT_TRUE(same(pathFitterNextCurve(pts.data(), s, e, undecided, u.data(), nullptr, 0, t1.x, t1.y, t2.x, t2.y),
                         generated));
        ASSERT_TRUE(same(pathFitterNextCurve(pts.data(), s, e, undecided, nullptr, sums.data(), sums[e - s], t1.x,
                                             t1.y, t2.x, t2.y),
                         generated));
    }
}

TEST(PathFitterRounds, CurveFromSumsFallsBackToAThirdOfTheChord) {
    // Sums whose distances come out negative, or a singular system with nothing to divide by, give
    // control points a third of the chord along the tangents (worked: chord (3, 4), length 5).
    const std::vector<float> pts = {1, 2, 4, 6};
    PathFitterLeastSquaresSums negative{1, 0, 1, -2, 3};
    OstwickPathFitterBezier curve = pathFitterCurveFromSums(pts.data(), 0, 1, negative, 1, 0, 0, -1);
    EXPECT_FLOAT_EQ(curve._tanFromX, 1 + 5.0f / 3);
    EXPECT_FLOAT_EQ(curve._tanFromY, 2);
    EXPECT_FLOAT_EQ(curve._tanToX, 4);
    EXPECT_FLOAT_EQ(curve._tanToY, 6 - 5.0f / 3);
    PathFitterLeastSquaresSums singular{};
    curve = pathFitterCurveFromSums(pts.data(), 0, 1, singular, 1, 0, 0, -1);
    EXPECT_FLOAT_EQ(curve._tanFromX, 1 + 5.0f / 3);
    // A regular system: alphaL = (X0·C11 − C01·X1) / det = (4·2 − 0) / 2 = 4, alphaR = (1·6 − 0) / 2 = 3.
    PathFitterLeastSquaresSums regular{1, 0, 2, 4, 6};
    curve = pathFitterCurveFromSums(pts.data(), 0, 1, regular, 1, 0, 0, -1);
    EXPECT_FLOAT_EQ(curve._tanFromX, 5);
    EXPECT_FLOAT_EQ(curve._tanToY, 3);
}

TEST(PathFitterRounds, TiesGoToTheEarliestPointAndNoErrorGivesTheOffsetCount) {
    // A curve shrunk to the origin: every point of the unit circle's four axis points is at distance
    // exactly 1, so all interior points tie and the first of them (index 1) is the worst.
    const std::vector<float> pts = {1, 0, 0, 1, -1, 0, 0, -1, 1, 0, 0, 1, -1, 0};
    const OstwickPathFitterBezier dot(0, 0, 0, 0, 0, 0, 0, 0);
    std::vector<double> u = {0, 0.1, 0.3, 0.5, 0.6, 0.8, 1};
    PathFitterQuickSums next;
    int index = -1;
    EXPECT_EQ(pathFitterMeasureAndImprove(pts.data(), 0, 6, dot, u.data(), true, &index, 1, 0, -1, 0, &next), 1.0f);
    EXPECT_EQ(index, 1);
    // The curve has no slope anywhere: every Newton step is refused, so the parameters stay.
    EXPECT_EQ(u, (std::vector<double>{0, 0.1, 0.3, 0.5, 0.6, 0.8, 1}));
    // Measured from a later start, the first interior point of that piece wins.
    EXPECT_EQ(pathFitterMeasureAndImprove(pts.data(), 2, 6, dot, u.data(), true, &index, 1, 0, -1, 0, &next), 1.0f);
    EXPECT_EQ(index, 3);

    // Points all on the curve: no error above zero, so the offset count (e − s + 1) / 2, not an index.
    const std::vector<float> still(14, 0.0f);
    EXPECT_EQ(pathFitterMeasureAndImprove(still.data(), 2, 6, dot, u.data(), true, &index, 1, 0, -1, 0, &next), 0.0f);
    EXPECT_EQ(index, 2);
}

TEST(PathFitterRounds, QuickSumsGiveACurveOnlyWhenEverySumWithinTheirBoundGivesIt) {
    // Random sums with masses from negligible to far larger than the sums: wherever a curve is given, the
    // in-order sums may lie anywhere within the allowance, so the curve from every corner of that box of
    // sums (and from its middle) must be the given one. Large masses make the box wide enough to reach the
    // rounding points of the control points' floats and the branches' thresholds, so both answers occur.
    std::mt19937 rng(17);
    std::uniform_real_distribution<double> unit(-1, 1);
    const std::vector<float> pts = {10, 20, 110, 70};
    int given = 0, refused = 0;
    for (int trial = 0; trial < 4000; ++trial) {
        SCOPED_TRACE(testing::Message() << "trial " << trial);
        const double angle1 = M_PI * unit(rng), angle2 = M_PI * unit(rng);
        const double t1x = std::cos(angle1), t1y = std::sin(angle1), t2x = std::cos(angle2), t2y = std::sin(angle2);
        PathFitterQuickSums quick;
        quick.terms = std::uniform_int_distribution<int>(2, 100000)(rng);
        const double scale = std::pow(10.0, 4 * unit(rng));
        // Near-singular systems and distances near the threshold come up among these too.
        quick.sums.C00 = scale * (1 + unit(rng));
        quick.sums.C11 = scale * (1 + unit(rng));
        quick.sums.C01 = std::sqrt(quick.sums.C00 * quick.sums.C11) * unit(rng) * (trial % 7 == 0 ? 1 : 0.5);
        quick.sums.X0 = scale * 60 * unit(rng);
        quick.sums.X1 = scale * 60 * unit(rng);
        const double spread = std::pow(10.0, 14 * (unit(rng) + 1) / 2);  // 1 .. 1e14 times the sums
        quick.mass01 = std::abs(quick.sums.C01) * spread;
        quick.massX0 = std::abs(quick.sums.X0) * spread;
        quick.massX1 = std::abs(quick.sums.X1) * spread;
        OstwickPathFitterBezier curve;
        if (!pathFitterCurveFromQuickSums(pts.data(), 0, 1, quick, t1x, t1y, t2x, t2y, &curve)) {
            ++refused;
            continue;
        }
        ++given;
        const double reach[5] = {allowance(quick, quick.sums.C00), allowance(quick, quick.mass01),
                                 allowance(quick, quick.sums.C11), allowance(quick, quick.massX0),
                                 allowance(quick, quick.massX1)};
        const double middle[5] = {quick.sums.C00, quick.sums.C01, quick.sums.C11, quick.sums.X0, quick.sums.X1};
        for (int corner = 0; corner <= 32; ++corner) {
            double v[5];
            for (int k = 0; k < 5; ++k) v[k] = corner == 32 ? middle[k] : middle[k] + ((corner >> k) & 1 ? reach[k] : -reach[k]);
            const PathFitterLeastSquaresSums inOrder{v[0], v[1], v[2], v[3], v[4]};
            ASSERT_TRUE(same(pathFitterCurveFromSums(pts.data(), 0, 1, inOrder, t1x, t1y, t2x, t2y), curve))
                << "corner " << corner;
        }
    }
    EXPECT_GT(given, 400);
    EXPECT_GT(refused, 400);

    // Sums that are not finite, and no terms at all with a near-singular system, decide nothing.
    PathFitterQuickSums broken;
    broken.terms = 10;
    broken.sums = {1, 0, 1, std::numeric_limits<double>::infinity(), 1};
    OstwickPathFitterBezier unused;
    EXPECT_FALSE(pathFitterCurveFromQuickSums(pts.data(), 0, 1, broken, 1, 0, 0, -1, &unused));
    broken.sums = {1e-4, 0, 1e-4, 1, 1};  // det = 1e-8: generateBezier's near-singular branch
    broken.mass01 = broken.massX0 = broken.massX1 = 0;
    EXPECT_FALSE(pathFitterCurveFromQuickSums(pts.data(), 0, 1, broken, 1, 0, 0, -1, &unused));
    // A regular system with exact sums is decided: alphaL = 4, alphaR = 3 (worked in the test above).
    PathFitterQuickSums exact;
    exact.terms = 2;
    exact.sums = {1, 0, 2, 4, 6};
    ASSERT_TRUE(pathFitterCurveFromQuickSums(pts.data(), 0, 1, exact, 1, 0, 0, -1, &unused));
    EXPECT_EQ(unused._tanFromX, 14.0f);
    EXPECT_EQ(unused._tanToY, 67.0f);
}

TEST(PathFitterRounds, BelowAndAboveStepAtLeastOneUnitOutwards) {
    const double inf = std::numeric_limits<double>::infinity();
    std::vector<double> values = {0.0, -0.0, 1.0, -1.0, 2.0, 0.5, 1e-6, -3.5e300, std::numeric_limits<double>::denorm_min(),
                                  -std::numeric_limits<double>::denorm_min(), std::numeric_limits<double>::min(),
                                  -std::numeric_limits<double>::min(), std::numeric_limits<double>::max() / 2};
    std::mt19937 rng(18);
    std::uniform_real_distribution<double> mantissa(1, 2);
    std::uniform_int_distribution<int> exponent(-1074, 1020);
    for (int k = 0; k < 2000; ++k) values.push_back((k % 2 ? -1 : 1) * std::ldexp(mantissa(rng), exponent(rng)));
    for (double value : values) {
        SCOPED_TRACE(testing::Message() << value);
        EXPECT_LE(pathFitterBelow(value), std::nextafter(value, -inf));
        EXPECT_GE(pathFitterAbove(value), std::nextafter(value, inf));
        // Never more than a few units: ranges stay tight.
        EXPECT_GE(pathFitterBelow(value), std::nextafter(std::nextafter(std::nextafter(value, -inf), -inf), -inf));
    }
    // Infinite or not a number: the result is refused as a range end (not finite).
    EXPECT_FALSE(std::isfinite(pathFitterBelow(inf)));
    EXPECT_FALSE(std::isfinite(pathFitterAbove(-inf)));
    EXPECT_TRUE(std::isnan(pathFitterAbove(std::numeric_limits<double>::quiet_NaN())));
}
