// What the document view adds from outside a gesture: stamp labels, pictures and text from the clipboard,
// and dropped image files.
#include <algorithm>
#include <cmath>
#include <system_error>

#include "dom/bitmap.h"
#include "dom/layer.h"
#include "dom/stamp.h"
#include "dom/text.h"
#include "foundation/geometry_functions.h"
#include "foundation/localization.h"
#include "foundation/undo_manager.h"
#include "interaction/clipboard_payload.h"
#include "interaction/document_view.h"
#include "platform/image_io.h"

namespace marqen {

namespace {

// Longer clipboard text is refused rather than laid out.
constexpr size_t kMaximumPastedTextBytes = size_t(1) << 20;
// Dropped files above this size are refused before they are read.
constexpr uintmax_t kMaximumDroppedFileBytes = uintmax_t(256) << 20;

unsigned long imageProfileForFormat(MarqenImageFormat format) {
    switch (format) {
        case MarqenImageFormat::JPEG: return 1;
        case MarqenImageFormat::HEIC: return 2;
        default: return 0;
    }
}

}  // namespace

void MarqenDocumentView::attachStampLabel(const std::shared_ptr<MarqenDOMElement> &element) {
    auto stamp = std::dynamic_pointer_cast<MarqenDOMStamp>(element);
    if (!stamp || stamp->labelNode()) return;
    std::string text = stamp->localizedDefaultText();
    if (!text.empty()) MarqenDOMText::attachLabelToNode(stamp, text);
}

void MarqenDocumentView::setViewportSize(CGSize size) {
    if (!std::isfinite(size.width) || !std::isfinite(size.height) || size.width < 0 || size.height < 0) return;
    viewportSize_ = size;
}

CGPoint MarqenDocumentView::insertionPoint() const {
    if (viewportSize_.width > 0 && viewportSize_.height > 0)
        return modelPointForViewPoint({viewportSize_.width / 2, viewportSize_.height / 2});
    CGRect frame = document_ ? document_->frame() : CGRectZero;
    return {CGRectGetMidX(frame), CGRectGetMidY(frame)};
}

CGRect MarqenDocumentView::fittedImageFrame(CGSize imageSize, CGPoint modelCenter) const {
    CGRect page = document_->frame();
    CGFloat deviceScale = document_->deviceScale() > 0 ? document_->deviceScale() : 1;
    CGSize size{imageSize.width / deviceScale, imageSize.height / deviceScale};
    // Scaled down (never up) to fit inside the page, then moved inside it.
    CGFloat scale = std::min({CGFloat(1), page.size.width / size.width, page.size.height / size.height});
    size = CGSize{size.width * scale, size.height * scale};
    CGPoint origin{modelCenter.x - size.width / 2, modelCenter.y - size.height / 2};
    origin.x = std::clamp(origin.x, CGRectGetMinX(page), std::max(CGRectGetMinX(page), CGRectGetMaxX(page) - size.width));
    origin.y = std::clamp(origin.y, CGRectGetMinY(page), std::max(CGRectGetMinY(page), CGRectGetMaxY(page) - size.height));
    return CGRectMake(origin.x, origin.y, size.width, size.height);
}

void MarqenDocumentView::addAnnotation(const std::shared_ptr<MarqenDOMElement> &element) {
    // Pictures a user brings in are annotations: above the background, selectable and movable (the
    // document files a bitmap under the background by itself).
    if (std::dynamic_pointer_cast<MarqenDOMBitmap>(element) && document_->annotationLayer())
        document_->annotationLayer()->addChild(element);
    else
        document_->addNode(element);
}

bool MarqenDocumentView::insertElement(const std::shared_ptr<MarqenDOMElement> &element, const std::string &actionName) {
    UndoManager *undo = undoManager();
    {
        UndoGroupScope group(undo);
        addAnnotation(element);
        if (undo) undo->setActionName(MarqenLocalizedString(actionName));
    }
    selectElements({element});
    redrawAll();
    return true;
}

bool MarqenDocumentView::pasteImage(const MarqenImageRef &image, MarqenError *error) {
    settlePendingStrokeFit();
    if (editingText_) endTextEditing();
    if (!document_ || gesture_ != Gesture::None)
        return marqenFail(error, kMarqenClipboardErrorDomain, 4, "Nothing to paste into");
    if (!image || image->width() <= 0 || image->height() <= 0)
        return marqenFail(error, kMarqenClipboardErrorDomain, 3, "The clipboard holds no image");
    auto bitmap = MarqenDOMBitmap::create();
    bitmap->setFrameQuietly(fittedImageFrame(CGSizeMake(image->width(), image->height()), insertionPoint()));
    bitmap->setImage(image);
    bitmap->setDisplayImage(image);
    return insertElement(bitmap, "Paste");
}

bool MarqenDocumentView::pasteText(const std::string &text, MarqenError *error) {
    settlePendingStrokeFit();
    if (editingText_) endTextEditing();
    if (!document_ || gesture_ != Gesture::None)
        return marqenFail(error, kMarqenClipboardErrorDomain, 4, "Nothing to paste into");
    if (text.empty()) return marqenFail(error, kMarqenClipboardErrorDomain, 3, "The clipboard holds no text");
    if (text.size() > kMaximumPastedTextBytes)
        return marqenFail(error, kMarqenClipboardErrorDomain, 2, "The clipboard text is too long to paste");
    auto element = MarqenDOMText::create();
    UndoManager *undo = undoManager();
    // Built quietly outside the page; entering it is the one step.
    if (undo) undo->disableUndoRegistration();
    element->setTextBlockStyle(textBlockStyle_);
    if (textFont_) element->setFont(*textFont_);
    element->setToolColor(toolColor_);
    element->setText(text);
    if (undo) undo->enableUndoRegistration();
    // Centred on the insertion point: placed first at it, then moved by half its size.
    CGPoint center = insertionPoint();
    element->setOriginQuietly(center);
    CGRect bounds = element->contentBounds();
    if (!CGRectIsNull(bounds) && std::isfinite(bounds.size.width) && std::isfinite(bounds.size.height))
        element->setOriginQuietly({center.x - bounds.size.width / 2, center.y - bounds.size.height / 2});
    return insertElement(element, "Paste");
}

bool MarqenDocumentView::dropImageFile(const std::filesystem::path &file, CGPoint viewPoint, MarqenError *error) {
    settlePendingStrokeFit();
    if (editingText_) endTextEditing();
    if (!document_ || gesture_ != Gesture::None)
        return marqenFail(error, kMarqenClipboardErrorDomain, 4, "Nothing to drop into");
    if (!isUsablePointForView(viewPoint))
        return marqenFail(error, kMarqenClipboardErrorDomain, 5, "The drop point is not a usable location");
    std::error_code ec;
    auto status = std::filesystem::status(file, ec);
    if (ec || !std::filesystem::is_regular_file(status))
        return marqenFail(error, kMarqenClipboardErrorDomain, 5, "The dropped item is not a file: " + file.string());
    auto bytes = std::filesystem::file_size(file, ec);
    if (ec || bytes > kMaximumDroppedFileBytes)
        return marqenFail(error, kMarqenClipboardErrorDomain, 5, "The dropped file is too large: " + file.string());
    MarqenImageProperties properties;
    MarqenError decodeError;
    MarqenImageRef image = MarqenImageDecodeFile(file, &properties, &decodeError);
    if (!image)
        return marqenFail(error, kMarqenClipboardErrorDomain, 6,
                          "The dropped file is not an image: " + file.string() + ": " + decodeError.description());
    auto bitmap = MarqenDOMBitmap::create();
    bitmap->setFrameQuietly(fittedImageFrame(CGSizeMake(image->width(), image->height()), modelPointForViewPoint(viewPoint)));
    bitmap->setImageProfile(imageProfileForFormat(properties.format));
    bitmap->setImageProperties(properties.dictionary);
    bitmap->setImage(image);
    bitmap->setDisplayImage(image);
    return insertElement(bitmap, "Drop");
}

}  // namespace marqen
