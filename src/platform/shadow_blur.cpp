#include "platform/shadow_blur.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>
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
    // The means of a row of sums; the test stays outside the loops so that they vectorise.
    void row(const uint32_t *sums, uint8_t *out, size_t count) const {
        const uint32_t half = window / 2, d = window, m = reciprocal;
        if (m)
            for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>(((sums[i] + half) * m) >> 24);
        else
            for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>((sums[i] + half) / d);
    }
    // The means of the windows between prefix sums: out[i] = mean(ends[i] - starts[i]).
    void differences(const uint32_t *ends, const uint32_t *starts, uint8_t *out, size_t count) const {
        const uint32_t half = window / 2, d = window, m = reciprocal;
        if (m)
            for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>(((ends[i] - starts[i] + half) * m) >> 24);
        else
            for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>((ends[i] - starts[i] + half) / d);
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

// Working memory of one blur, kept per thread between blurs so that a run of small shadows
// allocates nothing; a rare huge one gives its memory back.
struct Scratch {
    std::vector<uint32_t> prefix, sums;
    std::vector<uint8_t> copy, inked, padded, ring;
    std::vector<int> inkedRows;
    void trim() {
        constexpr size_t kKeep = size_t(4) << 20;
        if (copy.capacity() > kKeep) std::vector<uint8_t>().swap(copy);
        if (inked.capacity() > kKeep) std::vector<uint8_t>().swap(inked);
        if (ring.capacity() > kKeep) std::vector<uint8_t>().swap(ring);
    }
};

// The index of the first zero sample in [from, count), or count; eight samples at a time.
int firstZero(const uint8_t *samples, int from, int count) {
    int i = from;
    for (; i + 8 <= count; i += 8) {
        uint64_t word;
        std::memcpy(&word, samples + i, sizeof word);
        if ((word - 0x0101010101010101u) & ~word & 0x8080808080808080u) break;  // some byte is zero
    }
    while (i < count && samples[i]) ++i;
    return i;
}

// One box pass of radius r over the samples [first, end) of a row (zero outside them, as far as the
// window reaches), written in place to [first - r, end + r) within the row. Running sums over the
// span give each window's sum as the difference of two of them, a loop without branches.
void boxPassSpan(uint8_t *row, int width, int first, int end, int r, const BoxMean &mean, std::vector<uint32_t> &scratch) {
    const int lo = std::max(0, first - r), hi = std::min(width, end + r);
    // prefix[k] is the sum of the samples before index lo - r + k; the window of output i is
    // [i - r, i + r], so its sum is prefix[i - lo + 2r + 1] - prefix[i - lo].
    const int base = lo - r, length = hi + r - base + 1;
    scratch.resize(static_cast<size_t>(length));
    uint32_t *prefix = scratch.data();
    const int inkStart = first - base, inkEnd = end - base;
    std::fill(prefix, prefix + inkStart + 1, 0u);
    uint32_t sum = 0;
    for (int k = inkStart; k < inkEnd; ++k) prefix[k + 1] = sum += row[base + k];
    std::fill(prefix + inkEnd + 1, prefix + length, sum);
    mean.differences(prefix + 2 * r + 1, prefix, row + lo, static_cast<size_t>(hi - lo));
}

// One box pass of radius r along every row, in place; outside counts as zero. A row is taken in
// runs of ink split where more than a window's width of zeros lies between them: their outputs
// do not meet, and what lies between stays zero, as it is.
void boxPassAcross(uint8_t *pixels, int width, int height, int stride, int r, const BoxMean &mean, Scratch &scratch) {
    for (int y = 0; y < height; ++y) {
        uint8_t *row = pixels + static_cast<size_t>(y) * stride;
        int first = firstNonZero(row, 0, width);
        while (first < width) {
            int end = firstZero(row, first, width), next = firstNonZero(row, end, width);
            while (next < width && next - end <= 2 * r) {
                end = firstZero(row, next, width);
                next = firstNonZero(row, end, width);
            }
            boxPassSpan(row, width, first, end, r, mean, scratch.prefix);
            first = next;
        }
    }
}

// One box pass of radius r down every column at once, row after row, so memory is read in order.
// Columns are taken in blocks; a block whose window of rows holds no ink is skipped: its sums stay
// zero and its output is zero, as its input is.
void boxPassDown(uint8_t *pixels, int width, int height, int stride, int r, const BoxMean &mean, Scratch &scratch) {
    constexpr size_t kBlock = 64;
    const size_t w = static_cast<size_t>(width), blocks = (w + kBlock - 1) / kBlock;
    scratch.copy.resize(w * static_cast<size_t>(height));
    scratch.inked.resize(blocks * static_cast<size_t>(height));
    scratch.sums.assign(w, 0);
    scratch.inkedRows.assign(blocks, 0);
    uint8_t *copy = scratch.copy.data(), *inked = scratch.inked.data();
    uint32_t *sums = scratch.sums.data();
    int *inkedRows = scratch.inkedRows.data();
    for (int y = 0; y < height; ++y) {
        const uint8_t *row = pixels + static_cast<size_t>(y) * stride;
        uint8_t *rowCopy = copy + y * w;
        uint8_t *rowInked = inked + y * blocks;
        for (size_t b = 0; b < blocks; ++b) {
            const size_t x0 = b * kBlock, n = std::min(kBlock, w - x0);
            std::memcpy(rowCopy + x0, row + x0, n);
            rowInked[b] = firstNonZero(row + x0, 0, static_cast<int>(n)) < static_cast<int>(n);
        }
    }
    auto add = [&](int y, bool subtract) {
        const uint8_t *row = copy + y * w;
        const uint8_t *rowInked = inked + y * blocks;
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
            mean.row(sums + x0, out + x0, std::min(kBlock, w - x0));
        }
        if (y + r + 1 < height) add(y + r + 1, false);
        if (y - r >= 0) add(y - r, true);
    }
}

// The rounded mean of a small window's sum.
inline uint8_t smallMean(uint32_t sum, uint16_t half, uint16_t reciprocal) {
    return static_cast<uint8_t>((static_cast<uint32_t>(static_cast<uint16_t>(sum + half)) * reciprocal) >> 16);
}

// One row of means of windows of samples: the window of output i holds p[i + k] for k in K (across),
// or rows[k][i] (down). Each sum is one expression, so that the loop over i vectorises.
template <size_t... K>
void meansAcross(const uint8_t *__restrict p, uint8_t *__restrict out, size_t count, uint16_t half, uint16_t reciprocal,
                 std::index_sequence<K...>) {
    for (size_t i = 0; i < count; ++i) out[i] = smallMean((0u + ... + p[i + K]), half, reciprocal);
}

template <size_t... K>
void meansDown(const uint8_t *const *rows, uint8_t *__restrict out, size_t count, uint16_t half, uint16_t reciprocal,
               std::index_sequence<K...>) {
    const uint8_t *__restrict in[] = {rows[K]...};
    for (size_t i = 0; i < count; ++i) out[i] = smallMean((0u + ... + in[K][i]), half, reciprocal);
}

// One box pass of a small radius R across and then down, in a single sweep over the rows: each row
// is blurred across into a ring of the last 2R + 1 such rows, and the row R above it is then the
// mean of the ring, column by column. R is a constant, so that each window's sum is one expression
// and each row one loop without branches.
template <int R>
void smallBoxPass(uint8_t *pixels, int width, int height, int stride, Scratch &scratch) {
    constexpr int window = 2 * R + 1;
    constexpr uint16_t half = window / 2, reciprocal = (65536 + window - 1) / window;
    const size_t w = static_cast<size_t>(width);
    scratch.padded.assign(w + 2 * R, 0);  // the ends stay zero: outside counts as zero
    scratch.ring.resize((window + 1) * w);
    uint8_t *padded = scratch.padded.data(), *ring = scratch.ring.data();
    const uint8_t *zero = ring + window * w;  // stands for a ring row without ink
    std::memset(ring + window * w, 0, w);
    const uint8_t *rows[window];  // the ring's rows, empty ones pointing at the zero row
    for (int slot = 0; slot < window; ++slot) rows[slot] = zero;

    auto across = [&](int y) {
        const int slot = y % window;
        const uint8_t *row = pixels + static_cast<size_t>(y) * stride;
        if (y >= height || firstNonZero(row, 0, width) == width) {
            rows[slot] = zero;
            return;
        }
        std::memcpy(padded + R, row, w);
        uint8_t *out = ring + static_cast<size_t>(slot) * w;
        meansAcross(padded, out, w, half, reciprocal, std::make_index_sequence<window>());
        rows[slot] = out;
    };
    for (int y = 0; y < R && y < height; ++y) across(y);
    for (int y = 0; y < height; ++y) {
        across(y + R);
        // Row y is the mean of the rows y - R to y + R blurred across: the ring as it stands. With
        // no ink within reach the row was empty (its own ink would be in the ring) and stays so.
        bool inked = false;
        for (int slot = 0; slot < window; ++slot) inked |= rows[slot] != zero;
        if (!inked) continue;
        meansDown(rows, pixels + static_cast<size_t>(y) * stride, w, half, reciprocal, std::make_index_sequence<window>());
    }
}

// Windows of at most 15 samples: their sums stay under 2^16, and the rounded mean is the high half
// of one 16-bit product, exactly: (sum + window/2) · ceil(2^16 / window) >> 16 errs by less than
// (sum + window/2) / 2^16, under 1/window while 256·window² < 2^16.
bool smallBoxPass(uint8_t *pixels, int width, int height, int stride, int r, Scratch &scratch) {
    switch (r) {
        case 1: smallBoxPass<1>(pixels, width, height, stride, scratch); return true;
        case 2: smallBoxPass<2>(pixels, width, height, stride, scratch); return true;
        case 3: smallBoxPass<3>(pixels, width, height, stride, scratch); return true;
        case 4: smallBoxPass<4>(pixels, width, height, stride, scratch); return true;
        case 5: smallBoxPass<5>(pixels, width, height, stride, scratch); return true;
        case 6: smallBoxPass<6>(pixels, width, height, stride, scratch); return true;
        case 7: smallBoxPass<7>(pixels, width, height, stride, scratch); return true;
        default: return false;
    }
}

}  // namespace

int MarqenShadowBlurReach(double sigma) {
    if (!(sigma > 0.2)) return 0;
    int sizes[3];
    boxSizes(sigma, sizes);
    return (sizes[0] - 1) / 2 + (sizes[1] - 1) / 2 + (sizes[2] - 1) / 2;
}

void MarqenBlurAlphaMask(uint8_t *pixels, int width, int height, int stride, double sigma) {
    if (!(sigma > 0.2) || width <= 0 || height <= 0) return;
    int sizes[3];
    boxSizes(sigma, sizes);
    thread_local Scratch scratch;
    for (int size : sizes) {
        const int r = (size - 1) / 2;
        if (r <= 0) continue;
        if (smallBoxPass(pixels, width, height, stride, r, scratch)) continue;
        const BoxMean mean(size);
        boxPassAcross(pixels, width, height, stride, r, mean, scratch);
        boxPassDown(pixels, width, height, stride, r, mean, scratch);
    }
    scratch.trim();
}

}  // namespace marqen
