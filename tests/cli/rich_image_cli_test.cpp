#include <cairo-pdf.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "foundation/json.h"
#include "platform/image_io.h"
#include "support/test_support.h"

using namespace marqen;
using marqen::test::runCli;
namespace fs = std::filesystem;

namespace {

const std::string kIndex = "{\"type\":\"Document\",\"title\":\"cli\"}";
const std::string kFirst = "11111111-2222-4333-8444-555555555555";
const std::string kSecond = "aaaaaaaa-bbbb-4ccc-8ddd-eeeeeeeeeeee";

fs::path makeBundle(const test::TempDir &dir, const std::string &name, MarqenImageFormat format) {
    const fs::path resources = dir / name / "Contents" / "Resources";
    fs::create_directories(resources);
    MarqenImageRef image = MarqenImage::create(24, 16);
    for (int y = 0; y < 16; ++y) std::fill(image->row(y), image->row(y) + 24, 0xFF336699u);
    auto bytes = MarqenImageEncode(*image, format);
    test::writeFile(resources / "preview.png", std::string(bytes->begin(), bytes->end()));
    test::writeFile(resources / "index.json", kIndex);
    test::writeFile(resources / kFirst, "first resource");
    test::writeFile(resources / kSecond, std::string(5000, 'z'));
    return dir / name;
}

bool oneErrorLine(const std::string &err) {
    return err.rfind("marqen: ", 0) == 0 && std::count(err.begin(), err.end(), '\n') == 1;
}

}  // namespace

TEST(MarqenRichImageCli, PackChunksUnpackRoundTripInEachContainer) {
    test::TempDir dir;
    for (auto [format, container] : {std::pair{MarqenImageFormat::PNG, "png"}, {MarqenImageFormat::JPEG, "jpeg"},
                                     {MarqenImageFormat::HEIC, "heic"}}) {
        SCOPED_TRACE(container);
        const fs::path bundle = makeBundle(dir, std::string("in-") + container, format);
        const std::string rich = (dir / (std::string("rich-") + container + ".img")).string();
        std::string out, err;
        ASSERT_EQ(runCli("pack " + bundle.string() + " -o " + rich, &out, &err), 0) << err;
        EXPECT_EQ(out, "wrote " + rich + " (" + container + ")\n");

        ASSERT_EQ(runCli("chunks --json " + rich, &out, &err), 0) << err;
        auto listing = MarqenJSON::parse(out);
        EXPECT_EQ(listing["container"], container);
        std::vector<std::string> types;
        for (const auto &chunk : listing["chunks"]) types.push_back(chunk["type"]);
        const auto &chunks = listing["chunks"];
        // The metadata chunk carries the index byte for byte.
        auto meta = std::find(types.begin(), types.end(), "mqMf");
        ASSERT_NE(meta, types.end());
        const auto &metaChunk = chunks[size_t(meta - types.begin())];
        EXPECT_EQ(metaChunk["dataLength"], kIndex.size());
        EXPECT_EQ(metaChunk["size"], kIndex.size() + 12);
        EXPECT_EQ(metaChunk["dataOffset"], metaChunk["offset"].get<int>() + 8);
        EXPECT_EQ(test::readFile(rich).substr(metaChunk["dataOffset"].get<size_t>(), kIndex.size()), kIndex);
        EXPECT_EQ(std::count(types.begin(), types.end(), "mqRf"), 2);
        if (std::string(container) == "png") {
            EXPECT_EQ(types.back(), "IEND");
        }

        const fs::path unpacked = dir / (std::string("out-") + container);
        ASSERT_EQ(runCli("unpack " + rich + " -o " + unpacked.string(), &out, &err), 0) << err;
        EXPECT_NE(out.find("index: index.json (" + std::to_string(kIndex.size()) + " bytes)"), std::string::npos) << out;
        EXPECT_NE(out.find("resources: 2"), std::string::npos) << out;
        EXPECT_NE(out.find("marqen+uuid:///" + kSecond + " (5000 bytes)"), std::string::npos) << out;
        const fs::path resources = unpacked / "Contents" / "Resources";
        EXPECT_EQ(test::readFile(resources / "index.json"), kIndex);
        EXPECT_EQ(test::readFile(resources / kFirst), "first resource");
        // The preview is the picture without the chunks, so packing again gives the same file.
        EXPECT_EQ(test::readFile(resources / "preview.png"), test::readFile(bundle / "Contents" / "Resources" / "preview.png"));
        const std::string again = (dir / (std::string("again-") + container)).string();
        ASSERT_EQ(runCli("pack " + unpacked.string() + " -o " + again), 0);
        EXPECT_EQ(test::readFile(again).size(), test::readFile(rich).size());
    }
}

TEST(MarqenRichImageCli, ResourcesOnlyAndPlainImages) {
    test::TempDir dir;
    const fs::path bundle = makeBundle(dir, "b", MarqenImageFormat::PNG);
    const std::string rich = (dir / "one.png").string();
    std::string out, err;
    ASSERT_EQ(runCli("pack " + bundle.string() + " -o " + rich + " --resources-only marqen+uuid:///" + kFirst, &out, &err), 0)
        << err;
    ASSERT_EQ(runCli("unpack " + rich + " -o " + (dir / "u").string(), &out, &err), 0) << err;
    EXPECT_NE(out.find("resources: 1\n  marqen+uuid:///" + kFirst), std::string::npos) << out;

    const std::string plain = (bundle / "Contents" / "Resources" / "preview.png").string();
    ASSERT_EQ(runCli("unpack " + plain + " -o " + (dir / "p").string(), &out, &err), 0) << err;
    EXPECT_NE(out.find("the image holds no document: the bundle is empty"), std::string::npos) << out;
    EXPECT_NE(out.find("index: none\nresources: 0\npreview: preview.png (png)"), std::string::npos) << out;
}

TEST(MarqenRichImageCli, FormatsListEveryForm) {
    std::string out, err;
    ASSERT_EQ(runCli("formats --json", &out, &err), 0) << err;
    auto formats = MarqenJSON::parse(out)["formats"];
    ASSERT_EQ(formats.size(), 13u);
    EXPECT_EQ(formats[0], (MarqenJSON{{"identifier", "public.png"}, {"title", "PNG"}, {"extension", "png"}, {"writable", true}}));
    EXPECT_EQ(formats[10]["identifier"], "com.brondale.marqen:dom.embedded:public.heic");
    EXPECT_EQ(formats[10]["title"], "Marqen HEIC");
    EXPECT_EQ(formats[12]["identifier"], "com.brondale.marqen:pdf.with.dom.and.summary:com.adobe.pdf");
    ASSERT_EQ(runCli("formats", &out, &err), 0);
    EXPECT_NE(out.find("com.brondale.marqen:pdf.with.summary:com.adobe.pdf"), std::string::npos);
}

TEST(MarqenRichImageCli, ErrorsAndUsage) {
    test::TempDir dir;
    test::writeFile(dir / "text.txt", "not an image at all");
    std::string out, err;
    EXPECT_EQ(runCli("chunks " + (dir / "text.txt").string(), &out, &err), 1);
    EXPECT_TRUE(oneErrorLine(err)) << err;
    EXPECT_NE(err.find("(result code 2)"), std::string::npos) << err;
    EXPECT_EQ(runCli("unpack " + (dir / "text.txt").string() + " -o " + (dir / "u").string(), &out, &err), 1);
    EXPECT_TRUE(oneErrorLine(err)) << err;
    EXPECT_FALSE(fs::exists(dir / "u"));  // nothing half-made stays
    fs::create_directories(dir / "full");
    test::writeFile(dir / "full" / "file", "x");
    const fs::path bundle = makeBundle(dir, "b", MarqenImageFormat::PNG);
    const std::string preview = (bundle / "Contents" / "Resources" / "preview.png").string();
    EXPECT_EQ(runCli("unpack " + preview + " -o " + (dir / "full").string(), &out, &err), 1);
    EXPECT_NE(err.find("exists and is not an empty directory"), std::string::npos) << err;
    EXPECT_EQ(runCli("pack " + (dir / "full").string() + " -o " + (dir / "x.png").string(), &out, &err), 1);
    EXPECT_TRUE(oneErrorLine(err)) << err;
    // A failed pack leaves an older output as it was.
    test::writeFile(dir / "keep.png", "older");
    test::writeFile(bundle / "Contents" / "Resources" / "preview.png", "not a picture but long enough to be read");
    EXPECT_EQ(runCli("pack " + bundle.string() + " -o " + (dir / "keep.png").string(), &out, &err), 1);
    EXPECT_EQ(test::readFile(dir / "keep.png"), "older");
    EXPECT_EQ(runCli("pack", &out, &err), 2);
    EXPECT_EQ(runCli("unpack " + preview, &out, &err), 2);
    EXPECT_EQ(runCli("chunks a b", &out, &err), 2);
    EXPECT_EQ(runCli("formats --bogus", &out, &err), 2);
    for (const char *command : {"chunks", "unpack", "pack", "formats"}) {
        ASSERT_EQ(runCli(std::string(command) + " --help", &out, &err), 0);
        EXPECT_EQ(out.rfind(std::string("usage: marqen ") + command, 0), 0u) << out;
    }
}

TEST(MarqenRichImageCli, DemoWritesRichImagesThatUnpackToTheSameDocument) {
    test::TempDir dir;
    std::string out, err;
    ASSERT_EQ(runCli("demo -o " + (dir / "out").string() + " --samples " + (test::sourceDir() / "samples").string(), &out, &err),
              0)
        << err;
    for (const char *kind : {"png", "jpeg", "heic"})
        EXPECT_NE(out.find(std::string("  rich ") + kind + " "), std::string::npos) << out;
    size_t matches = 0;
    for (size_t at = out.find("the documents match"); at != std::string::npos; at = out.find("the documents match", at + 1)) ++matches;
    EXPECT_EQ(matches, 3u) << out;
    for (const char *name : {"elements.png", "elements.jpg", "elements.heic"}) {
        ASSERT_EQ(runCli("chunks --json " + (dir / "out" / "rich" / name).string(), &out, &err), 0) << err;
        EXPECT_NE(out.find("\"mqMf\""), std::string::npos) << name;
        EXPECT_NE(out.find("\"mqRf\""), std::string::npos) << name;
    }
    EXPECT_FALSE(fs::exists(dir / "out" / "rich" / "bundles"));
}

TEST(MarqenRichImageCli, UnpackingAPDFKeepsItsOriginal) {
    test::TempDir dir;
    const fs::path pdf = dir / "two.pdf";
    cairo_surface_t *surface = cairo_pdf_surface_create(pdf.c_str(), 200, 100);
    cairo_t *cr = cairo_create(surface);
    cairo_show_page(cr);
    cairo_show_page(cr);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
    std::string out, err;
    ASSERT_EQ(runCli("unpack " + pdf.string() + " -o " + (dir / "b").string(), &out, &err), 0) << err;
    EXPECT_NE(out.find("the PDF holds no document: the bundle has its original only"), std::string::npos) << out;
    EXPECT_NE(out.find("original.pdf: 2 pages"), std::string::npos) << out;
    EXPECT_EQ(test::readFile(dir / "b" / "Contents" / "Resources" / "original.pdf"), test::readFile(pdf));
    test::writeFile(dir / "broken.pdf", "%PDF-1.7\nno objects here");
    EXPECT_EQ(runCli("unpack " + (dir / "broken.pdf").string() + " -o " + (dir / "c").string(), &out, &err), 1);
    EXPECT_TRUE(oneErrorLine(err)) << err;
}
