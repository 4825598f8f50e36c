// Building an arrow's outline, against appending the same nine path elements with fixed points
// (what any path costs to build), measured in the same run. Prints "ratio: arrow outline / fixed
// nine-element path" (goal: at most 4; processor time).
#include <benchmark/benchmark.h>

#include <cmath>

#include "bench_ratio_reporter.h"
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

}  // namespace

BENCHMARK(BM_FixedNineElementPath)->UseRealTime()->MinTime(0.5);
BENCHMARK(BM_ArrowOutline)->UseRealTime()->MinTime(0.5);
BENCHMARK(BM_ArrowDragRebuild)->UseRealTime()->MinTime(0.5);

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    marqen::bench::RatioReporter reporter(marqen::bench::Clock::Processor);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatio("arrow outline / fixed nine-element path", "BM_ArrowOutline", "BM_FixedNineElementPath", 4.0);
    benchmark::Shutdown();
    return marqen::bench::exitStatus();
}
