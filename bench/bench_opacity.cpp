// The bitmap opacity test on a 4000 x 3000 picture, against the two SHA-1 digests of the picture drawn
// over transparent black and over white that give the same answers. Prints
// "ratio: opacity scan / two digests" for an opaque picture with an alpha channel, which the scan reads
// to the end (goal: at most 0.05, that is at least 20 times faster; processor time). A picture decoded
// without alpha needs no scan at all (its time is printed beside).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

#include "bench_ratio_reporter.h"
#include "platform/digest.h"
#include "platform/image.h"

namespace {

using namespace marqen;

constexpr int kWidth = 4000, kHeight = 3000;

MarqenImageRef opaquePicture(bool knownOpaque) {
    auto image = MarqenImage::createUninitialized(kWidth, kHeight);
    for (int y = 0; y < kHeight; ++y) {
        uint32_t *row = image->row(y);
        for (int x = 0; x < kWidth; ++x) row[x] = 0xFF000000u | static_cast<uint32_t>(x * 7 + y * 13);
    }
    if (knownOpaque) image->markKnownOpaque();
    return image;
}

MarqenSHA1Digest digestOver(const MarqenImage &image, uint32_t background) {
    MarqenSHA1Context context;
    std::vector<uint8_t> row;
    for (int y = 0; y < image.height(); ++y) {
        row.clear();
        const uint32_t *pixels = image.row(y);
        for (int x = 0; x < image.width(); ++x) {
            uint32_t argb = pixels[x], alpha = argb >> 24, added = ((255 - alpha) * background + 127) / 255;
            for (int shift : {16, 8, 0}) row.push_back(static_cast<uint8_t>(std::min(255u, ((argb >> shift) & 0xFF) + added)));
            row.push_back(static_cast<uint8_t>(std::min(255u, alpha + added)));
        }
        context.update(row.data(), row.size());
    }
    return context.finish();
}

void BM_TwoDigests(benchmark::State &state) {
    static const MarqenImageRef image = opaquePicture(false);
    for (auto _ : state) benchmark::DoNotOptimize(digestOver(*image, 0) == digestOver(*image, 255));
}

void BM_OpacityScan(benchmark::State &state) {
    static const MarqenImageRef image = opaquePicture(false);
    const MarqenImage &constImage = *image;
    for (auto _ : state) benchmark::DoNotOptimize(constImage.isOpaque());
}

void BM_OpacityDecodedWithoutAlpha(benchmark::State &state) {
    static const MarqenImageRef image = opaquePicture(true);
    const MarqenImage &constImage = *image;
    for (auto _ : state) benchmark::DoNotOptimize(constImage.isOpaque());
}

BENCHMARK(BM_TwoDigests)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_OpacityScan)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_OpacityDecodedWithoutAlpha)->Unit(benchmark::kNanosecond)->MinTime(0.2);

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    marqen::bench::RatioReporter reporter(marqen::bench::Clock::Processor);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatio("12 MP opacity: scan / two SHA-1 digests", "BM_OpacityScan", "BM_TwoDigests", 0.05);
    reporter.printRatio("12 MP opacity: decoded without alpha / two SHA-1 digests", "BM_OpacityDecodedWithoutAlpha",
                        "BM_TwoDigests", 0.0001);
    benchmark::Shutdown();
    return marqen::bench::exitStatus();
}
