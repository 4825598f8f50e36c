#include <gtest/gtest.h>

#include <random>

#include "bitmap_test_support.h"
#include "platform/digest.h"

using namespace marqen;
using marqen::test::TempDir;

namespace {

// The reference answer: the image drawn over transparent black and over white as R, G, B, A bytes
// (premultiplied source-over, rounded), and the SHA-1 digests of the two buffers compared.
MarqenSHA1Digest digestOver(const MarqenImage &image, uint32_t background) {
    MarqenSHA1Context context;
    std::vector<uint8_t> row;
    for (int y = 0; y < image.height(); ++y) {
        row.clear();
        for (int x = 0; x < image.width(); ++x) {
            uint32_t argb = image.pixelAt(x, y), alpha = argb >> 24;
            uint32_t added = ((255 - alpha) * background + 127) / 255;
            for (int shift : {16, 8, 0}) row.push_back(static_cast<uint8_t>(std::min(255u, ((argb >> shift) & 0xFF) + added)));
            row.push_back(static_cast<uint8_t>(std::min(255u, alpha + added)));
        }
        context.update(row.data(), row.size());
    }
    return context.finish();
}

bool opaqueByDigests(const MarqenImage &image) { return digestOver(image, 0) == digestOver(image, 255); }

bool bitmapAnswer(const MarqenImageRef &image) {
    auto bitmap = MarqenDOMBitmap::create();
    bitmap->setImage(image);
    return bitmap->isOpaque();
}

MarqenImageRef filled(int width, int height, uint32_t argb) { return test::solidImage(width, height, argb); }

}  // namespace

TEST(MarqenDOMBitmapOpacity, AgreesWithTheTwoDigestsAnywhereAPixelLetsThroughTheBackground) {
    std::mt19937 random(3);
    // Sizes around the scan's blocks of 1,024 pixels, and one transparent pixel in every position class:
    // first, last, inside a block, in the tail after the last whole block.
    for (auto [width, height] : {std::pair{1, 1}, {32, 32}, {33, 31}, {1025, 1}, {100, 41}}) {
        const int count = width * height;
        for (int wanted : {0, count - 1, count / 2, count - 3, 1023}) {
            const int index = (wanted % count + count) % count;
            for (uint32_t alpha : {0u, 1u, 254u, 255u}) {
                auto image = filled(width, height, 0xFF336699);
                image->setPixelAt(index % width, index / width, MarqenImagePremultiply(static_cast<uint8_t>(alpha), 200, 10, 90));
                SCOPED_TRACE(testing::Message() << width << "x" << height << " pixel " << index << " alpha " << alpha);
                EXPECT_EQ(bitmapAnswer(image), opaqueByDigests(*image));
                EXPECT_EQ(bitmapAnswer(image), alpha == 255);
            }
        }
    }
    // Random pictures, mostly opaque, with a few faint pixels.
    for (int round = 0; round < 40; ++round) {
        auto image = MarqenImage::create(1 + static_cast<int>(random() % 70), 1 + static_cast<int>(random() % 70));
        for (int y = 0; y < image->height(); ++y)
            for (int x = 0; x < image->width(); ++x)
                image->setPixelAt(x, y, MarqenImagePremultiply(random() % 500 == 0 ? static_cast<uint8_t>(random() % 256) : 255,
                                                               static_cast<uint8_t>(random()), static_cast<uint8_t>(random()),
                                                               static_cast<uint8_t>(random())));
        EXPECT_EQ(bitmapAnswer(image), opaqueByDigests(*image)) << round;
    }
}

TEST(MarqenDOMBitmapOpacity, PicturesDecodedWithoutAlphaAreKnownOpaque) {
    TempDir directory;
    auto picture = filled(40, 30, 0xFF20A040);
    ASSERT_TRUE(MarqenImageWriteToFile(*picture, directory / "plain.jpg", MarqenImageFormat::JPEG));
    ASSERT_TRUE(MarqenImageWriteToFile(*picture, directory / "opaque.png", MarqenImageFormat::PNG));
    picture->setPixelAt(3, 3, 0);
    ASSERT_TRUE(MarqenImageWriteToFile(*picture, directory / "holed.png", MarqenImageFormat::PNG));

    MarqenImageProperties properties;
    auto jpeg = MarqenImageDecodeFile(directory / "plain.jpg", &properties);
    ASSERT_NE(jpeg, nullptr);
    EXPECT_EQ(properties.dictionary.value(kMarqenImagePropertyHasAlpha, true), false);
    EXPECT_TRUE(jpeg->isKnownOpaque());
    EXPECT_TRUE(bitmapAnswer(jpeg));
    EXPECT_EQ(bitmapAnswer(jpeg), opaqueByDigests(*jpeg));
    EXPECT_TRUE(jpeg->copy()->isKnownOpaque());

    // A PNG with an alpha channel is scanned, whatever its pixels.
    auto opaque = MarqenImageDecodeFile(directory / "opaque.png");
    ASSERT_NE(opaque, nullptr);
    EXPECT_TRUE(bitmapAnswer(opaque));
    auto holed = MarqenImageDecodeFile(directory / "holed.png");
    ASSERT_NE(holed, nullptr);
    EXPECT_FALSE(holed->isKnownOpaque());
    EXPECT_FALSE(bitmapAnswer(holed));
    EXPECT_EQ(bitmapAnswer(holed), opaqueByDigests(*holed));

    // Opening the pixels for writing forgets what the decoder knew.
    jpeg->setPixelAt(5, 5, 0x80000000);
    EXPECT_FALSE(jpeg->isKnownOpaque());
    EXPECT_FALSE(jpeg->isOpaque());
    EXPECT_FALSE(bitmapAnswer(jpeg));
    auto again = MarqenImageDecodeFile(directory / "plain.jpg");
    again->row(0);
    EXPECT_FALSE(again->isKnownOpaque());
    EXPECT_TRUE(again->isOpaque());  // scanned now, with the same answer
}
