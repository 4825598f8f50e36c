#include "platform/shadow_blur.h"

#include <algorithm>
#include <cmath>
#include <cstring>
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

// The index of the first non-zero sample in [from, count), or count; eight samples at a time.
int firstNonZero(const uint8_t *samples, int from, int count) {
    int i = from;
    for (; i + 8 <= count; i += 8) {
        uint64_t word;
        std::memcpy(&word, samples + i, sizeof word);
        if (word) break;
    }
    while (i < count && !samples[i]) ++i;
    return i;
}

// One box pass of radius r along a row of `count` samples; outside counts as zero. A shadow mask is
// mostly empty (the inside of a stroked outline, the margins), so runs whose window holds nothing
// are jumped over: their output is zero, as their input already is (src and dst hold the same row).
void boxPassRow(const uint8_t *src, uint8_t *dst, int count, int r, const BoxMean &mean) {
    uint32_t sum = 0;
    for (int i = 0; i <= std::min(r, count - 1); ++i) sum += src[i];
    int i = 0;
    while (i < count) {
        if (sum == 0) {
            // The window of i is empty: the next output that is not zero is the first whose window
            // reaches the next ink sample.
            const int next = firstNonZero(src, std::min(i + r + 1, count), count);
            if (next >= count) return;
            i = next - r;
            sum = src[next];
        }
        // Inside the row, where the window lies wholly within it, the edges need no tests.
        const int end = std::min(count - r - 1, count);
        while (i < count && sum != 0) {
            dst[i] = mean(sum);
            if (i >= r && i < end) {
                sum += static_cast<uint32_t>(src[i + r + 1]) - src[i - r];
            } else {
                if (i + r + 1 < count) sum += src[i + r + 1];
                if (i - r >= 0) sum -= src[i - r];
            }
            ++i;
        }
    }
}

// One box pass of radius r down every column at once, row after row, so memory is read in order.
// The arithmetic is boxPassRow's, column by column. Columns are taken in blocks; a block whose
// window of rows holds no ink is skipped: its sums stay zero and its output is zero, as its input is.
void boxPassDown(uint8_t *pixels, int width, int height, int stride, int r, std::vector<uint8_t> &copy,
                 std::vector<uint32_t> &sums, std::vector<uint8_t> &inked, std::vector<int> &inkedRows) {
    constexpr size_t kBlock = 64;
    const size_t w = static_cast<size_t>(width), blocks = (w + kBlock - 1) / kBlock;
    for (int y = 0; y < height; ++y) {
        const uint8_t *row = pixels + static_cast<size_t>(y) * stride;
        uint8_t *rowCopy = copy.data() + y * w;
        uint8_t *rowInked = inked.data() + y * blocks;
        for (size_t b = 0; b < blocks; ++b) {
            const size_t x0 = b * kBlock, n = std::min(kBlock, w - x0);
            std::memcpy(rowCopy + x0, row + x0, n);
            rowInked[b] = firstNonZero(row + x0, 0, static_cast<int>(n)) < static_cast<int>(n);
        }
    }
    const BoxMean mean(2 * r + 1);
    std::fill(sums.begin(), sums.begin() + static_cast<std::ptrdiff_t>(w), 0);
    std::fill(inkedRows.begin(), inkedRows.begin() + static_cast<std::ptrdiff_t>(blocks), 0);
    auto add = [&](int y, bool subtract) {
        const uint8_t *row = copy.data() + y * w;
        const uint8_t *rowInked = inked.data() + y * blocks;
        for (size_t b = 0; b < blocks; ++b) {
            if (!rowInked[b]) continue;
            const size_t x0 = b * kBlock, x1 = std::min(w, x0 + kBlock);
            if (subtract) {
                for (size_t x = x0; x < x1; ++x) sums[x] -= row[x];
                --inkedRows[b];
            } else {
                for (size_t x = x0; x < x1; ++x) sums[x] += row[x];
                ++inkedRows[b];
            }
        }
    };
    for (int y = 0; y <= std::min(r, height - 1); ++y) add(y, false);
    for (int y = 0; y < height; ++y) {
        uint8_t *out = pixels + static_cast<size_t>(y) * stride;
        for (size_t b = 0; b < blocks; ++b) {
            if (!inkedRows[b]) continue;
            const size_t x0 = b * kBlock;
            mean.row(sums.data() + x0, out + x0, std::min(kBlock, w - x0));
        }
        if (y + r + 1 < height) add(y + r + 1, false);
        if (y - r >= 0) add(y - r, true);
    }
}

}  // namespace

void MarqenBlurAlphaMask(uint8_t *pixels, int width, int height, int stride, double sigma) {
    if (!(sigma > 0.2) || width <= 0 || height <= 0) return;
    int sizes[3];
    boxSizes(sigma, sizes);
    const size_t w = static_cast<size_t>(width), h = static_cast<size_t>(height);
    std::vector<uint8_t> line(w), copy(w * h), inked(h * ((w + 63) / 64));
    std::vector<uint32_t> sums(w);
    std::vector<int> inkedRows((w + 63) / 64);
    for (int size : sizes) {
        const int r = (size - 1) / 2;
        if (r <= 0) continue;
        const BoxMean mean(size);
        for (int y = 0; y < height; ++y) {
            uint8_t *row = pixels + static_cast<size_t>(y) * stride;
            if (firstNonZero(row, 0, width) == width) continue;  // an empty row stays empty
            std::copy(row, row + width, line.begin());
            boxPassRow(line.data(), row, width, r, mean);
        }
        boxPassDown(pixels, width, height, stride, r, copy, sums, inked, inkedRows);
    }
}

}  // namespace marqen
