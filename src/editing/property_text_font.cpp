#include "editing/property_text_font.h"

#include <cmath>

#include "dom/document.h"
#include "dom/notifications.h"
#include "dom/text.h"
#include "editing/analytics_event.h"
#include "editing/text_font_sizes.h"

namespace marqen {

MarqenPropertyTextFont::MarqenPropertyTextFont(MarqenPropertiesCompositionView *compositionView)
    : MarqenProperty(compositionView) {
    auto document = compositionView_->document();
    if (document) contentScaleFactor_ = document->contentScaleFactor();
    emptySelectionTextFont_ = MarqenDOMFont(MarqenDOMFont::defaultFontName(),
                                            textFontSizeForRelativeToolSize(0.6, contentScaleFactor_));
    currentTextFont_ = emptySelectionTextFont_;
    scaleObservation_ = NotificationCenter::defaultCenter().addObserver(
        MarqenDOMDocumentDidUpdateContentScaleFactor, nullptr,
        [this](const Notification &notification) { contentScaleFactorDidChange(notification.object); });
}

void MarqenPropertyTextFont::contentScaleFactorDidChange(const void *sender) {
    auto document = compositionView_->document();
    if (!document || sender != document.get()) return;
    double factor = document->contentScaleFactor();
    if (!std::isfinite(factor) || factor <= 0 || factor == contentScaleFactor_) return;
    // The remembered font keeps its step; its size follows the new scale.
    CGFloat relative = relativeToolSizeForTextFontSize(emptySelectionTextFont_.size(), contentScaleFactor_);
    contentScaleFactor_ = factor;
    emptySelectionTextFont_ =
        MarqenDOMFont(emptySelectionTextFont_.name(), textFontSizeForRelativeToolSize(relative, factor));
    selectedElementsDidChange();
}

void MarqenPropertyTextFont::setEmptySelectionTextFont(const MarqenDOMFont &font) {
    emptySelectionTextFont_ = font;
    compositionView_->setTextFont(font);
}

void MarqenPropertyTextFont::selectedElementsDidChange() {
    std::optional<MarqenDOMFont> shared;
    bool mixed = false;
    for (const auto &element : compositionView_->selectedElements()) {
        auto text = std::dynamic_pointer_cast<MarqenDOMText>(element);
        if (!text) continue;
        MarqenDOMFont font(text->displayFontName(), text->displayFontSize());
        if (shared && !(*shared == font)) mixed = true;
        shared = font;
    }
    currentTextFont_ = shared && !mixed ? *shared : emptySelectionTextFont_;
    NotificationCenter::defaultCenter().post(kMarqenPropertyTextFontCurrentTextFontDidChangeNotification, this);
}

void MarqenPropertyTextFont::chooseTextFont(const MarqenDOMFont &font) {
    compositionView_->setTextFontForSelectedElements(font);
    setEmptySelectionTextFont(font);
    selectedElementsDidChange();
    NotificationCenter::defaultCenter().post(kMarqenPropertyTextFontUserDidChangeTextFontNotification, this);
    postMarqenAnalyticsEvent(this, "canvas", "font_changed", font.name());
}

MarqenJSON MarqenPropertyTextFont::persistentPropertyInfo() const {
    return {{"fontName", emptySelectionTextFont_.name()}, {"fontSize", emptySelectionTextFont_.size()}};
}

void MarqenPropertyTextFont::setPersistentPropertyInfo(const MarqenJSON &info) {
    auto name = marqen_stringForKey(info, "fontName");
    auto size = marqen_numberForKey(info, "fontSize");
    if (!name || name->empty() || !size || !std::isfinite(*size) || *size <= 0 || *size > 10000) return;
    setEmptySelectionTextFont(MarqenDOMFont(*name, *size));
    selectedElementsDidChange();
}

}  // namespace marqen
