// The least-squares curve from moments against generateBezier's pass over the points, bit for bit, and
// the whole fit against a plain recursion made of the fitter's own steps (every piece parameterised,
// fitted and measured over all its points, as the fitter's rules describe it).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "ink/path_fitter.h"
#include "ink/path_fitter_moments.h"
#include "ink/path_fitter_worst_point.h"

using namespace marqen;

namespace {

bool sameBits(const OstwickPathFitterBezier &a, const OstwickPathFitterBezier &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

std::vector<double> runningSums(const std::vector<float> &pts, int s, int count) {
    std::vector<double> sums(static_cast<size_t>(count + 1), 0.0);
    for (int k = 1; k <= count; ++k) sums[k] = sums[k - 1] + pathFitterOriginDistance(pts.data(), s + k);
    return sums;
}

// A spiral (turns 6 units apart, a point every 2 units along it, times the scale) or a wandering line,
// at a given size and place. The spiral's fit splits one long piece unevenly again and again.
std::vector<float> stroke(std::mt19937 &rng, int count, bool spiral, double scale, double origin) {
    std::normal_distribution<double> turn(0, 0.05);
    std::vector<float> pts;
    double x = origin, y = origin / 3, angle = 0;
    for (int i = 0; i < count; ++i) {
        if (spiral) {
            double radius = 40 + 6 / (2 * M_PI) * angle;
            x = origin + scale * radius * std::cos(angle);
            y = origin + scale * radius * std::sin(angle);
            angle += 2 / radius;
        } else {
            angle += turn(rng);
            x += scale * std::cos(angle);
            y += scale * std::sin(angle);
        }
        pts.push_back(static_cast<float>(x));
        pts.push_back(static_cast<float>(y));
    }
    return pts;
}

MarqenPathFitterVector unit(double degrees) {
    MarqenPathFitterVector v{std::cos(degrees * M_PI / 180), std::sin(degrees * M_PI / 180)};
    MarqenPathFitter::normalize(v);
    return v;
}

// The fit of one piece by the plain recursion: each piece's own parameters, curve and worst point.
void plainFit(MarqenPathFitter &fitter, std::vector<OstwickPathFitterBezier> &curves, const float *pts, int s, int e,
              MarqenPathFitterVector t1, MarqenPathFitterVector t2, float error) {
    if (e - s <= 1) {
        std::vector<OstwickPathFitterBezier> one;
        fitter.recrFit(one, pts, s, e, t1, t2, error, 0);
        curves.insert(curves.end(), one.begin(), one.end());
        return;
    }
    std::vector<double> u = fitter.parameterizePoints(pts, s, e);
    int split = 0;
    for (int round = 0; round < 10; ++round) {
        OstwickPathFitterBezier bez = fitter.generateBezier(pts, s, e, u, t1, t2);
        float err = fitter.calcMaxError(pts, s, e, bez, u, &split);
        if (err <= error) {
            curves.push_back(bez);
            return;
        }
        if (err > 10.0 * error) break;
        fitter.improveParameters(pts, s, e, u, bez);
    }
    if (split <= s || split >= e) split = s + (e - s) / 2;
    MarqenPathFitterVector tc = fitter.middleTangent(pts, split);
    plainFit(fitter, curves, pts, s, split, t1, tc, error);
    plainFit(fitter, curves, pts, split, e, {-tc.x, -tc.y}, t2, error);
}

}  // namespace

TEST(PathFitterMoments, CurvesMatchGenerateBezierBitForBit) {
    std::mt19937 rng(99);
    int asked = 0, given = 0;
    for (int trial = 0; trial < 24; ++trial) {
        const bool spiral = trial % 2 == 0;
        const double scale = std::pow(10.0, std::uniform_real_distribution<double>(-2, 3)(rng));
        const double origin = std::uniform_real_distribution<double>(-3000, 3000)(rng) * scale;
        const int count = std::uniform_int_distribution<int>(300, 9000)(rng);
        std::vector<float> pts = stroke(rng, count, spiral, scale, origin);
        const int s = std::uniform_int_distribution<int>(0, count / 4)(rng);
        const int length = count - 1 - s;
        std::vector<double> sums = runningSums(pts, s, length);
        MarqenPathFitter fitter(pts.data(), count, 5);
        PathFitterMoments moments;
        moments.build(pts.data(), s, sums.data(), length);
        for (int piece = 0; piece < 12; ++piece) {
            // Pieces ending on and beside the checkpoints, down to two points.
            int e = piece < 2 ? s + 2 + piece : std::uniform_int_distribution<int>(s + 2, count - 1)(rng);
            if (piece == 2) e = s + PathFitterMoments::kStride;
            if (piece == 3) e = s + PathFitterMoments::kStride + 1;
            if (e >= count) continue;
            ASSERT_TRUE(moments.covers(pts.data(), s, e));
            std::vector<double> u = fitter.parameterizePoints(pts.data(), s, e);
            MarqenPathFitterVector t1 = unit(std::uniform_real_distribution<double>(0, 360)(rng));
            MarqenPathFitterVector t2 = unit(std::uniform_real_distribution<double>(0, 360)(rng));
            OstwickPathFitterBezier expected = fitter.generateBezier(pts.data(), s, e, u, t1, t2), actual;
            ++asked;
            if (moments.fitCurve(pts.data(), e, sums.data(), t1.x, t1.y, t2.x, t2.y, &actual)) {
                ++given;
                EXPECT_TRUE(sameBits(actual, expected)) << "trial " << trial << " piece " << s << ".." << e;
            }
        }
    }
    // Most curves come from the moments (the others are refused, never guessed).
    EXPECT_GT(given, asked * 3 / 4) << given << " of " << asked;
}

TEST(PathFitterMoments, LongSpiralPiecesMatchGenerateBezierBitForBit) {
    // Pieces of tens of thousands of points along a spiral, fitted by one curve, are ill-conditioned (the
    // system's determinant is small against its terms): the bounds must stay sound there and still
    // narrow enough to give most curves.
    std::mt19937 rng(7);
    int asked = 0, given = 0;
    for (int trial = 0; trial < 3; ++trial) {
        const int count = std::uniform_int_distribution<int>(60000, 100000)(rng);
        std::vector<float> pts = stroke(rng, count, true, 1, 1000);
        std::vector<double> sums = runningSums(pts, 0, count - 1);
        MarqenPathFitter fitter(pts.data(), count, 5);
        PathFitterMoments moments;
        moments.build(pts.data(), 0, sums.data(), count - 1);
        for (int piece = 0; piece < 8; ++piece) {
            const int e = std::uniform_int_distribution<int>(count / 2, count - 1)(rng);
            std::vector<double> u = fitter.parameterizePoints(pts.data(), 0, e);
            MarqenPathFitterVector t1 = fitter.middleTangent(pts.data(), 1);
            MarqenPathFitterVector t2 = fitter.middleTangent(pts.data(), e - 1);
            t2 = {-t2.x, -t2.y};
            OstwickPathFitterBezier expected = fitter.generateBezier(pts.data(), 0, e, u, t1, t2), actual;
            ++asked;
            if (moments.fitCurve(pts.data(), e, sums.data(), t1.x, t1.y, t2.x, t2.y, &actual)) {
                ++given;
                EXPECT_TRUE(sameBits(actual, expected)) << "trial " << trial << " piece 0.." << e;
            }
        }
    }
    EXPECT_GE(given, asked * 7 / 8) << given << " of " << asked;
}

TEST(PathFitterMoments, BranchesAndRefusals) {
    std::mt19937 rng(5);
    std::vector<float> pts = stroke(rng, 3000, true, 1, 1000);
    std::vector<double> sums = runningSums(pts, 0, 2999);
    MarqenPathFitter fitter(pts.data(), 3000, 5);
    PathFitterMoments moments;
    moments.build(pts.data(), 0, sums.data(), 2999);
    OstwickPathFitterBezier curve;
    std::vector<double> u = fitter.parameterizePoints(pts.data(), 0, 2000);

    // Tangents pointing away from the piece give negative distances: generateBezier falls back to a
    // third of the chord, and so do the moments.
    MarqenPathFitterVector away = {pts[0] - pts[2], pts[1] - pts[3]}, back = {pts[4002] - pts[3998], pts[4003] - pts[3999]};
    MarqenPathFitter::normalize(away);
    MarqenPathFitter::normalize(back);
    OstwickPathFitterBezier expected = fitter.generateBezier(pts.data(), 0, 2000, u, away, back);
    ASSERT_TRUE(moments.fitCurve(pts.data(), 2000, sums.data(), away.x, away.y, back.x, back.y, &curve));
    EXPECT_TRUE(sameBits(curve, expected));
    double chord = std::hypot(pts[4000] - pts[0], pts[4001] - pts[1]) / 3;
    EXPECT_NEAR(curve._tanFromX, pts[0] + chord * away.x, 1e-3);

    // Zero tangents make the system singular: left to generateBezier.
    EXPECT_FALSE(moments.fitCurve(pts.data(), 2000, sums.data(), 0, 0, 0, 0, &curve));
    // Tangents that are not unit vectors are refused.
    EXPECT_FALSE(moments.fitCurve(pts.data(), 2000, sums.data(), 2, 0, 0, 1, &curve));
    // Other points, another start or a piece beyond the moments are not covered.
    std::vector<float> copy = pts;
    EXPECT_FALSE(moments.covers(copy.data(), 0, 2000));
    EXPECT_FALSE(moments.covers(pts.data(), 1, 2000));
    EXPECT_FALSE(moments.covers(pts.data(), 0, 3000));
    EXPECT_FALSE(moments.covers(pts.data(), 0, 0));

    // Points at the origin give parameters that are not numbers: refused.
    std::vector<float> zeros(2 * 100, 0.0f);
    std::vector<double> zeroSums = runningSums(zeros, 0, 99);
    moments.build(zeros.data(), 0, zeroSums.data(), 99);
    EXPECT_FALSE(moments.fitCurve(zeros.data(), 99, zeroSums.data(), 1, 0, 0, 1, &curve));
}

TEST(PathFitterMoments, WholeFitsMatchThePlainRecursion) {
    std::mt19937 rng(2024);
    for (int trial = 0; trial < 4; ++trial) {
        const bool spiral = trial != 1;
        const double scale = trial == 3 ? 0.25 : 1 + trial;
        const int count = trial == 0 ? 12000 : 6000;
        std::vector<float> pts = stroke(rng, count, spiral, scale, trial == 2 ? -4000 : 1500);
        MarqenPathFitter fitter(pts.data(), count, 5);
        std::vector<OstwickPathFitterBezier> fast, plain;
        fitter.fitBeziers(fast, pts.data(), 0, count - 1, fitter.kPrecision());

        MarqenPathFitterVector t1{pts[2] - pts[0], pts[3] - pts[1]};
        MarqenPathFitterVector t2{pts[2 * count - 4] - pts[2 * count - 2], pts[2 * count - 3] - pts[2 * count - 1]};
        MarqenPathFitter::normalize(t1);
        MarqenPathFitter::normalize(t2);
        const float precision = fitter.kPrecision();
        plainFit(fitter, plain, pts.data(), 0, count - 1, t1, t2, precision * precision);

        ASSERT_EQ(fast.size(), plain.size()) << "trial " << trial;
        EXPECT_GT(fast.size(), 10u);
        for (size_t i = 0; i < fast.size(); ++i) ASSERT_TRUE(sameBits(fast[i], plain[i])) << "trial " << trial << " curve " << i;
    }
}
