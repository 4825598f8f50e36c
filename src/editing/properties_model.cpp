#include "editing/properties_model.h"

#include <algorithm>

#include "dom/stamp.h"
#include "dom/text.h"
#include "editing/tools_model.h"
#include "foundation/log.h"
#include "foundation/undo_manager.h"

namespace marqen {

MarqenPropertiesModel::MarqenPropertiesModel(MarqenPropertiesCompositionView *compositionView)
    : compositionView_(compositionView) {
    observeView();
    colorProperty_ = std::make_unique<MarqenPropertyColor>(compositionView_);
    sizeProperty_ = std::make_unique<MarqenPropertySize>(compositionView_);
    textStyleProperty_ = std::make_unique<MarqenPropertyTextStyle>(compositionView_);
    textFontProperty_ = std::make_unique<MarqenPropertyTextFont>(compositionView_);
    sizeProperty_->setTextFontProperty(textFontProperty_.get());
    rebuildCurrentProperties();
}

MarqenPropertiesModel::~MarqenPropertiesModel() {
    if (!preparedForDealloc_) {
        marqenLog("ERROR: prepareForDealloc was not called before MarqenPropertiesModel dealloc");
        prepareForDealloc();
    }
}

void MarqenPropertiesModel::observeView() {
    auto &center = NotificationCenter::defaultCenter();
    const void *view = compositionView_->notificationSender();
    observations_.push_back(center.addObserver(kMarqenCompositionViewSelectionDidChangeNotification, view,
                                               [this](const Notification &) { selectedElementsDidChange(); }));
    observations_.push_back(center.addObserver(kMarqenCompositionViewCompositionDidChangeNotification, view,
                                               [this](const Notification &) { selectedElementsDidChange(); }));
    observations_.push_back(center.addObserver(
        kMarqenToolsModelCurrentToolDidChangeNotification, nullptr, [this](const Notification &notification) {
            if (notification.object && notification.object == compositionView_->canvasTools())
                selectedElementsDidChange();
        }));
    observations_.push_back(center.addObserver(
        kMarqenPropertyDidExpandNotification, nullptr,
        [this](const Notification &notification) { propertyDidExpand(notification.object); }));
    for (const char *name : {kMarqenUndoManagerDidUndoChangeNotification, kMarqenUndoManagerDidRedoChangeNotification})
        observations_.push_back(center.addObserver(name, nullptr, [this](const Notification &notification) {
            if (notification.object && notification.object == compositionView_->undoManager())
                forwardSelectedElementsDidChange();
        }));
}

void MarqenPropertiesModel::prepareForDealloc() {
    observations_.clear();
    for (MarqenProperty *property : std::initializer_list<MarqenProperty *>{
             colorProperty_.get(), sizeProperty_.get(), textStyleProperty_.get(), textFontProperty_.get(),
             cropProperty_.get(), resizeProperty_.get()})
        if (property) property->prepareForDealloc();
    preparedForDealloc_ = true;
}

bool MarqenPropertiesModel::offers(const MarqenProperty *property) const {
    return currentProperties_ &&
           std::find(currentProperties_->begin(), currentProperties_->end(), property) != currentProperties_->end();
}

void MarqenPropertiesModel::rebuildCurrentProperties() {
    MarqenToolsModel *tools = compositionView_->canvasTools();
    MarqenToolID toolID = tools ? tools->currentTool().toolID() : MarqenToolIDArrow;
    if (tools && tools->isCurrentToolCropOrResize()) compositionView_->clearNodeSelection();

    bool color = false, size = false, textStyle = false;
    auto selected = compositionView_->selectedElements();
    if (!selected.empty()) {
        for (const auto &element : selected) {
            if (std::dynamic_pointer_cast<MarqenDOMStamp>(element)) continue;
            auto text = std::dynamic_pointer_cast<MarqenDOMText>(element);
            if (text && text->textBlockStyle() == MarqenDOMTextBlockStyleLabel) continue;
            color = size = true;
            textStyle = static_cast<bool>(text);
            if (color && size && textStyle) break;
        }
    } else if (tools) {
        if (toolID == MarqenToolIDArrow || (toolID >= MarqenToolIDRectangle && toolID <= MarqenToolIDHighlighter)) {
            color = size = true;
        } else if (toolID == MarqenToolIDText) {
            color = size = textStyle = true;
        }
    }

    std::vector<MarqenProperty *> offered;
    if (color) offered.push_back(colorProperty_.get());
    if (size) offered.push_back(sizeProperty_.get());
    if (textStyle) offered.push_back(textStyleProperty_.get());
    if (textStyle || selected.empty()) offered.push_back(textFontProperty_.get());

    if (tools && toolID == MarqenToolIDResize) {
        cropProperty_.reset();
        resizeProperty_ = std::make_unique<MarqenPropertyResize>(compositionView_);
        offered.push_back(resizeProperty_.get());
    } else if (tools && toolID == MarqenToolIDCrop) {
        resizeProperty_.reset();
        cropProperty_ = std::make_unique<MarqenPropertyCrop>(compositionView_);
        offered.push_back(cropProperty_.get());
    } else {
        cropProperty_.reset();
        resizeProperty_.reset();
    }

    currentProperties_ = offered.empty() ? std::nullopt : std::optional(std::move(offered));
    NotificationCenter::defaultCenter().post(kMarqenPropertiesModelCurrentPropertiesDidChangeNotification, this);
}

void MarqenPropertiesModel::selectedElementsDidChange() {
    rebuildCurrentProperties();
    forwardSelectedElementsDidChange();
}

void MarqenPropertiesModel::forwardSelectedElementsDidChange() {
    if (!currentProperties_) return;
    // A property's refresh can post notifications whose observers rebuild the list: walk a copy.
    auto properties = *currentProperties_;
    for (MarqenProperty *property : properties)
        if (offers(property)) property->selectedElementsDidChange();
}

void MarqenPropertiesModel::propertyDidExpand(const void *expanded) {
    if (!currentProperties_ || !offers(static_cast<const MarqenProperty *>(expanded))) return;
    for (MarqenProperty *property : *currentProperties_)
        if (property != expanded) property->collapseProperty();
}

std::string MarqenPropertiesModel::persistentPropertyInfo() const {
    MarqenJSON archive = {{"color", colorProperty_->persistentPropertyInfo()},
                          {"size", sizeProperty_->persistentPropertyInfo()},
                          {"textStyle", textStyleProperty_->persistentPropertyInfo()},
                          {"textFont", textFontProperty_->persistentPropertyInfo()}};
    return archive.dump();
}

void MarqenPropertiesModel::setPersistentPropertyInfo(const std::optional<std::string> &data) {
    if (!data) return;
    std::string reason;
    auto archive = marqen_parseJSON(*data, &reason);
    if (!archive || !archive->is_object()) {
        marqenLog("Unable to read the remembered property values: " + (archive ? std::string("not an object") : reason));
        return;
    }
    const std::pair<const char *, MarqenProperty *> entries[] = {{"color", colorProperty_.get()},
                                                                 {"size", sizeProperty_.get()},
                                                                 {"textStyle", textStyleProperty_.get()},
                                                                 {"textFont", textFontProperty_.get()}};
    for (auto [key, property] : entries)
        if (const MarqenJSON *info = marqen_objectForKey(*archive, key); info && info->is_object())
            property->setPersistentPropertyInfo(*info);
}

}  // namespace marqen
