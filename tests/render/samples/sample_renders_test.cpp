#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "dom/bitmap.h"
#include "formats/dom_json_file.h"
#include "platform/image_io.h"
#include "platform/pdf_page.h"
#include "render/document_images.h"
#include "support/delayed_resource_coordinator.h"
#include "support/test_support.h"

namespace marqen::test {
namespace {

namespace fs = std::filesystem;

struct Sample {
    const char *name;
    bool resources;
    bool pdf;
};

const Sample kSamples[] = {
    {"vectors", false, false},
    {"elements", true, false},
    {"pdf-review", false, true},
};

MarqenImageRef renderSample(const Sample &sample) {
    const fs::path samples = sourceDir() / "samples";
    MarqenError error;
    auto content = MarqenReadDOMJSONFile((samples / (std::string(sample.name) + ".json")).string(), &error);
    EXPECT_TRUE(content) << error.localizedDescription();
    if (!content) return nullptr;
    auto document = content->pages->pages().front();
    if (sample.pdf) {
        auto pdf = MarqenPDFDocument::openFile(samples / (std::string(sample.name) + ".pdf"), &error);
        EXPECT_TRUE(pdf) << error.localizedDescription();
        document = MarqenDOMDocument::fromDictionary(document->dictionaryRepresentation(), MarqenPDFPage::create(pdf, 0));
    }
    // The resources arrive as from a slow disk: on worker threads, later, through the main queue.
    std::shared_ptr<DelayedResourceCoordinator> coordinator;
    if (sample.resources) {
        coordinator = std::make_shared<DelayedResourceCoordinator>(samples / "resources");
        document->setResourceCoordinator(coordinator);
        document->waitForOperationsToFinish();
        for (const auto &bitmap : document->allBitmaps()) EXPECT_TRUE(bitmap->image()) << bitmap->uri();
    }
    auto background = CopyMarqenDOMDocumentBackgroundColorForDocument(*document, kMarqenTypeIdentifierPNG);
    return MarqenDOMDocumentCreateImageWithSize(document, background, std::nullopt, document->frame().size, &error);
}

// Full renders against the committed references. Fonts and rasterisers differ a little between
// machines, so the comparison allows small differences: a low mean and few strongly changed pixels.
// MARQEN_UPDATE_RENDER_REFERENCES=1 writes new references instead.
TEST(SampleRenders, MatchTheReferenceImages) {
    const bool update = std::getenv("MARQEN_UPDATE_RENDER_REFERENCES") != nullptr;
    for (const auto &sample : kSamples) {
        SCOPED_TRACE(sample.name);
        auto image = renderSample(sample);
        ASSERT_TRUE(image);
        const fs::path reference = sourceDir() / "tests" / "data" / "render" / (std::string(sample.name) + ".png");
        if (update) {
            ASSERT_TRUE(MarqenImageWriteToFile(*image, reference, MarqenImageFormat::PNG));
            continue;
        }
        MarqenError error;
        auto expected = MarqenImageDecodeFile(reference, nullptr, &error);
        ASSERT_TRUE(expected) << error.localizedDescription();
        ASSERT_EQ(expected->width(), image->width());
        ASSERT_EQ(expected->height(), image->height());
        double total = 0;
        size_t strong = 0;
        for (int y = 0; y < image->height(); ++y)
            for (int x = 0; x < image->width(); ++x) {
                uint32_t a = image->pixelAt(x, y), b = expected->pixelAt(x, y);
                int worst = 0;
                for (int shift = 0; shift < 32; shift += 8) {
                    int d = std::abs(static_cast<int>((a >> shift) & 0xFF) - static_cast<int>((b >> shift) & 0xFF));
                    total += d;
                    worst = std::max(worst, d);
                }
                if (worst > 64) ++strong;
            }
        const double pixels = static_cast<double>(image->width()) * image->height();
        EXPECT_LT(total / (pixels * 4), 1.5);
        EXPECT_LT(static_cast<double>(strong) / pixels, 0.005);
    }
}

TEST(RenderCommand, WritesEveryFormatAndRefusesBadInput) {
    TempDir directory;
    const fs::path samples = sourceDir() / "samples";
    const std::string elements = (samples / "elements.json").string();
    const std::string review = (samples / "pdf-review.json").string();
    std::string out, err;
    for (const char *name : {"a.png", "a.jpg", "a.tif", "a.gif", "a.bmp", "a.jp2"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(runCli("render " + elements + " --resources " + (samples / "resources").string() + " -o " +
                             (directory / name).string() + " --size 400x320",
                         &out, &err),
                  0)
            << err;
        MarqenImageProperties properties;
        ASSERT_TRUE(MarqenImageCopyPropertiesFromFile(directory / name, &properties));
        EXPECT_EQ(properties.pixelWidth(), 400);
        EXPECT_EQ(properties.pixelHeight(), 320);
    }
    EXPECT_EQ(runCli("render " + review + " --pdf " + (samples / "pdf-review.pdf").string() + " -o " +
                         (directory / "review.pdf").string(),
                     &out, &err),
              0)
        << err;
    EXPECT_EQ(readFile(directory / "review.pdf").rfind("%PDF-", 0), 0u);

    // A missing resource is drawn as nothing and reported.
    EXPECT_EQ(runCli("render " + elements + " --resources " + directory.path().string() + " -o " +
                         (directory / "missing.png").string(),
                     &out, &err),
              0);
    EXPECT_NE(err.find("warning"), std::string::npos);

    EXPECT_EQ(runCli("render " + elements + " -o " + (directory / "a.xyz").string(), &out, &err), 2);
    EXPECT_EQ(runCli("render " + elements, &out, &err), 2);
    EXPECT_EQ(runCli("render " + elements + " -o " + (directory / "b.png").string() + " --size 0x0", &out, &err), 1);
    EXPECT_NE(err.find("at least 1"), std::string::npos);
    EXPECT_EQ(runCli("render " + elements + " -o " + (directory / "b.png").string() + " --size 100000x100000", &out, &err), 1);
    EXPECT_NE(err.find("megapixels"), std::string::npos);
    EXPECT_EQ(runCli("render " + elements + " -o " + (directory / "b.png").string() + " --size big", &out, &err), 2);
    EXPECT_EQ(runCli("render " + elements + " -o " + (directory / "b.png").string() + " --page 3", &out, &err), 1);
    EXPECT_EQ(runCli("render " + review + " -o " + (directory / "b.png").string() + " --pdf " + elements, &out, &err), 1);
    EXPECT_EQ(runCli("render " + review + " -o " + (directory / "b.png").string() + " --pdf " +
                         (samples / "pdf-review.pdf").string() + " --page 2",
                     &out, &err),
              1);
    EXPECT_FALSE(fs::exists(directory / "b.png"));
}

TEST(DemoCommand, RendersEverySample) {
    TempDir directory;
    std::string out, err;
    ASSERT_EQ(runCli("demo -o " + directory.path().string() + " --samples " + (sourceDir() / "samples").string(), &out, &err),
              0)
        << err;
    EXPECT_NE(out.find("demo output is in"), std::string::npos);
    for (const char *name : {"vectors.png", "elements.png", "pdf-review.png", "pdf-review-annotations.pdf"})
        EXPECT_TRUE(fs::exists(directory / "rendered" / name)) << name;
    EXPECT_NE(out.find("legacy-v1.1.json: 1 page(s), 4 nodes"), std::string::npos);
    EXPECT_NE(out.find("page 1 has no annotations: not rendered"), std::string::npos);
    EXPECT_FALSE(fs::exists(directory / "rendered" / "legacy-v1.1.png"));

    // The sample PDF annotated with its page's annotations: one update over the untouched original,
    // carrying the document.
    const fs::path annotated = directory / "rendered" / "pdf-review-annotated.pdf";
    ASSERT_EQ(runCli("pdf-info --json " + annotated.string(), &out, &err), 0) << err;
    auto info = MarqenJSON::parse(out);
    EXPECT_EQ(info["rich"], true);
    EXPECT_EQ(info["hasDom"], true);
    EXPECT_EQ(info["pages"], 1);
    ASSERT_EQ(runCli("pdf-original " + annotated.string() + " -o " + (directory / "original.pdf").string(), &out, &err),
              0)
        << err;
    EXPECT_EQ(readFile(directory / "original.pdf"), readFile(sourceDir() / "samples" / "pdf-review.pdf"));
}

}  // namespace
}  // namespace marqen::test
