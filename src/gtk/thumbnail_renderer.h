#pragma once
// Page thumbnails drawn in the background. For each page a private copy is made on the main thread (the
// model never leaves it), a worker of the shared thread pool draws the copy, and the picture comes back
// through the main queue (drained from the GLib loop), where the copy is also let go. One page at a time,
// made in an idle turn of low priority, so that a long PDF neither floods the workers nor holds up a frame.
// Results that arrive after the renderer is gone, or for a page changed since, are dropped. Main thread only.
#include <gtk/gtk.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include <marqenkit/dom/document.h>

namespace marqen::gtk {

class ThumbnailRenderer {
public:
    // Called with each page's thumbnail as it is ready (null when the page has nothing to draw); the
    // texture is the callee's to reference.
    using Delivery = std::function<void(size_t index, GdkTexture *texture)>;

    // Thumbnails `pixelWidth` device pixels wide, as tall as each page's proportions make them (at most
    // four times the width).
    ThumbnailRenderer(int pixelWidth, Delivery delivery);
    ~ThumbnailRenderer();
    ThumbnailRenderer(const ThumbnailRenderer &) = delete;
    ThumbnailRenderer &operator=(const ThumbnailRenderer &) = delete;

    // Draws every one of these pages, from the first.
    void setPages(std::vector<std::shared_ptr<MarqenDOMDocument>> pages);
    // The page changed: its thumbnail is drawn again (a drawing under way for it is dropped).
    void invalidate(size_t index);
    // Every page has its thumbnail.
    bool isDone() const;

private:
    struct State;
    static void scheduleNext(const std::shared_ptr<State> &state);
    static gboolean startNext(gpointer data);
    std::shared_ptr<State> state_;
};

}  // namespace marqen::gtk
