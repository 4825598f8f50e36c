// A 10,000-point marker stroke drawn through the document view at 240 events per second: the time from
// the release to the fitted path installed on the page, against the fitter alone on the same filtered
// points (goal: at most 1.2 times), and the longest processor time the main thread spends on one event
// of the stroke (goal: at most 4 ms; the wall time is printed beside it). The events carry 240 Hz timestamps; they are fed as fast as the view takes
// them, and each one is timed.
#include <benchmark/benchmark.h>

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <vector>

#include "bench_ratio_reporter.h"
#include "dom/document.h"
#include "dom/layer.h"
#include "dom/vector.h"
#include "dom/vector_stroke_fitting.h"
#include "editing/tools_model.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "ink/rite_point_filter.h"
#include "interaction/document_view.h"
#include "interaction/preferences.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kPoints = 10000;

// A scribble across a 2000 × 1500 page: loops along a slow wave, like handwriting, never leaving the page.
std::vector<marqen::CGPoint> strokeSamples() {
    std::vector<marqen::CGPoint> samples;
    for (int i = 0; i < kPoints; ++i) {
        double t = i / double(kPoints);
        double loop = i * 0.12;
        samples.push_back({100 + 1800 * t + 25 * std::cos(loop), 750 + 400 * std::sin(t * 6 * M_PI) + 35 * std::sin(loop)});
    }
    return samples;
}

const std::vector<marqen::CGPoint> &samples() {
    static const std::vector<marqen::CGPoint> value = strokeSamples();
    return value;
}

// The longest single event on the main thread: its own processor time (what the view spends), and the
// wall time (which includes whatever else the machine did meanwhile).
double longestEventMs = 0, longestEventWallMs = 0;

double threadCpuMs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}
// The drawn stroke's line width, which the fit uses too.
float strokeWidth = 0;

void BM_ControllerMarkerStroke(benchmark::State &state) {
    for (auto _ : state) {
        auto document = marqen::MarqenDOMDocument::createWithSize({2000, 1500}, 1);
        document->setUndoManager(std::make_shared<marqen::UndoManager>());
        marqen::MarqenToolsModel tools;
        tools.chooseTool(marqen::MarqenTool(marqen::MarqenToolIDMarker));
        marqen::MarqenPreferences preferences(std::make_shared<marqen::MarqenMemoryPreferencesStore>());
        marqen::MarqenDocumentView view(document, &tools, &preferences);
        const auto &points = samples();
        double longest = 0, longestWall = 0;
        auto timed = [&](auto call) {
            auto begin = Clock::now();
            double cpuBegin = threadCpuMs();
            call();
            longest = std::max(longest, threadCpuMs() - cpuBegin);
            longestWall = std::max(longestWall, std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
        };
        timed([&] { view.pointerPressed({points[0]}); });
        for (int i = 1; i < kPoints - 1; ++i) {
            marqen::MarqenPointerEvent event{points[size_t(i)]};
            event.timestamp = i / 240.0;
            timed([&] { view.pointerMoved(event); });
        }
        marqen::MarqenPointerEvent last{points.back()};
        last.timestamp = (kPoints - 1) / 240.0;
        auto release = Clock::now();
        timed([&] { view.pointerReleased(last); });
        // Installed once the fit has come back through the main queue.
        marqen::ThreadPool::shared().waitIdle();
        marqen::MainQueue::shared().drain();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - release).count());
        longestEventMs = std::max(longestEventMs, longest);
        longestEventWallMs = std::max(longestEventWallMs, longestWall);
        auto stroke = std::dynamic_pointer_cast<marqen::MarqenDOMVector>(document->annotationLayer()->childAtIndex(0));
        if (!stroke || !stroke->bezierPath()) state.SkipWithError("no stroke was drawn");
        if (stroke) strokeWidth = float(stroke->lineWidth());
    }
}
BENCHMARK(BM_ControllerMarkerStroke)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5)->Repetitions(3);

void BM_FitterAlone(benchmark::State &state) {
    marqen::MarqenRitePointFilter filter;
    for (const auto &point : samples()) filter.filterPoint(point);
    const std::vector<marqen::CGPoint> filtered = filter.filteredPoints();
    for (auto _ : state) {
        auto begin = Clock::now();
        auto path = marqen::MarqenDOMVectorFitStroke(filtered, strokeWidth);
        benchmark::DoNotOptimize(path);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
    }
}
BENCHMARK(BM_FitterAlone)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5)->Repetitions(3);

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    marqen::bench::RatioReporter reporter(marqen::bench::Clock::Real);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatio("marker stroke of 10,000 points, release to fitted path / fitter alone",
                        "BM_ControllerMarkerStroke", "BM_FitterAlone", 1.2);
    if (reporter.time("BM_ControllerMarkerStroke") > 0)
    {
        marqen::bench::reportRatio("longest main-thread processor time for one stroke event (ms)", longestEventMs, 4);
        marqen::bench::reportRatio("longest wall time for one stroke event (ms, includes other load)", longestEventWallMs);
    }
    benchmark::Shutdown();
    return marqen::bench::exitStatus();
}
