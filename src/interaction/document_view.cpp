#include "interaction/document_view.h"

#include <algorithm>
#include <cmath>

#include "dom/arrow.h"
#include "dom/ellipse.h"
#include "dom/layer.h"
#include "dom/line.h"
#include "dom/polygon.h"
#include "dom/rectangle.h"
#include "dom/stamp.h"
#include "dom/text.h"
#include "dom/two_point_vector.h"
#include "dom/vector.h"
#include "editing/tools_model.h"
#include "foundation/geometry_functions.h"
#include "foundation/localization.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "interaction/clipboard_payload.h"
#include "interaction/element_geometry.h"
#include "interaction/preferences.h"
#include "interaction/text_editing_session.h"
#include "platform/text_layout.h"
#include "render/document_renderer.h"

namespace marqen {

namespace {

bool isFinitePoint(CGPoint point) { return std::isfinite(point.x) && std::isfinite(point.y); }

// Far beyond any page, but small enough that arithmetic on it stays exact to a fraction of a unit.
constexpr CGFloat kCoordinateLimit = 1e7;
bool isUsablePoint(CGPoint point) {
    return isFinitePoint(point) && std::fabs(point.x) < kCoordinateLimit && std::fabs(point.y) < kCoordinateLimit;
}

void translateElement(MarqenDOMElement &element, CGPoint delta) { MarqenTranslateElement(element, delta); }

void restoreGeometry(MarqenDOMElement &element, const std::any &geometry) {
    MarqenRestoreElementGeometry(element, geometry);
}

// The highlighter draws a translucent stroke of the tool colour.
constexpr double kHighlighterAlpha = 0.5;
constexpr CGFloat kRoundedRectangleCornerRadius = 12;

}  // namespace

MarqenDocumentView::MarqenDocumentView(std::shared_ptr<MarqenDOMDocument> document, MarqenToolsModel *tools,
                                       MarqenPreferences *preferences)
    : document_(std::move(document)), tools_(tools), preferences_(preferences) {}

MarqenDocumentView::~MarqenDocumentView() {
    if (editingText_) endTextEditing();
}

void MarqenDocumentView::setZoom(CGFloat zoom, CGPoint anchor) {
    if (!std::isfinite(zoom) || zoom <= 0 || !isFinitePoint(anchor)) return;
    zoom = std::clamp(zoom, kMinimumZoom, kMaximumZoom);
    CGPoint modelAnchor = modelPointForViewPoint(anchor);
    zoom_ = zoom;
    CGPoint page = CGPointApplyAffineTransform(modelAnchor, pageTransform());
    pan_ = CGPoint{anchor.x - page.x * zoom_, anchor.y - page.y * zoom_};
    redrawAll();
}

bool MarqenDocumentView::isUsablePointForView(CGPoint point) { return isUsablePoint(point); }

void MarqenDocumentView::setPan(CGPoint pan) {
    if (!isUsablePoint(pan)) return;
    pan_ = pan;
    redrawAll();
}

void MarqenDocumentView::setScaleFactor(CGFloat factor) {
    if (!std::isfinite(factor) || factor <= 0 || factor > 16) return;
    scaleFactor_ = factor;
    redrawAll();
}

void MarqenDocumentView::scrollBy(CGPoint delta) {
    if (!isUsablePoint(delta)) return;
    setPan(CGPoint{pan_.x - delta.x, pan_.y - delta.y});
}

namespace {

// The renderer's y-up target of the frame's height, seen y-down.
CGAffineTransform targetToViewTransform(CGFloat height) { return CGAffineTransformMake(1, 0, 0, -1, 0, height); }

bool isUsableTransform(const CGAffineTransform &t) {
    for (CGFloat value : {t.a, t.b, t.c, t.d, t.tx, t.ty})
        if (!std::isfinite(value)) return false;
    return t.a * t.d - t.b * t.c != 0;
}

}  // namespace

CGAffineTransform MarqenDocumentView::pageTransform() const {
    if (!document_) return CGAffineTransformIdentity;
    CGRect frame = document_->frame();
    if (!(frame.size.width > 0) || !(frame.size.height > 0)) return CGAffineTransformIdentity;
    CGAffineTransform page = CGAffineTransformConcat(MarqenDOMDocumentRenderer::modelViewTransformAtFrameSize(*document_),
                                                     targetToViewTransform(frame.size.height));
    return isUsableTransform(page) ? page : CGAffineTransformIdentity;
}

CGAffineTransform MarqenDocumentView::modelToViewTransform() const {
    return CGAffineTransformConcat(pageTransform(), CGAffineTransformMake(zoom_, 0, 0, zoom_, pan_.x, pan_.y));
}

CGAffineTransform MarqenDocumentView::drawingTransform() const {
    CGFloat height = document_ ? document_->frame().size.height : 0;
    return CGAffineTransformConcat(targetToViewTransform(height), CGAffineTransformMake(zoom_, 0, 0, zoom_, pan_.x, pan_.y));
}

CGAffineTransform MarqenDocumentView::viewToModelTransform() const {
    return CGAffineTransformInvert(modelToViewTransform());
}

CGPoint MarqenDocumentView::modelPointForViewPoint(CGPoint point) const {
    return CGPointApplyAffineTransform(point, viewToModelTransform());
}

CGPoint MarqenDocumentView::viewPointForModelPoint(CGPoint point) const {
    return CGPointApplyAffineTransform(point, modelToViewTransform());
}

CGPoint MarqenDocumentView::modelDeltaForViewDelta(CGPoint delta) const {
    CGAffineTransform t = viewToModelTransform();
    return CGPoint{t.a * delta.x + t.c * delta.y, t.b * delta.x + t.d * delta.y};
}

void MarqenDocumentView::selectElements(std::vector<std::shared_ptr<MarqenDOMElement>> elements) {
    elements.erase(std::remove(elements.begin(), elements.end(), nullptr), elements.end());
    if (elements == selection_) return;
    selection_ = std::move(elements);
    notifySelection();
}

namespace {

// A label belongs to the element it labels: it is selected, moved and removed through that element.
std::shared_ptr<MarqenDOMElement> ownerOfLabel(const std::shared_ptr<MarqenDOMElement> &element) {
    auto text = std::dynamic_pointer_cast<MarqenDOMText>(element);
    if (!text || !text->isLabel()) return element;
    return std::dynamic_pointer_cast<MarqenDOMElement>(text->labelParentNode());
}

}  // namespace

void MarqenDocumentView::selectAll() {
    if (!document_) return;
    std::vector<std::shared_ptr<MarqenDOMElement>> all;
    for (const auto &element : allElementsOnPage(false))
        if (ownerOfLabel(element) == element) all.push_back(element);
    selectElements(std::move(all));
}

std::shared_ptr<MarqenDOMElement> MarqenDocumentView::elementAtViewPoint(CGPoint point) const {
    if (!document_ || !isUsablePoint(point)) return nullptr;
    CGPoint modelPoint = modelPointForViewPoint(point);
    CGFloat slop = kHitSlop / zoom_;
    // Texts and stamps lie above the annotations; the background is never picked.
    for (const auto &layer : {document_->textLayer(), document_->annotationLayer()}) {
        if (!layer) continue;
        auto children = layer->children();
        for (auto it = children.rbegin(); it != children.rend(); ++it) {
            auto element = std::dynamic_pointer_cast<MarqenDOMElement>(*it);
            if (element && element->hitTestWithPoint(modelPoint, slop)) {
                if (auto owner = ownerOfLabel(element)) return owner;
            }
        }
    }
    return nullptr;
}

void MarqenDocumentView::pointerPressed(const MarqenPointerEvent &event) {
    settlePendingStrokeFit();
    if (!document_ || !isUsablePoint(event.location)) return;
    if (gesture_ != Gesture::None) cancelGesture();  // a second press without a release ends the first
    CGPoint modelPoint = modelPointForViewPoint(event.location);
    gestureStart_ = lastModelPoint_ = modelPoint;
    lastViewPoint_ = event.location;
    lastTimestamp_ = event.timestamp;
    movedBy_ = CGPoint{0, 0};

    MarqenToolID tool = tools_ ? tools_->currentTool().toolID() : MarqenToolIDArrow;
    if (editingText_) {
        if (CGRectContainsPoint(editingText_->contentBounds(), modelPoint)) {
            placeTextCaret(modelPoint, event.modifiers & MarqenModifierShift);
            return;
        }
        endTextEditing();  // a press outside ends editing and does nothing else
        return;
    }
    if (event.clickCount >= 2) {
        if (auto text = std::dynamic_pointer_cast<MarqenDOMText>(elementAtViewPoint(event.location)); text && !text->isLabel()) {
            selectElements({text});
            beginTextEditing(text, false);
            placeTextCaret(modelPoint, false);
            return;
        }
    }
    if (beginHandleDrag(event.location)) return;
    if (tool == MarqenToolIDPixelate || tool == MarqenToolIDCrop) {
        // Both choose a rectangle of the page by dragging, whatever lies under the pointer.
        clearNodeSelection();
        gesture_ = Gesture::ChoosingRect;
        pendingRect_ = CGRectMake(modelPoint.x, modelPoint.y, 0, 0);
        setCursor("crosshair");
        return;
    }
    if (tool == MarqenToolIDPan) {
        gesture_ = Gesture::Panning;
        setCursor("grabbing");
        return;
    }
    if (auto hit = elementAtViewPoint(event.location)) {
        bool selected = std::find(selection_.begin(), selection_.end(), hit) != selection_.end();
        if (event.modifiers & MarqenModifierShift) {
            auto elements = selection_;
            if (selected)
                elements.erase(std::find(elements.begin(), elements.end(), hit));
            else
                elements.push_back(hit);
            selectElements(std::move(elements));
            return;  // a shift-click only changes the selection
        }
        if (!selected) selectElements({hit});
        gesture_ = Gesture::Moving;
        moveStartGeometries_.clear();
        moveStartLabelGeometries_.clear();
        for (const auto &element : selection_) {
            moveStartGeometries_.push_back(MarqenElementGeometry(*element));
            if (auto label = std::dynamic_pointer_cast<MarqenDOMElement>(element->labelNode());
                label && std::find(selection_.begin(), selection_.end(), label) == selection_.end())
                moveStartLabelGeometries_.emplace_back(label, MarqenElementGeometry(*label));
        }
        if (auto undo = undoManager()) undo->disableUndoRegistration();
        setCursor("move");
        return;
    }
    beginDrawing(modelPoint, event);
}

void MarqenDocumentView::beginDrawing(CGPoint modelPoint, const MarqenPointerEvent &) {
    MarqenToolID tool = tools_ ? tools_->currentTool().toolID() : MarqenToolIDArrow;
    std::shared_ptr<MarqenDOMElement> element;
    std::string name;
    switch (tool) {
        case MarqenToolIDArrow: {
            auto arrow = MarqenDOMArrow::create();
            arrow->setArrowheadsAtBeginningOfShape(preferences_ && preferences_->arrowheadsAtBeginningOfShape());
            element = arrow;
            name = "Add Arrow";
            break;
        }
        case MarqenToolIDRectangle: element = MarqenDOMRectangle::create(); name = "Add Rectangle"; break;
        case MarqenToolIDRoundedRectangle: {
            auto rectangle = MarqenDOMRectangle::create();
            rectangle->setCornerRadius(kRoundedRectangleCornerRadius);
            element = rectangle;
            name = "Add Rectangle";
            break;
        }
        case MarqenToolIDEllipse: element = MarqenDOMEllipse::create(); name = "Add Ellipse"; break;
        case MarqenToolIDLine: element = MarqenDOMLine::create(); name = "Add Line"; break;
        case MarqenToolIDMarker: element = MarqenDOMVector::create(); name = "Add Marker"; break;
        case MarqenToolIDHighlighter: element = MarqenDOMVector::create(); name = "Add Highlighter"; break;
        case MarqenToolIDStamp: {
            const auto &stampName = tools_->currentTool().stampName();
            element = MarqenDOMStamp::createWithStampName(stampName.value_or(MarqenDOMStamp::allStampNames().front()));
            name = "Add Stamp";
            break;
        }
        case MarqenToolIDText: {
            auto text = createText(modelPoint);
            if (text) beginTextEditing(text, true);
            return;
        }
        default:
            // Tools without a drawing gesture: a press on the empty canvas only clears the selection.
            clearNodeSelection();
            return;
    }
    UndoManager *undo = undoManager();
    // The element is built without undo and entered as one step when the gesture ends.
    if (undo) undo->disableUndoRegistration();
    clearNodeSelection();
    document_->addNode(element);
    MarqenDOMColor color = toolColor_;
    if (tool == MarqenToolIDHighlighter) color.setAlpha(kHighlighterAlpha);
    if (tool != MarqenToolIDStamp) {
        element->setToolColor(color);
        element->setToolSizeRelative(toolSize_);
    }
    if (auto vector = std::dynamic_pointer_cast<MarqenDOMVector>(element))
        vector->beginAtPoint(modelPoint);
    else if (auto stamp = std::dynamic_pointer_cast<MarqenDOMStamp>(element))
        stamp->beginAtPoint(modelPoint);
    drawing_ = element;
    drawingActionName_ = name;
    gesture_ = Gesture::Drawing;
    setCursor("crosshair");
    redrawAll();
}

void MarqenDocumentView::pointerMoved(const MarqenPointerEvent &event) {
    if (gesture_ == Gesture::None || !isUsablePoint(event.location)) return;
    CGPoint modelPoint = modelPointForViewPoint(event.location);
    double dt = event.timestamp > lastTimestamp_ ? event.timestamp - lastTimestamp_ : 0;
    CGPoint velocity = dt > 0 ? CGPoint{(modelPoint.x - lastModelPoint_.x) / dt, (modelPoint.y - lastModelPoint_.y) / dt}
                              : CGPoint{0, 0};
    MarqenVectorDrawingOptions options = (event.modifiers & MarqenModifierShift) ? MarqenVectorDrawingOptionConstrain : 0;
    switch (gesture_) {
        case Gesture::Drawing:
            if (auto vector = std::dynamic_pointer_cast<MarqenDOMVector>(drawing_))
                vector->appendPoint(modelPoint, velocity, options);
            else if (auto stamp = std::dynamic_pointer_cast<MarqenDOMStamp>(drawing_))
                stamp->appendPoint(modelPoint, velocity, options);
            break;
        case Gesture::Moving: {
            CGPoint delta{modelPoint.x - lastModelPoint_.x, modelPoint.y - lastModelPoint_.y};
            for (const auto &element : selection_) translateElement(*element, delta);
            placeLabelsQuietly(selection_);
            movedBy_ = CGPoint{movedBy_.x + delta.x, movedBy_.y + delta.y};
            break;
        }
        case Gesture::Handle: dragHandle(modelPoint, event.modifiers & MarqenModifierShift); break;
        case Gesture::ChoosingRect:
            pendingRect_ = CGRectStandardize(CGRectMake(gestureStart_.x, gestureStart_.y, modelPoint.x - gestureStart_.x,
                                                        modelPoint.y - gestureStart_.y));
            break;
        case Gesture::Panning:
            setPan(CGPoint{pan_.x + event.location.x - lastViewPoint_.x, pan_.y + event.location.y - lastViewPoint_.y});
            break;
        case Gesture::None: break;
    }
    lastModelPoint_ = modelPoint;
    lastViewPoint_ = event.location;
    lastTimestamp_ = event.timestamp;
    redrawAll();
}

void MarqenDocumentView::pointerReleased(const MarqenPointerEvent &event) {
    if (gesture_ == Gesture::None) return;
    // A release at an unusable location ends the gesture where the pointer last was.
    CGPoint modelPoint = isUsablePoint(event.location) ? modelPointForViewPoint(event.location) : lastModelPoint_;
    switch (gesture_) {
        case Gesture::Drawing: finishDrawing(modelPoint, event); break;
        case Gesture::Handle:
            if (isUsablePoint(event.location)) dragHandle(modelPoint, event.modifiers & MarqenModifierShift);
            finishHandleDrag();
            break;
        case Gesture::Moving: {
            if (isUsablePoint(event.location)) {
                CGPoint delta{modelPoint.x - lastModelPoint_.x, modelPoint.y - lastModelPoint_.y};
                for (const auto &element : selection_) translateElement(*element, delta);
                movedBy_ = CGPoint{movedBy_.x + delta.x, movedBy_.y + delta.y};
            }
            // Put the elements back quietly, then move them once with undo: one step, whatever the moves.
            CGPoint total = movedBy_;
            putBackMovedElements();
            gesture_ = Gesture::None;
            if (auto undo = undoManager()) undo->enableUndoRegistration();
            if (total.x != 0 || total.y != 0) translateSelection(total, "Move");
            break;
        }
        case Gesture::ChoosingRect: finishChoosingRect(modelPoint); break;
        case Gesture::Panning:
        case Gesture::None: break;
    }
    gesture_ = Gesture::None;
    setCursor("default");
    redrawAll();
}

void MarqenDocumentView::finishChoosingRect(CGPoint modelPoint) {
    gesture_ = Gesture::None;
    CGRect chosen = CGRectStandardize(
        CGRectMake(gestureStart_.x, gestureStart_.y, modelPoint.x - gestureStart_.x, modelPoint.y - gestureStart_.y));
    MarqenToolID tool = tools_ ? tools_->currentTool().toolID() : MarqenToolIDArrow;
    if (tool == MarqenToolIDCrop) {
        // The crop waits for Return (or the crop panel); a click without a drag chooses nothing.
        pendingRect_ = chosen.size.width > 0 && chosen.size.height > 0 ? std::optional<CGRect>(chosen) : std::nullopt;
        return;
    }
    pendingRect_.reset();
    if (chosen.size.width > 0 && chosen.size.height > 0) pixelateRect(chosen);
}

void MarqenDocumentView::finishDrawing(CGPoint modelPoint, const MarqenPointerEvent &event) {
    auto element = std::move(drawing_);
    drawing_.reset();
    MarqenVectorDrawingOptions options = (event.modifiers & MarqenModifierShift) ? MarqenVectorDrawingOptionConstrain : 0;
    if (auto vector = std::dynamic_pointer_cast<MarqenDOMVector>(element))
        vector->endAtPoint(modelPoint, CGPoint{0, 0}, options, viewToModelTransform());
    else if (auto stamp = std::dynamic_pointer_cast<MarqenDOMStamp>(element))
        stamp->endAtPoint(modelPoint, CGPoint{0, 0}, options);
    strokeFitPending_ = std::dynamic_pointer_cast<MarqenDOMVector>(element) &&
                        !std::dynamic_pointer_cast<MarqenDOMPolygon>(element) &&
                        !std::dynamic_pointer_cast<MarqenDOMEllipse>(element) &&
                        !std::dynamic_pointer_cast<MarqenDOMTwoPointVector>(element);
    // A stroke past the edge grows the canvas from its fitted shape, which must be in place first.
    if (strokeFitPending_ && preferences_ && preferences_->expandableCanvas() &&
        !CGRectContainsRect(document_->frame(), element->contentBounds()))
        settlePendingStrokeFit();
    // Enter the finished element as one undoable step: out quietly, in again with undo on.
    element->removeFromParent();
    gesture_ = Gesture::None;
    UndoManager *undo = undoManager();
    if (undo) undo->enableUndoRegistration();
    {
        UndoGroupScope group(undo);
        document_->addNode(element);
        attachStampLabel(element);
        expandCanvasToFit({element});
        if (undo) undo->setActionName(MarqenLocalizedString(drawingActionName_));
    }
    selectElements({element});
    if (tools_) tools_->postToolDidCreateObjectAnalyticsEventForCompositionView(this);
}

// Exactly where the move began (adding and then subtracting the offset could leave the last digit off).
void MarqenDocumentView::putBackMovedElements() {
    for (size_t i = 0; i < selection_.size(); ++i) {
        if (i < moveStartGeometries_.size() && moveStartGeometries_[i].has_value())
            restoreGeometry(*selection_[i], moveStartGeometries_[i]);
        else
            translateElement(*selection_[i], CGPoint{-movedBy_.x, -movedBy_.y});
    }
    for (const auto &[label, geometry] : moveStartLabelGeometries_) restoreGeometry(*label, geometry);
    moveStartGeometries_.clear();
    moveStartLabelGeometries_.clear();
}

namespace {

// Where a removed node was: undo puts it back at the same place in the same layer, so that the order in
// which elements are drawn survives a delete and its undo, and a label is linked to its element again.
struct RemovedNode {
    MarqenDOMNodePtr node;
    std::weak_ptr<MarqenDOMNode> parent;
    size_t index;
    MarqenDOMNodePtr labelOwner;
};

void removeQuietly(UndoManager *manager, const std::vector<RemovedNode> &removed);

void putBackQuietly(UndoManager *manager, const std::vector<RemovedNode> &removed) {
    manager->disableUndoRegistration();
    for (auto it = removed.rbegin(); it != removed.rend(); ++it) {
        auto parent = it->parent.lock();
        if (!parent || it->node->parent()) continue;
        auto children = parent->children();
        if (it->index < children.size())
            parent->addChild(it->node, children[it->index]);
        else
            parent->addChild(it->node);
        if (it->labelOwner) {
            it->labelOwner->setLabelNode(it->node);
            if (auto *text = dynamic_cast<MarqenDOMText *>(it->node.get())) text->setLabelParentNode(it->labelOwner);
        }
    }
    manager->enableUndoRegistration();
    manager->registerUndo(manager, [manager, removed] { removeQuietly(manager, removed); });
}

void removeQuietly(UndoManager *manager, const std::vector<RemovedNode> &removed) {
    manager->disableUndoRegistration();
    for (const auto &entry : removed) entry.node->removeFromParent();
    manager->enableUndoRegistration();
    manager->registerUndo(manager, [manager, removed] { putBackQuietly(manager, removed); });
}

}  // namespace

void MarqenDocumentView::removeElementsUndoably(const std::vector<std::shared_ptr<MarqenDOMElement>> &elements) {
    UndoManager *undo = undoManager();
    std::vector<RemovedNode> removed;
    auto remove = [&](const MarqenDOMNodePtr &node, const MarqenDOMNodePtr &labelOwner) {
        auto parent = node->parent();
        if (!parent) return;
        size_t index = parent->indexOfChild(node.get()).value_or(parent->children().size());
        if (undo) undo->disableUndoRegistration();
        node->removeFromParent();
        if (undo) undo->enableUndoRegistration();
        removed.push_back({node, parent, index, labelOwner});
    };
    for (const auto &element : elements) {
        // The label first, while its element still knows it.
        if (auto label = element->labelNode()) remove(label, element);
        remove(element, nullptr);
    }
    if (undo && !removed.empty()) undo->registerUndo(undo, [undo, removed] { putBackQuietly(undo, removed); });
}

void MarqenDocumentView::placeLabelsQuietly(const std::vector<std::shared_ptr<MarqenDOMElement>> &elements) {
    for (const auto &element : elements)
        if (element->labelNode()) element->positionLabelQuietly(true, false);
}

void MarqenDocumentView::cancelGesture() {
    if (gesture_ == Gesture::Drawing && drawing_) {
        drawing_->removeFromParent();
        drawing_.reset();
        if (auto undo = undoManager()) undo->enableUndoRegistration();
    } else if (gesture_ == Gesture::Moving) {
        putBackMovedElements();
        if (auto undo = undoManager()) undo->enableUndoRegistration();
    } else if (gesture_ == Gesture::ChoosingRect) {
        pendingRect_.reset();
    } else if (gesture_ == Gesture::Handle && selection_.size() == 1) {
        restoreGeometry(*selection_.front(), savedGeometry_);
        if (auto twoPoint = std::dynamic_pointer_cast<MarqenDOMTwoPointVector>(selection_.front())) twoPoint->setSnap(false);
        if (auto undo = undoManager()) undo->enableUndoRegistration();
    }
    gesture_ = Gesture::None;
    setCursor("default");
    redrawAll();
}

void MarqenDocumentView::translateElements(const std::vector<std::shared_ptr<MarqenDOMElement>> &elements,
                                           CGPoint delta) {
    changeElementsUndoably(elements, [&](MarqenDOMElement &element) { translateElement(element, delta); });
}

void MarqenDocumentView::changeElementsUndoably(const std::vector<std::shared_ptr<MarqenDOMElement>> &elements,
                                                const std::function<void(MarqenDOMElement &)> &change) {
    UndoManager *undo = undoManager();
    for (const auto &element : elements) {
        std::any before = MarqenElementGeometry(*element);
        if (!before.has_value() || !undo || std::dynamic_pointer_cast<MarqenDOMBitmap>(element)) {
            change(*element);  // kinds without a geometry value, and pixel edits, register their own undo
            continue;
        }
        // Some kinds move their outline without undo; restoring the geometry value undoes every kind alike.
        undo->disableUndoRegistration();
        change(*element);
        std::any after = MarqenElementGeometry(*element);
        // Rebuilt from the geometry value, as redo will rebuild it, so that redo gives these exact numbers.
        restoreGeometry(*element, after);
        undo->enableUndoRegistration();
        struct Swap {
            static void registerSwap(UndoManager *manager, std::weak_ptr<MarqenDOMElement> target, std::any to,
                                     std::any back) {
                auto node = target.lock();
                if (!node) return;
                manager->registerUndo(node.get(), [manager, target, to, back] {
                    auto element = target.lock();
                    if (!element) return;
                    manager->disableUndoRegistration();
                    restoreGeometry(*element, to);
                    manager->enableUndoRegistration();
                    registerSwap(manager, target, back, to);
                });
            }
        };
        Swap::registerSwap(undo, element, before, after);
    }
}

std::vector<std::shared_ptr<MarqenDOMElement>> MarqenDocumentView::allElementsOnPage(bool includeBackground) const {
    std::vector<std::shared_ptr<MarqenDOMElement>> all;
    if (!document_) return all;
    for (const auto &layer : {includeBackground ? document_->backgroundLayer() : nullptr, document_->annotationLayer(),
                              document_->textLayer()}) {
        if (!layer) continue;
        for (const auto &child : layer->children())
            if (auto element = std::dynamic_pointer_cast<MarqenDOMElement>(child)) all.push_back(element);
    }
    return all;
}

void MarqenDocumentView::translateSelection(CGPoint delta, const std::string &actionName) {
    if (selection_.empty() || !isUsablePoint(delta)) return;
    UndoManager *undo = undoManager();
    UndoGroupScope group(undo);
    translateElements(selection_, delta);
    // Labels go along with their stamps, in the same step.
    std::vector<std::shared_ptr<MarqenDOMElement>> labels;
    for (const auto &element : selection_)
        if (auto label = std::dynamic_pointer_cast<MarqenDOMElement>(element->labelNode());
            label && std::find(selection_.begin(), selection_.end(), label) == selection_.end())
            labels.push_back(label);
    changeElementsUndoably(labels, [](MarqenDOMElement &label) {
        if (auto parent = static_cast<MarqenDOMText &>(label).labelParentNode()) parent->positionLabelQuietly(true, false);
    });
    expandCanvasToFit(selection_);
    if (undo) undo->setActionName(MarqenLocalizedString(actionName));
    redrawAll();
}

void MarqenDocumentView::expandCanvasToFit(const std::vector<std::shared_ptr<MarqenDOMElement>> &elements) {
    if (!document_ || !preferences_ || !preferences_->expandableCanvas() || elements.empty()) return;
    CGRect frame = document_->frame();
    CGRect needed = frame;
    for (const auto &element : elements) {
        CGRect bounds = element->contentBounds();
        if (CGRectIsNull(bounds) || CGRectIsInfinite(bounds) || !isUsablePoint(bounds.origin) ||
            !std::isfinite(bounds.size.width) || !std::isfinite(bounds.size.height))
            continue;
        needed = CGRectUnion(needed, bounds);
    }
    needed = CGRectIntegral(needed);
    if (CGRectEqualToRect(needed, CGRectIntegral(frame)) || CGRectContainsRect(frame, needed)) return;
    // Never beyond what a page may be.
    constexpr CGFloat kLargestSide = 50000;
    if (needed.size.width > kLargestSide || needed.size.height > kLargestSide) return;
    // The page keeps its origin: growth to the left or top moves everything, the background included,
    // right or down by the same amount.
    CGPoint shift{std::max<CGFloat>(0, frame.origin.x - needed.origin.x), std::max<CGFloat>(0, frame.origin.y - needed.origin.y)};
    if (shift.x > 0 || shift.y > 0) {
        std::vector<std::shared_ptr<MarqenDOMElement>> all;
        for (const auto &layer : {document_->backgroundLayer(), document_->annotationLayer(), document_->textLayer()}) {
            if (!layer) continue;
            for (const auto &child : layer->children())
                if (auto element = std::dynamic_pointer_cast<MarqenDOMElement>(child)) all.push_back(element);
        }
        translateElements(all, shift);
    }
    document_->setFrame(CGRectMake(frame.origin.x, frame.origin.y, needed.size.width, needed.size.height));
}

std::optional<MarqenDOMColor> MarqenDocumentView::singleColorForSelectedElements() const {
    std::optional<MarqenDOMColor> shared;
    for (const auto &element : selection_) {
        if (std::dynamic_pointer_cast<MarqenDOMStamp>(element) || ownerOfLabel(element) != element) continue;
        const auto &color = element->toolColor();
        if (!color || (shared && !(*shared == *color))) return std::nullopt;
        shared = color;
    }
    return shared;
}

std::optional<CGFloat> MarqenDocumentView::singleToolSizeForSelectedElements() const {
    std::optional<CGFloat> shared;
    for (const auto &element : selection_) {
        if (std::dynamic_pointer_cast<MarqenDOMStamp>(element) || ownerOfLabel(element) != element) continue;
        CGFloat size = element->toolSizeRelative();
        if (shared && *shared != size) return std::nullopt;
        shared = size;
    }
    return shared;
}

void MarqenDocumentView::editSelection(const std::string &actionName,
                                       const std::function<void(MarqenDOMElement &)> &edit) {
    settlePendingStrokeFit();
    if (selection_.empty() || gesture_ != Gesture::None) return;
    UndoManager *undo = undoManager();
    {
        UndoGroupScope group(undo);
        for (const auto &element : selection_) edit(*element);
        if (undo) undo->setActionName(MarqenLocalizedString(actionName));
    }
    redrawAll();
}

void MarqenDocumentView::setToolColorForSelectedElements(const MarqenDOMColor &color) {
    editSelection("Color Change", [&](MarqenDOMElement &element) {
        if (dynamic_cast<MarqenDOMStamp *>(&element)) return;
        if (!element.toolColor() || !(*element.toolColor() == color)) element.setToolColor(color);
    });
}

void MarqenDocumentView::setToolSizeForSelectedElements(CGFloat relative) {
    if (!std::isfinite(relative) || relative <= 0 || relative > 1) return;
    editSelection("Size Change", [&](MarqenDOMElement &element) {
        if (dynamic_cast<MarqenDOMStamp *>(&element)) return;
        if (element.toolSizeRelative() != relative) element.setToolSizeRelative(relative);
    });
}

void MarqenDocumentView::setTextBlockStyleForSelectedElements(MarqenDOMTextBlockStyle style) {
    editSelection("Text Style Change", [&](MarqenDOMElement &element) {
        if (auto *text = dynamic_cast<MarqenDOMText *>(&element)) text->setTextBlockStyle(style);
    });
}

void MarqenDocumentView::setTextFontForSelectedElements(const MarqenDOMFont &font) {
    if (font.name().empty() || !std::isfinite(font.size()) || font.size() <= 0) return;
    editSelection("Text Font Change", [&](MarqenDOMElement &element) {
        if (auto *text = dynamic_cast<MarqenDOMText *>(&element)) text->setFont(font);
    });
}

void MarqenDocumentView::nudgeSelection(CGPoint viewUnits) {
    if (gesture_ != Gesture::None) return;
    if (!isUsablePoint(viewUnits)) return;
    translateSelection(modelDeltaForViewDelta(viewUnits), "Nudge");
}

void MarqenDocumentView::deleteSelection() {
    if (selection_.empty() || gesture_ != Gesture::None) return;
    UndoManager *undo = undoManager();
    {
        UndoGroupScope group(undo);
        removeElementsUndoably(selection_);
        if (undo) undo->setActionName(MarqenLocalizedString("Delete"));
    }
    clearNodeSelection();
    redrawAll();
}

void MarqenDocumentView::undo() {
    settlePendingStrokeFit();
    if (editingText_) endTextEditing();
    UndoManager *manager = undoManager();
    if (!manager || gesture_ != Gesture::None || !manager->canUndo()) return;
    manager->undo();
    // Elements the undo took out of the page leave the selection.
    std::vector<std::shared_ptr<MarqenDOMElement>> kept;
    for (const auto &element : selection_)
        if (element->document() == document_) kept.push_back(element);
    selectElements(std::move(kept));
    redrawAll();
}

void MarqenDocumentView::redo() {
    settlePendingStrokeFit();
    if (editingText_) endTextEditing();
    UndoManager *manager = undoManager();
    if (!manager || gesture_ != Gesture::None || !manager->canRedo()) return;
    manager->redo();
    std::vector<std::shared_ptr<MarqenDOMElement>> kept;
    for (const auto &element : selection_)
        if (element->document() == document_) kept.push_back(element);
    selectElements(std::move(kept));
    redrawAll();
}

std::string MarqenDocumentView::copySelection() const {
    if (selection_.empty()) return {};
    // Labels travel with their elements, each just before the element it labels (its place on the page).
    std::vector<std::shared_ptr<MarqenDOMElement>> elements;
    for (const auto &element : selection_) {
        auto label = std::dynamic_pointer_cast<MarqenDOMElement>(element->labelNode());
        if (label && std::find(selection_.begin(), selection_.end(), label) == selection_.end()) elements.push_back(label);
        elements.push_back(element);
    }
    return MarqenClipboardPayloadForElements(elements);
}

std::string MarqenDocumentView::cutSelection() {
    settlePendingStrokeFit();
    if (editingText_) endTextEditing();
    if (selection_.empty() || gesture_ != Gesture::None) return {};
    std::string payload = copySelection();
    UndoManager *undo = undoManager();
    {
        UndoGroupScope group(undo);
        removeElementsUndoably(selection_);
        if (undo) undo->setActionName(MarqenLocalizedString("Cut"));
    }
    clearNodeSelection();
    redrawAll();
    return payload;
}

bool MarqenDocumentView::paste(const std::string &payload, MarqenError *error) {
    settlePendingStrokeFit();
    if (editingText_) endTextEditing();
    if (!document_ || gesture_ != Gesture::None) return marqenFail(error, kMarqenClipboardErrorDomain, 4, "Nothing to paste into");
    std::vector<std::shared_ptr<MarqenDOMElement>> elements;
    if (!MarqenClipboardElementsFromPayload(payload, &elements, error)) return false;
    if (elements.empty()) return marqenFail(error, kMarqenClipboardErrorDomain, 3, "The clipboard payload holds no usable nodes");

    // Elements already on the page, by their bounds: a pasted element must not hide one exactly.
    std::vector<CGRect> occupied;
    for (const auto &layer : {document_->annotationLayer(), document_->textLayer()})
        if (layer)
            for (const auto &child : layer->children()) occupied.push_back(child->contentBounds());
    auto covers = [&](CGPoint offset) {
        for (const auto &element : elements) {
            CGRect moved = CGRectOffset(element->contentBounds(), offset.x, offset.y);
            for (const CGRect &rect : occupied)
                if (CGRectEqualToRect(rect, moved)) return true;
        }
        return false;
    };
    // Right and down on the screen, whichever way the page's y axis runs.
    CGPoint step = modelDeltaForViewDelta({10, 10});
    CGPoint offset{0, 0};
    for (int attempt = 0; attempt < 100 && covers(offset); ++attempt) offset = CGPoint{offset.x + step.x, offset.y + step.y};

    UndoManager *undo = undoManager();
    {
        UndoGroupScope group(undo);
        for (const auto &element : elements)
            if (offset.x != 0 || offset.y != 0) translateElement(*element, offset);  // not yet on the page: no undo
        // Labelled elements first, then each label just before its element: undoing takes the labels out
        // while their elements are still there, so that their links come back with redo.
        auto labelledBy = [&](const std::shared_ptr<MarqenDOMElement> &element) -> std::shared_ptr<MarqenDOMElement> {
            auto text = std::dynamic_pointer_cast<MarqenDOMText>(element);
            if (!text || !text->isLabel() || !text->labelParentGUID()) return nullptr;
            for (const auto &candidate : elements)
                if (candidate != element && candidate->guid() == *text->labelParentGUID()) return candidate;
            return nullptr;
        };
        for (const auto &element : elements)
            if (!labelledBy(element)) addAnnotation(element);
        for (const auto &element : elements) {
            if (auto owner = labelledBy(element)) {
                document_->addLabel(element, owner);
                owner->setLabelNode(element);
            }
        }
        if (undo) undo->setActionName(MarqenLocalizedString("Paste"));
    }
    std::vector<std::shared_ptr<MarqenDOMElement>> selected;
    for (const auto &element : elements)
        if (ownerOfLabel(element) == element) selected.push_back(element);
    selectElements(std::move(selected));
    redrawAll();
    return true;
}

std::shared_ptr<MarqenDOMText> MarqenDocumentView::createText(CGPoint modelPoint) {
    if (!document_) return nullptr;
    UndoManager *undo = undoManager();
    if (undo) undo->disableUndoRegistration();
    auto text = MarqenDOMText::create();
    text->setTextBlockStyle(textBlockStyle_);
    document_->addNode(text);
    if (textFont_) text->setFont(*textFont_);
    text->setToolColor(toolColor_);
    text->setOrigin(modelPoint);
    if (undo) undo->enableUndoRegistration();
    return text;
}

void MarqenDocumentView::beginTextEditing(const std::shared_ptr<MarqenDOMText> &text, bool isNew) {
    if (editingText_) endTextEditing();
    editingText_ = text;
    editingNewText_ = isNew;
    originalText_ = text->text().value_or("");
    textSession_ = std::make_unique<MarqenTextEditingSession>(originalText_);
    // Typing changes the text quietly; ending the edit makes it one undo step.
    if (auto undo = undoManager()) undo->disableUndoRegistration();
    text->setEditingInProgress(true);
    selectElements({text});
    setCursor("text");
    redrawAll();
}

void MarqenDocumentView::showEditedText() {
    if (!editingText_) return;
    editingText_->setText(textSession_->displayText(), true);
    editingText_->postNeedsDisplay();
    redrawAll();
}

size_t MarqenDocumentView::textCaret() const { return textSession_ ? textSession_->caret() : 0; }

std::pair<size_t, size_t> MarqenDocumentView::textSelectionRange() const {
    if (!textSession_) return {0, 0};
    return {std::min(textSession_->caret(), textSession_->anchor()), std::max(textSession_->caret(), textSession_->anchor())};
}

std::unique_ptr<MarqenTextLayout> MarqenDocumentView::editedTextLayout(CGRect *frame) const {
    if (!editingText_ || !textSession_) return nullptr;
    // The renderer's layout of the text (see MarqenDOMTextRenderer::drawText): the same attributes and wrap
    // width, so that lines break where they are drawn.
    MarqenTextAttributes attributes;
    if (auto string = editingText_->stringAttributes()) {
        attributes.fontName = string->fontName;
        attributes.fontSize = string->fontSize;
        attributes.lineHeightMultiple = string->lineHeightMultiple;
    } else {
        attributes.fontName = editingText_->displayFontName();
        attributes.fontSize = editingText_->displayFontSize();
    }
    switch (editingText_->alignment()) {
        case MarqenDOMTextAlignmentCenter: attributes.alignment = MarqenTextAlignment::Center; break;
        case MarqenDOMTextAlignmentRight: attributes.alignment = MarqenTextAlignment::Right; break;
        default: attributes.alignment = MarqenTextAlignment::Left; break;
    }
    const CGFloat wrapWidth = editingText_->wrapWidth() > 0 && !editingText_->isLabel() ? editingText_->wrapWidth() : 0;
    *frame = editingText_->textBounds();
    if (wrapWidth > 0) frame->size.width = std::max(frame->size.width, wrapWidth);
    return std::make_unique<MarqenTextLayout>(textSession_->displayText(), attributes, wrapWidth);
}

void MarqenDocumentView::placeTextCaret(CGPoint modelPoint, bool extend) {
    if (!editingText_) return;
    if (!textSession_->preedit().empty()) {
        // The text is measured as it stands without what was being composed.
        textSession_->setPreedit("");
        showEditedText();
    }
    CGRect frame;
    auto layout = editedTextLayout(&frame);
    // Into the text's own space (a singular transform inverts to itself and is left alone).
    const CGPoint point = CGPointApplyAffineTransform(modelPoint, CGAffineTransformInvert(editingText_->transform()));
    textSession_->placeCaret(layout->byteOffsetAtPoint({point.x - frame.origin.x, point.y - frame.origin.y}), extend);
    showEditedText();
}

std::optional<MarqenTextCaret> MarqenDocumentView::textCaretInView() const {
    if (!editingText_ || !textSession_ || textSession_->hasSelection()) return std::nullopt;
    CGRect frame;
    auto layout = editedTextLayout(&frame);
    const CGRect caret = layout->caretRectAtByteOffset(textSession_->caret() + textSession_->preedit().size(), frame);
    if (CGRectIsNull(caret)) return std::nullopt;
    // The text is drawn in its own space (its transform), then the page in the view.
    const CGAffineTransform toView = CGAffineTransformConcat(editingText_->transform(), modelToViewTransform());
    MarqenTextCaret shown;
    shown.top = CGPointApplyAffineTransform(CGPointMake(caret.origin.x, caret.origin.y), toView);
    shown.bottom = CGPointApplyAffineTransform(CGPointMake(caret.origin.x, CGRectGetMaxY(caret)), toView);
    if (!isFinitePoint(shown.top) || !isFinitePoint(shown.bottom)) return std::nullopt;
    shown.viewRect = CGRectStandardize(
        CGRectMake(shown.top.x, shown.top.y, shown.bottom.x - shown.top.x, shown.bottom.y - shown.top.y));
    return shown;
}

bool MarqenDocumentView::insertText(const std::string &text) {
    settlePendingStrokeFit();
    if (text.empty() || gesture_ != Gesture::None) return false;
    if (!editingText_) {
        if (!selection_.empty() || !preferences_ || !preferences_->typingCreatesTextAnnotation() || !document_) return false;
        // Typing on an empty selection starts a text in the middle of the page.
        CGRect frame = document_->frame();
        auto created = createText({CGRectGetMidX(frame), CGRectGetMidY(frame)});
        if (!created) return false;
        beginTextEditing(created, true);
    }
    textSession_->insert(text);
    showEditedText();
    return true;
}

void MarqenDocumentView::setPreeditText(const std::string &text) {
    if (!editingText_) return;
    textSession_->setPreedit(text);
    showEditedText();
}

void MarqenDocumentView::endTextEditing() {
    if (!editingText_) return;
    auto text = std::move(editingText_);
    editingText_.reset();
    std::string final = textSession_->text();
    textSession_.reset();
    text->setEditingInProgress(false);
    UndoManager *undo = undoManager();
    // Back to how it was, quietly, then the outcome as one step.
    text->setText(originalText_, true);
    if (editingNewText_) text->removeFromParent();
    if (undo) undo->enableUndoRegistration();
    {
        UndoGroupScope group(undo);
        if (editingNewText_) {
            if (!final.empty()) {
                text->setText(final, true);
                document_->addNode(text);
                expandCanvasToFit({text});
                if (undo) undo->setActionName(MarqenLocalizedString("Add Text"));
            }
        } else if (final.empty()) {
            text->removeFromParent();
            if (undo) undo->setActionName(MarqenLocalizedString("Delete"));
        } else if (final != originalText_) {
            text->setText(final);
            if (undo) undo->setActionName(MarqenLocalizedString("Typing"));
        }
    }
    if (text->document() == document_)
        selectElements({text});
    else
        clearNodeSelection();
    setCursor("default");
    redrawAll();
}

bool MarqenDocumentView::editingKeyPressed(const MarqenKeyEvent &event) {
    bool shift = event.modifiers & MarqenModifierShift, control = event.modifiers & MarqenModifierControl;
    const std::string &key = event.key;
    if (control) {
        if (key == "a" || key == "A") {
            textSession_->selectAll();
            showEditedText();
            return true;
        }
        if (key == "z" || key == "Z") {
            endTextEditing();
            shift ? redo() : undo();
            return true;
        }
        return false;
    }
    if (key == "Escape") endTextEditing();
    else if (key == "Return" || key == "KP_Enter") textSession_->insert("\n");
    else if (key == "BackSpace") textSession_->deleteBackward();
    else if (key == "Delete") textSession_->deleteForward();
    else if (key == "Left") textSession_->moveLeft(shift);
    else if (key == "Right") textSession_->moveRight(shift);
    else if (key == "Home" || key == "Up") textSession_->moveToStart(shift);
    else if (key == "End" || key == "Down") textSession_->moveToEnd(shift);
    else return false;
    showEditedText();
    return true;
}

bool MarqenDocumentView::keyPressed(const MarqenKeyEvent &event) {
    settlePendingStrokeFit();
    if (editingText_) return editingKeyPressed(event);
    bool shift = event.modifiers & MarqenModifierShift, control = event.modifiers & MarqenModifierControl;
    const std::string &key = event.key;
    if (control) {
        if (key == "a" || key == "A") {
            selectAll();
            return true;
        }
        if (key == "z" || key == "Z") {
            if (shift)
                redo();
            else
                undo();
            return true;
        }
        return false;
    }
    if (key == "Escape") {
        if (gesture_ != Gesture::None)
            cancelGesture();
        else if (pendingRect_)
            pendingRect_.reset();
        else
            clearNodeSelection();
        redrawAll();
        return true;
    }
    if ((key == "Return" || key == "KP_Enter") && pendingRect_ && gesture_ == Gesture::None) {
        CGRect chosen = *pendingRect_;
        cropToRect(chosen);
        pendingRect_.reset();
        return true;
    }
    if (key == "Delete" || key == "BackSpace") {
        deleteSelection();
        return true;
    }
    CGFloat step = shift ? 10 : 1;
    if (key == "Left") return nudgeSelection({-step, 0}), true;
    if (key == "Right") return nudgeSelection({step, 0}), true;
    if (key == "Up") return nudgeSelection({0, -step}), true;
    if (key == "Down") return nudgeSelection({0, step}), true;
    return false;
}

// The fitted path of a finished stroke replaces its raw path without undo. An edit made before it arrives
// would record the raw path and bring it back on undo or redo, so edits wait for it (a few milliseconds
// at most; only an edit that follows a stroke at once ever waits).
void MarqenDocumentView::settlePendingStrokeFit() {
    if (!strokeFitPending_) return;
    strokeFitPending_ = false;
    ThreadPool::shared().waitIdle();
    MainQueue::shared().drain();
}

void MarqenDocumentView::notifySelection() {
    if (delegate_.selectionDidChange) delegate_.selectionDidChange();
    redrawAll();
}

void MarqenDocumentView::redrawAll() {
    if (!delegate_.needsRedraw || !document_) return;
    delegate_.needsRedraw(CGRectApplyAffineTransform(document_->frame(), modelToViewTransform()));
}

void MarqenDocumentView::setCursor(const std::string &cursor) {
    if (cursor == cursor_) return;
    cursor_ = cursor;
    if (delegate_.cursorDidChange) delegate_.cursorDidChange(cursor);
}

}  // namespace marqen
