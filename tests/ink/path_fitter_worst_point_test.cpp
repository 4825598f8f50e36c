// The pruned search of the worst point against the plain scan of every point (calcMaxError): on many
// generated strokes and curves, including exact ties and degenerate strokes, both must name the same
// point and the same error, bit for bit.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

#include "ink/path_fitter.h"
#include "ink/path_fitter_worst_point.h"

using namespace marqen;

namespace {

struct Outcome {
    bool searched = false;
    int index = -1;
    float error = -1;
};

uint32_t bits(float value) {
    uint32_t out;
    std::memcpy(&out, &value, sizeof out);
    return out;
}

// Runs both on the points s..e of pts (prepared over first..last) and checks that they agree whenever
// the search answers. Returns the search's outcome.
Outcome compare(const std::vector<float> &pts, int first, int last, int s, int e, const OstwickPathFitterBezier &bez) {
    MarqenPathFitter fitter(pts.data(), static_cast<int32_t>(pts.size() / 2), 5);
    std::vector<double> u = fitter.parameterizePoints(pts.data(), s, e);
    std::vector<double> sums(static_cast<size_t>(e - s + 1), 0.0);
    for (int k = 1; k <= e - s; ++k) sums[k] = sums[k - 1] + pathFitterOriginDistance(pts.data(), s + k);
    for (int k = 1; k <= e - s; ++k) {
        double parameter = sums[k] / sums[e - s];
        EXPECT_TRUE(parameter == u[k] || (std::isnan(parameter) && std::isnan(u[k]))) << "parameter " << k;
    }
    int plainIndex = -7;
    float plainError = fitter.calcMaxError(pts.data(), s, e, bez, u, &plainIndex);

    PathFitterWorstPointSearch search;
    search.preparePoints(pts.data(), first, last);
    Outcome outcome;
    outcome.searched = search.find(pts.data(), s, e, bez, sums.data(), sums[e - s], &outcome.error, &outcome.index);
    if (outcome.searched) {
        EXPECT_EQ(outcome.index, plainIndex) << "s " << s << " e " << e;
        EXPECT_EQ(bits(outcome.error), bits(plainError)) << outcome.error << " vs " << plainError;
    }
    return outcome;
}

std::vector<float> randomWalk(std::mt19937 &rng, int count, float origin, float step) {
    std::normal_distribution<float> turn(0, 0.3f);
    std::vector<float> pts;
    float x = origin, y = origin * 0.5f, angle = 0;
    for (int i = 0; i < count; ++i) {
        pts.push_back(x);
        pts.push_back(y);
        angle += turn(rng);
        x += step * std::cos(angle);
        y += step * std::sin(angle);
    }
    return pts;
}

OstwickPathFitterBezier curveNear(std::mt19937 &rng, const std::vector<float> &pts, int s, int e, float spread) {
    std::uniform_real_distribution<float> jitter(-spread, spread);
    auto at = [&](int i, int axis) { return pts[2 * i + axis]; };
    int a = s + (e - s) / 3, b = s + 2 * (e - s) / 3;
    return OstwickPathFitterBezier(at(s, 0), at(s, 1), at(a, 0) + jitter(rng), at(a, 1) + jitter(rng),
                                   at(b, 0) + jitter(rng), at(b, 1) + jitter(rng), at(e, 0), at(e, 1));
}

}  // namespace

TEST(PathFitterWorstPoint, AgreesWithThePlainScanOnRandomStrokes) {
    std::mt19937 rng(1234);
    int searched = 0, runs = 0;
    for (int stroke = 0; stroke < 60; ++stroke) {
        const int count = std::uniform_int_distribution<int>(3, 5000)(rng);
        const float scale = std::pow(10.0f, std::uniform_real_distribution<float>(-3, 6)(rng));
        const float origin = std::uniform_real_distribution<float>(-2000, 2000)(rng) * scale / 10;
        std::vector<float> pts = randomWalk(rng, count, origin, scale);
        for (int piece = 0; piece < 8; ++piece) {
            std::uniform_int_distribution<int> pick(0, count - 1);
            int s = pick(rng), e = pick(rng);
            if (s > e) std::swap(s, e);
            if (e - s < 2) continue;
            // Prepared over the whole stroke or exactly over the piece: blocks then start elsewhere.
            const bool whole = piece % 2 == 0;
            const float spread = scale * std::pow(10.0f, std::uniform_real_distribution<float>(-2, 3)(rng));
            Outcome outcome = compare(pts, whole ? 0 : s, whole ? count - 1 : e, s, e, curveNear(rng, pts, s, e, spread));
            ++runs;
            searched += outcome.searched;
        }
    }
    // Finite strokes away from the origin are always searched, never handed back to the plain scan.
    EXPECT_EQ(searched, runs);
}

TEST(PathFitterWorstPoint, AgreesOnTheFitterOwnCurvesOfASpiral) {
    std::vector<float> pts;
    for (int i = 0; i < 20000; ++i) {
        double angle = i * 0.01, radius = 40 + angle;
        pts.push_back(static_cast<float>(1000 + radius * std::cos(angle)));
        pts.push_back(static_cast<float>(1000 + radius * std::sin(angle)));
    }
    MarqenPathFitter fitter(pts.data(), 20000, 5);
    for (int e : {19999, 15000, 9000, 4000, 700, 40, 3, 2}) {
        std::vector<double> u = fitter.parameterizePoints(pts.data(), 0, e);
        MarqenPathFitterVector t1{1, 0}, t2{0, 1};
        OstwickPathFitterBezier bez = fitter.generateBezier(pts.data(), 0, e, u, t1, t2);
        EXPECT_TRUE(compare(pts, 0, 19999, 0, e, bez).searched) << e;
    }
}

TEST(PathFitterWorstPoint, ExactTiesGoToTheEarliestPoint) {
    // A curve shrunk to the origin measures each point's distance from it: points going round the unit
    // circle's four axis points all have the error 1 exactly.
    OstwickPathFitterBezier dot(0, 0, 0, 0, 0, 0, 0, 0);
    const float ring[4][2] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
    std::vector<float> pts;
    for (int i = 0; i < 3000; ++i) {
        pts.push_back(ring[i % 4][0]);
        pts.push_back(ring[i % 4][1]);
    }
    Outcome outcome = compare(pts, 0, 2999, 0, 2999, dot);
    ASSERT_TRUE(outcome.searched);
    EXPECT_EQ(outcome.index, 1);
    EXPECT_EQ(outcome.error, 1);

    // Equal largest errors far apart; the later one sits among larger errors, so its block's bound is
    // larger and it is measured first.
    std::vector<float> twin = pts;
    twin[2 * 700] = 40;
    twin[2 * 700 + 1] = 0;
    twin[2 * 2500] = 0;
    twin[2 * 2500 + 1] = -40;
    for (int i = 2490; i < 2510; ++i)
        if (i != 2500) twin[2 * i] = 39.5f;
    outcome = compare(twin, 0, 2999, 0, 2999, dot);
    ASSERT_TRUE(outcome.searched);
    EXPECT_EQ(outcome.index, 700);
    EXPECT_EQ(outcome.error, 40);
    outcome = compare(twin, 0, 2999, 701, 2999, dot);
    EXPECT_EQ(outcome.index, 2500);
}

TEST(PathFitterWorstPoint, DegenerateStrokes) {
    OstwickPathFitterBezier line(0, 0, 1, 0, 2, 0, 3, 0);
    // Every inner point at the origin, where the curve starts and where their parameters (all zero)
    // put them: no error above zero, so the offset count.
    std::vector<float> still(2 * 500, 0.0f);
    still[2 * 499] = 1;
    Outcome outcome = compare(still, 0, 499, 0, 499, line);
    ASSERT_TRUE(outcome.searched);
    EXPECT_EQ(outcome.index, 250);
    EXPECT_EQ(outcome.error, 0);

    // All points at the origin: parameters that are not numbers, left to the plain scan.
    std::vector<float> origin(2 * 100, 0.0f);
    EXPECT_FALSE(compare(origin, 0, 99, 0, 99, line).searched);

    // A point that is not a number, or a curve with an infinite control point: left to the plain scan.
    std::mt19937 rng(7);
    const std::vector<float> walk = randomWalk(rng, 300, 50, 1);
    std::vector<float> broken = walk;
    broken[2 * 150] = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FALSE(compare(broken, 0, 299, 0, 299, line).searched);
    // ...but a piece beside it is searched, even though its blocks hold the bad point.
    EXPECT_TRUE(compare(broken, 0, 299, 151, 299, curveNear(rng, broken, 151, 299, 5)).searched);
    EXPECT_TRUE(compare(broken, 0, 299, 10, 149, curveNear(rng, broken, 10, 149, 5)).searched);
    OstwickPathFitterBezier wild(0, 0, std::numeric_limits<float>::infinity(), 0, 2, 0, 3, 0);
    EXPECT_FALSE(compare(walk, 0, 299, 0, 299, wild).searched);

    // Errors whose squares overflow single precision, and ones below its smallest normal number.
    std::vector<float> huge{1e19f, 1e19f, -1.2e19f, 3e18f, 1.2e19f, -1e19f, 1e19f, 1e19f, -1.2e19f, 3e18f, 1.1e19f, 1.1e19f};
    OstwickPathFitterBezier far(1e19f, 1e19f, 1.8e19f, -1.8e19f, -1.8e19f, 1.8e19f, 1.1e19f, 1.1e19f);
    outcome = compare(huge, 0, 5, 0, 5, far);
    ASSERT_TRUE(outcome.searched);
    EXPECT_EQ(outcome.error, std::numeric_limits<float>::infinity());
    std::vector<float> tiny;
    for (int i = 0; i < 200; ++i) {
        tiny.push_back(1e-20f * static_cast<float>(i + 1));
        tiny.push_back(i % 3 == 0 ? 1e-22f : 0.0f);
    }
    OstwickPathFitterBezier small(1e-20f, 1e-22f, 7e-19f, 0, 1.4e-18f, 0, 2e-18f, 0);
    EXPECT_TRUE(compare(tiny, 0, 199, 0, 199, small).searched);

    // A piece of three points has one point to measure; two points have none.
    std::vector<float> three{1, 1, 2, 5, 3, 1};
    EXPECT_TRUE(compare(three, 0, 2, 0, 2, line).searched);
    EXPECT_FALSE(compare(three, 0, 2, 0, 1, line).searched);
}
