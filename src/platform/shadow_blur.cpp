#include "platform/shadow_blur.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace marqen {

namespace {

// Box widths (odd) for n passes whose combined variance matches sigma² (W. Jarosz, "Fast image convolutions").
void boxSizes(double sigma, int sizes[3]) {
    const int n = 3;
    double ideal = std::sqrt(12 * sigma * sigma / n + 1);
    int lower = static_cast<int>(std::floor(ideal));
    if (lower % 2 == 0) --lower;
    int upper = lower + 2;
    double m = std::round((12 * sigma * sigma - n * lower * lower - 4 * n * lower - 3 * n) / (-4 * lower - 4));
    for (int i = 0; i < n; ++i) sizes[i] = i < m ? lower : upper;
}

// One box pass of radius r from `count` contiguous samples into samples `step` bytes apart;
// outside counts as zero.
void boxPass(const uint8_t *src, uint8_t *dst, int count, size_t step, int r) {
    const int window = 2 * r + 1;
    int sum = 0;
    for (int i = 0; i <= std::min(r, count - 1); ++i) sum += src[i];
    for (int i = 0; i < count; ++i) {
        dst[static_cast<size_t>(i) * step] = static_cast<uint8_t>((sum + window / 2) / window);
        int incoming = i + r + 1, outgoing = i - r;
        if (incoming < count) sum += src[incoming];
        if (outgoing >= 0) sum -= src[outgoing];
    }
}

}  // namespace

void MarqenBlurAlphaMask(uint8_t *pixels, int width, int height, int stride, double sigma) {
    if (!(sigma > 0.2) || width <= 0 || height <= 0) return;
    int sizes[3];
    boxSizes(sigma, sizes);
    std::vector<uint8_t> line(static_cast<size_t>(std::max(width, height)));
    for (int size : sizes) {
        const int r = (size - 1) / 2;
        if (r <= 0) continue;
        for (int y = 0; y < height; ++y) {
            uint8_t *row = pixels + static_cast<size_t>(y) * stride;
            std::copy(row, row + width, line.begin());
            boxPass(line.data(), row, width, 1, r);
        }
        for (int x = 0; x < width; ++x) {
            for (int y = 0; y < height; ++y) line[static_cast<size_t>(y)] = pixels[static_cast<size_t>(y) * stride + x];
            boxPass(line.data(), pixels + x, height, static_cast<size_t>(stride), r);
        }
    }
}

}  // namespace marqen
