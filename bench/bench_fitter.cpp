// Fits two kinds of stroke of 1,000, 10,000 and 100,000 points and reports how the time grows per 10
// times more points (goal: linear, at most 12 times per step): recorded handwriting
// (tests/data/ink/writing_10000.stroke through the ink filter; longer strokes continue the recording in
// further rows of writing), which has many corners, and a long smooth spiral, which has none and so
// gives the fitter its longest runs between corners.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "bench_ratio_reporter.h"
#include "ink/path_fitter.h"
#include "ink/rite_point_filter.h"

namespace {

struct Recording {
    float width = 5;
    std::vector<marqen::CGPoint> samples;
};

Recording readRecording() {
    Recording recording;
    std::ifstream in(std::string(MARQEN_SOURCE_DIR) + "/tests/data/ink/writing_10000.stroke");
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        if (line.rfind("width", 0) == 0) {
            std::string word;
            fields >> word >> recording.width;
            continue;
        }
        marqen::CGPoint p;
        if (fields >> p.x >> p.y) recording.samples.push_back(p);
    }
    return recording;
}

const Recording &recording() {
    static const Recording value = readRecording();
    return value;
}

// The first `count` filtered points of the recording, written again lower down as often as needed.
std::vector<float> filteredStroke(size_t count) {
    const Recording &rec = recording();
    double minY = INFINITY, maxY = -INFINITY;
    for (const marqen::CGPoint &p : rec.samples) {
        minY = std::min(minY, p.y);
        maxY = std::max(maxY, p.y);
    }
    marqen::MarqenRitePointFilter filter;
    for (int copy = 0; filter.filteredPoints().size() < count && !rec.samples.empty(); ++copy)
        for (const marqen::CGPoint &p : rec.samples) filter.filterPoint({p.x, p.y + copy * (maxY - minY + 100)});
    std::vector<float> pts;
    for (size_t i = 0; i < count && i < filter.filteredPoints().size(); ++i) {
        pts.push_back(static_cast<float>(filter.filteredPoints()[i].x));
        pts.push_back(static_cast<float>(filter.filteredPoints()[i].y));
    }
    return pts;
}

// An Archimedean spiral sampled every 2 units of arc length, through the ink filter: smooth throughout.
std::vector<float> spiralStroke(size_t count) {
    marqen::MarqenRitePointFilter filter;
    double angle = 0;
    const double spacing = 2, growth = 6 / (2 * M_PI);  // the turns lie 6 units apart
    for (size_t i = 0; filter.filteredPoints().size() < count && i < 20 * count; ++i) {
        double radius = 40 + growth * angle;
        filter.filterPoint({1000 + radius * std::cos(angle), 1000 + radius * std::sin(angle)});
        angle += spacing / radius;
    }
    std::vector<float> pts;
    for (size_t i = 0; i < count && i < filter.filteredPoints().size(); ++i) {
        pts.push_back(static_cast<float>(filter.filteredPoints()[i].x));
        pts.push_back(static_cast<float>(filter.filteredPoints()[i].y));
    }
    return pts;
}

void fitStroke(benchmark::State &state, const std::vector<float> &pts, float width) {
    if (pts.size() / 2 < static_cast<size_t>(state.range(0))) {
        state.SkipWithError("stroke shorter than asked");
        return;
    }
    size_t curves = 0;
    for (auto _ : state) {
        marqen::MarqenPathFitter fitter(pts.data(), static_cast<int32_t>(pts.size() / 2), width);
        marqen::MarqenBezierPath path = fitter.path();
        curves = path.elementCount() - 1;
        benchmark::DoNotOptimize(path);
    }
    state.counters["points"] = static_cast<double>(pts.size() / 2);
    state.counters["curves"] = static_cast<double>(curves);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(pts.size() / 2));
}

void BM_FitRecordedStroke(benchmark::State &state) {
    fitStroke(state, filteredStroke(static_cast<size_t>(state.range(0))), recording().width);
}
BENCHMARK(BM_FitRecordedStroke)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_FitSmoothSpiral(benchmark::State &state) {
    fitStroke(state, spiralStroke(static_cast<size_t>(state.range(0))), 5);
}
BENCHMARK(BM_FitSmoothSpiral)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// Keeps the fastest processor time per iteration of each case for the growth report (processor time is
// steadier than wall time on a shared machine).
class GrowthReporter : public benchmark::ConsoleReporter {
public:
    GrowthReporter() : ConsoleReporter(::isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular) {}

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred || run.iterations <= 0) continue;
            double time = run.cpu_accumulated_time / static_cast<double>(run.iterations);
            auto [it, inserted] = seconds.emplace(run.run_name.function_name + "/" + run.run_name.args, time);
            if (!inserted && time < it->second) it->second = time;
        }
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> seconds;
};

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    GrowthReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    auto at = [&](const std::string &name) {
        auto found = reporter.seconds.find(name);
        return found == reporter.seconds.end() ? NAN : found->second;
    };
    for (const char *kind : {"BM_FitRecordedStroke", "BM_FitSmoothSpiral"}) {
        std::string name = kind, label = name == "BM_FitSmoothSpiral" ? "smooth spiral" : "recorded handwriting";
        double t1k = at(name + "/1000"), t10k = at(name + "/10000"), t100k = at(name + "/100000");
        if (!std::isnan(t1k) && !std::isnan(t10k))
            marqen::bench::reportRatio("fitter growth, " + label + ", 1,000 -> 10,000 points", t10k / t1k, 12, 0.15);
        if (!std::isnan(t10k) && !std::isnan(t100k))
            marqen::bench::reportRatio("fitter growth, " + label + ", 10,000 -> 100,000 points", t100k / t10k, 12,
                                       0.15);
    }
    benchmark::Shutdown();
    return marqen::bench::exitStatus();
}
