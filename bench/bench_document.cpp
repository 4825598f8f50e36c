// Loading and writing back a 10,000-node document, against a bare JSON parse and dump of the same
// text measured in the same run. Reported: "ratio" = (load + write) / (parse + dump); goal at most 3.
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>

#include "dom/document.h"
#include "foundation/json.h"

namespace {

using marqen::MarqenJSON;

// A document with nested layers under the annotation layer, 10,000 nodes in all.
std::string makeDocumentText() {
    MarqenJSON groups = MarqenJSON::array();
    int nodes = 4;  // the document and its three layers
    for (int g = 0; nodes < 10000; ++g) {
        MarqenJSON members = MarqenJSON::array();
        for (int i = 0; i < 49 && nodes + 1 + i < 10000; ++i)
            members.push_back({{"type", "Layer"},
                               {"guid", "00000000-0000-4000-8000-" + std::to_string(100000000000 + g * 100 + i)},
                               {"metadata", {{"index", i}}},
                               {"transform", {{"a", 1}, {"b", 0}, {"c", 0}, {"d", 1}, {"e", i}, {"f", g}}},
                               {"style", {{"shadowRadius", 2}, {"shadowOpacity", 0.5}}}});
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
        auto json = MarqenJSON::parse(text);
        auto document = marqen::MarqenDOMDocument::fromDictionary(json);
        std::string out = document->dictionaryRepresentation().dump();
        benchmark::DoNotOptimize(out);
    }
}

// Runs both in one process and reports their ratio.
void BM_RatioLoadWriteToBareJSON(benchmark::State &state) {
    const std::string &text = documentText();
    using clock = std::chrono::steady_clock;
    double bare = 0, full = 0;
    for (auto _ : state) {
        auto t0 = clock::now();
        {
            auto json = MarqenJSON::parse(text);
            benchmark::DoNotOptimize(json.dump());
        }
        auto t1 = clock::now();
        {
            auto json = MarqenJSON::parse(text);
            auto document = marqen::MarqenDOMDocument::fromDictionary(json);
            benchmark::DoNotOptimize(document->dictionaryRepresentation().dump());
        }
        auto t2 = clock::now();
        bare += std::chrono::duration<double>(t1 - t0).count();
        full += std::chrono::duration<double>(t2 - t1).count();
    }
    state.counters["ratio"] = full / bare;
    state.counters["bare_ms"] = 1000 * bare / static_cast<double>(state.iterations());
    state.counters["full_ms"] = 1000 * full / static_cast<double>(state.iterations());
}

}  // namespace

BENCHMARK(BM_BareParseAndDump)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DocumentLoadAndWrite)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RatioLoadWriteToBareJSON)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK_MAIN();
