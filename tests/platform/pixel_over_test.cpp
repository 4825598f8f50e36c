// The shadow-then-ink span compositing against pixman itself doing the two composites one after
// the other (a solid colour through an A8 mask, then the ink): the bytes must be the same, for
// every length and starting column (the four-pixel steps and the pixels left over), with either
// source missing, and for pixels that are not validly premultiplied (where the sums saturate).
#include <gtest/gtest.h>
#include <pixman.h>

#include <cstdint>
#include <random>
#include <vector>

#include "platform/pixel_over.h"

namespace marqen {
namespace {

// dst as pixman leaves it: color through mask OVER dst, then ink OVER dst, on one row.
std::vector<uint32_t> pixmanComposite(std::vector<uint32_t> dst, const std::vector<uint8_t> *mask,
                                      const std::vector<uint32_t> *ink, uint32_t color) {
    const int width = static_cast<int>(dst.size());
    if (width == 0) return dst;
    pixman_image_t *target = pixman_image_create_bits(PIXMAN_a8r8g8b8, width, 1, dst.data(), width * 4);
    if (mask) {
        // Row stride whole 32-bit words, as pixman wants.
        std::vector<uint8_t> padded((width + 3) & ~3, 0);
        std::copy(mask->begin(), mask->end(), padded.begin());
        pixman_image_t *maskImage =
            pixman_image_create_bits(PIXMAN_a8, width, 1, reinterpret_cast<uint32_t *>(padded.data()), (width + 3) & ~3);
        // pixman keeps the top byte of each 16-bit component: a byte b is b·257.
        const pixman_color_t solid{static_cast<uint16_t>(((color >> 16) & 0xFF) * 257),
                                   static_cast<uint16_t>(((color >> 8) & 0xFF) * 257),
                                   static_cast<uint16_t>((color & 0xFF) * 257), static_cast<uint16_t>((color >> 24) * 257)};
        pixman_image_t *source = pixman_image_create_solid_fill(&solid);
        pixman_image_composite32(PIXMAN_OP_OVER, source, maskImage, target, 0, 0, 0, 0, 0, 0, width, 1);
        pixman_image_unref(source);
        pixman_image_unref(maskImage);
    }
    if (ink) {
        std::vector<uint32_t> pixels = *ink;
        pixman_image_t *source = pixman_image_create_bits(PIXMAN_a8r8g8b8, width, 1, pixels.data(), width * 4);
        pixman_image_composite32(PIXMAN_OP_OVER, source, nullptr, target, 0, 0, 0, 0, 0, 0, width, 1);
        pixman_image_unref(source);
    }
    pixman_image_unref(target);
    return dst;
}

uint32_t premultiplied(std::mt19937 &random) {
    const uint32_t alpha = random() % 256;
    uint32_t pixel = alpha << 24;
    for (int shift = 0; shift < 24; shift += 8) pixel |= (alpha ? random() % (alpha + 1) : 0) << shift;
    return pixel;
}

// Runs of zeros, of opaque pixels and of anything, as a stroke's group and its mask have them.
template <typename T, typename Make>
std::vector<T> runs(std::mt19937 &random, int count, Make make, T opaque) {
    std::vector<T> values(static_cast<size_t>(count));
    for (int i = 0; i < count;) {
        const int kind = static_cast<int>(random() % 3), length = 1 + static_cast<int>(random() % 7);
        for (int k = 0; k < length && i < count; ++k, ++i) values[i] = kind == 0 ? T{0} : kind == 1 ? opaque : make();
    }
    return values;
}

TEST(PixelOver, ShadowThenInkMatchesPixmanForEveryLengthAndStart) {
    std::mt19937 random(5);
    const uint32_t colors[] = {0x59000000u, 0xFF000000u, 0xFFFFFFFFu, 0x80402010u, 0x01010000u, 0x00000000u};
    for (int count = 0; count <= 37; ++count) {
        for (int start = 0; start < 4; ++start) {
            for (uint32_t color : colors) {
                SCOPED_TRACE(testing::Message() << "count " << count << " start " << start << " color " << std::hex << color);
                const auto mask = runs<uint8_t>(random, count, [&] { return static_cast<uint8_t>(random()); }, 0xFF);
                const auto ink = runs<uint32_t>(random, count, [&] { return premultiplied(random); }, 0xFF336699u);
                std::vector<uint32_t> dst(static_cast<size_t>(count + start));
                for (uint32_t &pixel : dst) pixel = premultiplied(random);
                const std::vector<uint32_t> under(dst.begin() + start, dst.end());
                for (int sources = 1; sources < 4; ++sources) {
                    const bool withMask = sources & 1, withInk = sources & 2;
                    std::vector<uint32_t> ours = dst;
                    overShadowThenInk(ours.data() + start, withMask ? mask.data() : nullptr, withInk ? ink.data() : nullptr,
                                      count, color);
                    const std::vector<uint32_t> expected =
                        pixmanComposite(under, withMask ? &mask : nullptr, withInk ? &ink : nullptr, color);
                    EXPECT_EQ(std::vector<uint32_t>(ours.begin() + start, ours.end()), expected) << "sources " << sources;
                    EXPECT_TRUE(std::equal(ours.begin(), ours.begin() + start, dst.begin()));  // nothing before the span
                }
            }
        }
    }
}

TEST(PixelOver, SumsSaturateAsPixmansDo) {
    // Channels above their alpha are not premultiplied; OVER then sums past 255, which saturates.
    std::mt19937 random(9);
    for (int round = 0; round < 20; ++round) {
        const int count = 1 + static_cast<int>(random() % 24);
        std::vector<uint32_t> dst(static_cast<size_t>(count)), ink(static_cast<size_t>(count));
        std::vector<uint8_t> mask(static_cast<size_t>(count));
        for (int i = 0; i < count; ++i) {
            dst[i] = static_cast<uint32_t>(random()) | 0x00F0F0F0u;
            ink[i] = (static_cast<uint32_t>(random()) & 0x7FFFFFFFu) | 0x00E0E0E0u;
            mask[i] = static_cast<uint8_t>(random());
        }
        std::vector<uint32_t> ours = dst;
        overShadowThenInk(ours.data(), mask.data(), ink.data(), count, 0xC0F0F0F0u);
        EXPECT_EQ(ours, pixmanComposite(dst, &mask, &ink, 0xC0F0F0F0u));
    }
}

TEST(PixelOver, ZerosLeaveTheTargetAlone) {
    std::vector<uint32_t> dst(19, 0x80112233u);
    const std::vector<uint8_t> mask(19, 0);
    const std::vector<uint32_t> ink(19, 0);
    overShadowThenInk(dst.data(), mask.data(), ink.data(), 19, 0xFF000000u);
    overShadowThenInk(dst.data(), nullptr, nullptr, 19, 0xFF000000u);
    const std::vector<uint8_t> fullMask(19, 0xFF);
    overShadowThenInk(dst.data(), fullMask.data(), nullptr, 19, 0);  // a colour of zero
    EXPECT_EQ(dst, std::vector<uint32_t>(19, 0x80112233u));
    // A worked pixel: 50% black through a mask of 128 over opaque white gives 0xFFBFBFBF (pixman's
    // rounding: the colour becomes 0x40000000, white keeps 191/255 of itself).
    std::vector<uint32_t> white(1, 0xFFFFFFFFu);
    const uint8_t half = 128;
    overShadowThenInk(white.data(), &half, nullptr, 1, 0x80000000u);
    EXPECT_EQ(white[0], 0xFFBFBFBFu);
}

}  // namespace
}  // namespace marqen
