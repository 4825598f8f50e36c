// The shadow blur against a plain three-pass box blur written the slow way: every sample divided,
// columns read one by one.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "platform/shadow_blur.h"

namespace marqen {
namespace {

// Three box widths whose variances add up to sigma² (odd widths, the smaller ones first).
std::vector<int> boxWidths(double sigma) {
    double ideal = std::sqrt(12 * sigma * sigma / 3 + 1);
    int lower = static_cast<int>(std::floor(ideal));
    if (lower % 2 == 0) --lower;
    double m = std::round((12 * sigma * sigma - 3.0 * lower * lower - 12.0 * lower - 9) / (-4.0 * lower - 4));
    std::vector<int> widths;
    for (int i = 0; i < 3; ++i) widths.push_back(i < m ? lower : lower + 2);
    return widths;
}

// One box pass along a line of samples; outside counts as zero; the mean is rounded half up.
std::vector<int> boxLine(const std::vector<int> &line, int r) {
    std::vector<int> out(line.size());
    const int n = static_cast<int>(line.size()), window = 2 * r + 1;
    for (int i = 0; i < n; ++i) {
        int sum = 0;
        for (int j = i - r; j <= i + r; ++j)
            if (j >= 0 && j < n) sum += line[static_cast<size_t>(j)];
        out[static_cast<size_t>(i)] = (sum + window / 2) / window;
    }
    return out;
}

std::vector<uint8_t> slowBlur(std::vector<uint8_t> pixels, int width, int height, int stride, double sigma) {
    for (int size : boxWidths(sigma)) {
        const int r = (size - 1) / 2;
        if (r <= 0) continue;
        for (int y = 0; y < height; ++y) {
            std::vector<int> line(pixels.begin() + y * stride, pixels.begin() + y * stride + width);
            line = boxLine(line, r);
            for (int x = 0; x < width; ++x) pixels[static_cast<size_t>(y * stride + x)] = uint8_t(line[size_t(x)]);
        }
        for (int x = 0; x < width; ++x) {
            std::vector<int> line;
            for (int y = 0; y < height; ++y) line.push_back(pixels[static_cast<size_t>(y * stride + x)]);
            line = boxLine(line, r);
            for (int y = 0; y < height; ++y) pixels[static_cast<size_t>(y * stride + x)] = uint8_t(line[size_t(y)]);
        }
    }
    return pixels;
}

TEST(MarqenBlurAlphaMask, MatchesThePlainBoxBlurExactly) {
    std::mt19937 random(3);
    // Small and large radii (beyond 255 samples a window takes the dividing path), rows wider than
    // the content (the padding past width must stay untouched), and masks thinner than the window.
    const struct {
        int width, height, stride;
        double sigma;
        unsigned sparseness;  // one sample in this many has ink: long empty runs and blocks are jumped over
    } cases[] = {{23, 17, 32, 1.0, 3},     {40, 31, 40, 2.5, 3},   {64, 9, 80, 6.0, 3},   {5, 70, 8, 12.0, 3},
                 {400, 12, 404, 140.0, 3}, {300, 90, 300, 1.0, 400}, {211, 150, 212, 2.0, 900}, {90, 40, 92, 4.0, 5000},
                 // Windows of up to 15 samples take 16-bit sums, wider ones 32-bit (8.0: widths 15, 15 and 17).
                 {50, 9, 52, 3.0, 1},      {33, 40, 36, 1.5, 2},   {70, 50, 72, 8.0, 4},  {3, 3, 4, 0.5, 1},
                 {17, 60, 20, 4.6, 1}};
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << c.sigma << " " << c.sparseness);
        std::vector<uint8_t> pixels(static_cast<size_t>(c.stride * c.height), 0xAB);
        for (int y = 0; y < c.height; ++y)
            for (int x = 0; x < c.width; ++x)
                pixels[static_cast<size_t>(y * c.stride + x)] = random() % c.sparseness ? 0 : uint8_t(random());
        std::vector<uint8_t> expected = slowBlur(pixels, c.width, c.height, c.stride, c.sigma);
        MarqenBlurAlphaMask(pixels.data(), c.width, c.height, c.stride, c.sigma);
        EXPECT_EQ(pixels, expected);
    }
}

TEST(MarqenBlurAlphaMask, BlursAHollowOutlineAsThePlainBoxBlur) {
    // A stroked rectangle: ink along the edges only, an empty inside wider than any window.
    const int width = 260, height = 190, stride = 260;
    std::vector<uint8_t> pixels(static_cast<size_t>(stride * height), 0);
    for (int y = 10; y < 180; ++y)
        for (int x = 12; x < 248; ++x)
            if (y < 14 || y >= 176 || x < 16 || x >= 244) pixels[static_cast<size_t>(y * stride + x)] = 200;
    for (double sigma : {1.0, 3.0}) {
        std::vector<uint8_t> blurred = pixels;
        MarqenBlurAlphaMask(blurred.data(), width, height, stride, sigma);
        EXPECT_EQ(blurred, slowBlur(pixels, width, height, stride, sigma)) << sigma;
    }
}

TEST(MarqenBlurAlphaMask, BlursSlantedStrokesAndRowsWithShortSpansAsThePlainBoxBlur) {
    // A slanted band and short runs of ink that start and end at every distance from the edges: each
    // row is worked on near its own ink only, which must give the whole rows' results.
    const int width = 150, height = 120, stride = 152;
    std::mt19937 random(17);
    std::vector<uint8_t> pixels(static_cast<size_t>(stride * height), 0);
    for (int y = 0; y < height; ++y) {
        for (int x = y; x < y + 4 && x < width; ++x) pixels[static_cast<size_t>(y * stride + x)] = 255;
        if (y % 3 == 0) {
            const int start = static_cast<int>(random() % width), length = 1 + static_cast<int>(random() % 9);
            for (int x = start; x < std::min(width, start + length); ++x)
                pixels[static_cast<size_t>(y * stride + x)] = static_cast<uint8_t>(1 + random() % 255);
        }
    }
    for (int x : {0, width - 1}) pixels[static_cast<size_t>(60 * stride + x)] = 90;  // ink on the edges
    for (double sigma : {0.6, 1.0, 2.0, 3.0, 4.6}) {
        std::vector<uint8_t> blurred = pixels;
        MarqenBlurAlphaMask(blurred.data(), width, height, stride, sigma);
        EXPECT_EQ(blurred, slowBlur(pixels, width, height, stride, sigma)) << sigma;
    }
}

TEST(MarqenBlurAlphaMask, FaintSamplesWhoseMeansRoundToZeroAreCleared) {
    // A lone sample of 1 blurs to means of 0 all around it, itself included: it must not survive.
    const int width = 200, height = 40, stride = 200;
    std::vector<uint8_t> pixels(static_cast<size_t>(stride * height), 0);
    for (int x : {3, 70, 101, 196}) pixels[static_cast<size_t>(20 * stride + x)] = 1;
    for (int x = 150; x < 160; ++x) pixels[static_cast<size_t>(5 * stride + x)] = 2;  // faint, elsewhere
    for (int x = 10; x < 40; ++x) pixels[static_cast<size_t>(30 * stride + x)] = 255;  // ink in other blocks
    for (double sigma : {0.6, 1.0, 2.0}) {
        std::vector<uint8_t> blurred = pixels;
        MarqenBlurAlphaMask(blurred.data(), width, height, stride, sigma);
        EXPECT_EQ(blurred, slowBlur(pixels, width, height, stride, sigma)) << sigma;
        EXPECT_EQ(blurred[static_cast<size_t>(20 * stride + 101)], 0) << sigma;
    }
}

TEST(MarqenBlurAlphaMask, SpreadsASolidSquareSymmetricallyAndLeavesTinyRadiiAlone) {
    const int side = 61;
    std::vector<uint8_t> pixels(side * side, 0);
    for (int y = 15; y < 46; ++y)
        for (int x = 15; x < 46; ++x) pixels[static_cast<size_t>(y * side + x)] = 255;
    std::vector<uint8_t> untouched = pixels;
    MarqenBlurAlphaMask(pixels.data(), side, side, side, 0.1);
    EXPECT_EQ(pixels, untouched);

    MarqenBlurAlphaMask(pixels.data(), side, side, side, 3.0);
    auto at = [&](int x, int y) { return pixels[static_cast<size_t>(y * side + x)]; };
    EXPECT_EQ(at(30, 30), 255);  // the middle stays solid
    EXPECT_GT(at(14, 30), 0);    // ink spreads past the edge
    EXPECT_LT(at(15, 30), 255);  // and the edge softens
    EXPECT_EQ(at(0, 0), 0);
    for (int i = 0; i < side; ++i) {
        EXPECT_EQ(at(i, 30), at(side - 1 - i, 30));
        EXPECT_EQ(at(30, i), at(30, side - 1 - i));
        EXPECT_NEAR(at(30, i), at(i, 30), 1);  // rows are blurred before columns: rounding may differ by one
    }
}

}  // namespace
}  // namespace marqen
