#include "render/document_images.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "dom/bitmap.h"
#include "dom/layer.h"
#include "foundation/geometry_functions.h"
#include "foundation/utf8.h"
#include "platform/image_io.h"
#include "platform/mapped_image_buffer.h"
#include "platform/poppler_document.h"
#include "platform/pdf_drawing.h"
#include "platform/text_layout.h"
#include "render/bitmap_filter.h"
#include "render/document_renderer.h"

namespace marqen {

namespace {

bool fail(MarqenError *error, long code, const std::string &message) {
    return marqenFail(error, kMarqenDOMDocumentRenderErrorDomain, code, message);
}

bool isFiniteRect(CGRect rect) {
    return std::isfinite(rect.origin.x) && std::isfinite(rect.origin.y) && std::isfinite(rect.size.width) &&
           std::isfinite(rect.size.height);
}

// Whole pixels for a requested size, or an error for sizes no image can have.
bool pixelSize(CGSize size, int *width, int *height, MarqenError *error) {
    if (!(std::isfinite(size.width) && std::isfinite(size.height) && size.width >= 0.5 && size.height >= 0.5)) {
        return fail(error, MarqenDOMDocumentRenderErrorInvalidSize,
                    "The image size must be at least 1 × 1 pixels (got " + std::to_string(size.width) + " × " +
                        std::to_string(size.height) + ").");
    }
    const double pixels = std::round(size.width) * std::round(size.height);
    if (pixels > static_cast<double>(kMarqenDOMDocumentMaximumImagePixels) ||
        std::round(size.width) > MarqenImage::kMaximumDimension || std::round(size.height) > MarqenImage::kMaximumDimension) {
        return fail(error, MarqenDOMDocumentRenderErrorTooLarge,
                    "The image size " + std::to_string(std::lround(size.width)) + " × " +
                        std::to_string(std::lround(size.height)) + " is above the limit of " +
                        std::to_string(kMarqenDOMDocumentMaximumImagePixels / 1'000'000) + " megapixels.");
    }
    *width = static_cast<int>(std::lround(size.width));
    *height = static_cast<int>(std::lround(size.height));
    return true;
}

bool usableDocument(const std::shared_ptr<MarqenDOMDocument> &document, MarqenError *error) {
    if (!document) return fail(error, MarqenDOMDocumentRenderErrorInvalidDocument, "No document to render.");
    CGRect frame = document->frame();
    if (!isFiniteRect(frame) || frame.size.width <= 0 || frame.size.height <= 0 ||
        !std::isfinite(frame.size.width * frame.size.height)) {
        return fail(error, MarqenDOMDocumentRenderErrorInvalidDocument, "The document frame is not a finite area.");
    }
    return true;
}

// The bitmap alone in the background layer whose frame covers the whole image of `size` exactly (see
// MarqenDOMDocumentBitmapFillingImage); with annotationsAllowed the other layers may hold anything.
std::shared_ptr<MarqenDOMBitmap> bitmapFillingImage(const std::shared_ptr<MarqenDOMDocument> &document, CGSize size,
                                                    bool annotationsAllowed) {
    int width = 0, height = 0;
    if (!usableDocument(document, nullptr) || !pixelSize(size, &width, &height, nullptr) || document->pdfPage() ||
        !CGAffineTransformIsIdentity(document->transform()))
        return nullptr;
    // The renderer draws nodes of these exact classes only; anything else in the tree is left to it.
    std::shared_ptr<MarqenDOMBitmap> found;
    const auto background = document->backgroundLayer();
    for (const auto &child : document->children()) {
        auto layer = std::dynamic_pointer_cast<MarqenDOMLayer>(child);
        if (!layer || &layer->nodeClass() != &MarqenDOMLayer::classDescriptor()) return nullptr;
        if (layer != background) {
            if (!annotationsAllowed && (!CGAffineTransformIsIdentity(layer->transform()) || !layer->children().empty()))
                return nullptr;
            continue;
        }
        if (!CGAffineTransformIsIdentity(layer->transform())) return nullptr;
        for (const auto &node : layer->children()) {
            auto bitmap = std::dynamic_pointer_cast<MarqenDOMBitmap>(node);
            if (found || !bitmap || &bitmap->nodeClass() != &MarqenDOMBitmap::classDescriptor()) return nullptr;
            found = bitmap;
        }
    }
    if (!found || !CGAffineTransformIsIdentity(found->transform()) || !CGRectIsEmpty(found->cropRect()) ||
        !CGRectEqualToRect(found->frame(), document->frame()))
        return nullptr;
    // Where the frame lands in the y-up image, drawn as drawDocument draws it.
    auto renderer = MarqenDOMDocumentRenderer::create(document);
    renderer->setSize(CGSizeMake(width, height));
    CGRect view = CGRectApplyAffineTransform(found->frame(), renderer->modelViewTransform());
    view.origin.y = height - CGRectGetMaxY(view);
    if (!CGRectEqualToRect(view, CGRectMake(0, 0, width, height))) return nullptr;
    return found;
}

// Leaves out the background layer and what it holds: for a page that starts as the background picture.
class AllButTheBackgroundFilter : public MarqenDOMDocumentRendererDelegate {
public:
    bool rendererShouldRenderNode(const MarqenDOMDocumentRenderer &renderer, const MarqenDOMNodePtr &node) override {
        auto document = renderer.document();
        auto background = document ? document->backgroundLayer() : nullptr;
        if (!background || !node) return true;
        return node != std::static_pointer_cast<MarqenDOMNode>(background) && node->parent() != background;
    }
};

// Lets everything through except the pictures and the background layer itself: what a PDF overlay holds.
class AnnotationsOnlyFilter : public MarqenDOMDocumentRendererDelegate {
public:
    bool rendererShouldRenderNode(const MarqenDOMDocumentRenderer &renderer, const MarqenDOMNodePtr &node) override {
        auto document = renderer.document();
        if (document && node == std::static_pointer_cast<MarqenDOMNode>(document->backgroundLayer())) return false;
        return node && !node->isKindOfClass("MarqenDOMBitmap");
    }
};

// Draws through a renderer of `size` into a context whose user space is y-up like the platform's
// bitmap contexts; `configure` adjusts the renderer first.
// `viewTransform`, when given, maps the renderer's view (of viewSize) onto the y-up target.
void drawDocument(const std::shared_ptr<MarqenDOMDocument> &document, MarqenGraphicsContext &context, CGSize size,
                  const std::optional<MarqenRGBAColor> &backgroundColor,
                  const std::function<void(MarqenDOMDocumentRenderer &)> &configure = {},
                  std::optional<std::pair<CGSize, CGAffineTransform>> view = std::nullopt) {
    auto renderer = MarqenDOMDocumentRenderer::create(document);
    renderer->setSize(view ? view->first : size);
    renderer->setFlipped(false);
    renderer->setDocumentBackgroundColor(backgroundColor);
    renderer->setImageBackgroundColor(backgroundColor);
    if (configure) configure(*renderer);
    context.saveGState();
    context.translateCTM(0, size.height);
    context.scaleCTM(1, -1);
    if (view) context.concatCTM(view->second);
    renderer->drawRect(document->frame(), context);
    context.restoreGState();
}

MarqenImageRef renderImage(const std::shared_ptr<MarqenDOMDocument> &document,
                           const std::optional<MarqenRGBAColor> &backgroundColor, CGSize size, MarqenError *error,
                           const std::function<void(MarqenDOMDocumentRenderer &)> &configure = {},
                           const std::function<std::pair<CGSize, CGAffineTransform>(CGSize)> &view = {}) {
    int width = 0, height = 0;
    if (!usableDocument(document, error) || !pixelSize(size, &width, &height, error)) return nullptr;
    MarqenError bufferError;
    MarqenImageRef image;
    // A picture without alpha filling the page one pixel to one is the page before anything else is
    // drawn (the background under it never shows): it is copied in, and only what lies over it is drawn.
    std::shared_ptr<AllButTheBackgroundFilter> overPicture;
    if (!configure && !view) {
        auto bitmap = bitmapFillingImage(document, CGSizeMake(width, height), true);
        auto picture = bitmap ? bitmap->image() : nullptr;
        if (picture && picture->width() == width && picture->height() == height && bitmap->isOpaque()) {
            image = picture->copy(&bufferError);
            overPicture = std::make_shared<AllButTheBackgroundFilter>();
        }
    }
    if (!overPicture) image = MarqenImage::create(width, height, &bufferError);
    auto context = image ? MarqenGraphicsContext::createForImage(image, &bufferError) : nullptr;
    if (!context) {
        fail(error, MarqenDOMDocumentRenderErrorBufferFailed,
             "Cannot make the image buffer: " + bufferError.localizedDescription());
        return nullptr;
    }
    const CGSize pixels = CGSizeMake(width, height);
    std::function<void(MarqenDOMDocumentRenderer &)> withoutBackground = [&](MarqenDOMDocumentRenderer &renderer) {
        renderer.setDelegate(overPicture);
    };
    drawDocument(document, *context, pixels, backgroundColor, overPicture ? withoutBackground : configure,
                 view ? std::optional(view(pixels)) : std::nullopt);
    context.reset();
    return image;
}

}  // namespace

MarqenImageRef MarqenDOMDocumentCreateImageWithSize(const std::shared_ptr<MarqenDOMDocument> &document,
                                                    const std::optional<MarqenRGBAColor> &backgroundColor,
                                                    const std::optional<std::filesystem::path> &memoryMapFile,
                                                    CGSize size, MarqenError *error) {
    if (!memoryMapFile) return renderImage(document, backgroundColor, size, error);
    int width = 0, height = 0;
    if (!usableDocument(document, error) || !pixelSize(size, &width, &height, error)) return nullptr;
    MarqenError bufferError;
    auto buffer = MarqenMappedImageBuffer::create(*memoryMapFile, width, height, &bufferError);
    if (!buffer) {
        fail(error, MarqenDOMDocumentRenderErrorBufferFailed,
             "Cannot make the image buffer: " + bufferError.localizedDescription());
        return nullptr;
    }
    drawDocument(document, buffer->context(), CGSizeMake(width, height), backgroundColor);
    auto image = buffer->copyImage(&bufferError);
    if (!image)
        fail(error, MarqenDOMDocumentRenderErrorBufferFailed, "Cannot read the image: " + bufferError.localizedDescription());
    return image;
}

MarqenImageRef MarqenDOMDocumentCreateImageWithSizeOfRegion(const std::shared_ptr<MarqenDOMDocument> &document,
                                                            const std::optional<MarqenRGBAColor> &backgroundColor,
                                                            CGSize size, CGRect region, MarqenError *error) {
    region = CGRectStandardize(region);
    if (!isFiniteRect(region) || region.size.width <= 0 || region.size.height <= 0) {
        fail(error, MarqenDOMDocumentRenderErrorInvalidSize, "The region must be a finite, non-empty rectangle.");
        return nullptr;
    }
    if (!usableDocument(document, error)) return nullptr;
    // A renderer at the frame's own size (scale 1) sees the region at `area` of its view; the
    // target maps that area onto the whole image.
    const CGSize viewSize = document->frame().size;
    const CGRect area =
        CGRectApplyAffineTransform(region, MarqenDOMDocumentRenderer::modelViewTransformAtFrameSize(*document));
    return renderImage(document, backgroundColor, size, error, {}, [&](CGSize pixels) {
        CGAffineTransform t = CGAffineTransformMakeScale(pixels.width / area.size.width, pixels.height / area.size.height);
        t = CGAffineTransformTranslate(t, -area.origin.x, -area.origin.y);
        return std::make_pair(viewSize, t);
    });
}

MarqenImageRef MarqenDOMDocumentCreateImageByFlatteningBitmaps(const std::shared_ptr<MarqenDOMDocument> &document,
                                                               MarqenError *error) {
    if (!usableDocument(document, error)) return nullptr;
    auto filter = std::make_shared<MarqenDOMDocumentRendererBitmapFilter>();
    return renderImage(document, std::nullopt, document->frame().size, error,
                       [&](MarqenDOMDocumentRenderer &renderer) { renderer.setDelegate(filter); });
}

std::shared_ptr<MarqenDOMBitmap> MarqenDOMDocumentBitmapFillingImage(const std::shared_ptr<MarqenDOMDocument> &document,
                                                                     CGSize size) {
    return bitmapFillingImage(document, size, false);
}

std::optional<MarqenRGBAColor> CopyMarqenDOMDocumentBackgroundColorForDocument(
    const MarqenDOMDocument &document, const std::optional<std::string> &typeIdentifier) {
    const MarqenRGBAColor white{1, 1, 1, 1};
    if (document.forcesOpaqueBackground()) return white;
    if (typeIdentifier) {
        if (*typeIdentifier == kMarqenTypeIdentifierPDF || *typeIdentifier == kMarqenTypeIdentifierJPEG) return white;
    } else if (document.pdfPage()) {
        return white;
    }
    if (document.preferredImageProfile()) return white;
    auto layer = document.backgroundLayer();
    auto bitmap = layer ? layer->primaryBitmap() : nullptr;
    if (bitmap && !bitmap->isOpaque()) return std::nullopt;
    return white;
}

std::optional<std::vector<uint8_t>> MarqenDOMDocumentPNGRepresentation(const std::shared_ptr<MarqenDOMDocument> &document,
                                                                       bool limitSize, MarqenError *error) {
    if (!usableDocument(document, error)) return std::nullopt;
    CGSize size = document->frame().size;
    if (limitSize && (size.width > 1024 || size.height > 1024)) size = CGSizeScaleAspectFit(size, CGSizeMake(1024, 1024));
    auto image = renderImage(document, CopyMarqenDOMDocumentBackgroundColorForDocument(*document, kMarqenTypeIdentifierPNG),
                             size, error);
    if (!image) return std::nullopt;
    return MarqenImageEncode(*image, MarqenImageFormat::PNG, {}, error);
}

std::optional<std::vector<uint8_t>> MarqenDOMDocumentJPEGRepresentation(const std::shared_ptr<MarqenDOMDocument> &document,
                                                                        MarqenError *error) {
    if (!usableDocument(document, error)) return std::nullopt;
    auto image = renderImage(document,
                             CopyMarqenDOMDocumentBackgroundColorForDocument(*document, kMarqenTypeIdentifierJPEG),
                             document->frame().size, error);
    if (!image) return std::nullopt;
    MarqenImageEncodeOptions options;
    options.quality = 0.8;
    return MarqenImageEncode(*image, MarqenImageFormat::JPEG, options, error);
}

std::optional<std::vector<uint8_t>> MarqenDOMDocumentPDFRepresentation(const std::shared_ptr<MarqenDOMDocument> &document,
                                                                       bool includeBackground, MarqenError *error) {
    if (!usableDocument(document, error)) return std::nullopt;
    const CGSize size = document->frame().size;
    auto filter = std::make_shared<AnnotationsOnlyFilter>();
    std::optional<MarqenRGBAColor> background;
    if (includeBackground) background = CopyMarqenDOMDocumentBackgroundColorForDocument(*document, kMarqenTypeIdentifierPDF);
    return MarqenPDFDrawingCreateData(
        size,
        [&](MarqenGraphicsContext &context) {
            drawDocument(document, context, size, background, [&](MarqenDOMDocumentRenderer &renderer) {
                if (!includeBackground) renderer.setDelegate(filter);
            });
        },
        error);
}

CGRect MarqenDOMDocumentSmartThumbnailRect(const MarqenDOMDocument &document, CGPoint point, CGSize size) {
    const CGRect frame = document.frame();
    const CGPoint view =
        CGPointApplyAffineTransform(point, MarqenDOMDocumentRenderer::modelViewTransformAtFrameSize(document));
    CGPoint origin = CGPointMake(view.x - size.width / 2, view.y - size.height / 2);
    origin.x = std::max<CGFloat>(origin.x, 0);
    origin.y = std::max<CGFloat>(origin.y, 0);
    origin.x = std::min(origin.x, frame.size.width - size.width);
    origin.y = std::min(origin.y, frame.size.height - size.height);
    return CGRectMake(origin.x, origin.y, size.width, size.height);
}

std::string MarqenDOMDocumentLimitCaptionLength(const MarqenDOMDocument &document, const std::string &caption,
                                                const MarqenPDFDocument &pdfDocument, CGFloat availableWidth) {
    static const std::string kFontName = "HelveticaNeue";
    static const std::string kEllipsis = "\xE2\x80\xA6";
    const CGRect frame = document.frame();
    const CGFloat fontSize = std::max(frame.size.width, frame.size.height) / 640 * 28;
    const CGRect crop = pdfDocument.pageCount() > 0 ? pdfDocument.cropBox(0) : CGRectZero;
    const CGFloat pictureWidth =
        crop.size.height > 0 ? std::fabs(crop.size.width) * 2 * fontSize / std::fabs(crop.size.height) : 0;
    const CGFloat limit = 0.95 * std::floor(availableWidth - pictureWidth);
    const CGFloat width = sizeWithFont(caption, kFontName, fontSize).width;
    if (width <= limit) return caption;
    const CGFloat ratio = limit / width;
    if (ratio >= 0.4) return caption;
    // The longest shorter prefix that fits with the ellipsis: what removing the last character until it fits
    // gives, found by halving (a width only grows with the text), so a long caption is measured log n times.
    const std::u32string characters = marqen_decodeUTF8(caption);
    const CGFloat smallSize = fontSize * 0.4;
    auto fits = [&](size_t count) {
        return sizeWithFont(marqen_encodeUTF8(characters.substr(0, count)) + kEllipsis, kFontName, smallSize).width <=
               limit;
    };
    size_t low = 0, high = characters.empty() ? 0 : characters.size() - 1;  // the answer lies in [low, high]
    while (low < high) {
        size_t middle = low + (high - low + 1) / 2;
        if (fits(middle))
            low = middle;
        else
            high = middle - 1;
    }
    if (low == 0) return "";
    return marqen_encodeUTF8(characters.substr(0, low)) + kEllipsis;
}

}  // namespace marqen
