// Loading and writing back a 10,000-node document as the library does it for a user (the checked parse, the
// nodes built, the text written from the nodes), against a bare JSON parse and dump of the same text measured
// in the same run (goal: at most 2, processor time). Then the whole command as users run it: `marqen normalize`
// against a process doing only the JSON parse and dump of the same file (this program started again with
// --json-floor), in real time on the 10,000-node file (goal: at most 2) and in peak memory on a 100,000-node
// file (goal: at most 1.3). MARQEN_CLI names the marqen program (default: marqen on the PATH).
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

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

// A document with nested layers and vector elements under the annotation layer, nodeCount nodes in all.
std::string makeDocumentText(int nodeCount = 10000, int indent = -1) {
    MarqenJSON groups = MarqenJSON::array();
    int nodes = 4;  // the document and its three layers
    for (int g = 0; nodes < nodeCount; ++g) {
        MarqenJSON members = MarqenJSON::array();
        for (int i = 0; i < 49 && nodes + 1 + i < nodeCount; ++i) {
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
    return document.dump(indent);
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

namespace fs = std::filesystem;

fs::path workDirectory;
std::string marqenProgram, selfProgram;

struct ProcessRun {
    bool succeeded = false;
    double seconds = 0;
    long peakKiB = 0;  // the child's peak resident set
};

// Runs a program to its end; its peak memory comes from the kernel's account of the child.
ProcessRun runProcess(const std::vector<std::string> &arguments) {
    std::vector<char *> argv;
    for (const auto &argument : arguments) argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    ProcessRun run;
    auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    if (posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return run;
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid) return run;
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    run.succeeded = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    run.peakKiB = usage.ru_maxrss;
    return run;
}

std::vector<std::string> normalizeCommand(const fs::path &input) {
    return {marqenProgram, "normalize", input.string(), "-o", (workDirectory / "normalized.json").string()};
}

std::vector<std::string> floorCommand(const fs::path &input) {
    return {selfProgram, "--json-floor", input.string(), (workDirectory / "floor.json").string()};
}

// Wall time per run of each command, the smallest over the repetitions (the reporter keeps processor time,
// which for a command is only this program waiting).
std::map<std::string, double> commandSeconds;

void runCommand(benchmark::State &state, const std::string &name, const std::vector<std::string> &command) {
    double total = 0;
    for (auto _ : state) {
        ProcessRun run = runProcess(command);
        if (!run.succeeded) {
            state.SkipWithError("the command failed");
            break;
        }
        state.SetIterationTime(run.seconds);
        total += run.seconds;
    }
    if (state.iterations() == 0) return;
    double perRun = total / static_cast<double>(state.iterations());
    auto [it, inserted] = commandSeconds.emplace(name, perRun);
    if (!inserted) it->second = std::min(it->second, perRun);
}

void BM_NormalizeCommand(benchmark::State &state) { runCommand(state, "BM_NormalizeCommand", normalizeCommand(workDirectory / "10000.json")); }
void BM_JSONFloorCommand(benchmark::State &state) { runCommand(state, "BM_JSONFloorCommand", floorCommand(workDirectory / "10000.json")); }

// The floor a command that reads and writes JSON cannot go below: the file read, parsed, dumped as normalize
// writes it and written.
int jsonFloor(const char *input, const char *output) {
    std::ifstream in(input, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::string dumped = MarqenJSON::parse(text).dump(2, ' ', false, MarqenJSON::error_handler_t::replace) + "\n";
    std::ofstream out(output, std::ios::binary);
    out << dumped;
    return out ? 0 : 1;
}

void writeText(const fs::path &path, const std::string &text) { std::ofstream(path, std::ios::binary) << text; }

// Peak memory of the two commands on the 100,000-node file, each the smallest of three runs.
void reportMemory() {
    fs::path input = workDirectory / "100000.json";
    long command = 0, floor = 0;
    for (int i = 0; i < 3; ++i) {
        ProcessRun ours = runProcess(normalizeCommand(input)), bare = runProcess(floorCommand(input));
        if (!ours.succeeded || !bare.succeeded) {
            std::printf("memory: a command failed on %s\n", input.c_str());
            marqen::bench::goalMissed() = true;
            return;
        }
        command = command == 0 ? ours.peakKiB : std::min(command, ours.peakKiB);
        floor = floor == 0 ? bare.peakKiB : std::min(floor, bare.peakKiB);
    }
    std::printf("memory: normalize %.0f MB, JSON parse+dump %.0f MB, for a %.0f MB file\n", command / 1024.0,
                floor / 1024.0, static_cast<double>(fs::file_size(input)) / (1024 * 1024));
    marqen::bench::reportRatio("normalize peak memory / JSON parse+dump (100,000 nodes)",
                               static_cast<double>(command) / static_cast<double>(floor), 1.3, 0.05);
}

}  // namespace

BENCHMARK(BM_NormalizeCommand)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(2.0);
BENCHMARK(BM_JSONFloorCommand)->Unit(benchmark::kMillisecond)->UseManualTime()->MinTime(2.0);
BENCHMARK(BM_BareParseAndDump)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
BENCHMARK(BM_DocumentLoadAndWrite)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);

int main(int argc, char **argv) {
    if (argc == 4 && std::string(argv[1]) == "--json-floor") return jsonFloor(argv[2], argv[3]);
    if (argc == 3 && std::string(argv[1]) == "--make-document") {
        writeText(argv[2], makeDocumentText(100000, 2));
        return 0;
    }
    benchmark::Initialize(&argc, argv);
    char pattern[] = "/tmp/marqen-bench-document-XXXXXX";
    if (!mkdtemp(pattern)) return 1;
    workDirectory = pattern;
    const char *cli = std::getenv("MARQEN_CLI");
    marqenProgram = cli && *cli ? cli : "marqen";
    selfProgram = fs::read_symlink("/proc/self/exe").string();
    writeText(workDirectory / "10000.json", documentText());
    // Made by a child process: a child's peak memory counts from its parent's when it starts (the kernel keeps
    // the high-water mark across the start of a program), so this one stays small.
    if (!runProcess({selfProgram, "--make-document", (workDirectory / "100000.json").string()}).succeeded) return 1;

    // The in-process pair compares processor time; the commands compare wall time (their own processes).
    marqen::bench::RatioReporter reporter(marqen::bench::Clock::Processor);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatio("document load+write / JSON parse+dump (10,000 nodes)", "BM_DocumentLoadAndWrite",
                        "BM_BareParseAndDump", 2.0);
    auto ours = commandSeconds.find("BM_NormalizeCommand"), floor = commandSeconds.find("BM_JSONFloorCommand");
    if (ours != commandSeconds.end() && floor != commandSeconds.end() && floor->second > 0)
        marqen::bench::reportRatio("normalize command / JSON parse+dump command (10,000 nodes)",
                                   ours->second / floor->second, 2.0);
    reportMemory();
    fs::remove_all(workDirectory);
    benchmark::Shutdown();
    return marqen::bench::exitStatus();
}
