#pragma once
// The document as the view shows it, kept as a picture in device pixels so that a frame only draws
// again what changed: the rectangles the model reports, the strips a scroll uncovers, or everything
// after a zoom, a resize or a change of scale factor. The selection and handles are drawn over it by the
// widget, each frame. Main thread only (the document is the model's).
#include <cairo.h>

#include <memory>

#include <marqenkit/dom/document.h>
#include <marqenkit/foundation/geometry.h>
#include <marqenkit/foundation/notification_center.h>
#include <marqenkit/render/document_renderer.h>

namespace marqen::gtk {

class CanvasCache {
public:
    CanvasCache() = default;
    ~CanvasCache();
    CanvasCache(const CanvasCache &) = delete;
    CanvasCache &operator=(const CanvasCache &) = delete;

    // Starts over with another document (or none).
    void setDocument(const std::shared_ptr<MarqenDOMDocument> &document);
    const std::shared_ptr<MarqenDOMDocument> &document() const { return document_; }

    void invalidateAll() { allDirty_ = true; }
    // A rectangle of the view, in logical pixels.
    void invalidateViewRect(CGRect rect);
    bool isDirty() const;

    // Brings the picture up to date for a view of `width` × `height` logical pixels at `scale` device
    // pixels each, showing the model through `modelToView` (logical pixels). The surface belongs to the
    // cache and stays valid until the next call; null when the view has no pixels.
    cairo_surface_t *update(int width, int height, double scale, const CGAffineTransform &modelToView);

    // Device pixels drawn by the last update (0 when nothing had changed); for the redraw benchmark.
    double lastDrawnPixels() const { return lastDrawnPixels_; }

private:
    // What of the page itself decides how all of it is drawn.
    struct PageLook {
        CGRect frame{};
        CGAffineTransform transform{1, 0, 0, 1, 0, 0};
        unsigned long coordinateSystem = 1;
        const void *pdfPage = nullptr;
        bool backgroundColorDisabled = false, forcesOpaqueBackground = false;
        static PageLook of(const MarqenDOMDocument &document);
        bool operator==(const PageLook &other) const;
    };

    void observeDocument();
    void nodeChanged(const Notification &notification);
    void drawRegion(cairo_region_t *region);

    std::shared_ptr<MarqenDOMDocument> document_;
    std::shared_ptr<MarqenDOMDocumentRenderer> renderer_;
    std::vector<NotificationToken> observers_;
    cairo_surface_t *surface_ = nullptr;
    cairo_region_t *dirty_ = nullptr;  // device pixels
    bool allDirty_ = true;
    int width_ = 0, height_ = 0;
    double scale_ = 1;
    CGAffineTransform modelToView_{1, 0, 0, 1, 0, 0};
    double lastDrawnPixels_ = 0;
    PageLook look_;
};

}  // namespace marqen::gtk
