// Fits a recorded handwriting stroke (tests/data/ink/writing_10000.stroke through the ink filter) of
// 1,000, 10,000 and 100,000 points and reports how the time grows per 10 times more points
// (goal: linear, at most 12 times). Longer strokes continue the recording in further rows of writing.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

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

void BM_FitRecordedStroke(benchmark::State &state) {
    std::vector<float> pts = filteredStroke(static_cast<size_t>(state.range(0)));
    if (pts.empty()) {
        state.SkipWithError("recorded stroke missing");
        return;
    }
    size_t curves = 0;
    for (auto _ : state) {
        marqen::MarqenPathFitter fitter(pts.data(), static_cast<int32_t>(pts.size() / 2), recording().width);
        marqen::MarqenBezierPath path = fitter.path();
        curves = path.elementCount() - 1;
        benchmark::DoNotOptimize(path);
    }
    state.counters["points"] = static_cast<double>(pts.size() / 2);
    state.counters["curves"] = static_cast<double>(curves);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(pts.size() / 2));
}
BENCHMARK(BM_FitRecordedStroke)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

// Keeps the processor time per iteration of each stroke length for the growth report (steadier than
// wall time on a shared machine).
class GrowthReporter : public benchmark::ConsoleReporter {
public:
    GrowthReporter()
        : ConsoleReporter(::isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular) {}

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs)
            if (run.run_type == Run::RT_Iteration && !run.error_occurred && run.iterations > 0)
                seconds[run.run_name.args] = run.cpu_accumulated_time / static_cast<double>(run.iterations);
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> seconds;
};

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    GrowthReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    auto at = [&](const char *points) {
        auto found = reporter.seconds.find(points);
        return found == reporter.seconds.end() ? NAN : found->second;
    };
    double t1k = at("1000"), t10k = at("10000"), t100k = at("100000");
    if (std::isnan(t1k) || std::isnan(t100k)) return 0;  // a filter left out a length
    double perTenfold = std::sqrt(t100k / t1k);
    std::printf("ratio: %.2fx per 10x more points (1,000 -> 10,000: %.2fx, 10,000 -> 100,000: %.2fx; goal <= 12x)\n",
                perTenfold, t10k / t1k, t100k / t10k);
    benchmark::Shutdown();
    return 0;
}
