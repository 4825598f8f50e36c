// Packing a bundle into a rich PNG (a 4000 × 3000 preview and 10 MB of resources in ten files) against
// `cp` of the preview plus `cat` of the resources onto it, and unpacking that rich PNG into a fresh bundle
// against `cp` of the rich file, in the same run. Goals: pack at most 1.5 ×, unpack at most 2 ×.
//
// A pack is a safe write: the file is flushed to disk before it is renamed into place, which `cp` and
// `cat` never do. So packing is compared twice: the chunk writing alone (the codec writing straight to
// its output) against `cp`+`cat`, and the whole safe pack against `cp`+`cat` followed by `sync` of the
// written file, which is the same work with the same durability.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "bench_ratio_reporter.h"
#include "formats/composition_bundle.h"
#include "formats/rich_image/composition_png_codec.h"
#include "formats/rich_image/rich_png.h"
#include "platform/image_io.h"

using namespace marqen;
namespace fs = std::filesystem;

namespace {

fs::path workDir() {
    static fs::path dir = [] {
        auto path = fs::temp_directory_path() / ("marqen-bench-rich-image-" + std::to_string(::getpid()));
        fs::create_directories(path);
        return path;
    }();
    return dir;
}

fs::path bundleDir() { return workDir() / "bundle"; }
fs::path richFile() { return workDir() / "rich.png"; }

std::string shellQuoted(const fs::path &path) { return std::string("'") + path.string() + "'"; }

// Both sides of a comparison write a new file each iteration, as the library always does (it writes beside
// the target and renames). Writing over the last iteration's file instead would make ext4 flush the file
// truncated to nothing on close, and the next truncation wait for that flush: a cost of the bench, not of
// the writer, and larger for the side that writes more of its bytes through the truncated file.
void removeUntimed(benchmark::State &state, const fs::path &path) {
    state.PauseTiming();
    std::error_code ignored;
    fs::remove(path, ignored);
    state.ResumeTiming();
}

// A photo-like 4000 × 3000 preview and ten 1 MB resources of random bytes; packed once for unpacking.
void prepareInputs() {
    static bool done = false;
    if (done) return;
    done = true;
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(bundleDir());
    MarqenImageRef image = MarqenImage::create(4000, 3000);
    std::mt19937 random(7);
    for (int y = 0; y < 3000; ++y) {
        uint32_t *row = image->row(y);
        for (int x = 0; x < 4000; ++x) {
            int noise = int(random() % 9) - 4;
            auto clamp = [](int v) { return uint32_t(v < 0 ? 0 : v > 255 ? 255 : v); };
            row[x] = 0xFF000000u | clamp(x * 255 / 3999 + noise) << 16 | clamp(y * 255 / 2999 + noise) << 8 |
                     clamp(((x / 50 + y / 50) % 2) * 120 + 60 + noise);
        }
    }
    MarqenImageWriteToFile(*image, bundle->previewURL(), MarqenImageFormat::PNG);
    std::string index = "{\"type\":\"Document\",\"children\":[]}";
    bundle->writeDataForIndexJSONFile(index, nullptr);
    for (int i = 0; i < 10; ++i) {
        std::string bytes(1 << 20, '\0');
        for (char &c : bytes) c = char(random());
        char name[64];
        std::snprintf(name, sizeof name, "%08x-0000-4000-8000-%012x", i, i);
        FILE *file = std::fopen((bundle->resourcesURL() / name).c_str(), "wb");
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        std::fclose(file);
    }
    bundle->writePNGAtPath(richFile(), nullptr);
}

void BM_PackRichPNG(benchmark::State &state) {
    prepareInputs();
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(bundleDir());
    for (auto _ : state) {
        MarqenCompositionPNGCodec codec;
        MarqenError error;
        if (!codec.encodeBundle(bundle, workDir() / "packed.png", &error)) {
            state.SkipWithError(error.description().c_str());
            break;
        }
    }
}

// The codec's chunk writing without the safe-write step.
void BM_WriteRichPNGChunks(benchmark::State &state) {
    prepareInputs();
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(bundleDir());
    MarqenCompositionPNGCodec codec;
    codec.encodeBundle(bundle, workDir() / "packed.png", nullptr);  // gives the codec its bundle
    const std::string out = (workDir() / "chunks.png").string();
    for (auto _ : state) {
        removeUntimed(state, out);
        if (MarqenPNGWriteChunks(&codec, bundle->previewURL().c_str(), out.c_str(),
                                 MarqenCompositionPNGCodec::MarqenCompositionPNGCodecWriteChunkCallback) != 0) {
            state.SkipWithError("writing the chunks failed");
            break;
        }
    }
}

void copyAndConcatenate(benchmark::State &state, bool flush) {
    prepareInputs();
    const fs::path resources = bundleDir() / "Contents" / "Resources";
    const fs::path out = workDir() / "copied.png";
    std::string command = "cp " + shellQuoted(resources / "preview.png") + " " + shellQuoted(out) + " && cat " +
                          shellQuoted(resources) + "/*-* >> " + shellQuoted(out);
    if (flush) command += " && sync " + shellQuoted(out);
    for (auto _ : state) {
        removeUntimed(state, out);
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("cp/cat failed");
            break;
        }
    }
}

void BM_CpPreviewCatResources(benchmark::State &state) { copyAndConcatenate(state, false); }
void BM_CpPreviewCatResourcesSync(benchmark::State &state) { copyAndConcatenate(state, true); }

void BM_UnpackRichPNG(benchmark::State &state) {
    prepareInputs();
    for (auto _ : state) {
        std::error_code ec;
        fs::remove_all(workDir() / "unpacked", ec);
        auto bundle = MarqenCompositionBundle::bundleAtDirectory(workDir() / "unpacked");
        MarqenCompositionPNGCodec codec;
        MarqenError error;
        if (!bundle || !codec.decodeImageAtURL(richFile(), bundle, &error)) {
            state.SkipWithError(error.description().c_str());
            break;
        }
    }
}

void BM_CpRichFile(benchmark::State &state) {
    prepareInputs();
    std::string command = "cp " + shellQuoted(richFile()) + " " + shellQuoted(workDir() / "copied-rich.png");
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("cp failed");
            break;
        }
    }
}

BENCHMARK(BM_PackRichPNG)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_WriteRichPNGChunks)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_CpPreviewCatResourcesSync)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_CpPreviewCatResources)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_UnpackRichPNG)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_CpRichFile)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    marqen::bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatio("rich PNG chunk writing / cp+cat", "BM_WriteRichPNGChunks", "BM_CpPreviewCatResources", 1.5);
    reporter.printRatio("rich PNG safe pack / cp+cat+sync", "BM_PackRichPNG", "BM_CpPreviewCatResourcesSync", 1.5);
    reporter.printRatio("rich PNG safe pack / cp+cat", "BM_PackRichPNG", "BM_CpPreviewCatResources");
    reporter.printRatio("rich PNG unpack / cp", "BM_UnpackRichPNG", "BM_CpRichFile", 2.0);
    std::error_code ignored;
    fs::remove_all(workDir(), ignored);
    benchmark::Shutdown();
    return marqen::bench::exitStatus();
}
