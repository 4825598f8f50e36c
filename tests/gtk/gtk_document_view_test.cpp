// The document view in a real window: a picture opens as the page, real pointer and key events (through
// the X server) draw, type and undo, the page is drawn through the renderer with the selection on top,
// and only what changed is drawn again.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <cmath>
#include <filesystem>

#include <marqenkit-gtk/marqenkit-gtk.h>
#include <marqenkit/dom/layer.h>
#include <marqenkit/dom/rectangle.h>
#include <marqenkit/dom/text.h>
#include <marqenkit/editing/tools_model.h>
#include <marqenkit/foundation/geometry_functions.h>
#include <marqenkit/interaction/document_view.h>
#include <marqenkit/interaction/preferences.h>
#include <marqenkit/platform/graphics.h>
#include <marqenkit/platform/image_io.h>
#include <marqenkit/foundation/undo_manager.h>

#include "gtk_test_support.h"

namespace {

using namespace marqen::gtktest;

// A 640 × 400 picture: a blue-to-white sky over green ground, the same on every run.
std::filesystem::path writeSamplePicture() {
    static const std::filesystem::path path = [] {
        auto directory = std::filesystem::temp_directory_path() / ("marqen-gtk-test-" + std::to_string(getpid()));
        std::filesystem::create_directories(directory);
        auto image = marqen::MarqenImage::create(640, 400);
        auto context = marqen::MarqenGraphicsContext::createForImage(image);
        for (int y = 0; y < 280; y += 4) {
            const double t = y / 280.0;
            context->setFillColor({0.35 + 0.6 * t, 0.6 + 0.35 * t, 1.0, 1});
            context->fillRect(marqen::CGRectMake(0, y, 640, 4));
        }
        context->setFillColor({0.3, 0.62, 0.25, 1});
        context->fillRect(marqen::CGRectMake(0, 280, 640, 120));
        context.reset();
        marqen::MarqenImageWriteToFile(*image, directory / "landscape.png", marqen::MarqenImageFormat::PNG);
        return directory / "landscape.png";
    }();
    return path;
}

size_t annotationCount(MarqenGtkDocumentView *view) {
    auto document = marqen_gtk_document_view_get_document(view);
    return document->annotationLayer()->children().size() + document->textLayer()->children().size();
}

// The view point showing a model point, found through the controller's own mapping.
marqen::CGPoint viewPoint(MarqenGtkDocumentView *view, marqen::CGPoint model) {
    return marqen::CGPointApplyAffineTransform(model, marqen_gtk_document_view_get_controller(view)->modelToViewTransform());
}

struct ViewFixture : ::testing::Test {
    GtkWidget *widget = nullptr;
    MarqenGtkDocumentView *view = nullptr;
    std::unique_ptr<TestWindow> window;

    void SetUp() override {
        marqen::MarqenPreferences::shared().setStore(std::make_shared<marqen::MarqenMemoryPreferencesStore>());
        // The editor's choice: letters choose tools.
        marqen::MarqenPreferences::shared().setBool(marqen::kMarqenPreferenceTypingCreatesTextAnnotation, false);
        widget = marqen_gtk_document_view_new();
        view = MARQEN_GTK_DOCUMENT_VIEW(widget);
        GError *error = nullptr;
        ASSERT_TRUE(marqen_gtk_document_view_open_file(view, writeSamplePicture().c_str(), &error));
        window = std::make_unique<TestWindow>(widget, 720, 480);
        gtk_widget_grab_focus(widget);
        iterateFor(0.05);
    }
    void TearDown() override { window.reset(); }
};

TEST_F(ViewFixture, OpensAPictureAsThePageAndFitsItIntoTheView) {
    auto document = marqen_gtk_document_view_get_document(view);
    ASSERT_TRUE(document);
    EXPECT_EQ(document->frame().size.width, 640);
    EXPECT_EQ(document->frame().size.height, 400);
    EXPECT_FALSE(marqen_gtk_document_view_get_modified(view));
    EXPECT_FALSE(marqen_gtk_document_view_can_undo(view));
    // 640 wide in 720 with a margin on both sides fits at 1 (never enlarged); the page is centred.
    EXPECT_DOUBLE_EQ(marqen_gtk_document_view_get_zoom(view), 1.0);
    const marqen::CGPoint centre = viewPoint(view, {320, 200});
    EXPECT_NEAR(centre.x, gtk_widget_get_width(widget) / 2.0, 1);
    EXPECT_NEAR(centre.y, gtk_widget_get_height(widget) / 2.0, 1);

    // Narrower than the page: the fit shrinks it to the room left inside the margins.
    gtk_window_set_default_size(GTK_WINDOW(window->window), 344, 480);
    ASSERT_TRUE(iterateUntil([&] { return gtk_widget_get_width(widget) == 344; }));
    iterateFor(0.05);
    EXPECT_NEAR(marqen_gtk_document_view_get_zoom(view), (344 - 48) / 640.0, 1e-9);
}

TEST_F(ViewFixture, OpeningSomethingThatIsNoPictureFailsAndKeepsThePage) {
    auto before = marqen_gtk_document_view_get_document(view);
    const auto bogus = writeSamplePicture().parent_path() / "not-a-picture.png";
    g_file_set_contents(bogus.c_str(), "this is text", -1, nullptr);
    GError *error = nullptr;
    EXPECT_FALSE(marqen_gtk_document_view_open_file(view, bogus.c_str(), &error));
    ASSERT_NE(error, nullptr);
    EXPECT_NE(std::string(error->message).find("not-a-picture.png"), std::string::npos) << error->message;
    g_error_free(error);
    EXPECT_EQ(marqen_gtk_document_view_get_document(view), before);
    error = nullptr;
    EXPECT_FALSE(marqen_gtk_document_view_open_file(view, "/nonexistent/page.json", &error));
    g_clear_error(&error);
}

TEST_F(ViewFixture, ARealDragWithTheRectangleToolDrawsOneUndoableRectangle) {
    if (!xinput::available()) GTEST_SKIP() << "no XTest";
    xinput::moveTo(widget, 10, 10);
    xinput::key(GDK_KEY_r);
    ASSERT_TRUE(iterateUntil([&] { return marqen_gtk_document_view_get_tool(view) == marqen::MarqenToolIDRectangle; }));

    const marqen::CGPoint from = viewPoint(view, {100, 80}), to = viewPoint(view, {300, 220});
    xinput::drag(widget, from.x, from.y, to.x, to.y);
    ASSERT_EQ(annotationCount(view), 1u);
    auto document = marqen_gtk_document_view_get_document(view);
    auto rectangle = std::dynamic_pointer_cast<marqen::MarqenDOMRectangle>(document->annotationLayer()->children().front());
    ASSERT_TRUE(rectangle);
    // The corners land on the model points under the pointer, whichever way the page's y axis runs.
    const marqen::CGRect box = marqen::CGRectStandardize(rectangle->bezierPath()->bounds());
    EXPECT_NEAR(box.origin.x, 100, 1.5);
    EXPECT_NEAR(box.size.width, 200, 1.5);
    EXPECT_NEAR(box.size.height, 140, 1.5);
    EXPECT_TRUE(marqen_gtk_document_view_get_modified(view));
    g_autofree char *name = marqen_gtk_document_view_dup_undo_name(view);
    EXPECT_STREQ(name, "Add Rectangle");

    // The new rectangle is selected: its eight handles are drawn at their size in logical pixels.
    auto *controller = marqen_gtk_document_view_get_controller(view);
    ASSERT_EQ(controller->selectedElements().size(), 1u);
    EXPECT_EQ(controller->handles().size(), 8u);
    if (auto path = screenshotPath("document-view-selection.png"); !path.empty()) {
        int width = 0, height = 0;
        renderWidget(widget, &width, &height, path.c_str());
    }

    xinput::key(GDK_KEY_z, false, true);
    EXPECT_EQ(annotationCount(view), 0u);
    EXPECT_TRUE(marqen_gtk_document_view_can_redo(view));
    xinput::key(GDK_KEY_z, true, true);
    EXPECT_EQ(annotationCount(view), 1u);
}

TEST_F(ViewFixture, TypingWithTheTextToolMakesATextAndEscapeEndsIt) {
    if (!xinput::available()) GTEST_SKIP() << "no XTest";
    xinput::moveTo(widget, 10, 10);
    xinput::key(GDK_KEY_t);
    ASSERT_TRUE(iterateUntil([&] { return marqen_gtk_document_view_get_tool(view) == marqen::MarqenToolIDText; }));
    const marqen::CGPoint at = viewPoint(view, {200, 150});
    xinput::click(widget, at.x, at.y);
    auto *controller = marqen_gtk_document_view_get_controller(view);
    ASSERT_TRUE(controller->isEditingText());
    // While a text is edited, letters are text, not tool keys.
    xinput::type("Hello");
    EXPECT_EQ(marqen_gtk_document_view_get_tool(view), guint(marqen::MarqenToolIDText));
    xinput::key(GDK_KEY_Escape);
    EXPECT_FALSE(controller->isEditingText());
    auto document = marqen_gtk_document_view_get_document(view);
    ASSERT_EQ(document->textLayer()->children().size(), 1u);
    auto text = std::dynamic_pointer_cast<marqen::MarqenDOMText>(document->textLayer()->children().front());
    ASSERT_TRUE(text && text->text());
    EXPECT_EQ(*text->text(), "Hello");
    g_autofree char *name = marqen_gtk_document_view_dup_undo_name(view);
    EXPECT_STREQ(name, "Add Text");
}

TEST_F(ViewFixture, TheTextCaretIsDrawnWhereTheControllerPutsItAndBlinksAsTheSettingsSay) {
    if (!xinput::available()) GTEST_SKIP() << "no XTest";
    GtkSettings *settings = gtk_widget_get_settings(widget);
    g_object_set(settings, "gtk-cursor-blink", FALSE, nullptr);
    xinput::moveTo(widget, 10, 10);
    xinput::key(GDK_KEY_t);
    ASSERT_TRUE(iterateUntil([&] { return marqen_gtk_document_view_get_tool(view) == marqen::MarqenToolIDText; }));
    // In the green ground, so that the dark caret stands out.
    const marqen::CGPoint at = viewPoint(view, {200, 320});
    xinput::click(widget, at.x, at.y);
    xinput::type("Hi");
    auto *controller = marqen_gtk_document_view_get_controller(view);
    ASSERT_TRUE(controller->isEditingText());
    const auto caret = controller->textCaretInView();
    ASSERT_TRUE(caret);
    const int scale = gtk_widget_get_scale_factor(widget);
    // The darkest brightness of the screen within a logical pixel of a view point (the caret's bar lies
    // on whole device pixels).
    auto brightnessAt = [&](const std::vector<guchar> &pixels, int width, marqen::CGPoint point) {
        int darkest = 255;
        for (int x = int(std::floor((point.x - 1) * scale)); x <= int(std::floor((point.x + 1) * scale)); ++x) {
            const size_t offset = (size_t(point.y * scale) * size_t(width) + size_t(x)) * 4;
            darkest = std::min(darkest, (int(pixels[offset]) + pixels[offset + 1] + pixels[offset + 2]) / 3);
        }
        return darkest;
    };
    const marqen::CGPoint middle{caret->top.x, (caret->top.y + caret->bottom.y) / 2};
    const marqen::CGPoint beside{caret->top.x + 6, middle.y};  // between the letters and the edit outline
    int width = 0, height = 0;
    auto steady = renderWidget(widget, &width, &height, screenshotPath("document-view-caret.png").empty()
                                                            ? nullptr
                                                            : screenshotPath("document-view-caret.png").c_str());
    EXPECT_LT(brightnessAt(steady, width, middle), 60);
    EXPECT_GT(brightnessAt(steady, width, beside), 60);

    // Typing moves it by the advance of the letter; Left brings it back.
    xinput::type("W");
    const auto moved = controller->textCaretInView();
    ASSERT_TRUE(moved);
    EXPECT_GT(moved->top.x, caret->top.x + 5);
    iterateFor(0.05);
    auto after = renderWidget(widget, &width, &height);
    ASSERT_FALSE(after.empty());
    EXPECT_LT(brightnessAt(after, width, {moved->top.x, middle.y}), 60);
    xinput::key(GDK_KEY_Left);
    ASSERT_TRUE(controller->textCaretInView());
    EXPECT_NEAR(controller->textCaretInView()->top.x, caret->top.x, 2);

    // Blinking: hidden for a third of a period now and then; steady again once the view loses focus.
    g_object_set(settings, "gtk-cursor-blink", TRUE, "gtk-cursor-blink-time", 300, nullptr);
    xinput::key(GDK_KEY_Right);
    const marqen::CGPoint shown{moved->top.x, middle.y};
    bool sawHidden = false, sawShown = false;
    iterateUntil([&] {
        auto frame = renderWidget(widget, &width, &height);
        if (frame.empty()) return false;  // between frames
        (brightnessAt(frame, width, shown) < 60 ? sawShown : sawHidden) = true;
        return sawShown && sawHidden;
    }, 3);
    EXPECT_TRUE(sawShown);
    EXPECT_TRUE(sawHidden);
    g_object_set(settings, "gtk-cursor-blink", FALSE, nullptr);
    xinput::key(GDK_KEY_Escape);
    EXPECT_FALSE(controller->textCaretInView());
    iterateFor(0.05);
    auto ended = renderWidget(widget, &width, &height);
    ASSERT_FALSE(ended.empty());
    EXPECT_GT(brightnessAt(ended, width, shown), 60);
}

TEST_F(ViewFixture, TabWalksTheSelectionThroughTheElementsAndToolKeysFollowThePreference) {
    if (!xinput::available()) GTEST_SKIP() << "no XTest";
    auto document = marqen_gtk_document_view_get_document(view);
    for (int index = 0; index < 3; ++index) {
        auto rectangle = marqen::MarqenDOMRectangle::create();
        rectangle->beginAtPoint({50.0 + index * 150, 50});
        rectangle->endAtPoint({150.0 + index * 150, 150}, {0, 0}, {}, marqen::CGAffineTransformIdentity);
        document->addNode(rectangle);
    }
    auto children = document->annotationLayer()->children();
    ASSERT_EQ(children.size(), 3u);
    auto *controller = marqen_gtk_document_view_get_controller(view);
    xinput::moveTo(widget, 5, 5);
    xinput::key(GDK_KEY_Tab);
    ASSERT_EQ(controller->selectedElements().size(), 1u);
    EXPECT_EQ(controller->selectedElements().front(), children[0]);
    xinput::key(GDK_KEY_Tab);
    EXPECT_EQ(controller->selectedElements().front(), children[1]);
    xinput::key(GDK_KEY_Tab, true);
    EXPECT_EQ(controller->selectedElements().front(), children[0]);
    xinput::key(GDK_KEY_Tab, true);
    EXPECT_EQ(controller->selectedElements().front(), children[2]);
    // Arrow keys nudge the selection by a view pixel (ten with Shift).
    const marqen::CGRect before = children[2]->contentBounds();
    const double zoom = marqen_gtk_document_view_get_zoom(view);
    xinput::key(GDK_KEY_Right);
    EXPECT_NEAR(children[2]->contentBounds().origin.x - before.origin.x, 1 / zoom, 1e-9);
    xinput::key(GDK_KEY_Left, true);
    EXPECT_NEAR(children[2]->contentBounds().origin.x - before.origin.x, -9 / zoom, 1e-9);
    xinput::key(GDK_KEY_Delete);
    EXPECT_EQ(document->annotationLayer()->children().size(), 2u);

    // With typing starting a text, the bare letter is text and Alt+letter chooses the tool.
    marqen::MarqenPreferences::shared().setBool(marqen::kMarqenPreferenceTypingCreatesTextAnnotation, true);
    xinput::key(GDK_KEY_Escape);
    xinput::key(GDK_KEY_o, false, false, true);
    ASSERT_TRUE(iterateUntil([&] { return marqen_gtk_document_view_get_tool(view) == marqen::MarqenToolIDEllipse; }));
    xinput::key(GDK_KEY_l);
    EXPECT_EQ(marqen_gtk_document_view_get_tool(view), guint(marqen::MarqenToolIDEllipse));
    EXPECT_TRUE(controller->isEditingText());
}

TEST_F(ViewFixture, ClosingInTheMiddleOfADragEndsItAndLosesNothing) {
    if (!xinput::available()) GTEST_SKIP() << "no XTest";
    auto document = marqen_gtk_document_view_get_document(view);
    xinput::moveTo(widget, 10, 10);
    xinput::key(GDK_KEY_r);
    const marqen::CGPoint from = viewPoint(view, {100, 80}), to = viewPoint(view, {200, 160});
    xinput::moveTo(widget, from.x, from.y);
    xinput::press();
    xinput::moveTo(widget, to.x, to.y);
    ASSERT_TRUE(marqen_gtk_document_view_get_controller(view)->isGestureRunning());
    window.reset();
    xinput::release();
    iterateFor(0.1);
    // The rectangle drawn so far stays, as one step that undoes cleanly.
    ASSERT_EQ(document->annotationLayer()->children().size(), 1u);
    ASSERT_TRUE(document->undoManager()->canUndo());
    document->undoManager()->undo();
    EXPECT_EQ(document->annotationLayer()->children().size(), 0u);
}

TEST(GtkDocumentViewSizes, AViewOfAlmostNoPixelsDrawsAndFitsWithoutHarm) {
    GtkWidget *widget = marqen_gtk_document_view_new();
    auto *view = MARQEN_GTK_DOCUMENT_VIEW(widget);
    GError *error = nullptr;
    ASSERT_TRUE(marqen_gtk_document_view_open_file(view, writeSamplePicture().c_str(), &error));
    GtkWidget *frame = gtk_fixed_new();
    gtk_fixed_put(GTK_FIXED(frame), widget, 0, 0);
    gtk_widget_set_size_request(widget, 1, 1);
    TestWindow window(frame, 60, 40);
    iterateFor(0.1);
    EXPECT_EQ(gtk_widget_get_width(widget), 1);
    const double zoom = marqen_gtk_document_view_get_zoom(view);
    EXPECT_TRUE(std::isfinite(zoom));
    EXPECT_GE(zoom, marqen::MarqenDocumentView::kMinimumZoom);
    int width = 0, height = 0;
    renderWidget(widget, &width, &height);
    // Zooming far in and out stays within the limits.
    marqen_gtk_document_view_set_zoom(view, 1e9);
    EXPECT_EQ(marqen_gtk_document_view_get_zoom(view), marqen::MarqenDocumentView::kMaximumZoom);
    marqen_gtk_document_view_set_zoom(view, -3);
    EXPECT_EQ(marqen_gtk_document_view_get_zoom(view), marqen::MarqenDocumentView::kMaximumZoom);
    iterateFor(0.05);
}

TEST_F(ViewFixture, DrawsThePageAndAfterwardsOnlyWhatChanged) {
    int width = 0, height = 0;
    auto pixels = renderWidget(widget, &width, &height, screenshotPath("document-view.png").empty()
                                                            ? nullptr
                                                            : screenshotPath("document-view.png").c_str());
    ASSERT_FALSE(pixels.empty());
    const int scale = gtk_widget_get_scale_factor(widget);
    // The middle of the sky and of the ground, as the picture has them (BGRA).
    auto pixelAt = [&](marqen::CGPoint model) {
        const marqen::CGPoint at = viewPoint(view, model);
        const size_t offset = (size_t(at.y * scale) * size_t(width) + size_t(at.x * scale)) * 4;
        return std::array<int, 4>{pixels[offset + 2], pixels[offset + 1], pixels[offset], pixels[offset + 3]};
    };
    auto ground = pixelAt({320, 340});
    EXPECT_NEAR(ground[0], 0.3 * 255, 3);
    EXPECT_NEAR(ground[1], 0.62 * 255, 3);
    EXPECT_NEAR(ground[2], 0.25 * 255, 3);
    auto sky = pixelAt({320, 4});
    EXPECT_NEAR(sky[0], 0.35 * 255, 3);
    EXPECT_EQ(sky[2], 255);
    const double full = marqen_gtk_document_view_get_last_drawn_pixels(view);
    EXPECT_GE(full, 640.0 * 400 * scale * scale);

    // A frame with nothing changed draws nothing again.
    gtk_widget_queue_draw(widget);
    iterateFor(0.1);
    EXPECT_EQ(marqen_gtk_document_view_get_last_drawn_pixels(view), 0);

    // A small rectangle appears and then moves: only around it is drawn again, and the result is what a
    // full drawing gives.
    auto document = marqen_gtk_document_view_get_document(view);
    auto rectangle = marqen::MarqenDOMRectangle::create();
    rectangle->beginAtPoint({100, 100});
    rectangle->endAtPoint({140, 130}, {0, 0}, {}, marqen::CGAffineTransformIdentity);
    document->addNode(rectangle);
    iterateFor(0.1);
    rectangle->translate({200, 120});
    iterateFor(0.1);
    const double partial = marqen_gtk_document_view_get_last_drawn_pixels(view);
    EXPECT_GT(partial, 0);
    EXPECT_LT(partial, full * 0.25);
    auto incremental = renderWidget(widget, &width, &height);
    pixels = incremental;
    // The old place shows the sky again.
    EXPECT_EQ(pixelAt({100, 100})[2], 255);
    // Showing the page anew draws all of it.
    marqen_gtk_document_view_set_document(view, document);
    iterateFor(0.1);
    EXPECT_GE(marqen_gtk_document_view_get_last_drawn_pixels(view), full);
    int fullWidth = 0, fullHeight = 0;
    auto redrawn = renderWidget(widget, &fullWidth, &fullHeight);
    ASSERT_EQ(redrawn.size(), incremental.size());
    size_t differing = 0;
    for (size_t index = 0; index < redrawn.size(); ++index) differing += std::abs(int(redrawn[index]) - int(incremental[index])) > 2;
    EXPECT_EQ(differing, 0u);

    // The page's saved state changing draws nothing; its frame changing draws it all.
    document->setNeedsSave(false);
    gtk_widget_queue_draw(widget);
    iterateFor(0.1);
    EXPECT_EQ(marqen_gtk_document_view_get_last_drawn_pixels(view), 0);
    document->setFrame(marqen::CGRectMake(0, 0, 600, 380));
    gtk_widget_queue_draw(widget);
    iterateFor(0.1);
    EXPECT_GE(marqen_gtk_document_view_get_last_drawn_pixels(view), double(gtk_widget_get_width(widget)) * gtk_widget_get_height(widget) * scale * scale);
}

}  // namespace
