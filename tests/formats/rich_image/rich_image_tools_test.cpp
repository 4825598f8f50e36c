// Rich images stay ordinary pictures for other programs: pngcheck, heif-info, exiftool and libvips read
// what the codec writes, and libvips decodes the same pixels as the preview's.
#include <gtest/gtest.h>

#include <cstring>

#include "formats/pdf/pdf_test_helpers.h"
#include "formats/rich_image/composition_png_codec.h"
#include "formats/rich_image/rich_image_test_bundles.h"
#include "platform/image_io.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;
namespace fs = std::filesystem;

namespace {

// Every tool is installed by scripts/setup.sh; a missing one is a broken setup, not a skipped check.
void requireTool(const std::string &name) {
    ASSERT_TRUE(toolAvailable(name)) << name << " is missing: run scripts/setup.sh";
}

fs::path packSample(const TempDir &dir, MarqenImageFormat format) {
    const std::string name = MarqenImageFormatName(format);
    auto bundle = makeSampleBundle(dir / ("bundle-" + name), format);
    const fs::path out = dir / ("rich." + std::string(MarqenImageFormatFileExtension(format)));
    MarqenError error;
    EXPECT_TRUE(bundle->writePNGAtPath(out, &error)) << error.description();
    return out;
}

void expectSamePixels(const fs::path &rich, const fs::path &preview) {
    MarqenError error;
    MarqenImageRef a = MarqenImageDecodeFile(rich, nullptr, &error);
    ASSERT_TRUE(a) << error.description();
    MarqenImageRef b = MarqenImageDecodeFile(preview, nullptr, &error);
    ASSERT_TRUE(b) << error.description();
    ASSERT_EQ(a->width(), b->width());
    ASSERT_EQ(a->height(), b->height());
    for (int y = 0; y < a->height(); ++y)
        ASSERT_EQ(std::memcmp(a->row(y), b->row(y), size_t(a->width()) * 4), 0) << "row " << y;
}

}  // namespace

TEST(RichImageTools, PNGPassesPngcheckAndDecodesLikeThePreview) {
    requireTool("pngcheck");
    TempDir dir;
    const fs::path rich = packSample(dir, MarqenImageFormat::PNG);
    std::string output;
    EXPECT_EQ(runTool("pngcheck -v '" + rich.string() + "'", &output), 0) << output;
    EXPECT_NE(output.find("chunk mqMf"), std::string::npos) << output;
    EXPECT_NE(output.find("No errors detected"), std::string::npos) << output;
    expectSamePixels(rich, dir / "bundle-png" / "Contents" / "Resources" / "preview.png");
}

TEST(RichImageTools, HEICStillReadsWithHeifInfoAndLibvips) {
    requireTool("heif-info");
    TempDir dir;
    const fs::path rich = packSample(dir, MarqenImageFormat::HEIC);
    std::string output;
    EXPECT_EQ(runTool("heif-info '" + rich.string() + "'", &output), 0) << output;
    EXPECT_NE(output.find("40x30"), std::string::npos) << output;
    expectSamePixels(rich, dir / "bundle-heic" / "Contents" / "Resources" / "preview.png");
}

TEST(RichImageTools, JPEGDecodesLikeThePreviewAndExiftoolReadsEachKind) {
    requireTool("exiftool");
    requireTool("vipsheader");
    TempDir dir;
    const fs::path jpeg = packSample(dir, MarqenImageFormat::JPEG);
    expectSamePixels(jpeg, dir / "bundle-jpeg" / "Contents" / "Resources" / "preview.png");
    for (const fs::path &rich : {jpeg, packSample(dir, MarqenImageFormat::PNG), packSample(dir, MarqenImageFormat::HEIC)}) {
        std::string output;
        EXPECT_EQ(runTool("exiftool -s -ImageWidth -ImageHeight '" + rich.string() + "'", &output), 0) << output;
        EXPECT_NE(output.find("ImageWidth                      : 40"), std::string::npos) << rich << output;
        EXPECT_EQ(output.find("Error"), std::string::npos) << rich << output;
        EXPECT_EQ(runTool("vipsheader '" + rich.string() + "'", &output), 0) << output;
        EXPECT_NE(output.find("40x30"), std::string::npos) << output;
    }
}
