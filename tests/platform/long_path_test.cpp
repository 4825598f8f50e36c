// Long paths: stroked in runs that look like one stroke, and left out beyond the path budgets.
#include <gtest/gtest.h>
#include <cairo.h>

#include <chrono>
#include <cmath>

#include "foundation/resource_budget.h"
#include "platform/graphics.h"
#include "support/test_support.h"

using namespace marqen;

namespace {

// A closed spiral-ish polyline of many short segments, which never crosses itself.
MarqenBezierPath longPolyline(int segments) {
    MarqenBezierPath path;
    for (int i = 0; i <= segments; ++i) {
        const double angle = i * 6.0 * M_PI / segments, radius = 20 + 60.0 * i / segments;
        CGPoint point{100 + radius * std::cos(angle), 100 + radius * std::sin(angle)};
        if (i == 0) path.moveToPoint(point); else path.addLineToPoint(point);
    }
    path.closeSubpath();
    return path;
}

// An open zigzag of points - 1 segments, no two in a row on one line (Cairo merges those).
MarqenBezierPath zigzag(int points) {
    MarqenBezierPath path;
    path.moveToPoint({10, 50});
    for (int i = 1; i < points; ++i) path.addLineToPoint({10 + i * 0.05, i % 2 ? 60.0 : 50.0});
    return path;
}

// Pixels whose alpha differs by more than a quarter between the two surfaces.
int differingPixels(cairo_surface_t *a, cairo_surface_t *b) {
    cairo_surface_flush(a);
    cairo_surface_flush(b);
    const int width = cairo_image_surface_get_width(a), height = cairo_image_surface_get_height(a);
    int differing = 0;
    for (int y = 0; y < height; ++y) {
        auto *rowA = reinterpret_cast<const uint32_t *>(cairo_image_surface_get_data(a) + y * cairo_image_surface_get_stride(a));
        auto *rowB = reinterpret_cast<const uint32_t *>(cairo_image_surface_get_data(b) + y * cairo_image_surface_get_stride(b));
        for (int x = 0; x < width; ++x)
            if (std::abs(static_cast<int>(rowA[x] >> 24) - static_cast<int>(rowB[x] >> 24)) > 64) ++differing;
    }
    return differing;
}

int inkedPixels(cairo_surface_t *surface) {
    cairo_surface_flush(surface);
    int inked = 0;
    for (int y = 0; y < cairo_image_surface_get_height(surface); ++y) {
        auto *row = reinterpret_cast<const uint32_t *>(cairo_image_surface_get_data(surface) +
                                                         y * cairo_image_surface_get_stride(surface));
        for (int x = 0; x < cairo_image_surface_get_width(surface); ++x) inked += (row[x] >> 24) > 0;
    }
    return inked;
}

// The same path stroked by Cairo in one piece.
cairo_surface_t *strokedWhole(const MarqenBezierPath &path, double alpha) {
    cairo_surface_t *surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 200, 200);
    cairo_t *cr = cairo_create(surface);
    path.apply([&](const MarqenPathElement &element) {
        if (element.type == MarqenPathElementType::MoveToPoint) cairo_move_to(cr, element.points[0].x, element.points[0].y);
        if (element.type == MarqenPathElementType::AddLineToPoint) cairo_line_to(cr, element.points[0].x, element.points[0].y);
        if (element.type == MarqenPathElementType::CloseSubpath) cairo_close_path(cr);
    });
    cairo_set_line_width(cr, 4);
    cairo_set_source_rgba(cr, 0, 0, 0, alpha);
    cairo_stroke(cr);
    cairo_destroy(cr);
    return surface;
}

cairo_surface_t *strokedThroughContext(const MarqenBezierPath &path, double alpha) {
    cairo_surface_t *surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 200, 200);
    cairo_t *cr = cairo_create(surface);
    {
        MarqenGraphicsContext context(cr);
        context.setLineWidth(4);
        context.setStrokeColor({0, 0, 0, alpha});
        context.strokePath(path);
    }
    cairo_destroy(cr);
    return surface;
}

}  // namespace

TEST(LongPathStroke, RunsLookLikeOneStrokeOpaqueOrTranslucent) {
    const MarqenBezierPath path = longPolyline(3000);
    for (double alpha : {1.0, 0.5}) {
        cairo_surface_t *whole = strokedWhole(path, alpha);
        cairo_surface_t *runs = strokedThroughContext(path, alpha);
        EXPECT_GT(inkedPixels(whole), 5000);
        // Where runs overlap by a segment, only anti-aliased edge pixels may darken.
        EXPECT_LT(differingPixels(whole, runs), 60) << "alpha " << alpha;
        cairo_surface_destroy(whole);
        cairo_surface_destroy(runs);
    }
}

TEST(LongPathStroke, PathsBeyondTheBudgetsAreLeftOutWithOneCountedLine) {
    const MarqenResourceBudget saved = MarqenCurrentResourceBudget();
    MarqenResourceBudget budget;
    budget.pathPointsPerElement = 3000;
    budget.pathPointsPerDocument = 5000;
    MarqenSetResourceBudget(budget);
    test::LogCapture log;
    cairo_surface_t *surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 200, 200);
    cairo_t *cr = cairo_create(surface);
    int inkedAfterEach[4];
    {
        MarqenGraphicsContext context(cr);
        context.setLineWidth(4);
        context.strokePath(zigzag(3001));  // 3001 points: over the element budget
        inkedAfterEach[0] = inkedPixels(surface);
        context.strokePath(zigzag(3000));  // 3000 points: drawn
        inkedAfterEach[1] = inkedPixels(surface);
        context.strokePath(zigzag(2001));  // 2001 more would make 5001 in the document
        inkedAfterEach[2] = inkedPixels(surface);
        context.strokePath(zigzag(2000));  // exactly 5000
        inkedAfterEach[3] = inkedPixels(surface);
        CoreMarqenLog::sharedCoreMarqenLog().flushRepeatedMessages();
    }
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
    MarqenSetResourceBudget(saved);
    EXPECT_EQ(inkedAfterEach[0], 0);
    EXPECT_GT(inkedAfterEach[1], 0);
    EXPECT_EQ(inkedAfterEach[2], inkedAfterEach[1]);
    EXPECT_GE(inkedAfterEach[3], inkedAfterEach[2]);
    EXPECT_EQ(log.lines(), (std::vector<std::string>{
                               "A path was left out: a path of 3001 points exceeds the path points per element "
                               "budget (3000)",
                               "A path was left out (1 more times)"}));
}

TEST(LongPathStroke, AStrokeCrossingItselfEverywhereCostsLinearTime) {
    // Chords of a Lissajous figure: nearly every edge crosses thousands of others. Stroked whole, Cairo
    // takes many seconds for this one path; in runs it takes a fraction of one.
    MarqenBezierPath path;
    for (int i = 0; i < 20'000; ++i) {
        CGPoint point{50 + 45 * std::cos(i * 0.7), 50 + 45 * std::sin(i * 1.3)};
        if (i == 0) path.moveToPoint(point); else path.addLineToPoint(point);
    }
    path.closeSubpath();
    cairo_surface_t *surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 100, 100);
    cairo_t *cr = cairo_create(surface);
    const auto start = std::chrono::steady_clock::now();
    {
        MarqenGraphicsContext context(cr);
        context.setLineWidth(1);
        context.strokePath(path);
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_GT(inkedPixels(surface), 5000);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
    EXPECT_LT(seconds, 4.0);
}
