// Decoding and re-encoding a 4000 × 3000 PNG and JPEG through the image adapter, against the same
// work done by the `vips` command-line tool (`vips copy in out`) in the same run. Prints
// "ratio: <format> adapter/vips = x" for each format (goal: at most 1.1).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <string>

#include "bench_ratio_reporter.h"
#include "platform/image_io.h"

using namespace marqen;

namespace {

std::filesystem::path workDir() {
    static std::filesystem::path dir = [] {
        auto path = std::filesystem::temp_directory_path() / ("marqen-bench-image-io-" + std::to_string(::getpid()));
        std::filesystem::create_directories(path);
        return path;
    }();
    return dir;
}

// A photo-like test card: smooth gradients with mild noise, so both codecs have real work to do.
void prepareInputs() {
    static bool done = false;
    if (done) return;
    done = true;
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
    MarqenImageWriteToFile(*image, workDir() / "in.png", MarqenImageFormat::PNG, options);
    MarqenImageWriteToFile(*image, workDir() / "in.jpg", MarqenImageFormat::JPEG, options);
}

void adapterRoundTrip(benchmark::State &state, const char *name, MarqenImageFormat format) {
    prepareInputs();
    MarqenImageEncodeOptions options;
    options.quality = 0.75;  // the vips tool's default JPEG quality
    for (auto _ : state) {
        MarqenError error;
        MarqenImageProperties properties;
        MarqenImageRef image = MarqenImageDecodeFile(workDir() / name, &properties, &error);
        if (!image || !MarqenImageWriteToFile(*image, workDir() / (std::string("adapter-") + name), format, options, &error)) {
            state.SkipWithError(error.description().c_str());
            break;
        }
    }
}

void commandLineRoundTrip(benchmark::State &state, const char *name) {
    prepareInputs();
    std::string command = "vips copy '" + (workDir() / name).string() + "' '" +
                          (workDir() / (std::string("cli-") + name)).string() + "'";
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("vips copy failed");
            break;
        }
    }
}

void BM_AdapterPNG(benchmark::State &state) { adapterRoundTrip(state, "in.png", MarqenImageFormat::PNG); }
void BM_VipsToolPNG(benchmark::State &state) { commandLineRoundTrip(state, "in.png"); }
void BM_AdapterJPEG(benchmark::State &state) { adapterRoundTrip(state, "in.jpg", MarqenImageFormat::JPEG); }
void BM_VipsToolJPEG(benchmark::State &state) { commandLineRoundTrip(state, "in.jpg"); }

BENCHMARK(BM_AdapterPNG)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_VipsToolPNG)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_AdapterJPEG)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_VipsToolJPEG)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    marqen::bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatio("4000x3000 PNG: adapter / vips copy", "BM_AdapterPNG", "BM_VipsToolPNG", 1.1);
    reporter.printRatio("4000x3000 JPEG: adapter / vips copy", "BM_AdapterJPEG", "BM_VipsToolJPEG", 1.1);
    std::error_code ignored;
    std::filesystem::remove_all(workDir(), ignored);
    benchmark::Shutdown();
    return marqen::bench::exitStatus();
}
