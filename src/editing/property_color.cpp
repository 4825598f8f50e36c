#include "editing/property_color.h"

#include "editing/analytics_event.h"
#include "editing/tools_model.h"

namespace marqen {

namespace {

// The palette in identifier order, as the DOM stores colors (0…255, alpha 0…1).
const MarqenDOMColor kPalette[] = {
    {0xFF, 0x00, 0x00, 1}, {0xFF, 0x80, 0x17, 1}, {0xFF, 0xF7, 0x00, 1}, {0x00, 0xE8, 0x00, 1},
    {0x19, 0x77, 0xFF, 1}, {0xFC, 0x0C, 0x59, 1}, {0xFF, 0xFF, 0xFF, 1}, {0x00, 0x00, 0x00, 1}};

MarqenJSON colorArchive(const MarqenDOMColor &color) { return color.dictionaryRepresentation(); }

}  // namespace

MarqenPropertyColor::MarqenPropertyColor(MarqenPropertiesCompositionView *compositionView)
    : MarqenProperty(compositionView),
      currentColor_(kPalette[MarqenPropertyColorIDPink]),
      emptySelectionColor_(kPalette[MarqenPropertyColorIDPink]),
      emptyHighlighterToolColor_(kPalette[MarqenPropertyColorIDYellow]) {}

MarqenPropertyColor::~MarqenPropertyColor() = default;

MarqenDOMColor MarqenPropertyColor::colorForColorID(unsigned long colorID) {
    return colorID < MarqenPropertyColorIDCustom ? kPalette[colorID] : kPalette[MarqenPropertyColorIDRed];
}

MarqenPropertyColorID MarqenPropertyColor::colorIDForColor(const MarqenDOMColor &color) {
    MarqenDOMColor opaque = color;
    opaque.setAlpha(1);
    for (unsigned long id = 0; id < MarqenPropertyColorIDCustom; ++id)
        if (opaque == kPalette[id]) return static_cast<MarqenPropertyColorID>(id);
    return MarqenPropertyColorIDCustom;
}

std::string MarqenPropertyColor::analyticsNameForColorID(unsigned long colorID) {
    static const char *const names[] = {"red", "orange", "yellow", "green", "blue", "pink", "white", "black"};
    return colorID < MarqenPropertyColorIDCustom ? names[colorID] : "custom";
}

std::vector<std::shared_ptr<const MarqenPropertyChild>> MarqenPropertyColor::propertyChildren() const {
    std::vector<std::shared_ptr<const MarqenPropertyChild>> children;
    for (unsigned long id = 0; id < MarqenPropertyColorIDCustom; ++id)
        children.push_back(std::make_shared<MarqenPropertyColorChild>(static_cast<MarqenPropertyColorID>(id), kPalette[id]));
    children.push_back(std::make_shared<MarqenPropertyColorChild>(
        MarqenPropertyColorIDCustom, customColor_.value_or(kPalette[MarqenPropertyColorIDRed])));
    return children;
}

bool MarqenPropertyColor::highlighterIsCurrent() const {
    MarqenToolsModel *tools = compositionView_->canvasTools();
    return tools && tools->currentTool().toolID() == MarqenToolIDHighlighter;
}

void MarqenPropertyColor::selectedElementsDidChange() {
    std::optional<MarqenDOMColor> shown = compositionView_->singleColorForSelectedElements();
    if (!shown) {
        if (switchToColor_) {
            shown = switchToColor_;
            switchToColor_.reset();
        } else if (isHighlighterInitiallyYellow_ && highlighterIsCurrent()) {
            shown = emptyHighlighterToolColor_;
        } else {
            shown = emptySelectionColor_;
        }
        compositionView_->setToolColor(*shown);
    }
    currentColor_ = *shown;
    currentColorID_ = colorIDForColor(*shown);
    NotificationCenter::defaultCenter().post(kMarqenPropertyColorCurrentColorDidChangeNotification, this);
}

void MarqenPropertyColor::chooseColor(const MarqenDOMColor &color) {
    MarqenPropertyColorID id = colorIDForColor(color);
    if (id == MarqenPropertyColorIDCustom) customColor_ = color;
    compositionView_->setToolColorForSelectedElements(color);
    if (isHighlighterInitiallyYellow_ && highlighterIsCurrent())
        emptyHighlighterToolColor_ = color;
    else
        emptySelectionColor_ = color;
    compositionView_->setToolColor(color);
    selectedElementsDidChange();
    NotificationCenter::defaultCenter().post(kMarqenPropertyColorUserDidChangeColorNotification, this);
    postMarqenAnalyticsEvent(this, "canvas", "color_changed", analyticsNameForColorID(id));
}

void MarqenPropertyColor::setIsHighlighterInitiallyYellow(bool yellow) {
    if (yellow == isHighlighterInitiallyYellow_) return;
    isHighlighterInitiallyYellow_ = yellow;
    if (!yellow) {
        toolObservation_.reset();
        return;
    }
    toolObservation_ = NotificationCenter::defaultCenter().addObserver(
        kMarqenToolsModelCurrentToolDidChangeNotification, nullptr, [this](const Notification &notification) {
            if (notification.object && notification.object == compositionView_->canvasTools()) currentToolDidChange();
        });
}

void MarqenPropertyColor::currentToolDidChange() {
    if (highlighterIsCurrent()) {
        switchToColor_ = kPalette[MarqenPropertyColorIDYellow];
        emptyHighlighterToolColor_ = kPalette[MarqenPropertyColorIDYellow];
    } else {
        switchToColor_ = emptySelectionColor_;
    }
    selectedElementsDidChange();
}

MarqenJSON MarqenPropertyColor::persistentPropertyInfo() const {
    return {{"emptySelectionColor", colorArchive(emptySelectionColor_)},
            {"emptyHighlighterToolColor", colorArchive(emptyHighlighterToolColor_)}};
}

void MarqenPropertyColor::setPersistentPropertyInfo(const MarqenJSON &info) {
    if (const MarqenJSON *color = marqen_objectForKey(info, "emptySelectionColor"); color && color->is_object())
        emptySelectionColor_ = MarqenDOMColor::fromDictionary(*color);
    if (const MarqenJSON *color = marqen_objectForKey(info, "emptyHighlighterToolColor"); color && color->is_object())
        emptyHighlighterToolColor_ = MarqenDOMColor::fromDictionary(*color);
    compositionView_->setToolColor(emptySelectionColor_);
    selectedElementsDidChange();
}

}  // namespace marqen
