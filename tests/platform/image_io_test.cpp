#include <gtest/gtest.h>
#include <vips/vips.h>
#include <zlib.h>

#include <cmath>
#include <cstring>

#include "platform/image_io.h"
#include "support/test_support.h"

using namespace marqen;

namespace {

// Opaque test card: a smooth gradient with a few hard-edged blocks.
MarqenImageRef makeCard(int width, int height) {
    MarqenImageRef image = MarqenImage::create(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            uint8_t r = uint8_t(x * 255 / std::max(1, width - 1));
            uint8_t g = uint8_t(y * 255 / std::max(1, height - 1));
            uint8_t b = (x / 8 + y / 8) % 2 ? 200 : 40;
            image->setPixelAt(x, y, MarqenImagePremultiply(255, r, g, b));
        }
    }
    return image;
}

// Few colours, so that GIF's palette holds them exactly.
MarqenImageRef makeBlocks(int width, int height) {
    static const uint32_t colours[] = {0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0xFFFFFFFF};
    MarqenImageRef image = MarqenImage::create(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image->setPixelAt(x, y, colours[(x / 5 + 2 * (y / 5)) % 4]);
    return image;
}

double meanAbsoluteDifference(const MarqenImage &a, const MarqenImage &b) {
    double total = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            for (int shift = 0; shift < 32; shift += 8)
                total += std::abs(int((a.pixelAt(x, y) >> shift) & 0xFF) - int((b.pixelAt(x, y) >> shift) & 0xFF));
    return total / (double(a.width()) * a.height() * 4);
}

MarqenImageRef decode(const std::vector<uint8_t> &bytes, MarqenImageProperties *properties = nullptr,
                      MarqenError *error = nullptr, const MarqenImageDecodeOptions &options = {}) {
    return MarqenImageDecodeData(bytes.data(), bytes.size(), properties, error, options);
}

std::vector<uint8_t> encode(const MarqenImage &image, MarqenImageFormat format, MarqenImageEncodeOptions options = {}) {
    MarqenError error;
    auto bytes = MarqenImageEncode(image, format, options, &error);
    EXPECT_TRUE(bytes.has_value()) << error.description();
    return bytes.value_or(std::vector<uint8_t>{});
}

void appendChunk(std::vector<uint8_t> &png, const char *type, const std::vector<uint8_t> &data) {
    auto put32 = [&](uint32_t v) {
        for (int s = 24; s >= 0; s -= 8) png.push_back(uint8_t(v >> s));
    };
    put32(uint32_t(data.size()));
    size_t start = png.size();
    png.insert(png.end(), type, type + 4);
    png.insert(png.end(), data.begin(), data.end());
    put32(uint32_t(crc32(0, png.data() + start, uInt(png.size() - start))));
}

}  // namespace

struct FormatCase {
    MarqenImageFormat format;
    bool lossless;
    bool storesDPI;
};

class ImageRoundTrip : public ::testing::TestWithParam<FormatCase> {};

TEST_P(ImageRoundTrip, KeepsPixelsSizeAndResolution) {
    const FormatCase c = GetParam();
    MarqenImageRef original = c.format == MarqenImageFormat::GIF ? makeBlocks(48, 32) : makeCard(48, 32);
    MarqenImageEncodeOptions options;
    options.quality = c.lossless ? 1.0 : 0.9;
    options.dpiWidth = 144;
    options.dpiHeight = 300;
    std::vector<uint8_t> bytes = encode(*original, c.format, options);
    ASSERT_FALSE(bytes.empty());
    EXPECT_EQ(MarqenImageDetectFormat(bytes.data(), bytes.size()), c.format);

    MarqenImageProperties properties;
    MarqenError error;
    MarqenImageRef decoded = decode(bytes, &properties, &error);
    ASSERT_TRUE(decoded) << error.description();
    EXPECT_EQ(properties.format, c.format);
    EXPECT_EQ(decoded->width(), 48);
    EXPECT_EQ(decoded->height(), 32);
    EXPECT_EQ(properties.pixelWidth(), 48);
    EXPECT_EQ(properties.pixelHeight(), 32);
    EXPECT_EQ(properties.dictionary["ColorModel"], "RGB");
    // libvips' GIF writer always declares a transparent palette entry, which counts as alpha.
    if (c.format != MarqenImageFormat::GIF) {
        EXPECT_EQ(properties.dictionary["HasAlpha"], false);
    }
    if (c.storesDPI) {
        EXPECT_EQ(properties.dpiWidth(), 144.0) << properties.dictionary.dump();
        EXPECT_EQ(properties.dpiHeight(), 300.0) << properties.dictionary.dump();
    } else {
        EXPECT_FALSE(properties.dpiWidth().has_value());
    }
    EXPECT_TRUE(decoded->isOpaque());
    double difference = meanAbsoluteDifference(*original, *decoded);
    if (c.lossless) {
        EXPECT_EQ(difference, 0.0);
    } else {
        EXPECT_LT(difference, 4.0);
    }

    // The header-only reader agrees with the decoder.
    MarqenImageProperties headerOnly;
    ASSERT_TRUE(MarqenImageCopyPropertiesFromData(bytes.data(), bytes.size(), &headerOnly, &error));
    EXPECT_EQ(headerOnly.dictionary, properties.dictionary);
}

INSTANTIATE_TEST_SUITE_P(
    AllFormats, ImageRoundTrip,
    ::testing::Values(FormatCase{MarqenImageFormat::PNG, true, true}, FormatCase{MarqenImageFormat::JPEG, false, true},
                      FormatCase{MarqenImageFormat::HEIC, false, true}, FormatCase{MarqenImageFormat::TIFF, true, true},
                      FormatCase{MarqenImageFormat::GIF, true, false}, FormatCase{MarqenImageFormat::BMP, true, true},
                      FormatCase{MarqenImageFormat::JPEG2000, true, true},
                      FormatCase{MarqenImageFormat::JPEG2000, false, true}),
    [](const auto &info) {
        return std::string(MarqenImageFormatName(info.param.format)) + (info.param.lossless ? "" : "_lossy");
    });

TEST(ImageAlpha, TransparentAndTranslucentPixelsSurvive) {
    // A 1-pixel fully transparent PNG stays transparent.
    MarqenImageRef clear = MarqenImage::create(1, 1);
    MarqenImageProperties properties;
    MarqenImageRef back = decode(encode(*clear, MarqenImageFormat::PNG), &properties);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->pixelAt(0, 0), 0u);
    EXPECT_EQ(properties.dictionary["HasAlpha"], true);

    // Half-transparent red: 255 at alpha 128 premultiplies to 128 (255·128/255).
    MarqenImageRef translucent = MarqenImage::create(2, 1);
    translucent->setPixelAt(0, 0, MarqenImagePremultiply(128, 255, 0, 0));
    translucent->setPixelAt(1, 0, MarqenImagePremultiply(255, 0, 0, 255));
    EXPECT_EQ(translucent->pixelAt(0, 0), 0x80800000u);
    for (auto format : {MarqenImageFormat::PNG, MarqenImageFormat::TIFF, MarqenImageFormat::BMP,
                        MarqenImageFormat::HEIC, MarqenImageFormat::JPEG2000}) {
        MarqenImageEncodeOptions lossless;
        lossless.quality = 1.0;
        MarqenImageRef decoded = decode(encode(*translucent, format, lossless), &properties);
        ASSERT_TRUE(decoded) << MarqenImageFormatName(format);
        EXPECT_EQ(properties.dictionary["HasAlpha"], true) << MarqenImageFormatName(format);
        uint32_t alpha = decoded->pixelAt(0, 0) >> 24;
        if (format == MarqenImageFormat::HEIC) {
            EXPECT_NEAR(int(alpha), 128, 3);
        } else {
            EXPECT_EQ(decoded->pixelAt(0, 0), 0x80800000u) << MarqenImageFormatName(format);
            EXPECT_EQ(decoded->pixelAt(1, 0), 0xFF0000FFu) << MarqenImageFormatName(format);
        }
    }

    // GIF keeps full transparency (its alpha is one bit).
    MarqenImageRef holes = makeBlocks(10, 10);
    holes->setPixelAt(2, 3, 0);
    MarqenImageRef gif = decode(encode(*holes, MarqenImageFormat::GIF), &properties);
    ASSERT_TRUE(gif);
    EXPECT_EQ(properties.dictionary["HasAlpha"], true);
    EXPECT_EQ(gif->pixelAt(2, 3), 0u);
    EXPECT_EQ(gif->pixelAt(0, 0), 0xFFFF0000u);

    // JPEG has no alpha: transparency lands on white.
    MarqenImageRef onWhite = decode(encode(*clear, MarqenImageFormat::JPEG));
    ASSERT_TRUE(onWhite);
    EXPECT_GE(onWhite->pixelAt(0, 0) & 0xFF, 250u);
    EXPECT_EQ(onWhite->pixelAt(0, 0) >> 24, 255u);
}

TEST(ImageLimits, RefusesImagesAboveThePixelLimit) {
    std::vector<uint8_t> bytes = encode(*makeCard(100, 100), MarqenImageFormat::PNG);
    MarqenError error;
    MarqenImageDecodeOptions options;
    options.maximumPixelCount = 9999;
    EXPECT_FALSE(decode(bytes, nullptr, &error, options));
    EXPECT_EQ(error.domain, "MarqenNativeImageErrorDomain");
    EXPECT_EQ(error.code, MarqenNativeImageErrorTooLarge);
    EXPECT_EQ(error.localizedDescription(), "The image is 100x100 pixels, more than the limit of 9999 pixels.");
    options.maximumPixelCount = 10000;
    EXPECT_TRUE(decode(bytes, nullptr, &error, options));

    // The process-wide limit applies when the options give none.
    EXPECT_EQ(MarqenImageMaximumPixelCount(), kMarqenImageDefaultMaximumPixelCount);
    MarqenImageSetMaximumPixelCount(5000);
    EXPECT_FALSE(decode(bytes, nullptr, &error));
    EXPECT_EQ(error.code, MarqenNativeImageErrorTooLarge);
    MarqenImageSetMaximumPixelCount(0);  // back to the default
    EXPECT_EQ(MarqenImageMaximumPixelCount(), kMarqenImageDefaultMaximumPixelCount);

    // A PNG whose header claims 100000 × 100000 pixels is refused from the header alone.
    std::vector<uint8_t> png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    appendChunk(png, "IHDR", {0, 1, 0x86, 0xA0, 0, 1, 0x86, 0xA0, 8, 6, 0, 0, 0});
    appendChunk(png, "IDAT", {0x78, 0x9C, 0x03, 0x00, 0x00, 0x00, 0x00, 0x01});
    appendChunk(png, "IEND", {});
    EXPECT_FALSE(decode(png, nullptr, &error));
    EXPECT_EQ(error.code, MarqenNativeImageErrorTooLarge);
    EXPECT_EQ(error.localizedDescription(),
              "The image is 100000x100000 pixels, more than the limit of 256000000 pixels.");

    // The BMP reader checks its header the same way.
    std::vector<uint8_t> bmp = encode(*makeCard(4, 4), MarqenImageFormat::BMP);
    const uint8_t wide[4] = {0x20, 0x4E, 0, 0};  // 20000 × 20000
    std::memcpy(bmp.data() + 18, wide, 4);
    std::memcpy(bmp.data() + 22, wide, 4);
    EXPECT_FALSE(decode(bmp, nullptr, &error));
    EXPECT_EQ(error.code, MarqenNativeImageErrorTooLarge);
}

TEST(ImageErrors, TruncatedAndUnknownDataAreErrors) {
    MarqenImageRef card = makeCard(64, 64);
    for (auto format : {MarqenImageFormat::PNG, MarqenImageFormat::JPEG, MarqenImageFormat::HEIC, MarqenImageFormat::TIFF,
                        MarqenImageFormat::GIF, MarqenImageFormat::BMP, MarqenImageFormat::JPEG2000}) {
        std::vector<uint8_t> bytes = encode(format == MarqenImageFormat::GIF ? *makeBlocks(64, 64) : *card, format);
        bytes.resize(bytes.size() / 2);
        MarqenError error;
        EXPECT_FALSE(decode(bytes, nullptr, &error)) << MarqenImageFormatName(format);
        EXPECT_EQ(error.domain, "MarqenNativeImageErrorDomain");
        EXPECT_EQ(error.code, MarqenNativeImageErrorCorruptData) << MarqenImageFormatName(format) << ": "
                                                                 << error.description();
    }
    MarqenError error;
    std::vector<uint8_t> text = {'h', 'e', 'l', 'l', 'o'};
    EXPECT_FALSE(decode(text, nullptr, &error));
    EXPECT_EQ(error.code, MarqenNativeImageErrorUnknownFormat);
    EXPECT_FALSE(MarqenImageDecodeData(nullptr, 0, nullptr, &error));
    EXPECT_EQ(error.code, MarqenNativeImageErrorUnknownFormat);
    EXPECT_FALSE(MarqenImageDecodeFile("/nonexistent/file.png", nullptr, &error));
    EXPECT_EQ(error.code, MarqenNativeImageErrorFileAccess);
    EXPECT_FALSE(MarqenImage::create(0, 10, &error));
    EXPECT_EQ(error.code, MarqenNativeImageErrorInvalidArgument);
}

TEST(ImageOrientation, JPEGIsTurnedUprightOnLoad) {
    // Stored 40 × 20: left half red, right half blue, EXIF orientation 6 (turn 90° clockwise to view).
    std::vector<uint8_t> rgb(40 * 20 * 3);
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 40; ++x) {
            uint8_t *p = &rgb[(y * 40 + x) * 3];
            p[0] = x < 20 ? 255 : 0;
            p[2] = x < 20 ? 0 : 255;
        }
    ASSERT_EQ(VIPS_INIT("test"), 0);
    VipsImage *image = vips_image_new_from_memory(rgb.data(), rgb.size(), 40, 20, 3, VIPS_FORMAT_UCHAR);
    VipsImage *tagged = nullptr;
    ASSERT_EQ(vips_copy(image, &tagged, "interpretation", VIPS_INTERPRETATION_sRGB, nullptr), 0);
    vips_image_set_int(tagged, "orientation", 6);
    void *buffer = nullptr;
    size_t length = 0;
    ASSERT_EQ(vips_jpegsave_buffer(tagged, &buffer, &length, "Q", 95, nullptr), 0);
    std::vector<uint8_t> jpeg(static_cast<uint8_t *>(buffer), static_cast<uint8_t *>(buffer) + length);
    g_free(buffer);
    g_object_unref(tagged);
    g_object_unref(image);

    MarqenImageProperties properties;
    MarqenImageRef upright = decode(jpeg, &properties);
    ASSERT_TRUE(upright);
    EXPECT_EQ(properties.dictionary["Orientation"], 6);
    EXPECT_EQ(properties.pixelWidth(), 40);  // as stored
    EXPECT_EQ(upright->width(), 20);
    EXPECT_EQ(upright->height(), 40);
    auto isRed = [](uint32_t p) { return ((p >> 16) & 0xFF) > 200 && (p & 0xFF) < 60; };
    auto isBlue = [](uint32_t p) { return ((p >> 16) & 0xFF) < 60 && (p & 0xFF) > 200; };
    EXPECT_TRUE(isRed(upright->pixelAt(10, 5)));   // the stored left edge is now the top
    EXPECT_TRUE(isBlue(upright->pixelAt(10, 35)));

    MarqenImageDecodeOptions asStored;
    asStored.applyOrientation = false;
    MarqenImageRef raw = decode(jpeg, nullptr, nullptr, asStored);
    ASSERT_TRUE(raw);
    EXPECT_EQ(raw->width(), 40);
}

TEST(ImageProperties, GrayImagesReportTheirColorModel) {
    ASSERT_EQ(VIPS_INIT("test"), 0);
    std::vector<uint8_t> gray(16 * 8, 77);
    VipsImage *image = vips_image_new_from_memory(gray.data(), gray.size(), 16, 8, 1, VIPS_FORMAT_UCHAR);
    void *buffer = nullptr;
    size_t length = 0;
    ASSERT_EQ(vips_pngsave_buffer(image, &buffer, &length, nullptr), 0);
    g_object_unref(image);
    std::vector<uint8_t> png(static_cast<uint8_t *>(buffer), static_cast<uint8_t *>(buffer) + length);
    g_free(buffer);
    MarqenImageProperties properties;
    MarqenImageRef decoded = decode(png, &properties);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(properties.dictionary["ColorModel"], "Gray");
    EXPECT_EQ(properties.dictionary["Depth"], 8);
    EXPECT_EQ(decoded->pixelAt(3, 3), 0xFF4D4D4Du);
}

TEST(ImageFiles, WriteThenReadBack) {
    test::TempDir dir;
    MarqenImageRef card = makeCard(20, 10);
    MarqenError error;
    ASSERT_TRUE(MarqenImageWriteToFile(*card, dir / "card.png", MarqenImageFormat::PNG, {}, &error)) << error.description();
    MarqenImageProperties properties;
    MarqenImageRef back = MarqenImageDecodeFile(dir / "card.png", &properties, &error);
    ASSERT_TRUE(back);
    EXPECT_EQ(meanAbsoluteDifference(*card, *back), 0.0);
    EXPECT_EQ(properties.dpiWidth(), 72.0);
    // Only the target is left behind.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), std::filesystem::directory_iterator()), 1);
    EXPECT_FALSE(MarqenImageWriteToFile(*card, dir / "missing" / "card.png", MarqenImageFormat::PNG, {}, &error));
    EXPECT_EQ(error.code, MarqenNativeImageErrorFileAccess);
}
