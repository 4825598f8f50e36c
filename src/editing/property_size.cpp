#include "editing/property_size.h"

#include "dom/document.h"
#include "editing/analytics_event.h"
#include "editing/property_text_font.h"
#include "editing/text_font_sizes.h"
#include "editing/tools_model.h"
#include "foundation/notification_center.h"

namespace marqen {

MarqenPropertySize::MarqenPropertySize(MarqenPropertiesCompositionView *compositionView)
    : MarqenProperty(compositionView) {
    compositionView_->setToolSize(relativeToolSizeForSizeID(emptySelectionSizeID_));
}

CGFloat MarqenPropertySize::relativeToolSizeForSizeID(unsigned long sizeID) {
    static const CGFloat sizes[] = {0.2, 0.4, 0.6, 0.8, 1.0};
    return sizeID < 5 ? sizes[sizeID] : 0.6;
}

unsigned long MarqenPropertySize::sizeIDForRelativeToolSize(CGFloat relative) {
    if (relative <= 0.2) return 0;
    if (relative <= 0.4) return 1;
    if (relative <= 0.6) return 2;
    if (relative <= 0.8) return 3;
    return 4;
}

std::string MarqenPropertySize::analyticsNameForSizeID(unsigned long sizeID) {
    static const char *const names[] = {"small_1", "medium_2", "large_3", "xlarge_4", "xxlarge_5"};
    return names[sizeID < 5 ? sizeID : 2];
}

std::vector<std::shared_ptr<const MarqenPropertyChild>> MarqenPropertySize::propertyChildren() const {
    std::vector<std::shared_ptr<const MarqenPropertyChild>> children;
    for (unsigned long id = 0; id < 5; ++id) children.push_back(std::make_shared<MarqenPropertySizeChild>(id));
    return children;
}

bool MarqenPropertySize::textToolWithEmptySelection() const {
    MarqenToolsModel *tools = compositionView_->canvasTools();
    return textFontProperty_ && tools && tools->currentTool().toolID() == MarqenToolIDText &&
           !compositionView_->hasSelectedElements();
}

void MarqenPropertySize::selectedElementsDidChange() {
    if (auto relative = compositionView_->singleToolSizeForSelectedElements()) {
        currentSizeID_ = sizeIDForRelativeToolSize(*relative);
    } else if (textToolWithEmptySelection()) {
        auto document = compositionView_->document();
        CGFloat factor = document ? document->contentScaleFactor() : 1.0;
        currentSizeID_ = sizeIDForRelativeToolSize(
            relativeToolSizeForTextFontSize(textFontProperty_->emptySelectionTextFont().size(), factor));
    } else {
        currentSizeID_ = emptySelectionSizeID_;
    }
    NotificationCenter::defaultCenter().post(kMarqenPropertySizeCurrentSizeIDDidChangeNotification, this);
}

void MarqenPropertySize::chooseSize(unsigned long sizeID) {
    if (sizeID > 4) sizeID = 2;
    CGFloat relative = relativeToolSizeForSizeID(sizeID);
    compositionView_->setToolSizeForSelectedElements(relative);
    if (textToolWithEmptySelection()) {
        // New texts take their size from the remembered font.
        auto document = compositionView_->document();
        CGFloat factor = document ? document->contentScaleFactor() : 1.0;
        const MarqenDOMFont &font = textFontProperty_->emptySelectionTextFont();
        textFontProperty_->setEmptySelectionTextFont(
            MarqenDOMFont(font.name(), textFontSizeForRelativeToolSize(relative, factor)));
    }
    emptySelectionSizeID_ = sizeID;
    compositionView_->setToolSize(relative);
    selectedElementsDidChange();
    NotificationCenter::defaultCenter().post(kMarqenPropertySizeUserDidChangeSizeNotification, this);
    postMarqenAnalyticsEvent(this, "canvas", "size_changed", analyticsNameForSizeID(sizeID));
}

MarqenJSON MarqenPropertySize::persistentPropertyInfo() const {
    return {{"emptySelectionSizeID", emptySelectionSizeID_}};
}

void MarqenPropertySize::setPersistentPropertyInfo(const MarqenJSON &info) {
    auto id = marqen_numberForKey(info, "emptySelectionSizeID");
    if (!id || !(*id >= 0 && *id <= 4)) return;
    emptySelectionSizeID_ = static_cast<unsigned long>(*id);
    compositionView_->setToolSize(relativeToolSizeForSizeID(emptySelectionSizeID_));
    selectedElementsDidChange();
}

}  // namespace marqen
