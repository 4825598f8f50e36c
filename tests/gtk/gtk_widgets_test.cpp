// The tool bar and its artwork icons in a real window: buttons follow the tools model both ways,
// the main queue is drained by the GLib loop, and the icons draw at the display's scale.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <chrono>
#include <functional>
#include <thread>

#include <marqenkit-gtk/marqenkit-gtk.h>
#include <marqenkit/editing/tools_model.h>
#include <marqenkit/foundation/queues.h>

#include "gtk_test_support.h"

namespace {

// Runs the default GLib context until `done`, for at most `seconds`.
bool iterateUntil(const std::function<bool()> &done, double seconds = 5) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        g_main_context_iteration(nullptr, FALSE);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

struct Window {
    GtkWidget *window;
    explicit Window(GtkWidget *child) {
        window = gtk_window_new();
        gtk_window_set_child(GTK_WINDOW(window), child);
        gtk_window_present(GTK_WINDOW(window));
        iterateUntil([&] { return gtk_widget_get_mapped(child) && gtk_widget_get_width(child) > 0; });
    }
    ~Window() { gtk_window_destroy(GTK_WINDOW(window)); }
};

std::vector<GtkToggleButton *> toolButtons(MarqenToolBar *bar) {
    std::vector<GtkToggleButton *> buttons;
    GtkWidget *mainRow = gtk_widget_get_first_child(GTK_WIDGET(bar));
    for (GtkWidget *child = gtk_widget_get_first_child(mainRow); child; child = gtk_widget_get_next_sibling(child))
        buttons.push_back(GTK_TOGGLE_BUTTON(child));
    return buttons;
}

std::vector<guint> activeTools(MarqenToolBar *bar) {
    std::vector<guint> active;
    const auto &tools = *marqen_tool_bar_get_tools_model(bar)->mainTools();
    auto buttons = toolButtons(bar);
    for (size_t index = 0; index < buttons.size(); ++index)
        if (gtk_toggle_button_get_active(buttons[index])) active.push_back(guint(tools[index].toolID()));
    return active;
}

using marqen::gtktest::renderWidget;

TEST(GtkToolBar, ShowsOneButtonPerMainToolWithTheArrowChosen) {
    GtkWidget *bar = marqen_tool_bar_new();
    Window window(bar);
    auto *model = marqen_tool_bar_get_tools_model(MARQEN_TOOL_BAR(bar));
    ASSERT_TRUE(model->mainTools());
    EXPECT_EQ(toolButtons(MARQEN_TOOL_BAR(bar)).size(), model->mainTools()->size());
    EXPECT_EQ(activeTools(MARQEN_TOOL_BAR(bar)), std::vector<guint>{1});
    EXPECT_EQ(marqen_tool_bar_get_current_tool(MARQEN_TOOL_BAR(bar)), 1u);
    EXPECT_STREQ(gtk_widget_get_tooltip_text(GTK_WIDGET(toolButtons(MARQEN_TOOL_BAR(bar))[0])),
                 marqen_tool_bar_tool_title(guint(model->mainTools()->front().toolID())));
    EXPECT_EQ(marqen_tool_bar_tool_title(13), nullptr);
}

TEST(GtkToolBar, ClickingAButtonChoosesItsToolAndTheModelsChoiceShowsOnTheButtons) {
    GtkWidget *bar = marqen_tool_bar_new();
    Window window(bar);
    auto *model = marqen_tool_bar_get_tools_model(MARQEN_TOOL_BAR(bar));
    int notified = 0;
    g_signal_connect_swapped(bar, "notify::current-tool", G_CALLBACK(+[](int *count) { ++*count; }), &notified);

    // A click on the rectangle's button.
    const auto &tools = *model->mainTools();
    size_t rectangleIndex = 0;
    while (rectangleIndex < tools.size() && tools[rectangleIndex].toolID() != marqen::MarqenToolIDRectangle) ++rectangleIndex;
    ASSERT_LT(rectangleIndex, tools.size());
    g_signal_emit_by_name(toolButtons(MARQEN_TOOL_BAR(bar))[rectangleIndex], "clicked");
    EXPECT_EQ(model->currentTool().toolID(), marqen::MarqenToolIDRectangle);
    ASSERT_TRUE(iterateUntil([&] { return notified == 1; }));
    EXPECT_EQ(activeTools(MARQEN_TOOL_BAR(bar)), std::vector<guint>{marqen::MarqenToolIDRectangle});

    // The host (or a shortcut) chooses the text tool: the buttons follow once the model's announcement runs.
    marqen_tool_bar_choose_tool(MARQEN_TOOL_BAR(bar), marqen::MarqenToolIDText);
    ASSERT_TRUE(iterateUntil([&] { return notified == 2; }));
    EXPECT_EQ(activeTools(MARQEN_TOOL_BAR(bar)), std::vector<guint>{marqen::MarqenToolIDText});
    EXPECT_EQ(marqen_tool_bar_get_current_tool(MARQEN_TOOL_BAR(bar)), guint(marqen::MarqenToolIDText));
}

TEST(GtkMainQueueSource, WorkFromAnotherThreadRunsFromTheGLibLoopWithoutPolling) {
    marqen_main_queue_source_attach(nullptr);
    EXPECT_EQ(marqen_main_queue_source_attach(nullptr), marqen_main_queue_source_attach(nullptr));
    bool ran = false;
    std::thread worker([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        marqen::MainQueue::shared().async([&] { ran = true; });
    });
    // A blocking iteration: only the queue's wake-up can end it.
    const auto start = std::chrono::steady_clock::now();
    while (!ran && std::chrono::steady_clock::now() - start < std::chrono::seconds(5)) g_main_context_iteration(nullptr, TRUE);
    worker.join();
    EXPECT_TRUE(ran);
}

TEST(GtkArtworkIcon, DrawsItsArtworkInTheForegroundColourAtItsPixelSize) {
    GtkWidget *box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    GtkWidget *icon = marqen_artwork_icon_new_for_tool(marqen::MarqenToolIDEllipse, nullptr);
    marqen_artwork_icon_set_pixel_size(MARQEN_ARTWORK_ICON(icon), 32);
    gtk_box_append(GTK_BOX(box), icon);
    GtkWidget *blank = marqen_artwork_icon_new_for_glyph("no-such-glyph");
    marqen_artwork_icon_set_pixel_size(MARQEN_ARTWORK_ICON(blank), 32);
    gtk_box_append(GTK_BOX(box), blank);
    Window window(box);
    EXPECT_EQ(gtk_widget_get_width(icon), 32);
    EXPECT_EQ(gtk_widget_get_height(icon), 32);

    int width = 0, height = 0;
    auto pixels = renderWidget(icon, &width, &height);
    ASSERT_EQ(width, 32 * gtk_widget_get_scale_factor(icon));
    int ink = 0;
    for (size_t i = 3; i < pixels.size(); i += 4) ink += pixels[i] > 128;
    EXPECT_GT(ink, 40);
    pixels = renderWidget(blank, &width, &height);
    ink = 0;
    for (size_t i = 3; i < pixels.size(); i += 4) ink += pixels[i] > 0;
    EXPECT_EQ(ink, 0);
}

TEST(GtkToolBar, LooksLikeAToolBar) {
    GtkWidget *bar = marqen_tool_bar_new();
    Window window(bar);
    int width = 0, height = 0;
    const char *out = g_getenv("MARQEN_SCREENSHOT_DIR");
    std::string path = out ? std::string(out) + "/tool-bar.png" : std::string();
    auto pixels = renderWidget(bar, &width, &height, out ? path.c_str() : nullptr);
    // Every main tool is a button of at least icon size, side by side.
    EXPECT_GE(width, int(marqen_tool_bar_get_tools_model(MARQEN_TOOL_BAR(bar))->mainTools()->size()) * 20);
    EXPECT_GE(height, 20);
    EXPECT_FALSE(pixels.empty());
}

}  // namespace
