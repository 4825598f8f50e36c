#include <gtest/gtest.h>

#include <filesystem>

#include "core/core_document.h"
#include "dom/bitmap.h"
#include "dom/document.h"
#include "dom/layer.h"
#include "editing/composition.h"
#include "foundation/json.h"
#include "foundation/queues.h"
#include "platform/image_io.h"
#include "support/test_support.h"

using namespace marqen;
using marqen::test::runCli;
using marqen::test::TempDir;
namespace fs = std::filesystem;

namespace {

constexpr uint32_t kRed = 0xFFFF0000, kBlue = 0xFF0000FF;

// A 200 × 150 picture of one-pixel red and blue squares, which no blend keeps.
void writeChecker(const fs::path &path) {
    auto image = MarqenImage::create(200, 150);
    for (int y = 0; y < 150; ++y)
        for (int x = 0; x < 200; ++x) image->setPixelAt(x, y, (x + y) % 2 ? kRed : kBlue);
    ASSERT_TRUE(MarqenImageWriteToFile(*image, path, MarqenImageFormat::PNG));
}

std::string quoted(const fs::path &path) { return "'" + path.string() + "'"; }

size_t occurrences(const std::string &text, const std::string &part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

}  // namespace

TEST(ReplayCommand, PixelatedPixelsAreGoneFromTheSavedRichPicture) {
    TempDir directory;
    writeChecker(directory / "checker.png");
    test::writeFile(directory / "events.json", R"({"events": [
        {"op": "tool", "id": 10},
        {"op": "drag", "from": [40, 30], "to": [160, 120]},
        {"op": "tool", "id": 1},
        {"op": "drag", "from": [10, 140], "to": [190, 140]}
    ]})");
    std::string out, err;
    ASSERT_EQ(runCli("replay " + quoted(directory / "checker.png") + " --script " + quoted(directory / "events.json") +
                         " -o " + quoted(directory / "out.png") + " --trace",
                     &out, &err),
              0)
        << err;
    // One trace line per event, the last naming the arrow.
    std::vector<MarqenJSON> lines;
    for (size_t start = 0, end; (end = out.find('\n', start)) != std::string::npos; start = end + 1)
        lines.push_back(MarqenJSON::parse(out.substr(start, end - start)));
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[1]["undoActionName"], "Pixelate");
    EXPECT_EQ(lines[3]["undoActionName"], "Add Arrow");
    EXPECT_EQ(lines[3]["nodes"], 1);

    // The rich picture carries one resource: the pixelated picture, not the original.
    std::string bytes = test::readFile(directory / "out.png");
    EXPECT_EQ(occurrences(bytes, "mqRf"), 1u);
    auto reopened = CoreMarqenDocument::initWithURL(directory / "out.png");
    ASSERT_TRUE(reopened);
    auto page = reopened->documentComposition()->documents().at(0);
    page->waitForOperationsToFinish();
    MainQueue::shared().drain();
    auto background = page->backgroundLayer()->primaryBitmap();
    ASSERT_TRUE(background && background->image());
    const MarqenImage &picture = *background->image();
    ASSERT_EQ(picture.width(), 200);
    for (int y = 30; y < 120; ++y)
        for (int x = 40; x < 160; ++x) {
            uint32_t pixel = picture.pixelAt(x, y);
            if (pixel == kRed || pixel == kBlue) {
                ADD_FAILURE() << "an original pixel is left at " << x << "," << y;
                return;
            }
        }
    EXPECT_EQ(picture.pixelAt(10, 10), kBlue);  // outside the rectangle the picture is as it was
    EXPECT_EQ(page->annotationLayer()->children().size(), 1u);

    // The flat picture shows the blocks too.
    auto flat = MarqenImageDecodeFile(directory / "out.png");
    ASSERT_TRUE(flat);
    EXPECT_NE(flat->pixelAt(100, 75), kRed);
    EXPECT_NE(flat->pixelAt(100, 75), kBlue);
}

TEST(ReplayCommand, BadScriptsAreRefusedBeforeAnythingIsWritten) {
    TempDir directory;
    writeChecker(directory / "checker.png");
    test::writeFile(directory / "bad.json", R"({"events": [{"op": "undo"}, {"op": "press", "at": [1, "two"]}]})");
    std::string out, err;
    EXPECT_EQ(runCli("replay " + quoted(directory / "checker.png") + " --script " + quoted(directory / "bad.json") +
                         " -o " + quoted(directory / "out.png"),
                     &out, &err),
              1);
    EXPECT_NE(err.find("event 1 (press): field \"at\""), std::string::npos) << err;
    EXPECT_FALSE(fs::exists(directory / "out.png"));

    test::writeFile(directory / "pages.json", R"({"events": [{"op": "page", "number": 2}]})");
    EXPECT_EQ(runCli("replay " + quoted(directory / "checker.png") + " --script " + quoted(directory / "pages.json") +
                         " -o " + quoted(directory / "out.json"),
                     &out, &err),
              1);
    EXPECT_NE(err.find("event 0 (page): field \"number\""), std::string::npos) << err;
    EXPECT_FALSE(fs::exists(directory / "out.json"));

    // A good script writing JSON: the document JSON with the stamp and its label.
    test::writeFile(directory / "stamp.json",
                    R"({"events": [{"op": "tool", "id": 9, "stampName": "com.brondale.marqen.exclaim"},
                                   {"op": "click", "at": [100, 75]}]})");
    ASSERT_EQ(runCli("replay " + quoted(directory / "checker.png") + " --script " + quoted(directory / "stamp.json") +
                         " -o " + quoted(directory / "out.json"),
                     &out, &err),
              0)
        << err;
    std::string json = test::readFile(directory / "out.json");
    EXPECT_NE(json.find("\"stampName\":\"com.brondale.marqen.exclaim\""), std::string::npos);
    EXPECT_NE(json.find("\"text\":\"Wow!\""), std::string::npos);
    EXPECT_EQ(runCli("replay " + quoted(directory / "checker.png") + " -o x.png", &out, &err), 2);  // no --script
}
