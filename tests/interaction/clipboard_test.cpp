#include <gtest/gtest.h>

#include "dom/bitmap.h"
#include "dom/document.h"
#include "dom/layer.h"
#include "dom/rectangle.h"
#include "editing/tools_model.h"
#include "foundation/base64.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "interaction/clipboard_payload.h"
#include "interaction/document_view.h"
#include "interaction/preferences.h"
#include "platform/image_io.h"
#include "support/test_support.h"

using namespace marqen;

namespace {

// One page with its own undo history and controller.
struct Page {
    std::shared_ptr<MarqenDOMDocument> document = MarqenDOMDocument::createWithSize({800, 600}, 1);
    std::shared_ptr<UndoManager> undo = std::make_shared<UndoManager>();
    MarqenToolsModel tools;
    MarqenPreferences preferences{std::make_shared<MarqenMemoryPreferencesStore>()};
    MarqenDocumentView view{document, &tools, &preferences};
    Page() { document->setUndoManager(undo); }
    std::string json() const { return document->dictionaryRepresentation().dump(); }
    void drawRectangle(CGPoint from, CGPoint to) {
        tools.chooseTool(MarqenTool(MarqenToolIDRectangle));
        view.pointerPressed({from});
        view.pointerMoved({to});
        view.pointerReleased({to});
    }
    std::vector<MarqenDOMNodePtr> annotations() const { return document->annotationLayer()->children(); }
};

MarqenImageRef checkerImage() {
    auto image = MarqenImage::create(4, 3);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x) image->row(y)[x] = ((x + y) % 2) ? 0xFF0000FFu : 0xFFFFFFFFu;
    return image;
}

class ClipboardTest : public testing::Test {
protected:
    void TearDown() override { MainQueue::shared().drain(); }
};

}  // namespace

TEST_F(ClipboardTest, CopyAndPasteIntoAnotherDocumentWithFreshGuids) {
    Page source, target;
    source.drawRectangle({100, 100}, {200, 180});
    std::string payload = source.view.copySelection();
    MarqenJSON parsed = MarqenJSON::parse(payload);
    EXPECT_EQ(parsed["type"], "com.brondale.marqen.json");
    ASSERT_EQ(parsed["nodes"].size(), 1u);
    std::string originalGuid = source.annotations()[0]->guid();

    std::string before = target.json();
    ASSERT_TRUE(target.view.paste(payload));
    ASSERT_EQ(target.annotations().size(), 1u);
    auto pasted = target.annotations()[0];
    EXPECT_NE(pasted->guid(), originalGuid);
    // Same shape, same place: nothing was under it in the other page.
    EXPECT_TRUE(CGRectEqualToRect(pasted->contentBounds(), source.annotations()[0]->contentBounds()));
    ASSERT_EQ(target.view.selectedElements().size(), 1u);
    EXPECT_EQ(target.view.selectedElements()[0], pasted);
    EXPECT_EQ(target.undo->undoActionName(), "Paste");
    EXPECT_EQ(target.undo->undoCount(), 1u);
    std::string after = target.json();
    target.view.undo();
    EXPECT_EQ(target.json(), before);
    target.view.redo();
    EXPECT_EQ(target.json(), after);
}

TEST_F(ClipboardTest, PastingOverTheOriginalLandsOffsetEachTime) {
    Page page;
    page.drawRectangle({100, 100}, {200, 180});
    CGRect original = page.annotations()[0]->contentBounds();
    std::string payload = page.view.copySelection();
    page.view.setZoom(2);  // 10 view units are 5 in the page
    ASSERT_TRUE(page.view.paste(payload));
    ASSERT_TRUE(page.view.paste(payload));
    ASSERT_EQ(page.annotations().size(), 3u);
    CGRect first = page.annotations()[1]->contentBounds(), second = page.annotations()[2]->contentBounds();
    EXPECT_DOUBLE_EQ(first.origin.x - original.origin.x, 5);
    EXPECT_DOUBLE_EQ(first.origin.y - original.origin.y, 5);
    EXPECT_DOUBLE_EQ(second.origin.x - original.origin.x, 10);
    EXPECT_NE(page.annotations()[1]->guid(), page.annotations()[2]->guid());
}

TEST_F(ClipboardTest, CutRemovesAndPasteRestores) {
    Page page;
    page.drawRectangle({100, 100}, {200, 180});
    std::string drawn = page.json();
    std::string payload = page.view.cutSelection();
    EXPECT_TRUE(page.annotations().empty());
    EXPECT_EQ(page.undo->undoActionName(), "Cut");
    EXPECT_TRUE(page.view.copySelection().empty());
    ASSERT_TRUE(page.view.paste(payload));
    ASSERT_EQ(page.annotations().size(), 1u);
    // Not offset: its original is gone.
    auto redrawn = MarqenJSON::parse(page.json());
    auto original = MarqenJSON::parse(drawn);
    EXPECT_EQ(redrawn["children"][1]["children"][0]["extension"], original["children"][1]["children"][0]["extension"]);
}

TEST_F(ClipboardTest, BitmapsCarryTheirPixels) {
    auto bitmap = MarqenDOMBitmap::create();
    bitmap->setImage(checkerImage());
    bitmap->setFrame(CGRectMake(10, 20, 40, 30));
    std::string payload = MarqenClipboardPayloadForElements({bitmap});
    MarqenJSON parsed = MarqenJSON::parse(payload);
    ASSERT_TRUE(parsed["images"].contains(bitmap->uri()));
    // The data is a PNG of the pixels.
    auto bytes = marqen_dataFromBase64String(parsed["images"][bitmap->uri()].get<std::string>());
    ASSERT_GT(bytes.size(), 8u);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 8), std::string("\x89PNG\r\n\x1a\n", 8));

    std::vector<std::shared_ptr<MarqenDOMElement>> elements;
    ASSERT_TRUE(MarqenClipboardElementsFromPayload(payload, &elements));
    ASSERT_EQ(elements.size(), 1u);
    auto copy = std::dynamic_pointer_cast<MarqenDOMBitmap>(elements[0]);
    ASSERT_TRUE(copy && copy->image());
    EXPECT_NE(copy->uri(), bitmap->uri());
    EXPECT_NE(copy->guid(), bitmap->guid());
    EXPECT_EQ(copy->image()->width(), 4);
    EXPECT_EQ(copy->image()->pixelAt(1, 0), 0xFF0000FFu);
    EXPECT_EQ(copy->image()->pixelAt(1, 1), 0xFFFFFFFFu);

    // Pasted, the picture is an annotation as a pasted or dropped image is, not part of the background.
    Page target;
    ASSERT_TRUE(target.view.paste(payload));
    auto document = target.document;
    ASSERT_EQ(document->annotationLayer()->children().size(), 1u);
    EXPECT_TRUE(std::dynamic_pointer_cast<MarqenDOMBitmap>(document->annotationLayer()->children().front()));
    EXPECT_TRUE(document->backgroundLayer()->children().empty());
    ASSERT_TRUE(target.view.pasteImage(checkerImage()));
    EXPECT_EQ(document->annotationLayer()->children().size(), 2u);
    EXPECT_TRUE(document->backgroundLayer()->children().empty());
}

TEST_F(ClipboardTest, HostilePayloadsAreRefusedOrSkipped) {
    Page page;
    page.drawRectangle({100, 100}, {200, 180});
    std::string before = page.json();
    size_t steps = page.undo->undoCount();
    MarqenError error;
    for (const std::string &bad : {std::string("{not json"), std::string("[]"), std::string(R"({"type":"other","nodes":[]})"),
                                  std::string(R"({"type":"com.brondale.marqen.json","nodes":{}})"),
                                  std::string(R"({"type":"com.brondale.marqen.json","nodes":[]})"),
                                  std::string(R"({"type":"com.brondale.marqen.json","nodes":[1,"x",{"type":"Layer"}]})"),
                                  std::string(200000, '[')}) {
        EXPECT_FALSE(page.view.paste(bad, &error)) << bad.substr(0, 40);
        EXPECT_EQ(error.domain, kMarqenClipboardErrorDomain);
    }
    // A bitmap that claims pixels it does not carry, or carries a huge image header, is left out.
    test::LogCapture log;
    auto bitmap = MarqenDOMBitmap::create();
    bitmap->setFrame(CGRectMake(0, 0, 10, 10));
    MarqenJSON payload = {{"type", "com.brondale.marqen.json"}, {"nodes", {bitmap->dictionaryRepresentation()}}};
    EXPECT_FALSE(page.view.paste(payload.dump(), &error));
    // A PNG header claiming 100000 × 100000 pixels.
    std::string png("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\x01\x86\xa0\0\x01\x86\xa0\x08\x06\0\0\0\0\0\0\0", 33);
    payload["images"] = {{bitmap->uri(), NewBase64Encode(png.data(), png.size(), false)}};
    EXPECT_FALSE(page.view.paste(payload.dump(), &error));
    EXPECT_GE(log.lines().size(), 2u);
    EXPECT_EQ(page.json(), before);
    EXPECT_EQ(page.undo->undoCount(), steps);
}
