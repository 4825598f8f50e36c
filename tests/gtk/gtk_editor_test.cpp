// The editor as a person uses it: a window of marqen-edit opens a sample, real pointer and key events
// draw a rectangle, type a text and undo, Ctrl+S saves, and the saved file reads back with the edits.
// Screenshots of the window at the display's scale are compared with reference pictures.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <fstream>

#include <marqenkit/dom/bitmap.h>
#include <marqenkit/dom/layer.h>
#include <marqenkit/dom/rectangle.h>
#include <marqenkit/dom/text.h>
#include <marqenkit/formats/dom_json_file.h>
#include <marqenkit/foundation/geometry_functions.h>
#include <marqenkit/interaction/document_view.h>
#include <marqenkit/interaction/preferences.h>

#include <marqenkit/core/core_document.h>
#include <marqenkit/editing/composition.h>
#include <marqenkit/editing/tools_model.h>
#include <marqenkit/platform/graphics.h>
#include <marqenkit/platform/image_io.h>

#include "editor_window.h"
#include "shortcuts_window.h"
#include "gtk_test_support.h"

namespace {

using namespace marqen::gtktest;

std::filesystem::path scratchDirectory() {
    static const std::filesystem::path directory = [] {
        auto path = std::filesystem::temp_directory_path() / ("marqen-edit-test-" + std::to_string(getpid()));
        std::filesystem::create_directories(path);
        return path;
    }();
    return directory;
}

std::filesystem::path copyOfSample(const char *name, const std::filesystem::path &directory = scratchDirectory()) {
    std::filesystem::create_directories(directory);
    const auto target = directory / name;
    std::filesystem::copy_file(std::filesystem::path(MARQEN_SAMPLES_DIR) / name, target,
                               std::filesystem::copy_options::overwrite_existing);
    return target;
}

GtkApplication *application() {
    static GtkApplication *app = [] {
        GtkApplication *made = marqen::edit::createEditorApplication();
        g_application_set_flags(G_APPLICATION(made), GApplicationFlags(G_APPLICATION_HANDLES_OPEN | G_APPLICATION_NON_UNIQUE));
        g_application_register(G_APPLICATION(made), nullptr, nullptr);
        return made;
    }();
    return app;
}

// The drag source of another application (a separate X client built with the tests), started on a file
// or a picture; its window sits at the screen's top left, above the editor's.
struct DragSourceProcess {
    GSubprocess *process = nullptr;
    unsigned long window = 0;
    std::string output;

    DragSourceProcess(const char *mode, const std::filesystem::path &path) {
        GError *error = nullptr;
        process = g_subprocess_new(G_SUBPROCESS_FLAGS_STDOUT_PIPE, &error, MARQEN_DRAG_SOURCE, mode, path.c_str(), nullptr);
        if (!process) {
            ADD_FAILURE() << error->message;
            g_error_free(error);
            return;
        }
        iterateUntil([&] { return readOutput() && output.find("ready ") != std::string::npos; }, 10);
        const size_t at = output.find("ready ");
        if (at != std::string::npos) window = std::stoul(output.substr(at + 6));
    }
    ~DragSourceProcess() {
        if (!process) return;
        g_subprocess_force_exit(process);
        g_subprocess_wait(process, nullptr, nullptr);
        g_object_unref(process);
    }
    // Takes what the process printed so far; false once its output is closed.
    bool readOutput() {
        GInputStream *stream = g_subprocess_get_stdout_pipe(process);
        char buffer[256];
        for (;;) {
            const gssize count = g_pollable_input_stream_read_nonblocking(G_POLLABLE_INPUT_STREAM(stream), buffer,
                                                                         sizeof buffer, nullptr, nullptr);
            if (count <= 0) return count != 0;
            output.append(buffer, size_t(count));
        }
    }
    // A real drag through the X server: pressed in the source's window, moved in steps onto the point of
    // the widget, released there.
    void dragTo(GtkWidget *widget, marqen::CGPoint to) {
        int fromX = 0, fromY = 0;
        ASSERT_TRUE(xinput::screenPointOfWindow(window, 60, 60, &fromX, &fromY));
        xinput::moveToScreen(fromX, fromY);
        xinput::press();
        // Past the drag threshold within the source first, then over to the target.
        xinput::moveToScreen(fromX + 20, fromY + 20);
        for (int step = 1; step <= 10; ++step) {
            const double t = step / 10.0;
            xinput::moveTo(widget, to.x * t + 5 * (1 - t), to.y * t + 5 * (1 - t));
        }
        xinput::moveTo(widget, to.x, to.y);
        xinput::release();
        iterateUntil([&] { return !readOutput() || output.find("dropped") != std::string::npos; }, 5);
    }
};

struct EditorFixture : ::testing::Test {
    GtkWindow *window = nullptr;
    MarqenGtkDocumentView *view = nullptr;

    void SetUp() override {
        marqen::MarqenPreferences::shared().setStore(std::make_shared<marqen::MarqenMemoryPreferencesStore>());
        marqen::MarqenPreferences::shared().setBool(marqen::kMarqenPreferenceTypingCreatesTextAnnotation, false);
        window = marqen::edit::createEditorWindow(application());
        gtk_window_set_default_size(window, 900, 640);
        view = marqen::edit::editorWindowDocumentView(window);
    }
    void TearDown() override {
        // Closing without the prompt: the tests decide what is saved.
        marqen_gtk_document_view_mark_saved(view);
        gtk_window_destroy(window);
        iterateFor(0.05);
    }
    void open(const std::filesystem::path &path) {
        GError *error = nullptr;
        ASSERT_TRUE(marqen::edit::editorWindowOpen(window, path, &error)) << (error ? error->message : "");
        ASSERT_TRUE(iterateUntil([&] { return gtk_widget_get_mapped(GTK_WIDGET(view)) && gtk_widget_get_width(GTK_WIDGET(view)) > 0; }));
        iterateFor(0.2);
    }
    marqen::CGPoint viewPoint(marqen::CGPoint model) {
        return marqen::CGPointApplyAffineTransform(model, marqen_gtk_document_view_get_controller(view)->modelToViewTransform());
    }
};

TEST_F(EditorFixture, DrawsTypesUndoesAndSavesASampleWithRealEvents) {
    if (!xinput::available()) GTEST_SKIP() << "no XTest";
    const auto path = copyOfSample("basic.json");
    open(path);
    GtkWidget *widget = GTK_WIDGET(view);
    auto page = marqen_gtk_document_view_get_document(view);
    const size_t annotations = page->annotationLayer()->children().size();
    const size_t texts = page->textLayer()->children().size();

    // A rectangle dragged out with the rectangle tool, chosen by its key.
    xinput::moveTo(widget, 5, 5);
    xinput::key(GDK_KEY_r);
    ASSERT_TRUE(iterateUntil([&] { return marqen_gtk_document_view_get_tool(view) == 3; }));
    const marqen::CGPoint from = viewPoint({60, 60}), to = viewPoint({260, 160});
    xinput::drag(widget, from.x, from.y, to.x, to.y);
    ASSERT_EQ(page->annotationLayer()->children().size(), annotations + 1);

    // A text typed with the text tool.
    xinput::key(GDK_KEY_t);
    const marqen::CGPoint at = viewPoint({120, 420});
    xinput::click(widget, at.x, at.y);
    xinput::type("Look here");
    xinput::key(GDK_KEY_Escape);
    ASSERT_EQ(page->textLayer()->children().size(), texts + 1);

    // The new rectangle is selected with Tab (after the sample's two elements), copied and pasted.
    for (int press = 0; press < 3; ++press) xinput::key(GDK_KEY_Tab);
    auto *controller = marqen_gtk_document_view_get_controller(view);
    ASSERT_EQ(controller->selectedElements().size(), 1u);
    ASSERT_EQ(controller->selectedElements().front(), page->annotationLayer()->children().back());
    xinput::key(GDK_KEY_c, false, true);
    xinput::key(GDK_KEY_v, false, true);
    ASSERT_TRUE(iterateUntil([&] { return page->annotationLayer()->children().size() == annotations + 2; }));
    g_autofree char *undoName = marqen_gtk_document_view_dup_undo_name(view);
    EXPECT_STREQ(undoName, "Paste");
    // The clipboard offers the payload, a picture and no text (no text was selected).
    GdkContentFormats *formats = gdk_clipboard_get_formats(gtk_widget_get_clipboard(widget));
    EXPECT_TRUE(gdk_content_formats_contain_mime_type(formats, MARQEN_GTK_CLIPBOARD_MIME_TYPE));
    EXPECT_TRUE(gdk_content_formats_contain_mime_type(formats, "image/png"));
    EXPECT_FALSE(gdk_content_formats_contain_mime_type(formats, "text/plain;charset=utf-8"));

    // Ctrl+Z takes the paste back.
    xinput::key(GDK_KEY_z, false, true);
    ASSERT_EQ(page->annotationLayer()->children().size(), annotations + 1);
    EXPECT_TRUE(marqen_gtk_document_view_get_modified(view));
    EXPECT_NE(std::string(gtk_window_get_title(window)).find("•"), std::string::npos);

    // Ctrl+S writes the file in place; the title loses its mark.
    xinput::key(GDK_KEY_s, false, true);
    ASSERT_TRUE(iterateUntil([&] { return !marqen_gtk_document_view_get_modified(view); }));
    iterateFor(0.05);
    EXPECT_EQ(std::string(gtk_window_get_title(window)).find("•"), std::string::npos);

    marqen::MarqenError error;
    auto saved = marqen::MarqenReadDOMJSONFile(path.string(), &error);
    ASSERT_TRUE(saved) << error.description();
    auto savedPage = saved->pages->pages().front();
    ASSERT_EQ(savedPage->annotationLayer()->children().size(), annotations + 1);
    auto rectangle = std::dynamic_pointer_cast<marqen::MarqenDOMRectangle>(savedPage->annotationLayer()->children().back());
    ASSERT_TRUE(rectangle);
    const marqen::CGRect box = marqen::CGRectStandardize(rectangle->bezierPath()->bounds());
    EXPECT_NEAR(box.origin.x, 60, 2);
    EXPECT_NEAR(box.size.width, 200, 2);
    EXPECT_NEAR(box.size.height, 100, 2);
    ASSERT_EQ(savedPage->textLayer()->children().size(), texts + 1);
    auto text = std::dynamic_pointer_cast<marqen::MarqenDOMText>(savedPage->textLayer()->children().back());
    ASSERT_TRUE(text && text->text());
    EXPECT_EQ(*text->text(), "Look here");
}

TEST_F(EditorFixture, APictureSavesInPlaceAsARichPictureThatOpensWithItsAnnotations) {
    if (!xinput::available()) GTEST_SKIP() << "no XTest";
    const auto path = scratchDirectory() / "screenshot.png";
    {
        auto image = marqen::MarqenImage::create(500, 320);
        auto context = marqen::MarqenGraphicsContext::createForImage(image);
        context->setFillColor({0.2, 0.4, 0.7, 1});
        context->fillRect(marqen::CGRectMake(0, 0, 500, 320));
        context.reset();
        ASSERT_TRUE(marqen::MarqenImageWriteToFile(*image, path, marqen::MarqenImageFormat::PNG));
    }
    open(path);
    GtkWidget *widget = GTK_WIDGET(view);
    xinput::moveTo(widget, 5, 5);
    xinput::key(GDK_KEY_o);
    ASSERT_TRUE(iterateUntil([&] { return marqen_gtk_document_view_get_tool(view) == 5; }));
    const marqen::CGPoint from = viewPoint({50, 40}), to = viewPoint({250, 200});
    xinput::drag(widget, from.x, from.y, to.x, to.y);
    auto page = marqen_gtk_document_view_get_document(view);
    ASSERT_EQ(page->annotationLayer()->children().size(), 1u);
    xinput::key(GDK_KEY_s, false, true);
    ASSERT_TRUE(iterateUntil([&] { return !marqen_gtk_document_view_get_modified(view); }));

    // The saved file is a picture of its own type that carries the document.
    std::optional<marqen::MarqenExportFormat> format;
    marqen::MarqenError error;
    auto reopened = marqen::CoreMarqenDocument::initWithURL(path, &format, &error);
    ASSERT_TRUE(reopened) << error.description();
    ASSERT_TRUE(format);
    EXPECT_TRUE(marqen::MarqenTypeIdentifierEquals(format->uti(), marqen::kMarqenTypePNG));
    EXPECT_TRUE(format->isDOMEmbedded());
    auto savedPage = reopened->documentComposition()->documents().front();
    ASSERT_EQ(savedPage->annotationLayer()->children().size(), 1u);
    const marqen::CGRect bounds = marqen::CGRectStandardize(savedPage->annotationLayer()->children().front()->contentBounds());
    EXPECT_NEAR(marqen::CGRectGetMidX(bounds), 150, 3);
    EXPECT_NEAR(marqen::CGRectGetMidY(bounds), 120, 3);
    EXPECT_EQ(savedPage->frame().size.width, 500);
}

TEST_F(EditorFixture, OpensAPDFOnItsFirstPageDrawnFromThePDF) {
    open(copyOfSample("pdf-review.pdf"));
    auto page = marqen_gtk_document_view_get_document(view);
    ASSERT_TRUE(page);
    EXPECT_TRUE(page->pdfPage());
    int width = 0, height = 0;
    const std::string shot = screenshotPath("editor-pdf.png");
    auto pixels = renderWidget(GTK_WIDGET(window), &width, &height, shot.empty() ? nullptr : shot.c_str());
    // The page is drawn: some of the view is neither the canvas colour nor white paper.
    const int scale = gtk_widget_get_scale_factor(GTK_WIDGET(view));
    const marqen::CGRect frame = page->frame();
    size_t ink = 0;
    graphene_point_t origin;
    const graphene_point_t zero = GRAPHENE_POINT_INIT(0, 0);
    ASSERT_TRUE(gtk_widget_compute_point(GTK_WIDGET(view), GTK_WIDGET(window), &zero, &origin));
    for (double y = 0.05; y < 1; y += 0.05)
        for (double x = 0.05; x < 1; x += 0.05) {
            const marqen::CGPoint at = viewPoint({frame.origin.x + frame.size.width * x, frame.origin.y + frame.size.height * y});
            const size_t offset = (size_t((at.y + origin.y) * scale) * size_t(width) + size_t((at.x + origin.x) * scale)) * 4;
            if (offset + 3 < pixels.size()) ink += pixels[offset] < 200 || pixels[offset + 1] < 200 || pixels[offset + 2] < 200;
        }
    EXPECT_GT(ink, 5u);
}

TEST_F(EditorFixture, ADocumentOfSeveralPagesShowsThumbnailsAndSwitchesPages) {
    open(copyOfSample("multipage.json"));
    auto *pages = marqen::edit::editorWindowCompositionView(window);
    ASSERT_EQ(marqen_gtk_composition_view_get_page_count(pages), 2u);
    EXPECT_EQ(marqen_gtk_composition_view_get_current_page(pages), 0u);
    // The thumbnails come while the loop is idle.
    ASSERT_TRUE(iterateUntil([&] { return marqen_gtk_composition_view_thumbnails_done(pages); }));
    auto first = marqen_gtk_document_view_get_document(view);
    EXPECT_TRUE(marqen_gtk_composition_view_set_current_page(pages, 1));
    auto second = marqen_gtk_document_view_get_document(view);
    EXPECT_NE(first, second);
    EXPECT_FALSE(marqen_gtk_composition_view_set_current_page(pages, 2));
    EXPECT_EQ(marqen_gtk_document_view_get_document(view), second);
    if (xinput::available()) {
        xinput::moveTo(GTK_WIDGET(view), 5, 5);
        xinput::key(GDK_KEY_Page_Up);
        EXPECT_EQ(marqen_gtk_composition_view_get_current_page(pages), 0u);
        EXPECT_EQ(marqen_gtk_document_view_get_document(view), first);
    }
    // An edit on the second page is saved with both pages.
    marqen_gtk_composition_view_set_current_page(pages, 1);
    auto *controller = marqen_gtk_document_view_get_controller(view);
    const size_t before = second->annotationLayer()->children().size();
    controller->pasteText("Second page note");
    const std::string shot = screenshotPath("editor-pages.png");
    if (!shot.empty()) {
        iterateFor(0.3);
        int width = 0, height = 0;
        renderWidget(GTK_WIDGET(window), &width, &height, shot.c_str());
    }
    GError *error = nullptr;
    ASSERT_TRUE(marqen::edit::editorWindowSave(window, &error));
    marqen::MarqenError failure;
    auto saved = marqen::MarqenReadDOMJSONFile((scratchDirectory() / "multipage.json").string(), &failure);
    ASSERT_TRUE(saved);
    ASSERT_EQ(saved->pages->pages().size(), 2u);
    EXPECT_EQ(saved->pages->pages()[1]->textLayer()->children().size() + saved->pages->pages()[1]->annotationLayer()->children().size(),
              second->textLayer()->children().size() + before);
}

TEST_F(EditorFixture, OneHistorySpansThePagesAndUndoShowsThePageOfTheStep) {
    if (!xinput::available()) GTEST_SKIP() << "no XTest";
    open(copyOfSample("multipage.json"));
    auto *pages = marqen::edit::editorWindowCompositionView(window);
    ASSERT_EQ(marqen_gtk_composition_view_get_page_count(pages), 2u);
    auto first = marqen_gtk_document_view_get_document(view);
    const std::string firstPage = first->dictionaryRepresentation().dump();
    xinput::moveTo(GTK_WIDGET(view), 5, 5);
    xinput::key(GDK_KEY_Page_Down);
    ASSERT_EQ(marqen_gtk_composition_view_get_current_page(pages), 1u);
    auto second = marqen_gtk_document_view_get_document(view);
    ASSERT_NE(first, second);
    EXPECT_EQ(first->undoManager(), second->undoManager());
    const size_t before = second->annotationLayer()->children().size();

    // A rectangle dragged on the second page, then back to the first.
    xinput::key(GDK_KEY_r);
    ASSERT_TRUE(iterateUntil([&] { return marqen_gtk_document_view_get_tool(view) == marqen::MarqenToolIDRectangle; }));
    const marqen::CGRect frame = second->frame();
    const marqen::CGPoint from = viewPoint({frame.origin.x + frame.size.width * 0.3, frame.origin.y + frame.size.height * 0.3});
    const marqen::CGPoint to = viewPoint({frame.origin.x + frame.size.width * 0.6, frame.origin.y + frame.size.height * 0.6});
    xinput::drag(GTK_WIDGET(view), from.x, from.y, to.x, to.y);
    ASSERT_EQ(second->annotationLayer()->children().size(), before + 1);
    xinput::key(GDK_KEY_Page_Up);
    ASSERT_EQ(marqen_gtk_composition_view_get_current_page(pages), 0u);
    EXPECT_EQ(marqen_gtk_document_view_get_document(view), first);
    g_autofree char *name = marqen_gtk_document_view_dup_undo_name(view);
    EXPECT_STREQ(name, "Add Rectangle");

    // Ctrl+Z on the first page undoes the second page's step and shows it; the sidebar follows.
    xinput::key(GDK_KEY_z, false, true);
    EXPECT_EQ(marqen_gtk_composition_view_get_current_page(pages), 1u);
    EXPECT_EQ(marqen_gtk_document_view_get_document(view), second);
    EXPECT_EQ(second->annotationLayer()->children().size(), before);
    GtkWidget *sidebar = gtk_widget_get_first_child(GTK_WIDGET(pages));
    GtkWidget *list = gtk_scrolled_window_get_child(GTK_SCROLLED_WINDOW(sidebar));
    if (GTK_IS_VIEWPORT(list)) list = gtk_viewport_get_child(GTK_VIEWPORT(list));
    ASSERT_TRUE(GTK_IS_LIST_BOX(list));
    GtkListBoxRow *selected = gtk_list_box_get_selected_row(GTK_LIST_BOX(list));
    ASSERT_NE(selected, nullptr);
    EXPECT_EQ(gtk_list_box_row_get_index(selected), 1);
    // Redo from the first page again brings the rectangle back where it was drawn.
    xinput::key(GDK_KEY_Page_Up);
    xinput::key(GDK_KEY_z, true, true);
    EXPECT_EQ(marqen_gtk_composition_view_get_current_page(pages), 1u);
    EXPECT_EQ(second->annotationLayer()->children().size(), before + 1);
    EXPECT_EQ(first->dictionaryRepresentation().dump(), firstPage);  // the first page was never touched
}

TEST_F(EditorFixture, AFileAndAPictureDraggedFromAnotherApplicationBecomePictures) {
    if (!xinput::available()) GTEST_SKIP() << "no XTest";
    auto writePicture = [](const std::filesystem::path &path, int width, int height, marqen::MarqenRGBAColor color) {
        auto image = marqen::MarqenImage::create(width, height);
        auto context = marqen::MarqenGraphicsContext::createForImage(image);
        context->setFillColor(color);
        context->fillRect(marqen::CGRectMake(0, 0, width, height));
        context.reset();
        return marqen::MarqenImageWriteToFile(*image, path, marqen::MarqenImageFormat::PNG);
    };
    const auto directory = scratchDirectory() / "drops";
    std::filesystem::create_directories(directory);
    const auto page = directory / "page.png", file = directory / "red.png", picture = directory / "green.png";
    ASSERT_TRUE(writePicture(page, 600, 400, {0.2, 0.4, 0.7, 1}));
    ASSERT_TRUE(writePicture(file, 60, 40, {1, 0, 0, 1}));
    ASSERT_TRUE(writePicture(picture, 50, 30, {0, 1, 0, 1}));
    open(page);
    auto document = marqen_gtk_document_view_get_document(view);

    // A file dragged from the other application lands as a picture centred where it is dropped.
    {
        DragSourceProcess source("--file", file);
        ASSERT_NE(source.window, 0u) << source.output;
        source.dragTo(GTK_WIDGET(view), viewPoint({400, 250}));
        ASSERT_TRUE(iterateUntil([&] { return document->annotationLayer()->children().size() == 1; }, 5)) << source.output;
    }
    auto dropped = std::dynamic_pointer_cast<marqen::MarqenDOMBitmap>(document->annotationLayer()->children().front());
    ASSERT_TRUE(dropped);
    EXPECT_NEAR(marqen::CGRectGetMidX(dropped->frame()), 400, 3);
    EXPECT_NEAR(marqen::CGRectGetMidY(dropped->frame()), 250, 3);
    EXPECT_NEAR(dropped->frame().size.width, 60, 0.5);
    g_autofree char *name = marqen_gtk_document_view_dup_undo_name(view);
    EXPECT_STREQ(name, "Drop");

    // A picture (a texture, no file) dragged over becomes a picture too.
    {
        DragSourceProcess source("--texture", picture);
        ASSERT_NE(source.window, 0u) << source.output;
        source.dragTo(GTK_WIDGET(view), viewPoint({150, 120}));
        ASSERT_TRUE(iterateUntil([&] { return document->annotationLayer()->children().size() == 2; }, 5)) << source.output;
    }
    auto pasted = std::dynamic_pointer_cast<marqen::MarqenDOMBitmap>(document->annotationLayer()->children().back());
    ASSERT_TRUE(pasted && pasted->image());
    EXPECT_EQ(pasted->image()->width(), 50);

    // Saved in place, the file carries both pictures as annotations, over the page's own picture.
    GError *error = nullptr;
    ASSERT_TRUE(marqen::edit::editorWindowSave(window, &error)) << (error ? error->message : "");
    std::optional<marqen::MarqenExportFormat> format;
    marqen::MarqenError failure;
    auto reopened = marqen::CoreMarqenDocument::initWithURL(page, &format, &failure);
    ASSERT_TRUE(reopened) << failure.description();
    auto saved = reopened->documentComposition()->documents().front();
    ASSERT_EQ(saved->annotationLayer()->children().size(), 2u);
    for (const auto &node : saved->annotationLayer()->children()) EXPECT_TRUE(std::dynamic_pointer_cast<marqen::MarqenDOMBitmap>(node));
    EXPECT_EQ(saved->backgroundLayer()->children().size(), 1u);
}

TEST_F(EditorFixture, TheLastSessionsDocumentComesBackWithItsEdits) {
    EXPECT_EQ(marqen::edit::restoreLastSession(application()), nullptr);
    const auto path = scratchDirectory() / "session.png";
    {
        auto image = marqen::MarqenImage::create(240, 160);
        ASSERT_TRUE(marqen::MarqenImageWriteToFile(*image, path, marqen::MarqenImageFormat::PNG));
    }
    GtkWindow *first = marqen::edit::createEditorWindow(application());
    GError *error = nullptr;
    ASSERT_TRUE(marqen::edit::editorWindowOpen(first, path, &error));
    auto *firstView = marqen::edit::editorWindowDocumentView(first);
    ASSERT_TRUE(marqen_gtk_document_view_get_controller(firstView)->pasteText("Remembered"));
    ASSERT_TRUE(marqen::edit::editorWindowSave(first, &error));
    gtk_window_close(first);
    iterateFor(0.1);

    GtkWindow *restored = marqen::edit::restoreLastSession(application());
    ASSERT_NE(restored, nullptr);
    auto page = marqen_gtk_document_view_get_document(marqen::edit::editorWindowDocumentView(restored));
    ASSERT_TRUE(page);
    EXPECT_EQ(page->frame().size.width, 240);
    EXPECT_EQ(page->textLayer()->children().size(), 1u);
    gtk_window_destroy(restored);

    // A session that no longer reads restores nothing.
    marqen::MarqenPreferences::shared().store().setString("editorLastSession", "{\"archive\": 7, \"path\": \"/nowhere\"}");
    EXPECT_EQ(marqen::edit::restoreLastSession(application()), nullptr);
    marqen::MarqenPreferences::shared().store().setString("editorLastSession", "not json");
    EXPECT_EQ(marqen::edit::restoreLastSession(application()), nullptr);
}

// The shortcuts window lists the tools on their letters, or on Alt with the letter while typing starts a text.
TEST_F(EditorFixture, TheShortcutsWindowListsEveryCommandWithItsKeys) {
    for (bool typing : {false, true}) {
        GtkWindow *shortcuts = marqen::edit::createShortcutsWindow(window, typing);
        ASSERT_TRUE(GTK_IS_SHORTCUTS_WINDOW(shortcuts));
        std::vector<std::string> accelerators;
        std::function<void(GtkWidget *)> collect = [&](GtkWidget *widget) {
            if (GTK_IS_SHORTCUTS_SHORTCUT(widget)) {
                g_autofree char *accelerator = nullptr;
                g_object_get(widget, "accelerator", &accelerator, nullptr);
                accelerators.push_back(accelerator ? accelerator : "");
            }
            for (GtkWidget *child = gtk_widget_get_first_child(widget); child; child = gtk_widget_get_next_sibling(child))
                collect(child);
        };
        collect(GTK_WIDGET(shortcuts));
        auto listed = [&](const std::string &accelerator) {
            return std::find(accelerators.begin(), accelerators.end(), accelerator) != accelerators.end();
        };
        for (const char *command : {"<Ctrl>s", "<Ctrl><Shift>s", "<Ctrl>e", "<Ctrl>o", "<Ctrl>q", "<Ctrl>z", "<Ctrl><Shift>z",
                                    "<Ctrl>c", "<Ctrl>x", "<Ctrl>v", "Delete", "<Ctrl>0", "<Ctrl>9", "Tab"})
            EXPECT_TRUE(listed(command)) << command;
        for (const char *letter : {"v", "a", "t", "r", "u", "o", "l", "m", "h", "s", "p", "c"}) {
            EXPECT_EQ(listed(std::string("<Alt>") + letter), typing) << letter;
            EXPECT_EQ(listed(letter), !typing) << letter;
        }
        gtk_window_destroy(shortcuts);
        g_object_unref(shortcuts);
    }
}

TEST_F(EditorFixture, AFileThatDoesNotOpenLeavesTheWindowAsItWas) {
    GError *error = nullptr;
    EXPECT_FALSE(marqen::edit::editorWindowOpen(window, scratchDirectory(), &error));
    ASSERT_NE(error, nullptr);
    g_clear_error(&error);
    const auto broken = scratchDirectory() / "broken.json";
    std::ofstream(broken) << "{\"type\": \"Document\", \"children\": [";
    EXPECT_FALSE(marqen::edit::editorWindowOpen(window, broken, &error));
    g_clear_error(&error);
    EXPECT_FALSE(marqen_gtk_document_view_has_document(view));
    // Saving with nothing open refuses rather than writing anything.
    EXPECT_FALSE(marqen::edit::editorWindowSave(window, &error));
    g_clear_error(&error);
}

}  // namespace

namespace {

// Compares the window's pixels with the reference picture for the display's scale; with
// MARQEN_UPDATE_REFERENCES set, writes the reference instead.
TEST_F(EditorFixture, LooksAsTheReferencePictureShowsIt) {
    // A folder named the same on every run: the window shows it under the file's name.
    const int scale = gtk_widget_get_scale_factor(GTK_WIDGET(window));
    open(copyOfSample("basic.json", std::filesystem::temp_directory_path() / ("marqen-edit-scale" + std::to_string(scale))));
    auto *controller = marqen_gtk_document_view_get_controller(view);
    auto page = marqen_gtk_document_view_get_document(view);
    controller->selectElements({std::dynamic_pointer_cast<marqen::MarqenDOMElement>(page->annotationLayer()->children().front())});
    iterateFor(0.3);

    const std::string name = "editor-scale" + std::to_string(scale) + ".png";
    const std::string reference = std::string(MARQEN_GTK_REFERENCE_DIR) + "/" + name;
    int width = 0, height = 0;
    const std::string shot = screenshotPath(name);
    auto pixels = renderWidget(GTK_WIDGET(window), &width, &height, shot.empty() ? nullptr : shot.c_str());
    ASSERT_FALSE(pixels.empty());
    if (g_getenv("MARQEN_UPDATE_REFERENCES")) {
        renderWidget(GTK_WIDGET(window), &width, &height, reference.c_str());
        GTEST_SKIP() << "wrote " << reference;
    }
    GError *error = nullptr;
    GdkTexture *expected = gdk_texture_new_from_filename(reference.c_str(), &error);
    ASSERT_TRUE(expected) << (error ? error->message : "");
    ASSERT_EQ(gdk_texture_get_width(expected), width);
    ASSERT_EQ(gdk_texture_get_height(expected), height);
    std::vector<guchar> wanted(size_t(width) * size_t(height) * 4);
    gdk_texture_download(expected, wanted.data(), size_t(width) * 4);
    g_object_unref(expected);
    // Small differences (anti-aliasing, a glyph's hinting) pass; a moved, missing or recoloured part does not.
    size_t differing = 0;
    for (size_t offset = 0; offset < pixels.size(); offset += 4) {
        int worst = 0;
        for (size_t channel = 0; channel < 4; ++channel)
            worst = std::max(worst, std::abs(int(pixels[offset + channel]) - int(wanted[offset + channel])));
        differing += worst > 24;
    }
    EXPECT_LT(double(differing) / double(size_t(width) * size_t(height)), 0.005)
        << differing << " pixels differ from " << reference << " (MARQEN_SCREENSHOT_DIR keeps the picture taken)";
}

}  // namespace
