#include "render/document_renderer.h"

#include <cmath>

#include "dom/bitmap.h"
#include "dom/notifications.h"
#include "foundation/geometry_functions.h"
#include "foundation/log.h"
#include "platform/pdf_page.h"

namespace marqen {

namespace {

constexpr MarqenRGBAColor kCheckerboardGrey{200.0 / 255.0, 200.0 / 255.0, 200.0 / 255.0, 1};
constexpr CGFloat kCheckerboardCell = 16;
// Above this many squares the checkerboard is drawn coarser rather than slowly.
constexpr double kMaximumCheckerboardSquares = 1 << 20;

}  // namespace

MarqenDOMDocumentRenderer::~MarqenDOMDocumentRenderer() = default;

std::shared_ptr<MarqenDOMDocumentRenderer> MarqenDOMDocumentRenderer::create(
    const std::shared_ptr<MarqenDOMDocument> &document) {
    if (!document) return nullptr;
    struct Enabler : MarqenDOMDocumentRenderer {};
    auto renderer = std::make_shared<Enabler>();
    renderer->setNode(document);
    std::weak_ptr<MarqenDOMDocumentRenderer> weakRenderer = renderer;
    // The scale follows the document's frame.
    renderer->frameObservation_ = NotificationCenter::defaultCenter().addObserver(
        MarqenDOMNodeDidChange, document.get(), [weakRenderer](const Notification &) {
            if (auto self = weakRenderer.lock()) self->updateDocumentScale();
        });
    return renderer;
}

std::shared_ptr<MarqenDOMDocument> MarqenDOMDocumentRenderer::document() const {
    return std::dynamic_pointer_cast<MarqenDOMDocument>(node());
}

void MarqenDOMDocumentRenderer::setSize(CGSize size) {
    size_ = size;
    updateDocumentScale();
}

void MarqenDOMDocumentRenderer::updateDocumentScale() {
    auto document = this->document();
    if (!document) return;
    CGFloat scale = CGSizeGetAspectFitScale(document->frame().size, size_);
    documentScale_ = CGSizeMake(scale, scale);
}

bool MarqenDOMDocumentRenderer::shouldRenderNode(const MarqenDOMNodePtr &node) const {
    auto delegate = delegate_.lock();
    return !delegate || delegate->rendererShouldRenderNode(*this, node);
}

CGAffineTransform MarqenDOMDocumentRenderer::viewModelTransform() const {
    auto document = this->document();
    return viewModelTransformFor(document ? document->frame() : CGRectZero, document ? document->coordinateSystem() : 1,
                                 size_, documentScale_);
}

CGAffineTransform MarqenDOMDocumentRenderer::viewModelTransformFor(CGRect frame, unsigned long coordinateSystem, CGSize size,
                                                                   CGSize s) {
    if (coordinateSystem == 2) {
        CGAffineTransform t = CGAffineTransformMakeTranslation(CGRectGetMidX(frame), CGRectGetMidY(frame));
        t = CGAffineTransformScale(t, 1 / s.width, 1 / s.height);
        return CGAffineTransformTranslate(t, -size.width / 2, -size.height / 2);
    }
    CGAffineTransform t = CGAffineTransformIdentity;
    t = CGAffineTransformTranslate(t, frame.origin.x, frame.origin.y);
    t = CGAffineTransformTranslate(t, -0.5 * (size.width / s.width - frame.size.width),
                                   -0.5 * (size.height / s.height - frame.size.height));
    t = CGAffineTransformScale(t, 1 / s.width, 1 / s.height);
    t = CGAffineTransformTranslate(t, 0, size.height);
    return CGAffineTransformScale(t, 1, -1);
}

CGAffineTransform MarqenDOMDocumentRenderer::modelViewTransformAtFrameSize(const MarqenDOMDocument &document) {
    return CGAffineTransformInvert(viewModelTransformFor(document.frame(), document.coordinateSystem(),
                                                         document.frame().size, CGSizeMake(1, 1)));
}

CGAffineTransform MarqenDOMDocumentRenderer::modelViewTransform() const {
    return CGAffineTransformInvert(viewModelTransform());
}

CGPoint MarqenDOMDocumentRenderer::originOffset() const {
    auto document = this->document();
    if (!document) return CGPointMake(0, 0);
    CGRect frame = document->frame();
    return CGPointMake(CGRectGetMidX(frame), CGRectGetMidY(frame));
}

MarqenImageRef MarqenDOMDocumentRenderer::copyCheckerboardColor() {
    auto tile = MarqenImage::create(16, 16);
    auto context = MarqenGraphicsContext::createForImage(tile);
    fillWithCheckerboard(*context, CGRectMake(0, 0, 16, 16));
    return tile;
}

void MarqenDOMDocumentRenderer::fillWithCheckerboard(MarqenGraphicsContext &context, CGRect rect) {
    rect = CGRectStandardize(rect);
    if (CGRectIsEmpty(rect) || !std::isfinite(rect.origin.x) || !std::isfinite(rect.origin.y) ||
        !std::isfinite(rect.size.width) || !std::isfinite(rect.size.height))
        return;
    context.saveGState();
    context.clipToRect(rect);
    context.setFillColor({1, 1, 1, 1});
    context.fillRect(rect);
    // Squares are laid from the user-space origin so that the pattern does not move with the rect.
    CGFloat cell = kCheckerboardCell;
    while ((rect.size.width / cell) * (rect.size.height / cell) * 2 > kMaximumCheckerboardSquares) cell *= 2;
    const CGFloat half = cell / 2;
    const CGFloat x0 = std::floor(CGRectGetMinX(rect) / cell) * cell, y0 = std::floor(CGRectGetMinY(rect) / cell) * cell;
    context.beginPath();
    // Counted cells, not a running sum: far from the origin adding a cell may not change a coordinate.
    const long columns = std::lround(std::ceil((CGRectGetMaxX(rect) - x0) / cell));
    const long rows = std::lround(std::ceil((CGRectGetMaxY(rect) - y0) / cell));
    for (long row = 0; row < rows; ++row)
        for (long column = 0; column < columns; ++column) {
            const CGFloat x = x0 + column * cell, y = y0 + row * cell;
            context.addRect(CGRectMake(x, y, half, half));
            context.addRect(CGRectMake(x + half, y + half, half, half));
        }
    context.setFillColor(kCheckerboardGrey);
    context.fillPath();
    context.restoreGState();
}

bool MarqenDOMDocumentRenderer::shouldDrawBackground() const {
    auto document = this->document();
    if (!document || document->backgroundColorDisabled()) return false;
    auto layer = document->backgroundLayer();
    if (!layer) return false;
    if (shouldRenderNode(layer)) return true;
    for (const auto &child : layer->children())
        if (shouldRenderNode(child)) return true;
    return false;
}

void MarqenDOMDocumentRenderer::drawPDFPageBackground(MarqenDOMDocument &document, MarqenGraphicsContext &context) {
    const CGRect frame = document.frame();
    const MarqenPDFPage &page = *document.pdfPage();
    long pageNumber = page.pageNumber();
    if (auto stored = document.pageNumber(); stored && std::isfinite(*stored) && std::fabs(*stored) < 1e9)
        pageNumber = static_cast<long>(*stored);
    context.saveGState();
    context.setFillColor({1, 1, 1, 1});
    context.fillRect(context.clipBoundingBox());
    // Over the frame the page's own y-up space...
    context.translateCTM(0, frame.size.height);
    context.scaleCTM(1, -1);
    // ...into which the displayed page is fitted, centred, never enlarged (the platform's page
    // drawing transform).
    CGSize display = page.displaySize();
    if (display.width > 0 && display.height > 0) {
        CGFloat scale = std::min({frame.size.width / display.width, frame.size.height / display.height, 1.0});
        CGFloat width = display.width * scale, height = display.height * scale;
        CGFloat x = CGRectGetMidX(frame) - width / 2, y = CGRectGetMidY(frame) - height / 2;
        // The page draws y-down from its top-left corner, which is at the top of the y-up rectangle.
        context.translateCTM(x, y + height);
        context.scaleCTM(scale, -scale);
        MarqenError error;
        bool drawn = true;
        context.drawWithCairo([&](cairo_t *cairo) { drawn = page.draw(cairo, &error); });
        if (!drawn) marqenLog("Unable to draw PDF page " + std::to_string(pageNumber) + ": " + error.localizedDescription());
    }
    context.restoreGState();
}

bool MarqenDOMDocumentRenderer::opaquePictureCoversFrame(const MarqenDOMDocument &document,
                                                         const MarqenGraphicsContext &context) const {
    // Only a plain picture on whole device pixels hides the colours exactly, edges included.
    auto layer = document.backgroundLayer();
    if (!clipToDocumentFrame_ || !layer || !CGAffineTransformIsIdentity(layer->transform())) return false;
    auto bitmap = layer->primaryBitmap();
    if (!bitmap || !bitmap->image() || !CGAffineTransformIsIdentity(bitmap->transform()) ||
        !CGRectIsEmpty(bitmap->cropRect()) || !CGRectContainsRect(bitmap->frame(), document.frame()) ||
        !shouldRenderNode(bitmap))
        return false;
    const CGAffineTransform ctm = context.getCTM();
    if (ctm.b != 0 || ctm.c != 0) return false;
    const CGRect device = CGRectApplyAffineTransform(bitmap->frame(), ctm);
    for (CGFloat edge : {device.origin.x, device.origin.y, device.size.width, device.size.height})
        if (!std::isfinite(edge) || std::fabs(edge - std::round(edge)) > 1e-6) return false;
    // One image pixel per device pixel: a resampled picture lets the background through at its edges.
    if (std::lround(std::fabs(device.size.width)) != bitmap->image()->width() ||
        std::lround(std::fabs(device.size.height)) != bitmap->image()->height())
        return false;
    return bitmap->isOpaque();  // kept by the bitmap for its image, across renderers
}

void MarqenDOMDocumentRenderer::drawRect(CGRect rect, MarqenGraphicsContext &context) {
    auto document = this->document();
    if (!document) return;
    context.saveGState();
    const bool drawBackground = shouldDrawBackground();
    context.concatCTM(modelViewTransform());
    context.concatCTM(document->transform());
    const CGRect frame = document->frame();
    if (clipToDocumentFrame_) context.clipToRect(frame);
    if (drawBackground) {
        if (document->pdfPage()) {
            drawPDFPageBackground(*document, context);
        } else if (!opaquePictureCoversFrame(*document, context)) {
            if (documentBackgroundColor_) {
                context.setFillColor(*documentBackgroundColor_);
                context.fillRect(context.clipBoundingBox());
            }
            if (imageBackgroundColor_) {
                context.setFillColor(*imageBackgroundColor_);
                context.fillRect(frame);
            }
        }
    }
    drawChildren(rect, context);
    context.restoreGState();
}

}  // namespace marqen
