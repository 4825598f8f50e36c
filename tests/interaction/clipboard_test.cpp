#include <gtest/gtest.h>

#include "dom/bitmap.h"
#include "dom/rectangle.h"
#include "foundation/base64.h"
#include "interaction/clipboard_payload.h"
#include "interaction/page_view.h"
#include "platform/image_io.h"
#include "support/test_support.h"

using namespace marqen;

namespace {

// A page on which rectangles are drawn with the rectangle tool.
struct Page : test::PageView {
    void drawRectangle(CGPoint from, CGPoint to) {
        tool(MarqenToolIDRectangle);
        drag(from, to, 1);
    }
    std::vector<MarqenDOMNodePtr> children() const { return document->annotationLayer()->children(); }
};

MarqenImageRef checkerImage() {
    auto image = MarqenImage::create(4, 3);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x) image->row(y)[x] = ((x + y) % 2) ? 0xFF0000FFu : 0xFFFFFFFFu;
    return image;
}

}  // namespace

TEST(Clipboard, CopyAndPasteIntoAnotherDocumentWithFreshGuids) {
    Page source, target;
    source.drawRectangle({100, 100}, {200, 180});
    std::string payload = source.view.copySelection();
    MarqenJSON parsed = MarqenJSON::parse(payload);
    EXPECT_EQ(parsed["type"], "com.brondale.marqen.json");
    ASSERT_EQ(parsed["nodes"].size(), 1u);
    std::string originalGuid = source.children()[0]->guid();

    ASSERT_TRUE(target.view.paste(payload));
    ASSERT_EQ(target.children().size(), 1u);
    auto pasted = target.children()[0];
    EXPECT_NE(pasted->guid(), originalGuid);
    // Same shape, same place: nothing was under it in the other page.
    EXPECT_TRUE(CGRectEqualToRect(pasted->contentBounds(), source.children()[0]->contentBounds()));
    ASSERT_EQ(target.view.selectedElements().size(), 1u);
    EXPECT_EQ(target.view.selectedElements()[0], pasted);
    EXPECT_EQ(target.undo->undoCount(), 1u);
    target.expectLastStep("Paste", target.start);
}

TEST(Clipboard, PastingOverTheOriginalLandsOffsetEachTime) {
    Page page;
    page.drawRectangle({100, 100}, {200, 180});
    CGRect original = page.children()[0]->contentBounds();
    std::string payload = page.view.copySelection();
    page.view.setZoom(2);  // 10 view units are 5 in the page
    ASSERT_TRUE(page.view.paste(payload));
    ASSERT_TRUE(page.view.paste(payload));
    ASSERT_EQ(page.children().size(), 3u);
    CGRect first = page.children()[1]->contentBounds(), second = page.children()[2]->contentBounds();
    EXPECT_DOUBLE_EQ(first.origin.x - original.origin.x, 5);
    EXPECT_DOUBLE_EQ(first.origin.y - original.origin.y, 5);
    EXPECT_DOUBLE_EQ(second.origin.x - original.origin.x, 10);
    EXPECT_NE(page.children()[1]->guid(), page.children()[2]->guid());
}

TEST(Clipboard, CutRemovesAndPasteRestores) {
    Page page;
    page.drawRectangle({100, 100}, {200, 180});
    std::string drawn = page.json();
    std::string payload = page.view.cutSelection();
    EXPECT_TRUE(page.children().empty());
    EXPECT_EQ(page.undo->undoActionName(), "Cut");
    EXPECT_TRUE(page.view.copySelection().empty());
    ASSERT_TRUE(page.view.paste(payload));
    ASSERT_EQ(page.children().size(), 1u);
    // Not offset: its original is gone.
    auto redrawn = MarqenJSON::parse(page.json());
    auto original = MarqenJSON::parse(drawn);
    EXPECT_EQ(redrawn["children"][1]["children"][0]["extension"], original["children"][1]["children"][0]["extension"]);
}

TEST(Clipboard, BitmapsCarryTheirPixels) {
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

TEST(Clipboard, HostilePayloadsAreRefusedOrSkipped) {
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
