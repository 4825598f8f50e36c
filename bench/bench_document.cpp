// Loading and writing back a 10,000-node document as the library does it for a user (the checked parse, the
// nodes built, the text written from the nodes), against a bare JSON parse and dump of the same text measured
// in the same run. Prints "ratio: document load+write / JSON parse+dump" (goal: at most 2;
// processor time).
#include <benchmark/benchmark.h>

#include <string>

#include "bench_ratio_reporter.h"
#include "formats/dom_json_file.h"
#include "foundation/json.h"

namespace {

using marqen::MarqenJSON;

MarqenJSON point(double x, double y) { return {{"x", x}, {"y", y}}; }

// One of the six vector kinds, chosen by index, placed by the group number.
MarqenJSON vectorElement(int index, const std::string &guid, int group) {
    double x = 10 + (index % 40) * 20, y = 10 + group % 100 * 10;
    MarqenJSON color{{"red", 255}, {"green", 59}, {"blue", 48}, {"alpha", 1}};
    MarqenJSON element{{"type", "Vector"}, {"guid", guid}, {"strokeColor", color}, {"lineWidth", 3}};
    switch (index % 6) {
        case 0:
            element["path"] = "M" + std::to_string(x) + "," + std::to_string(y) + "C10,20 30,40 50,60C70,80 90,100 110,120";
            break;
        case 1:
            element["extension"] = {{"type", "Polygon"},
                                    {"vertices", {point(x, y), point(x + 50, y), point(x + 50, y + 30), point(x, y + 30)}},
                                    {"extension", {{"type", "Rectangle"}, {"cornerRadius", 6}}}};
            break;
        case 2:
            element["extension"] = {
                {"type", "Ellipse"}, {"center", point(x, y)}, {"xradius", 30}, {"yradius", 20}, {"theta", 0.2}};
            break;
        case 3:
            element["extension"] = {{"type", "Line"}, {"startPoint", point(x, y)}, {"endPoint", point(x + 80, y + 40)}};
            break;
        case 4:
            element["extension"] = {
                {"type", "Polygon"}, {"vertices", {point(x, y), point(x + 40, y), point(x + 20, y + 30)}}};
            break;
        default:
            element.erase("strokeColor");
            element["fillColor"] = color;
            element["extension"] = {{"type", "Arrow"},
                                    {"startPoint", point(x, y)},
                                    {"endPoint", point(x + 120, y + 60)},
                                    {"toolArrowSize", 12}};
            break;
    }
    return element;
}

// A document with nested layers and vector elements under the annotation layer, 10,000 nodes in all.
std::string makeDocumentText() {
    MarqenJSON groups = MarqenJSON::array();
    int nodes = 4;  // the document and its three layers
    for (int g = 0; nodes < 10000; ++g) {
        MarqenJSON members = MarqenJSON::array();
        for (int i = 0; i < 49 && nodes + 1 + i < 10000; ++i) {
            std::string guid = "00000000-0000-4000-8000-" + std::to_string(100000000000 + g * 100 + i);
            // Every other member is one of the vector kinds, which rebuild their outlines when read.
            if (i % 2 == 1) {
                members.push_back(vectorElement(i / 2, guid, g));
                continue;
            }
            members.push_back({{"type", "Layer"},
                               {"guid", guid},
                               {"metadata", {{"index", i}}},
                               {"transform", {{"a", 1}, {"b", 0}, {"c", 0}, {"d", 1}, {"e", i}, {"f", g}}},
                               {"style", {{"shadowRadius", 2}, {"shadowOpacity", 0.5}}}});
        }
        nodes += 1 + static_cast<int>(members.size());
        groups.push_back({{"type", "Layer"}, {"layerId", "group-" + std::to_string(g)}, {"children", members}});
    }
    MarqenJSON document{{"type", "Document"},
                        {"children",
                         {{{"type", "Layer"}, {"layerId", "__background__"}},
                          {{"type", "Layer"}, {"layerId", "__annotation__"}, {"children", groups}},
                          {{"type", "Layer"}, {"layerId", "__text__"}}}},
                        {"frame", {{"x", 0}, {"y", 0}, {"width", 4000}, {"height", 3000}}},
                        {"deviceScale", 2}};
    return document.dump();
}

const std::string &documentText() {
    static const std::string text = makeDocumentText();
    return text;
}


void BM_BareParseAndDump(benchmark::State &state) {
    const std::string &text = documentText();
    for (auto _ : state) {
        auto json = MarqenJSON::parse(text);
        std::string out = json.dump();
        benchmark::DoNotOptimize(out);
    }
}

void BM_DocumentLoadAndWrite(benchmark::State &state) {
    const std::string &text = documentText();
    for (auto _ : state) {
        auto content = marqen::MarqenReadDOMJSON(text, nullptr);
        if (!content) {
            state.SkipWithError("the document did not load");
            break;
        }
        std::string out = content->JSONText();
        benchmark::DoNotOptimize(out);
    }
}

}  // namespace

BENCHMARK(BM_BareParseAndDump)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
BENCHMARK(BM_DocumentLoadAndWrite)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    marqen::bench::RatioReporter reporter(marqen::bench::Clock::Processor);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatio("document load+write / JSON parse+dump (10,000 nodes)", "BM_DocumentLoadAndWrite",
                        "BM_BareParseAndDump", 2.0);
    benchmark::Shutdown();
    return marqen::bench::exitStatus();
}
