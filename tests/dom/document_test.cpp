#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <cstdio>

#include "dom/document.h"
#include "dom/document_settings.h"
#include "dom/multi_page_document.h"
#include "dom/node_class.h"
#include "dom/notifications.h"
#include "platform/pdf_page.h"
#include "foundation/notification_center.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "support/test_support.h"

using namespace marqen;

namespace {

std::vector<std::string> layerIds(const MarqenDOMDocument &document) {
    std::vector<std::string> ids;
    for (const auto &child : document.children())
        if (auto layer = std::dynamic_pointer_cast<MarqenDOMLayer>(child)) ids.push_back(layer->layerId());
    return ids;
}

MarqenJSON layerDictionary(const std::string &id, const std::string &guid = "") {
    MarqenJSON layer{{"type", "Layer"}};
    if (!guid.empty()) layer["guid"] = guid;
    if (!id.empty()) layer["layerId"] = id;
    return layer;
}

// A PDF whose pages carry the given box and rotation entries, with a correct cross-reference table.
std::vector<uint8_t> pdfWithPages(const std::vector<std::string> &pageEntries) {
    std::string body = "%PDF-1.4\n";
    std::vector<size_t> offsets;
    auto object = [&](const std::string &content) {
        offsets.push_back(body.size());
        body += std::to_string(offsets.size()) + " 0 obj\n" + content + "\nendobj\n";
    };
    std::string kids;
    for (size_t i = 0; i < pageEntries.size(); ++i) kids += std::to_string(3 + i) + " 0 R ";
    object("<< /Type /Catalog /Pages 2 0 R >>");
    object("<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pageEntries.size()) + " >>");
    for (const auto &entries : pageEntries) object("<< /Type /Page /Parent 2 0 R " + entries + " >>");
    size_t xref = body.size();
    body += "xref\n0 " + std::to_string(offsets.size() + 1) + "\n0000000000 65535 f \n";
    for (size_t offset : offsets) {
        char line[32];
        std::snprintf(line, sizeof line, "%010zu 00000 n \n", offset);
        body += line;
    }
    body += "trailer\n<< /Size " + std::to_string(offsets.size() + 1) + " /Root 1 0 R >>\nstartxref\n" +
            std::to_string(xref) + "\n%%EOF\n";
    return {body.begin(), body.end()};
}

}  // namespace

TEST(MarqenDOMDocument, EmptyDictionaryGetsTheThreeFixedLayers) {
    auto document = MarqenDOMDocument::fromDictionary(MarqenJSON::object());
    EXPECT_EQ(layerIds(*document), (std::vector<std::string>{"__background__", "__annotation__", "__text__"}));
    EXPECT_EQ(document->backgroundLayer(), document->childAtIndex(0));
    EXPECT_EQ(document->textLayer(), document->childAtIndex(2));
    EXPECT_FALSE(document->needsSave());
    EXPECT_FALSE(document->undoManager()->canUndo());  // loading leaves no undo history
    EXPECT_EQ(document->frame(), CGRectMake(0, 0, 8, 8));
    EXPECT_EQ(document->metadata()["version"], "1.2");
    EXPECT_EQ(document->metadata()["creator"], "marqen-mac");
}

TEST(MarqenDOMDocument, FixedLayersAreReorderedAndKeepTheirIds) {
    MarqenJSON dictionary{{"type", "Document"},
                          {"children", {layerDictionary("__text__", "T"), layerDictionary("__background__", "B"),
                                        layerDictionary("__annotation__", "A")}}};
    auto document = MarqenDOMDocument::fromDictionary(dictionary);
    EXPECT_EQ(layerIds(*document), (std::vector<std::string>{"__background__", "__annotation__", "__text__"}));
    EXPECT_EQ(document->childAtIndex(0)->guid(), "B");
    EXPECT_EQ(document->childAtIndex(2)->guid(), "T");
}

TEST(MarqenDOMDocument, LaterLayersCannotClaimReservedIds) {
    MarqenJSON dictionary{{"children", {layerDictionary(""), layerDictionary(""), layerDictionary(""),
                                        layerDictionary("__root__"), layerDictionary("custom")}}};
    auto document = MarqenDOMDocument::fromDictionary(dictionary);
    auto ids = layerIds(*document);
    ASSERT_EQ(ids.size(), 5u);
    EXPECT_EQ(std::vector<std::string>(ids.begin(), ids.begin() + 3),
              (std::vector<std::string>{"__background__", "__annotation__", "__text__"}));
    EXPECT_NE(ids[3], "__root__");
    EXPECT_EQ(ids[3].size(), 36u);
    EXPECT_EQ(ids[4], "custom");
}

TEST(MarqenDOMDocument, OlderLayerIdInMetadataMovesToLayerId) {
    MarqenJSON dictionary{{"children",
                           {{{"type", "com.brondale.marqen.element.type.layer"},
                             {"metadata", {{"com.brondale.marqen.layer.id", "__text__"}, {"keep", 1}}}}}}};
    auto document = MarqenDOMDocument::fromDictionary(dictionary);
    auto text = document->textLayer();
    ASSERT_TRUE(text);
    EXPECT_FALSE(text->metadata().contains("com.brondale.marqen.layer.id"));
    MarqenJSON written = text->dictionaryRepresentation();
    EXPECT_EQ(written["layerId"], "__text__");
    EXPECT_EQ(written["metadata"], (MarqenJSON{{"keep", 1}}));
}

TEST(MarqenDOMDocument, FrameScaleAndVersionRules) {
    auto document = MarqenDOMDocument::fromDictionary(
        {{"frame", {{"x", 0}, {"y", 0}, {"width", 2}, {"height", 500}}}, {"deviceScale", 0}});
    EXPECT_EQ(document->frame(), CGRectMake(0, 0, 8, 500));
    EXPECT_EQ(document->deviceScale(), 1.0);
    auto tiny = MarqenDOMDocument::fromDictionary({{"deviceScale", 1e-20}});
    EXPECT_EQ(tiny->deviceScale(), 1.0);
    auto kept = MarqenDOMDocument::fromDictionary({{"deviceScale", 2}, {"metadata", {{"version", "1.1"}}}});
    EXPECT_EQ(kept->deviceScale(), 2.0);
    EXPECT_EQ(kept->metadata()["version"], "1.2");
}

TEST(MarqenDOMDocument, WritesItsKeysInOrderAndRoundTrips) {
    auto document = MarqenDOMDocument::createWithSize({640, 480}, 2);
    document->setTitle("Shot");
    document->setPageNumber(3);
    document->setContentScaleFactor(1.5);
    MarqenJSON written = document->dictionaryRepresentation();
    std::vector<std::string> keys;
    for (const auto &item : written.items()) keys.push_back(item.key());
    EXPECT_EQ(keys, (std::vector<std::string>{"type", "guid", "children", "metadata", "frame", "deviceScale", "title",
                                              "contentScaleFactor", "pageNumber"}));
    auto back = MarqenDOMDocument::fromDictionary(written);
    EXPECT_EQ(back->dictionaryRepresentation(), written);
    document->setContentScaleFactor(INFINITY);
    EXPECT_FALSE(document->dictionaryRepresentation().contains("contentScaleFactor"));
    document->setCoordinateSystem(2);
    EXPECT_THROW(document->dictionaryRepresentation(), std::logic_error);
}

TEST(MarqenDOMDocument, TitleFallsBackToTheOlderKey) {
    auto document = MarqenDOMDocument::create();
    document->setMetadata({{"com.brondale.marqen.composition.title", "Old"}});
    EXPECT_EQ(document->title(), "Old");
    document->setTitle("New");
    EXPECT_EQ(document->title(), "New");
    EXPECT_TRUE(document->metadata().contains("com.brondale.marqen.composition.title"));
    document->setTitle(std::nullopt);
    EXPECT_FALSE(document->title());
}

TEST(MarqenDOMDocument, TitleIsReadOnceAndKeptUnderOneKey) {
    const std::string legacy = "com.brondale.marqen.composition.title";
    // The top-level "title" wins over both metadata keys; the older key is gone after reading.
    auto both = MarqenDOMDocument::fromDictionary(
        {{"title", "Top"}, {"metadata", {{"title", "Meta"}, {legacy, "Old"}, {"keep", 1}}}});
    EXPECT_EQ(both->title(), "Top");
    EXPECT_EQ(both->metadata()["title"], "Top");
    EXPECT_FALSE(both->metadata().contains(legacy));
    EXPECT_EQ(both->metadata()["keep"], 1);
    EXPECT_FALSE(both->needsSave());
    EXPECT_FALSE(both->undoManager()->canUndo());
    // Only the older key: it becomes "title".
    auto older = MarqenDOMDocument::fromDictionary({{"metadata", {{legacy, "Old"}}}});
    EXPECT_EQ(older->metadata()["title"], "Old");
    EXPECT_FALSE(older->metadata().contains(legacy));
    // Metadata "title" beats the older key when the top level has none.
    auto meta = MarqenDOMDocument::fromDictionary({{"metadata", {{"title", "Meta"}, {legacy, "Old"}}}});
    EXPECT_EQ(meta->title(), "Meta");
    EXPECT_FALSE(meta->metadata().contains(legacy));
    // Written, the title stands at the top level and in the metadata, and reads back unchanged.
    MarqenJSON written = both->dictionaryRepresentation();
    EXPECT_EQ(written["title"], "Top");
    EXPECT_EQ(written["metadata"]["title"], "Top");
    EXPECT_EQ(MarqenDOMDocument::fromDictionary(written)->dictionaryRepresentation(), written);
    // No title anywhere: none is made up.
    auto untitled = MarqenDOMDocument::fromDictionary({{"metadata", {{"title", 5}}}});
    EXPECT_FALSE(untitled->title());
    EXPECT_FALSE(untitled->dictionaryRepresentation().contains("title"));
}

TEST(MarqenDOMDocument, UserAgentHistoryIgnoresRepeats) {
    auto document = MarqenDOMDocument::create();
    document->appendUserAgentString("marqen/1");
    document->appendUserAgentString("marqen/1");
    document->appendUserAgentString("marqen/2");
    EXPECT_EQ(document->userAgentHistory(), (std::vector<std::string>{"marqen/1", "marqen/2"}));
}

TEST(MarqenDOMDocument, DirtinessIsAnnouncedButNotForMetadata) {
    auto document = MarqenDOMDocument::createWithSize({10, 10}, 1);
    int dirty = 0;
    auto token = NotificationCenter::defaultCenter().addObserver(MarqenDOMDocumentDidBecomeDirty, document.get(),
                                                                 [&](const Notification &) { ++dirty; });
    document->setMetadataObject("x", "k");
    EXPECT_EQ(dirty, 0);
    EXPECT_TRUE(document->needsSave());
    document->setFrame(CGRectMake(0, 0, 20, 20));
    EXPECT_EQ(dirty, 1);
    document->undoManager()->undo();
    EXPECT_EQ(document->frame(), CGRectMake(0, 0, 10, 10));
}

TEST(MarqenDOMDocument, ContentScaleFactorProposalAndStorage) {
    auto document = MarqenDOMDocument::createWithSize({2000, 1000}, 2);
    int updates = 0;
    auto token = NotificationCenter::defaultCenter().addObserver(MarqenDOMDocumentDidUpdateContentScaleFactor,
                                                                 document.get(), [&](const Notification &) { ++updates; });
    document->setReferenceViewSize({1000, 500});
    EXPECT_EQ(updates, 1);
    // max(2000, 1000) / max(1000, 500) × 2, the document's own from the moment the view is known.
    EXPECT_TRUE(document->isContentScaleFactorSet());
    EXPECT_EQ(document->contentScaleFactor(), 4.0);
    EXPECT_EQ(updates, 1);  // reading announces nothing
    EXPECT_EQ(document->dictionaryRepresentation()["contentScaleFactor"], 4.0);
    // A later view size keeps the settled factor and is not announced.
    document->setReferenceViewSize({500, 250});
    EXPECT_EQ(document->contentScaleFactor(), 4.0);
    EXPECT_EQ(updates, 1);
}

TEST(MarqenDOMDocument, ReadingTheContentScaleFactorHasNoSideEffects) {
    auto document = MarqenDOMDocument::createWithSize({2000, 1000}, 2);
    std::vector<std::string> posted;
    auto token = NotificationCenter::defaultCenter().addObserver(
        "", document.get(), [&](const Notification &notification) { posted.push_back(notification.name); });
    MarqenJSON before = document->dictionaryRepresentation();
    EXPECT_EQ(document->contentScaleFactor(), 2.0);  // no view: the device scale, proposed
    EXPECT_EQ(document->contentScaleFactor(), 2.0);
    EXPECT_FALSE(document->isContentScaleFactorSet());
    EXPECT_TRUE(posted.empty());
    EXPECT_EQ(document->dictionaryRepresentation(), before);
    EXPECT_FALSE(before.contains("contentScaleFactor"));

    auto pdf = MarqenPDFDocument::openData(pdfWithPages({"/MediaBox [0 0 595 420]"}));
    ASSERT_TRUE(pdf);
    auto page = MarqenDOMDocument::createWithPDFPage(MarqenPDFPage::create(pdf, 0), 1);
    auto pageToken = NotificationCenter::defaultCenter().addObserver(
        "", page.get(), [&](const Notification &notification) { posted.push_back(notification.name); });
    MarqenJSON pageBefore = page->dictionaryRepresentation();
    EXPECT_EQ(page->contentScaleFactor(), 2.0 / 3.0);
    EXPECT_TRUE(posted.empty());
    EXPECT_EQ(page->dictionaryRepresentation(), pageBefore);
}

TEST(MarqenDOMDocument, CopyMovesElementsIntoTheirLayersAndKeepsState) {
    auto document = MarqenDOMDocument::createWithSize({300, 200}, 2);
    document->annotationLayer()->addChild(MarqenDOMLayer::create());
    document->setContentScaleFactor(3);
    auto copy = document->copyDocument();
    EXPECT_EQ(copy->guid(), document->guid());
    EXPECT_EQ(copy->frame(), document->frame());
    EXPECT_EQ(copy->contentScaleFactor(), 3);
    EXPECT_EQ(copy->annotationLayer()->childCount(), 1u);
    EXPECT_EQ(copy->needsSave(), document->needsSave());
    EXPECT_FALSE(copy->undoManager()->canUndo());
}

TEST(MarqenDOMDocumentSettings, NewAndLoadedDocumentsTakeTheHostSettings) {
    MarqenDOMDocumentSettings saved = MarqenDOMDocumentSettings::current();
    MarqenDOMDocumentSettings::setCurrent({"7.4.1", 2.5});
    auto created = MarqenDOMDocument::create();
    auto loaded = MarqenDOMDocument::fromDictionary({{"metadata", {{"creatorVersion", "1.0"}}}});
    auto sized = MarqenDOMDocument::createWithSize({10, 10}, 3);
    MarqenDOMDocumentSettings::setCurrent(saved);
    EXPECT_EQ(created->metadata()["creatorVersion"], "7.4.1");
    EXPECT_EQ(created->deviceScale(), 2.5);
    EXPECT_EQ(loaded->metadata()["creatorVersion"], "7.4.1");  // every load stamps the host's version
    EXPECT_EQ(loaded->deviceScale(), 2.5);                     // no "deviceScale" in the file
    EXPECT_EQ(sized->deviceScale(), 3.0);                      // an explicit scale wins
    // Documents keep what they were given; later settings only reach later documents.
    EXPECT_EQ(created->metadata()["creatorVersion"], "7.4.1");
    EXPECT_EQ(MarqenDOMDocument::create()->metadata()["creatorVersion"], saved.creatorVersion);
}

TEST(MarqenDOMDocument, CollectorsWalkTheTreeInVisitingOrder) {
    auto document = MarqenDOMDocument::createWithSize({100, 100}, 1);
    EXPECT_FALSE(document->hasVisibleElements());  // only the three layers
    EXPECT_EQ(document->allLayerElements().size(), 3u);
    auto nested = MarqenDOMLayer::create();
    document->annotationLayer()->addChild(nested);
    EXPECT_FALSE(document->hasVisibleElements());
    auto layers = document->allLayerElements();
    ASSERT_EQ(layers.size(), 4u);
    EXPECT_EQ(layers[1], document->annotationLayer());
    EXPECT_EQ(layers[2], nested);  // depth first: the nested layer before the text layer
    EXPECT_EQ(layers[3], document->textLayer());
    EXPECT_EQ(document->allElements().size(), 4u);
    EXPECT_TRUE(document->allBitmaps().empty());
    EXPECT_TRUE(document->resourceURIs().empty());
}

TEST(MarqenDOMDocument, OperationsRunOneAtATimeInOrderOffTheMainThreadAndReportBackOnIt) {
    struct Trace {
        std::mutex mutex;
        std::vector<int> ran, reported;
        int running = 0, overlaps = 0, ranOnMain = 0, reportedOffMain = 0;
    };
    auto trace = std::make_shared<Trace>();
    auto document = MarqenDOMDocument::create();
    document->suspendOperations();
    for (int i = 0; i < 5; ++i)
        document->addOperation([trace, i]() -> std::function<void()> {
            {
                std::lock_guard lock(trace->mutex);
                if (trace->running++ > 0) ++trace->overlaps;
                if (MainQueue::isMainThread()) ++trace->ranOnMain;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
            {
                std::lock_guard lock(trace->mutex);
                --trace->running;
                trace->ran.push_back(i);
            }
            return [trace, i] {
                if (!MainQueue::isMainThread()) ++trace->reportedOffMain;
                trace->reported.push_back(i);
            };
        });
    // While suspended nothing runs, and waiting returns at once instead of hanging.
    EXPECT_TRUE(document->areOperationsSuspended());
    document->waitForOperationsToFinish();
    {
        std::lock_guard lock(trace->mutex);
        EXPECT_TRUE(trace->ran.empty());
    }
    document->resumeOperations();
    document->waitForOperationsToFinish();  // also waits for the parts that report back on the main queue
    std::lock_guard lock(trace->mutex);
    const std::vector<int> inOrder{0, 1, 2, 3, 4};
    EXPECT_EQ(trace->ran, inOrder);
    EXPECT_EQ(trace->reported, inOrder);
    EXPECT_EQ(trace->overlaps, 0);
    EXPECT_EQ(trace->ranOnMain, 0);
    EXPECT_EQ(trace->reportedOffMain, 0);
}

TEST(MarqenDOMDocument, WaitingOnTheMainThreadLetsWorkFinishThroughTheMainQueue) {
    auto document = MarqenDOMDocument::create();
    auto finished = std::make_shared<std::atomic<bool>>(false);
    // Work begun elsewhere whose end has to run on the main thread: a wait that only blocked would never end.
    std::thread worker([token = document->beginOperation(), finished]() mutable {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        MainQueue::shared().async([token = std::move(token), finished]() mutable {
            EXPECT_TRUE(MainQueue::isMainThread());
            finished->store(true);
            token.reset();
        });
    });
    document->waitForOperationsToFinish();
    EXPECT_TRUE(finished->load());
    worker.join();
}

TEST(MarqenDOMNodeResolveNodeClass, FollowsExtensionPaths) {
    auto resolve = [](const MarqenJSON &dictionary) {
        const MarqenDOMNodeClass *found = MarqenDOMNodeResolveNodeClass(dictionary, nullptr, nullptr);
        return found ? found->name : std::string("none");
    };
    EXPECT_EQ(resolve({{"type", "Layer"}}), "MarqenDOMLayer");
    EXPECT_EQ(resolve({{"type", "Layer"}, {"extension", {{"type", "Star"}}}}), "MarqenDOMLayer");
    EXPECT_EQ(resolve({{"type", "Element"}}), "none");
    EXPECT_EQ(resolve({{"type", "Widget"}}), "none");
    EXPECT_EQ(resolve({{"type", ""}}), "none");
    EXPECT_EQ(resolve({{"type", nullptr}}), "none");
    EXPECT_EQ(resolve({{"type", "com.brondale.marqen.element.type.layer"}}), "MarqenDOMLayer");
    // Unknown children are dropped; "children" wins over "elements".
    auto layer = MarqenDOMNode::nodeWithDictionary(
        {{"type", "Layer"},
         {"children", {{{"type", "Widget"}}, {{"type", "Layer"}, {"guid", "KEEP"}}, nullptr, 5}},
         {"elements", {{{"type", "Layer"}}, {{"type", "Layer"}}}}});
    ASSERT_TRUE(layer);
    ASSERT_EQ(layer->childCount(), 1u);
    EXPECT_EQ(layer->childAtIndex(0)->guid(), "KEEP");
}

TEST(MarqenDOMNode, MinimalNodeWritesTypeAndGuidOnly) {
    auto layer = MarqenDOMLayer::create();
    MarqenJSON written = layer->dictionaryRepresentation();
    EXPECT_EQ(written.size(), 2u);
    EXPECT_EQ(written["type"], "Layer");
    layer->setTransform(CGAffineTransformMakeTranslation(3, 4));
    EXPECT_EQ(layer->dictionaryRepresentation()["transform"],
              (MarqenJSON{{"a", 1.0}, {"b", 0.0}, {"c", 0.0}, {"d", 1.0}, {"e", 3.0}, {"f", 4.0}}));
}

TEST(MarqenDOMElement, StyleMergesOlderInkStyle) {
    auto layer = MarqenDOMNode::nodeWithDictionary(
        {{"type", "Layer"},
         {"inkStyle", {{"shadowRadius", 3}, {"shadowOpacity", 0.5}}},
         {"style", {{"shadowRadius", 5}}}});
    auto element = std::dynamic_pointer_cast<MarqenDOMElement>(layer);
    ASSERT_TRUE(element);
    EXPECT_EQ(element->style()->shadowRadius(), 5);
    EXPECT_EQ(element->style()->shadowOpacity(), 0.5);
}

TEST(MarqenDOMMultiPageDocument, ReadsPagesAndFailsWholeOnABadPage) {
    test::LogCapture log;
    MarqenJSON good{{"type", "MultiPageDocument"},
                    {"children", {{{"pageNumber", 2}}, {{"type", "Document"}}}}};
    auto pages = MarqenDOMMultiPageDocument::fromDictionary(good);
    ASSERT_TRUE(pages);
    ASSERT_EQ(pages->pages().size(), 2u);
    EXPECT_EQ(pages->pageForPageNumber(2), pages->pages()[0]);
    EXPECT_EQ(pages->pageForPageNumber(0), pages->pages()[1]);
    EXPECT_TRUE(log.contains("Warning: the current page has no page number!"));
    EXPECT_EQ(pages->dictionaryRepresentation()["type"], "MultiPageDocument");

    EXPECT_FALSE(MarqenDOMMultiPageDocument::fromDictionary({{"children", {{{"pageNumber", 1}}, "oops"}}}));
    EXPECT_TRUE(log.contains("Encountered page dictionary but got: \"oops\""));
    auto empty = MarqenDOMMultiPageDocument::fromDictionary({{"children", 7}});
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->pages().empty());
}

TEST(MarqenDOMDocument, PDFPageDocumentsTakeTheDisplayedCropBox) {
    // Page 1: crop box 600 by 800 inside a larger media box, turned a quarter; page 2: an A5 landscape
    // media box and no crop box, turned half; page 3: turned a quarter the other way.
    auto pdf = MarqenPDFDocument::openData(
        pdfWithPages({"/MediaBox [0 0 700 900] /CropBox [50 40 650 840] /Rotate 90", "/MediaBox [0 0 595 420] /Rotate 180",
                      "/MediaBox [0 0 300 5] /Rotate -90"}));
    ASSERT_TRUE(pdf);
    auto turned = MarqenDOMDocument::createWithPDFPage(MarqenPDFPage::create(pdf, 0), 1);
    EXPECT_EQ(turned->frame(), CGRectMake(0, 0, 800, 600));
    auto upsideDown = MarqenDOMDocument::createWithPDFPage(MarqenPDFPage::create(pdf, 1), 2);
    EXPECT_EQ(upsideDown->frame(), CGRectMake(0, 0, 595, 420));
    EXPECT_EQ(upsideDown->deviceScale(), 2.0);
    auto narrow = MarqenDOMDocument::createWithPDFPage(MarqenPDFPage::create(pdf, 2), 1);
    EXPECT_EQ(narrow->frame(), CGRectMake(0, 0, 8, 300));  // 5 by 300 shown, raised to the 8-unit minimum
    EXPECT_EQ(turned->pdfPage()->cropBox(), CGRectMake(50, 40, 600, 800));
    EXPECT_EQ(turned->proposedContentScaleFactor(), 2.0 / 3.0);
    // A page's factor is the document's own from the start, so that reading it changes nothing.
    EXPECT_TRUE(turned->isContentScaleFactorSet());
    EXPECT_EQ(turned->dictionaryRepresentation()["contentScaleFactor"], 2.0 / 3.0);
    EXPECT_FALSE(turned->needsSave());
}

// Builds with assertions stop at a change of the model made off the main thread.
TEST(MarqenDOMDocumentDeathTest, ChangingTheModelOffTheMainThreadStops) {
#ifdef NDEBUG
    GTEST_SKIP() << "assertions are compiled out in this build";
#else
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto document = MarqenDOMDocument::createWithSize({10, 10}, 1);
    EXPECT_DEATH(
        {
            std::thread worker([document] { document->setFrame(CGRectMake(0, 0, 20, 20)); });
            worker.join();
        },
        "the model is used on the main thread only");
#endif
}
