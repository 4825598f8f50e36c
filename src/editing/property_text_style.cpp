#include "editing/property_text_style.h"

#include "dom/text.h"
#include "editing/analytics_event.h"
#include "foundation/notification_center.h"

namespace marqen {

MarqenPropertyTextStyle::MarqenPropertyTextStyle(MarqenPropertiesCompositionView *compositionView)
    : MarqenProperty(compositionView) {
    compositionView_->setTextBlockStyle(emptySelectionTextStyle_);
}

MarqenDOMTextBlockStyle MarqenPropertyTextStyle::textStyleForID(unsigned long textStyleID) {
    return textStyleID <= MarqenDOMTextBlockStyleLabel ? static_cast<MarqenDOMTextBlockStyle>(textStyleID)
                                                       : MarqenDOMTextBlockStyleBubble;
}

std::string MarqenPropertyTextStyle::analyticsNameForTextStyleID(unsigned long textStyleID) {
    static const char *const names[] = {"bubble_text", "plain_text", "label_text"};
    return names[textStyleForID(textStyleID)];
}

std::vector<std::shared_ptr<const MarqenPropertyChild>> MarqenPropertyTextStyle::propertyChildren() const {
    std::vector<std::shared_ptr<const MarqenPropertyChild>> children;
    for (unsigned long id = 0; id <= MarqenDOMTextBlockStyleLabel; ++id)
        children.push_back(std::make_shared<MarqenPropertyTextStyleChild>(textStyleForID(id)));
    return children;
}

void MarqenPropertyTextStyle::selectedElementsDidChange() {
    std::optional<MarqenDOMTextBlockStyle> shared;
    bool mixed = false;
    for (const auto &element : compositionView_->selectedElements()) {
        auto text = std::dynamic_pointer_cast<MarqenDOMText>(element);
        if (!text) continue;
        if (shared && *shared != text->textBlockStyle()) mixed = true;
        shared = text->textBlockStyle();
    }
    currentTextStyleID_ = shared && !mixed ? *shared : emptySelectionTextStyle_;
    NotificationCenter::defaultCenter().post(kMarqenPropertyTextStyleCurrentTextStyleIDDidChangeNotification, this);
}

void MarqenPropertyTextStyle::chooseTextStyle(unsigned long textStyleID) {
    MarqenDOMTextBlockStyle style = textStyleForID(textStyleID);
    compositionView_->setTextBlockStyleForSelectedElements(style);
    emptySelectionTextStyle_ = style;
    compositionView_->setTextBlockStyle(style);
    selectedElementsDidChange();
    NotificationCenter::defaultCenter().post(kMarqenPropertyTextStyleUserDidChangeTextStyleIDNotification, this);
    postMarqenAnalyticsEvent(this, "canvas", "object_interact", analyticsNameForTextStyleID(style));
}

MarqenJSON MarqenPropertyTextStyle::persistentPropertyInfo() const {
    return {{"emptySelectionTextStyle", static_cast<unsigned long>(emptySelectionTextStyle_)}};
}

void MarqenPropertyTextStyle::setPersistentPropertyInfo(const MarqenJSON &info) {
    auto id = marqen_numberForKey(info, "emptySelectionTextStyle");
    if (!id || !(*id >= 0 && *id <= 2)) return;
    emptySelectionTextStyle_ = textStyleForID(static_cast<unsigned long>(*id));
    compositionView_->setTextBlockStyle(emptySelectionTextStyle_);
    selectedElementsDidChange();
}

}  // namespace marqen
