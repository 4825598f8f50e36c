#include "gtk_test_support.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <gdk/x11/gdkx.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <thread>

namespace marqen::gtktest {

bool iterateUntil(const std::function<bool()> &done, double seconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        g_main_context_iteration(nullptr, FALSE);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void iterateFor(double seconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < deadline) {
        g_main_context_iteration(nullptr, FALSE);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

TestWindow::TestWindow(GtkWidget *child, int width, int height) {
    window = gtk_window_new();
    if (width > 0 && height > 0) gtk_window_set_default_size(GTK_WINDOW(window), width, height);
    gtk_window_set_child(GTK_WINDOW(window), child);
    gtk_window_present(GTK_WINDOW(window));
    iterateUntil([&] { return gtk_widget_get_mapped(child) && gtk_widget_get_width(child) > 0; });
    iterateFor(0.05);
}

TestWindow::~TestWindow() { gtk_window_destroy(GTK_WINDOW(window)); }

std::vector<guchar> renderWidget(GtkWidget *widget, int *width, int *height, const char *savePath) {
    *width = gtk_widget_get_width(widget);
    *height = gtk_widget_get_height(widget);
    GdkPaintable *paintable = gtk_widget_paintable_new(widget);
    GtkSnapshot *snapshot = gtk_snapshot_new();
    // One texture pixel per device pixel, as the screen has them.
    const int scale = gtk_widget_get_scale_factor(widget);
    gtk_snapshot_scale(snapshot, float(scale), float(scale));
    gdk_paintable_snapshot(paintable, snapshot, *width, *height);
    GskRenderNode *node = gtk_snapshot_free_to_node(snapshot);
    std::vector<guchar> pixels;
    if (node) {
        GskRenderer *renderer = gtk_native_get_renderer(gtk_widget_get_native(widget));
        const graphene_rect_t viewport = GRAPHENE_RECT_INIT(0, 0, float(*width * scale), float(*height * scale));
        GdkTexture *texture = gsk_renderer_render_texture(renderer, node, &viewport);
        *width = gdk_texture_get_width(texture);
        *height = gdk_texture_get_height(texture);
        pixels.resize(size_t(*width) * size_t(*height) * 4);
        gdk_texture_download(texture, pixels.data(), size_t(*width) * 4);
        if (savePath) gdk_texture_save_to_png(texture, savePath);
        g_object_unref(texture);
        gsk_render_node_unref(node);
    }
    g_object_unref(paintable);
    return pixels;
}

std::string screenshotPath(const std::string &name) {
    const char *directory = g_getenv("MARQEN_SCREENSHOT_DIR");
    return directory ? std::string(directory) + "/" + name : std::string();
}

namespace xinput {

namespace {

Display *xDisplay() {
    GdkDisplay *display = gdk_display_get_default();
    if (!display || !GDK_IS_X11_DISPLAY(display)) return nullptr;
    return gdk_x11_display_get_xdisplay(display);
}

// Lets the server deliver what was sent and GTK handle it: the loop runs until it has been idle for a
// while (a loaded machine delivers late), at most a second.
void settle() {
    Display *display = xDisplay();
    if (display) XSync(display, False);
    const auto start = std::chrono::steady_clock::now();
    auto quietSince = start;
    while (std::chrono::steady_clock::now() - start < std::chrono::seconds(1)) {
        if (display && XPending(display)) quietSince = std::chrono::steady_clock::now();
        if (g_main_context_iteration(nullptr, FALSE)) quietSince = std::chrono::steady_clock::now();
        else std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (std::chrono::steady_clock::now() - quietSince > std::chrono::milliseconds(30) &&
            std::chrono::steady_clock::now() - start > std::chrono::milliseconds(30))
            break;
    }
}

}  // namespace

bool available() {
    Display *display = xDisplay();
    int event = 0, error = 0, major = 0, minor = 0;
    return display && XTestQueryExtension(display, &event, &error, &major, &minor);
}

void moveTo(GtkWidget *widget, double x, double y) {
    Display *display = xDisplay();
    if (!display) return;
    GtkNative *native = gtk_widget_get_native(widget);
    graphene_point_t inNative;
    const graphene_point_t point = GRAPHENE_POINT_INIT(float(x), float(y));
    if (!gtk_widget_compute_point(widget, GTK_WIDGET(native), &point, &inNative)) return;
    double surfaceX = 0, surfaceY = 0;
    gtk_native_get_surface_transform(native, &surfaceX, &surfaceY);
    const int scale = gtk_widget_get_scale_factor(widget);
    Window xid = gdk_x11_surface_get_xid(gtk_native_get_surface(native));
    int rootX = 0, rootY = 0;
    Window child = 0;
    XTranslateCoordinates(display, xid, DefaultRootWindow(display), int(std::lround((inNative.x + surfaceX) * scale)),
                          int(std::lround((inNative.y + surfaceY) * scale)), &rootX, &rootY, &child);
    XTestFakeMotionEvent(display, -1, rootX, rootY, CurrentTime);
    settle();
}

void moveToScreen(int x, int y) {
    if (Display *display = xDisplay()) XTestFakeMotionEvent(display, -1, x, y, CurrentTime);
    settle();
}

bool screenPointOfWindow(unsigned long window, int x, int y, int *screenX, int *screenY) {
    Display *display = xDisplay();
    Window child = 0;
    return display && XTranslateCoordinates(display, Window(window), DefaultRootWindow(display), x, y, screenX, screenY, &child);
}

void press(int button) {
    if (Display *display = xDisplay()) XTestFakeButtonEvent(display, unsigned(button), True, CurrentTime);
    settle();
}

void release(int button) {
    if (Display *display = xDisplay()) XTestFakeButtonEvent(display, unsigned(button), False, CurrentTime);
    settle();
}

void click(GtkWidget *widget, double x, double y) {
    moveTo(widget, x, y);
    press();
    release();
}

void drag(GtkWidget *widget, double fromX, double fromY, double toX, double toY, int steps) {
    moveTo(widget, fromX, fromY);
    press();
    for (int step = 1; step <= steps; ++step)
        moveTo(widget, fromX + (toX - fromX) * step / steps, fromY + (toY - fromY) * step / steps);
    release();
}

void key(guint keyval, bool shift, bool control, bool alt) {
    Display *display = xDisplay();
    if (!display) return;
    auto code = [&](KeySym sym) { return XKeysymToKeycode(display, sym); };
    const KeyCode keycode = code(keyval);
    if (!keycode) return;
    if (shift) XTestFakeKeyEvent(display, code(XK_Shift_L), True, CurrentTime);
    if (control) XTestFakeKeyEvent(display, code(XK_Control_L), True, CurrentTime);
    if (alt) XTestFakeKeyEvent(display, code(XK_Alt_L), True, CurrentTime);
    XTestFakeKeyEvent(display, keycode, True, CurrentTime);
    XTestFakeKeyEvent(display, keycode, False, CurrentTime);
    if (alt) XTestFakeKeyEvent(display, code(XK_Alt_L), False, CurrentTime);
    if (control) XTestFakeKeyEvent(display, code(XK_Control_L), False, CurrentTime);
    if (shift) XTestFakeKeyEvent(display, code(XK_Shift_L), False, CurrentTime);
    settle();
}

void type(const std::string &text) {
    for (char character : text) {
        const bool upper = g_ascii_isupper(character);
        key(gdk_unicode_to_keyval(guint(g_ascii_tolower(character))), upper);
    }
}

}  // namespace xinput

}  // namespace marqen::gtktest
