#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "ink/path_fitter.h"

using namespace marqen;

namespace {

std::vector<float> interleaved(const std::vector<CGPoint> &points) {
    std::vector<float> out;
    for (const CGPoint &p : points) {
        out.push_back(static_cast<float>(p.x));
        out.push_back(static_cast<float>(p.y));
    }
    return out;
}

MarqenPathFitter fitterFor(const std::vector<CGPoint> &points, float size) {
    std::vector<float> data = interleaved(points);
    return MarqenPathFitter(data.data(), static_cast<int32_t>(points.size()), size);
}

// Points reached from (0, 0) by steps of the given directions (degrees) and length.
std::vector<CGPoint> polyline(const std::vector<double> &directions, double step) {
    std::vector<CGPoint> points{{0, 0}};
    for (double degrees : directions) {
        double radians = degrees * M_PI / 180;
        points.push_back({points.back().x + step * std::cos(radians), points.back().y + step * std::sin(radians)});
    }
    return points;
}

// A V: down-right arm from (0, 0) to (10, 40) in steps of (1, 4), then up to (20, 0).
std::vector<CGPoint> vShape() {
    std::vector<CGPoint> points;
    for (int i = 0; i <= 10; ++i) points.push_back({static_cast<double>(i), 4.0 * i});
    for (int i = 11; i <= 20; ++i) points.push_back({static_cast<double>(i), 4.0 * (20 - i)});
    return points;
}

const MarqenPathElement &element(const MarqenBezierPath &path, size_t index) { return path.elementAtIndex(index); }

}  // namespace

TEST(MarqenPathFitter, TolerancesFollowTheLineWidth) {
    MarqenPathFitter fitter = fitterFor({{1, 2}}, 5);
    EXPECT_EQ(fitter.kDencityBase(), 5.0f);
    EXPECT_EQ(fitter.kCornerDetectionVectorLength(), 2.5f);
    EXPECT_EQ(fitter.kPrecision(), 1.0f);
    EXPECT_EQ(fitter.kMinCornerAngle(), 90.0f);
    EXPECT_EQ(fitter.kIterations(), 4);
    EXPECT_FALSE(fitter.bUseIndividualIterations());
    EXPECT_EQ(fitterFor({{1, 2}}, 10).kPrecision(), static_cast<float>(std::sqrt(2.0)));
    EXPECT_EQ(fitter.nPts(), 1);
    EXPECT_EQ(fitter.pts(), (std::vector<float>{1, 2}));
}

TEST(MarqenPathFitter, OnePointGivesACurveFromThePointToItself) {
    MarqenBezierPath path = MarqenPathFitter::pathForStroke({{3.5, -2}}, 6);
    ASSERT_EQ(path.elementCount(), 2u);
    EXPECT_EQ(element(path, 0), (MarqenPathElement{MarqenPathElementType::MoveToPoint, {{3.5, -2}, {}, {}}}));
    EXPECT_EQ(element(path, 1),
              (MarqenPathElement{MarqenPathElementType::AddCurveToPoint, {{3.5, -2}, {3.5, -2}, {3.5, -2}}}));
}

TEST(MarqenPathFitter, TwoPointsGiveControlPointsAtThirds) {
    MarqenBezierPath path = MarqenPathFitter::pathForStroke({{0, 0}, {9, 0}}, 6);
    ASSERT_EQ(path.elementCount(), 2u);
    EXPECT_EQ(element(path, 1), (MarqenPathElement{MarqenPathElementType::AddCurveToPoint, {{3, 0}, {6, 0}, {9, 0}}}));

    // Along a diagonal the thirds are rounded to single precision.
    MarqenBezierPath diagonal = MarqenPathFitter::pathForStroke({{1, 1}, {4, 5}}, 6);
    const MarqenPathElement &curve = element(diagonal, 1);
    EXPECT_FLOAT_EQ(curve.points[0].x, 1 + 5.0 / 3 * 0.6);
    EXPECT_FLOAT_EQ(curve.points[0].y, 1 + 5.0 / 3 * 0.8);
    EXPECT_FLOAT_EQ(curve.points[1].x, 4 - 5.0 / 3 * 0.6);
    EXPECT_FLOAT_EQ(curve.points[1].y, 5 - 5.0 / 3 * 0.8);
}

TEST(MarqenPathFitter, EmptyStrokeGivesAnEmptyPath) {
    EXPECT_TRUE(MarqenPathFitter::pathForStroke({}, 6).isEmpty());
}

TEST(MarqenPathFitter, SmoothingTakesThreeEffectivePassesAndKeepsTheEnds) {
    MarqenPathFitter fitter = fitterFor({{0, 0}, {4, 4}, {8, 0}, {12, 4}}, 2);
    // Turns of exactly 90 degrees are not corners: one piece of four points.
    EXPECT_EQ(fitter.detectCorners(), 2);
    EXPECT_EQ(fitter.vIters(), (std::vector<int32_t>{0, 4, 4, 0}));
    std::vector<float> pts = fitter.pts();
    fitter.filterPoints(pts.data(), 0, 3, fitter.kIterations(), false);
    EXPECT_EQ(pts, (std::vector<float>{0, 0, 4, 1.375f, 8, 2.625f, 12, 4}));

    // The same happens inside path(), which smooths its own copy.
    fitter.path();
    EXPECT_EQ(fitter.pts(), pts);
}

TEST(MarqenPathFitter, PiecesOfFewerThanFourPointsAreNotSmoothed) {
    MarqenPathFitter fitter = fitterFor({{0, 0}, {5, 3}, {10, 0}}, 6);
    std::vector<float> before = fitter.pts();
    fitter.path();
    EXPECT_EQ(fitter.pts(), before);
}

TEST(MarqenPathFitter, ClosedSmoothingAlsoMovesTheEnds) {
    MarqenPathFitter fitter = fitterFor({{0, 0}, {4, 0}, {8, 0}, {12, 0}, {16, 0}}, 2);
    fitter.detectCorners();
    std::vector<float> pts = fitter.pts();
    fitter.filterPoints(pts.data(), 0, 4, 1, true);
    // The start blends with the end and its neighbour; the first interior point still reads the
    // start's value from before the pass, and the end blends with both.
    EXPECT_EQ(pts, (std::vector<float>{5, 0, 4, 0, 8, 0, 12, 0, 11, 0}));
}

TEST(MarqenPathFitter, SharpVIsSplitAtItsVertex) {
    MarqenPathFitter fitter = fitterFor(vShape(), 4);
    EXPECT_EQ(fitter.detectCorners(), 3);
    for (int k = 0; k < fitter.nPts(); ++k) EXPECT_EQ(fitter.bCorner()[k], k == 0 || k == 10 || k == 20) << k;

    MarqenBezierPath path = MarqenPathFitter::pathForStroke(vShape(), 4);
    ASSERT_EQ(path.elementCount(), 3u);
    const MarqenPathElement &first = element(path, 1), &second = element(path, 2);
    EXPECT_EQ(first.points[2], (CGPoint{10, 40}));
    EXPECT_EQ(second.points[2], (CGPoint{20, 0}));
    // Each arm is straight: the control points lie on it, the last one of the first arm and the first
    // one of the second leave the vertex along their own arm.
    EXPECT_NEAR(first.points[1].y, 4 * first.points[1].x, 1e-4);
    EXPECT_NEAR(second.points[0].y, 4 * (20 - second.points[0].x), 1e-4);
    EXPECT_LT(first.points[1].x, 10);
    EXPECT_GT(second.points[0].x, 10);

    // With arms shorter than half the line width the turn is not measured.
    MarqenPathFitter wide = fitterFor(vShape(), 100);
    EXPECT_EQ(wide.detectCorners(), 2);
}

TEST(MarqenPathFitter, TheSharpestTurnOfARunBecomesTheCorner) {
    // Turns of 120, 150 and 130 degrees in a row, then a gentle one that ends the run.
    MarqenPathFitter fitter = fitterFor(polyline({0, 120, 270, 400, 410}, 10), 0.2f);
    EXPECT_EQ(fitter.detectCorners(), 3);
    EXPECT_EQ(fitter.bCorner(), (std::vector<bool>{true, false, true, false, false, true}));

    // Of two equal turns the earlier wins.
    MarqenPathFitter equal = fitterFor({{0, 0}, {10, 0}, {0, 10}, {10, 10}, {20, 10}}, 0.2f);
    EXPECT_EQ(equal.detectCorners(), 3);
    EXPECT_EQ(equal.bCorner(), (std::vector<bool>{true, true, false, false, true}));

    // A run still open at the last interior point is not marked.
    MarqenPathFitter open = fitterFor(polyline({0, 10, 150}, 10), 0.2f);
    EXPECT_EQ(open.detectCorners(), 2);
    EXPECT_EQ(open.bCorner(), (std::vector<bool>{true, false, false, true}));
}

TEST(MarqenPathFitter, TurnsAreMeasuredAgainstTheLeastCornerAngle) {
    // One turn at point 1, then straight steps that end its run.
    auto turnOf = [](double degrees) { return polyline({0, degrees, degrees, degrees}, 10); };
    const std::vector<bool> cornerAtOne{true, true, false, false, true}, noCorner{true, false, false, false, true};
    // Around the default 90 degrees, both ways and both senses of turning.
    for (double degrees : {89.0, -89.0, 91.0, -91.0, 60.0}) {
        SCOPED_TRACE(degrees);
        MarqenPathFitter fitter = fitterFor(turnOf(degrees), 0.2f);
        fitter.detectCorners();
        EXPECT_EQ(fitter.bCorner(), std::abs(degrees) > 90 ? cornerAtOne : noCorner);
    }
    // Below 90 degrees, gentle turns whose directions still point the same way are corners too.
    for (float least : {45.0f, 0.0f}) {
        SCOPED_TRACE(least);
        MarqenPathFitter fitter = fitterFor(turnOf(60), 0.2f);
        fitter.setKMinCornerAngle(least);
        fitter.detectCorners();
        EXPECT_EQ(fitter.bCorner(), cornerAtOne);
        MarqenPathFitter slight = fitterFor(turnOf(40), 0.2f);
        slight.setKMinCornerAngle(least);
        slight.detectCorners();
        EXPECT_EQ(slight.bCorner(), least < 40 ? cornerAtOne : noCorner);
    }
    // Above 90 degrees only sharper turns count.
    MarqenPathFitter strict = fitterFor(turnOf(120), 0.2f);
    strict.setKMinCornerAngle(130);
    strict.detectCorners();
    EXPECT_EQ(strict.bCorner(), noCorner);
    strict.setKMinCornerAngle(110);
    strict.detectCorners();
    EXPECT_EQ(strict.bCorner(), cornerAtOne);
    // A least angle that is not a number makes no turn a corner.
    MarqenPathFitter never = fitterFor(turnOf(150), 0.2f);
    never.setKMinCornerAngle(std::numeric_limits<float>::quiet_NaN());
    never.detectCorners();
    EXPECT_EQ(never.bCorner(), noCorner);
}

TEST(MarqenPathFitter, IndividualIterationsGrowWithDensity) {
    MarqenPathFitter fitter = fitterFor({{0, 0}, {3, 0}, {6, 0}, {8, 0}, {9, 0}}, 10);
    fitter.setBUseIndividualIterations(true);
    fitter.detectCorners();
    // 4 + 2·trunc(10 / length of the step that arrives at the point); the ends keep 0.
    EXPECT_EQ(fitter.vIters(), (std::vector<int32_t>{0, 10, 10, 14, 0}));
    EXPECT_EQ(fitter.maxIters(), 14);
}

TEST(MarqenPathFitter, ParametersAreSpacedByDistanceFromTheOrigin) {
    MarqenPathFitter fitter = fitterFor({{1, 1}}, 5);
    std::vector<float> pts{7, 7, 3, 4, 6, 8, 0, 0, 5, 12};
    std::vector<double> u = fitter.parameterizePoints(pts.data(), 1, 4);
    ASSERT_EQ(u.size(), 4u);
    EXPECT_EQ(u[0], 0);
    EXPECT_DOUBLE_EQ(u[1], 10.0 / 23);
    EXPECT_EQ(u[2], u[1]);  // a point at the origin adds no step
    EXPECT_EQ(u[3], 1);
    EXPECT_EQ(fitter.parameterizePoints(pts.data(), 2, 2), std::vector<double>{0});

    std::vector<float> origin{0, 0, 0, 0, 0, 0};
    std::vector<double> undefined = fitter.parameterizePoints(origin.data(), 0, 2);
    EXPECT_EQ(undefined[0], 0);
    EXPECT_TRUE(std::isnan(undefined[1]));
    EXPECT_TRUE(std::isnan(undefined[2]));
}

TEST(MarqenPathFitter, MaxErrorFindsTheEarliestWorstPoint) {
    MarqenPathFitter fitter = fitterFor({{1, 1}}, 5);
    OstwickPathFitterBezier line(0, 0, 1, 0, 2, 0, 3, 0);  // B(t) = (3t, 0)
    std::vector<float> pts{0, 0, 1, 2, 2, -2, 3, 0};
    std::vector<double> u{0, 1.0 / 3, 2.0 / 3, 1};
    int maxIndex = -1;
    EXPECT_FLOAT_EQ(fitter.calcMaxError(pts.data(), 0, 3, line, u, &maxIndex), 2);
    EXPECT_EQ(maxIndex, 1);

    // Nothing measured: the index is the piece's half count, not a point of the piece.
    std::vector<float> onLine{9, 9, 9, 9, 0, 0, 1, 0, 2, 0, 3, 0};
    EXPECT_EQ(fitter.calcMaxError(onLine.data(), 2, 5, line, u, &maxIndex), 0);
    EXPECT_EQ(maxIndex, 2);
    EXPECT_EQ(fitter.calcMaxError(onLine.data(), 2, 3, line, u, &maxIndex), 0);
    EXPECT_EQ(maxIndex, 1);
}

TEST(MarqenPathFitter, NewtonRaphsonStepAndFlatDenominator) {
    MarqenPathFitter fitter = fitterFor({{1, 1}}, 5);
    OstwickPathFitterBezier line(0, 0, 1, 0, 2, 0, 3, 0);
    // B(0.4) = (1.2, 0), B' = (3, 0): one step lands on 0.5, the parameter of (1.5, 0).
    EXPECT_DOUBLE_EQ(fitter.newtonRhapson(line, 1.5, 0, 0.4, 3, 0, 3, 0, 3, 0, 0, 0, 0, 0), 0.5);
    // No clamping to [0, 1].
    EXPECT_DOUBLE_EQ(fitter.newtonRhapson(line, 6, 0, 1, 3, 0, 3, 0, 3, 0, 0, 0, 0, 0), 2);
    OstwickPathFitterBezier point(2, 2, 2, 2, 2, 2, 2, 2);
    EXPECT_EQ(fitter.newtonRhapson(point, 5, 5, 0.3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0), 0.3);
}

TEST(MarqenPathFitter, ImprovedParametersAreRenormalised) {
    MarqenPathFitter fitter = fitterFor({{1, 1}}, 5);
    OstwickPathFitterBezier line(0, 0, 1, 0, 2, 0, 3, 0);
    std::vector<float> pts{-0.75f, 0, 1.5f, 0, 3.75f, 0};
    std::vector<double> u{0, 0.4, 1};
    fitter.improveParameters(pts.data(), 0, 2, u, line);
    // The end parameters move to -0.25 and 1.25 and are pulled back to 0 and 1.
    EXPECT_EQ(u[0], 0);
    EXPECT_DOUBLE_EQ(u[1], 0.5);
    EXPECT_EQ(u[2], 1);
}

TEST(MarqenPathFitter, LeastSquaresFallsBackToThirdsForDegenerateTangents) {
    MarqenPathFitter fitter = fitterFor({{1, 1}}, 5);
    std::vector<float> pts{0, 0, 1, 1, 2, 0, 6, 0};
    std::vector<double> u{0, 0.3, 0.6, 1};
    OstwickPathFitterBezier zero = fitter.generateBezier(pts.data(), 0, 3, u, {0, 0}, {0, 0});
    EXPECT_EQ(zero._tanFromX, 0);
    EXPECT_EQ(zero._tanFromY, 0);
    EXPECT_EQ(zero._tanToX, 6);
    EXPECT_EQ(zero._toX, 6);

    // Points on a straight line with tangents along it: control points on the line, inside it.
    std::vector<float> line{0, 0, 1, 0, 2, 0, 3, 0};
    std::vector<double> even{0, 1.0 / 3, 2.0 / 3, 1};
    OstwickPathFitterBezier fit = fitter.generateBezier(line.data(), 0, 3, even, {1, 0}, {-1, 0});
    EXPECT_FLOAT_EQ(fit._tanFromX, 1);
    EXPECT_FLOAT_EQ(fit._tanToX, 2);
    EXPECT_EQ(fit._tanFromY, 0);
}

TEST(MarqenPathFitter, TangentsAreUnitVectors) {
    MarqenPathFitterVector v{3, 4};
    MarqenPathFitter::normalize(v);
    EXPECT_DOUBLE_EQ(v.x, 0.6);
    EXPECT_DOUBLE_EQ(v.y, 0.8);
    MarqenPathFitterVector zero{0, 0};
    MarqenPathFitter::normalize(zero);
    EXPECT_EQ(zero.x, 0);
    EXPECT_EQ(zero.y, 0);

    MarqenPathFitter fitter = fitterFor({{1, 1}}, 5);
    std::vector<float> corner{0, 0, 2, 0, 2, 2};
    // Both neighbours point back toward the start: the middle tangent bisects them.
    MarqenPathFitterVector tc = fitter.middleTangent(corner.data(), 1);
    EXPECT_DOUBLE_EQ(tc.x, -std::sqrt(0.5));
    EXPECT_DOUBLE_EQ(tc.y, -std::sqrt(0.5));
}

TEST(MarqenPathFitter, CurveEvaluation) {
    OstwickPathFitterBezier curve(0, 0, 0, 3, 3, 3, 3, 0);
    EXPECT_EQ(curve.evaluatePoint(0), (CGPoint{0, 0}));
    EXPECT_EQ(curve.evaluatePoint(1), (CGPoint{3, 0}));
    EXPECT_EQ(curve.evaluatePoint(0.5), (CGPoint{1.5, 2.25}));
}

TEST(MarqenPathFitterDeathTest, PreconditionsEndTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    float point[2] = {1, 2};
    EXPECT_DEATH(MarqenPathFitter(point, 0, 5), "nPts > 0");
    EXPECT_DEATH(
        {
            MarqenPathFitter fitter(point, 1, 5);
            fitter.parameterizePoints(point, 1, 0);
        },
        "\\(iEnd - iStart \\+ 1\\) > 0");
}

TEST(MarqenPathFitter, BadCoordinatesAndSizesFinish) {
    std::vector<CGPoint> stroke;
    for (int i = 0; i < 3000; ++i) stroke.push_back({i * 2.0 + std::sin(i * 0.3) * 5, std::cos(i * 0.2) * 20});
    for (CGPoint bad : {CGPoint{NAN, 0}, CGPoint{INFINITY, 3}, CGPoint{-INFINITY, NAN}}) {
        for (size_t at : {size_t{0}, size_t{1}, size_t{1500}, stroke.size() - 1}) {
            std::vector<CGPoint> copy = stroke;
            copy[at] = bad;
            MarqenBezierPath path = MarqenPathFitter::pathForStroke(copy, 5);
            EXPECT_FALSE(path.isEmpty());
        }
    }
    std::vector<CGPoint> allBad(2000, CGPoint{NAN, NAN});
    EXPECT_FALSE(MarqenPathFitter::pathForStroke(allBad, 5).isEmpty());
    std::vector<CGPoint> atOrigin(2000, CGPoint{0, 0});
    EXPECT_FALSE(MarqenPathFitter::pathForStroke(atOrigin, 5).isEmpty());
    for (float size : {0.0f, -3.0f, NAN, INFINITY})
        EXPECT_FALSE(MarqenPathFitter::pathForStroke(stroke, size).isEmpty()) << size;
}

TEST(MarqenPathFitter, SplitHalvesShareTheMiddleTangent) {
    // Three quarters of a circle with gentle turns: no corners, but too bent for one curve.
    std::vector<CGPoint> arc;
    for (int i = 0; i <= 60; ++i) {
        double angle = i * (1.5 * M_PI / 60);
        arc.push_back({100 + 50 * std::cos(angle), 100 + 50 * std::sin(angle)});
    }
    MarqenBezierPath path = MarqenPathFitter::pathForStroke(arc, 1);
    ASSERT_GE(path.elementCount(), 3u);
    for (size_t i = 1; i + 1 < path.elementCount(); ++i) {
        const MarqenPathElement &before = element(path, i), &after = element(path, i + 1);
        CGPoint joint = before.points[2];
        EXPECT_FALSE(after.points[0] == joint);
        double ax = before.points[1].x - joint.x, ay = before.points[1].y - joint.y;
        double bx = after.points[0].x - joint.x, by = after.points[0].y - joint.y;
        // Opposite directions along one line through the joint.
        EXPECT_NEAR(ax * by - ay * bx, 0, 1e-3 * std::hypot(ax, ay) * std::hypot(bx, by));
        EXPECT_LT(ax * bx + ay * by, 0);
    }
    EXPECT_EQ(path.currentPoint().x, static_cast<double>(static_cast<float>(arc.back().x)));
}
