// Streaming a picture from its file to another image file must write the very file that decoding it and
// writing the decoded image writes, metadata of the source and all.
#include <gtest/gtest.h>
#include <vips/vips.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/image_io.h"
#include "support/test_support.h"

namespace marqen::test {
namespace {

// Encodes samples (bands per pixel) with libvips, as other programs write files: `saver` is a file suffix
// with options, and the image first gets `orientation` (0: none) and an interpretation.
std::string vipsFile(const std::vector<uint8_t> &samples, int width, int height, int bands, VipsBandFormat format,
                     VipsInterpretation interpretation, const char *saver, int orientation = 0) {
    VipsImage *memory = vips_image_new_from_memory_copy(samples.data(), samples.size(), width, height, bands, format);
    VipsImage *image = nullptr;
    EXPECT_EQ(vips_copy(memory, &image, "interpretation", interpretation, nullptr), 0);
    g_object_unref(memory);
    if (orientation) vips_image_set_int(image, VIPS_META_ORIENTATION, orientation);
    void *buffer = nullptr;
    size_t length = 0;
    EXPECT_EQ(vips_image_write_to_buffer(image, saver, &buffer, &length, nullptr), 0) << vips_error_buffer();
    g_object_unref(image);
    std::string bytes(static_cast<const char *>(buffer), length);
    g_free(buffer);
    return bytes;
}

// Smooth colours with a hard edge and every sample used, at `depth` bytes a sample.
std::vector<uint8_t> samples(int width, int height, int bands, int depth = 1) {
    std::vector<uint8_t> out;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int b = 0; b < bands; ++b) {
                const unsigned value = (x * (3 + b) + y * (7 - b) + (x > width / 2 ? 90 : 0)) & 0xFF;
                if (depth == 2) out.push_back(uint8_t(value * 257 & 0xFF));
                out.push_back(uint8_t(value));
            }
    return out;
}

struct Source {
    const char *name;
    std::string bytes;
};

std::vector<Source> opaqueSources() {
    const int w = 61, h = 37;
    return {
        {"RGB JPEG turned by its EXIF orientation",
         vipsFile(samples(w, h, 3), w, h, 3, VIPS_FORMAT_UCHAR, VIPS_INTERPRETATION_sRGB, ".jpg[Q=90]", 6)},
        {"grey JPEG", vipsFile(samples(w, h, 1), w, h, 1, VIPS_FORMAT_UCHAR, VIPS_INTERPRETATION_B_W, ".jpg")},
        {"CMYK JPEG", vipsFile(samples(w, h, 4), w, h, 4, VIPS_FORMAT_UCHAR, VIPS_INTERPRETATION_CMYK, ".jpg")},
        {"16-bit RGB PNG",
         vipsFile(samples(w, h, 3, 2), w, h, 3, VIPS_FORMAT_USHORT, VIPS_INTERPRETATION_RGB16, ".png")},
        {"palette PNG",
         vipsFile(samples(w, h, 3), w, h, 3, VIPS_FORMAT_UCHAR, VIPS_INTERPRETATION_sRGB, ".png[palette,bitdepth=4]")},
        {"grey PNG",
         vipsFile(samples(w, h, 1), w, h, 1, VIPS_FORMAT_UCHAR, VIPS_INTERPRETATION_B_W, ".png")},
        {"RGB TIFF", vipsFile(samples(w, h, 3), w, h, 3, VIPS_FORMAT_UCHAR, VIPS_INTERPRETATION_sRGB, ".tif")},
    };
}

TEST(ImageTranscode, WritesTheFileThatDecodingAndWritingWrites) {
    TempDir dir;
    MarqenImageEncodeOptions options;
    options.quality = 0.6;
    options.dpiWidth = options.dpiHeight = 144;
    int index = 0;
    for (const Source &source : opaqueSources()) {
        for (MarqenImageFormat format : {MarqenImageFormat::JPEG, MarqenImageFormat::PNG, MarqenImageFormat::TIFF,
                                         MarqenImageFormat::GIF, MarqenImageFormat::HEIC}) {
            SCOPED_TRACE(std::string(source.name) + " to " + MarqenImageFormatName(format));
            const auto drawn = dir / ("drawn" + std::to_string(index));
            const auto streamed = dir / ("streamed" + std::to_string(index++));
            MarqenError error;
            auto image = MarqenImageDecodeData(source.bytes.data(), source.bytes.size(), nullptr, &error);
            ASSERT_TRUE(image) << error.localizedDescription();
            ASSERT_TRUE(MarqenImageWriteToFile(*image, drawn, format, options, &error)) << error.localizedDescription();
            ASSERT_EQ(MarqenImageTranscodeData(source.bytes.data(), source.bytes.size(), streamed, format, options, {},
                                               &error),
                      MarqenImageTranscodeResult::Written)
                << error.localizedDescription();
            EXPECT_TRUE(readFile(drawn) == readFile(streamed));
        }
    }
    // The turned JPEG came out upright: 37 wide.
    auto upright = MarqenImageDecodeFile(dir / "streamed0");
    ASSERT_TRUE(upright);
    EXPECT_EQ(upright->width(), 37);
}

TEST(ImageTranscode, PicturesWithAlphaAndWholeFileFormatsAreLeftAlone) {
    TempDir dir;
    const int w = 20, h = 10;
    auto alpha = samples(w, h, 4);
    alpha[3] = 0;  // one pixel lets the background through
    const std::string withAlpha = vipsFile(alpha, w, h, 4, VIPS_FORMAT_UCHAR, VIPS_INTERPRETATION_sRGB, ".png");
    const std::string greyAlpha =
        vipsFile(samples(w, h, 2), w, h, 2, VIPS_FORMAT_UCHAR, VIPS_INTERPRETATION_B_W, ".png");
    const std::string opaque = vipsFile(samples(w, h, 3), w, h, 3, VIPS_FORMAT_UCHAR, VIPS_INTERPRETATION_sRGB, ".png");
    auto decoded = MarqenImageDecodeData(opaque.data(), opaque.size());
    ASSERT_TRUE(decoded);
    auto bmp = MarqenImageEncode(*decoded, MarqenImageFormat::BMP);
    ASSERT_TRUE(bmp);
    const std::string bmpBytes(bmp->begin(), bmp->end());
    struct Case {
        const std::string *bytes;
        MarqenImageFormat format;
    };
    for (const Case &c : {Case{&withAlpha, MarqenImageFormat::JPEG}, Case{&greyAlpha, MarqenImageFormat::PNG},
                          Case{&bmpBytes, MarqenImageFormat::PNG}, Case{&opaque, MarqenImageFormat::BMP},
                          Case{&opaque, MarqenImageFormat::JPEG2000}, Case{&opaque, MarqenImageFormat::Unknown}}) {
        MarqenError error;
        EXPECT_EQ(MarqenImageTranscodeData(c.bytes->data(), c.bytes->size(), dir / "out", c.format, {}, {}, &error),
                  MarqenImageTranscodeResult::NotStreamable);
        EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
    }
}

TEST(ImageTranscode, DamagedOrTooLargePicturesFailWithoutLeavingAFile) {
    TempDir dir;
    const int w = 300, h = 200;
    const std::string jpeg = vipsFile(samples(w, h, 3), w, h, 3, VIPS_FORMAT_UCHAR, VIPS_INTERPRETATION_sRGB, ".jpg");
    const std::string truncated = jpeg.substr(0, jpeg.size() / 2);
    MarqenError error;
    EXPECT_EQ(MarqenImageTranscodeData(truncated.data(), truncated.size(), dir / "out.jpg", MarqenImageFormat::JPEG, {},
                                       {}, &error),
              MarqenImageTranscodeResult::Failed);
    EXPECT_EQ(error.domain, kMarqenNativeImageErrorDomain);
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));

    // The decoder's own limit, in its own words.
    MarqenImageDecodeOptions small;
    small.maximumPixelCount = 100 * 100;
    MarqenError decodeError;
    EXPECT_FALSE(MarqenImageDecodeData(jpeg.data(), jpeg.size(), nullptr, &decodeError, small));
    EXPECT_EQ(MarqenImageTranscodeData(jpeg.data(), jpeg.size(), dir / "out.jpg", MarqenImageFormat::JPEG, {}, small,
                                       &error),
              MarqenImageTranscodeResult::Failed);
    EXPECT_EQ(error.localizedDescription(), decodeError.localizedDescription());
    EXPECT_EQ(error.localizedDescription(), "The image is 300x200 pixels, more than the limit of 10000 pixels.");
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));

    // A target that is a folder is refused as writing refuses it.
    std::filesystem::create_directory(dir / "folder.jpg");
    auto image = MarqenImageDecodeData(jpeg.data(), jpeg.size());
    ASSERT_TRUE(image);
    EXPECT_FALSE(MarqenImageWriteToFile(*image, dir / "folder.jpg", MarqenImageFormat::JPEG, {}, &decodeError));
    EXPECT_EQ(MarqenImageTranscodeData(jpeg.data(), jpeg.size(), dir / "folder.jpg", MarqenImageFormat::JPEG, {}, {},
                                       &error),
              MarqenImageTranscodeResult::Failed);
    EXPECT_EQ(error.localizedDescription(), decodeError.localizedDescription());
}

}  // namespace
}  // namespace marqen::test
