#include <gtest/gtest.h>

#include "platform/bmp_codec.h"
#include "platform/image_io.h"
#include "platform/image_resample.h"

using namespace marqen;

namespace {
MarqenImageRef quadrants() {  // 4 × 2: red, green | blue, clear
    MarqenImageRef image = MarqenImage::create(4, 2);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 4; ++x)
            image->setPixelAt(x, y, x < 2 ? (y == 0 ? 0xFFFF0000u : 0xFF00FF00u) : (y == 0 ? 0xFF0000FFu : 0u));
    return image;
}
}  // namespace

TEST(MarqenImageResample, QuarterTurnsAndCrop) {
    MarqenImageRef image = quadrants();
    MarqenImageRef turned = MarqenImageRotateQuarterTurns(*image, 1);
    ASSERT_EQ(turned->width(), 2);
    ASSERT_EQ(turned->height(), 4);
    EXPECT_EQ(turned->pixelAt(1, 0), 0xFFFF0000u);  // top-left went to the top-right
    EXPECT_EQ(turned->pixelAt(0, 0), 0xFF00FF00u);
    EXPECT_EQ(turned->pixelAt(1, 3), 0xFF0000FFu);
    MarqenImageRef back = MarqenImageRotateQuarterTurns(*turned, -1);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(back->pixelAt(x, y), image->pixelAt(x, y));
    MarqenImageRef half = MarqenImageRotateQuarterTurns(*image, 6);
    EXPECT_EQ(half->pixelAt(3, 1), 0xFFFF0000u);

    MarqenImageRef crop = MarqenImageCrop(*image, CGRectMake(1.5, -3, 10, 4));  // rounded out and clipped
    ASSERT_TRUE(crop);
    EXPECT_EQ(crop->width(), 3);
    EXPECT_EQ(crop->height(), 1);
    EXPECT_EQ(crop->pixelAt(0, 0), 0xFFFF0000u);
    EXPECT_EQ(crop->pixelAt(1, 0), 0xFF0000FFu);
    MarqenError error;
    EXPECT_FALSE(MarqenImageCrop(*image, CGRectMake(10, 10, 5, 5), &error));
    EXPECT_EQ(error.code, MarqenNativeImageErrorInvalidArgument);
}

TEST(MarqenImageResample, ResizeKeepsFlatColoursAndAlpha) {
    MarqenImageRef image = MarqenImage::create(40, 40);
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 40; ++x) image->setPixelAt(x, y, x < 20 ? MarqenImagePremultiply(128, 10, 200, 30) : 0);
    MarqenImageRef small = MarqenImageResize(*image, 13, 7);
    ASSERT_TRUE(small);
    EXPECT_EQ(small->width(), 13);
    EXPECT_EQ(small->height(), 7);
    EXPECT_EQ(small->pixelAt(1, 3), image->pixelAt(0, 0));  // flat areas keep their exact colour
    EXPECT_EQ(small->pixelAt(12, 3), 0u);
    for (int y = 0; y < 7; ++y)
        for (int x = 0; x < 13; ++x) {
            uint32_t p = small->pixelAt(x, y), a = p >> 24;
            EXPECT_LE((p >> 16) & 0xFF, a);  // still premultiplied at the edge
            EXPECT_LE((p >> 8) & 0xFF, a);
        }
    MarqenImageRef big = MarqenImageResize(*image, 101, 99);
    ASSERT_TRUE(big);
    EXPECT_EQ(big->width(), 101);
    EXPECT_EQ(big->pixelAt(10, 50), image->pixelAt(0, 0));
    MarqenError error;
    EXPECT_FALSE(MarqenImageResize(*image, 0, 10, &error));
}

TEST(MarqenImageResample, AffineTransform) {
    MarqenImageRef image = quadrants();
    MarqenImageRef same = MarqenImageApplyAffineTransform(*image, CGAffineTransformIdentity, CGRectMake(0, 0, 4, 2));
    ASSERT_TRUE(same);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(same->pixelAt(x, y), image->pixelAt(x, y)) << x << "," << y;
    // Twice the size, moved right by 30: the output area is in the output plane.
    MarqenImageRef halves = MarqenImage::create(20, 10);
    for (int y = 0; y < 10; ++y)
        for (int x = 0; x < 20; ++x) halves->setPixelAt(x, y, x < 10 ? 0xFFFF0000u : 0xFF0000FFu);
    CGAffineTransform t = CGAffineTransformConcat(CGAffineTransformMakeScale(2, 2), CGAffineTransformMakeTranslation(30, 0));
    MarqenImageRef scaled = MarqenImageApplyAffineTransform(*halves, t, CGRectMake(0, 0, 100, 20));
    ASSERT_TRUE(scaled);
    EXPECT_EQ(scaled->width(), 100);
    EXPECT_EQ(scaled->height(), 20);
    EXPECT_EQ(scaled->pixelAt(10, 10), 0u);  // left of the moved image
    EXPECT_EQ(scaled->pixelAt(40, 10), 0xFFFF0000u);
    EXPECT_EQ(scaled->pixelAt(60, 10), 0xFF0000FFu);
    EXPECT_EQ(scaled->pixelAt(90, 10), 0u);
    // A quarter turn about the origin, shifted back into view.
    CGAffineTransform turn = CGAffineTransformMake(0, 1, -1, 0, 10, 0);
    MarqenImageRef turned = MarqenImageApplyAffineTransform(*halves, turn, CGRectMake(0, 0, 10, 20));
    ASSERT_TRUE(turned);
    EXPECT_EQ(turned->pixelAt(5, 4), 0xFFFF0000u);
    EXPECT_EQ(turned->pixelAt(5, 15), 0xFF0000FFu);
    MarqenError error;
    EXPECT_FALSE(MarqenImageApplyAffineTransform(*image, CGAffineTransformMakeScale(0, 1), CGRectMake(0, 0, 4, 2), &error));
    EXPECT_FALSE(MarqenImageApplyAffineTransform(*image, t, CGRectMake(0, 0, 0, 2), &error));
}

TEST(MarqenBMPCodec, ReadsPaletteRunLengthAndTopDownFiles) {
    auto header = [](int width, int height, int bpp, uint32_t compression, uint32_t colours, size_t dataSize) {
        std::vector<uint8_t> b = {'B', 'M'};
        auto u32 = [&](uint32_t v) { for (int i = 0; i < 4; ++i) b.push_back(uint8_t(v >> (8 * i))); };
        auto u16 = [&](uint32_t v) { for (int i = 0; i < 2; ++i) b.push_back(uint8_t(v >> (8 * i))); };
        uint32_t offset = 14 + 40 + colours * 4;
        u32(uint32_t(offset + dataSize)); u32(0); u32(offset);
        u32(40); u32(uint32_t(width)); u32(uint32_t(height)); u16(1); u16(uint32_t(bpp)); u32(compression);
        u32(uint32_t(dataSize)); u32(3780); u32(3780); u32(colours); u32(0);
        return b;
    };
    // 8-bit palette, top-down, 3 × 2 (rows padded to 4 bytes).
    std::vector<uint8_t> bmp = header(3, -2, 8, 0, 2, 8);
    bmp.insert(bmp.end(), {0, 0, 255, 0, 255, 0, 0, 0});  // palette: red, blue (BGRX)
    bmp.insert(bmp.end(), {0, 1, 0, 0, 1, 1, 1, 0});
    MarqenImageProperties properties;
    MarqenError error;
    MarqenImageRef image = MarqenImageDecodeData(bmp.data(), bmp.size(), &properties, &error);
    ASSERT_TRUE(image) << error.description();
    EXPECT_EQ(image->pixelAt(0, 0), 0xFFFF0000u);
    EXPECT_EQ(image->pixelAt(1, 0), 0xFF0000FFu);
    EXPECT_EQ(image->pixelAt(0, 1), 0xFF0000FFu);
    EXPECT_EQ(properties.dpiWidth(), 96.0);  // 3780 pixels per metre

    // RLE8, bottom-up 4 × 2: bottom row two runs, top row an absolute run, then end of bitmap.
    std::vector<uint8_t> rle = header(4, 2, 8, 1, 2, 16);
    rle.insert(rle.end(), {0, 0, 255, 0, 255, 0, 0, 0});
    rle.insert(rle.end(), {2, 0, 2, 1, 0, 0, 0, 4, 1, 0, 1, 0, 0, 1});
    image = MarqenImageDecodeData(rle.data(), rle.size(), nullptr, &error);
    ASSERT_TRUE(image) << error.description();
    EXPECT_EQ(image->pixelAt(0, 1), 0xFFFF0000u);
    EXPECT_EQ(image->pixelAt(3, 1), 0xFF0000FFu);
    EXPECT_EQ(image->pixelAt(0, 0), 0xFF0000FFu);
    EXPECT_EQ(image->pixelAt(1, 0), 0xFFFF0000u);

    // Damaged variants: missing rows, unsupported compression, runaway RLE.
    std::vector<uint8_t> shortRows = bmp;
    shortRows.resize(shortRows.size() - 3);
    EXPECT_FALSE(MarqenImageDecodeData(shortRows.data(), shortRows.size(), nullptr, &error));
    EXPECT_EQ(error.code, MarqenNativeImageErrorCorruptData);
    std::vector<uint8_t> jpegInside = bmp;
    jpegInside[30] = 4;
    EXPECT_FALSE(MarqenImageDecodeData(jpegInside.data(), jpegInside.size(), nullptr, &error));
    EXPECT_EQ(error.localizedDescription(), "The BMP file is damaged or unsupported: compression 4 is not supported.");
    std::vector<uint8_t> runaway = rle;
    runaway.resize(runaway.size() - 4);
    EXPECT_FALSE(MarqenImageDecodeData(runaway.data(), runaway.size(), nullptr, &error));
}
