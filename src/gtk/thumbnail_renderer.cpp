#include "thumbnail_renderer.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <marqenkit/foundation/queues.h>
#include <marqenkit/render/document_images.h>

#include "image_texture.h"

namespace marqen::gtk {

struct ThumbnailRenderer::State {
    int pixelWidth = 0;
    Delivery delivery;
    std::vector<std::shared_ptr<MarqenDOMDocument>> pages;
    std::vector<bool> drawn;
    // Bumped at every change of a page: a drawing made from an older copy is dropped.
    std::vector<unsigned long> generations;
    bool drawing = false;  // a copy is with a worker
    guint idle = 0;
};

ThumbnailRenderer::ThumbnailRenderer(int pixelWidth, Delivery delivery) : state_(std::make_shared<State>()) {
    state_->pixelWidth = std::max(1, pixelWidth);
    state_->delivery = std::move(delivery);
}

ThumbnailRenderer::~ThumbnailRenderer() {
    if (state_->idle) g_source_remove(state_->idle);  // frees the idle's weak reference
    state_->idle = 0;
    // A drawing under way finishes on its worker; its result finds no renderer and is dropped.
    state_->delivery = nullptr;
}

void ThumbnailRenderer::setPages(std::vector<std::shared_ptr<MarqenDOMDocument>> pages) {
    State &state = *state_;
    state.pages = std::move(pages);
    state.drawn.assign(state.pages.size(), false);
    // Generations only grow, so that a result for an index of the old pages cannot pass for a new one.
    unsigned long next = 0;
    for (unsigned long generation : state.generations) next = std::max(next, generation + 1);
    state.generations.assign(state.pages.size(), next);
    scheduleNext(state_);
}

void ThumbnailRenderer::invalidate(size_t index) {
    if (index >= state_->pages.size()) return;
    state_->drawn[index] = false;
    ++state_->generations[index];
    scheduleNext(state_);
}

bool ThumbnailRenderer::isDone() const {
    return std::all_of(state_->drawn.begin(), state_->drawn.end(), [](bool drawn) { return drawn; });
}

void ThumbnailRenderer::scheduleNext(const std::shared_ptr<State> &state) {
    if (state->drawing || state->idle || !state->delivery) return;
    if (std::all_of(state->drawn.begin(), state->drawn.end(), [](bool drawn) { return drawn; })) return;
    auto *self = new std::weak_ptr<State>(state);
    state->idle = g_idle_add_full(G_PRIORITY_LOW, startNext, self, [](gpointer data) { delete static_cast<std::weak_ptr<State> *>(data); });
}

gboolean ThumbnailRenderer::startNext(gpointer data) {
    auto state = static_cast<std::weak_ptr<State> *>(data)->lock();
    if (!state) return G_SOURCE_REMOVE;
    state->idle = 0;
    auto next = std::find(state->drawn.begin(), state->drawn.end(), false);
    if (next == state->drawn.end() || !state->delivery) return G_SOURCE_REMOVE;
    const size_t index = size_t(next - state->drawn.begin());
    const auto &page = state->pages[index];
    const CGRect frame = page->frame();
    if (!(frame.size.width > 0) || !(frame.size.height > 0) || !std::isfinite(frame.size.width) ||
        !std::isfinite(frame.size.height)) {
        // Nothing to draw: the row stays empty.
        state->drawn[index] = true;
        state->delivery(index, nullptr);
        scheduleNext(state);
        return G_SOURCE_REMOVE;
    }
    const double width = state->pixelWidth;
    const double height = std::clamp(std::round(width * frame.size.height / frame.size.width), 1.0, width * 4);
    // The worker draws a private copy: nothing it reads is touched by the main thread meanwhile.
    std::shared_ptr<MarqenDOMDocument> copy = page->copyDocument();
    const unsigned long generation = state->generations[index];
    state->drawing = true;
    std::weak_ptr<State> weak = state;
    ThreadPool::shared().async([weak, index, generation, width, height, copy = std::move(copy)]() mutable {
        MarqenError error;
        MarqenImageRef image =
            MarqenDOMDocumentCreateImageWithSize(copy, MarqenRGBAColor{1, 1, 1, 1}, std::nullopt, CGSize{width, height}, &error);
        // The copy is a model object: it goes back to the main thread with the picture and is let go there.
        MainQueue::shared().async([weak, index, generation, image = std::move(image), copy = std::move(copy)]() mutable {
            copy.reset();
            auto state = weak.lock();
            if (!state) return;
            state->drawing = false;
            if (index < state->generations.size() && state->generations[index] == generation && state->delivery) {
                state->drawn[index] = true;
                GdkTexture *texture = image ? textureForImage(*image) : nullptr;
                state->delivery(index, texture);
                if (texture) g_object_unref(texture);
            }
            scheduleNext(state);
        });
    });
    return G_SOURCE_REMOVE;
}

}  // namespace marqen::gtk
