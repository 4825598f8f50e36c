#include "view_properties_adapter.h"

#include <marqenkit/dom/document.h>
#include <marqenkit/interaction/document_view.h>

namespace marqen::gtk {

ViewPropertiesAdapter::ViewPropertiesAdapter(MarqenGtkDocumentView *view) : view_(view) {
    g_object_ref(view_);
    selectionHandler_ = g_signal_connect_swapped(view_, "selection-changed", G_CALLBACK(+[](ViewPropertiesAdapter *self) {
        NotificationCenter::defaultCenter().post(kMarqenCompositionViewSelectionDidChangeNotification, self->notificationSender());
    }), this);
    // "changed" also follows a new page or a new controller: the values for new elements go over to it.
    changedHandler_ = g_signal_connect_swapped(view_, "changed", G_CALLBACK(+[](ViewPropertiesAdapter *self) {
        if (self->controller() == self->lastController_) return;
        self->applyRememberedValues();
        NotificationCenter::defaultCenter().post(kMarqenCompositionViewCompositionDidChangeNotification, self->notificationSender());
    }), this);
    lastController_ = controller();
}

ViewPropertiesAdapter::~ViewPropertiesAdapter() {
    g_signal_handler_disconnect(view_, selectionHandler_);
    g_signal_handler_disconnect(view_, changedHandler_);
    g_object_unref(view_);
}

MarqenDocumentView *ViewPropertiesAdapter::controller() const { return marqen_gtk_document_view_get_controller(view_); }

void ViewPropertiesAdapter::applyRememberedValues() {
    lastController_ = controller();
    auto *current = controller();
    if (!current) return;
    if (toolColor_) current->setToolColor(*toolColor_);
    if (toolSize_) current->setToolSize(*toolSize_);
    if (textStyle_) current->setTextBlockStyle(*textStyle_);
    if (textFont_) current->setTextFont(*textFont_);
}

std::vector<std::shared_ptr<MarqenDOMElement>> ViewPropertiesAdapter::selectedElements() const {
    auto *current = controller();
    return current ? current->selectedElements() : std::vector<std::shared_ptr<MarqenDOMElement>>{};
}

std::optional<MarqenDOMColor> ViewPropertiesAdapter::singleColorForSelectedElements() const {
    auto *current = controller();
    return current ? current->singleColorForSelectedElements() : std::nullopt;
}

std::optional<CGFloat> ViewPropertiesAdapter::singleToolSizeForSelectedElements() const {
    auto *current = controller();
    return current ? current->singleToolSizeForSelectedElements() : std::nullopt;
}

void ViewPropertiesAdapter::setToolColor(const MarqenDOMColor &color) {
    toolColor_ = color;
    if (auto *current = controller()) current->setToolColor(color);
}

void ViewPropertiesAdapter::setToolSize(CGFloat relativeSize) {
    toolSize_ = relativeSize;
    if (auto *current = controller()) current->setToolSize(relativeSize);
}

void ViewPropertiesAdapter::setTextBlockStyle(MarqenDOMTextBlockStyle style) {
    textStyle_ = style;
    if (auto *current = controller()) current->setTextBlockStyle(style);
}

void ViewPropertiesAdapter::setTextFont(const MarqenDOMFont &font) {
    textFont_ = font;
    if (auto *current = controller()) current->setTextFont(font);
}

void ViewPropertiesAdapter::setToolColorForSelectedElements(const MarqenDOMColor &color) {
    if (auto *current = controller()) current->setToolColorForSelectedElements(color);
}

void ViewPropertiesAdapter::setToolSizeForSelectedElements(CGFloat relativeSize) {
    if (auto *current = controller()) current->setToolSizeForSelectedElements(relativeSize);
}

void ViewPropertiesAdapter::setTextBlockStyleForSelectedElements(MarqenDOMTextBlockStyle style) {
    if (auto *current = controller()) current->setTextBlockStyleForSelectedElements(style);
}

void ViewPropertiesAdapter::setTextFontForSelectedElements(const MarqenDOMFont &font) {
    if (auto *current = controller()) current->setTextFontForSelectedElements(font);
}

MarqenToolsModel *ViewPropertiesAdapter::canvasTools() const { return marqen_gtk_document_view_get_tools_model(view_); }

void ViewPropertiesAdapter::clearNodeSelection() {
    if (auto *current = controller()) current->clearNodeSelection();
}

UndoManager *ViewPropertiesAdapter::undoManager() const {
    auto document = marqen_gtk_document_view_get_document(view_);
    return document ? document->undoManager() : nullptr;
}

std::shared_ptr<MarqenDOMDocument> ViewPropertiesAdapter::document() const { return marqen_gtk_document_view_get_document(view_); }

bool ViewPropertiesAdapter::cropToRect(CGRect rect) {
    auto *current = controller();
    return current && current->cropToRect(rect);
}

bool ViewPropertiesAdapter::resizeCanvas(CGFloat scale) {
    auto *current = controller();
    return current && current->resizeCanvas(scale);
}

}  // namespace marqen::gtk
