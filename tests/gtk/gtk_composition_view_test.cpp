// The composition view's page thumbnails: drawn in the background from copies of the pages, so that the
// main loop keeps running while they are made, following edits, and dropped safely when the window
// closes while they are still being drawn.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <algorithm>
#include <chrono>

#include <marqenkit-gtk/marqenkit-gtk.h>
#include <marqenkit/dom/bitmap.h>
#include <marqenkit/dom/document.h>
#include <marqenkit/dom/layer.h>
#include <marqenkit/dom/rectangle.h>
#include <marqenkit/foundation/queues.h>
#include <marqenkit/foundation/undo_manager.h>
#include <marqenkit/platform/graphics.h>
#include <marqenkit/render/document_images.h>

#include "gtk_test_support.h"

namespace {

using namespace marqen::gtktest;
using Clock = std::chrono::steady_clock;

// Pages of 800 × 600 over one large picture (slow to scale down, cheap to copy: the pixels are shared), with
// a filled red square in the top-left quarter of page 0 only.
std::vector<std::shared_ptr<marqen::MarqenDOMDocument>> heavyPages(size_t count) {
    static const marqen::MarqenImageRef picture = [] {
        auto image = marqen::MarqenImage::create(4000, 3000);
        auto context = marqen::MarqenGraphicsContext::createForImage(image);
        for (int band = 0; band < 3000; band += 50) {
            context->setFillColor({0.2 + band / 6000.0, 0.5, 0.9 - band / 6000.0, 1});
            context->fillRect(marqen::CGRectMake(0, band, 4000, 50));
        }
        return image;
    }();
    std::vector<std::shared_ptr<marqen::MarqenDOMDocument>> pages;
    for (size_t index = 0; index < count; ++index) {
        auto page = marqen::MarqenDOMDocument::createWithSize({800, 600}, 1);
        auto bitmap = page->addBackgroundImage(picture, 0, marqen::MarqenJSON::object());
        bitmap->setFrame(marqen::CGRectMake(0, 0, 800, 600));
        pages.push_back(page);
    }
    auto square = marqen::MarqenDOMRectangle::create();
    square->beginAtPoint({100, 100});
    square->endAtPoint({300, 250}, {0, 0}, {}, marqen::CGAffineTransformIdentity);
    square->setFillColor(marqen::MarqenDOMColor(255, 0, 0, 1));
    pages[0]->addNode(square);
    for (const auto &page : pages) page->undoManager()->removeAllActions();
    return pages;
}

GtkWidget *thumbnailPicture(MarqenGtkCompositionView *view, int index) {
    GtkWidget *sidebar = gtk_widget_get_first_child(GTK_WIDGET(view));
    GtkWidget *list = gtk_scrolled_window_get_child(GTK_SCROLLED_WINDOW(sidebar));
    if (GTK_IS_VIEWPORT(list)) list = gtk_viewport_get_child(GTK_VIEWPORT(list));
    GtkListBoxRow *row = gtk_list_box_get_row_at_index(GTK_LIST_BOX(list), index);
    return row ? gtk_widget_get_first_child(gtk_list_box_row_get_child(row)) : nullptr;
}

// The colour (RGB, 0–255) of a thumbnail at a fraction of its width and height.
std::array<int, 3> thumbnailColor(MarqenGtkCompositionView *view, int index, double fx, double fy) {
    GdkPaintable *paintable = gtk_picture_get_paintable(GTK_PICTURE(thumbnailPicture(view, index)));
    if (!GDK_IS_TEXTURE(paintable)) return {-1, -1, -1};
    GdkTexture *texture = GDK_TEXTURE(paintable);
    const int width = gdk_texture_get_width(texture), height = gdk_texture_get_height(texture);
    std::vector<guchar> pixels(size_t(width) * size_t(height) * 4);
    gdk_texture_download(texture, pixels.data(), size_t(width) * 4);
    const size_t at = (size_t(fy * height) * size_t(width) + size_t(fx * width)) * 4;
    return {pixels[at + 2], pixels[at + 1], pixels[at]};
}

TEST(GtkCompositionView, ThumbnailsAreDrawnInTheBackgroundWhileTheLoopRuns) {
    auto pages = heavyPages(10);
    // How long one thumbnail takes to draw here: the loop must never stand still that long.
    const auto before = Clock::now();
    ASSERT_TRUE(marqen::MarqenDOMDocumentCreateImageWithSize(pages[1], marqen::MarqenRGBAColor{1, 1, 1, 1}, std::nullopt,
                                                             marqen::CGSize{240, 180}));
    const double oneThumbnail = std::chrono::duration<double>(Clock::now() - before).count();

    GtkWidget *widget = marqen_gtk_composition_view_new();
    auto *view = MARQEN_GTK_COMPOSITION_VIEW(widget);
    TestWindow window(widget, 900, 600);
    marqen_gtk_composition_view_set_pages(view, pages);
    EXPECT_FALSE(marqen_gtk_composition_view_thumbnails_done(view));
    // The loop's longest stand-still while the thumbnails are made (the first frame of the page on show aside).
    iterateFor(0.2);
    double longest = 0;
    size_t longStills = 0;
    auto last = Clock::now();
    ASSERT_TRUE(iterateUntil([&] {
        const auto now = Clock::now();
        const double still = std::chrono::duration<double>(now - last).count();
        longest = std::max(longest, still);
        longStills += still > 0.8 * oneThumbnail;
        last = now;
        return bool(marqen_gtk_composition_view_thumbnails_done(view));
    }, 60));
    // Drawn on the main thread, each of the pages would stop the loop about that long (a busy machine may
    // stop it now and then all the same).
    EXPECT_LE(longStills, 2u) << "longest " << longest << " s; one thumbnail " << oneThumbnail << " s";

    // Every page has its thumbnail: page 0 shows its red square where it lies, page 1 only the picture.
    for (int index = 0; index < 10; ++index) EXPECT_TRUE(GDK_IS_TEXTURE(gtk_picture_get_paintable(GTK_PICTURE(thumbnailPicture(view, index)))));
    auto red = thumbnailColor(view, 0, 0.25, 0.3);
    EXPECT_GT(red[0], 200);
    EXPECT_LT(red[1], 60);
    auto plain = thumbnailColor(view, 1, 0.25, 0.3);
    EXPECT_LT(plain[0], 200);

    // An edit of the page on show is drawn again into its thumbnail.
    pages[0]->annotationLayer()->children().front()->translate({400, 0});
    ASSERT_TRUE(iterateUntil([&] { return thumbnailColor(view, 0, 0.25, 0.3)[0] < 200; }, 20));
    EXPECT_GT(thumbnailColor(view, 0, 0.75, 0.3)[0], 200);
}

TEST(GtkCompositionView, ClosingTheWindowWhileThumbnailsAreDrawnDropsThem) {
    auto pages = heavyPages(30);
    std::vector<std::string> before;
    for (const auto &page : pages) before.push_back(page->dictionaryRepresentation().dump());
    for (int round = 0; round < 3; ++round) {
        GtkWidget *widget = marqen_gtk_composition_view_new();
        auto *view = MARQEN_GTK_COMPOSITION_VIEW(widget);
        auto window = std::make_unique<TestWindow>(widget, 700, 500);
        marqen_gtk_composition_view_set_pages(view, pages);
        // Closed at once, after a drawing was started, and after some were done.
        iterateFor(0.05 * round);
        window.reset();
    }
    // The drawings under way finish and find no view: nothing is touched, nothing leaks into a new view.
    iterateFor(1.0);
    marqen::MainQueue::shared().drain();
    for (size_t index = 0; index < pages.size(); ++index) EXPECT_EQ(pages[index]->dictionaryRepresentation().dump(), before[index]);
}

}  // namespace
