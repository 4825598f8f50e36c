// `marqen render` of a document that is one picture with nothing over it writes the picture straight from its
// file; the file must be the one drawing the document writes.
#include <gtest/gtest.h>

#include <filesystem>

#include "dom/bitmap.h"
#include "dom/layer.h"
#include "foundation/json.h"
#include "platform/image_io.h"
#include "render/document_images.h"
#include "support/test_support.h"

namespace marqen::test {
namespace {

const char *const kResourceName = "5b0e6c1a-7d2f-4e3a-9c41-0a1b2c3d4e5f";

MarqenImageRef photo(int width, int height) {
    auto image = MarqenImage::createUninitialized(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image->setPixelAt(x, y, 0xFF000000u | uint32_t((x * 9 + y * 2) & 0xFF) << 16 |
                                        uint32_t((y * 5 + (x > width / 2 ? 120 : 0)) & 0xFF) << 8 |
                                        uint32_t((x * y) & 0xFF));
    return image;
}

MarqenJSON pictureDocument(double width, double height, double deviceScale, const MarqenJSON &annotations) {
    const MarqenJSON frame = {{"x", 0}, {"y", 0}, {"width", width}, {"height", height}};
    return {{"type", "Document"},
            {"frame", frame},
            {"deviceScale", deviceScale},
            {"children",
             {{{"type", "Layer"},
               {"layerId", "__background__"},
               {"children", {{{"type", "Bitmap"}, {"frame", frame}, {"uri", std::string("marqen+uuid:///") + kResourceName}}}}},
              {{"type", "Layer"}, {"layerId", "__annotation__"}, {"children", annotations}},
              {{"type", "Layer"}, {"layerId", "__text__"}}}}};
}

// What drawing the document writes: the picture decoded, drawn through the renderer over the export's
// background, encoded as the command encodes (quality, 72 dpi per unit of device scale).
std::string drawnFile(const MarqenJSON &json, const std::filesystem::path &picture, const std::filesystem::path &output,
                      MarqenImageFormat format, double quality) {
    auto document = MarqenDOMDocument::fromDictionary(json);
    auto image = MarqenImageDecodeFile(picture);
    EXPECT_TRUE(document && image);
    if (!document || !image) return "";
    document->backgroundLayer()->primaryBitmap()->setImage(image);
    const CGSize size = CGSizeMake(document->frame().size.width * document->deviceScale(),
                                   document->frame().size.height * document->deviceScale());
    auto drawn = MarqenDOMDocumentCreateImageWithSize(
        document,
        CopyMarqenDOMDocumentBackgroundColorForDocument(
            *document, format == MarqenImageFormat::JPEG ? kMarqenTypeIdentifierJPEG : kMarqenTypeIdentifierPNG),
        std::nullopt, size);
    EXPECT_TRUE(drawn);
    if (!drawn) return "";
    MarqenImageEncodeOptions options;
    options.quality = quality;
    options.dpiWidth = options.dpiHeight = 72 * document->deviceScale();
    EXPECT_TRUE(MarqenImageWriteToFile(*drawn, output, format, options));
    return readFile(output);
}

TEST(MarqenRenderPictureCli, APictureWithNothingOverItIsTheFileDrawingItWrites) {
    TempDir dir;
    std::filesystem::create_directory(dir / "resources");
    MarqenImageEncodeOptions pictureOptions;
    pictureOptions.quality = 0.9;
    ASSERT_TRUE(MarqenImageWriteToFile(*photo(96, 64), dir / "resources" / (std::string(kResourceName) + ".jpg"),
                                       MarqenImageFormat::JPEG, pictureOptions));
    struct Case {
        double width, height, deviceScale;
        const char *output;
        MarqenImageFormat format;
    };
    for (const Case &c : {Case{96, 64, 1, "one.jpg", MarqenImageFormat::JPEG}, Case{48, 32, 2, "two.jpg", MarqenImageFormat::JPEG},
                          Case{96, 64, 1, "one.png", MarqenImageFormat::PNG}}) {
        SCOPED_TRACE(c.output);
        const auto json = pictureDocument(c.width, c.height, c.deviceScale, MarqenJSON::array());
        writeFile(dir / "document.json", json.dump());
        std::string out, err;
        ASSERT_EQ(runCli("render " + (dir / "document.json").string() + " --resources " + (dir / "resources").string() +
                             " --quality 0.6 -o " + (dir / c.output).string(),
                         &out, &err),
                  0)
            << err;
        EXPECT_EQ(out, (dir / c.output).string() + ": 96x64\n");
        EXPECT_EQ(err, "");
        const std::string drawn = drawnFile(json, dir / "resources" / (std::string(kResourceName) + ".jpg"),
                                            dir / (std::string("drawn-") + c.output), c.format, 0.6);
        EXPECT_FALSE(drawn.empty());
        EXPECT_TRUE(readFile(dir / c.output) == drawn);
    }
    // With an annotation the document is drawn: the line shows over the picture.
    const MarqenJSON line = {{"type", "Vector"}, {"path", "M0,32L96,32"}, {"strokeColor", {{"red", 255}, {"green", 0}, {"blue", 0}, {"alpha", 1}}}, {"lineWidth", 8}};
    writeFile(dir / "annotated.json", pictureDocument(96, 64, 1, MarqenJSON::array({line})).dump());
    ASSERT_EQ(runCli("render " + (dir / "annotated.json").string() + " --resources " + (dir / "resources").string() +
                         " -o " + (dir / "annotated.png").string()),
              0);
    auto annotated = MarqenImageDecodeFile(dir / "annotated.png");
    ASSERT_TRUE(annotated);
    EXPECT_EQ(annotated->pixelAt(10, 32), 0xFFFF0000u);
}

TEST(MarqenRenderPictureCli, AMissingOrDamagedPictureIsReportedAsDrawingReportsIt) {
    TempDir dir;
    std::filesystem::create_directory(dir / "resources");
    writeFile(dir / "document.json", pictureDocument(96, 64, 1, MarqenJSON::array()).dump());
    const std::string command = "render " + (dir / "document.json").string() + " --resources " +
                                (dir / "resources").string() + " -o " + (dir / "out.jpg").string();
    std::string out, err;
    ASSERT_EQ(runCli(command, &out, &err), 0) << err;
    EXPECT_NE(err.find(std::string("No resource file for marqen+uuid:///") + kResourceName), std::string::npos) << err;

    auto bytes = MarqenImageEncode(*photo(96, 64), MarqenImageFormat::JPEG);
    ASSERT_TRUE(bytes);
    writeFile(dir / "resources" / kResourceName, std::string(bytes->begin(), bytes->begin() + bytes->size() / 2));
    ASSERT_EQ(runCli(command, &out, &err), 0) << err;
    EXPECT_EQ(out, (dir / "out.jpg").string() + ": 96x64\n");
    EXPECT_NE(err.find(std::string("Unable to load resource with URI marqen+uuid:///") + kResourceName), std::string::npos)
        << err;
    auto written = MarqenImageDecodeFile(dir / "out.jpg");
    ASSERT_TRUE(written);
    EXPECT_EQ(written->pixelAt(50, 30), 0xFFFFFFFFu);  // drawn without its picture: the white background
    // Nothing of the streamed attempt is left beside the output.
    int files = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator(dir.path())) ++files;
    EXPECT_EQ(files, 3);  // the document, the resources and the output
}

}  // namespace
}  // namespace marqen::test
