// Building an arrow's outline, against appending the same nine path elements with fixed points
// (what any path costs to build), measured in the same run. Reported: "ratio" = outline / fixed path.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>

#include "dom/arrow.h"

namespace {

using marqen::CGPoint;
using marqen::MarqenBezierPath;
using marqen::MarqenDOMArrow;

// End points spread over every direction and over short and long arrows.
CGPoint endPointFor(int i) {
    double angle = i * 0.37, length = 10 + (i % 50) * 8;
    return {100 + length * std::cos(angle), 100 + length * std::sin(angle)};
}

MarqenBezierPath fixedPath(CGPoint end) {
    MarqenBezierPath path;
    path.moveToPoint({0, -1.5});
    path.addCurveToPoint({88, -2.6}, {138, -3.7}, {176, -6});
    path.addLineToPoint({173, -13});
    path.addLineToPoint(end);
    path.addLineToPoint({173, 13});
    path.addLineToPoint({176, 6});
    path.addCurveToPoint({138, 3.7}, {88, 2.6}, {0, 1.5});
    path.addCurveToPoint({-2, 1.4}, {-2, -1.4}, {0, -1.5});
    path.closeSubpath();
    return path;
}

void BM_FixedNineElementPath(benchmark::State &state) {
    int i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(fixedPath(endPointFor(i++)));
}

void BM_ArrowOutline(benchmark::State &state) {
    int i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(MarqenDOMArrow::makeArrowPath({100, 100}, endPointFor(i++), 10));
}

// Dragging an arrow's tip: each move rebuilds the outline and posts the change notifications.
void BM_ArrowDragRebuild(benchmark::State &state) {
    auto arrow = MarqenDOMArrow::create();
    arrow->setToolArrowSize(10);
    arrow->setStartPoint({100, 100});
    int i = 0;
    for (auto _ : state) arrow->setEndPoint(endPointFor(i++ % 1000 + 1000));
}

void BM_RatioOutlineToFixedPath(benchmark::State &state) {
    using clock = std::chrono::steady_clock;
    constexpr int kRounds = 2000;
    double fixed = 0, outline = 0;
    for (auto _ : state) {
        auto t0 = clock::now();
        for (int i = 0; i < kRounds; ++i) benchmark::DoNotOptimize(fixedPath(endPointFor(i)));
        auto t1 = clock::now();
        for (int i = 0; i < kRounds; ++i)
            benchmark::DoNotOptimize(MarqenDOMArrow::makeArrowPath({100, 100}, endPointFor(i), 10));
        auto t2 = clock::now();
        fixed += std::chrono::duration<double>(t1 - t0).count();
        outline += std::chrono::duration<double>(t2 - t1).count();
    }
    state.counters["ratio"] = outline / fixed;
    state.counters["outline_us"] = 1e6 * outline / (static_cast<double>(state.iterations()) * kRounds);
}

}  // namespace

BENCHMARK(BM_FixedNineElementPath);
BENCHMARK(BM_ArrowOutline);
BENCHMARK(BM_ArrowDragRebuild);
BENCHMARK(BM_RatioOutlineToFixedPath)->Iterations(20);
BENCHMARK_MAIN();
