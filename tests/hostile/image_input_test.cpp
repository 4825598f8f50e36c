// Hostile pictures: sizes are checked from headers before decoding and before encoding.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zlib.h>

#include <chrono>

#include "foundation/json.h"
#include "hostile/cli_run.h"
#include "platform/image.h"
#include "platform/image_io.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;

namespace {

void appendBigEndian(std::string *bytes, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes->push_back(static_cast<char>((value >> shift) & 0xFF));
}

void appendChunk(std::string *png, const char *type, const std::string &data) {
    appendBigEndian(png, static_cast<uint32_t>(data.size()));
    const std::string typed = std::string(type, 4) + data;
    *png += typed;
    appendBigEndian(png, static_cast<uint32_t>(crc32(0, reinterpret_cast<const Bytef *>(typed.data()),
                                                     static_cast<uInt>(typed.size()))));
}

// An RGB PNG of black rows: its compressed size stays small however large it claims to be.
std::string blackPNG(uint32_t width, uint32_t height) {
    std::string header;
    appendBigEndian(&header, width);
    appendBigEndian(&header, height);
    header += std::string("\x08\x02\x00\x00\x00", 5);
    z_stream stream{};
    deflateInit(&stream, 9);
    const std::string row(1 + static_cast<size_t>(width) * 3, '\0');
    std::string compressed;
    std::vector<unsigned char> buffer(1 << 16);
    for (uint32_t y = 0; y <= height; ++y) {
        stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(row.data()));
        stream.avail_in = y < height ? static_cast<uInt>(row.size()) : 0;
        const int flush = y < height ? Z_NO_FLUSH : Z_FINISH;
        do {
            stream.next_out = buffer.data();
            stream.avail_out = static_cast<uInt>(buffer.size());
            deflate(&stream, flush);
            compressed.append(reinterpret_cast<char *>(buffer.data()), buffer.size() - stream.avail_out);
        } while (stream.avail_out == 0);
    }
    deflateEnd(&stream);
    std::string png("\x89PNG\r\n\x1a\n", 8);
    appendChunk(&png, "IHDR", header);
    appendChunk(&png, "IDAT", compressed);
    appendChunk(&png, "IEND", "");
    return png;
}

}  // namespace

TEST(HostileImage, APNGWiderThanCanBeDrawnIsRefusedFromItsHeader) {
    const std::string png = blackPNG(1'048'576, 200);
    MarqenError error;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(MarqenImageDecodeData(png.data(), png.size(), nullptr, &error));
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 2.0);
    EXPECT_EQ(error.localizedDescription(),
              "The image is 1048576x200 pixels, more than the 32767 pixels a side that can be drawn.");
    const std::string drawable = blackPNG(32'767, 2);
    auto image = MarqenImageDecodeData(drawable.data(), drawable.size(), nullptr, &error);
    ASSERT_TRUE(image) << error.localizedDescription();
    EXPECT_EQ(image->width(), 32'767);
}

TEST(HostileImage, ABitmapShowingAMillionPixelWidePNGIsLeftOutQuickly) {
    TempDir dir;
    std::filesystem::create_directory(dir / "resources");
    writeFile(dir / "resources" / "5b0e6c1a-7d2f-4e3a-9c41-0a1b2c3d4e5f.png", blackPNG(1'048'576, 200));
    auto run = runMeasured({"render", (sourceDir() / "samples" / "elements.json").string(), "--resources",
                            (dir / "resources").string(), "-o", (dir / "out.png").string()});
    EXPECT_EQ(run.signal, 0);
    EXPECT_LT(run.processorSeconds, kSecondsBound);
    EXPECT_LT(run.maximumResidentKB, 300 * 1024);  // decoding it took 1.8 GB
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.err.find("Unable to load resource with URI marqen+uuid:///5b0e6c1a-7d2f-4e3a-9c41-0a1b2c3d4e5f"),
              std::string::npos)
        << run.err;
}

TEST(HostileImage, EncodersThatHoldTheWholeFrameAreNotGivenMoreThanTheirLimit) {
    EXPECT_EQ(MarqenImageEncoderPixelLimit(MarqenImageFormat::PNG), 0u);
    // 6400x6251 is just over the limit; its pixels are never touched, so it costs no memory.
    MarqenError error;
    auto image = MarqenImage::createUninitialized(6400, 6251, &error);
    ASSERT_TRUE(image);
    for (MarqenImageFormat format : {MarqenImageFormat::GIF, MarqenImageFormat::HEIC, MarqenImageFormat::JPEG2000}) {
        ASSERT_EQ(MarqenImageEncoderPixelLimit(format), 40'000'000u);
        EXPECT_FALSE(MarqenImageEncode(*image, format, {}, &error));
        EXPECT_NE(error.localizedDescription().find("The image is 6400x6251 pixels, more than the 40000000 pixels the"),
                  std::string::npos)
            << error.localizedDescription();
    }
}

TEST(HostileImage, A256MegapixelFrameAsGifOrHeicIsRefusedBeforeItIsDrawn) {
    TempDir dir;
    for (const char *extension : {"gif", "heic"}) {
        const auto output = dir / (std::string("big.") + extension);
        auto run = runMeasured({"render", (sourceDir() / "samples" / "basic.json").string(), "--size", "16000x16000",
                                "-o", output.string()});
        EXPECT_LT(run.processorSeconds, kSecondsBound);
        EXPECT_LT(run.maximumResidentKB, 300 * 1024);
        EXPECT_EQ(run.exitStatus, 1);
        EXPECT_EQ(run.err, "marqen: " + output.string() + ": the image would be 16000x16000 pixels, more than the " +
                               "40000000 pixels the " + extension + " encoder takes\n");
        EXPECT_FALSE(std::filesystem::exists(output));
    }
}

TEST(HostileImage, ASparseThreeGigabyteResourceFileIsRefusedFromItsFirstBytes) {
    TempDir dir;
    std::filesystem::create_directory(dir / "resources");
    const auto file = dir / "resources" / "5b0e6c1a-7d2f-4e3a-9c41-0a1b2c3d4e5f.png";
    writeFile(file, "");
    std::filesystem::resize_file(file, uint64_t(3) << 30);  // sparse: no disk blocks, reads as zeros
    auto run = runMeasured({"render", (sourceDir() / "samples" / "elements.json").string(), "--resources",
                            (dir / "resources").string(), "-o", (dir / "out.png").string()});
    EXPECT_EQ(run.signal, 0);
    EXPECT_LT(run.processorSeconds, kSecondsBound);
    EXPECT_LT(run.maximumResidentKB, 300 * 1024);  // the whole file was read twice: 6 GB
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.err.find("Unable to load resource with URI marqen+uuid:///5b0e6c1a-7d2f-4e3a-9c41-0a1b2c3d4e5f"),
              std::string::npos)
        << run.err;

    MarqenError error;
    std::vector<uint8_t> bytes;
    EXPECT_FALSE(MarqenImageReadFileBytes(file, &bytes, &error));
    EXPECT_EQ(error.localizedDescription(), "The file " + file.string() + " is not in an image format that can be read.");
    EXPECT_TRUE(bytes.empty());
}

TEST(HostileImage, ReadingAFifoOrAFolderAsAnImageFailsWithoutWaiting) {
    TempDir dir;
    ASSERT_EQ(::mkfifo((dir / "pipe.png").c_str(), 0644), 0);
    MarqenError error;
    std::vector<uint8_t> bytes;
    EXPECT_FALSE(MarqenImageReadFileBytes(dir / "pipe.png", &bytes, &error));
    EXPECT_EQ(error.localizedDescription(), "Cannot read " + (dir / "pipe.png").string() + ": not a regular file.");
    EXPECT_FALSE(MarqenImageReadFileBytes(dir.path(), &bytes, &error));
}

TEST(HostileImage, FourBitmapsOverOneLargePNGDecodeItOnce) {
    TempDir dir;
    std::filesystem::create_directory(dir / "resources");
    const std::string name = "5b0e6c1a-7d2f-4e3a-9c41-0a1b2c3d4e5f";
    writeFile(dir / "resources" / (name + ".png"), blackPNG(8000, 8000));  // 256 MB decoded
    MarqenJSON bitmaps = MarqenJSON::array();
    for (int i = 0; i < 4; ++i)
        bitmaps.push_back({{"type", "Bitmap"},
                           {"guid", "E1E2E3E4-0000-4000-8000-00000000001" + std::to_string(i)},
                           {"frame", {{"x", i * 100}, {"y", 0}, {"width", 100}, {"height", 100}}},
                           {"uri", std::string("marqen+uuid:///") + name},
                           {"imageProfile", 0}});
    const MarqenJSON document = {
        {"type", "Document"},
        {"guid", "4A1B2C3D-0000-4000-8000-000000000001"},
        {"frame", {{"x", 0}, {"y", 0}, {"width", 400}, {"height", 100}}},
        {"children",
         {{{"type", "Layer"}, {"guid", "4A1B2C3D-0000-4000-8000-000000000002"}, {"layerId", "__background__"},
           {"children", bitmaps}}}}};
    writeFile(dir / "four.json", document.dump());
    auto run = runMeasured({"render", (dir / "four.json").string(), "--resources", (dir / "resources").string(),
                            "-o", (dir / "out.png").string()});
    expectWithinBounds(run);
    EXPECT_LT(run.maximumResidentKB, 550 * 1024);  // four copies took 1.1 GB
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.err, "");
    // Every bitmap shows: the page is opaque black where each one stands.
    auto out = MarqenImageDecodeFile(dir / "out.png");
    ASSERT_TRUE(out);
    ASSERT_EQ(out->width(), 400);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(out->pixelAt(i * 100 + 50, 50), 0xFF000000u) << i;
}

TEST(HostileImage, ALargePictureWithNothingOverItIsRenderedWithoutHoldingItsFrame) {
    TempDir dir;
    std::filesystem::create_directory(dir / "resources");
    writeFile(dir / "resources" / "5b0e6c1a-7d2f-4e3a-9c41-0a1b2c3d4e5f.png", blackPNG(8000, 6000));
    const MarqenJSON frame = {{"x", 0}, {"y", 0}, {"width", 8000}, {"height", 6000}};
    const MarqenJSON document = {
        {"type", "Document"},
        {"frame", frame},
        {"children",
         {{{"type", "Layer"},
           {"layerId", "__background__"},
           {"children",
            {{{"type", "Bitmap"}, {"frame", frame}, {"uri", "marqen+uuid:///5b0e6c1a-7d2f-4e3a-9c41-0a1b2c3d4e5f"}}}}}}}};
    writeFile(dir / "picture.json", document.dump());
    auto run = runMeasured({"render", (dir / "picture.json").string(), "--resources", (dir / "resources").string(),
                            "-o", (dir / "out.png").string()});
    expectWithinBounds(run);
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, (dir / "out.png").string() + ": 8000x6000\n");
    // Drawn, the picture and the page took 192 MB each (418 MB in all); streamed, rows pass from decoder to
    // encoder (52 MB; under the address sanitizer its quarantine of freed memory brings that to about 230 MB).
    EXPECT_LT(run.maximumResidentKB, 300 * 1024);
    auto out = MarqenImageDecodeFile(dir / "out.png");
    ASSERT_TRUE(out);
    EXPECT_EQ(out->pixelAt(4000, 3000), 0xFF000000u);
}
