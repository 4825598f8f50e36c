// The whole-page operations of the document view: rotate, crop, resize and pixelate. Each is one undo step
// that changes the page's frame and every element on it together.
#include <algorithm>
#include <cmath>

#include "dom/bitmap.h"
#include "dom/layer.h"
#include "dom/stamp.h"
#include "dom/text.h"
#include "editing/tools_model.h"
#include "foundation/geometry_functions.h"
#include "foundation/localization.h"
#include "foundation/resource_budget.h"
#include "foundation/undo_manager.h"
#include "interaction/document_view.h"
#include "interaction/element_geometry.h"
#include "interaction/pixelate.h"

namespace marqen {

namespace {

enum MarqenDocumentViewError : long {
    MarqenDocumentViewErrorNoPage = 1,
    MarqenDocumentViewErrorBusy = 2,
    MarqenDocumentViewErrorInvalidArgument = 3,
    MarqenDocumentViewErrorNoResourceCoordinator = 4,
    MarqenDocumentViewErrorNothingToDo = 5,
    MarqenDocumentViewErrorPixelsFailed = 6,
};

// The smallest and largest page sides the crop and resize panels allow.
constexpr CGFloat kMinimumPageSide = 10;
constexpr CGFloat kMaximumPageSide = 50000;

bool isFiniteRect(CGRect rect) {
    return std::isfinite(rect.origin.x) && std::isfinite(rect.origin.y) && std::isfinite(rect.size.width) &&
           std::isfinite(rect.size.height);
}

CGPoint centerOf(CGRect rect) { return {CGRectGetMidX(rect), CGRectGetMidY(rect)}; }

CGPoint difference(CGPoint to, CGPoint from) { return {to.x - from.x, to.y - from.y}; }

bool isLabel(const MarqenDOMElement &element) {
    auto *text = dynamic_cast<const MarqenDOMText *>(&element);
    return text && text->isLabel();
}

// Bitmaps with pixels can only change them through the document's resource coordinator.
bool picturesNeedCoordinator(const MarqenDOMDocument &document) {
    if (document.resourceCoordinator()) return false;
    for (const auto &bitmap : document.allBitmaps())
        if (bitmap->image()) return true;
    return false;
}

}  // namespace

bool MarqenDocumentView::prepareForPageOperation(MarqenError *error) {
    if (!document_) return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorNoPage, "No page is open");
    if (gesture_ != Gesture::None)
        return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorBusy, "A gesture is running");
    if (editingText_) endTextEditing();
    settlePendingStrokeFit();
    // Pictures still loading would be left out of the new pixels.
    document_->waitForOperationsToFinish();
    pendingRect_.reset();
    return true;
}

bool MarqenDocumentView::storePicturesForUndo(const std::vector<std::shared_ptr<MarqenDOMBitmap>> &pictures,
                                              MarqenError *error) {
    // A pixel edit moves a picture to a new resource; undo goes back to the old one, which must be stored
    // by then (a pasted or freshly opened picture may so far live in memory only).
    for (const auto &bitmap : pictures) {
        if (!bitmap->image()) continue;
        MarqenError storeError;
        if (!bitmap->prepareForSaveSynchronous(&storeError))
            return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorPixelsFailed,
                              "Cannot keep a picture for undo: " + storeError.description());
    }
    document_->waitForOperationsToFinish();
    return true;
}

bool MarqenDocumentView::rotateCanvas(bool clockwise, MarqenError *error) {
    if (!prepareForPageOperation(error)) return false;
    if (picturesNeedCoordinator(*document_))
        return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorNoResourceCoordinator,
                          "Cannot rotate the pictures of a page without a resource coordinator");
    if (!storePicturesForUndo(document_->allBitmaps(), error)) return false;
    const CGRect frame = document_->frame();
    const CGPoint center = centerOf(frame);
    // Clockwise as seen: a positive angle where the page's y axis points down on the screen.
    const bool yDown = pageTransform().d > 0;
    const CGFloat angle = ((clockwise == yDown) ? 1 : -1) * M_PI_2;
    // The turned frame is centred where the old one was; it is moved back so that it keeps its origin.
    const CGPoint shift{frame.origin.x + frame.size.height / 2 - center.x, frame.origin.y + frame.size.width / 2 - center.y};
    // Written out rather than made from the angle, so that whole numbers stay whole: (x, y) → centre +
    // (−(y − cy), x − cx) for a positive quarter turn, centre + (y − cy, −(x − cx)) for a negative one.
    const CGFloat sign = angle > 0 ? 1 : -1;
    const CGAffineTransform turn = CGAffineTransformMake(
        0, sign, -sign, 0, center.x + shift.x + sign * center.y, center.y + shift.y - sign * center.x);
    const long tailTurn = angle > 0 ? 90 : 270;

    std::vector<std::shared_ptr<MarqenDOMElement>> shapes, labels;
    std::vector<std::shared_ptr<MarqenDOMBitmap>> pictures;
    for (const auto &element : allElementsOnPage(true)) {
        if (auto bitmap = std::dynamic_pointer_cast<MarqenDOMBitmap>(element))
            pictures.push_back(bitmap);
        else if (isLabel(*element))
            labels.push_back(element);
        else
            shapes.push_back(element);
    }
    UndoManager *undo = undoManager();
    MarqenError pictureError;
    bool picturesTurned = true;
    {
        UndoGroupScope group(undo);
        changeElementsUndoably(shapes, [&](MarqenDOMElement &element) {
            if (auto *stamp = dynamic_cast<MarqenDOMStamp *>(&element)) {
                // The badge stays upright; its centre and its tail turn.
                CGPoint start = stamp->startPoint();
                MarqenTranslateElement(element, difference(CGPointApplyAffineTransform(start, turn), start));
                if (auto tail = stamp->tailAngleInDegrees()) stamp->setTailAngleInDegrees((*tail + tailTurn) % 360);
            } else if (dynamic_cast<MarqenDOMText *>(&element)) {
                // Text stays readable: it moves with its centre.
                CGPoint middle = centerOf(element.contentBounds());
                MarqenTranslateElement(element, difference(CGPointApplyAffineTransform(middle, turn), middle));
            } else {
                MarqenWithoutArrowMinimum(element, [&] {
                    element.rotate(angle, center);
                    element.translate(shift);
                });
            }
        });
        // Labels go beside their stamps again once these have moved.
        changeElementsUndoably(labels, [&](MarqenDOMElement &element) {
            if (auto parent = static_cast<MarqenDOMText &>(element).labelParentNode())
                parent->positionLabelQuietly(true, false);
        });
        for (const auto &bitmap : pictures) {
            CGPoint middle = centerOf(bitmap->frame());
            if (bitmap->image() && !bitmap->rotate90Degrees(clockwise, &pictureError)) {
                picturesTurned = false;
                break;
            }
            if (!bitmap->image()) bitmap->rotate(angle, middle);  // no pixels: the frame alone turns
            bitmap->translate(difference(CGPointApplyAffineTransform(middle, turn), middle));
        }
        document_->setFrame(CGRectMake(frame.origin.x, frame.origin.y, frame.size.height, frame.size.width));
        if (undo) undo->setActionName(MarqenLocalizedString("Rotate Canvas"));
    }
    if (!picturesTurned) {
        // Nothing half done stays: the step is taken back at once.
        if (undo && undo->canUndo()) undo->undo();
        return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorPixelsFailed,
                          "Cannot rotate a picture: " + pictureError.description());
    }
    clearNodeSelection();
    redrawAll();
    return true;
}

bool MarqenDocumentView::cropToRect(CGRect rect, MarqenError *error) {
    if (!isFiniteRect(rect))
        return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorInvalidArgument,
                          "The crop rectangle is not a finite rectangle");
    if (!prepareForPageOperation(error)) return false;
    const CGRect frame = document_->frame();
    CGRect kept = CGRectIntersection(CGRectIntegral(CGRectStandardize(rect)), CGRectIntegral(frame));
    if (CGRectIsNull(kept) || kept.size.width < kMinimumPageSide || kept.size.height < kMinimumPageSide)
        return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorInvalidArgument,
                          "The crop rectangle must cover at least 10 × 10 units of the page");
    if (CGRectEqualToRect(kept, frame))
        return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorNothingToDo,
                          "The crop rectangle is the whole page");
    // The kept part moves to the frame's origin, the background with it.
    const CGPoint shift = difference(frame.origin, kept.origin);
    UndoManager *undo = undoManager();
    {
        UndoGroupScope group(undo);
        changeElementsUndoably(allElementsOnPage(true), [&](MarqenDOMElement &element) {
            if (!isLabel(element)) MarqenTranslateElement(element, shift);
        });
        document_->setFrame(CGRectMake(frame.origin.x, frame.origin.y, kept.size.width, kept.size.height));
        if (undo) undo->setActionName(MarqenLocalizedString("Crop"));
    }
    clearNodeSelection();
    redrawAll();
    return true;
}

bool MarqenDocumentView::resizeCanvas(CGFloat scale, MarqenError *error) {
    if (!std::isfinite(scale) || scale <= 0)
        return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorInvalidArgument,
                          "The resize scale must be a positive number");
    if (!prepareForPageOperation(error)) return false;
    const CGRect frame = document_->frame();
    const CGSize size{std::round(frame.size.width * scale), std::round(frame.size.height * scale)};
    if (size.width < kMinimumPageSide || size.height < kMinimumPageSide || size.width > kMaximumPageSide ||
        size.height > kMaximumPageSide)
        return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorInvalidArgument,
                          "The resized page must measure between 10 and 50000 units on each side");
    if (size.width == frame.size.width && size.height == frame.size.height)
        return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorNothingToDo,
                          "The page keeps its size");
    // The pictures are resampled with the page, so their new pixels count against the document's budget
    // before any work: repeated enlargements would otherwise grow them without bound.
    if (const uint64_t pixelBudget = MarqenCurrentResourceBudget().decodedPixelsPerDocument) {
        const double areaScale = (size.width / frame.size.width) * (size.height / frame.size.height);
        double resizedPixels = 0;
        for (const auto &bitmap : document_->allBitmaps()) {
            const CGRect visible = bitmap->image() ? bitmap->visiblePixelRect() : CGRectZero;
            resizedPixels += visible.size.width * visible.size.height * areaScale;
        }
        if (resizedPixels > double(pixelBudget))
            return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorInvalidArgument,
                              MarqenBudgetExceededText("the resized pictures' " +
                                                           std::to_string(uint64_t(std::ceil(resizedPixels))) +
                                                           " pixels",
                                                       "decoded pixels per document", pixelBudget));
    }
    if (document_->resourceCoordinator() && !storePicturesForUndo(document_->allBitmaps(), error)) return false;
    // Everything scales about the frame's origin, by the factors that make the sides whole.
    CGAffineTransform t = CGAffineTransformMakeTranslation(frame.origin.x, frame.origin.y);
    t = CGAffineTransformScale(t, size.width / frame.size.width, size.height / frame.size.height);
    t = CGAffineTransformTranslate(t, -frame.origin.x, -frame.origin.y);
    UndoManager *undo = undoManager();
    {
        UndoGroupScope group(undo);
        changeElementsUndoably(allElementsOnPage(true), [&](MarqenDOMElement &element) {
            if (isLabel(element)) return;  // placed by its stamp
            MarqenWithoutArrowMinimum(element, [&] { element.applyResizeTransform(t, size); });
            if (auto *stamp = dynamic_cast<MarqenDOMStamp *>(&element)) stamp->positionLabelQuietly(true, false);
        });
        document_->setFrame(CGRectMake(frame.origin.x, frame.origin.y, size.width, size.height));
        if (undo) undo->setActionName(MarqenLocalizedString("Resize Canvas"));
    }
    clearNodeSelection();
    redrawAll();
    return true;
}

bool MarqenDocumentView::pixelateRect(CGRect rect, MarqenError *error) {
    if (!isFiniteRect(rect))
        return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorInvalidArgument,
                          "The pixelate rectangle is not a finite rectangle");
    if (!prepareForPageOperation(error)) return false;
    const CGRect frame = document_->frame();
    CGRect area = CGRectIntersection(CGRectStandardize(rect), frame);
    if (CGRectIsNull(area) || area.size.width < 1 || area.size.height < 1)
        return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorNothingToDo,
                          "The pixelate rectangle does not cover the page");
    std::vector<std::shared_ptr<MarqenDOMBitmap>> pictures;
    for (const auto &bitmap : document_->allBitmaps()) {
        if (bitmap->isAdjustment() || !bitmap->image() || !CGAffineTransformIsIdentity(bitmap->transform())) continue;
        CGRect under = CGRectIntersection(bitmap->visibleFrame(), area);
        if (!CGRectIsNull(under) && !CGRectIsEmpty(under)) pictures.push_back(bitmap);
    }
    if (pictures.empty())
        return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorNothingToDo,
                          "There is no picture under the pixelate rectangle");
    if (!document_->resourceCoordinator())
        return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorNoResourceCoordinator,
                          "Cannot pixelate a page without a resource coordinator");
    if (!storePicturesForUndo(pictures, error)) return false;
    // Blocks of about an eightieth of the page's longer side, never finer than 4 units.
    const CGFloat block = std::max<CGFloat>(4, std::round(std::max(frame.size.width, frame.size.height) / 80));
    UndoManager *undo = undoManager();
    MarqenError pixelError;
    bool done = true;
    {
        UndoGroupScope group(undo);
        for (const auto &bitmap : pictures) {
            const MarqenImageRef image = bitmap->image();
            const CGRect pictureFrame = CGRectStandardize(bitmap->frame());
            if (pictureFrame.size.width <= 0 || pictureFrame.size.height <= 0) continue;
            const CGSize density{image->width() / pictureFrame.size.width, image->height() / pictureFrame.size.height};
            CGRect under = CGRectIntersection(bitmap->visibleFrame(), area);
            CGRect pixels = CGRectMake((under.origin.x - pictureFrame.origin.x) * density.width,
                                       (under.origin.y - pictureFrame.origin.y) * density.height,
                                       under.size.width * density.width, under.size.height * density.height);
            int blockPixels = std::max(1, static_cast<int>(std::lround(block * density.width)));
            MarqenImageRef pixelated = MarqenImageCreatePixelated(*image, pixels, blockPixels, &pixelError);
            if (!pixelated) {
                done = false;
                break;
            }
            // The new pixels are drawn over the old as one picture and stored as a new resource: the old
            // pixels stay only with undo, which goes back to the old resource.
            auto patch = MarqenDOMBitmap::create();
            patch->setFrameQuietly(pictureFrame);
            patch->setImage(pixelated);
            patch->setDisplayImage(pixelated);
            if (!CGRectIsEmpty(bitmap->cropRect())) patch->setCropRect(bitmap->cropRect());
            if (!bitmap->mergeBitmaps({patch}, bitmap->visibleFrame(), &pixelError)) {
                done = false;
                break;
            }
        }
        if (undo) undo->setActionName(MarqenLocalizedString("Pixelate"));
    }
    if (!done) {
        if (undo && undo->canUndo()) undo->undo();
        return marqenFail(error, kMarqenDocumentViewErrorDomain, MarqenDocumentViewErrorPixelsFailed,
                          "Cannot pixelate a picture: " + pixelError.description());
    }
    if (tools_) tools_->postToolDidCreateObjectAnalyticsEventForCompositionView(this);
    redrawAll();
    return true;
}

}  // namespace marqen
