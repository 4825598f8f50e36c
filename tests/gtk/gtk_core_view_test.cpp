// CoreMarqenView: the facade widget opens a picture through the document facade, saves it back in place
// with the document embedded, and keeps its three preferences under their keys.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <filesystem>

#include <marqenkit-gtk/marqenkit-gtk.h>
#include <marqenkit/core/core_document.h>
#include <marqenkit/dom/layer.h>
#include <marqenkit/editing/composition.h>
#include <marqenkit/interaction/document_view.h>
#include <marqenkit/interaction/preferences.h>
#include <marqenkit/platform/graphics.h>
#include <marqenkit/platform/image_io.h>

#include "gtk_test_support.h"

namespace {

using namespace marqen::gtktest;

std::filesystem::path writePicture(const char *name) {
    auto directory = std::filesystem::temp_directory_path() / ("marqen-core-view-" + std::to_string(getpid()));
    std::filesystem::create_directories(directory);
    auto image = marqen::MarqenImage::create(320, 200);
    auto context = marqen::MarqenGraphicsContext::createForImage(image);
    context->setFillColor({0.9, 0.9, 0.8, 1});
    context->fillRect(marqen::CGRectMake(0, 0, 320, 200));
    context.reset();
    marqen::MarqenImageWriteToFile(*image, directory / name, marqen::MarqenImageFormat::PNG);
    return directory / name;
}

struct CoreViewFixture : ::testing::Test {
    CoreMarqenView *view = nullptr;
    std::unique_ptr<TestWindow> window;
    void SetUp() override {
        marqen::MarqenPreferences::shared().setStore(std::make_shared<marqen::MarqenMemoryPreferencesStore>());
        GtkWidget *widget = core_marqen_view_new();
        view = CORE_MARQEN_VIEW(widget);
        window = std::make_unique<TestWindow>(widget, 800, 560);
    }
    void TearDown() override { window.reset(); }
};

TEST_F(CoreViewFixture, ThePreferencesAreTheSharedOnesUnderTheirKeys) {
    // Defaults: arrowheads at the end, a growing canvas, letters choose tools (typing starts no text).
    EXPECT_FALSE(core_marqen_view_get_preference(view, "preferenceArrowheadsAtBeginningOfShape"));
    EXPECT_TRUE(core_marqen_view_get_preference(view, "preferenceExpandableCanvas"));
    EXPECT_FALSE(core_marqen_view_get_preference(view, "preferenceTypingCreatesTextAnnotation"));
    gboolean typing = TRUE;
    g_object_get(view, "typing-creates-text-annotation", &typing, nullptr);
    EXPECT_FALSE(typing);
    GParamSpec *spec = g_object_class_find_property(G_OBJECT_GET_CLASS(view), "typing-creates-text-annotation");
    ASSERT_TRUE(spec);
    EXPECT_FALSE(G_PARAM_SPEC_BOOLEAN(spec)->default_value);
    int notified = 0;
    g_signal_connect_swapped(view, "notify::typing-creates-text-annotation", G_CALLBACK(+[](int *count) { ++*count; }), &notified);
    g_object_set(view, "typing-creates-text-annotation", TRUE, nullptr);
    EXPECT_EQ(notified, 1);
    EXPECT_TRUE(marqen::MarqenPreferences::shared().typingCreatesTextAnnotation());
    EXPECT_EQ(marqen::MarqenPreferences::shared().store().stringForKey("preferenceTypingCreatesTextAnnotation"), "true");
    EXPECT_TRUE(core_marqen_view_set_preference(view, "preferenceArrowheadsAtBeginningOfShape", TRUE));
    gboolean arrowheads = FALSE;
    g_object_get(view, "arrowheads-at-beginning-of-shape", &arrowheads, nullptr);
    EXPECT_TRUE(arrowheads);
    // Other keys are refused and stored nowhere.
    EXPECT_FALSE(core_marqen_view_set_preference(view, "preferenceSomethingElse", TRUE));
    EXPECT_FALSE(core_marqen_view_set_preference(view, nullptr, TRUE));
    EXPECT_FALSE(marqen::MarqenPreferences::shared().store().stringForKey("preferenceSomethingElse"));
}

TEST_F(CoreViewFixture, OpensThroughTheFacadeAndSavesInPlaceEditable) {
    GError *error = nullptr;
    EXPECT_FALSE(core_marqen_view_save(view, &error));
    g_clear_error(&error);
    const auto path = writePicture("note.png");
    ASSERT_TRUE(core_marqen_view_open(view, path.c_str(), &error)) << (error ? error->message : "");
    EXPECT_FALSE(core_marqen_view_get_modified(view));
    auto *documentView = marqen_gtk_composition_view_get_document_view(core_marqen_view_get_composition_view(view));
    auto *controller = marqen_gtk_document_view_get_controller(documentView);
    ASSERT_TRUE(controller);
    ASSERT_TRUE(controller->pasteText("Kept"));
    EXPECT_TRUE(core_marqen_view_get_modified(view));
    ASSERT_TRUE(core_marqen_view_save(view, &error)) << (error ? error->message : "");
    EXPECT_FALSE(core_marqen_view_get_modified(view));

    std::optional<marqen::MarqenExportFormat> format;
    marqen::MarqenError failure;
    auto reopened = marqen::CoreMarqenDocument::initWithURL(path, &format, &failure);
    ASSERT_TRUE(reopened) << failure.description();
    EXPECT_TRUE(format && format->isDOMEmbedded());
    EXPECT_EQ(reopened->documentComposition()->documents().front()->textLayer()->children().size(), 1u);

    // A file that does not open keeps what is shown.
    EXPECT_FALSE(core_marqen_view_open(view, (path.parent_path() / "missing.png").c_str(), &error));
    ASSERT_NE(error, nullptr);
    g_clear_error(&error);
    EXPECT_EQ(marqen_gtk_document_view_get_controller(documentView), controller);
}

}  // namespace
