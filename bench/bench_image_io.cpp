// A 4000 × 3000 photo-like picture rendered by the whole `marqen render` command (a document that is the
// picture with nothing over it, loaded from a resources folder) against the whole `vips copy in out` command
// doing the same decode and encode, both started afresh for every run and timed in wall time, their runs
// interleaved in the same program run. Prints "ratio: ... render command / vips copy command" of the fastest
// runs for JPEG (at the same quality, 75; goal: at most 1.3) and PNG (goal: at most 1.1: the command streams
// the picture through the same libvips decoder and encoder, and deflate dominates, so what it may add is its
// start-up and its safe write, the file and its folder flushed to disk, which vips copy does not do).
// MARQEN_CLI names the marqen program (default: marqen on the PATH).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "bench_ratio_reporter.h"
#include "platform/image_io.h"

using namespace marqen;
namespace fs = std::filesystem;

namespace {

const char *const kResourceName = "5b0e6c1a-7d2f-4e3a-9c41-0a1b2c3d4e5f";
fs::path workDirectory;
std::string marqenProgram;

// A photo-like test card: smooth gradients with mild noise, so both codecs have real work to do.
bool prepareInputs() {
    MarqenImageRef image = MarqenImage::create(4000, 3000);
    std::mt19937 random(7);
    for (int y = 0; y < 3000; ++y) {
        uint32_t *row = image->row(y);
        for (int x = 0; x < 4000; ++x) {
            int noise = static_cast<int>(random() % 9) - 4;
            auto clamp = [](int v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); };
            row[x] = MarqenImagePremultiply(255, clamp(x * 255 / 3999 + noise), clamp(y * 255 / 2999 + noise),
                                            clamp(((x / 50 + y / 50) % 2) * 120 + 60 + noise));
        }
    }
    MarqenImageEncodeOptions options;
    options.quality = 0.75;
    const std::string document =
        std::string(R"({"type":"Document","frame":{"x":0,"y":0,"width":4000,"height":3000},"children":[)") +
        R"({"type":"Layer","layerId":"__background__","children":[{"type":"Bitmap",)" +
        R"("frame":{"x":0,"y":0,"width":4000,"height":3000},"uri":"marqen+uuid:///)" + kResourceName + R"("}]},)" +
        R"({"type":"Layer","layerId":"__annotation__"},{"type":"Layer","layerId":"__text__"}]})";
    std::ofstream(workDirectory / "document.json") << document;
    for (auto [format, extension] : {std::pair{MarqenImageFormat::PNG, "png"}, std::pair{MarqenImageFormat::JPEG, "jpg"}}) {
        const fs::path resources = workDirectory / (std::string("resources-") + extension);
        fs::create_directories(resources);
        const fs::path input = workDirectory / (std::string("in.") + extension);
        if (!MarqenImageWriteToFile(*image, input, format, options)) return false;
        fs::copy_file(input, resources / kResourceName);
    }
    return true;
}

// Runs a program to its end with its output thrown away; true when it succeeded.
bool runProcess(const std::vector<std::string> &arguments) {
    std::vector<char *> argv;
    for (const auto &argument : arguments) argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const bool started = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    return started && waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Wall time of every run of each command. On a shared machine the fastest run of each, over runs interleaved
// with the other's, is the one least disturbed; the ratios compare those (and print the medians beside).
std::map<std::string, std::vector<double>> commandSeconds;

void runCommand(benchmark::State &state, const std::string &name, const std::vector<std::string> &command) {
    std::vector<double> &runs = commandSeconds[name];
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        if (!runProcess(command)) {
            state.SkipWithError(("failed: " + command[0] + " " + command[1]).c_str());
            break;
        }
        runs.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
}

double fastest(const std::vector<double> &runs) { return *std::min_element(runs.begin(), runs.end()); }
double median(std::vector<double> runs) {
    std::sort(runs.begin(), runs.end());
    return runs[runs.size() / 2];
}

void reportCommandRatio(const std::string &format, const std::string &ours, const std::string &baseline, double goal) {
    auto top = commandSeconds.find(ours), bottom = commandSeconds.find(baseline);
    if (top == commandSeconds.end() || bottom == commandSeconds.end() || top->second.empty() || bottom->second.empty())
        return;
    std::printf("%s: render command %.0f ms fastest, %.0f ms median (%zu runs); vips copy %.0f ms fastest, %.0f ms "
                "median (%zu runs); ratio of medians %.3f\n",
                format.c_str(), fastest(top->second) * 1000, median(top->second) * 1000, top->second.size(),
                fastest(bottom->second) * 1000, median(bottom->second) * 1000, bottom->second.size(),
                median(top->second) / median(bottom->second));
    marqen::bench::reportRatio("4000x3000 " + format + ": render command / vips copy command (fastest runs)",
                               fastest(top->second) / fastest(bottom->second), goal);
}

std::vector<std::string> renderCommand(const char *extension) {
    return {marqenProgram, "render", (workDirectory / "document.json").string(), "--resources",
            (workDirectory / (std::string("resources-") + extension)).string(), "--quality", "75", "-o",
            (workDirectory / (std::string("rendered.") + extension)).string()};
}

std::vector<std::string> vipsCommand(const char *extension) {
    const std::string output = (workDirectory / (std::string("copied.") + extension)).string();
    return {"vips", "copy", (workDirectory / (std::string("in.") + extension)).string(),
            std::string(extension) == "jpg" ? output + "[Q=75]" : output};
}

void BM_RenderCommandJPEG(benchmark::State &state) { runCommand(state, "render JPEG", renderCommand("jpg")); }
void BM_VipsCopyCommandJPEG(benchmark::State &state) { runCommand(state, "vips JPEG", vipsCommand("jpg")); }
void BM_RenderCommandPNG(benchmark::State &state) { runCommand(state, "render PNG", renderCommand("png")); }
void BM_VipsCopyCommandPNG(benchmark::State &state) { runCommand(state, "vips PNG", vipsCommand("png")); }

}  // namespace

BENCHMARK(BM_RenderCommandJPEG)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_VipsCopyCommandJPEG)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
// A PNG round trip takes seconds: a few runs a repetition.
BENCHMARK(BM_RenderCommandPNG)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_VipsCopyCommandPNG)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    char pattern[] = "/tmp/marqen-bench-image-io-XXXXXX";
    if (!mkdtemp(pattern)) return 1;
    workDirectory = pattern;
    const char *cli = std::getenv("MARQEN_CLI");
    marqenProgram = cli && *cli ? cli : "marqen";
    if (!prepareInputs()) {
        std::fprintf(stderr, "bench_image_io: cannot write the inputs in %s\n", pattern);
        return 1;
    }
    marqen::bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reportCommandRatio("JPEG", "render JPEG", "vips JPEG", 1.3);
    reportCommandRatio("PNG", "render PNG", "vips PNG", 1.1);
    std::error_code ignored;
    fs::remove_all(workDirectory, ignored);
    benchmark::Shutdown();
    return marqen::bench::exitStatus();
}
