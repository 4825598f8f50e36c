// Redraw cost of the GTK document view's page picture: a 4K page with 500 annotations shown whole on a
// 2× display (3840 × 2160 device pixels) while one element is dragged, drawn incrementally (only around
// the element's old and new place) against drawing the whole page again for every frame. Goal: the
// incremental frame costs at most a fifth of a full one.
#include <benchmark/benchmark.h>

#include <random>

#include "bench_ratio_reporter.h"
#include "canvas_cache.h"
#include "dom/arrow.h"
#include "dom/ellipse.h"
#include "dom/rectangle.h"
#include "foundation/geometry_functions.h"

namespace {

constexpr int kViewWidth = 1920, kViewHeight = 1080;
constexpr double kScale = 2;

struct Scene {
    std::shared_ptr<marqen::MarqenDOMDocument> page;
    std::shared_ptr<marqen::MarqenDOMElement> dragged;
    marqen::gtk::CanvasCache cache;
    marqen::CGAffineTransform toView{0.5, 0, 0, 0.5, 0, 0};

    Scene() {
        page = marqen::MarqenDOMDocument::createWithSize({3840, 2160}, 1);
        std::mt19937 random(7);
        std::uniform_real_distribution<double> x(40, 3700), y(40, 2020), size(30, 140);
        for (int index = 0; index < 500; ++index) {
            const marqen::CGPoint start{x(random), y(random)};
            const marqen::CGPoint end{start.x + size(random), start.y + size(random)};
            std::shared_ptr<marqen::MarqenDOMVector> element;
            switch (index % 3) {
                case 0: element = marqen::MarqenDOMRectangle::create(); break;
                case 1: element = marqen::MarqenDOMEllipse::create(); break;
                default: element = marqen::MarqenDOMArrow::create(); break;
            }
            element->beginAtPoint(start);
            element->endAtPoint(end, {0, 0}, {}, marqen::CGAffineTransformIdentity);
            element->setToolSizeRelative(0.6);
            page->addNode(element);
            if (index == 250) dragged = element;
        }
        cache.setDocument(page);
        cache.update(kViewWidth, kViewHeight, kScale, toView);
    }
};

Scene &scene() {
    static Scene shared;
    return shared;
}

// One frame of a drag: the element moves by a few units and the picture is brought up to date.
void BM_DragFrameIncremental(benchmark::State &state) {
    Scene &s = scene();
    double direction = 1;
    for (auto _ : state) {
        s.dragged->translate({4 * direction, 2 * direction});
        direction = -direction;
        benchmark::DoNotOptimize(s.cache.update(kViewWidth, kViewHeight, kScale, s.toView));
    }
    state.counters["pixels"] = s.cache.lastDrawnPixels();
}

void BM_DragFrameFull(benchmark::State &state) {
    Scene &s = scene();
    double direction = 1;
    for (auto _ : state) {
        s.dragged->translate({4 * direction, 2 * direction});
        direction = -direction;
        s.cache.invalidateAll();
        benchmark::DoNotOptimize(s.cache.update(kViewWidth, kViewHeight, kScale, s.toView));
    }
    state.counters["pixels"] = s.cache.lastDrawnPixels();
}

BENCHMARK(BM_DragFrameIncremental)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_DragFrameFull)->Unit(benchmark::kMillisecond)->MinTime(0.5);

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    marqen::bench::RatioReporter reporter(marqen::bench::Clock::Processor);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatio("4K page, 500 annotations, one dragged: incremental frame / full frame", "BM_DragFrameIncremental",
                        "BM_DragFrameFull", 0.2);
    benchmark::Shutdown();
    return marqen::bench::exitStatus();
}
