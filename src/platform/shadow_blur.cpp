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

// The rounded mean (sum + window/2) / window. Below 256 samples a window's rounded sums stay under
// 256·window, where multiplying by ceil(2^24 / window) and shifting gives the quotient exactly, and
// a multiply vectorises where a divide does not.
struct BoxMean {
    explicit BoxMean(int window)
        : window(static_cast<uint32_t>(window)),
          reciprocal(window < 256 ? static_cast<uint32_t>(((uint64_t(1) << 24) + window - 1) / window) : 0) {}
    uint8_t operator()(uint32_t sum) const {
        uint32_t n = sum + window / 2;
        return static_cast<uint8_t>(reciprocal ? (n * reciprocal) >> 24 : n / window);
    }
    // The means of a row of sums; the test stays outside the loops so that they vectorise.
    void row(const uint32_t *sums, uint8_t *out, size_t count) const {
        const uint32_t half = window / 2, d = window, m = reciprocal;
        if (m)
            for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>(((sums[i] + half) * m) >> 24);
        else
            for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>((sums[i] + half) / d);
    }
    uint32_t window, reciprocal;
};

// One box pass of radius r from `count` contiguous samples into samples `step` bytes apart;
// outside counts as zero.
void boxPass(const uint8_t *src, uint8_t *dst, int count, size_t step, int r) {
    const BoxMean mean(2 * r + 1);
    uint32_t sum = 0;
    for (int i = 0; i <= std::min(r, count - 1); ++i) sum += src[i];
    for (int i = 0; i < count; ++i) {
        dst[static_cast<size_t>(i) * step] = mean(sum);
        int incoming = i + r + 1, outgoing = i - r;
        if (incoming < count) sum += src[incoming];
        if (outgoing >= 0) sum -= src[outgoing];
    }
}

// One box pass of radius r down every column at once, row after row, so memory is read in order.
// The arithmetic is boxPass's, column by column.
void boxPassDown(uint8_t *pixels, int width, int height, int stride, int r, std::vector<uint8_t> &copy,
                 std::vector<uint32_t> &sums) {
    const size_t w = static_cast<size_t>(width);
    for (int y = 0; y < height; ++y)
        std::copy(pixels + static_cast<size_t>(y) * stride, pixels + static_cast<size_t>(y) * stride + w,
                  copy.begin() + static_cast<std::ptrdiff_t>(y * w));
    const BoxMean mean(2 * r + 1);
    std::fill(sums.begin(), sums.begin() + static_cast<std::ptrdiff_t>(w), 0);
    for (int y = 0; y <= std::min(r, height - 1); ++y) {
        const uint8_t *row = copy.data() + y * w;
        for (size_t x = 0; x < w; ++x) sums[x] += row[x];
    }
    for (int y = 0; y < height; ++y) {
        uint8_t *out = pixels + static_cast<size_t>(y) * stride;
        mean.row(sums.data(), out, w);
        int incoming = y + r + 1, outgoing = y - r;
        if (incoming < height) {
            const uint8_t *row = copy.data() + incoming * w;
            for (size_t x = 0; x < w; ++x) sums[x] += row[x];
        }
        if (outgoing >= 0) {
            const uint8_t *row = copy.data() + outgoing * w;
            for (size_t x = 0; x < w; ++x) sums[x] -= row[x];
        }
    }
}

}  // namespace

void MarqenBlurAlphaMask(uint8_t *pixels, int width, int height, int stride, double sigma) {
    if (!(sigma > 0.2) || width <= 0 || height <= 0) return;
    int sizes[3];
    boxSizes(sigma, sizes);
    std::vector<uint8_t> line(static_cast<size_t>(width));
    std::vector<uint8_t> copy(static_cast<size_t>(width) * static_cast<size_t>(height));
    std::vector<uint32_t> sums(static_cast<size_t>(width));
    for (int size : sizes) {
        const int r = (size - 1) / 2;
        if (r <= 0) continue;
        for (int y = 0; y < height; ++y) {
            uint8_t *row = pixels + static_cast<size_t>(y) * stride;
            std::copy(row, row + width, line.begin());
            boxPass(line.data(), row, width, 1, r);
        }
        boxPassDown(pixels, width, height, stride, r, copy, sums);
    }
}

}  // namespace marqen
