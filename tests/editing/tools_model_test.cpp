#include <gtest/gtest.h>

#include "editing/tools_model.h"
#include "foundation/notification_center.h"
#include "foundation/queues.h"

using namespace marqen;

namespace {

// Records the tools model's notifications in the order they are delivered.
struct ToolsNotifications {
    std::vector<std::string> names;
    std::vector<NotificationToken> tokens;
    explicit ToolsNotifications(const MarqenToolsModel *model) {
        for (const char *name : {kMarqenToolsModelCurrentToolDidChangeNotification,
                                 kMarqenToolsModelMainToolsDidChangeNotification,
                                 kMarqenToolsModelSecondaryToolsDidChangeNotification})
            tokens.push_back(NotificationCenter::defaultCenter().addObserver(
                name, model, [this](const Notification &n) { names.push_back(n.name); }));
    }
};

std::vector<MarqenToolID> ids(const std::vector<MarqenTool> &tools) {
    std::vector<MarqenToolID> result;
    for (const auto &tool : tools) result.push_back(tool.toolID());
    return result;
}

const MarqenTool kArrow(MarqenToolIDArrow), kText(MarqenToolIDText), kCrop(MarqenToolIDCrop),
    kResize(MarqenToolIDResize), kPixelate(MarqenToolIDPixelate), kEllipse(MarqenToolIDEllipse),
    kLine(MarqenToolIDLine), kHighlighter(MarqenToolIDHighlighter);

class ToolsModelTest : public testing::Test {
protected:
    void SetUp() override { MainQueue::shared().drain(); }
    void TearDown() override { MainQueue::shared().drain(); }
};

}  // namespace

TEST_F(ToolsModelTest, ToolValueEqualityDescriptionAndArchive) {
    MarqenTool stamp(MarqenToolIDStamp);
    EXPECT_EQ(stamp.stampName(), "com.brondale.marqen.rejected");
    EXPECT_EQ(stamp.description(), "toolID=MarqenToolIDStamp, stampName=com.brondale.marqen.rejected");
    EXPECT_EQ(kArrow.description(), "toolID=MarqenToolIDArrow");
    EXPECT_FALSE(kArrow.stampName());

    EXPECT_NE(stamp, MarqenTool(MarqenToolIDStamp, "com.brondale.marqen.approved"));
    // Only stamp tools compare their names.
    EXPECT_EQ(MarqenTool(MarqenToolIDText, "x"), kText);
    EXPECT_NE(kText, kArrow);

    MarqenJSON archive = stamp.encodeWithCoder();
    EXPECT_EQ(archive.dump(), R"({"toolID":9,"stampName":"com.brondale.marqen.rejected"})");
    EXPECT_EQ(MarqenTool::initWithCoder(archive), stamp);
    EXPECT_EQ(kText.encodeWithCoder().dump(), R"({"toolID":2})");
    for (const char *bad : {R"({"toolID":13})", R"({"toolID":-1})", R"({"toolID":2.5})", R"({"toolID":"2"})", "[]",
                            R"({"stampName":"x"})"})
        EXPECT_FALSE(MarqenTool::initWithCoder(MarqenJSON::parse(bad))) << bad;
}

TEST_F(ToolsModelTest, GroupsAndValidTools) {
    const auto &groups = MarqenToolsModel::allTools();
    ASSERT_EQ(groups.size(), 9u);
    EXPECT_EQ(ids(groups[3]), (std::vector<MarqenToolID>{MarqenToolIDRectangle, MarqenToolIDRoundedRectangle,
                                                          MarqenToolIDEllipse, MarqenToolIDLine}));
    ASSERT_EQ(groups[5].size(), 5u);
    EXPECT_EQ(groups[5][4].stampName(), "com.brondale.marqen.perfect");
    EXPECT_EQ(groups[6][0].stampName(), "com.brondale.marqen.happy");
    EXPECT_EQ(ids(groups[8]), std::vector<MarqenToolID>{MarqenToolIDCrop});

    MarqenToolsModel model;
    auto valid = model.allValidTools();
    // Pan, funny stamps, pixelate and crop are all gone.
    ASSERT_EQ(valid.size(), 5u);
    EXPECT_EQ(valid[0][0], kArrow);
    EXPECT_EQ(valid[4].size(), 5u);

    model.setAllowPanTool(true);
    model.setAllowEmoticonTools(true);
    model.setAllowPixelateTool(true);
    model.setAllowCropAndResizeTools(true);
    EXPECT_EQ(model.allValidTools().size(), 9u);
}

TEST_F(ToolsModelTest, FreshModelAndMainBar) {
    MarqenToolsModel model;
    EXPECT_EQ(model.currentTool(), kArrow);
    EXPECT_FALSE(model.previousTool());
    EXPECT_EQ(model.previousNonPixelateNonCropNonResizeTool(), kArrow);
    EXPECT_FALSE(model.mainTools());

    model.expandMainTools();
    ASSERT_TRUE(model.mainTools());
    EXPECT_EQ(ids(*model.mainTools()), (std::vector<MarqenToolID>{MarqenToolIDArrow, MarqenToolIDText,
                                                                  MarqenToolIDRectangle, MarqenToolIDMarker,
                                                                  MarqenToolIDStamp}));
    model.chooseTool(kEllipse);
    EXPECT_EQ((*model.mainTools())[2], kEllipse);  // the chosen member represents its group
    model.collapseMainTools();
    EXPECT_FALSE(model.mainTools());
    ASSERT_TRUE(model.collapsedMainTools());
    model.expandMainTools();
    EXPECT_EQ((*model.mainTools())[2], kEllipse);  // restored from the collapsed bar
}

TEST_F(ToolsModelTest, SecondaryBar) {
    MarqenToolsModel model;
    model.expandSecondaryToolsFromTool(kLine);
    EXPECT_FALSE(model.secondaryTools());  // nothing without a main bar
    model.expandMainTools();
    model.expandSecondaryToolsFromTool(kLine);
    ASSERT_TRUE(model.secondaryTools());
    EXPECT_EQ(model.secondaryTools()->size(), 4u);
    model.expandSecondaryToolsFromTool(kText);  // a group of one opens nothing
    EXPECT_FALSE(model.secondaryTools());

    model.expandSecondaryToolsFromTool(kHighlighter);
    ASSERT_TRUE(model.secondaryTools());
    // Choosing a member of the open group keeps it open; a main-bar tool outside it closes it.
    model.chooseTool(kHighlighter);
    EXPECT_TRUE(model.secondaryTools());
    model.chooseTool(kText);
    EXPECT_FALSE(model.secondaryTools());
    model.expandSecondaryToolsFromTool(kHighlighter);
    model.collapseMainTools();
    EXPECT_FALSE(model.secondaryTools());
}

TEST_F(ToolsModelTest, NotificationsArriveLaterOnTheMainQueueAndTheCurrentToolPostsNothing) {
    MarqenToolsModel model;
    model.expandMainTools();
    MainQueue::shared().drain();
    ToolsNotifications seen(&model);
    model.chooseTool(kArrow);
    MainQueue::shared().drain();
    EXPECT_TRUE(seen.names.empty());
    EXPECT_FALSE(model.previousTool());

    model.chooseTool(kText);
    EXPECT_TRUE(seen.names.empty());  // not inline
    MainQueue::shared().drain();
    // Text is on the main bar: the secondary bar is closed (announced even though it was closed), then the
    // tool changes.
    EXPECT_EQ(seen.names, (std::vector<std::string>{kMarqenToolsModelSecondaryToolsDidChangeNotification,
                                                    kMarqenToolsModelCurrentToolDidChangeNotification}));
    EXPECT_EQ(model.previousTool(), kArrow);

    seen.names.clear();
    {
        MarqenToolsModel gone;
        gone.chooseTool(kText);
    }
    EXPECT_GE(MainQueue::shared().drain(), 1u);  // the queued post of a destroyed model fires nothing
    EXPECT_TRUE(seen.names.empty());
}

TEST_F(ToolsModelTest, ResizeTakesTheCropSlotAndGivesItBack) {
    MarqenToolsModel model;
    model.setAllowCropAndResizeTools(true);
    model.expandMainTools();
    ASSERT_EQ(model.mainTools()->back(), kCrop);
    model.chooseTool(kText);
    model.chooseTool(kResize);
    EXPECT_EQ(model.mainTools()->back(), kResize);
    EXPECT_TRUE(model.isCurrentToolCropOrResize());
    EXPECT_EQ(model.previousNonPixelateNonCropNonResizeTool(), kText);

    model.chooseTool(kCrop);  // crop is found in its group and takes its slot back
    EXPECT_EQ(model.mainTools()->back(), kCrop);
    EXPECT_EQ(model.previousNonPixelateNonCropNonResizeTool(), kText);  // resize is not remembered
    model.chooseTool(kResize);
    model.chooseTool(kEllipse);
    EXPECT_EQ(model.mainTools()->back(), kCrop);
    EXPECT_FALSE(model.isCurrentToolCropOrResize());
}

TEST_F(ToolsModelTest, ExitReturnsToTheLastDrawingTool) {
    MarqenToolsModel model;
    model.exitPixelateOrCropOrResize();  // nothing allowed: nothing happens
    EXPECT_EQ(model.currentTool(), kArrow);

    model.setAllowPixelateTool(true);
    model.expandMainTools();
    model.chooseTool(kLine);
    model.exitPixelateOrCropOrResize();  // line is not pixelate, crop or resize
    EXPECT_EQ(model.currentTool(), kLine);
    model.chooseTool(kPixelate);
    EXPECT_EQ(model.previousNonPixelateNonCropNonResizeTool(), kLine);
    model.exitPixelateOrCropOrResize();
    EXPECT_EQ(model.currentTool(), kLine);
    EXPECT_EQ(model.previousTool(), kPixelate);
}

TEST_F(ToolsModelTest, FunnyStampOutsideValidGroupsLeavesTheBar) {
    MarqenToolsModel model;
    model.expandMainTools();
    auto before = *model.mainTools();
    MarqenTool happy(MarqenToolIDStamp, "com.brondale.marqen.happy");
    model.chooseTool(happy);
    EXPECT_EQ(*model.mainTools(), before);
    EXPECT_EQ(model.currentTool(), happy);
    EXPECT_EQ(model.analyticsEventToolName(), "stamp_happy");

    model.setAllowEmoticonTools(true);  // rebuilt from the new valid groups
    ASSERT_EQ(model.mainTools()->size(), 6u);
    EXPECT_EQ((*model.mainTools())[5], happy);
    EXPECT_EQ((*model.mainTools())[4], MarqenTool(MarqenToolIDStamp));
}

TEST_F(ToolsModelTest, AllowFlagsRebuildOnlyForEmoticonsAndPixelate) {
    MarqenToolsModel model;
    model.expandMainTools();
    model.chooseTool(kEllipse);
    model.setAllowCropAndResizeTools(true);
    model.setAllowPanTool(true);
    EXPECT_EQ(model.mainTools()->size(), 5u);  // stored only
    model.setAllowPixelateTool(true);
    ASSERT_EQ(model.mainTools()->size(), 8u);  // pan … stamps, pixelate, crop
    EXPECT_EQ(model.mainTools()->front().toolID(), MarqenToolIDPan);
    EXPECT_EQ((*model.mainTools())[3], MarqenTool(MarqenToolIDRectangle));  // the collapsed bar was discarded
}

TEST_F(ToolsModelTest, ArchiveRoundTripAndOlderKey) {
    MarqenToolsModel model;
    model.setAllowCropAndResizeTools(true);
    model.expandMainTools();
    model.chooseTool(kText);
    model.chooseTool(kCrop);
    MarqenJSON archive = model.encodeWithCoder();
    EXPECT_FALSE(archive.contains("collapsedMainTools"));
    EXPECT_FALSE(archive.contains("secondaryTools"));
    EXPECT_EQ(archive["currentTool"]["toolID"], 11);

    MarqenToolsModel restored(archive);
    EXPECT_EQ(restored.currentTool(), kCrop);
    EXPECT_EQ(restored.previousTool(), kText);
    EXPECT_EQ(restored.previousNonPixelateNonCropNonResizeTool(), kText);
    EXPECT_EQ(restored.mainTools(), model.mainTools());
    EXPECT_TRUE(restored.allowCropAndResizeTools());
    EXPECT_FALSE(restored.allowPixelateTool());
    EXPECT_EQ(restored.encodeWithCoder(), archive);

    MarqenToolsModel older(MarqenJSON::parse(R"({"allowPixelateAndCropAndResizeTools": true})"));
    EXPECT_TRUE(older.allowPixelateTool());
    EXPECT_TRUE(older.allowCropAndResizeTools());
    MarqenToolsModel overridden(
        MarqenJSON::parse(R"({"allowPixelateAndCropAndResizeTools": true, "allowPixelateTool": false})"));
    EXPECT_FALSE(overridden.allowPixelateTool());
    EXPECT_TRUE(overridden.allowCropAndResizeTools());

    MarqenToolsModel broken(MarqenJSON::parse(
        R"({"currentTool": {"toolID": 99}, "mainTools": [{"toolID": 1}, 7], "allowPanTool": "yes"})"));
    EXPECT_EQ(broken.currentTool(), kArrow);
    EXPECT_FALSE(broken.mainTools());
    EXPECT_FALSE(broken.allowPanTool());
}

TEST_F(ToolsModelTest, AnalyticsNamesAndEvents) {
    MarqenToolsModel model;
    const std::pair<MarqenToolID, const char *> table[] = {
        {MarqenToolIDPan, "pan"},         {MarqenToolIDText, "text"},        {MarqenToolIDRectangle, "rect"},
        {MarqenToolIDRoundedRectangle, "round_rect"}, {MarqenToolIDEllipse, "ellipse"}, {MarqenToolIDLine, "line"},
        {MarqenToolIDMarker, "marker"},   {MarqenToolIDHighlighter, "highlighter"}, {MarqenToolIDPixelate, "pixel"},
        {MarqenToolIDCrop, "crop"},       {MarqenToolIDResize, "resize"},    {MarqenToolIDArrow, "arrow"}};
    for (auto [id, name] : table) {
        model.setCurrentTool(MarqenTool(id));
        EXPECT_EQ(model.analyticsEventToolName(), name);
    }
    const std::pair<const char *, const char *> stamps[] = {
        {"com.brondale.marqen.rejected", "stamp_x"}, {"com.brondale.marqen.exclaim", "stamp_bang"},
        {"com.brondale.marqen.question", "stamp_question"}, {"com.brondale.marqen.approved", "stamp_check"},
        {"com.brondale.marqen.perfect", "stamp_heart"}, {"com.brondale.marqen.angry", "stamp_angry"},
        {"com.brondale.marqen.cool", "stamp_cool"}, {"com.brondale.marqen.silly", "stamp_silly"},
        {"com.brondale.marqen.surprise", "stamp_surprise"}};
    for (auto [stamp, name] : stamps) {
        model.setCurrentTool(MarqenTool(MarqenToolIDStamp, stamp));
        EXPECT_EQ(model.analyticsEventToolName(), name);
    }

    int view = 0;
    std::vector<std::string> events;
    auto token = NotificationCenter::defaultCenter().addObserver(
        "MarqenAnalyticsInterestingEventDidOccur", &view, [&](const Notification &n) {
            events.push_back(*n.value<std::string>("category") + "/" + *n.value<std::string>("action") + "/" +
                             *n.value<std::string>("label"));
        });
    model.setCurrentTool(kEllipse);
    model.postToolDidChangeAnalyticsEventForCompositionView(&view);
    model.postToolDidCreateObjectAnalyticsEventForCompositionView(&view);
    EXPECT_EQ(events, (std::vector<std::string>{"canvas/tool_changed/ellipse", "canvas/object_create/ellipse"}));
}
