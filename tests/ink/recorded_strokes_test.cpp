// Pins the filter output and the fitted curves of strokes recorded by scripts/make_ink_strokes.py.
// Set MARQEN_UPDATE_INK_FIXTURES=1 to rewrite the .expected files after a deliberate change; a run
// that rewrites a file fails, so that the new file is checked by a run without the switch.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "foundation/svg_path/svg_path_writer.h"
#include "ink/path_fitter.h"
#include "ink/rite_point_filter.h"
#include "ink/stroke_fixture.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;

namespace {

struct Fixture {
    const char *name;
    size_t sampleLimit;  // the long writing stroke is pinned over its first samples only
};

const Fixture kFixtures[] = {{"check", 0}, {"loop", 0}, {"wave", 0}, {"zigzag", 0}, {"dot", 0}, {"writing_10000", 800}};

// Single-precision values with 9 significant digits read back to the same bits.
std::string floatText(double value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.9g", static_cast<float>(value));
    return buffer;
}

// One line per path element: "m" or "c" and its points.
std::string elementLines(const MarqenBezierPath &path) {
    std::ostringstream out;
    for (const MarqenPathElement &element : path.elements()) {
        out << (element.type == MarqenPathElementType::MoveToPoint ? "m" : "c");
        for (int i = 0; i < element.pointCount(); ++i)
            out << " " << floatText(element.points[i].x) << " " << floatText(element.points[i].y);
        out << "\n";
    }
    return out.str();
}

std::string describe(const Fixture &fixture) {
    RecordedStroke stroke = readRecordedStroke(fixture.name);
    if (fixture.sampleLimit && stroke.samples.size() > fixture.sampleLimit) stroke.samples.resize(fixture.sampleLimit);
    std::vector<CGPoint> filtered = filteredStroke(stroke);
    MarqenBezierPath path = MarqenPathFitter::pathForStroke(filtered, static_cast<float>(stroke.width));

    std::ostringstream out;
    out << "# " << fixture.name << ": " << stroke.samples.size() << " samples, " << filtered.size()
        << " filtered points, width " << stroke.width << "\n";
    for (const CGPoint &p : filtered) out << "f " << p.x << " " << p.y << "\n";
    out << elementLines(path);
    out << "d " << BezierToSvg::pathDataFromCGPath(path) << "\n";
    return out.str();
}

double distanceToSegment(CGPoint p, CGPoint a, CGPoint b) {
    double dx = b.x - a.x, dy = b.y - a.y, lengthSquared = dx * dx + dy * dy;
    double t = lengthSquared > 0 ? std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / lengthSquared, 0.0, 1.0) : 0;
    return std::hypot(p.x - (a.x + t * dx), p.y - (a.y + t * dy));
}

std::vector<std::string> lines(const std::string &text) {
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) result.push_back(line);
    return result;
}

// Compares actual with tests/data/ink/<name>.expected line by line (or rewrites the file, see above).
void expectPinned(const std::string &name, const std::string &actual) {
    std::filesystem::path expectedPath = sourceDir() / "tests/data/ink" / (name + ".expected");
    if (std::getenv("MARQEN_UPDATE_INK_FIXTURES") != nullptr && readFile(expectedPath) != actual) {
        // A rewrite never passes: the new file is compared on the next run, after its diff is read.
        writeFile(expectedPath, actual);
        ADD_FAILURE() << "rewrote " << expectedPath << "; review the change and run again without the switch";
        return;
    }
    std::vector<std::string> expectedLines = lines(readFile(expectedPath)), actualLines = lines(actual);
    ASSERT_EQ(actualLines.size(), expectedLines.size());
    for (size_t i = 0; i < actualLines.size(); ++i) ASSERT_EQ(actualLines[i], expectedLines[i]) << "line " << i + 1;
}

// An Archimedean spiral through the ink filter, samples every 2 units of arc length and turns 6 units
// apart: a long stroke without corners, so the fitter splits one piece of every point again and again.
// The samples are rounded to 1/64 so that a last-bit difference of the sine never shows.
std::vector<CGPoint> filteredSpiral(size_t count) {
    MarqenRitePointFilter filter;
    double angle = 0;
    const double growth = 6 / (2 * M_PI);
    for (size_t i = 0; filter.filteredPoints().size() < count && i < 20 * count; ++i) {
        double radius = 40 + growth * angle;
        filter.filterPoint({std::round((1000 + radius * std::cos(angle)) * 64) / 64,
                            std::round((1000 + radius * std::sin(angle)) * 64) / 64});
        angle += 2 / radius;
    }
    std::vector<CGPoint> points = filter.filteredPoints();
    points.resize(std::min(points.size(), count));
    return points;
}

}  // namespace

TEST(RecordedStrokes, FilterAndFitterOutputArePinned) {
    for (const Fixture &fixture : kFixtures) {
        SCOPED_TRACE(fixture.name);
        expectPinned(fixture.name, describe(fixture));
    }
}

TEST(RecordedStrokes, FittedPathsOfLongStrokesArePinned) {
    // The whole recorded writing (the fixture above pins its first samples with the filter's output)...
    RecordedStroke writing = readRecordedStroke("writing_10000");
    MarqenBezierPath path = MarqenPathFitter::pathForStroke(filteredStroke(writing), static_cast<float>(writing.width));
    EXPECT_GT(path.elementCount(), 400);
    expectPinned("writing_10000_path", elementLines(path));

    // ...and a smooth spiral of 10,000 points, whose fit splits deep and unevenly.
    std::vector<CGPoint> spiral = filteredSpiral(10000);
    ASSERT_EQ(spiral.size(), 10000u);
    path = MarqenPathFitter::pathForStroke(spiral, 5);
    EXPECT_GT(path.elementCount(), 100);
    expectPinned("spiral_10000_path", elementLines(path));
}

TEST(RecordedStrokes, FittedCurvesStayNearTheSmoothedPoints) {
    // Independent of the pins: every filtered point lies within the line width of the fitted path.
    for (const Fixture &fixture : kFixtures) {
        SCOPED_TRACE(fixture.name);
        RecordedStroke stroke = readRecordedStroke(fixture.name);
        if (fixture.sampleLimit) stroke.samples.resize(std::min(stroke.samples.size(), fixture.sampleLimit));
        std::vector<CGPoint> filtered = filteredStroke(stroke);
        MarqenBezierPath path = MarqenPathFitter::pathForStroke(filtered, static_cast<float>(stroke.width));
        std::vector<std::vector<CGPoint>> polylines = path.flattened(0.05);
        EXPECT_EQ(path.elementAtIndex(0).points[0], filtered.front());
        EXPECT_EQ(path.currentPoint(), filtered.back());
        for (const CGPoint &p : filtered) {
            double best = INFINITY;
            for (const std::vector<CGPoint> &polyline : polylines)
                for (size_t i = 0; i + 1 < polyline.size(); ++i)
                    best = std::min(best, distanceToSegment(p, polyline[i], polyline[i + 1]));
            if (polylines.front().size() == 1) best = std::hypot(p.x - polylines.front()[0].x, p.y - polylines.front()[0].y);
            EXPECT_LT(best, stroke.width / 2) << p.x << "," << p.y;
        }
    }
}
