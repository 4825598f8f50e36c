#include <gtest/gtest.h>

#include "dom/document.h"
#include "dom/notifications.h"
#include "dom/rectangle.h"
#include "dom/stamp.h"
#include "dom/text.h"
#include "editing/properties_model.h"
#include "editing/text_font_sizes.h"
#include "editing/tools_model.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "support/test_support.h"

using namespace marqen;

namespace {

// A view over a plain selection that records what the properties ask of it.
class RecordingView : public MarqenPropertiesCompositionView {
public:
    std::vector<std::shared_ptr<MarqenDOMElement>> selection;
    std::shared_ptr<MarqenDOMDocument> page = MarqenDOMDocument::createWithSize({800, 600}, 1);
    MarqenToolsModel tools;
    UndoManager undo;
    std::vector<std::string> calls;
    std::optional<MarqenDOMColor> toolColor;
    CGFloat toolSize = 0;
    bool refuseCanvasOperations = false;

    std::vector<std::shared_ptr<MarqenDOMElement>> selectedElements() const override { return selection; }
    std::optional<MarqenDOMColor> singleColorForSelectedElements() const override {
        std::optional<MarqenDOMColor> shared;
        for (const auto &element : selection) {
            if (!element->toolColor() || (shared && !(*shared == *element->toolColor()))) return std::nullopt;
            shared = element->toolColor();
        }
        return shared;
    }
    std::optional<CGFloat> singleToolSizeForSelectedElements() const override {
        std::optional<CGFloat> shared;
        for (const auto &element : selection) {
            if (shared && *shared != element->toolSizeRelative()) return std::nullopt;
            shared = element->toolSizeRelative();
        }
        return shared;
    }
    void setToolColor(const MarqenDOMColor &color) override { toolColor = color; }
    void setToolSize(CGFloat size) override { toolSize = size; }
    void setTextBlockStyle(MarqenDOMTextBlockStyle style) override {
        calls.push_back("textStyle " + std::to_string(style));
    }
    void setTextFont(const MarqenDOMFont &font) override {
        calls.push_back("font " + font.name() + " " + std::to_string(static_cast<int>(font.size())));
    }
    void setToolColorForSelectedElements(const MarqenDOMColor &color) override {
        for (auto &element : selection) element->setToolColor(color);
    }
    void setToolSizeForSelectedElements(CGFloat size) override {
        for (auto &element : selection) element->setToolSizeRelative(size);
    }
    void setTextBlockStyleForSelectedElements(MarqenDOMTextBlockStyle style) override {
        for (auto &element : selection)
            if (auto text = std::dynamic_pointer_cast<MarqenDOMText>(element)) text->setTextBlockStyle(style);
    }
    void setTextFontForSelectedElements(const MarqenDOMFont &font) override {
        for (auto &element : selection)
            if (auto text = std::dynamic_pointer_cast<MarqenDOMText>(element)) text->setFont(font);
    }
    MarqenToolsModel *canvasTools() const override { return const_cast<MarqenToolsModel *>(&tools); }
    void clearNodeSelection() override {
        calls.push_back("clearNodeSelection");
        selection.clear();
    }
    UndoManager *undoManager() const override { return const_cast<UndoManager *>(&undo); }
    std::shared_ptr<MarqenDOMDocument> document() const override { return page; }
    bool cropToRect(CGRect rect) override {
        calls.push_back("crop " + std::to_string(static_cast<int>(rect.origin.x)) + "," +
                        std::to_string(static_cast<int>(rect.origin.y)) + " " +
                        std::to_string(static_cast<int>(rect.size.width)) + "x" +
                        std::to_string(static_cast<int>(rect.size.height)));
        return !refuseCanvasOperations;
    }
    bool resizeCanvas(CGFloat scale) override {
        calls.push_back("resize " + std::to_string(scale));
        return !refuseCanvasOperations;
    }

    void select(std::vector<std::shared_ptr<MarqenDOMElement>> elements) {
        selection = std::move(elements);
        NotificationCenter::defaultCenter().post(kMarqenCompositionViewSelectionDidChangeNotification,
                                                 notificationSender());
    }
    void chooseTool(MarqenToolID id) {
        tools.chooseTool(MarqenTool(id));
        MainQueue::shared().drain();
    }
};

// The properties offered, by their names, in order.
std::vector<std::string> offered(const MarqenPropertiesModel &model) {
    std::vector<std::string> names;
    if (!model.currentProperties()) return names;
    for (MarqenProperty *property : *model.currentProperties()) {
        if (property == &model.colorProperty()) names.push_back("color");
        else if (property == &model.sizeProperty()) names.push_back("size");
        else if (property == &model.textStyleProperty()) names.push_back("textStyle");
        else if (property == &model.textFontProperty()) names.push_back("textFont");
        else if (property == model.cropProperty()) names.push_back("crop");
        else if (property == model.resizeProperty()) names.push_back("resize");
        else names.push_back("?");
    }
    return names;
}

struct Recorder {
    std::vector<std::string> names;
    NotificationToken token;
    Recorder() {
        token = NotificationCenter::defaultCenter().addObserver("", nullptr, [this](const Notification &n) {
            if (n.name.rfind("MarqenPropert", 0) == 0 || n.name.rfind("MarqenAnalytics", 0) == 0) names.push_back(n.name);
        });
    }
    size_t count(const std::string &name) const { return std::count(names.begin(), names.end(), name); }
};

// The "action label" of every analytics event posted while it lives.
struct AnalyticsLabels {
    std::vector<std::string> labels;
    NotificationToken token = NotificationCenter::defaultCenter().addObserver(
        "MarqenAnalyticsInterestingEventDidOccur", nullptr, [this](const Notification &n) {
            labels.push_back(*n.value<std::string>("action") + " " + *n.value<std::string>("label"));
        });
};

class PropertiesModelTest : public testing::Test {
protected:
    void SetUp() override { MainQueue::shared().drain(); }
    void TearDown() override {
        model.prepareForDealloc();
        MainQueue::shared().drain();
    }
    RecordingView view;
    MarqenPropertiesModel model{&view};
};

std::shared_ptr<MarqenDOMText> textWithStyle(MarqenDOMTextBlockStyle style) {
    auto text = MarqenDOMText::create();
    text->setTextBlockStyle(style);
    return text;
}

}  // namespace

TEST_F(PropertiesModelTest, InitialisationSetsTheViewsValues) {
    EXPECT_EQ(view.toolSize, 0.6);
    EXPECT_EQ(view.calls.front(), "textStyle 0");
    EXPECT_EQ(offered(model), (std::vector<std::string>{"color", "size", "textFont"}));  // arrow, nothing selected
    EXPECT_EQ(model.colorProperty().emptySelectionColor(), MarqenDOMColor(0xFC, 0x0C, 0x59, 1));
    EXPECT_EQ(model.colorProperty().emptyHighlighterToolColor(), MarqenDOMColor(0xFF, 0xF7, 0x00, 1));
    EXPECT_EQ(model.textFontProperty().emptySelectionTextFont(), MarqenDOMFont("Helvetica-Bold", 24));
}

TEST_F(PropertiesModelTest, OfferedSetPerToolWithEmptySelection) {
    const std::pair<MarqenToolID, std::vector<std::string>> table[] = {
        {MarqenToolIDText, {"color", "size", "textStyle", "textFont"}},
        {MarqenToolIDEllipse, {"color", "size", "textFont"}},
        {MarqenToolIDHighlighter, {"color", "size", "textFont"}},
        {MarqenToolIDStamp, {"textFont"}},  // the font is offered with an empty selection whatever the tool
    };
    for (const auto &[tool, expected] : table) {
        view.chooseTool(tool);
        EXPECT_EQ(offered(model), expected) << tool;
    }
}

TEST_F(PropertiesModelTest, OfferedSetPerSelection) {
    view.select({MarqenDOMStamp::create(), textWithStyle(MarqenDOMTextBlockStyleLabel)});
    EXPECT_FALSE(model.currentProperties());  // stamps and labels offer nothing

    view.select({MarqenDOMStamp::create(), textWithStyle(MarqenDOMTextBlockStyleParagraph)});
    EXPECT_EQ(offered(model), (std::vector<std::string>{"color", "size", "textStyle", "textFont"}));

    // A text sets every flag, so the walk stops there and the rectangle after it changes nothing.
    view.select({textWithStyle(MarqenDOMTextBlockStyleBubble), MarqenDOMRectangle::create()});
    EXPECT_EQ(offered(model), (std::vector<std::string>{"color", "size", "textStyle", "textFont"}));
    view.select({MarqenDOMRectangle::create()});
    EXPECT_EQ(offered(model), (std::vector<std::string>{"color", "size"}));
    view.select({MarqenDOMRectangle::create(), textWithStyle(MarqenDOMTextBlockStyleBubble)});
    EXPECT_EQ(offered(model), (std::vector<std::string>{"color", "size", "textStyle", "textFont"}));
}

TEST_F(PropertiesModelTest, CropAndResizeComeAndGoWithTheirTools) {
    view.tools.setAllowCropAndResizeTools(true);
    view.selection = {MarqenDOMRectangle::create()};
    Recorder recorder;
    view.chooseTool(MarqenToolIDCrop);
    EXPECT_EQ(view.calls.back(), "clearNodeSelection");
    EXPECT_TRUE(view.selection.empty());
    ASSERT_TRUE(model.cropProperty());
    EXPECT_FALSE(model.resizeProperty());
    EXPECT_EQ(offered(model), (std::vector<std::string>{"textFont", "crop"}));
    EXPECT_GE(recorder.count(kMarqenPropertiesModelCurrentPropertiesDidChangeNotification), 1u);

    view.chooseTool(MarqenToolIDResize);
    EXPECT_FALSE(model.cropProperty());
    ASSERT_TRUE(model.resizeProperty());
    EXPECT_EQ(model.resizeProperty()->resizeScale(), 1);
    view.chooseTool(MarqenToolIDArrow);
    EXPECT_FALSE(model.cropProperty());
    EXPECT_FALSE(model.resizeProperty());
}

TEST_F(PropertiesModelTest, ColorIdentifiersFromColors) {
    EXPECT_EQ(MarqenPropertyColor::colorIDForColor({255, 0, 0, 0.5}), MarqenPropertyColorIDRed);
    EXPECT_EQ(MarqenPropertyColor::colorIDForColor({0x19, 0x77, 0xFF, 1}), MarqenPropertyColorIDBlue);
    EXPECT_EQ(MarqenPropertyColor::colorIDForColor({0xFF, 0x80, 0x17, 0}), MarqenPropertyColorIDOrange);
    EXPECT_EQ(MarqenPropertyColor::colorIDForColor({254, 0, 0, 1}), MarqenPropertyColorIDCustom);
    EXPECT_EQ(MarqenPropertyColor::colorForColorID(MarqenPropertyColorIDCustom), MarqenDOMColor(255, 0, 0, 1));
    EXPECT_EQ(MarqenPropertyColor::colorForColorID(3), MarqenDOMColor(0, 0xE8, 0, 1));
    EXPECT_EQ(MarqenPropertyColor::analyticsNameForColorID(6), "white");
    EXPECT_EQ(MarqenPropertyColor::analyticsNameForColorID(8), "custom");
    EXPECT_EQ(model.colorProperty().propertyChildren().size(), 9u);
}

TEST_F(PropertiesModelTest, ChoosingAColorAppliesRemembersAndAnnounces) {
    auto rectangle = MarqenDOMRectangle::create();
    rectangle->setToolColor(MarqenDOMColor(255, 0, 0, 1));
    view.select({rectangle});
    EXPECT_EQ(model.colorProperty().currentColorID(), MarqenPropertyColorIDRed);

    AnalyticsLabels analytics;
    Recorder recorder;
    model.colorProperty().chooseColor({0x19, 0x77, 0xFF, 1});
    EXPECT_EQ(rectangle->toolColor(), MarqenDOMColor(0x19, 0x77, 0xFF, 1));
    EXPECT_EQ(model.colorProperty().currentColorID(), MarqenPropertyColorIDBlue);
    EXPECT_EQ(model.colorProperty().emptySelectionColor(), MarqenDOMColor(0x19, 0x77, 0xFF, 1));
    EXPECT_EQ(view.toolColor, MarqenDOMColor(0x19, 0x77, 0xFF, 1));
    EXPECT_EQ(recorder.count(kMarqenPropertyColorUserDidChangeColorNotification), 1u);
    EXPECT_EQ(recorder.count(kMarqenPropertyColorCurrentColorDidChangeNotification), 1u);
    EXPECT_EQ(analytics.labels, std::vector<std::string>{"color_changed blue"});

    model.colorProperty().chooseColor({10, 20, 30, 1});
    EXPECT_EQ(model.colorProperty().currentColorID(), MarqenPropertyColorIDCustom);
    EXPECT_EQ(model.colorProperty().customColor(), MarqenDOMColor(10, 20, 30, 1));

    // Mixed colours show the remembered one and make it the tool colour.
    auto other = MarqenDOMRectangle::create();
    other->setToolColor(MarqenDOMColor(0, 0, 0, 1));
    view.select({rectangle, other});
    EXPECT_EQ(model.colorProperty().currentColor(), MarqenDOMColor(10, 20, 30, 1));
}

TEST_F(PropertiesModelTest, HighlighterStartsYellowAndOtherToolsReturn) {
    model.colorProperty().setIsHighlighterInitiallyYellow(true);
    model.colorProperty().chooseColor({0, 0xE8, 0, 1});  // green for the arrow
    view.chooseTool(MarqenToolIDHighlighter);
    EXPECT_EQ(model.colorProperty().currentColorID(), MarqenPropertyColorIDYellow);
    EXPECT_EQ(view.toolColor, MarqenDOMColor(0xFF, 0xF7, 0x00, 1));
    EXPECT_FALSE(model.colorProperty().switchToColor());  // used once

    model.colorProperty().chooseColor({0xFF, 0x80, 0x17, 1});  // remembered for the highlighter only
    EXPECT_EQ(model.colorProperty().emptyHighlighterToolColor(), MarqenDOMColor(0xFF, 0x80, 0x17, 1));
    EXPECT_EQ(model.colorProperty().emptySelectionColor(), MarqenDOMColor(0, 0xE8, 0, 1));

    view.chooseTool(MarqenToolIDEllipse);
    EXPECT_EQ(model.colorProperty().currentColorID(), MarqenPropertyColorIDGreen);
    view.chooseTool(MarqenToolIDHighlighter);  // yellow again on every switch
    EXPECT_EQ(model.colorProperty().currentColorID(), MarqenPropertyColorIDYellow);

    model.colorProperty().setIsHighlighterInitiallyYellow(false);
    view.chooseTool(MarqenToolIDMarker);
    view.chooseTool(MarqenToolIDHighlighter);
    EXPECT_EQ(model.colorProperty().currentColorID(), MarqenPropertyColorIDGreen);
}

TEST_F(PropertiesModelTest, SizesAndTheirThresholds) {
    const std::pair<CGFloat, unsigned long> table[] = {{0.1, 0}, {0.2, 0}, {0.3, 1}, {0.4, 1}, {0.5, 2},
                                                       {0.6, 2}, {0.7, 3}, {0.8, 3}, {0.9, 4}, {5, 4}};
    for (auto [relative, id] : table) EXPECT_EQ(MarqenPropertySize::sizeIDForRelativeToolSize(relative), id) << relative;
    EXPECT_EQ(MarqenPropertySize::relativeToolSizeForSizeID(7), 0.6);
    EXPECT_EQ(MarqenPropertySize::relativeToolSizeForSizeID(0), 0.2);
    EXPECT_EQ(MarqenPropertySize::analyticsNameForSizeID(3), "xlarge_4");

    auto rectangle = MarqenDOMRectangle::create();
    rectangle->setToolSizeRelative(0.2);
    view.select({rectangle});
    EXPECT_EQ(model.sizeProperty().currentSizeID(), 0u);
    Recorder recorder;
    model.sizeProperty().chooseSize(4);
    EXPECT_EQ(rectangle->toolSizeRelative(), 1.0);
    EXPECT_EQ(view.toolSize, 1.0);
    EXPECT_EQ(model.sizeProperty().currentSizeID(), 4u);
    EXPECT_EQ(model.sizeProperty().emptySelectionSizeID(), 4u);
    EXPECT_EQ(recorder.count(kMarqenPropertySizeUserDidChangeSizeNotification), 1u);
}

TEST_F(PropertiesModelTest, TextToolSizeComesFromTheRememberedFont) {
    view.chooseTool(MarqenToolIDText);
    EXPECT_EQ(model.sizeProperty().currentSizeID(), 2u);  // 24 points
    model.sizeProperty().chooseSize(0);
    EXPECT_EQ(model.textFontProperty().emptySelectionTextFont(), MarqenDOMFont("Helvetica-Bold", 12));
    model.textFontProperty().chooseTextFont(MarqenDOMFont("Courier", 36));
    model.sizeProperty().selectedElementsDidChange();
    EXPECT_EQ(model.sizeProperty().currentSizeID(), 3u);
}

TEST_F(PropertiesModelTest, TextStyleAndFontFollowTheSelectedTexts) {
    auto first = textWithStyle(MarqenDOMTextBlockStyleParagraph);
    auto second = textWithStyle(MarqenDOMTextBlockStyleParagraph);
    view.select({first, second});
    EXPECT_EQ(model.textStyleProperty().currentTextStyleID(), MarqenDOMTextBlockStyleParagraph);
    second->setTextBlockStyle(MarqenDOMTextBlockStyleBubble);
    view.select({first, second});
    EXPECT_EQ(model.textStyleProperty().currentTextStyleID(), MarqenDOMTextBlockStyleBubble);  // mixed: remembered

    AnalyticsLabels analytics;
    model.textStyleProperty().chooseTextStyle(2);
    EXPECT_EQ(first->textBlockStyle(), MarqenDOMTextBlockStyleLabel);
    EXPECT_EQ(second->textBlockStyle(), MarqenDOMTextBlockStyleLabel);
    EXPECT_EQ(model.textStyleProperty().creationTextStyleID(), MarqenDOMTextBlockStyleLabel);
    EXPECT_EQ(MarqenPropertyTextStyle::textStyleForID(9), MarqenDOMTextBlockStyleBubble);

    view.select({first});
    model.textFontProperty().chooseTextFont(MarqenDOMFont("Times-Roman", 18));
    EXPECT_EQ(model.textFontProperty().emptySelectionTextFont(), MarqenDOMFont("Times-Roman", 18));
    EXPECT_EQ(analytics.labels, (std::vector<std::string>{"object_interact label_text", "font_changed Times-Roman"}));
}

TEST_F(PropertiesModelTest, FontFollowsTheContentScaleFactor) {
    view.page->setReferenceViewSize({400, 300});  // posts the scale update
    CGFloat factor = view.page->contentScaleFactor();
    ASSERT_NE(factor, 1.0);
    EXPECT_DOUBLE_EQ(model.textFontProperty().emptySelectionTextFont().size(), 24 * factor);
    // Another page's update is not ours.
    auto other = MarqenDOMDocument::createWithSize({100, 100}, 1);
    other->setReferenceViewSize({1000, 1000});
    EXPECT_DOUBLE_EQ(model.textFontProperty().emptySelectionTextFont().size(), 24 * factor);
}

TEST_F(PropertiesModelTest, ExpandingOneCollapsesTheOthers) {
    Recorder recorder;
    model.colorProperty().expandProperty();
    EXPECT_TRUE(model.colorProperty().isExpanded());
    model.sizeProperty().togglePropertyExpansion();
    EXPECT_TRUE(model.sizeProperty().isExpanded());
    EXPECT_FALSE(model.colorProperty().isExpanded());
    EXPECT_EQ(recorder.count(kMarqenPropertyWillExpandNotification), 2u);
    EXPECT_EQ(recorder.count(kMarqenPropertyDidExpandNotification), 2u);
    EXPECT_EQ(recorder.count(kMarqenPropertyWillCollapseNotification), 1u);
    EXPECT_EQ(recorder.count(kMarqenPropertyDidCollapseNotification), 1u);
    EXPECT_FALSE(model.textFontProperty().isExpandable());
    model.textFontProperty().expandProperty();
    EXPECT_FALSE(model.textFontProperty().isExpanded());
}

TEST_F(PropertiesModelTest, UndoOfTheViewsManagerRefreshesTheValues) {
    auto rectangle = MarqenDOMRectangle::create();
    rectangle->setToolColor(MarqenDOMColor(255, 0, 0, 1));
    view.select({rectangle});
    view.undo.registerUndo(this, [&] { rectangle->setToolColor(MarqenDOMColor(0, 0, 0, 1)); });
    view.undo.undo();
    EXPECT_EQ(model.colorProperty().currentColorID(), MarqenPropertyColorIDBlack);
    UndoManager other;
    other.registerUndo(this, [&] { rectangle->setToolColor(MarqenDOMColor(255, 255, 255, 1)); });
    other.undo();  // not the composition's manager
    EXPECT_EQ(model.colorProperty().currentColorID(), MarqenPropertyColorIDBlack);
}

TEST_F(PropertiesModelTest, PersistentInfoRoundTrip) {
    model.colorProperty().chooseColor({0, 0xE8, 0, 1});
    model.sizeProperty().chooseSize(1);
    model.textStyleProperty().chooseTextStyle(1);
    model.textFontProperty().chooseTextFont(MarqenDOMFont("Courier", 18));
    std::string data = model.persistentPropertyInfo();
    MarqenJSON archive = MarqenJSON::parse(data);
    EXPECT_EQ(archive["size"], MarqenJSON::parse(R"({"emptySelectionSizeID":1})"));
    EXPECT_EQ(archive["textFont"], MarqenJSON::parse(R"({"fontName":"Courier","fontSize":18.0})"));
    EXPECT_TRUE(archive["color"].contains("emptySelectionColor"));
    EXPECT_TRUE(archive["color"].contains("emptyHighlighterToolColor"));

    RecordingView otherView;
    MarqenPropertiesModel restored(&otherView);
    restored.setPersistentPropertyInfo(data);
    EXPECT_EQ(restored.colorProperty().emptySelectionColor(), MarqenDOMColor(0, 0xE8, 0, 1));
    EXPECT_EQ(otherView.toolColor, MarqenDOMColor(0, 0xE8, 0, 1));
    EXPECT_EQ(otherView.toolSize, 0.4);
    EXPECT_EQ(restored.textStyleProperty().emptySelectionTextStyle(), MarqenDOMTextBlockStyleParagraph);
    EXPECT_EQ(restored.textFontProperty().emptySelectionTextFont(), MarqenDOMFont("Courier", 18));
    EXPECT_EQ(restored.persistentPropertyInfo(), data);

    test::LogCapture log;
    restored.setPersistentPropertyInfo(std::nullopt);  // changes nothing
    restored.setPersistentPropertyInfo(std::string("{not json"));
    restored.setPersistentPropertyInfo(std::string(R"({"size":{"emptySelectionSizeID":99},"textFont":{"fontSize":-1}})"));
    EXPECT_EQ(restored.persistentPropertyInfo(), data);
    EXPECT_EQ(log.lines().size(), 1u);
    restored.prepareForDealloc();
}

TEST_F(PropertiesModelTest, CropLimitsAndOperation) {
    view.tools.setAllowCropAndResizeTools(true);
    view.chooseTool(MarqenToolIDCrop);
    MarqenPropertyCrop &crop = *model.cropProperty();
    EXPECT_EQ(crop.cropRect(), CGRectMake(0, 0, 800, 600));
    crop.setCropRect(CGRectMake(790, -50, 2, 3));  // raised to the minimum, moved inside the page
    EXPECT_EQ(crop.cropRect(), CGRectMake(790, 0, 10, 10));
    crop.setCropRect(CGRectMake(NAN, 0, 10, 10));
    EXPECT_EQ(crop.cropRect(), CGRectMake(790, 0, 10, 10));

    Recorder recorder;
    MainQueue::shared().drain();
    EXPECT_EQ(recorder.count(kMarqenPropertyCropCropRectDidChangeNotification), 1u);
    EXPECT_TRUE(crop.chooseCrop(CGRectMake(100, 50, 300, 200)));
    EXPECT_EQ(view.calls.back(), "crop 100,50 300x200");
    EXPECT_EQ(recorder.count(kMarqenPropertyCropWillCropNotification), 1u);
    EXPECT_EQ(recorder.count(kMarqenPropertyCropDidCropNotification), 1u);
    EXPECT_EQ(recorder.count("MarqenAnalyticsInterestingEventDidOccur"), 1u);
}

TEST_F(PropertiesModelTest, ResizeLimitsKeepScaleAndSizeInStep) {
    view.tools.setAllowCropAndResizeTools(true);
    view.chooseTool(MarqenToolIDResize);
    MarqenPropertyResize &resize = *model.resizeProperty();
    EXPECT_DOUBLE_EQ(resize.maximumResizeScale(), 62.5);  // 50000 / 800
    resize.setResizeScale(0.5);
    EXPECT_EQ(resize.resizeSize(), CGSizeMake(400, 300));
    resize.setResizeSize({1600, 1});
    EXPECT_EQ(resize.resizeScale(), 2);
    EXPECT_EQ(resize.resizeSize(), CGSizeMake(1600, 1200));
    resize.setResizeScale(1000);
    EXPECT_DOUBLE_EQ(resize.resizeScale(), 62.5);
    EXPECT_EQ(resize.resizeSize(), CGSizeMake(50000, 37500));
    resize.setResizeScale(0.0001);
    EXPECT_DOUBLE_EQ(resize.resizeScale(), 10.0 / 600);  // the height reaches its minimum first
    resize.setResizeScale(-1);
    EXPECT_DOUBLE_EQ(resize.resizeScale(), 10.0 / 600);

    Recorder recorder;
    EXPECT_TRUE(resize.chooseResize(0.5));
    EXPECT_EQ(view.calls.back(), "resize 0.500000");
    EXPECT_EQ(recorder.count(kMarqenPropertyResizeWillResizeNotification), 1u);
    EXPECT_EQ(recorder.count(kMarqenPropertyResizeDidResizeNotification), 1u);
    view.refuseCanvasOperations = true;
    EXPECT_FALSE(resize.chooseResize(0.5));
    EXPECT_EQ(recorder.count("MarqenAnalyticsInterestingEventDidOccur"), 1u);  // only the one that happened
}

TEST(PropertiesModelLifetime, DestroyingWithoutTeardownIsLogged) {
    test::LogCapture log;
    RecordingView view;
    {
        MarqenPropertiesModel model(&view);
    }
    EXPECT_EQ(log.lines(), std::vector<std::string>{"ERROR: prepareForDealloc was not called before MarqenPropertiesModel dealloc"});
    {
        MarqenPropertiesModel model(&view);
        model.prepareForDealloc();
    }
    EXPECT_EQ(log.lines().size(), 1u);
    MainQueue::shared().drain();
}
