#include "canvas_cache.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cmath>

#include <marqenkit/dom/node.h>
#include <marqenkit/dom/notifications.h>
#include <marqenkit/foundation/geometry_functions.h>
#include <marqenkit/platform/graphics.h>

namespace marqen::gtk {

namespace {

// Content bounds leave out soft shadows and the anti-aliased fringe of strokes; this much more in model
// units, and a device pixel, covers them.
constexpr CGFloat kModelMargin = 24;
constexpr double kDeviceMargin = 2;

bool sameTransform(const CGAffineTransform &a, const CGAffineTransform &b) {
    return a.a == b.a && a.b == b.b && a.c == b.c && a.d == b.d && a.tx == b.tx && a.ty == b.ty;
}

}  // namespace

CanvasCache::~CanvasCache() {
    observers_.clear();
    if (surface_) cairo_surface_destroy(surface_);
    if (dirty_) cairo_region_destroy(dirty_);
}

CanvasCache::PageLook CanvasCache::PageLook::of(const MarqenDOMDocument &document) {
    return {document.frame(), document.transform(), document.coordinateSystem(), document.pdfPage().get(),
            document.backgroundColorDisabled(), document.forcesOpaqueBackground()};
}

bool CanvasCache::PageLook::operator==(const PageLook &other) const {
    return frame.origin.x == other.frame.origin.x && frame.origin.y == other.frame.origin.y &&
           frame.size.width == other.frame.size.width && frame.size.height == other.frame.size.height &&
           sameTransform(transform, other.transform) && coordinateSystem == other.coordinateSystem &&
           pdfPage == other.pdfPage && backgroundColorDisabled == other.backgroundColorDisabled &&
           forcesOpaqueBackground == other.forcesOpaqueBackground;
}

void CanvasCache::setDocument(const std::shared_ptr<MarqenDOMDocument> &document) {
    observers_.clear();
    document_ = document;
    renderer_ = document ? MarqenDOMDocumentRenderer::create(document) : nullptr;
    if (document) look_ = PageLook::of(*document);
    allDirty_ = true;
    observeDocument();
}

void CanvasCache::observeDocument() {
    if (!document_) return;
    auto &center = NotificationCenter::defaultCenter();
    for (const char *name : {MarqenDOMNodeWillChange, MarqenDOMNodeDidChange, MarqenDOMNodeNeedsDisplay,
                             MarqenDOMNodeContentBoundsDidChange, MarqenDOMNodeDidAddChild,
                             MarqenDOMNodeWillRemoveChild})
        observers_.push_back(center.addObserver(name, nullptr, [this](const Notification &n) { nodeChanged(n); }));
}

void CanvasCache::nodeChanged(const Notification &notification) {
    if (allDirty_ || !notification.object) return;
    const auto *node = static_cast<const MarqenDOMNode *>(notification.object);
    if (node == document_.get()) {
        // The page itself changes for many reasons (its saved state, its date); only a change of how it looks
        // draws it all again.
        if (notification.name == MarqenDOMNodeDidChange || notification.name == MarqenDOMNodeNeedsDisplay) {
            if (notification.name == MarqenDOMNodeNeedsDisplay || !(PageLook::of(*document_) == look_)) allDirty_ = true;
            return;
        }
        if (notification.name != MarqenDOMNodeDidAddChild && notification.name != MarqenDOMNodeWillRemoveChild) return;
    }
    if (node != document_.get() && node->document() != document_) return;
    CGRect bounds = CGRectNull;
    auto add = [&](CGRect rect) {
        if (!CGRectIsNull(rect) && !CGRectIsInfinite(rect)) bounds = CGRectUnion(bounds, rect);
    };
    if (const auto *child = notification.value<std::shared_ptr<MarqenDOMNode>>(MarqenDOMNodeUserInfoChildKey);
        child && *child) {
        add((*child)->contentBounds());
    } else if (notification.name == MarqenDOMNodeContentBoundsDidChange) {
        if (const auto *old = notification.value<CGRect>(MarqenKeyValueChangeOldKey)) add(*old);
        if (const auto *now = notification.value<CGRect>(MarqenKeyValueChangeNewKey)) add(*now);
    } else {
        add(node->contentBounds());
    }
    if (CGRectIsNull(bounds)) return;
    bounds = CGRectInset(bounds, -kModelMargin, -kModelMargin);
    bounds = CGRectApplyAffineTransform(bounds, document_->transform());
    invalidateViewRect(CGRectApplyAffineTransform(bounds, modelToView_));
}

void CanvasCache::invalidateViewRect(CGRect rect) {
    if (allDirty_ || CGRectIsNull(rect) || !std::isfinite(rect.origin.x) || !std::isfinite(rect.origin.y) ||
        !std::isfinite(rect.size.width) || !std::isfinite(rect.size.height))
        return;
    rect = CGRectStandardize(rect);
    // Device pixels, clamped to the picture so that absurd rectangles cannot overflow an int.
    const double x0 = std::clamp(std::floor(rect.origin.x * scale_ - kDeviceMargin), 0.0, double(width_) * scale_ + 1);
    const double y0 = std::clamp(std::floor(rect.origin.y * scale_ - kDeviceMargin), 0.0, double(height_) * scale_ + 1);
    const double x1 = std::clamp(std::ceil(CGRectGetMaxX(rect) * scale_ + kDeviceMargin), 0.0, double(width_) * scale_ + 1);
    const double y1 = std::clamp(std::ceil(CGRectGetMaxY(rect) * scale_ + kDeviceMargin), 0.0, double(height_) * scale_ + 1);
    if (x1 <= x0 || y1 <= y0) return;
    const cairo_rectangle_int_t area{int(x0), int(y0), int(x1 - x0), int(y1 - y0)};
    if (!dirty_) dirty_ = cairo_region_create();
    cairo_region_union_rectangle(dirty_, &area);
}

bool CanvasCache::isDirty() const { return allDirty_ || (dirty_ && !cairo_region_is_empty(dirty_)); }

cairo_surface_t *CanvasCache::update(int width, int height, double scale, const CGAffineTransform &modelToView) {
    lastDrawnPixels_ = 0;
    if (width <= 0 || height <= 0 || !(scale > 0) || !std::isfinite(scale)) return nullptr;
    const int pixelWidth = int(std::ceil(width * scale)), pixelHeight = int(std::ceil(height * scale));
    if (pixelWidth > MarqenImage::kMaximumDrawableSide || pixelHeight > MarqenImage::kMaximumDrawableSide) return nullptr;

    const bool sameGeometry = surface_ && width == width_ && height == height_ && scale == scale_;
    const bool sameZoom = modelToView.a == modelToView_.a && modelToView.b == modelToView_.b &&
                          modelToView.c == modelToView_.c && modelToView.d == modelToView_.d;
    if (!sameGeometry) {
        if (surface_) cairo_surface_destroy(surface_);
        surface_ = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, pixelWidth, pixelHeight);
        cairo_surface_set_device_scale(surface_, scale, scale);
        allDirty_ = true;
    } else if (!sameTransform(modelToView, modelToView_)) {
        // A scroll by whole device pixels moves what is there and draws only the uncovered strips.
        const double dx = (modelToView.tx - modelToView_.tx) * scale, dy = (modelToView.ty - modelToView_.ty) * scale;
        if (sameZoom && dx == std::round(dx) && dy == std::round(dy) && std::fabs(dx) < pixelWidth &&
            std::fabs(dy) < pixelHeight && !allDirty_) {
            cairo_surface_t *moved = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, pixelWidth, pixelHeight);
            cairo_surface_set_device_scale(moved, scale, scale);
            cairo_t *cr = cairo_create(moved);
            cairo_identity_matrix(cr);
            cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
            cairo_surface_set_device_scale(surface_, 1, 1);
            cairo_set_source_surface(cr, surface_, dx, dy);
            cairo_paint(cr);
            cairo_destroy(cr);
            cairo_surface_destroy(surface_);
            surface_ = moved;
            if (dirty_) cairo_region_translate(dirty_, int(dx), int(dy));
            cairo_region_t *uncovered = cairo_region_create_rectangle(
                std::array<cairo_rectangle_int_t, 1>{{{0, 0, pixelWidth, pixelHeight}}}.data());
            const cairo_rectangle_int_t kept{int(dx), int(dy), pixelWidth, pixelHeight};
            cairo_region_subtract_rectangle(uncovered, &kept);
            if (!dirty_) dirty_ = cairo_region_create();
            cairo_region_union(dirty_, uncovered);
            cairo_region_destroy(uncovered);
        } else {
            allDirty_ = true;
        }
    }
    width_ = width;
    height_ = height;
    scale_ = scale;
    modelToView_ = modelToView;
    if (document_) {
        const PageLook look = PageLook::of(*document_);
        if (!(look == look_)) allDirty_ = true;
        look_ = look;
    }

    if (allDirty_) {
        if (dirty_) cairo_region_destroy(dirty_);
        const cairo_rectangle_int_t all{0, 0, pixelWidth, pixelHeight};
        dirty_ = cairo_region_create_rectangle(&all);
        allDirty_ = false;
    }
    if (dirty_ && !cairo_region_is_empty(dirty_)) {
        const cairo_rectangle_int_t all{0, 0, pixelWidth, pixelHeight};
        cairo_region_intersect_rectangle(dirty_, &all);
        drawRegion(dirty_);
        cairo_region_destroy(dirty_);
        dirty_ = nullptr;
    }
    return surface_;
}

void CanvasCache::drawRegion(cairo_region_t *region) {
    cairo_t *cr = cairo_create(surface_);
    // Device pixels for the clip, then logical pixels (the surface's device scale) for the drawing.
    cairo_save(cr);
    cairo_identity_matrix(cr);
    cairo_scale(cr, 1 / scale_, 1 / scale_);
    const int count = cairo_region_num_rectangles(region);
    CGRect drawn = CGRectNull;
    for (int index = 0; index < count; ++index) {
        cairo_rectangle_int_t rect;
        cairo_region_get_rectangle(region, index, &rect);
        cairo_rectangle(cr, rect.x, rect.y, rect.width, rect.height);
        lastDrawnPixels_ += double(rect.width) * rect.height;
        drawn = CGRectUnion(drawn, CGRectMake(rect.x / scale_, rect.y / scale_, rect.width / scale_, rect.height / scale_));
    }
    cairo_restore(cr);
    cairo_clip(cr);
    cairo_save(cr);
    cairo_set_operator(cr, CAIRO_OPERATOR_CLEAR);
    cairo_paint(cr);
    cairo_restore(cr);
    if (renderer_ && document_) {
        // The renderer fits the page into a target of the page's own size; the view's transform then takes
        // the page to the screen, whatever the page's coordinate system.
        const CGRect frame = document_->frame();
        renderer_->setSize(frame.size);
        renderer_->updateDocumentScale();
        const CGAffineTransform targetToView = CGAffineTransformConcat(renderer_->viewModelTransform(), modelToView_);
        MarqenGraphicsContext context(cr);
        context.concatCTM(targetToView);
        const CGRect target = CGRectApplyAffineTransform(drawn, CGAffineTransformInvert(targetToView));
        renderer_->drawRect(target, context);
    }
    cairo_destroy(cr);
}

}  // namespace marqen::gtk
