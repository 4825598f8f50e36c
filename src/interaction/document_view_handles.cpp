// The handles of the one selected element: where they are in the view, and the drags that edit the element
// through them. A drag changes the element with undo off and ends as one undoable change of its geometry.
#include <algorithm>
#include <cmath>

#include "dom/arrow.h"
#include "dom/bitmap.h"
#include "dom/ellipse.h"
#include "dom/rectangle.h"
#include "dom/stamp.h"
#include "dom/text.h"
#include "dom/two_point_vector.h"
#include "dom/vector.h"
#include "foundation/geometry_functions.h"
#include "foundation/localization.h"
#include "foundation/undo_manager.h"
#include "interaction/document_view.h"
#include "interaction/element_geometry.h"

namespace marqen {

namespace {

// A paragraph is never wrapped narrower than this (model units).
constexpr CGFloat kMinimumWrapWidth = 20;
// Shift snaps a rotation to steps of this many degrees.
constexpr CGFloat kRotationSnapDegrees = 15;

bool hasBoxHandles(const MarqenDOMElement &element) {
    return dynamic_cast<const MarqenDOMRectangle *>(&element) || dynamic_cast<const MarqenDOMEllipse *>(&element) ||
           dynamic_cast<const MarqenDOMBitmap *>(&element);
}

bool isParagraph(const MarqenDOMElement &element) {
    auto *text = dynamic_cast<const MarqenDOMText *>(&element);
    return text && !text->isLabel() && text->textBlockStyle() == MarqenDOMTextBlockStyleParagraph;
}

CGRect handleRect(CGPoint center) {
    constexpr CGFloat half = MarqenDocumentView::kHandleSize / 2;
    return CGRectMake(center.x - half, center.y - half, MarqenDocumentView::kHandleSize, MarqenDocumentView::kHandleSize);
}

// The point of a resize handle on a rectangle of the view.
CGPoint boxHandlePoint(CGRect box, MarqenHandleKind kind) {
    CGFloat minX = CGRectGetMinX(box), midX = CGRectGetMidX(box), maxX = CGRectGetMaxX(box);
    CGFloat minY = CGRectGetMinY(box), midY = CGRectGetMidY(box), maxY = CGRectGetMaxY(box);
    switch (kind) {
        case MarqenHandleKind::TopLeft: return {minX, minY};
        case MarqenHandleKind::Top: return {midX, minY};
        case MarqenHandleKind::TopRight: return {maxX, minY};
        case MarqenHandleKind::Right: return {maxX, midY};
        case MarqenHandleKind::BottomRight: return {maxX, maxY};
        case MarqenHandleKind::Bottom: return {midX, maxY};
        case MarqenHandleKind::BottomLeft: return {minX, maxY};
        case MarqenHandleKind::Left: return {minX, midY};
        case MarqenHandleKind::Rotation: return {midX, minY - MarqenDocumentView::kRotationHandleDistance};
        default: return {midX, midY};
    }
}

constexpr MarqenHandleKind kBoxHandles[] = {MarqenHandleKind::TopLeft,     MarqenHandleKind::Top,
                                            MarqenHandleKind::TopRight,    MarqenHandleKind::Right,
                                            MarqenHandleKind::BottomRight, MarqenHandleKind::Bottom,
                                            MarqenHandleKind::BottomLeft,  MarqenHandleKind::Left};

// The shape's own box: its outline without the stroke (the vertices of a rectangle, the ellipse's
// rectangle), a bitmap's frame.
CGRect shapeBox(const MarqenDOMElement &element) {
    if (auto *bitmap = dynamic_cast<const MarqenDOMBitmap *>(&element)) return bitmap->frame();
    if (auto vector = dynamic_cast<const MarqenDOMVector *>(&element); vector && vector->bezierPath())
        return vector->bezierPath()->bounds();
    return element.contentBounds();
}

CGAffineTransform rotationAbout(CGPoint center, CGFloat angle) {
    CGAffineTransform t = CGAffineTransformMakeTranslation(center.x, center.y);
    t = CGAffineTransformRotate(t, angle);
    return CGAffineTransformTranslate(t, -center.x, -center.y);
}

// Where a stamp's tail handle is: the tail's end, or the badge's right edge when it has no tail.
CGPoint stampTailPoint(const MarqenDOMStamp &stamp) {
    if (stamp.tailAngleInDegrees()) return stamp.endPoint();
    CGRect frame = stamp.frame();
    return {CGRectGetMaxX(frame), CGRectGetMidY(frame)};
}

}  // namespace

std::optional<MarqenHandle> MarqenDocumentView::rotationHandle() const {
    if (gesture_ != Gesture::None || selection_.size() != 1 || editingText_ || !hasBoxHandles(*selection_.front()))
        return std::nullopt;
    CGRect box = CGRectApplyAffineTransform(shapeBox(*selection_.front()), modelToViewTransform());
    return MarqenHandle{MarqenHandleKind::Rotation, handleRect(boxHandlePoint(box, MarqenHandleKind::Rotation))};
}

std::vector<MarqenHandle> MarqenDocumentView::handles() const {
    std::vector<MarqenHandle> result;
    if (gesture_ != Gesture::None || selection_.size() != 1 || editingText_) return result;
    const auto &element = selection_.front();
    CGAffineTransform toView = modelToViewTransform();
    auto at = [&](MarqenHandleKind kind, CGPoint modelPoint) {
        result.push_back({kind, handleRect(CGPointApplyAffineTransform(modelPoint, toView))});
    };
    if (auto twoPoint = std::dynamic_pointer_cast<MarqenDOMTwoPointVector>(element)) {
        at(MarqenHandleKind::StartPoint, twoPoint->startPoint());
        at(MarqenHandleKind::EndPoint, twoPoint->endPoint());
    } else if (hasBoxHandles(*element)) {
        CGRect box = CGRectApplyAffineTransform(shapeBox(*element), toView);
        for (MarqenHandleKind kind : kBoxHandles) result.push_back({kind, handleRect(boxHandlePoint(box, kind))});
    } else if (auto stamp = std::dynamic_pointer_cast<MarqenDOMStamp>(element)) {
        at(MarqenHandleKind::StampTail, stampTailPoint(*stamp));
    } else if (isParagraph(*element)) {
        CGRect bounds = std::static_pointer_cast<MarqenDOMText>(element)->textBounds();
        at(MarqenHandleKind::WrapWidth, {CGRectGetMaxX(bounds), CGRectGetMidY(bounds)});
    }
    return result;
}

bool MarqenDocumentView::beginHandleDrag(CGPoint viewPoint) {
    auto list = handles();
    if (auto rotation = rotationHandle()) list.push_back(*rotation);
    // Later handles are drawn on top: the end point wins over the start point of a very short line.
    for (auto it = list.rbegin(); it != list.rend(); ++it) {
        if (!CGRectContainsPoint(it->viewRect, viewPoint)) continue;
        const auto &element = selection_.front();
        handleKind_ = it->kind;
        savedGeometry_ = MarqenElementGeometry(*element);
        savedBounds_ = shapeBox(*element);
        if (!savedGeometry_.has_value()) return false;
        if (handleKind_ == MarqenHandleKind::Rotation) {
            rotationCenter_ = CGPoint{CGRectGetMidX(savedBounds_), CGRectGetMidY(savedBounds_)};
            CGPoint modelPoint = modelPointForViewPoint(viewPoint);
            rotationStartAngle_ = std::atan2(modelPoint.y - rotationCenter_.y, modelPoint.x - rotationCenter_.x);
            appliedRotation_ = 0;
        }
        if (auto undo = undoManager()) undo->disableUndoRegistration();
        gesture_ = Gesture::Handle;
        setCursor(handleKind_ == MarqenHandleKind::Rotation ? "grabbing" : "crosshair");
        return true;
    }
    return false;
}

void MarqenDocumentView::dragHandle(CGPoint modelPoint, bool shift) {
    if (selection_.size() != 1) return;
    const auto &element = selection_.front();
    switch (handleKind_) {
        case MarqenHandleKind::StartPoint:
        case MarqenHandleKind::EndPoint: {
            auto twoPoint = std::dynamic_pointer_cast<MarqenDOMTwoPointVector>(element);
            if (!twoPoint) return;
            twoPoint->setSnap(shift);
            if (handleKind_ == MarqenHandleKind::StartPoint)
                twoPoint->setStartPoint(modelPoint);
            else
                twoPoint->setEndPoint(modelPoint);
            return;
        }
        case MarqenHandleKind::StampTail:
            if (auto stamp = std::dynamic_pointer_cast<MarqenDOMStamp>(element)) stamp->updateTailWithPoint(modelPoint);
            return;
        case MarqenHandleKind::WrapWidth:
            if (auto text = std::dynamic_pointer_cast<MarqenDOMText>(element))
                text->setWrapWidth(std::max(kMinimumWrapWidth, modelPoint.x - text->textBounds().origin.x));
            return;
        case MarqenHandleKind::Rotation: {
            CGFloat angle =
                std::atan2(modelPoint.y - rotationCenter_.y, modelPoint.x - rotationCenter_.x) - rotationStartAngle_;
            if (shift) {
                const CGFloat step = kRotationSnapDegrees * M_PI / 180;
                angle = std::round(angle / step) * step;
            }
            appliedRotation_ = angle;
            MarqenRestoreElementGeometry(*element, savedGeometry_);
            // A bitmap turns by its transform while dragging; its pixels are turned once, at the end.
            if (auto bitmap = std::dynamic_pointer_cast<MarqenDOMBitmap>(element))
                bitmap->setTransform(CGAffineTransformConcat(bitmap->transform(), rotationAbout(rotationCenter_, angle)));
            else
                element->rotate(angle, rotationCenter_);
            return;
        }
        default: break;
    }
    // Resize from the saved shape each time, so that rounding never accumulates; the opposite side stays.
    // The handles name sides as the user sees them, so the work is done in view space and only the
    // factors and the fixed point go back to the model.
    CGAffineTransform toView = modelToViewTransform();
    CGRect box = CGRectApplyAffineTransform(savedBounds_, toView);
    if (!(box.size.width > 0) || !(box.size.height > 0)) return;
    CGPoint viewPoint = CGPointApplyAffineTransform(modelPoint, toView);
    CGFloat minX = CGRectGetMinX(box), maxX = CGRectGetMaxX(box), minY = CGRectGetMinY(box), maxY = CGRectGetMaxY(box);
    bool left = handleKind_ == MarqenHandleKind::TopLeft || handleKind_ == MarqenHandleKind::Left ||
                handleKind_ == MarqenHandleKind::BottomLeft;
    bool right = handleKind_ == MarqenHandleKind::TopRight || handleKind_ == MarqenHandleKind::Right ||
                 handleKind_ == MarqenHandleKind::BottomRight;
    bool top = handleKind_ == MarqenHandleKind::TopLeft || handleKind_ == MarqenHandleKind::Top ||
               handleKind_ == MarqenHandleKind::TopRight;
    bool bottom = handleKind_ == MarqenHandleKind::BottomLeft || handleKind_ == MarqenHandleKind::Bottom ||
                  handleKind_ == MarqenHandleKind::BottomRight;
    const CGFloat minimum = zoom_;  // one model unit
    CGFloat newMinX = left ? std::min(viewPoint.x, maxX - minimum) : minX;
    CGFloat newMaxX = right ? std::max(viewPoint.x, minX + minimum) : maxX;
    CGFloat newMinY = top ? std::min(viewPoint.y, maxY - minimum) : minY;
    CGFloat newMaxY = bottom ? std::max(viewPoint.y, minY + minimum) : maxY;
    CGSize factors{(newMaxX - newMinX) / box.size.width, (newMaxY - newMinY) / box.size.height};
    if (shift && (left || right) && (top || bottom)) factors.width = factors.height = std::max(factors.width, factors.height);
    CGPoint anchor = CGPointApplyAffineTransform(CGPoint{left ? maxX : minX, top ? maxY : minY}, viewToModelTransform());
    MarqenRestoreElementGeometry(*element, savedGeometry_);
    element->scale(factors, anchor);
}

void MarqenDocumentView::finishHandleDrag() {
    gesture_ = Gesture::None;
    if (selection_.size() != 1) return;
    const auto &element = selection_.front();
    UndoManager *undo = undoManager();
    auto arrow = std::dynamic_pointer_cast<MarqenDOMArrow>(element);
    auto twoPoint = std::dynamic_pointer_cast<MarqenDOMTwoPointVector>(element);
    auto bitmap = std::dynamic_pointer_cast<MarqenDOMBitmap>(element);
    if (twoPoint) twoPoint->setSnap(false);
    std::string name = arrow ? "Arrow Endpoint" : twoPoint ? "Line Endpoint" : "Resize";
    if (handleKind_ == MarqenHandleKind::Rotation) name = "Rotate";
    if (handleKind_ == MarqenHandleKind::StampTail) name = "Stamp Tail";
    if (handleKind_ == MarqenHandleKind::WrapWidth) name = "Wrap Width";
    std::any final = MarqenElementGeometry(*element);
    // Back to where the drag began without undo, then the final shape as one undoable change. The final
    // points passed the arrow's length guard while dragging, so the guard stays out of the way here.
    MarqenRestoreElementGeometry(*element, savedGeometry_);
    if (undo) undo->enableUndoRegistration();
    if (bitmap && handleKind_ == MarqenHandleKind::Rotation) {
        // The pixels are turned now, into new pixels under a new resource (one step with the frame).
        if (appliedRotation_ != 0 && (!document_->resourceCoordinator() || storePicturesForUndo({bitmap}, nullptr))) {
            UndoGroupScope group(undo);
            bitmap->applyTransform(rotationAbout(rotationCenter_, appliedRotation_));
            if (undo) undo->setActionName(MarqenLocalizedString(name));
        }
    } else if (!final.has_value() || !savedGeometry_.has_value()) {
        // nothing to record
    } else {
        UndoGroupScope group(undo);
        MarqenRestoreElementGeometry(*element, final);
        if (undo) undo->setActionName(MarqenLocalizedString(name));
    }
    savedGeometry_.reset();
}

}  // namespace marqen
