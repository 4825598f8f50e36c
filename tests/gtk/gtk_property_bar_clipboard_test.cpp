// The property bar over a document view (what it offers, choices applied as undo steps) and the view's
// clipboard: pictures pasted as bitmap elements, hostile payloads refused without a change.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <marqenkit-gtk/marqenkit-gtk.h>
#include <marqenkit/dom/bitmap.h>
#include <marqenkit/dom/layer.h>
#include <marqenkit/dom/rectangle.h>
#include <marqenkit/dom/text.h>
#include <marqenkit/editing/property_color.h>
#include <marqenkit/editing/tools_model.h>
#include <marqenkit/foundation/geometry_functions.h>
#include <marqenkit/interaction/document_view.h>
#include <marqenkit/interaction/preferences.h>
#include <marqenkit/foundation/undo_manager.h>

#include "gtk_test_support.h"

namespace {

using namespace marqen::gtktest;

struct BarFixture : ::testing::Test {
    GtkWidget *box = nullptr;
    MarqenGtkDocumentView *view = nullptr;
    MarqenPropertyBar *bar = nullptr;
    std::shared_ptr<marqen::MarqenDOMDocument> page;
    std::shared_ptr<marqen::MarqenDOMRectangle> rectangle;
    std::unique_ptr<TestWindow> window;

    void SetUp() override {
        marqen::MarqenPreferences::shared().setStore(std::make_shared<marqen::MarqenMemoryPreferencesStore>());
        GtkWidget *widget = marqen_gtk_document_view_new();
        view = MARQEN_GTK_DOCUMENT_VIEW(widget);
        page = marqen::MarqenDOMDocument::createWithSize({600, 400}, 1);
        rectangle = marqen::MarqenDOMRectangle::create();
        rectangle->beginAtPoint({100, 100});
        rectangle->endAtPoint({200, 180}, {0, 0}, {}, marqen::CGAffineTransformIdentity);
        rectangle->setToolColor(marqen::MarqenPropertyColor::colorForColorID(0));
        page->addNode(rectangle);
        page->undoManager()->removeAllActions();
        marqen_gtk_document_view_set_document(view, page);
        bar = MARQEN_PROPERTY_BAR(marqen_property_bar_new(view));
        box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
        gtk_box_append(GTK_BOX(box), GTK_WIDGET(bar));
        gtk_box_append(GTK_BOX(box), widget);
        window = std::make_unique<TestWindow>(box, 700, 500);
    }
    void TearDown() override { window.reset(); }
    marqen::MarqenDocumentView &controller() { return *marqen_gtk_document_view_get_controller(view); }
    size_t annotationCount() { return page->annotationLayer()->children().size(); }
};

TEST_F(BarFixture, OffersWhatTheToolAndSelectionTakeAndAppliesAChoiceAsOneStep) {
    // The arrow tool with nothing selected: colour and size, no text style.
    EXPECT_TRUE(marqen_property_bar_offers_color(bar));
    EXPECT_TRUE(marqen_property_bar_offers_size(bar));
    EXPECT_FALSE(marqen_property_bar_offers_text_style(bar));
    marqen_gtk_document_view_set_tool(view, marqen::MarqenToolIDText);
    ASSERT_TRUE(iterateUntil([&] { return marqen_property_bar_offers_text_style(bar); }));

    // The red rectangle selected: red shows as chosen; green applies to it as "Color Change".
    marqen_gtk_document_view_set_tool(view, marqen::MarqenToolIDArrow);
    controller().selectElements({rectangle});
    ASSERT_TRUE(iterateUntil([&] { return !marqen_property_bar_offers_text_style(bar); }));
    EXPECT_EQ(marqen_property_bar_get_color_id(bar), 0u);
    marqen_property_bar_choose_color(bar, 3);
    ASSERT_TRUE(rectangle->toolColor());
    EXPECT_EQ(marqen::MarqenPropertyColor::colorIDForColor(*rectangle->toolColor()), 3u);
    EXPECT_EQ(marqen_property_bar_get_color_id(bar), 3u);
    g_autofree char *name = marqen_gtk_document_view_dup_undo_name(view);
    EXPECT_STREQ(name, "Color Change");
    marqen_gtk_document_view_undo(view);
    EXPECT_EQ(marqen::MarqenPropertyColor::colorIDForColor(*rectangle->toolColor()), 0u);

    // A choice with nothing selected becomes the colour new elements are drawn with.
    controller().clearNodeSelection();
    marqen_property_bar_choose_color(bar, 4);
    EXPECT_EQ(marqen::MarqenPropertyColor::colorIDForColor(controller().toolColor()), 4u);
    marqen_property_bar_choose_size(bar, 4);
    EXPECT_DOUBLE_EQ(controller().toolSize(), 1.0);
    // Out-of-range choices change nothing.
    marqen_property_bar_choose_size(bar, 9);
    marqen_property_bar_choose_color(bar, 42);
    EXPECT_DOUBLE_EQ(controller().toolSize(), 1.0);
    EXPECT_EQ(marqen::MarqenPropertyColor::colorIDForColor(controller().toolColor()), 4u);
}

TEST_F(BarFixture, APastedPictureBecomesABitmapInTheMiddleOfThePage) {
    // A 400 × 300 picture fits inside the 600 × 400 page at its own size, in the middle of the view,
    // which shows the middle of the page.
    GBytes *bytes = g_bytes_new_take(g_malloc0(400 * 300 * 4), 400 * 300 * 4);
    GdkTexture *texture = gdk_memory_texture_new(400, 300, GDK_MEMORY_DEFAULT, bytes, 400 * 4);
    g_bytes_unref(bytes);
    gdk_clipboard_set_texture(gtk_widget_get_clipboard(GTK_WIDGET(view)), texture);
    g_object_unref(texture);
    gtk_widget_activate_action(GTK_WIDGET(view), "document-view.paste", nullptr);
    // A picture brought in is an annotation, above the background.
    ASSERT_TRUE(iterateUntil([&] { return annotationCount() == 2; }));
    auto bitmap = std::dynamic_pointer_cast<marqen::MarqenDOMBitmap>(page->annotationLayer()->children().back());
    ASSERT_TRUE(bitmap);
    ASSERT_TRUE(bitmap->image());
    EXPECT_EQ(bitmap->image()->width(), 400);
    const marqen::CGRect frame = bitmap->frame();
    EXPECT_NEAR(frame.size.width, 400, 1e-6);
    EXPECT_NEAR(frame.size.height, 300, 1e-6);
    EXPECT_NEAR(marqen::CGRectGetMidX(frame), 300, 1);
    EXPECT_NEAR(marqen::CGRectGetMidY(frame), 200, 1);
    g_autofree char *name = marqen_gtk_document_view_dup_undo_name(view);
    EXPECT_STREQ(name, "Paste");
}

TEST_F(BarFixture, HostilePayloadsOnTheClipboardChangeNothing) {
    GdkClipboard *clipboard = gtk_widget_get_clipboard(GTK_WIDGET(view));
    for (const std::string &payload : {std::string("{\"nodes\": [{\"type\": \"Vector\", \"extension\": 7}]"),
                                      std::string("\x89PNG not json at all"), std::string(100000, '['), std::string()}) {
        GBytes *bytes = g_bytes_new(payload.data(), payload.size());
        GdkContentProvider *provider = gdk_content_provider_new_for_bytes(MARQEN_GTK_CLIPBOARD_MIME_TYPE, bytes);
        g_bytes_unref(bytes);
        gdk_clipboard_set_content(clipboard, provider);
        g_object_unref(provider);
        gtk_widget_activate_action(GTK_WIDGET(view), "document-view.paste", nullptr);
        iterateFor(0.1);
        EXPECT_EQ(annotationCount(), 1u);
    }
    EXPECT_FALSE(marqen_gtk_document_view_can_undo(view));
    // Copying with nothing selected leaves the clipboard alone.
    gdk_clipboard_set_text(clipboard, "kept");
    gtk_widget_activate_action(GTK_WIDGET(view), "document-view.copy", nullptr);
    EXPECT_FALSE(gdk_content_formats_contain_mime_type(gdk_clipboard_get_formats(clipboard), MARQEN_GTK_CLIPBOARD_MIME_TYPE));
    EXPECT_TRUE(gdk_content_formats_contain_gtype(gdk_clipboard_get_formats(clipboard), G_TYPE_STRING));
}

TEST_F(BarFixture, PastedTextBecomesATextAndGoesIntoATextBeingEdited) {
    gdk_clipboard_set_text(gtk_widget_get_clipboard(GTK_WIDGET(view)), "From the clipboard");
    gtk_widget_activate_action(GTK_WIDGET(view), "document-view.paste", nullptr);
    ASSERT_TRUE(iterateUntil([&] { return page->textLayer()->children().size() == 1; }));
    auto text = std::dynamic_pointer_cast<marqen::MarqenDOMText>(page->textLayer()->children().front());
    ASSERT_TRUE(text && text->text());
    EXPECT_EQ(*text->text(), "From the clipboard");
    // Text that is not UTF-8 is refused.
    const std::string bad = "\xff\xfe broken";
    GBytes *bytes = g_bytes_new(bad.data(), bad.size());
    GdkContentProvider *provider = gdk_content_provider_new_for_bytes("text/plain;charset=utf-8", bytes);
    g_bytes_unref(bytes);
    gdk_clipboard_set_content(gtk_widget_get_clipboard(GTK_WIDGET(view)), provider);
    g_object_unref(provider);
    gtk_widget_activate_action(GTK_WIDGET(view), "document-view.paste", nullptr);
    iterateFor(0.2);
    EXPECT_EQ(page->textLayer()->children().size(), 1u);
}

TEST_F(BarFixture, ACropChosenByDragIsShownAndAppliedByTheCropPanelsView) {
    marqen_gtk_document_view_set_tool(view, marqen::MarqenToolIDCrop);
    auto &view_ = controller();
    auto toView = view_.modelToViewTransform();
    const marqen::CGPoint from = marqen::CGPointApplyAffineTransform({50, 50}, toView);
    const marqen::CGPoint to = marqen::CGPointApplyAffineTransform({350, 250}, toView);
    view_.pointerPressed({from});
    view_.pointerMoved({to});
    view_.pointerReleased({to});
    ASSERT_TRUE(view_.pendingRect());
    // The kept part is drawn clear, what goes is dimmed.
    iterateFor(0.1);
    int width = 0, height = 0;
    auto pixels = renderWidget(GTK_WIDGET(view), &width, &height);
    ASSERT_FALSE(pixels.empty());
    const int scale = gtk_widget_get_scale_factor(GTK_WIDGET(view));
    auto red = [&](marqen::CGPoint model) {
        const marqen::CGPoint at = marqen::CGPointApplyAffineTransform(model, toView);
        const size_t offset = (size_t(at.y * scale) * size_t(width) + size_t(at.x * scale)) * 4 + 2;
        EXPECT_LT(offset, pixels.size()) << at.x << "," << at.y << " in " << width << "x" << height;
        return offset < pixels.size() ? int(pixels[offset]) : -1;
    };
    EXPECT_GT(red({200, 220}), 240);  // white paper inside
    EXPECT_LT(red({500, 350}), 160);  // dimmed outside
    // Return applies it as one "Crop".
    view_.keyPressed({"Return"});
    EXPECT_EQ(page->frame().size.width, 300);
    EXPECT_EQ(page->frame().size.height, 200);
    g_autofree char *name = marqen_gtk_document_view_dup_undo_name(view);
    EXPECT_STREQ(name, "Crop");
}

TEST_F(BarFixture, TheCropAndResizePanelsApplyTheirValuesAsOneStepEach) {
    EXPECT_FALSE(marqen_property_bar_apply_crop(bar));
    marqen_gtk_document_view_set_tool(view, marqen::MarqenToolIDCrop);
    ASSERT_TRUE(iterateUntil([&] { return marqen_property_bar_offers_crop(bar); }));
    // Nothing chosen yet: nothing to apply.
    EXPECT_FALSE(marqen_property_bar_apply_crop(bar));
    auto toView = controller().modelToViewTransform();
    controller().pointerPressed({marqen::CGPointApplyAffineTransform({100, 60}, toView)});
    controller().pointerMoved({marqen::CGPointApplyAffineTransform({400, 260}, toView)});
    controller().pointerReleased({marqen::CGPointApplyAffineTransform({400, 260}, toView)});
    EXPECT_TRUE(marqen_property_bar_apply_crop(bar));
    EXPECT_EQ(page->frame().size.width, 300);
    EXPECT_EQ(page->frame().size.height, 200);
    EXPECT_FALSE(controller().pendingRect());

    EXPECT_EQ(marqen_property_bar_get_resize_scale(bar), 0);
    marqen_gtk_document_view_set_tool(view, marqen::MarqenToolIDResize);
    ASSERT_TRUE(iterateUntil([&] { return marqen_property_bar_offers_resize(bar); }));
    EXPECT_FALSE(marqen_property_bar_offers_crop(bar));
    EXPECT_EQ(marqen_property_bar_get_resize_scale(bar), 1);
    marqen_property_bar_set_resize_scale(bar, 0.5);
    EXPECT_TRUE(marqen_property_bar_apply_resize(bar));
    EXPECT_EQ(page->frame().size.width, 150);
    EXPECT_EQ(page->frame().size.height, 100);
    g_autofree char *name = marqen_gtk_document_view_dup_undo_name(view);
    EXPECT_STREQ(name, "Resize Canvas");
    marqen_gtk_document_view_undo(view);
    EXPECT_EQ(page->frame().size.width, 300);
}

TEST_F(BarFixture, ARoundTripThroughTheClipboardCopiesTheSelection) {
    controller().selectElements({rectangle});
    gtk_widget_activate_action(GTK_WIDGET(view), "document-view.cut", nullptr);
    EXPECT_EQ(annotationCount(), 0u);
    gtk_widget_activate_action(GTK_WIDGET(view), "document-view.paste", nullptr);
    ASSERT_TRUE(iterateUntil([&] { return annotationCount() == 1; }));
    auto pasted = std::dynamic_pointer_cast<marqen::MarqenDOMRectangle>(page->annotationLayer()->children().front());
    ASSERT_TRUE(pasted);
    EXPECT_NE(pasted, rectangle);
    EXPECT_NE(pasted->guid(), rectangle->guid());
    // Nothing lies under it any more, so it comes back exactly where it was cut.
    EXPECT_EQ(pasted->bezierPath()->bounds().origin.x, rectangle->bezierPath()->bounds().origin.x);
}

}  // namespace
